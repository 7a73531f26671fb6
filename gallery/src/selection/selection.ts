/** Which assets are selected, and how that grows. */

/** Identifiers of what lies from one index to another, the second one included. */
export type ReadIds = (first: number, last: number) => Promise<readonly string[]>;

export interface Anchor {
  readonly id: string;
  readonly index: number;
}

export class Selection {
  readonly #changed: () => void;
  #ids: ReadonlySet<string> = new Set();
  /** Where a range begins, and what was selected before it. */
  #anchor: Anchor | null = null;
  #before: ReadonlySet<string> = new Set();
  /** Counts what was done, so that an answer that comes late changes nothing. */
  #step = 0;

  constructor(changed: () => void) {
    this.#changed = changed;
  }

  get ids(): ReadonlySet<string> {
    return this.#ids;
  }

  get size(): number {
    return this.#ids.size;
  }

  get anchor(): Anchor | null {
    return this.#anchor;
  }

  has(id: string): boolean {
    return this.#ids.has(id);
  }

  /** Adds the asset, or takes it out. A range begins there. */
  toggle(at: Anchor): void {
    const ids = new Set(this.#ids);
    if (!ids.delete(at.id)) ids.add(at.id);
    this.#begin(at, ids);
  }

  /** Selects this one alone. */
  only(at: Anchor): void {
    this.#begin(at, new Set([at.id]));
  }

  /** Everything from where the range begins to here, and what was selected before it. */
  async extendTo(index: number, read: ReadIds): Promise<void> {
    const anchor = this.#anchor;
    if (anchor === null) return;
    const step = ++this.#step;
    const range = await read(Math.min(anchor.index, index), Math.max(anchor.index, index));
    if (step !== this.#step) return;
    this.#set(new Set([...this.#before, ...range]));
  }

  /** Adds assets as they become known, until there are no more or something else is done. */
  async addAll(parts: AsyncIterable<readonly string[]>): Promise<void> {
    const step = ++this.#step;
    for await (const part of parts) {
      if (step !== this.#step) return;
      this.#set(new Set([...this.#ids, ...part]));
    }
    this.#before = this.#ids;
  }

  clear(): void {
    ++this.#step;
    this.#anchor = null;
    this.#before = new Set();
    if (this.#ids.size > 0) this.#set(new Set());
  }

  /** Assets are no more. */
  remove(gone: readonly string[]): void {
    const without = (ids: ReadonlySet<string>) => new Set([...ids].filter((id) => !lost.has(id)));
    const lost = new Set(gone);
    if (this.#anchor !== null && lost.has(this.#anchor.id)) this.#anchor = null;
    if (![...lost].some((id) => this.#ids.has(id) || this.#before.has(id))) return;
    this.#before = without(this.#before);
    this.#set(without(this.#ids));
  }

  /** The listing is another: a range begins where its first asset lies now, if that is known. */
  moveAnchor(indexOf: (id: string, before: number) => number | null): void {
    if (this.#anchor === null) return;
    const index = indexOf(this.#anchor.id, this.#anchor.index);
    this.#anchor = index === null ? null : { ...this.#anchor, index };
  }

  #begin(at: Anchor, ids: ReadonlySet<string>): void {
    ++this.#step;
    this.#anchor = at;
    this.#before = ids;
    this.#set(ids);
  }

  #set(ids: ReadonlySet<string>): void {
    this.#ids = ids;
    this.#changed();
  }
}

import type { Asset, Change } from 'quorvin-client';
import { findAsset } from './asset_search.js';
import { daysOf, findYears, isCoarse, refined, undated, type Section } from './calendar.js';
import { kPageSize, Snapshot, type ReadAssets } from './snapshot.js';

export interface ListingSource {
  /** Whether the order is by creation date, newest first. */
  readonly isByDate: boolean;
  readonly read: ReadAssets;
  readonly length: () => Promise<number>;
}

/** An asset that somebody looks at, and where it lies. */
export interface Watched {
  readonly asset: Asset;
  readonly index: number;
}

export interface ListingListener {
  /** What is looked at, the most important first: it is found again when the listing changes. */
  watched?(): readonly Watched[];
  /** Records have come, or sections have been found. */
  learned(): void;
  /** The listing is another. Where what was looked at lies now, or would lie if it were there. */
  replaced(places: ReadonlyMap<string, number>): void;
}

/** Pages that are under way at the same time. */
const kPagesAtOnce = 4;
/** How many of what is looked at are found again; one is enough, were it not deleted. */
const kTraced = 3;
/** Milliseconds between two looks at a library that changes without pause. */
const kPauseBetweenLooks = 1000;

/**
 * The assets of a gallery in their order: what is looked at is asked for, what changes is looked at
 * again.
 */
export class Listing {
  readonly isByDate: boolean;
  readonly #source: ListingSource;
  readonly #listeners = new Set<ListingListener>();
  readonly #gone = new Set<string>();
  #snapshot: Snapshot;
  #wanted: readonly number[] = [];
  #isRefining = false;
  #isLooking = false;
  #isStale = false;
  #isClosed = false;
  /** Set once the length and the years are known. */
  isKnown = false;
  /** Why nothing can be shown. */
  error: unknown = null;

  constructor(source: ListingSource) {
    this.#source = source;
    this.isByDate = source.isByDate;
    this.#snapshot = new Snapshot(source.read);
    void this.#open();
  }

  get count(): number {
    return this.#snapshot.count;
  }

  get sections(): readonly Section[] {
    return this.#snapshot.sections;
  }

  record(index: number): Asset | undefined {
    return this.#snapshot.record(index);
  }

  /** Whether the asset was deleted, though the listing still has it. */
  isGone(id: string): boolean {
    return this.#gone.has(id);
  }

  listen(listener: ListingListener): () => void {
    this.#listeners.add(listener);
    return () => void this.#listeners.delete(listener);
  }

  close(): void {
    this.#isClosed = true;
    this.#listeners.clear();
  }

  /** Asks for what lies from `first` to `last`, and for nothing that was wanted before. */
  want(first: number, last: number): void {
    const center = (first + last) / 2 / kPageSize;
    this.#wanted = this.#snapshot
      .pagesOf(first, last)
      .sort((a, b) => Math.abs(a + 0.5 - center) - Math.abs(b + 0.5 - center));
    this.#loadNext();
    void this.#refine(first, last);
  }

  async load(index: number): Promise<Asset | undefined> {
    const snapshot = this.#snapshot;
    await snapshot.load(Math.floor(index / kPageSize));
    return snapshot.record(index);
  }

  records(start: number, end: number): Promise<readonly Asset[]> {
    return this.#snapshot.records(start, end);
  }

  /** Where the asset lies; null when it is not there. */
  async find(asset: Pick<Asset, 'id' | 'creationDate'>): Promise<number | null> {
    const options = { isByDate: this.isByDate, isGone: false };
    const { index, isThere } = await findAsset(this.#snapshot, asset, 0, options);
    return isThere ? index : null;
  }

  /** What is known of the asset without asking. */
  held(id: string): Asset | undefined {
    return this.#snapshot.held(id);
  }

  /** The library changed; null: nobody knows how. */
  changed(change: Pick<Change, 'inserted' | 'removed'> | null): void {
    for (const id of change?.inserted ?? []) this.#gone.delete(id);
    for (const id of change?.removed ?? []) this.#gone.add(id);
    if ((change?.removed.length ?? 0) > 0) this.#tell((listener) => listener.learned());
    this.#isStale = true;
    void this.#lookAgain();
  }

  async #open(): Promise<void> {
    const first = this.#showFirstPage();
    try {
      await this.#replace();
    } catch (error) {
      this.error = error;
    }
    await first;
    this.#tell((listener) => listener.learned());
  }

  /** What comes first is shown before anything else is known. */
  async #showFirstPage(): Promise<void> {
    const snapshot = this.#snapshot;
    try {
      await snapshot.load(0);
    } catch {
      return;
    }
    if (snapshot !== this.#snapshot || this.isKnown) return;
    const held = await snapshot.records(0, kPageSize).catch(() => []);
    const records = held.slice(0, kPageSize);
    snapshot.count = records.length;
    if (this.isByDate) {
      const days = daysOf(0, records.map(({ creationDate }) => creationDate));
      snapshot.sections = days.length > 0 ? days : [undated(0)];
    }
    this.#tell((listener) => listener.learned());
  }

  async #lookAgain(): Promise<void> {
    if (this.#isLooking) return;
    this.#isLooking = true;
    while (this.#isStale && !this.#isClosed) {
      this.#isStale = false;
      // What cannot be had now is asked for when there is a connection again.
      await this.#replace().catch(() => {});
      await new Promise((resolve) => setTimeout(resolve, kPauseBetweenLooks));
    }
    this.#isLooking = false;
  }

  /** Looks anew, finds what is looked at, and only then shows it. */
  async #replace(): Promise<void> {
    const next = new Snapshot(this.#source.read, await this.#source.length());
    if (this.isByDate && next.count > 0) next.sections = await findYears(next.count, next.dates);
    const places = new Map<string, number>();
    for (const listener of this.#listeners) {
      for (const { asset, index } of this.#traced(listener.watched?.() ?? [])) {
        const isGone = this.#gone.has(asset.id);
        const place = await findAsset(next, asset, index, { isByDate: this.isByDate, isGone });
        places.set(asset.id, place.index);
        if (place.isThere) break;
      }
    }
    await this.#prepare(next, places);
    if (this.#isClosed) return;
    this.#snapshot = next;
    this.#wanted = [];
    this.isKnown = true;
    this.error = null;
    this.#tell((listener) => listener.replaced(places));
  }

  /** Has what will be seen ready. */
  async #prepare(next: Snapshot, places: ReadonlyMap<string, number>): Promise<void> {
    for (const at of places.size > 0 ? places.values() : [0]) {
      const [first, last] = [at - kPageSize, at + kPageSize];
      await next.loadAround(first, last);
      if (!this.isByDate) continue;
      next.sections = await refined(next.sections, next.count, first, last, next.dates);
    }
  }

  /** Those that are still there, and one more should they all be lost on the way. */
  #traced(watched: readonly Watched[]): readonly Watched[] {
    const standing = watched.filter(({ asset }) => !this.#gone.has(asset.id)).slice(0, kTraced);
    return standing.length > 0 ? standing : watched.slice(0, 1);
  }

  #loadNext(): void {
    const snapshot = this.#snapshot;
    const under = this.#wanted.filter((page) => snapshot.isLoading(page)).length;
    const next = this.#wanted
      .filter((page) => !snapshot.hasPage(page) && !snapshot.isLoading(page))
      .slice(0, Math.max(kPagesAtOnce - under, 0));
    for (const page of next) {
      snapshot.load(page).then(
        () => {
          if (snapshot !== this.#snapshot) return;
          this.#tell((listener) => listener.learned());
          this.#loadNext();
        },
        // It stays unknown until it is wanted again.
        () => {},
      );
    }
  }

  async #refine(first: number, last: number): Promise<void> {
    const snapshot = this.#snapshot;
    const { sections, count } = snapshot;
    if (this.#isRefining || !isCoarse(sections, count, first, last)) return;
    this.#isRefining = true;
    try {
      snapshot.sections = await refined(sections, count, first, last, snapshot.dates);
      if (snapshot === this.#snapshot) this.#tell((listener) => listener.learned());
    } catch {
      // It stays coarse until somebody looks again.
    }
    this.#isRefining = false;
  }

  #tell(how: (listener: ListingListener) => void): void {
    for (const listener of [...this.#listeners]) how(listener);
  }
}

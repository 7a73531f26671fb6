/** What grids show of assets beyond their records: slow motion, and how many a burst has. */
import type { Asset, Library } from 'quorvin-client';
import type { CellContent } from '../grid/cell.js';
import { kindOf } from './kinds.js';
import { LruMap } from './lru_map.js';

const kCountsHeld = 2000;
const kSlowPage = 1000;
const kMostSlow = 50_000;
/** Bursts that are counted at the same time. */
const kAtOnce = 2;
/** Bursts that wait for it; those that were scrolled by long ago are forgotten. */
const kMostWaiting = 60;

export class AssetExtras {
  readonly #library: Library;
  readonly #listeners = new Set<() => void>();
  readonly #counts = new LruMap<string, number>(kCountsHeld);
  #waiting: string[] = [];
  #counting = 0;
  #slow: ReadonlySet<string> = new Set();

  constructor(library: Library) {
    this.#library = library;
  }

  listen(listener: () => void): () => void {
    this.#listeners.add(listener);
    return () => void this.#listeners.delete(listener);
  }

  isSlow(id: string): boolean {
    return this.#slow.has(id);
  }

  contentOf(asset: Asset, isGone: boolean): CellContent {
    const kind = kindOf(asset, this.#slow.has(asset.id));
    const members = kind === 'burst' ? this.#membersOf(asset.id) : null;
    return { asset, kind, members, isGone };
  }

  /** Bursts may have other members now. */
  changed(ids: readonly string[]): void {
    for (const id of ids) this.#counts.delete(id);
  }

  /** Reads which videos are in slow motion: those of an album, or none. */
  async readSlow(albumId: string | undefined): Promise<void> {
    const slow = new Set<string>();
    for (let start = 0; albumId !== undefined && start < kMostSlow; start += kSlowPage) {
      const page = await this.#library.getAssetList(albumId, { start, end: start + kSlowPage });
      for (const { id } of page) slow.add(id);
      if (page.length < kSlowPage) break;
    }
    const isSame = slow.size === this.#slow.size && [...slow].every((id) => this.#slow.has(id));
    if (isSame) return;
    this.#slow = slow;
    this.#tell();
  }

  #membersOf(id: string): number | null {
    const count = this.#counts.get(id);
    if (count !== undefined) return count;
    if (!this.#waiting.includes(id)) this.#waiting.push(id);
    this.#waiting = this.#waiting.slice(-kMostWaiting);
    void this.#countNext();
    return null;
  }

  async #countNext(): Promise<void> {
    if (this.#counting >= kAtOnce) return;
    const id = this.#waiting.pop();
    if (id === undefined) return;
    ++this.#counting;
    try {
      this.#counts.set(id, (await this.#library.getBurstAssetList(id)).length);
      this.#tell();
    } catch {
      // It stays a burst of unknown size.
    }
    --this.#counting;
    void this.#countNext();
  }

  #tell(): void {
    for (const listener of [...this.#listeners]) listener();
  }
}

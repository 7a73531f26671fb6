import type { Asset } from 'quorvin-client';
import { undated, type Section } from './calendar.js';
import { LruMap } from './lru_map.js';

/** Records are asked for in pages of so many. */
export const kPageSize = 128;
/** Pages that are held; beyond that the ones that were not looked at for the longest go. */
const kPagesHeld = 160;

/** Answers with the records of a listing from `start` to `end`, or with those that there are. */
export type ReadAssets = (start: number, end: number) => Promise<readonly Asset[]>;

/** One look at a listing: how long it is, which records are known, and where its days begin. */
export class Snapshot {
  readonly #read: ReadAssets;
  readonly #pages = new LruMap<number, readonly Asset[]>(kPagesHeld);
  readonly #loading = new Map<number, Promise<void>>();
  count: number;
  sections: readonly Section[] = [undated(0)];

  constructor(read: ReadAssets, count = 0) {
    this.#read = read;
    this.count = count;
  }

  record(index: number): Asset | undefined {
    return this.#pages.get(Math.floor(index / kPageSize))?.[index % kPageSize];
  }

  hasPage(page: number): boolean {
    return this.#pages.peek(page) !== undefined;
  }

  isLoading(page: number): boolean {
    return this.#loading.has(page);
  }

  /** Resolves once the page is there, and rejects when it cannot be had. */
  load(page: number): Promise<void> {
    if (this.hasPage(page)) return Promise.resolve();
    const begun = this.#loading.get(page);
    if (begun !== undefined) return begun;
    const start = page * kPageSize;
    const loading = this.#read(start, start + kPageSize)
      .then((records) => this.#pages.set(page, records))
      .finally(() => this.#loading.delete(page));
    this.#loading.set(page, loading);
    return loading;
  }

  /** Loads what lies from `first` to `last`. */
  async loadAround(first: number, last: number): Promise<void> {
    await Promise.all(this.pagesOf(first, last).map((page) => this.load(page)));
  }

  pagesOf(first: number, last: number): number[] {
    const from = Math.floor(Math.max(first, 0) / kPageSize);
    const to = Math.floor((Math.min(last, this.count) - 1) / kPageSize);
    return Array.from({ length: Math.max(to - from + 1, 0) }, (_, offset) => from + offset);
  }

  /** Records that are held already, else from the other side. They are not held. */
  async records(start: number, end: number): Promise<readonly Asset[]> {
    const held: Asset[] = [];
    for (let index = start; index < end; ++index) {
      const record = this.#pages.peek(Math.floor(index / kPageSize))?.[index % kPageSize];
      if (record === undefined) return this.#read(start, end);
      held.push(record);
    }
    return held;
  }

  readonly dates = async (start: number, end: number): Promise<readonly number[]> =>
    (await this.records(start, end)).map(({ creationDate }) => creationDate);

  /** What is held of an asset, wherever it lies. */
  held(id: string): Asset | undefined {
    for (const page of this.#pages.values()) {
      const found = page.find((asset) => asset.id === id);
      if (found !== undefined) return found;
    }
    return undefined;
  }
}

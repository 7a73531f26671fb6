// A library of made-up assets, and how often it was asked.
import type { Asset } from 'quorvin-client';
import type { ListingSource } from '../src/library/listing.js';

const kHour = 3_600_000;
export const kNewest = Date.UTC(2026, 5, 15, 12);

export function assetAt(id: string, creationDate: number): Asset {
  return {
    id,
    mediaType: 1,
    width: 4000,
    height: 3000,
    creationDate,
    modificationDate: creationDate,
    duration: 0,
    isFavorite: false,
    isHidden: false,
    burstIdentifier: '',
    representsBurst: false,
    burstSelectionTypes: 0,
    isLivePhoto: false,
  };
}

/** Assets an hour or so apart, newest first. */
export function assets(count: number, hoursApart = 1): Asset[] {
  return Array.from({ length: count }, (_, index) =>
    assetAt(`a${index}`, kNewest - index * hoursApart * kHour),
  );
}

export class FakeSource implements ListingSource {
  readonly isByDate: boolean;
  readCalls = 0;
  /** Called before each answer. */
  beforeAnswer: () => void = () => {};

  constructor(
    public list: Asset[],
    isByDate = true,
  ) {
    this.isByDate = isByDate;
  }

  readonly read = async (start: number, end: number): Promise<readonly Asset[]> => {
    ++this.readCalls;
    this.beforeAnswer();
    return this.list.slice(start, end);
  };

  readonly length = async (): Promise<number> => this.list.length;
}

/** Waits until it holds. */
export async function until(holds: () => boolean): Promise<void> {
  const end = Date.now() + 10_000;
  while (!holds()) {
    if (Date.now() > end) throw new Error('It did not come to hold.');
    await new Promise((resolve) => setTimeout(resolve, 1));
  }
}

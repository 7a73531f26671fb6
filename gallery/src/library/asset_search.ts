/** Finds where in a listing an asset lies now. */
import type { Asset } from 'quorvin-client';
import { kParts } from './boundaries.js';
import type { Snapshot } from './snapshot.js';

/** How far to both sides an asset is looked for before its date is. */
const kNear = 128;
/** How many assets are read at once to find one among others of its date, or in no order. */
const kStep = 500;

export interface Place {
  readonly index: number;
  /** False: the asset is not there; the index is where it would be. */
  readonly isThere: boolean;
}

export interface SearchOptions {
  readonly isByDate: boolean;
  /** It is known not to be there. */
  readonly isGone: boolean;
}

type Wanted = Pick<Asset, 'id' | 'creationDate'>;

/** `near` is where it was. */
export async function findAsset(
  snapshot: Snapshot,
  asset: Wanted,
  near: number,
  { isByDate, isGone }: SearchOptions,
): Promise<Place> {
  const missing = (index: number): Place => ({
    index: Math.max(0, Math.min(index, snapshot.count - 1)),
    isThere: false,
  });
  if (isGone && (!isByDate || (await fitsAt(snapshot, asset, near)))) return missing(near);
  const from = Math.max(0, near - kNear);
  const close = await offsetIn(snapshot, asset.id, from, Math.min(snapshot.count, near + kNear));
  if (close !== null) return { index: close, isThere: true };
  const start = isByDate ? await firstNotAfter(snapshot, asset.creationDate) : 0;
  for (let step = start; step < snapshot.count; step += kStep) {
    const records = await snapshot.records(step, Math.min(step + kStep, snapshot.count));
    const offset = records.findIndex(({ id }) => id === asset.id);
    if (offset >= 0) return { index: step + offset, isThere: true };
    const last = records.at(-1);
    if (last === undefined || (isByDate && last.creationDate < asset.creationDate)) break;
  }
  return missing(isByDate ? start : near);
}

/** Whether an asset of this date would be in order there. */
async function fitsAt(snapshot: Snapshot, { creationDate }: Wanted, index: number): Promise<boolean> {
  const dates = await snapshot.dates(Math.max(index - 1, 0), index + 1);
  const after = index > 0 ? dates[1] : dates[0];
  const before = index > 0 ? dates[0] : undefined;
  return (before ?? Infinity) >= creationDate && (after ?? -Infinity) <= creationDate;
}

/** Index of the first asset, newest first, that is no newer than the date. */
async function firstNotAfter(snapshot: Snapshot, date: number): Promise<number> {
  let low = 0;
  let high = snapshot.count;
  while (low < high) {
    const size = high - low;
    const cuts = Array.from({ length: kParts - 1 }, (_, cut) =>
      low + Math.floor((size * (cut + 1)) / kParts),
    );
    const dates = await Promise.all(
      cuts.map(async (index) => (await snapshot.dates(index, index + 1))[0] ?? -Infinity),
    );
    const reached = dates.findIndex((found) => found <= date);
    const before = reached < 0 ? cuts.at(-1) : cuts[reached - 1];
    if (reached >= 0) high = cuts[reached] as number;
    if (before !== undefined) low = Math.min(before + 1, high);
  }
  return low;
}

async function offsetIn(
  snapshot: Snapshot,
  id: string,
  start: number,
  end: number,
): Promise<number | null> {
  if (end <= start) return null;
  const records = await snapshot.records(start, end);
  const offset = records.findIndex((record) => record.id === id);
  return offset < 0 ? null : start + offset;
}

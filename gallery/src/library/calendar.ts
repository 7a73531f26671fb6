/**
 * Where the days, months and years of a listing by date begin. What is far from what is seen is
 * known by the year alone, so that a million photos need no more than some hundred questions.
 */
import { findRuns, type ReadKeys } from './boundaries.js';
import { keyOf, type Level } from './date_keys.js';

export interface Section {
  /** Index of its first asset; it ends where the next one begins. */
  readonly start: number;
  /** Null: nothing is known of its dates, or they are in no order. */
  readonly level: Level | null;
  readonly key: number;
}

/** The dates of the assets from `start` to `end`, in milliseconds. */
export type ReadDates = ReadKeys<number>;

/** A section of so few assets goes straight to days. */
const kFew = 400;

export function undated(start: number): Section {
  return { start, level: null, key: 0 };
}

/** The days of assets that are known, from `start` on. */
export function daysOf(start: number, dates: readonly number[]): Section[] {
  const sections: Section[] = [];
  dates.forEach((date, offset) => {
    const key = keyOf(date, 'day');
    if (sections.at(-1)?.key !== key) sections.push({ start: start + offset, level: 'day', key });
  });
  return sections;
}

export function findYears(count: number, read: ReadDates): Promise<Section[]> {
  return findSections(0, count, count <= kFew ? 'day' : 'year', read);
}

/** The same sections with days where they meet what lies from `first` to `last`. */
export async function refined(
  sections: readonly Section[],
  count: number,
  first: number,
  last: number,
  read: ReadDates,
): Promise<readonly Section[]> {
  const withMonths = await refinedOnce(sections, count, first, last, read);
  // Years became months or days; months become days now.
  return refinedOnce(withMonths, count, first, last, read);
}

/** Whether `refined` would change anything. */
export function isCoarse(
  sections: readonly Section[],
  count: number,
  first: number,
  last: number,
): boolean {
  return sections.some((section, index) => {
    const end = sections[index + 1]?.start ?? count;
    return isRefinable(section) && section.start < last && end > first;
  });
}

/** Index of the section that holds the asset. */
export function sectionAt(sections: readonly { readonly start: number }[], index: number): number {
  let low = 0;
  let high = sections.length - 1;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    if ((sections[middle]?.start ?? Infinity) <= index) low = middle;
    else high = middle - 1;
  }
  return low;
}

function isRefinable({ level }: Section): boolean {
  return level === 'year' || level === 'month';
}

async function refinedOnce(
  sections: readonly Section[],
  count: number,
  first: number,
  last: number,
  read: ReadDates,
): Promise<readonly Section[]> {
  if (!isCoarse(sections, count, first, last)) return sections;
  const parts = sections.map((section, index): Section[] | Promise<Section[]> => {
    const end = sections[index + 1]?.start ?? count;
    if (!isRefinable(section) || section.start >= last || end <= first) return [section];
    const isFinal = section.level === 'month' || end - section.start <= kFew;
    return findSections(section.start, end, isFinal ? 'day' : 'month', read);
  });
  return (await Promise.all(parts)).flat();
}

async function findSections(
  start: number,
  end: number,
  level: Level,
  read: ReadDates,
): Promise<Section[]> {
  const runs = await findRuns(start, end, async (from, to) =>
    (await read(from, to)).map((date) => keyOf(date, level)),
  );
  if (runs.length === 0) return [undated(start)];
  return runs.map(({ start: at, key }) => ({ start: at, level, key }));
}

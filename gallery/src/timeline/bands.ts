/** Days that share a line: short ones stand beside one another where there is room. */
import type { Section } from '../library/calendar.js';

export interface Band {
  /** Index of its first photo, and of the one behind its last. */
  readonly start: number;
  readonly end: number;
  /** The days in it; more than one only where all their photos are on one line. */
  readonly days: readonly Section[];
}

/** What lies between two days on a line, in parts of a photo's width. */
export const kBetweenDays = 0.2;
/** With fewer columns than this, each day has lines of its own. */
const kColumnsToShare = 5;

export function bandsOf(sections: readonly Section[], count: number, columns: number): Band[] {
  const bands: Band[] = [];
  sections.forEach((section, index) => {
    const end = sections[index + 1]?.start ?? count;
    const last = bands.at(-1);
    if (last !== undefined && columns >= kColumnsToShare && fits(last, section, end, columns)) {
      bands[bands.length - 1] = { start: last.start, end, days: [...last.days, section] };
    } else {
      bands.push({ start: section.start, end, days: [section] });
    }
  });
  return bands;
}

/** A month begins a line, so that what is found of one month moves nothing in another. */
function fits(band: Band, day: Section, end: number, columns: number): boolean {
  const first = band.days[0];
  if (first?.level !== 'day' || day.level !== 'day') return false;
  if (Math.trunc(first.key / 100) !== Math.trunc(day.key / 100)) return false;
  return end - band.start + band.days.length * kBetweenDays <= columns;
}

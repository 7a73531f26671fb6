/** What stands at the edge of a listing by date. */
import { sectionAt, type Section } from '../library/calendar.js';
import { dateOf } from '../library/date_keys.js';

export interface YearMark {
  readonly year: number;
  /** Of its first asset. */
  readonly index: number;
  /** False where the label would cover the one before. */
  readonly isLabelled: boolean;
}

export function yearMarks(
  sections: readonly Section[],
  count: number,
  height: number,
  labelHeight: number,
): YearMark[] {
  const marks: YearMark[] = [];
  let lowest = -Infinity;
  for (const { start, level, key } of sections) {
    if (level === null) continue;
    const year = dateOf(key, level).getFullYear();
    if (marks.at(-1)?.year === year) continue;
    const place = (start / Math.max(count - 1, 1)) * height;
    const isLabelled = place - lowest >= labelHeight;
    if (isLabelled) lowest = place;
    marks.push({ year, index: start, isLabelled });
  }
  return marks;
}

/** Part of a listing that a key moves by where no dates are known. */
const kStep = 0.02;
const kLargeStep = 0.1;

/** Where a key leads: arrows to the next section, page keys to the next year. */
export function stepFrom(
  index: number,
  key: string,
  sections: readonly Section[],
  count: number,
): number | null {
  const last = Math.max(count - 1, 0);
  switch (key) {
    case 'Home':
      return 0;
    case 'End':
      return last;
    case 'ArrowDown':
    case 'ArrowRight':
      return next(index, sections, last, false);
    case 'ArrowUp':
    case 'ArrowLeft':
      return previous(index, sections, last, false);
    case 'PageDown':
      return next(index, sections, last, true);
    case 'PageUp':
      return previous(index, sections, last, true);
    default:
      return null;
  }
}

function next(index: number, sections: readonly Section[], last: number, isYear: boolean): number {
  if (isUndated(sections)) return Math.min(index + stepOf(last, isYear), last);
  const here = sectionAt(sections, index);
  const year = yearOf(sections[here]);
  for (let at = here + 1; at < sections.length; ++at) {
    if (!isYear || yearOf(sections[at]) !== year) return sections[at]?.start ?? last;
  }
  return last;
}

function previous(
  index: number,
  sections: readonly Section[],
  last: number,
  isYear: boolean,
): number {
  if (isUndated(sections)) return Math.max(index - stepOf(last, isYear), 0);
  const starts = sections
    .filter((section, at) => !isYear || at === 0 || yearOf(section) !== yearOf(sections[at - 1]))
    .map(({ start }) => start);
  return starts.filter((start) => start < index).at(-1) ?? 0;
}

function isUndated(sections: readonly Section[]): boolean {
  return sections.every(({ level }) => level === null);
}

function stepOf(last: number, isLarge: boolean): number {
  return Math.max(1, Math.round(last * (isLarge ? kLargeStep : kStep)));
}

function yearOf(section: Section | undefined): number | null {
  if (section === undefined || section.level === null) return null;
  return dateOf(section.key, section.level).getFullYear();
}

/** Days, months and years as numbers in which later ones are greater: 20260314, 202603, 2026. */

export type Level = 'year' | 'month' | 'day';

export function dayKey(milliseconds: number): number {
  const date = new Date(milliseconds);
  // A date that no calendar holds counts as the first one.
  if (Number.isNaN(date.getTime())) return 19700101;
  return (date.getFullYear() * 100 + date.getMonth() + 1) * 100 + date.getDate();
}

export function keyOf(milliseconds: number, level: Level): number {
  const day = dayKey(milliseconds);
  if (level === 'day') return day;
  return Math.trunc(day / (level === 'month' ? 100 : 10_000));
}

/** A date within the day, month or year. */
export function dateOf(key: number, level: Level): Date {
  if (level === 'year') return localDate(key, 0, 1);
  if (level === 'month') return localDate(Math.trunc(key / 100), (key % 100) - 1, 1);
  return localDate(Math.trunc(key / 10_000), (Math.trunc(key / 100) % 100) - 1, key % 100);
}

function localDate(year: number, month: number, day: number): Date {
  const date = new Date(2000, month, day, 12);
  date.setFullYear(year, month, day);
  return date;
}

/** Dates as people of the browser's language write them. */
import { dateOf } from '../library/date_keys.js';
import type { Section } from '../library/calendar.js';

const kDay = new Intl.DateTimeFormat(undefined, { weekday: 'long', day: 'numeric', month: 'long' });
const kDayOfYear = new Intl.DateTimeFormat(undefined, {
  weekday: 'short',
  day: 'numeric',
  month: 'long',
  year: 'numeric',
});
const kNarrowDay = new Intl.DateTimeFormat(undefined, { day: 'numeric', month: 'long' });
const kNarrowDayOfYear = new Intl.DateTimeFormat(undefined, {
  day: 'numeric',
  month: 'long',
  year: 'numeric',
});
const kMonth = new Intl.DateTimeFormat(undefined, { month: 'long', year: 'numeric' });
const kMoment = new Intl.DateTimeFormat(undefined, { dateStyle: 'long', timeStyle: 'short' });

/** A narrow one leaves out the day of the week. */
export function sectionTitle({ level, key }: Section, isNarrow = false): string {
  if (level === null) return '';
  const date = dateOf(key, level);
  if (level === 'year') return String(date.getFullYear());
  if (level === 'month') return kMonth.format(date);
  const isThisYear = date.getFullYear() === new Date().getFullYear();
  if (isNarrow) return (isThisYear ? kNarrowDay : kNarrowDayOfYear).format(date);
  return (isThisYear ? kDay : kDayOfYear).format(date);
}

export function monthText(milliseconds: number): string {
  return formatted(kMonth, milliseconds);
}

export function momentText(milliseconds: number): string {
  return formatted(kMoment, milliseconds);
}

/** As clocks show it: 0:07, 12:34, 1:02:03. */
export function durationText(milliseconds: number): string {
  const seconds = Math.round(milliseconds / 1000);
  const two = (number: number) => String(number).padStart(2, '0');
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes}:${two(seconds % 60)}`;
  return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(seconds % 60)}`;
}

function formatted(format: Intl.DateTimeFormat, milliseconds: number): string {
  // The file system may tell dates that no calendar holds.
  return Math.abs(milliseconds) <= 8.64e15 ? format.format(milliseconds) : 'No date';
}

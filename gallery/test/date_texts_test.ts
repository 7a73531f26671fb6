import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { dateOf, dayKey, keyOf } from '../src/library/date_keys.js';
import { durationText, momentText } from '../src/timeline/date_texts.js';
import { stepFrom, yearMarks } from '../src/timeline/year_marks.js';
import type { Section } from '../src/library/calendar.js';

describe('Dates', () => {
  test('have keys that rise with them', () => {
    const date = new Date(2026, 2, 14, 23, 59).getTime();
    assert.equal(dayKey(date), 20260314);
    assert.equal(keyOf(date, 'month'), 202603);
    assert.equal(keyOf(date, 'year'), 2026);
    assert.equal(dayKey(date + 120_000), 20260315);
  });

  test('are within the day, month or year of their key', () => {
    assert.equal(keyOf(dateOf(20240229, 'day').getTime(), 'day'), 20240229);
    assert.equal(keyOf(dateOf(199912, 'month').getTime(), 'month'), 199912);
    assert.equal(keyOf(dateOf(20, 'year').getTime(), 'year'), 20);
  });

  test('that no calendar holds are told as none', () => {
    assert.equal(momentText(2 ** 62), 'No date');
    assert.equal(dayKey(2 ** 62), 19700101);
  });

  test('of videos are told as clocks do', () => {
    assert.equal(durationText(6_600), '0:07');
    assert.equal(durationText(754_000), '12:34');
    assert.equal(durationText(3_723_000), '1:02:03');
  });
});

describe('The scrubber', () => {
  const year = (start: number, key: number): Section => ({ start, level: 'year', key });
  const sections: Section[] = [
    { start: 0, level: 'day', key: 20260302 },
    { start: 10, level: 'day', key: 20260301 },
    year(30, 2025),
    year(500, 2024),
    year(510, 2023),
  ];

  test('labels years that have room', () => {
    const marks = yearMarks(sections, 1001, 1000, 26);
    assert.deepEqual(marks.map(({ year: each, index }) => [each, index]), [[2026, 0], [2025, 30], [2024, 500], [2023, 510]]);
    assert.deepEqual(marks.map(({ isLabelled }) => isLabelled), [true, true, true, false]);
  });

  test('leads by keys to sections, years and the ends', () => {
    const step = (index: number, key: string) => stepFrom(index, key, sections, 1001);
    assert.equal(step(3, 'ArrowDown'), 10);
    assert.equal(step(3, 'PageDown'), 30);
    assert.equal(step(30, 'PageUp'), 0);
    assert.equal(step(700, 'ArrowUp'), 510);
    assert.equal(step(700, 'PageDown'), 1000);
    assert.equal(step(700, 'Home'), 0);
    assert.equal(step(0, 'End'), 1000);
    assert.equal(step(0, 'a'), null);
  });

  test('leads by parts where there are no dates', () => {
    const plain: Section[] = [{ start: 0, level: null, key: 0 }];
    assert.equal(stepFrom(500, 'ArrowDown', plain, 1001), 520);
    assert.equal(stepFrom(500, 'PageUp', plain, 1001), 400);
  });
});

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { bandsOf } from '../src/timeline/bands.js';
import { undated, type Section } from '../src/library/calendar.js';

const day = (start: number, key: number): Section => ({ start, level: 'day', key });

function spans(sections: readonly Section[], count: number, columns: number): [number, number, number][] {
  return bandsOf(sections, count, columns).map(({ start, end, days }) => [start, end, days.length]);
}

describe('Days on a line', () => {
  const short = [day(0, 20260320), day(1, 20260319), day(3, 20260318), day(7, 20260317)];

  test('are as many as fit with what lies between them', () => {
    assert.deepEqual(spans(short, 8, 8), [[0, 7, 3], [7, 8, 1]]);
    assert.deepEqual(spans(short, 8, 9), [[0, 8, 4]]);
  });

  test('have lines of their own on small screens', () => {
    assert.deepEqual(spans(short, 8, 4).map(([, , days]) => days), [1, 1, 1, 1]);
  });

  test('do not join a day of several lines', () => {
    const sections = [day(0, 20260320), day(1, 20260319), day(21, 20260318)];
    assert.deepEqual(spans(sections, 22, 7), [[0, 1, 1], [1, 21, 1], [21, 22, 1]]);
  });

  test('are of one month', () => {
    assert.deepEqual(spans([day(0, 20260301), day(1, 20260228)], 2, 7), [[0, 1, 1], [1, 2, 1]]);
  });

  test('are known to be days', () => {
    const month: Section = { start: 1, level: 'month', key: 202602 };
    assert.deepEqual(spans([day(0, 20260301), month, undated(2)], 3, 7), [[0, 1, 1], [1, 2, 1], [2, 3, 1]]);
  });
});

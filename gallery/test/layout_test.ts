import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { undated, type Section } from '../src/library/calendar.js';
import { columnsFor, Layout, type Row } from '../src/timeline/layout.js';

const geometry = { width: 408, columns: 4, gap: 2, header: 50, above: 10, below: 20 };
// A tile is (408 - 3 * 2) / 4 pixels, rounded down.
const tile = 100;
const pitch = 102;

function day(start: number, key: number): Section {
  return { start, level: 'day', key };
}

// 6 photos in two rows, 1 in one, 4 in one.
const sections = [day(0, 20260315), day(6, 20260314), day(7, 20260310)];
const layout = new Layout(sections, 11, geometry);

function photosOf(rows: readonly Row[]): [number, number, number][] {
  return rows.flatMap((row) => (row.kind === 'photos' ? [[row.first, row.end, row.top] as [number, number, number]] : []));
}

describe('A layout', () => {
  test('has rows of each day below its header', () => {
    assert.equal(layout.tile, tile);
    const rows = layout.rows(0, layout.height);
    assert.deepEqual(rows.map(({ kind }) => kind),
      ['header', 'photos', 'photos', 'header', 'photos', 'header', 'photos']);
    assert.deepEqual(photosOf(rows), [
      [0, 4, 60],
      [4, 6, 60 + pitch],
      [6, 7, 60 + 2 * pitch + 50],
      [7, 11, 60 + 3 * pitch + 100],
    ]);
    assert.equal(layout.height, 10 + 3 * 50 + 4 * pitch + 20);
  });

  test('numbers its rows without a gap', () => {
    const rows = layout.rows(0, layout.height);
    assert.deepEqual(rows.map(({ number }) => number), [0, 1, 2, 3, 4, 5, 6]);
    assert.equal(layout.rowCount, 7);
  });

  test('gives the rows that meet a part of it and no others', () => {
    const all = layout.rows(0, layout.height);
    for (let from = 0; from < layout.height; from += 7) {
      const to = from + 130;
      const expected = all.filter(({ kind, top }) => {
        const height = kind === 'header' ? 50 : pitch;
        return top < to && top + height > from;
      });
      assert.deepEqual(layout.rows(from, to), expected, `${from} to ${to}`);
    }
  });

  test('knows where each photo lies', () => {
    for (const [first, end, top] of photosOf(layout.rows(0, layout.height))) {
      for (let index = first; index < end; ++index) {
        assert.equal(layout.topOf(index), top);
        assert.equal(layout.columnOf(index), index - first);
        assert.equal(layout.indexAt(top + 1), first);
      }
    }
  });

  test('leads from photo to photo across days', () => {
    assert.equal(layout.indexBeside(1, 1), 5);
    assert.equal(layout.indexBeside(3, 1), 5);
    assert.equal(layout.indexBeside(5, 1), 6);
    assert.equal(layout.indexBeside(6, 1), 7);
    assert.equal(layout.indexBeside(9, 1), 10);
    assert.equal(layout.indexBeside(9, -1), 6);
    assert.equal(layout.indexBeside(6, -1), 4);
    assert.equal(layout.indexBeside(5, -1), 1);
    assert.equal(layout.indexBeside(2, -1), 0);
  });

  test('without dates has no headers', () => {
    const plain = new Layout([undated(0)], 9, geometry);
    assert.deepEqual(photosOf(plain.rows(0, 1000)), [[0, 4, 10], [4, 8, 112], [8, 9, 214]]);
    assert.equal(plain.rowCount, 3);
  });

  test('of nothing has no rows', () => {
    const empty = new Layout([undated(0)], 0, geometry);
    assert.deepEqual(empty.rows(0, 1000), []);
    assert.equal(empty.height, 30);
  });

  test('of a million photos finds its rows by search', () => {
    const large = new Layout([day(0, 20260101), day(999_000, 19990101)], 1_000_000, geometry);
    const position = large.topOf(500_000);
    assert.deepEqual(photosOf(large.rows(position, position + 1)), [[500_000, 500_004, position]]);
  });

  test('has at least three columns', () => {
    assert.equal(columnsFor(360), 3);
    assert.equal(columnsFor(1200), 7);
  });
});

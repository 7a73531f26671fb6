import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { isAtEdge, kHighestElement, windowAround, windowMoved } from '../src/timeline/scroll_window.js';

const viewport = 800;
const high = 50_000_000;

describe('A window onto a listing', () => {
  test('that is low is all of it', () => {
    const window = windowAround(1200, 5000, viewport);
    assert.deepEqual(window, { base: 0, scrollTop: 1200, extent: 5000 });
    assert.ok(!isAtEdge(window, 5000, viewport));
  });

  test('is never higher than browsers allow', () => {
    for (const position of [0, 1, 3_000_000, 25_000_000.5, high - viewport, high]) {
      const window = windowAround(position, high, viewport);
      assert.ok(window.extent <= kHighestElement);
      assert.ok(window.base >= 0 && window.base + window.extent <= high);
      assert.ok(Number.isInteger(window.base));
      assert.ok(window.scrollTop <= window.extent - viewport);
    }
  });

  test('shows the position that was asked for', () => {
    for (const position of [0, 17, 3_000_001, 25_000_000.5, high - viewport]) {
      const { base, scrollTop } = windowAround(position, high, viewport);
      assert.equal(base + scrollTop, position);
    }
  });

  test('ends where the listing ends', () => {
    assert.equal(windowAround(-100, high, viewport).scrollTop, 0);
    const { base, scrollTop } = windowAround(high + 100, high, viewport);
    assert.equal(base + scrollTop, high - viewport);
  });

  test('is at an edge only where the listing goes on', () => {
    assert.ok(!isAtEdge(windowAround(0, high, viewport), high, viewport));
    assert.ok(!isAtEdge(windowAround(high, high, viewport), high, viewport));
    assert.ok(!isAtEdge(windowAround(high / 2, high, viewport), high, viewport));
    const base = 10_000_000;
    assert.ok(isAtEdge({ base, scrollTop: viewport, extent: kHighestElement }, high, viewport));
    const low = kHighestElement - 2 * viewport;
    assert.ok(isAtEdge({ base, scrollTop: low, extent: kHighestElement }, high, viewport));
  });

  test('moves without scrolling when what is above it grows', () => {
    const before = windowAround(20_000_000, high, viewport);
    const moved = windowMoved(before, 20_000_056, high + 56, viewport);
    assert.equal(moved.scrollTop, before.scrollTop);
    assert.equal(moved.base, before.base + 56);
  });

  test('keeps the position in a low listing that grows above it', () => {
    const before = windowAround(3000, 9000, viewport);
    const moved = windowMoved(before, 3112, 9112, viewport);
    assert.equal(moved.base + moved.scrollTop, 3112);
    assert.ok(moved.base + moved.extent <= 9112);
  });

  test('begins with the listing again when what is above it shrinks', () => {
    const before = windowAround(3000, 9000, viewport);
    const moved = windowMoved(before, 2900, 8900, viewport);
    assert.deepEqual(moved, { base: 0, scrollTop: 2900, extent: 8900 });
  });
});

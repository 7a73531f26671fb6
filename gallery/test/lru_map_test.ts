import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { LruMap } from '../src/library/lru_map.js';

describe('A map of limited size', () => {
  test('forgets what was not asked for the longest', () => {
    const map = new LruMap<string, number>(2);
    map.set('a', 1);
    map.set('b', 2);
    assert.equal(map.get('a'), 1);
    map.set('c', 3);
    assert.equal(map.get('b'), undefined);
    assert.equal(map.get('a'), 1);
    assert.equal(map.get('c'), 3);
  });

  test('does not keep longer what was only looked at', () => {
    const map = new LruMap<string, number>(2);
    map.set('a', 1);
    map.set('b', 2);
    assert.equal(map.peek('a'), 1);
    map.set('c', 3);
    assert.equal(map.peek('a'), undefined);
  });

  test('holds no more than its limit, however much is put into it', () => {
    const map = new LruMap<number, number>(50);
    for (let key = 0; key < 10_000; ++key) map.set(key % 173, key);
    assert.equal(map.size, 50);
  });
});

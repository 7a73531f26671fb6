import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { findRuns, kParts, kReadWhole, type Run } from '../src/library/boundaries.js';

/** A sorted list whose keys change at these indexes. */
class Keys {
  calls = 0;
  rounds = 0;
  #isRoundOpen = false;

  constructor(
    readonly starts: number[],
    public count: number,
  ) {}

  readonly read = async (start: number, end: number): Promise<number[]> => {
    ++this.calls;
    if (!this.#isRoundOpen) {
      this.#isRoundOpen = true;
      ++this.rounds;
      setImmediate(() => (this.#isRoundOpen = false));
    }
    await new Promise((resolve) => setImmediate(resolve));
    const keys = [];
    for (let index = start; index < Math.min(end, this.count); ++index) keys.push(this.keyOf(index));
    return keys;
  };

  keyOf(index: number): number {
    return this.starts.filter((start) => start <= index).length;
  }

  runs(): Run<number>[] {
    return this.starts.map((start) => ({ start, key: this.keyOf(start) }));
  }
}

describe('Runs of equal keys', () => {
  test('are found wherever they begin', async () => {
    for (const starts of [[0], [0, 1], [0, 1, 2, 3], [0, 31, 32, 33], [0, 500, 999], [0, 17, 18, 400, 731]]) {
      const keys = new Keys(starts, 1000);
      assert.deepEqual(await findRuns(0, 1000, keys.read), keys.runs());
    }
  });

  test('are found in a part of a list', async () => {
    const keys = new Keys([0, 100, 300, 301, 900], 1000);
    const found = await findRuns(200, 800, keys.read);
    assert.deepEqual(found, [{ start: 200, key: 2 }, { start: 300, key: 3 }, { start: 301, key: 4 }]);
  });

  test('of an empty list are none', async () => {
    assert.deepEqual(await findRuns(0, 0, new Keys([0], 0).read), []);
  });

  test('of a list of one are one', async () => {
    assert.deepEqual(await findRuns(0, 1, new Keys([0], 1).read), [{ start: 0, key: 1 }]);
  });

  test('of a million cost few questions, in few rounds', async () => {
    const starts = Array.from({ length: 25 }, (_, year) => Math.floor((year * 1_000_003) / 26));
    const keys = new Keys(starts, 1_000_000);
    assert.deepEqual(await findRuns(0, 1_000_000, keys.read), keys.runs());
    const rounds = Math.ceil(Math.log(1_000_000 / kReadWhole) / Math.log(kParts)) + 2;
    assert.ok(keys.rounds <= rounds, `${keys.rounds} rounds`);
    const calls = 2 + (starts.length - 1) * ((kParts - 1) * (rounds - 2) + 1);
    assert.ok(keys.calls <= calls, `${keys.calls} calls`);
  });

  test('of one key cost two questions', async () => {
    const keys = new Keys([0], 1_000_000);
    await findRuns(0, 1_000_000, keys.read);
    assert.equal(keys.calls, 2);
  });

  test('are in order when the list becomes shorter meanwhile', async () => {
    const keys = new Keys([0, 3000, 6000, 9000], 10_000);
    const read = async (start: number, end: number) => {
      keys.count = Math.max(keys.count - 300, 2500);
      return keys.read(start, end);
    };
    const runs = await findRuns(0, 10_000, read);
    assert.equal(runs[0]?.start, 0);
    runs.slice(1).forEach((run, index) => assert.ok(run.start > (runs[index]?.start ?? Infinity)));
    assert.ok(runs.every(({ key }) => key !== undefined));
  });

  test('end with what is there when every answer is of another list', async () => {
    let seed = 7;
    const read = async (start: number, end: number) => {
      const length = Math.min(end, 5000) - start;
      return Array.from({ length }, () => (seed = (seed * 48271) % 2147483647) % 40);
    };
    const runs = await findRuns(0, 5000, read);
    runs.slice(1).forEach((run, index) => assert.ok(run.start > (runs[index]?.start ?? Infinity)));
  });
});

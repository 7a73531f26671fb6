import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { Selection } from '../src/selection/selection.js';

const at = (index: number) => ({ id: `a${index}`, index });
const read = async (first: number, last: number) =>
  Array.from({ length: last - first + 1 }, (_, offset) => `a${first + offset}`);

function selection(): { selection: Selection; ids: () => string[]; changes: () => number } {
  let changes = 0;
  const made = new Selection(() => void ++changes);
  return { selection: made, ids: () => [...made.ids].sort(), changes: () => changes };
}

describe('A selection', () => {
  test('takes an asset in and out', () => {
    const { selection: chosen, ids, changes } = selection();
    chosen.toggle(at(3));
    chosen.toggle(at(5));
    assert.deepEqual(ids(), ['a3', 'a5']);
    chosen.toggle(at(3));
    assert.deepEqual(ids(), ['a5']);
    assert.equal(changes(), 3);
  });

  test('extends from where it began, in both directions', async () => {
    const { selection: chosen, ids } = selection();
    chosen.toggle(at(5));
    await chosen.extendTo(7, read);
    assert.deepEqual(ids(), ['a5', 'a6', 'a7']);
    await chosen.extendTo(3, read);
    assert.deepEqual(ids(), ['a3', 'a4', 'a5']);
  });

  test('keeps what was selected before a range', async () => {
    const { selection: chosen, ids } = selection();
    chosen.toggle(at(1));
    chosen.toggle(at(5));
    await chosen.extendTo(8, read);
    await chosen.extendTo(6, read);
    assert.deepEqual(ids(), ['a1', 'a5', 'a6']);
  });

  test('extends from nothing to nothing', async () => {
    const { selection: chosen, ids } = selection();
    await chosen.extendTo(4, read);
    assert.deepEqual(ids(), []);
  });

  test('ignores a range that comes after something else was done', async () => {
    const { selection: chosen, ids } = selection();
    chosen.toggle(at(0));
    const late = chosen.extendTo(9, read);
    chosen.clear();
    chosen.toggle(at(2));
    await late;
    assert.deepEqual(ids(), ['a2']);
  });

  test('takes everything as it becomes known, until it is cleared', async () => {
    const { selection: chosen, ids } = selection();
    async function* parts() {
      yield ['a0', 'a1'];
      yield ['a2'];
      chosen.clear();
      yield ['a3'];
    }
    await chosen.addAll(parts());
    assert.deepEqual(ids(), []);
  });

  test('loses what is deleted', async () => {
    const { selection: chosen, ids, changes } = selection();
    chosen.toggle(at(1));
    await chosen.extendTo(4, read);
    chosen.remove(['a2', 'other']);
    assert.deepEqual(ids(), ['a1', 'a3', 'a4']);
    const before = changes();
    chosen.remove(['other']);
    assert.equal(changes(), before);
    chosen.remove(['a1']);
    assert.equal(chosen.anchor, null);
  });

  test('extends from where its first asset lies now', async () => {
    const { selection: chosen, ids } = selection();
    chosen.toggle(at(5));
    chosen.moveAnchor((id, before) => (id === 'a5' && before === 5 ? 7 : null));
    await chosen.extendTo(8, async (first, last) => (first === 7 && last === 8 ? ['a5', 'a6'] : []));
    assert.deepEqual(ids(), ['a5', 'a6']);
    chosen.moveAnchor(() => null);
    assert.equal(chosen.anchor, null);
  });
});

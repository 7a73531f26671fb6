import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { sectionAt } from '../src/library/calendar.js';
import { keyOf } from '../src/library/date_keys.js';
import { Listing, type Watched } from '../src/library/listing.js';
import { assetAt, assets, FakeSource, until } from './fake_library.js';

async function opened(source: FakeSource): Promise<Listing> {
  const listing = new Listing(source);
  await until(() => listing.isKnown);
  return listing;
}

function watching(listing: Listing, watched: () => Watched[]) {
  const seen: ReadonlyMap<string, number>[] = [];
  listing.listen({ watched, learned: () => {}, replaced: (places) => void seen.push(places) });
  return seen;
}

function recordAt(listing: Listing, index: number): Watched {
  const asset = listing.record(index);
  assert.ok(asset);
  return { asset, index };
}

describe('A listing', () => {
  test('shows its first page before its length is known', async () => {
    const source = new FakeSource(assets(5000));
    const listing = new Listing({ ...source, isByDate: true, length: () => new Promise(() => {}) });
    await until(() => listing.count > 0);
    assert.equal(listing.count, 128);
    assert.equal(listing.record(0)?.id, 'a0');
    assert.ok(listing.sections.every(({ level }) => level === 'day'));
    assert.ok(!listing.isKnown);
  });

  test('knows days near what is seen, and years elsewhere', async () => {
    const source = new FakeSource(assets(100_000));
    const listing = await opened(source);
    assert.equal(listing.count, 100_000);
    assert.equal(listing.sections[0]?.level, 'day');
    assert.equal(listing.sections.at(-1)?.level, 'year');
    listing.want(60_000, 60_100);
    await until(() => listing.sections[sectionAt(listing.sections, 60_000)]?.level === 'day');
    for (const { start, level, key } of listing.sections) {
      if (level === null) continue;
      const date = source.list[start]?.creationDate as number;
      assert.equal(keyOf(date, level), key);
      const before = source.list[start - 1];
      if (before !== undefined) assert.notEqual(keyOf(before.creationDate, level), key);
    }
    assert.ok(source.readCalls < 900, `${source.readCalls} calls`);
  });

  test('asks for no page that is not wanted any more', async () => {
    const source = new FakeSource(assets(1_000, 0), false);
    source.list = Array.from({ length: 50_000 }, (_, index) => assetAt(`b${index}`, 0));
    const listing = await opened(source);
    const before = source.readCalls;
    for (let start = 0; start < 40_000; start += 500) listing.want(start, start + 100);
    await until(() => listing.record(39_599) !== undefined && listing.record(39_500) !== undefined);
    assert.ok(source.readCalls - before < 200);
    assert.ok(listing.record(39_500));
  });

  test('holds a limited number of records', async () => {
    const source = new FakeSource(assets(100_000), false);
    const listing = await opened(source);
    for (let start = 0; start < 100_000; start += 128) {
      listing.want(start, start + 128);
      await until(() => listing.record(start) !== undefined);
    }
    const held = source.list.filter((_, index) => listing.record(index) !== undefined).length;
    assert.ok(held <= 160 * 128, `${held} records`);
  });

  test('finds what is looked at again after an import above it', async () => {
    const source = new FakeSource(assets(3000));
    const listing = await opened(source);
    listing.want(2000, 2040);
    await until(() => listing.record(2000) !== undefined);
    const seen = watching(listing, () => [recordAt(listing, 2000)]);
    const first = source.list[0]?.creationDate as number;
    const added = Array.from({ length: 700 }, (_, index) => assetAt(`new${index}`, first + 1000 - index));
    source.list = [...added, ...source.list];
    listing.changed({ inserted: added.map(({ id }) => id), removed: [] });
    await until(() => seen.length > 0);
    assert.equal(seen[0]?.get('a2000'), 2700);
    assert.equal(listing.count, 3700);
    assert.equal(listing.record(2700)?.id, 'a2000');
  });

  test('goes on with the next one when what is looked at is deleted', async () => {
    const source = new FakeSource(assets(3000));
    const listing = await opened(source);
    listing.want(1000, 1040);
    await until(() => listing.record(1000) !== undefined && listing.record(1039) !== undefined);
    const seen = watching(listing, () => [recordAt(listing, 1000), recordAt(listing, 1001)]);
    source.list = source.list.filter(({ id }) => id !== 'a1000' && id !== 'a5');
    listing.changed({ inserted: [], removed: ['a1000', 'a5'] });
    assert.ok(listing.isGone('a1000'));
    await until(() => seen.length > 0);
    assert.equal(seen[0]?.get('a1001'), 999);
    assert.equal(listing.record(999)?.id, 'a1001');
  });

  test('tells where the only one looked at would be when it is deleted', async () => {
    for (const isByDate of [true, false]) {
      const source = new FakeSource(assets(500), isByDate);
      const listing = await opened(source);
      listing.want(300, 310);
      await until(() => listing.record(300) !== undefined);
      const watched = recordAt(listing, 300);
      const seen = watching(listing, () => [watched]);
      source.list = source.list.filter(({ id }) => id !== 'a300');
      listing.changed({ inserted: [], removed: ['a300'] });
      await until(() => seen.length > 0);
      assert.equal(seen[0]?.get('a300'), 300);
      assert.equal(listing.record(300)?.id, 'a301');
    }
  });

  test('finds an asset far from where it was by its date', async () => {
    const source = new FakeSource(assets(50_000));
    const listing = await opened(source);
    const wanted = source.list[41_234];
    assert.ok(wanted);
    const before = source.readCalls;
    assert.equal(await listing.find(wanted), 41_234);
    assert.ok(source.readCalls - before < 60, `${source.readCalls - before} calls`);
  });

  test('finds an asset among many of one date, and none that is not there', async () => {
    const list = [...assets(100), ...Array.from({ length: 3000 }, (_, n) => assetAt(`s${n}`, 5)), assetAt('end', 4)];
    const listing = await opened(new FakeSource(list));
    assert.equal(await listing.find(assetAt('s2222', 5)), 2322);
    assert.equal(await listing.find(assetAt('none', 5)), null);
    assert.equal(await listing.find(assetAt('none', 4_000_000_000_000)), null);
  });

  test('looks once more at what changed while it was looking', async () => {
    const source = new FakeSource(assets(2000));
    const listing = await opened(source);
    let isFirst = true;
    source.beforeAnswer = () => {
      if (!isFirst) return;
      isFirst = false;
      source.list = source.list.slice(0, 1500);
      listing.changed(null);
    };
    listing.changed(null);
    await until(() => listing.count === 1500);
    assert.equal(listing.sections.every(({ start }) => start < 1500), true);
  });

  test('that becomes empty is empty', async () => {
    const source = new FakeSource(assets(10));
    const listing = await opened(source);
    source.list = [];
    listing.changed({ inserted: [], removed: assets(10).map(({ id }) => id) });
    await until(() => listing.count === 0);
    assert.ok(listing.isKnown);
  });

  test('says why it cannot be shown', async () => {
    const fault = new Error('Gallery not found id = x');
    const source = new FakeSource([]);
    const listing = new Listing({ ...source, isByDate: true, length: () => Promise.reject(fault) });
    await until(() => listing.error !== null);
    assert.equal(listing.error, fault);
  });
});

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import {
  ContentMode,
  encodeErrorEnvelope,
  encodeMethodCall,
  Library,
  MalformedMessageError,
  MediaFilter,
  NotImplementedError,
  QuorvinError,
  SortOrder,
  UnencodableValueError,
  UnexpectedReplyError,
  VideoFormat,
  type Value,
} from 'quorvin-client';
import { hexadecimal } from './described_value.js';
import { FakeTransport, mapOf, one, replying } from './fake_transport.js';

const asset = {
  id: 'A1',
  mediaType: 1n,
  width: 4000n,
  height: 3000n,
  creationDate: 1_700_000_000_123n,
  modificationDate: -1n,
  duration: 0,
  isFavorite: true,
  isHidden: false,
  burstIdentifier: '',
  representsBurst: false,
  burstSelectionTypes: 3n,
  isLivePhoto: true,
};
const assetRecord = {
  ...asset,
  mediaType: 1,
  width: 4000,
  height: 3000,
  creationDate: 1_700_000_000_123,
  modificationDate: -1,
  burstSelectionTypes: 3,
};
const counts = { photoCount: 5n, videoCount: 0n, audioCount: 0n, totalCount: 5n };
const countRecord = { photoCount: 5, videoCount: 0, audioCount: 0, totalCount: 5 };
const gallery = { type: 'user', id: 'G1', title: 'Holidays', assetCount: mapOf(counts) };
const galleryRecord = { ...gallery, assetCount: countRecord };
const file = { url: '/tmp/image/a.jpg', deletable: true };
const bytes = new Uint8Array([1, 2, 3]);

interface Case {
  name: string;
  call: (library: Library) => Promise<unknown>;
  /** What is sent, in order. */
  sent: Record<string, Value> | null;
  reply: Value;
  result: unknown;
}

function method(
  name: string,
  call: Case['call'],
  sent: Case['sent'],
  reply: Value,
  result: unknown,
): Case {
  return { name, call, sent, reply, result };
}

const page = { start: 10, end: 20 };
const cases: Case[] = [
  method('getPlatformVersion', (l) => l.getPlatformVersion(), null, 'iOS 17.2', 'iOS 17.2'),
  method('getPermission', (l) => l.getPermission(), null, false, false),
  method('clearAllCache', (l) => l.clearAllCache(), null, true, undefined),
  method('startCachingImages', (l) => l.startCachingImages(), null, true, undefined),
  method('stopCachingImages', (l) => l.stopCachingImages(), null, true, undefined),
  method('stopAllCachingImages', (l) => l.stopAllCachingImages(), null, true, undefined),
  method(
    'getGalleryList',
    (l) => l.getGalleryList(),
    { withAllPhotos: true, filterEmptyAsset: false, withSmartAlbum: true, mediaType: 0n },
    [mapOf(gallery), mapOf({ ...gallery, type: 'smart' })],
    [galleryRecord, { ...galleryRecord, type: 'smart' }],
  ),
  method(
    'getGalleryList',
    (l) =>
      l.getGalleryList({
        filterEmptyAsset: true,
        withSmartAlbum: false,
        mediaType: MediaFilter.videos,
      }),
    { withAllPhotos: true, filterEmptyAsset: true, withSmartAlbum: false, mediaType: 2n },
    [],
    [],
  ),
  method(
    'getGalleryAssetCount',
    (l) => l.getGalleryAssetCount('G1'),
    { collectionId: 'G1', sort: 0n, mediaType: 0n },
    mapOf({ ...counts, firstAssetId: 'A1' }),
    { ...countRecord, firstAssetId: 'A1' },
  ),
  method(
    'getGalleryFirstAssetId',
    (l) => l.getGalleryFirstAssetId('G1', { sort: SortOrder.oldestFirst, mediaType: 3 }),
    { collectionId: 'G1', sort: 1n, mediaType: 3n },
    'A1',
    'A1',
  ),
  method(
    'getAssetList',
    (l) => l.getAssetList('G1', page),
    { collectionId: 'G1', start: 10n, end: 20n, sort: 0n, mediaType: 0n },
    [mapOf(asset), mapOf({ ...asset, id: 'A2', mediaType: 2n, duration: 1500.25 })],
    [assetRecord, { ...assetRecord, id: 'A2', mediaType: 2, duration: 1500.25 }],
  ),
  method(
    'getAssetList',
    (l) => l.getAssetList('G1', { ...page, sort: SortOrder.gallery, mediaType: 1 }),
    { collectionId: 'G1', start: 10n, end: 20n, sort: 2n, mediaType: 1n },
    [],
    [],
  ),
  method('getAssetInfo', (l) => l.getAssetInfo('A1'), { assetId: 'A1' }, mapOf(asset), assetRecord),
  method(
    'getThumbnail',
    (l) => l.getThumbnail('A1', { width: 256, height: 128.5 }),
    { assetId: 'A1', width: 256, height: 128.5, contentMode: 0n, jpegFormat: true },
    bytes,
    bytes,
  ),
  method(
    'getThumbnail',
    (l) =>
      l.getThumbnail('A1', {
        width: 1,
        height: 1,
        contentMode: ContentMode.cover,
        jpegFormat: false,
      }),
    { assetId: 'A1', width: 1, height: 1, contentMode: 1n, jpegFormat: false },
    null,
    null,
  ),
  method(
    'getImageData',
    (l) => l.getImageData('A1', { convertJpeg: true }),
    { assetId: 'A1', convertJpeg: true },
    bytes,
    bytes,
  ),
  method(
    'getImageUrl',
    (l) => l.getImageUrl('A1', { mediumQuality: true }),
    { assetId: 'A1', convertJpeg: false, mediumQuality: true },
    mapOf(file),
    file,
  ),
  method(
    'getLivePhotoUrl',
    (l) => l.getLivePhotoUrl('A1'),
    { assetId: 'A1', mediumQuality: false },
    mapOf(file),
    file,
  ),
  method(
    'getVideoUrl',
    (l) => l.getVideoUrl('A1', { videoFormat: VideoFormat.mpeg4 }),
    { assetId: 'A1', mediumQuality: false, videoFormat: 2n },
    mapOf({ ...file, deletable: false }),
    { ...file, deletable: false },
  ),
  method(
    'getBurstAssetList',
    (l) => l.getBurstAssetList('A1'),
    { assetId: 'A1' },
    [mapOf(asset)],
    [assetRecord],
  ),
  method(
    'getAssetOriginalFilename',
    (l) => l.getAssetOriginalFilename('A1'),
    { assetId: 'A1' },
    null,
    null,
  ),
  method(
    'getAssetOriginalFilename',
    (l) => l.getAssetOriginalFilename('A1'),
    { assetId: 'A1' },
    'a.jpg',
    'a.jpg',
  ),
  method(
    'deleteAssets',
    (l) => l.deleteAssets(['A1', 'A2']),
    { assetIds: ['A1', 'A2'] },
    true,
    undefined,
  ),
  method(
    'createAlbum',
    (l) => l.createAlbum('Holidays'),
    { title: 'Holidays' },
    mapOf(gallery),
    galleryRecord,
  ),
  method(
    'saveImage',
    (l) => l.saveImage('/a.jpg', { collectionId: 'G1' }),
    { filePath: '/a.jpg', collectionId: 'G1' },
    mapOf(asset),
    assetRecord,
  ),
  method(
    'saveVideo',
    (l) => l.saveVideo('/a.mov'),
    { filePath: '/a.mov' },
    mapOf(asset),
    assetRecord,
  ),
];

describe('methods', () => {
  for (const { name, call, sent, reply, result } of cases) {
    const values = sent === null ? 'no arguments' : Object.values(sent).join(', ');
    test(`${name} sends ${values}`, async () => {
      const transport = new FakeTransport(replying(reply));
      assert.deepEqual(await call(new Library(transport)), result);
      const { channel, message } = one(transport.sent);
      assert.equal(channel, 'quorvin');
      const expected = encodeMethodCall({ method: name, arguments: sent && mapOf(sent) });
      assert.equal(hexadecimal(message), hexadecimal(expected));
    });

    test(`${name} takes no other reply than ${String(reply)}`, async () => {
      // A text would be taken where one is replied at times.
      const isText = name === 'getAssetOriginalFilename' || typeof reply === 'string';
      for (const other of [7n, isText ? 2.5 : 'text', [null], mapOf({ id: 7n })]) {
        const library = new Library(new FakeTransport(replying(other)));
        await assert.rejects(call(library), UnexpectedReplyError);
      }
    });

    test(`${name} rejects with the error of the plugin`, async () => {
      const error = { code: 'Error', message: 'Asset not found id = A1', details: 'why' };
      const library = new Library(new FakeTransport(() => encodeErrorEnvelope(error)));
      await assert.rejects(call(library), (thrown) => {
        assert(thrown instanceof QuorvinError);
        assert.deepEqual({ ...error }, {
          code: thrown.code,
          message: thrown.message,
          details: thrown.details,
        });
        return true;
      });
    });

    test(`${name} rejects when nobody answers it`, async () => {
      for (const nothing of [null, new Uint8Array()]) {
        const library = new Library(new FakeTransport(() => nothing));
        await assert.rejects(call(library), (error) => {
          assert(error instanceof NotImplementedError);
          assert.deepEqual([error.channel, error.method], ['quorvin', name]);
          return true;
        });
      }
    });
  }

  test('are 22', () => {
    assert.equal(new Set(cases.map(({ name }) => name)).size, 22);
  });

  test('reject what is no reply', async () => {
    const library = new Library(new FakeTransport(() => new Uint8Array([0, 99])));
    await assert.rejects(library.getAssetInfo('A1'), MalformedMessageError);
  });

  test('reject what the transport rejects', async () => {
    const library = new Library(new FakeTransport(() => Promise.reject(new Error('no line'))));
    await assert.rejects(library.getPermission(), { message: 'no line' });
  });

  test('reject arguments that cannot be sent, and send nothing', async () => {
    const transport = new FakeTransport(replying(null));
    const library = new Library(transport);
    await assert.rejects(library.getAssetList('G1', { start: 0.5, end: 2 }), RangeError);
    await assert.rejects(library.getAssetList('G1', { start: 0, end: NaN }), RangeError);
    await assert.rejects(library.getGalleryList({ mediaType: 1.5 as 1 }), RangeError);
    await assert.rejects(library.createAlbum('\ud800'), UnencodableValueError);
    const noText = undefined as unknown as string;
    await assert.rejects(library.getAssetInfo(noText), UnencodableValueError);
    assert.deepEqual(transport.sent, []);
  });

  test('of other names can be called too', async () => {
    const transport = new FakeTransport(replying([1n, 2.5]));
    assert.deepEqual(await new Library(transport).call('later', mapOf({ a: 1n })), [1n, 2.5]);
    assert.deepEqual(one(transport.sent).arguments, mapOf({ a: 1n }));
  });
});

describe('replies', () => {
  const rejected = async (reply: Value, path: string, expected: RegExp) => {
    const library = new Library(new FakeTransport(replying(reply)));
    await assert.rejects(library.getAssetList('G1', page), (error) => {
      assert(error instanceof UnexpectedReplyError);
      assert.equal(error.method, 'getAssetList');
      assert.equal(error.path, path);
      assert.match(error.expected, expected);
      return true;
    });
  };

  test('of another type tell where', async () => {
    await rejected(null, '', /a list/);
    await rejected([mapOf(asset), null], '[1]', /a map/);
    await rejected([mapOf({ ...asset, width: 4000 })], '[0].width', /an integer/);
    await rejected([mapOf({ ...asset, width: 2n ** 60n })], '[0].width', /53 bits/);
    await rejected([mapOf({ ...asset, duration: 0n })], '[0].duration', /a double/);
    await rejected([mapOf({ ...asset, isHidden: 0n })], '[0].isHidden', /a boolean/);
    await rejected([mapOf({ ...asset, creationDate: null })], '[0].creationDate', /an integer/);
    await rejected([mapOf({ ...asset, mediaType: 4n })], '[0].mediaType', /one of 0, 1, 2, 3/);
  });

  for (const key of Object.keys(asset)) {
    test(`without ${key} are refused`, async () => {
      const lacking = mapOf(asset);
      lacking.delete(key);
      await rejected([lacking], `[0].${key}`, /./);
    });
  }

  test('of a gallery tell where', async () => {
    const reply = [mapOf({ ...gallery, assetCount: mapOf({ ...counts, totalCount: 'x' }) })];
    const library = new Library(new FakeTransport(replying(reply)));
    await assert.rejects(library.getGalleryList(), { path: '[0].assetCount.totalCount' });
  });

  test('may have more keys than are known', async () => {
    const library = new Library(new FakeTransport(replying(mapOf({ ...asset, later: 1n }))));
    assert.deepEqual(await library.getAssetInfo('A1'), assetRecord);
  });

  test('may have dates that no number holds exactly', async () => {
    const dated = mapOf({ ...asset, creationDate: 2n ** 62n + 1n });
    const library = new Library(new FakeTransport(replying(dated)));
    assert.equal((await library.getAssetInfo('A1')).creationDate, 2 ** 62);
  });
});

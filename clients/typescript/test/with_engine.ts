// with_engine.js LIBQUORVIN LIBRARY MEDIA: every method and the change events against an engine, on
// a copy of the library, which holds the media that the tests of quorvin import. The replies are
// compared with those of the program `quorvin`, which lies beside the library.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { cpSync, mkdtempSync, readFileSync, rmSync, statSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { Library, MediaFilter, QuorvinError, SortOrder, VideoFormat } from 'quorvin-client';
import { startEngine } from './engine_transport.js';

const [libquorvin, imported, media] = process.argv.slice(2);
assert(libquorvin && imported && media, 'say where libquorvin, a library and the media are');

const folder = mkdtempSync(join(tmpdir(), 'quorvin-client-'));
cpSync(imported, join(folder, 'library'), { recursive: true });
const script = fileURLToPath(new URL('../../test/engine.py', import.meta.url));
const engine = startEngine(script, libquorvin, join(folder, 'library'), join(folder, 'temporary'));

// Every method that answers as its types say.
const answered = new Set<string>();
const library = new Proxy(new Library(engine), {
  get(target, name: keyof Library) {
    const method = target[name] as (...args: unknown[]) => unknown;
    return (...args: unknown[]) => {
      if (/^(get|clear|start|stop|delete|create|save)/.test(name)) answered.add(name);
      return method.apply(target, args);
    };
  },
});

/** What `quorvin call` prints for a call whose arguments are given as JSON. */
function printed(method: string, args: string, ...options: string[]): { result: any } {
  const command = ['--library', join(folder, 'library'), 'call', method, args, ...options];
  return JSON.parse(execFileSync(join(dirname(libquorvin!), 'quorvin'), command, { encoding: 'utf8' }));
}

function told(method: string, args: unknown): any {
  return printed(method, JSON.stringify(args)).result;
}

function bytesTold(method: string, args: string): Buffer {
  const out = join(folder, 'out');
  printed(method, args, '--out', out);
  return readFileSync(out);
}

/** Of a new record, what another one made the same way has too. */
function lasting(record: object): object {
  return { ...record, id: '', modificationDate: 0 };
}

function startsWith(bytes: Uint8Array | null, ...start: number[]): void {
  assert(bytes !== null);
  assert.deepEqual([...bytes.subarray(0, start.length)], start);
}

const jpeg = [0xff, 0xd8];
const changes = library.changes();

assert.equal(await library.getPlatformVersion(), 'iOS 17.2');
assert.equal(await library.getPermission(), told('getPermission', null));
await library.clearAllCache();
await library.startCachingImages();
await library.stopCachingImages();
await library.stopAllCachingImages();

const galleries = await library.getGalleryList();
const everything = { withAllPhotos: true, filterEmptyAsset: false, withSmartAlbum: true, mediaType: 0 };
assert.deepEqual(galleries, told('getGalleryList', everything));
const all = galleries.find(({ type }) => type === 'user');
assert(all !== undefined && all.title === 'Recents');
assert(galleries.length > 5 && galleries.some(({ type }) => type === 'smart'));
const videos = await library.getGalleryAssetCount(all.id, { mediaType: MediaFilter.videos });
assert.deepEqual(
  videos,
  told('getGalleryAssetCount', { collectionId: all.id, sort: 0, mediaType: 2 }),
);
assert(videos.videoCount > 0 && videos.videoCount === videos.totalCount);
const assets = await library.getAssetList(all.id, { start: 0, end: 1000 });
const page = { collectionId: all.id, start: 0, end: 1000, sort: 0, mediaType: 0 };
assert.deepEqual(assets, told('getAssetList', page));
assert(assets.length >= all.assetCount.totalCount);
assert(assets.every(({ width, mediaType }) => width > 0 || mediaType === 3));
const oldest = await library.getGalleryFirstAssetId(all.id, { sort: SortOrder.oldestFirst });
const oldestFirst = { collectionId: all.id, sort: 1, mediaType: 0 };
assert.equal(oldest, told('getGalleryFirstAssetId', oldestFirst));

const names = await Promise.all(assets.map(({ id }) => library.getAssetOriginalFilename(id)));
function assetOf(name: string) {
  const asset = assets[names.indexOf(name)];
  assert(asset !== undefined, name);
  return asset;
}
const photo = assetOf('IMG_0002.jpg');
assert.deepEqual(await library.getAssetInfo(photo.id), photo);
assert.deepEqual(told('getAssetInfo', { assetId: photo.id }), photo);
assert.equal(told('getAssetOriginalFilename', { assetId: photo.id }), 'IMG_0002.jpg');
const small = `{"assetId": "${photo.id}", "width": 64.0, "height": 64.0, "contentMode": 0,
  "jpegFormat": true}`;
const thumbnail = await library.getThumbnail(photo.id, { width: 64, height: 64 });
startsWith(thumbnail, ...jpeg);
assert(bytesTold('getThumbnail', small).equals(thumbnail!));
const png = await library.getThumbnail(photo.id, { width: 64, height: 64, jpegFormat: false });
startsWith(png, 0x89, 0x50);
const file = readFileSync(join(media, 'IMG_0002.jpg'));
assert(file.equals(await library.getImageData(photo.id)));
const heic = assetOf('IMG_0011.HEIC');
const converted = await library.getImageData(heic.id, { convertJpeg: true });
startsWith(converted, ...jpeg);
assert(bytesTold('getImageData', `{"assetId": "${heic.id}", "convertJpeg": true}`).equals(converted));
const movie = assetOf('MOVIE.mov').id;
for (const [exported, method, args] of [
  [
    await library.getImageUrl(photo.id, { mediumQuality: true }),
    'getImageUrl',
    { assetId: photo.id, convertJpeg: false, mediumQuality: true },
  ],
  [
    await library.getLivePhotoUrl(heic.id),
    'getLivePhotoUrl',
    { assetId: heic.id, mediumQuality: false },
  ],
  [
    await library.getVideoUrl(movie),
    'getVideoUrl',
    { assetId: movie, mediumQuality: false, videoFormat: 0 },
  ],
] as const) {
  const same = told(method, args);
  assert.equal(exported.deletable, same.deletable);
  assert(statSync(exported.url).size > 0);
  assert(readFileSync(exported.url).equals(readFileSync(same.url)));
}
const mp4 = await library.getVideoUrl(movie, { videoFormat: VideoFormat.mpeg4 });
assert(mp4.deletable && statSync(mp4.url).size > 0);
const burst = assets.find(({ representsBurst }) => representsBurst);
assert(burst !== undefined);
const members = await library.getBurstAssetList(burst.id);
assert.deepEqual(members, told('getBurstAssetList', { assetId: burst.id }));
assert(members.length > 1 && members.every((m) => m.burstIdentifier === burst.burstIdentifier));

const album = await library.createAlbum('Täglich 😀');
assert.equal(album.title, 'Täglich 😀');
assert.deepEqual(lasting(album), lasting(told('createAlbum', { title: 'Täglich 😀' })));
const options = { collectionId: album.id };
const saved = await library.saveImage(join(media, 'NO_DATE.jpg'), options);
const savedVideo = await library.saveVideo(join(media, 'CLIP.mp4'), options);
assert.deepEqual([saved.mediaType, savedVideo.mediaType], [1, 2]);
assert.deepEqual(told('getAssetInfo', { assetId: saved.id }), saved);
const again = told('saveVideo', { filePath: join(media, 'CLIP.mp4') });
assert.deepEqual(lasting(again), lasting(savedVideo));
assert.equal((await library.getGalleryAssetCount(album.id)).totalCount, 2);
await library.deleteAssets([saved.id]);
await assert.rejects(library.getAssetInfo('no asset'), (error) => {
  assert(error instanceof QuorvinError);
  assert.deepEqual([error.code, error.message], ['Error', 'Asset not found id = no asset']);
  return true;
});

const inserted = new Set<string>();
let sequence = 0;
for await (const change of changes) {
  assert(change.complete && change.sequence > sequence);
  sequence = change.sequence;
  for (const id of change.inserted) inserted.add(id);
  if (inserted.has(savedVideo.id)) break;
}

assert.equal(await engine.end(), 0);
rmSync(folder, { recursive: true });
assert.equal(answered.size, 22);
console.log(`${answered.size} methods and the change events, as an engine answers them`);

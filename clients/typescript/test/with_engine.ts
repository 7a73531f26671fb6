// with_engine.js LIBQUORVIN LIBRARY MEDIA: every method and the change events against an engine, on
// a copy of the library, which holds the media that the tests of quorvin import.
import assert from 'node:assert/strict';
import { cpSync, mkdtempSync, readFileSync, rmSync, statSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
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

function startsWith(bytes: Uint8Array | null, ...start: number[]): void {
  assert(bytes !== null);
  assert.deepEqual([...bytes.subarray(0, start.length)], start);
}

const jpeg = [0xff, 0xd8];
const changes = library.changes();

assert.equal(await library.getPlatformVersion(), 'iOS 17.2');
assert.equal(await library.getPermission(), true);
await library.clearAllCache();
await library.startCachingImages();
await library.stopCachingImages();
await library.stopAllCachingImages();

const galleries = await library.getGalleryList();
const all = galleries.find(({ type }) => type === 'user');
assert(all !== undefined && all.title === 'Recents');
assert(galleries.length > 5 && galleries.some(({ type }) => type === 'smart'));
const videos = await library.getGalleryAssetCount(all.id, { mediaType: MediaFilter.videos });
assert(videos.videoCount > 0 && videos.videoCount === videos.totalCount);
const assets = await library.getAssetList(all.id, { start: 0, end: 1000 });
assert(assets.length >= all.assetCount.totalCount);
assert(assets.every(({ width, mediaType }) => width > 0 || mediaType === 3));
const oldest = await library.getGalleryFirstAssetId(all.id, { sort: SortOrder.oldestFirst });
assert(assets.some(({ id }) => id === oldest));

const names = await Promise.all(assets.map(({ id }) => library.getAssetOriginalFilename(id)));
function assetOf(name: string) {
  const asset = assets[names.indexOf(name)];
  assert(asset !== undefined, name);
  return asset;
}
const photo = assetOf('IMG_0002.jpg');
assert.deepEqual(await library.getAssetInfo(photo.id), photo);
startsWith(await library.getThumbnail(photo.id, { width: 64, height: 64 }), ...jpeg);
const png = await library.getThumbnail(photo.id, { width: 64, height: 64, jpegFormat: false });
startsWith(png, 0x89, 0x50);
const file = readFileSync(join(media, 'IMG_0002.jpg'));
assert(file.equals(await library.getImageData(photo.id)));
const heic = assetOf('IMG_0011.HEIC');
startsWith(await library.getImageData(heic.id, { convertJpeg: true }), ...jpeg);
for (const exported of [
  await library.getImageUrl(photo.id, { mediumQuality: true }),
  await library.getLivePhotoUrl(heic.id),
  await library.getVideoUrl(assetOf('MOVIE.mov').id, { videoFormat: VideoFormat.mpeg4 }),
]) {
  assert(exported.deletable && statSync(exported.url).size > 0);
}
const burst = assets.find(({ representsBurst }) => representsBurst);
assert(burst !== undefined);
const members = await library.getBurstAssetList(burst.id);
assert(members.length > 1 && members.every((m) => m.burstIdentifier === burst.burstIdentifier));

const album = await library.createAlbum('Täglich 😀');
assert.equal(album.title, 'Täglich 😀');
const options = { collectionId: album.id };
const saved = await library.saveImage(join(media, 'NO_DATE.jpg'), options);
const savedVideo = await library.saveVideo(join(media, 'CLIP.mp4'), options);
assert.deepEqual([saved.mediaType, savedVideo.mediaType], [1, 2]);
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

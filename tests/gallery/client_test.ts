/** The client's package in a browser, on a page of the server's, over its own connection. */
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, readFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import type { Page } from 'playwright-core';
import { visit } from './browser.js';
import { build, media } from './server.js';

type Client = typeof import('../../clients/typescript/dist/index.js');

const kPackage = fileURLToPath(new URL('../../../clients/typescript/dist/', import.meta.url));
const kValues = 2000;

/** The modules are where the page's own files are, so that its policy lets them in. */
async function offerClient(page: Page): Promise<void> {
  await page.route('**/client/*', async (route) => {
    const file = join(kPackage, new URL(route.request().url()).pathname.replace(/^\/client\//, ''));
    assert.equal(dirname(file) + '/', kPackage);
    assert.ok(existsSync(file), file);
    await route.fulfill({ contentType: 'text/javascript', body: readFileSync(file) });
  });
}

test('reads and writes messages in a browser as the codec in C++ does', async () => {
  await visit({}, async ({ page }) => {
    await offerClient(page);
    const lines = execFileSync(join(build, 'test-bin/codec_values'), ['generate', '3', `${kValues}`], {
      encoding: 'utf8',
      maxBuffer: 1 << 30,
    });
    const messages = lines.trim().split('\n').map((line) => JSON.parse(line).message as string);
    const different = await page.evaluate(async (all) => {
      const name = '/client/index.js';
      const { decodeMessage, encodeMessage } = (await import(name)) as Client;
      const bytesOf = (text: string) => {
        return Uint8Array.from({ length: text.length / 2 }, (_, i) => parseInt(text.slice(2 * i, 2 * i + 2), 16));
      };
      const textOf = (bytes: Uint8Array) => {
        return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
      };
      return all.filter((text) => textOf(encodeMessage(decodeMessage(bytesOf(text)))) !== text);
    }, messages);
    assert.deepEqual(different, []);
    assert.equal(messages.length, kValues);
  });
});

test('calls every method from a browser, and hears of changes', async () => {
  await visit({}, async ({ page, library }) => {
    await offerClient(page);
    const assets = await library.assets();
    const [live] = await library.assets('Live Photos');
    const [video] = await library.assets('Videos');
    const burst = assets.find(({ representsBurst }) => representsBurst)!;
    const given = {
      photo: assets[0]!.id,
      live: live!.id,
      video: video!.id,
      burst: burst.id,
      image: join(media, 'NO_DATE.jpg'),
      film: join(media, 'CLIP.mp4'),
    };
    const replies = await page.evaluate(async ({ photo, live, video, burst, image, film }) => {
      const name = '/client/index.js';
      const { Library, QuorvinError, WebSocketTransport } = (await import(name)) as Client;
      const transport = new WebSocketTransport(location.origin.replace(/^http/, 'ws') + '/channel');
      const library = new Library(transport);
      const changes = library.changes();
      const galleries = await library.getGalleryList();
      const all = galleries.find(({ title }) => title === 'Recents')!;
      const size = (bytes: Uint8Array | null) => bytes?.length ?? 0;
      const album = await library.createAlbum('From a browser');
      const saved = await library.saveImage(image, { collectionId: album.id });
      const replies: Record<string, unknown> = {
        getPlatformVersion: await library.getPlatformVersion(),
        getPermission: await library.getPermission(),
        clearAllCache: (await library.clearAllCache()) ?? null,
        startCachingImages: (await library.startCachingImages()) ?? null,
        stopCachingImages: (await library.stopCachingImages()) ?? null,
        stopAllCachingImages: (await library.stopAllCachingImages()) ?? null,
        getGalleryList: galleries.length,
        getGalleryAssetCount: (await library.getGalleryAssetCount(album.id)).totalCount,
        getGalleryFirstAssetId: await library.getGalleryFirstAssetId(album.id),
        getAssetList: (await library.getAssetList(all.id, { start: 0, end: 1000 })).length,
        getAssetInfo: (await library.getAssetInfo(photo)).id,
        getThumbnail: size(await library.getThumbnail(photo, { width: 64, height: 64 })),
        getImageData: size(await library.getImageData(photo)),
        getImageUrl: (await library.getImageUrl(photo)).url,
        getLivePhotoUrl: (await library.getLivePhotoUrl(live)).url,
        getVideoUrl: (await library.getVideoUrl(video)).url,
        getBurstAssetList: (await library.getBurstAssetList(burst)).length,
        getAssetOriginalFilename: await library.getAssetOriginalFilename(saved.id),
        saveVideo: (await library.saveVideo(film)).mediaType,
        deleteAssets: (await library.deleteAssets([saved.id])) ?? null,
        createAlbum: album.title,
        saveImage: saved.id,
      };
      const error = await library.getAssetInfo('none').catch((thrown: unknown) => thrown);
      if (!(error instanceof QuorvinError)) throw new Error(`${error}`);
      for await (const change of changes) if (change.removed.includes(saved.id)) break;
      transport.close();
      return { replies, error: error.message };
    }, given);
    assert.equal(replies.error, 'Asset not found id = none');
    const { saveImage: saved, ...all } = replies.replies;
    assert.equal(Object.keys(all).length, 21);
    assert.match(String(saved), /^[0-9A-F-]{36}\/L0\/001$/);
    assert.equal(all['getGalleryFirstAssetId'], saved);
    assert.deepEqual(
      [all['getGalleryAssetCount'], all['getAssetList'], all['getAssetInfo'], all['getBurstAssetList']],
      [1, assets.length + 1, assets[0]!.id, 5],
    );
    for (const name of ['getImageUrl', 'getLivePhotoUrl', 'getVideoUrl']) {
      assert.ok(existsSync(String(all[name])), name);
    }
    assert.ok(Number(all['getThumbnail']) > 0 && Number(all['getImageData']) > 0);
    assert.equal(all['getAssetOriginalFilename'], 'NO_DATE.jpg');
  });
});

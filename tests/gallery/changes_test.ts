import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { visit } from './browser.js';
import { cell, cells, drawn } from './page.js';
import { media } from './server.js';

const tall = { viewport: { width: 1280, height: 6000 } };

test('what others import and delete is seen without a jump', async () => {
  await visit({ viewport: { width: 800, height: 400 } }, async ({ page, library }) => {
    const assets = await library.assets();
    const scrubber = page.getByRole('slider', { name: 'Date' });
    await drawn(page);
    await scrubber.focus();
    await page.keyboard.press('End');
    const anchor = cell(page, assets.at(-1)!.id);
    await anchor.waitFor();
    const before = (await anchor.boundingBox())!;
    await library.call('deleteAssets', { assetIds: [assets[0]!.id, assets[1]!.id] });
    await page.waitForTimeout(1500);
    assert.deepEqual(await anchor.boundingBox(), before);
    await scrubber.focus();
    await page.keyboard.press('Home');
    await cell(page, assets[2]!.id).waitFor();
    assert.equal(await cell(page, assets[0]!.id).count(), 0);
    await library.tool('trash', 'restore', assets[0]!.id);
    await cell(page, assets[0]!.id).waitFor();
  });
});

test('files are uploaded, and one that is none stops no other', async () => {
  await visit({ ...tall, allowed: /Failed to load resource/ }, async ({ page, library }) => {
    const ids = new Set((await library.assets()).map(({ id }) => id));
    await drawn(page, ids.size);
    const picture = readFileSync(join(media, 'IMG_0003.JPG'));
    const files = page.locator('input[type=file]').first();
    await files.setInputFiles([
      { name: 'new one.jpg', mimeType: 'image/jpeg', buffer: picture },
      { name: 'text.jpg', mimeType: 'image/jpeg', buffer: Buffer.from('no picture') },
      { name: 'film.mp4', mimeType: 'video/mp4', buffer: readFileSync(join(media, 'CLIP.mp4')) },
    ]);
    const uploads = page.getByRole('region', { name: 'Uploads' });
    await uploads.getByText('text.jpg').waitFor();
    await drawn(page, ids.size + 2);
    const added = (await library.assets()).filter(({ id }) => !ids.has(id));
    const names = await Promise.all(added.map(({ id }) => {
      return library.call<string>('getAssetOriginalFilename', { assetId: id });
    }));
    assert.deepEqual(names.sort(), ['film.mp4', 'new one.jpg']);
    assert.match((await library.tool('check', '--content')), /all is well/);
  });
});

test('a file that is dropped is uploaded', async () => {
  await visit(tall, async ({ page, library }) => {
    const count = (await library.assets()).length;
    await drawn(page, count);
    const bytes = readFileSync(join(media, 'orientation_1.jpg')).toString('base64');
    const transfer = await page.evaluateHandle((text) => {
      const binary = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
      const transfer = new DataTransfer();
      transfer.items.add(new File([binary], 'dropped.jpg', { type: 'image/jpeg' }));
      return transfer;
    }, bytes);
    for (const type of ['dragenter', 'dragover', 'drop']) {
      await page.dispatchEvent('body', type, { dataTransfer: transfer });
    }
    await drawn(page, count + 1);
  });
});

test('a server that goes away and comes back is told of, and met again', async () => {
  const allowed = /WebSocket|Failed to load resource|ERR_CONNECTION/;
  await visit({ ...tall, allowed }, async ({ page, library }) => {
    const assets = await library.assets();
    await drawn(page, assets.length);
    assert.equal(await library.stop('SIGTERM'), 0);
    await page.getByText('Connection lost').waitFor();
    assert.equal(await cells(page).count(), assets.length, 'what is seen stays');
    await library.call('deleteAssets', { assetIds: [assets[0]!.id] });
    const address = await library.start();
    // The new server has a token of its own.
    await page.getByText('quorvin serve').first().waitFor({ timeout: 45_000 });
    await page.goto(address);
    await cell(page, assets[1]!.id).waitFor();
    assert.equal(await cell(page, assets[0]!.id).count(), 0);
  });
});


import assert from 'node:assert/strict';
import { test } from 'node:test';
import { visit, type Visit } from './browser.js';
import { cell, drawn, keep } from './page.js';
import type { Asset } from './server.js';

const viewer = ({ page }: Visit) => page.getByRole('dialog', { name: 'Viewer' });

async function open(visit: Visit, asset: Asset) {
  await drawn(visit.page);
  await cell(visit.page, asset.id).click();
  await viewer(visit).waitFor();
}

const tall = { viewport: { width: 1280, height: 6000 } };

test('opens a photo whole, and goes on and back by keys and buttons', async () => {
  await visit({}, async (visit) => {
    const { page, library } = visit;
    const assets = await library.assets();
    await open(visit, assets[0]!);
    const shows = async (asset: Asset) => {
      const name = encodeURIComponent(asset.id);
      await page.waitForFunction((wanted) => {
        return [...document.querySelectorAll<HTMLImageElement>('[role=dialog] img')].some(
          (image) => image.src.includes(`/asset/${wanted}/image`) && image.naturalWidth > 0 &&
            image.getBoundingClientRect().left >= 0 &&
            image.getBoundingClientRect().right <= innerWidth);
      }, name);
    };
    await shows(assets[0]!);
    await keep(page, 'viewer');
    await page.keyboard.press('ArrowRight');
    await shows(assets[1]!);
    await viewer(visit).getByRole('button', { name: 'Previous' }).click();
    await shows(assets[0]!);
    await page.keyboard.press('Escape');
    await viewer(visit).waitFor({ state: 'detached' });
    const focused = await page.evaluate(() => {
      return document.activeElement?.closest('[data-asset]')?.getAttribute('data-asset');
    });
    assert.equal(focused, assets[0]!.id);
  });
});

test('a video plays and seeks', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const clip = (await library.assets('Videos')).find(({ creationDate }) => creationDate === 1689330030000);
    await open(visit, clip!);
    const video = viewer(visit).locator('video').first();
    await video.waitFor();
    const reached = await video.evaluate(async (element: HTMLVideoElement) => {
      element.muted = true;
      await element.play();
      element.pause();
      element.currentTime = 1.5;
      await new Promise((resolve) => element.addEventListener('seeked', resolve, { once: true }));
      return { time: element.currentTime, width: element.videoWidth, length: element.duration };
    });
    assert.equal(reached.time, 1.5);
    assert.ok(reached.width > 0 && Math.abs(reached.length - 2) < 0.2, JSON.stringify(reached));
    await keep(page, 'video');
  });
});

test('every video plays, slow motion too', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    for (const asset of await library.assets('Videos')) {
      await open(visit, asset);
      const video = viewer(visit).locator('video').first();
      await video.evaluate(async (element: HTMLVideoElement) => {
        element.muted = true;
        await element.play();
      });
      await page.keyboard.press('Escape');
      await viewer(visit).waitFor({ state: 'detached' });
    }
  });
});

test('a live photo moves', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const [live] = await library.assets('Live Photos');
    await open(visit, live!);
    await viewer(visit).getByRole('button', { name: 'Live' }).hover();
    await page.waitForFunction(() => {
      const video = document.querySelector<HTMLVideoElement>('[role=dialog] video');
      return video !== null && video.currentTime > 0;
    });
  });
});

test('a burst opens', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const burst = (await library.assets()).find(({ representsBurst }) => representsBurst);
    await open(visit, burst!);
    await viewer(visit).getByRole('button', { name: 'Show burst' }).click();
    await page.waitForFunction(() => /\b5\b/.test(document.body.innerText));
    await keep(page, 'burst');
  });
});

test('tells what is known of a photo', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const photo = (await library.assets()).find(({ creationDate }) => creationDate === 1672549199999);
    const name = await library.call<string>('getAssetOriginalFilename', { assetId: photo!.id });
    await open(visit, photo!);
    await viewer(visit).getByRole('button', { name: 'Details' }).click();
    await page.getByText(name).waitFor();
    const text = (await page.getByRole('region', { name: 'Details' }).innerText()).replace(/\s+/g, ' ');
    assert.match(text, /1600 × 900/);
    assert.match(text, /2023|2022/);
    assert.match(text, /[kM]B/);
    await keep(page, 'details');
  });
});

test('an address opens what it names', async () => {
  await visit({}, async (visit) => {
    const { page, library } = visit;
    const [, second] = await library.assets();
    await open(visit, second!);
    const address = page.url();
    await page.goto('about:blank');
    await page.goto(address);
    await viewer(visit).waitFor();
    await page.waitForFunction((name) => {
      return [...document.querySelectorAll('img')].some((each) => each.src.includes(name));
    }, `/asset/${encodeURIComponent(second!.id)}/image`);
  });
});

test('is downloaded as it is stored, under its name, or as JPEG', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const heic = (await library.assets('Live Photos'))[0]!;
    const name = await library.call<string>('getAssetOriginalFilename', { assetId: heic.id });
    for (const [choice, wanted] of [['Original', name], ['JPEG', /\.jpe?g$/i]] as const) {
      await open(visit, heic);
      await viewer(visit).getByRole('button', { name: 'Download' }).click();
      const saved = page.waitForEvent('download');
      await page.getByRole('menuitem', { name: choice }).or(page.getByRole('link', { name: choice }))
        .or(page.getByRole('button', { name: choice })).first().click();
      assert.match((await saved).suggestedFilename(), wanted instanceof RegExp ? wanted : new RegExp(`^${wanted}$`));
      await page.goto(page.url().replace(/#.*/, ''));
      await page.reload();
    }
  });
});

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { visit } from './browser.js';
import { cell, cells, drawn, keep } from './page.js';
import type { ServedLibrary } from './server.js';

const allow = (library: ServedLibrary) => library.tool('authorize', 'authorized');

test('shows every photo with its picture, newest first, under its day', async () => {
  await visit({}, async ({ page, library }) => {
    const assets = await library.assets();
    await drawn(page);
    await cell(page, assets[0]!.id).waitFor();
    const shown = await cells(page).evaluateAll((all) => all.map((each) => each.dataset['asset']));
    assert.deepEqual(shown, assets.map(({ id }) => id).slice(0, shown.length));
    const days = await page.getByRole('heading').allTextContents();
    assert.ok(days.some((day) => /2 January 2024/.test(day)), days.join(', '));
    const name = await cell(page, assets[0]!.id).getAttribute('aria-label');
    assert.match(name ?? '', /^Photo.*2 January 2024/);
    const broken = await cells(page).locator('img').evaluateAll((all) => {
      return (all as HTMLImageElement[]).filter((image) => image.naturalWidth === 0).length;
    });
    assert.equal(broken, 0);
    await keep(page, 'grid');
  });
});

test('names what kind each asset is of', async () => {
  await visit({ viewport: { width: 1280, height: 6000 } }, async ({ page, library }) => {
    const assets = await library.assets();
    await drawn(page, assets.length);
    const nameOf = (id: string) => cell(page, id).getAttribute('aria-label');
    const [slow] = await library.assets('Slo-mo');
    assert.match((await nameOf(slow!.id)) ?? '', /^Slow motion video/);
    for (const asset of assets) {
      const kind = asset.representsBurst ? 'Burst' : asset.isLivePhoto ? 'Live photo'
        : asset.mediaType === 1 ? 'Photo' : asset.mediaType === 3 ? 'Audio' : 'Video|Slow motion';
      assert.match((await nameOf(asset.id)) ?? '', new RegExp(`^(${kind})`));
    }
  });
});

test('scrolls to the oldest and back by the scrubber', async () => {
  await visit({ viewport: { width: 800, height: 400 } }, async ({ page, library }) => {
    const assets = await library.assets();
    const oldest = cell(page, assets.at(-1)!.id);
    await drawn(page);
    assert.equal(await oldest.count(), 0, 'what is not seen does not exist');
    const scrubber = page.getByRole('slider', { name: 'Date' });
    await scrubber.focus();
    await page.keyboard.press('End');
    await oldest.waitFor();
    assert.match((await scrubber.getAttribute('aria-valuetext')) ?? '', /2019/);
    await page.keyboard.press('Home');
    await cell(page, assets[0]!.id).waitFor();
    await page.mouse.move(400, 200);
    await page.mouse.wheel(0, 100_000);
    await oldest.waitFor();
  });
});

test('fits a screen of 360 pixels', async () => {
  const narrow = { viewport: { width: 360, height: 740 }, hasTouch: true, isMobile: true };
  await visit(narrow, async ({ page }) => {
    await drawn(page);
    const width = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(width <= 360, `the page is ${width} pixels wide`);
    const first = await cells(page).first().boundingBox();
    assert.ok(first!.width > 90 && first!.width < 181);
    await page.getByRole('link', { name: 'Albums' }).click();
    await page.getByRole('link', { name: /^Holidays/ }).waitFor();
    await keep(page, 'narrow');
  });
});

test('is dark where the system is', async () => {
  const brightness = (colorScheme: 'dark' | 'light') => {
    return new Promise<number>((resolve, reject) => {
      visit({ colorScheme }, async ({ page }) => {
        await drawn(page);
        await keep(page, colorScheme);
        resolve(await page.evaluate(() => {
          const found = /\d+/.exec(getComputedStyle(document.body).backgroundColor);
          return Number(found?.[0]);
        }));
      }).catch(reject);
    });
  };
  assert.ok((await brightness('dark')) < 60);
  assert.ok((await brightness('light')) > 200);
});

test('shows albums with their counts, and what is in them', async () => {
  await visit({}, async ({ page, library }) => {
    await drawn(page);
    await page.getByRole('link', { name: 'Albums' }).click();
    const album = page.getByRole('link', { name: /^Holidays/ });
    assert.match((await album.textContent()) ?? '', /2/);
    const videos = page.getByRole('link', { name: /^Videos/ });
    assert.match((await videos.textContent()) ?? '', /5/);
    await keep(page, 'albums');
    await album.click();
    await page.getByRole('grid', { name: 'Holidays' }).waitFor();
    await drawn(page, 2);
    const members = await library.assets('Holidays');
    const shown = await cells(page).evaluateAll((all) => all.map((each) => each.dataset['asset']));
    assert.deepEqual(new Set(shown), new Set(members.map(({ id }) => id)));
    await page.goBack();
    await album.waitFor();
  });
});

test('an empty library tells how to import', async () => {
  await visit({ of: 'none', prepare: allow }, async ({ page }) => {
    await page.getByRole('heading', { name: 'No photos yet' }).waitFor();
    assert.match((await page.textContent('body')) ?? '', /quorvin import/);
    await keep(page, 'empty');
  });
});

test('a library that may not be seen says so', async () => {
  await visit({ prepare: (library) => library.tool('authorize', 'denied') }, async ({ page }) => {
    await page.getByRole('heading', { name: 'No access to this library' }).waitFor();
    assert.match((await page.textContent('body')) ?? '', /quorvin authorize authorized/);
    assert.equal(await cells(page).count(), 0);
    await keep(page, 'denied');
  });
});

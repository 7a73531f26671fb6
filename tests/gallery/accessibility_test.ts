import assert from 'node:assert/strict';
import { test } from 'node:test';
import { visit } from './browser.js';
import { cell, drawn, violations } from './page.js';

for (const colorScheme of ['light', 'dark'] as const) {
  test(`no view breaks a rule of accessibility when it is ${colorScheme}`, async () => {
    await visit({ colorScheme }, async ({ page, library }) => {
      const [first] = await library.assets();
      await drawn(page);
      assert.deepEqual(await violations(page), [], 'the grid');
      await cell(page, first!.id).click();
      await page.getByRole('dialog', { name: 'Viewer' }).waitFor();
      assert.deepEqual(await violations(page), [], 'the viewer');
      await page.getByRole('button', { name: 'Details' }).click();
      await page.getByRole('region', { name: 'Details' }).waitFor();
      assert.deepEqual(await violations(page), [], 'the details');
      await page.keyboard.press('Escape');
      await page.keyboard.press('Escape');
      await page.getByRole('dialog', { name: 'Viewer' }).waitFor({ state: 'detached' });
      await page.keyboard.press('Space');
      await page.getByRole('toolbar', { name: 'Selection' }).waitFor();
      assert.deepEqual(await violations(page), [], 'a selection');
      await page.getByRole('button', { name: 'Add to album' }).click();
      await page.getByRole('dialog', { name: 'Add to album' }).waitFor();
      assert.deepEqual(await violations(page), [], 'a dialog');
      await page.keyboard.press('Escape');
      await page.keyboard.press('Escape');
      await page.getByRole('link', { name: 'Albums' }).click();
      await page.getByRole('link', { name: /^Holidays/ }).waitFor();
      assert.deepEqual(await violations(page), [], 'the albums');
    });
  });
}

test('an empty library and one that is denied break no rule', async () => {
  for (const status of ['authorized', 'denied']) {
    await visit({ of: 'none', prepare: (library) => library.tool('authorize', status) }, async ({ page }) => {
      await page.getByRole('heading', { level: 1 }).first().waitFor();
      assert.deepEqual(await violations(page), []);
    });
  }
});

test('nothing moves by itself where motion is to be reduced', async () => {
  await visit({ reducedMotion: 'reduce' }, async ({ page }) => {
    await drawn(page);
    const moving = await page.evaluate(() => {
      return document.getAnimations().filter(({ playState }) => playState === 'running').length;
    });
    assert.equal(moving, 0);
  });
});

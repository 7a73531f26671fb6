import assert from 'node:assert/strict';
import { test } from 'node:test';
import { visit, type Visit } from './browser.js';
import { cell, cells, drawn, keep } from './page.js';

const tall = { viewport: { width: 1280, height: 6000 } };
const bar = ({ page }: Visit) => page.getByRole('toolbar', { name: 'Selection' });

async function select(visit: Visit, id: string) {
  await cell(visit.page, id).hover();
  await cell(visit.page, id).getByRole('button', { name: 'Select' })
    .or(cell(visit.page, id).getByRole('checkbox', { name: 'Select' })).first().click();
}

test('a range is selected by mouse, and let go by Escape', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const ids = (await library.assets()).map(({ id }) => id);
    await drawn(page, ids.length);
    await select(visit, ids[1]!);
    await cell(page, ids[4]!).click({ modifiers: ['Shift'] });
    await bar(visit).getByText('4 selected').waitFor();
    for (const id of ids.slice(1, 5)) {
      assert.equal(await cell(page, id).getAttribute('aria-selected'), 'true');
    }
    await keep(page, 'selection');
    await page.keyboard.press('Escape');
    await bar(visit).waitFor({ state: 'detached' });
  });
});

test('what is deleted goes, and comes back when it is undone', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const ids = (await library.assets()).map(({ id }) => id);
    await drawn(page, ids.length);
    await select(visit, ids[0]!);
    await select(visit, ids[2]!);
    await bar(visit).getByRole('button', { name: 'Delete' }).click();
    await cell(page, ids[0]!).waitFor({ state: 'detached' });
    await drawn(page, ids.length - 2);
    assert.equal((await library.assets()).length, ids.length - 2);
    assert.match(await library.tool('trash', 'list'), new RegExp(ids[2]!.slice(0, 36)));
    await page.getByRole('button', { name: 'Undo' }).click();
    await cell(page, ids[0]!).waitFor();
    await drawn(page, ids.length);
    assert.deepEqual((await library.assets()).map(({ id }) => id), ids);
  });
});

test('photos go into an album that is made for them, and into one that is there', async () => {
  await visit(tall, async (visit) => {
    const { page, library } = visit;
    const ids = (await library.assets()).map(({ id }) => id);
    await drawn(page, ids.length);
    await select(visit, ids[0]!);
    await bar(visit).getByRole('button', { name: 'Add to album' }).click();
    const adding = page.getByRole('dialog', { name: 'Add to album' });
    await adding.getByRole('button', { name: 'New album' }).click();
    const making = page.getByRole('dialog', { name: 'New album' });
    await making.getByRole('textbox', { name: 'Title' }).fill('Sea & sky');
    await making.getByRole('button', { name: 'Create' }).click();
    await page.getByRole('status').filter({ hasText: 'Sea & sky' }).waitFor();
    assert.deepEqual((await library.assets('Sea & sky')).map(({ id }) => id), [ids[0]]);

    await page.keyboard.press('Escape');
    await select(visit, ids[3]!);
    await bar(visit).getByRole('button', { name: 'Add to album' }).click();
    await adding.getByRole('button', { name: /^Holidays/ }).click();
    await page.getByRole('status').filter({ hasText: 'Holidays' }).waitFor();
    assert.equal((await library.assets('Holidays')).length, 3);
  });
});

test('an album is made without photos', async () => {
  await visit({}, async ({ page, library }) => {
    await page.getByRole('link', { name: 'Albums' }).click();
    await page.getByRole('button', { name: 'New album' }).click();
    const making = page.getByRole('dialog', { name: 'New album' });
    await making.getByRole('textbox', { name: 'Title' }).fill('Empty');
    await page.keyboard.press('Enter');
    await page.getByRole('link', { name: /^Empty/ }).waitFor();
    assert.ok((await library.galleries()).some(({ title }) => title === 'Empty'));
  });
});

test('keys alone look, select and delete', async () => {
  await visit({}, async (visit) => {
    const { page, library } = visit;
    const ids = (await library.assets()).map(({ id }) => id);
    await drawn(page);
    const focused = () => page.evaluate(() => {
      return document.activeElement?.closest('[data-asset]')?.getAttribute('data-asset') ?? null;
    });
    for (let i = 0; i < 30 && (await focused()) === null; ++i) await page.keyboard.press('Tab');
    assert.equal(await focused(), ids[0]);
    await page.keyboard.press('ArrowRight');
    assert.equal(await focused(), ids[1]);
    await page.keyboard.press('Space');
    await page.keyboard.press('Shift+ArrowRight');
    await bar(visit).getByText('2 selected').waitFor();
    await page.keyboard.press('Delete');
    await cell(page, ids[1]!).waitFor({ state: 'detached' });
    assert.equal((await library.assets()).length, ids.length - 2);
    await page.keyboard.press('Control+z');
    await cell(page, ids[1]!).waitFor();
    await cell(page, ids[1]!).focus();
    await page.keyboard.press('Enter');
    await page.getByRole('dialog', { name: 'Viewer' }).waitFor();
    await page.keyboard.press('Escape');
    await page.keyboard.press('Control+a');
    await bar(visit).getByText(`${ids.length} selected`).waitFor();
  });
});

test('a finger selects by pressing long', async () => {
  const touch = { viewport: { width: 360, height: 740 }, hasTouch: true, isMobile: true };
  await visit(touch, async (visit) => {
    const { page } = visit;
    await drawn(page);
    const box = (await cells(page).first().boundingBox())!;
    const at = { x: box.x + box.width / 2, y: box.y + box.height / 2 };
    const session = await page.context().newCDPSession(page);
    await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: [at] });
    await bar(visit).getByText('1 selected').waitFor();
    await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
    await cells(page).nth(1).tap();
    await bar(visit).getByText('2 selected').waitFor();
  });
});

/** screenshots.js FOLDER: shows the gallery of a made-up library, for the documents. */
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import type { BrowserContextOptions, Page } from 'playwright-core';
import { cells, drawn } from './page.js';
import { launch } from './chromium.js';
import { drawLandscapes } from './landscapes.js';
import { media, ServedLibrary } from './server.js';

const folder = process.argv[2]!;
const pictures = mkdtempSync(join(tmpdir(), 'quorvin-landscapes-'));
const browser = await launch();
const library = ServedLibrary.make('none');
/** Of the days, in numbers of photos. */
const kEnds = [7, 11, 20, 23, 36, 42, 49, 57, 66, 72];
const kCount = kEnds.at(-1)!;

function date(number: number): void {
  const place = kEnds.findIndex((end) => number < end);
  // Fewer and fewer days.
  const day = new Date(Date.UTC(2026, 5, 21) - place ** 2 * 86_400_000);
  const time = `${day.toISOString().slice(0, 10).replaceAll('-', ':')} 12:${10 + (number % 50)}:00`;
  const file = join(pictures, `landscape_${number}.jpg`);
  execFileSync('exiftool', ['-q', '-overwrite_original', `-DateTimeOriginal=${time}`, '-OffsetTimeOriginal=+00:00', file]);
}

async function show(name: string, options: BrowserContextOptions, act?: (page: Page) => Promise<void>) {
  const context = await browser.newContext({ locale: 'en-GB', timezoneId: 'UTC', ...options });
  const page = await context.newPage();
  await page.goto(address);
  await drawn(page);
  await act?.(page);
  await page.waitForTimeout(700);
  await page.screenshot({ path: join(folder, `${name}.png`) });
  await context.close();
}

const drawing = await browser.newPage();
mkdirSync(folder, { recursive: true });
await drawLandscapes(drawing, pictures, kCount);
for (let number = 0; number < kCount; ++number) date(number);
await library.tool('import', pictures, join(media, 'CLIP.mp4'));
await library.tool('import', '--album', 'Along the coast', pictures);
const address = await library.start();

const wide = { viewport: { width: 1200, height: 760 } };
const phone = { viewport: { width: 390, height: 780 }, hasTouch: true, isMobile: true };
await show('grid', wide);
await show('dark', { ...wide, colorScheme: 'dark' });
await show('viewer', wide, (page) => cells(page).nth(3).click());
await show('details', wide, async (page) => {
  await cells(page).nth(7).click();
  await page.getByRole('button', { name: 'Details' }).click();
});
await show('selection', wide, async (page) => {
  await cells(page).nth(1).focus();
  for (const key of ['Space', 'Shift+ArrowRight', 'Shift+ArrowRight']) await page.keyboard.press(key);
});
await show('albums', wide, (page) => page.getByRole('link', { name: 'Albums' }).click());
await show('phone', phone);

await browser.close();
await library.remove();
rmSync(pictures, { recursive: true });

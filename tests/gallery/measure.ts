/**
 * measure.js LIBRARY: what the gallery of a large library costs in a browser. Prints a table.
 * The library must lie where it may be served from; nothing in it is changed.
 */
import { readFileSync } from 'node:fs';
import { type CDPSession, type Page } from 'playwright-core';
import { launch } from './chromium.js';
import { ServedLibrary } from './server.js';

const kScrollingSeconds = Number(process.env['SCROLLING_SECONDS'] ?? 60);

const library = ServedLibrary.at(process.argv[2]!);
const address = await library.start();
const browser = await launch();
const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
await page.addInitScript(() => {
  const times: { picture?: number; long: number[] } = { long: [] };
  Object.assign(window, { times });
  new PerformanceObserver((list) => {
    times.long.push(...list.getEntries().map(({ duration }) => duration));
  }).observe({ type: 'longtask' });
  const look = () => {
    const drawn = [...document.querySelectorAll<HTMLImageElement>('[data-asset] img')].some(
      (image) => image.complete && image.naturalWidth > 0,
    );
    if (drawn) times.picture = performance.now();
    else requestAnimationFrame(look);
  };
  requestAnimationFrame(look);
});
const session = await page.context().newCDPSession(page);

function row(what: string, value: string): void {
  console.log(`${what.padEnd(58)} ${value}`);
}
const round = (value: number) => String(Math.round(value));
const middle = (values: number[]) => [...values].sort((a, b) => a - b)[values.length >> 1] ?? NaN;

async function firstPicture(target: string): Promise<number> {
  await page.goto(target);
  const found = await page.waitForFunction(() => {
    return (window as unknown as { times: { picture?: number } }).times.picture;
  });
  return (await found.jsonValue())!;
}

/** From a press on the scrubber to the first row's pictures, and how much of it they took. */
async function jump(x: number, y: number): Promise<{ whole: number; pictures: number }> {
  await page.evaluate(() => performance.clearResourceTimings());
  const before = await page.evaluate(() => performance.now());
  await page.mouse.click(x, y);
  const found = await page.waitForFunction((pressed) => {
    const grid = document.querySelector('[role=grid]')!.getBoundingClientRect();
    const seen = [...document.querySelectorAll('[data-asset]')]
      .map((cell) => ({ cell, box: cell.getBoundingClientRect() }))
      .filter(({ box }) => box.top >= grid.top && box.bottom <= innerHeight);
    const top = Math.min(...seen.map(({ box }) => box.top));
    const first = seen.filter(({ box }) => box.top < top + 1);
    const images = first.flatMap(({ cell }) => [...cell.querySelectorAll('img')]);
    const names = new Set(images.map(({ src }) => src));
    const loads = (performance.getEntriesByType('resource') as PerformanceResourceTiming[]).filter(
      ({ name, startTime }) => names.has(name) && startTime >= pressed,
    );
    if (first.length === 0 || loads.length < first.length) return null;
    if (!images.every(({ complete }) => complete)) return null;
    const begin = Math.min(...loads.map(({ requestStart }) => requestStart));
    const end = Math.max(...loads.map(({ responseEnd }) => responseEnd));
    return { whole: performance.now() - pressed, pictures: end - begin };
  }, before, { polling: 'raf' });
  return (await found.jsonValue())!;
}

async function heap(): Promise<{ bytes: number; nodes: number }> {
  await session.send('HeapProfiler.collectGarbage');
  const { metrics } = await session.send('Performance.getMetrics');
  const of = (name: string) => metrics.find((each) => each.name === name)?.value ?? NaN;
  return { bytes: of('JSHeapUsedSize'), nodes: of('Nodes') };
}

function residentOf(process: number): number {
  const found = /VmRSS:\s+(\d+) kB/.exec(readFileSync(`/proc/${process}/status`, 'utf8'));
  return Number(found?.[1]) / 1024;
}

async function scroll(page: Page, cdp: CDPSession, seconds: number) {
  await page.evaluate(() => {
    const frames: number[] = [];
    Object.assign(window, { frames });
    let last = performance.now();
    const next = (now: number) => {
      frames.push(now - last);
      last = now;
      requestAnimationFrame(next);
    };
    requestAnimationFrame(next);
    (window as unknown as { times: { long: number[] } }).times.long.length = 0;
  });
  const end = Date.now() + seconds * 1000;
  for (let i = 0; Date.now() < end; ++i) {
    // Four fifths of the way goes to the past.
    const yDistance = (i % 5 === 4 ? 1 : -1) * 12_000;
    await cdp.send('Input.synthesizeScrollGesture', { x: 600, y: 400, yDistance, speed: 6000 });
  }
  return page.evaluate(() => {
    const { frames, times } = window as unknown as {
      frames: number[];
      times: { long: number[] };
    };
    return { frames, long: times.long };
  });
}

await session.send('Performance.enable');
row('first picture, new browser (ms)', round(await firstPicture(address)));
await page.waitForTimeout(3000);
row('first picture, again (ms)', round(await firstPicture(new URL('/', address).href)));
await page.waitForTimeout(3000);

const scrubber = (await page.getByRole('slider', { name: 'Date' }).boundingBox())!;
const jumps: { whole: number; pictures: number }[] = [];
for (const part of [0.5, 0.1, 0.9, 0.3, 0.7, 0.2, 0.6, 0.95, 0.4, 0.8, 0.05, 0.55, 0.25, 0.75, 0.35, 0.85, 0.15, 0.65, 0.45]) {
  jumps.push(await jump(scrubber.x + scrubber.width / 2, scrubber.y + part * scrubber.height));
}
const beside = jumps.map(({ whole, pictures }) => whole - pictures);
row('jump to another year, first row drawn, middle (ms)', round(middle(jumps.map(({ whole }) => whole))));
row('  of it its thumbnails, middle (ms)', round(middle(jumps.map(({ pictures }) => pictures))));
row('  of it anything else, middle, most (ms)', `${round(middle(beside))}, ${round(Math.max(...beside))}`);
row('  jumps, those with more than 300 ms of anything else', `${beside.length}, ${beside.filter((each) => each > 300).length}`);

const [pageBefore, serverBefore] = [await heap(), residentOf(library.process)];
const { frames, long } = await scroll(page, session, kScrollingSeconds);
await page.waitForTimeout(3000);
const [pageAfter, serverAfter] = [await heap(), residentOf(library.process)];
row(`frames in ${kScrollingSeconds} s of scrolling, middle (ms)`, `${frames.length}, ${middle(frames).toFixed(1)}`);
row('  frames over 50 ms, the longest (ms)', `${frames.filter((each) => each > 50).length}, ${round(Math.max(...frames))}`);
row('  tasks of the page over 50 ms, the longest (ms)', `${long.length}, ${round(Math.max(0, ...long))}`);
const megabytes = (bytes: number) => (bytes / 1e6).toFixed(1);
row('heap of the page before and after (MB)', `${megabytes(pageBefore.bytes)}, ${megabytes(pageAfter.bytes)}`);
row('nodes of the page before and after', `${pageBefore.nodes}, ${pageAfter.nodes}`);
row('resident memory of the server before and after (MB)', `${round(serverBefore)}, ${round(serverAfter)}`);
await browser.close();
await library.stop();

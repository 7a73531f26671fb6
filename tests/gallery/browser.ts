/** The gallery in a browser. */
import assert from 'node:assert/strict';
import { after, before } from 'node:test';
import { join } from 'node:path';
import type { Browser, BrowserContextOptions, Page } from 'playwright-core';
import { launch } from './chromium.js';
import { outputs, ServedLibrary } from './server.js';

const kLongestVisit = 120_000;

let browser: Browser;
let failures = 0;

before(async () => {
  browser = await launch();
});
after(() => browser.close());

export interface Visit {
  readonly page: Page;
  readonly library: ServedLibrary;
  /** What the console said, errors that nobody caught among it. */
  readonly complaints: string[];
}

interface VisitOptions extends BrowserContextOptions {
  /** What is served; a library with photos. */
  readonly of?: 'full' | 'none';
  /** What is done to the library before it is served. */
  readonly prepare?: (library: ServedLibrary) => Promise<unknown>;
  /** Complaints that belong to the test. */
  readonly allowed?: RegExp;
}

/** A person with a library and a browser of their own. Nothing may be complained of at its end. */
export async function visit(options: VisitOptions, use: (visit: Visit) => Promise<void>) {
  const { of = 'full', prepare, allowed, ...context } = options;
  const library = ServedLibrary.make(of);
  const person = await browser.newContext({ locale: 'en-GB', timezoneId: 'UTC', ...context });
  // Whatever waits for the page then fails.
  const limit = setTimeout(() => void person.close(), kLongestVisit);
  try {
    await prepare?.(library);
    const page = await person.newPage();
    page.setDefaultTimeout(10_000);
    const complaints: string[] = [];
    page.on('pageerror', (error) => complaints.push(String(error)));
    page.on('console', (message) => {
      if (message.type() === 'error') complaints.push(`${message.text()} ${message.location().url}`);
    });
    await page.goto(await library.start());
    try {
      await use({ page, library, complaints });
    } catch (error) {
      await page.screenshot({ path: join(outputs, `failed-${++failures}.png`) });
      throw error;
    }
    const uncalled = complaints.filter((each) => !allowed?.test(each));
    assert.deepEqual(uncalled, []);
  } finally {
    clearTimeout(limit);
    await person.close();
    await library.remove();
  }
}

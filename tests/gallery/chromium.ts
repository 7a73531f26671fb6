import { chromium, type Browser } from 'playwright-core';

/** Debian's Chromium, without a window, and without what it asks of others by itself. */
export function launch(): Promise<Browser> {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: [
      '--no-sandbox',
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
    ],
  });
}

/** What a page of the gallery shows. */
import { join } from 'node:path';
import axe from 'axe-core';
import type { Page } from 'playwright-core';
import { outputs } from './server.js';

export const cells = (page: Page) => page.locator('[data-asset]');
export const cell = (page: Page, id: string) => page.locator(`[data-asset="${id}"]`);

/** Resolves when so many assets are drawn, all with their pictures. */
export async function drawn(page: Page, count?: number): Promise<void> {
  await page.waitForFunction((wanted) => {
    const all = [...document.querySelectorAll('[data-asset]')];
    const images = all.flatMap((each) => [...each.querySelectorAll('img')]);
    return (
      all.length > 0 && (wanted === undefined || all.length === wanted) &&
      images.every((image) => image.complete)
    );
  }, count);
}

/** What breaks the rules of accessibility on the page as it is. */
export async function violations(page: Page): Promise<string[]> {
  await page.evaluate(axe.source);
  return page.evaluate(async () => {
    const { axe } = window as unknown as { axe: typeof import('axe-core') };
    const tags = ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'];
    const { violations } = await axe.run(document, { runOnly: { type: 'tag', values: tags } });
    return violations.flatMap(({ id, nodes }) => nodes.map(({ html }) => `${id}: ${html}`));
  });
}

export async function keep(page: Page, name: string): Promise<void> {
  await page.screenshot({ path: join(outputs, `${name}.png`) });
}

/** What people do with assets, and what they are told of it. */
import type { App } from './app.js';
import { imageAddress, originalAddress } from './library/addresses.js';

/** The server takes messages of limited size. */
const kIdsAtOnce = 5000;
/** Milliseconds between two downloads: browsers drop those that begin at the same moment. */
const kBetweenDownloads = 400;

export async function deleteAssets(app: App, assetIds: readonly string[]): Promise<void> {
  try {
    await inParts(assetIds, (part) => app.library.deleteAssets(part));
  } catch (error) {
    return app.toasts.fail('Nothing was deleted.', error);
  }
  app.removed(assetIds);
  const undo = { name: 'Undo', run: () => void restoreAssets(app, assetIds) };
  app.toasts.say(`${itemsText(assetIds.length)} deleted`, undo);
}

async function restoreAssets(app: App, assetIds: readonly string[]): Promise<void> {
  try {
    await inParts(assetIds, (part) => app.channel.restoreAssets(part));
  } catch (error) {
    return app.toasts.fail('The deletion could not be undone.', error);
  }
  app.added(...assetIds);
  app.toasts.say(`${itemsText(assetIds.length)} restored`);
}

export async function addToAlbum(
  app: App,
  album: { readonly id: string; readonly title: string },
  assetIds: readonly string[],
): Promise<void> {
  try {
    await inParts(assetIds, (part) => app.channel.addToAlbum(album.id, part));
  } catch (error) {
    return app.toasts.fail(`Nothing was added to “${album.title}”.`, error);
  }
  app.selection.clear();
  app.galleries.changed([album.id]);
  const show = () => app.router.go({ page: { name: 'album', id: album.id }, asset: null });
  app.toasts.say(`${itemsText(assetIds.length)} added to “${album.title}”`, { name: 'Show', run: show });
}

export type DownloadKind = 'original' | 'jpeg';

export async function download(assetIds: readonly string[], kind: DownloadKind): Promise<void> {
  for (const [index, id] of assetIds.entries()) {
    if (index > 0) await new Promise((resolve) => setTimeout(resolve, kBetweenDownloads));
    const link = document.createElement('a');
    link.href = kind === 'original' ? originalAddress(id) : imageAddress(id);
    link.download = kind === 'original' ? '' : `${id.replace(/[^\w-].*/, '')}.jpg`;
    link.click();
  }
}

export function itemsText(count: number): string {
  return count === 1 ? '1 item' : `${count.toLocaleString()} items`;
}

async function inParts(
  assetIds: readonly string[],
  run: (part: readonly string[]) => Promise<void>,
): Promise<void> {
  for (let start = 0; start < assetIds.length; start += kIdsAtOnce) {
    await run(assetIds.slice(start, start + kIdsAtOnce));
  }
}

/** What people do with assets, and what they are told of it. */
import type { App } from './app.js';
import { imageAddress, originalAddress } from './library/addresses.js';

/** The server takes messages of limited size. */
const kIdsAtOnce = 5000;
/** Milliseconds between two downloads: browsers drop those that begin at the same moment. */
const kBetweenDownloads = 400;

export async function deleteAssets(app: App, shownIds: readonly string[]): Promise<void> {
  let assetIds = shownIds;
  try {
    assetIds = await withMembers(app, shownIds);
    await inParts(assetIds, (part) => app.library.deleteAssets(part));
  } catch (error) {
    return app.toasts.fail('Nothing was deleted.', error);
  }
  app.removed(assetIds);
  const undo = { name: 'Undo', run: () => void restoreAssets(app, assetIds) };
  app.toasts.say(`${itemsText(shownIds.length)} deleted`, undo);
  app.undo = undo.run;
}

/** A burst goes as a whole, unless its members are what is looked at. */
async function withMembers(app: App, assetIds: readonly string[]): Promise<readonly string[]> {
  if (app.router.route.value.page.name === 'burst') return assetIds;
  const bursts = assetIds.filter((id) => app.bursts.has(id));
  const ids = new Set(assetIds);
  for (const burst of bursts) {
    // One that is no burst any more is deleted as it is.
    const members = await app.library.getBurstAssetList(burst).catch(() => []);
    for (const { id } of members) ids.add(id);
  }
  return [...ids];
}

async function restoreAssets(app: App, assetIds: readonly string[]): Promise<void> {
  try {
    await inParts(assetIds, (part) => app.channel.restoreAssets(part));
  } catch (error) {
    return app.toasts.fail('The deletion could not be undone.', error);
  }
  app.undo = null;
  app.added(...assetIds);
  app.toasts.say('Restored');
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

export async function download(
  app: App,
  assetIds: readonly string[],
  kind: DownloadKind,
): Promise<void> {
  for (const [index, id] of assetIds.entries()) {
    if (index > 0) await new Promise((resolve) => setTimeout(resolve, kBetweenDownloads));
    const link = document.createElement('a');
    link.href = kind === 'original' ? originalAddress(id) : imageAddress(id);
    link.download = kind === 'original' ? '' : await jpegName(app, id);
    link.click();
  }
}

/** The stored name, as that of a JPEG. */
async function jpegName(app: App, id: string): Promise<string> {
  const name = await app.library.getAssetOriginalFilename(id).catch(() => null);
  return `${(name ?? 'photo').replace(/\.[^.]*$/, '')}.jpg`;
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

import { signal, type ReadonlySignal } from '@preact/signals';
import { createContext } from 'preact';
import { useContext } from 'preact/hooks';
import { Library } from 'quorvin-client';
import type { GridView } from './grid/grid_view.js';
import { AssetExtras } from './library/asset_extras.js';
import { Connection } from './library/connection.js';
import { GalleryList } from './library/galleries.js';
import { GalleryChannel } from './library/gallery_channel.js';
import { Listing, type ListingSource } from './library/listing.js';
import { persistently } from './library/persistence.js';
import { Selection } from './selection/selection.js';
import { Router } from './shell/routing.js';
import { Toasts } from './shell/toasts.js';
import { Uploads } from './upload/uploads.js';

/** What is asked for in a dialog. */
export type Dialog =
  | { readonly name: 'newAlbum'; readonly assetIds: readonly string[] }
  | { readonly name: 'addToAlbum'; readonly assetIds: readonly string[] }
  | { readonly name: 'download'; readonly assetIds: readonly string[] };

/** Everything that outlives a page of the gallery. */
export class App {
  readonly connection = new Connection();
  readonly library = new Library(this.connection.transport);
  readonly channel = new GalleryChannel(this.connection.transport);
  readonly router = new Router();
  readonly toasts = new Toasts();
  readonly galleries = new GalleryList(this.library);
  readonly extras = new AssetExtras(this.library);
  readonly dialog = signal<Dialog | null>(null);
  readonly #selectionVersion = signal(0);
  readonly selection = new Selection(() => void (this.#selectionVersion.value += 1));
  readonly uploads = new Uploads((id) => this.added(id));
  /** What was selected or looked at and represents a burst. */
  readonly bursts = new Set<string>();
  /** Takes the last deletion back. */
  undo: (() => void) | null = null;
  /** What shows photos at present, and how all of them are selected. */
  shownGrid: GridView | null = null;
  selectAll: (() => void) | null = null;
  readonly #isPermitted = signal<boolean | null>(null);
  readonly #listings = new Set<Listing>();

  constructor() {
    void this.#askPermission();
    void this.#readGalleries();
    void this.#follow();
  }

  /** Null until it is known. */
  get isPermitted(): ReadonlySignal<boolean | null> {
    return this.#isPermitted;
  }

  /** Differs whenever something else is selected. */
  get selectionVersion(): ReadonlySignal<number> {
    return this.#selectionVersion;
  }

  /** A listing that hears of changes until it is closed. */
  openListing(source: ListingSource): Listing {
    const listing = new Listing(source);
    this.#listings.add(listing);
    return listing;
  }

  closeListing(listing: Listing): void {
    this.#listings.delete(listing);
    listing.close();
  }

  /** Assets were deleted from here: what shows them need not wait to be told. */
  removed(assetIds: readonly string[]): void {
    this.selection.remove(assetIds);
    for (const listing of this.#listings) listing.changed({ inserted: [], removed: assetIds });
    this.galleries.changed(null);
  }

  added(...assetIds: string[]): void {
    for (const listing of this.#listings) listing.changed({ inserted: assetIds, removed: [] });
    this.galleries.changed(null);
  }

  async #askPermission(): Promise<void> {
    const permission = await persistently(() => this.library.getPermission()).catch(() => false);
    this.connection.opened();
    this.#isPermitted.value = permission;
  }

  async #readGalleries(): Promise<void> {
    await this.galleries.read();
    await this.extras.readSlow(this.galleries.slowMotion?.id).catch(() => {});
  }

  async #follow(): Promise<void> {
    try {
      for await (const change of this.library.changes()) {
        const known = change.complete ? change : null;
        if (known === null) void this.#askPermission();
        this.selection.remove(change.removed);
        this.extras.changed(change.changed);
        for (const listing of this.#listings) listing.changed(known);
        this.galleries.changed(known === null ? null : change.galleries);
        void this.extras.readSlow(this.galleries.slowMotion?.id).catch(() => {});
      }
    } catch (error) {
      this.toasts.fail('The page no longer hears of changes; load it again to see them.', error);
    }
  }
}

export const AppContext = createContext<App | null>(null);

export function useApp(): App {
  const app = useContext(AppContext);
  if (app === null) throw new Error('There is no app around this component.');
  return app;
}

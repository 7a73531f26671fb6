import { useEffect, useRef, useState } from 'preact/hooks';
import { createPortal } from 'preact/compat';
import type { Asset } from 'quorvin-client';
import { deleteAssets } from '../actions.js';
import { useApp, type App } from '../app.js';
import { kindOf } from '../library/kinds.js';
import type { Listing } from '../library/listing.js';
import { persistently } from '../library/persistence.js';
import type { Page } from '../shell/routing.js';
import type { Viewer } from './viewer.js';
import { ViewerBar } from './viewer_bar.js';

interface ViewerHostProps {
  readonly page: Page;
  readonly listing: Listing;
}

/** Has the viewer open as long as the address names an asset. */
export function ViewerHost({ page, listing }: ViewerHostProps) {
  const app = useApp();
  const wanted = app.router.route.value.asset;
  const open = useRef<Viewer | null>(null);
  const [viewer, setViewer] = useState<Viewer | null>(null);
  const [asset, setAsset] = useState<Asset | null>(null);
  const [areDetailsOpen, showDetails] = useState(false);
  // What keys see is of this moment, not of when the page was drawn last.
  const details = useRef({ areOpen: false });
  const setDetails = (areOpen: boolean) => {
    details.current.areOpen = areOpen;
    showDetails(areOpen);
  };

  useEffect(() => {
    if (wanted === null) return open.current?.close();
    if (open.current?.current?.id === wanted) return;
    const ending = new AbortController();
    void openViewer(ending.signal);
    return () => ending.abort();

    async function openViewer(signal: AbortSignal): Promise<void> {
      const index = await indexOf(app, listing, wanted as string);
      if (signal.aborted) return;
      if (index === null) {
        app.toasts.say('This item is not in the library any more.');
        return app.router.replace({ page, asset: null });
      }
      if (open.current !== null) return open.current.goTo(index);
      const { Viewer: Made } = await import('./viewer.js');
      if (signal.aborted) return;
      const made: Viewer = new Made({
        listing,
        index,
        kindOf: (of) => kindOf(of, app.extras.isSlow(of.id)),
        pictureOf: (at) => app.shownGrid?.elementAt(at)?.querySelector('img') ?? null,
        shown: (shown, at) => {
          setAsset(shown);
          if (shown?.representsBurst) app.bursts.add(shown.id);
          if (shown === null) return;
          const { route } = app.router;
          if (route.value.asset !== null) app.router.replace({ page, asset: shown.id });
          app.shownGrid?.reveal(at);
          app.shownGrid?.setCurrent(at);
        },
        closing: () => {
          open.current = null;
          if (app.router.route.value.asset !== null) app.router.leave({ page, asset: null });
          setBeneathInert(false);
          app.shownGrid?.focusCurrent();
        },
        closed: () => {
          setViewer((shown) => (shown === made ? null : shown));
          setAsset(null);
        },
        keyPressed: (event) => pressed(event, app, open.current, { ...details.current, show: setDetails }),
      });
      open.current = made;
      setViewer(made);
    }
  }, [wanted, listing]);

  useEffect(() => () => open.current?.destroy(), [listing]);
  useEffect(() => setBeneathInert(viewer !== null), [viewer]);

  if (viewer === null) return null;
  const bar = <ViewerBar {...{ viewer, asset, areDetailsOpen, showDetails: setDetails }} />;
  return createPortal(bar, viewer.element);
}

/** The viewer lies over the bars and photos, which cannot be reached as long as it does. */
function setBeneathInert(isInert: boolean): void {
  const beneath = document.querySelectorAll<HTMLElement>('main, .top-bar, .selection-bar, .uploads');
  for (const element of beneath) element.inert = isInert;
}

interface DetailsState {
  readonly areOpen: boolean;
  readonly show: (areOpen: boolean) => void;
}

function pressed(event: KeyboardEvent, app: App, viewer: Viewer | null, details: DetailsState): void {
  if (event.ctrlKey || event.metaKey || event.altKey) return;
  const asset = viewer?.current;
  if (event.key === 'Delete' && asset) void deleteAssets(app, [asset.id]);
  if (event.key === 'i') details.show(!details.areOpen);
  if (event.key === 'Escape' && details.areOpen) {
    event.preventDefault();
    details.show(false);
  }
}

/** Where the asset lies, once the listing is known that far; null when it is not there. */
async function indexOf(app: App, listing: Listing, id: string): Promise<number | null> {
  const { shownGrid } = app;
  const seen = shownGrid?.watched().find(({ asset }) => asset.id === id);
  if (seen !== undefined) return seen.index;
  await known(listing);
  try {
    const asset = listing.held(id) ?? (await persistently(() => app.library.getAssetInfo(id)));
    const index = await listing.find(asset);
    if (index !== null) {
      await listing.load(index);
      shownGrid?.jumpTo(index);
    }
    return index;
  } catch {
    return null;
  }
}

function known(listing: Listing): Promise<void> {
  if (listing.isKnown) return Promise.resolve();
  return new Promise((resolve) => {
    const end = listing.listen({ learned: () => {}, replaced: () => (end(), resolve()) });
  });
}

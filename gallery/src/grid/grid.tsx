import { useSignalEffect } from '@preact/signals';
import { useEffect, useRef, useState } from 'preact/hooks';
import { useApp } from '../app.js';
import type { Listing } from '../library/listing.js';
import type { Page } from '../shell/routing.js';
import { Scrubber } from '../timeline/scrubber.js';
import { selectAll } from './grid_actions.js';
import { listenToKeys } from './grid_keys.js';
import { listenToPointers } from './grid_pointers.js';
import { GridView } from './grid_view.js';

interface GridProps {
  readonly page: Page;
  readonly title: string;
  readonly listing: Listing;
}

/** The photos of a page, to be scrolled, selected and opened. */
export function Grid({ page, title, listing }: GridProps) {
  const app = useApp();
  const viewport = useRef<HTMLDivElement>(null);
  const grid = useRef<HTMLDivElement>(null);
  const drawn = useRef<() => void>(() => {});
  const [view, setView] = useState<GridView | null>(null);

  useEffect(() => {
    const made = new GridView({
      viewport: viewport.current as HTMLElement,
      grid: grid.current as HTMLElement,
      listing,
      selection: app.selection,
      extras: app.extras,
      drawn: () => drawn.current(),
    });
    const open = (index: number) => {
      const asset = listing.record(index);
      if (asset !== undefined) app.router.go({ page, asset: asset.id });
    };
    const actions = { app, listing, open };
    const ends = [listenToKeys(made, grid.current as HTMLElement, actions),
      listenToPointers(made, viewport.current as HTMLElement, actions)];
    app.shownGrid = made;
    app.selectAll = () => selectAll(actions);
    setView(made);
    return () => {
      for (const end of ends) end();
      made.destroy();
      app.shownGrid = null;
      app.selectAll = null;
    };
  }, [listing]);

  useSignalEffect(() => {
    void app.selectionVersion.value;
    app.shownGrid?.refresh();
  });
  useSignalEffect(() => {
    if (app.connection.state.value === 'open') app.shownGrid?.retryPictures();
  });
  void app.selectionVersion.value;
  const isSelecting = app.selection.size > 0;
  return (
    <>
      <div ref={viewport} class={isSelecting ? 'viewport selecting' : 'viewport'}>
        <div ref={grid} class="grid" role="grid" aria-label={title} aria-multiselectable="true" />
      </div>
      {view && <Scrubber view={view} listing={listing} drawn={drawn} />}
    </>
  );
}

import type { App } from '../app.js';
import type { Listing } from '../library/listing.js';
import type { ReadIds } from '../selection/selection.js';

/** What keys and pointers act on. */
export interface GridActions {
  readonly app: App;
  readonly listing: Listing;
  readonly open: (index: number) => void;
}

const kIdsAtOnce = 1000;

/** Selects the photo, or no longer. */
export function toggleAt({ app, listing }: GridActions, index: number): void {
  const asset = listing.record(index);
  if (asset === undefined) return;
  if (asset.representsBurst) app.bursts.add(asset.id);
  app.selection.toggle({ id: asset.id, index });
}

/** Selects from where the last selection began; where there is none, this one alone. */
export function extendTo(actions: GridActions, index: number): void {
  const { app } = actions;
  if (app.selection.anchor === null) return toggleAt(actions, index);
  app.selection
    .extendTo(index, idsOf(actions))
    .catch((error: unknown) => app.toasts.fail('Not all of it could be selected.', error));
}

export function selectAll(actions: GridActions): void {
  const { app, listing } = actions;
  const read = idsOf(actions);
  async function* parts() {
    for (let start = 0; start < listing.count; start += kIdsAtOnce) {
      yield await read(start, Math.min(start + kIdsAtOnce, listing.count) - 1);
    }
  }
  app.selection
    .addAll(parts())
    .catch((error: unknown) => app.toasts.fail('Not all of it could be selected.', error));
}

function idsOf({ app, listing }: GridActions): ReadIds {
  return async (first, last) => {
    const ids: string[] = [];
    for (let start = first; start <= last; start += kIdsAtOnce) {
      const records = await listing.records(start, Math.min(start + kIdsAtOnce, last + 1));
      for (const { id, representsBurst } of records) {
        if (representsBurst) app.bursts.add(id);
        if (!listing.isGone(id)) ids.push(id);
      }
    }
    return ids;
  };
}

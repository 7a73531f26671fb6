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
  const id = listing.record(index)?.id;
  if (id !== undefined) app.selection.toggle({ id, index });
}

/** Selects from where the last selection began; where there is none, this one alone. */
export function extendTo(actions: GridActions, index: number): void {
  const { app, listing } = actions;
  if (app.selection.anchor === null) return toggleAt(actions, index);
  app.selection
    .extendTo(index, idsOf(listing))
    .catch((error: unknown) => app.toasts.fail('Not all of it could be selected.', error));
}

export function selectAll({ app, listing }: GridActions): void {
  async function* parts() {
    for (let start = 0; start < listing.count; start += kIdsAtOnce) {
      yield await idsOf(listing)(start, Math.min(start + kIdsAtOnce, listing.count) - 1);
    }
  }
  app.selection
    .addAll(parts())
    .catch((error: unknown) => app.toasts.fail('Not all of it could be selected.', error));
}

function idsOf(listing: Listing): ReadIds {
  return async (first, last) => {
    const ids: string[] = [];
    for (let start = first; start <= last; start += kIdsAtOnce) {
      const records = await listing.records(start, Math.min(start + kIdsAtOnce, last + 1));
      for (const { id } of records) if (!listing.isGone(id)) ids.push(id);
    }
    return ids;
  };
}

import { deleteAssets } from '../actions.js';
import type { App } from '../app.js';

/** Keys that work wherever the focus is, unless a dialog, the viewer or a text has it. */
export function listenToShortcuts(app: App): () => void {
  const pressed = (event: KeyboardEvent) => {
    if (event.defaultPrevented || app.dialog.value !== null) return;
    if (event.target instanceof HTMLInputElement) return;
    const run = commandOf(event, app);
    if (run === null) return;
    event.preventDefault();
    run();
  };
  document.addEventListener('keydown', pressed);
  return () => document.removeEventListener('keydown', pressed);
}

function commandOf(event: KeyboardEvent, app: App): (() => void) | null {
  const { key, ctrlKey, metaKey } = event;
  if ((ctrlKey || metaKey) && key === 'z') return app.undo;
  const { page, asset } = app.router.route.value;
  // The viewer has keys of its own, but not before it is open.
  if (asset !== null) {
    return key === 'Escape' ? () => app.router.leave({ page, asset: null }) : null;
  }
  if ((ctrlKey || metaKey) && key === 'a') return app.selectAll;
  if (app.selection.size === 0) return null;
  if (key === 'Escape') return () => app.selection.clear();
  if (key === 'Delete') return () => void deleteAssets(app, [...app.selection.ids]);
  return null;
}

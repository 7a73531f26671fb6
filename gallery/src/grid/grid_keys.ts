import { extendTo, toggleAt, type GridActions } from './grid_actions.js';
import type { GridView } from './grid_view.js';

/** Where a key leads from a photo; null when the key leads nowhere. */
export function targetOf(event: KeyboardEvent, view: GridView): number | null {
  const { current, layout, rowsSeen } = view;
  const { key, ctrlKey, metaKey } = event;
  const isFar = ctrlKey || metaKey;
  const moves: Readonly<Record<string, () => number>> = {
    ArrowLeft: () => current - 1,
    ArrowRight: () => current + 1,
    ArrowUp: () => layout.indexBeside(current, -1),
    ArrowDown: () => layout.indexBeside(current, 1),
    Home: () => (isFar ? 0 : current - layout.columnOf(current)),
    End: () => (isFar ? layout.count - 1 : endOfRow(view)),
    PageUp: () => byRows(view, -1, rowsSeen),
    PageDown: () => byRows(view, 1, rowsSeen),
  };
  return moves[key]?.() ?? null;
}

export function listenToKeys(view: GridView, grid: HTMLElement, actions: GridActions): () => void {
  const ending = new AbortController();
  grid.addEventListener('keydown', (event) => keyPressed(event, view, actions), ending);
  grid.addEventListener(
    'focusin',
    (event) => {
      const index = view.indexOf(event.target);
      if (index !== null) view.setCurrent(index);
    },
    ending,
  );
  return () => ending.abort();
}

function keyPressed(event: KeyboardEvent, view: GridView, actions: GridActions): void {
  if (event.altKey || event.defaultPrevented) return;
  const target = targetOf(event, view);
  if (target !== null) {
    event.preventDefault();
    moveTo(target, event.shiftKey, view, actions);
    return;
  }
  const run = commandOf(event, view, actions);
  if (run === null) return;
  event.preventDefault();
  run();
}

function moveTo(target: number, isExtending: boolean, view: GridView, actions: GridActions): void {
  if (isExtending && actions.app.selection.anchor === null) toggleAt(actions, view.current);
  view.focus(target);
  if (isExtending) extendTo(actions, view.current);
}

function commandOf(event: KeyboardEvent, view: GridView, actions: GridActions): (() => void) | null {
  const { current } = view;
  switch (event.key) {
    case ' ':
      return () => (event.shiftKey ? extendTo(actions, current) : toggleAt(actions, current));
    case 'Enter':
      return () => actions.open(current);
    default:
      return null;
  }
}

function endOfRow({ current, layout }: GridView): number {
  const top = layout.topOf(current);
  const row = layout.rows(top, top + 1).find((each) => each.kind === 'photos');
  return row?.kind === 'photos' ? row.end - 1 : current;
}

function byRows({ current, layout }: GridView, direction: 1 | -1, rows: number): number {
  let index = current;
  for (let row = 0; row < rows; ++row) index = layout.indexBeside(index, direction);
  return index;
}

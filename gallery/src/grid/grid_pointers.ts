import { extendTo, toggleAt, type GridActions } from './grid_actions.js';
import type { GridView } from './grid_view.js';

/** Milliseconds that a finger rests on a photo to select it, and pixels that it may move. */
const kLongPress = 420;
const kTolerance = 10;
/** Pixels from the edge where a selecting finger scrolls, and by how many each frame. */
const kEdge = 90;
const kEdgeStep = 14;

/** Clicks open and select; a long press of a finger selects, and all that it is dragged over. */
export function listenToPointers(
  view: GridView,
  viewport: HTMLElement,
  actions: GridActions,
): () => void {
  const ending = new AbortController();
  const touch = new TouchSelection(view, viewport, actions);
  const listen = <K extends keyof HTMLElementEventMap>(
    type: K,
    run: (event: HTMLElementEventMap[K]) => void,
    isPassive = true,
  ) => viewport.addEventListener(type, run, { signal: ending.signal, passive: isPassive });
  listen('click', (event) => !touch.hasJustEnded && clicked(event, view, actions));
  listen('pointerdown', (event) => touch.began(event));
  listen('pointermove', (event) => touch.moved(event));
  listen('pointerup', () => touch.ended());
  listen('pointercancel', () => touch.ended());
  listen('touchmove', (event) => touch.isSelecting && event.preventDefault(), false);
  listen('contextmenu', (event) => touch.isPressed && event.preventDefault(), false);
  // Held down, shift selects text otherwise.
  listen('mousedown', (event) => event.shiftKey && event.preventDefault(), false);
  return () => {
    touch.ended();
    ending.abort();
  };
}

function clicked(event: MouseEvent, view: GridView, actions: GridActions): void {
  const index = view.indexOf(event.target);
  if (index === null) return;
  view.setCurrent(index);
  const isCheck = event.target instanceof Element && event.target.closest('.check') !== null;
  if (event.shiftKey) return extendTo(actions, index);
  const isSelecting = actions.app.selection.size > 0;
  if (isCheck || event.ctrlKey || event.metaKey || isSelecting) return toggleAt(actions, index);
  actions.open(index);
}

class TouchSelection {
  readonly #view: GridView;
  readonly #viewport: HTMLElement;
  readonly #actions: GridActions;
  #timer: ReturnType<typeof setTimeout> | undefined;
  #frame = 0;
  #from = { x: 0, y: 0 };
  #at = { x: 0, y: 0 };
  #last = -1;
  isPressed = false;
  isSelecting = false;
  /** The finger that selected makes a click when it is lifted. */
  hasJustEnded = false;

  constructor(view: GridView, viewport: HTMLElement, actions: GridActions) {
    this.#view = view;
    this.#viewport = viewport;
    this.#actions = actions;
  }

  began(event: PointerEvent): void {
    this.hasJustEnded = false;
    if (event.pointerType === 'mouse' || !event.isPrimary) return;
    const index = this.#view.indexOf(event.target);
    if (index === null) return;
    this.isPressed = true;
    this.#from = this.#at = { x: event.clientX, y: event.clientY };
    this.#timer = setTimeout(() => this.#select(index), kLongPress);
  }

  moved({ clientX, clientY }: PointerEvent): void {
    if (!this.isPressed) return;
    this.#at = { x: clientX, y: clientY };
    const distance = Math.hypot(clientX - this.#from.x, clientY - this.#from.y);
    if (!this.isSelecting && distance > kTolerance) return this.ended();
    if (this.isSelecting) this.#extend();
  }

  ended(): void {
    clearTimeout(this.#timer);
    cancelAnimationFrame(this.#frame);
    this.hasJustEnded = this.isSelecting;
    this.isPressed = false;
    this.isSelecting = false;
  }

  #select(index: number): void {
    this.isSelecting = true;
    this.#last = index;
    navigator.vibrate?.(12);
    toggleAt(this.#actions, index);
    this.#scrollAtEdges();
  }

  #extend(): void {
    const index = this.#view.indexOf(document.elementFromPoint(this.#at.x, this.#at.y));
    if (index === null || index === this.#last) return;
    this.#last = index;
    extendTo(this.#actions, index);
  }

  #scrollAtEdges(): void {
    const { top, bottom } = this.#viewport.getBoundingClientRect();
    const { y } = this.#at;
    const step = y < top + kEdge ? -kEdgeStep : y > bottom - kEdge ? kEdgeStep : 0;
    if (step !== 0) {
      this.#viewport.scrollTop += step;
      this.#extend();
    }
    this.#frame = requestAnimationFrame(() => this.#scrollAtEdges());
  }
}

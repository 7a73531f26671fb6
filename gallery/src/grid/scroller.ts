import { isAtEdge, windowAround, windowMoved, type ScrollWindow } from '../timeline/scroll_window.js';

/** Pixels a millisecond above which nothing is asked for: it would be gone before it came. */
const kFast = 4;
/** Milliseconds without a movement after which scrolling has ended. */
const kRest = 90;

/** Scrolls a listing of any height in an element. Positions are heights in the listing. */
export class Scroller {
  readonly #element: HTMLElement;
  readonly #content: HTMLElement;
  readonly #moved: () => void;
  #height = 0;
  #base = 0;
  #extent = 0;
  #frame = 0;
  #rest: ReturnType<typeof setTimeout> | undefined;
  #lastPosition = 0;
  #lastTime = 0;
  #speed = 0;
  /** While a frame is drawn: asking the element then would have the browser lay out all anew. */
  #drawnTop: number | null = null;

  constructor(element: HTMLElement, content: HTMLElement, moved: () => void) {
    this.#element = element;
    this.#content = content;
    this.#moved = moved;
    element.addEventListener('scroll', this.#scrolled, { passive: true });
  }

  get position(): number {
    return this.#base + (this.#drawnTop ?? this.#element.scrollTop);
  }

  get base(): number {
    return this.#base;
  }

  get isFast(): boolean {
    return this.#speed > kFast;
  }

  get isResting(): boolean {
    return this.#speed === 0;
  }

  /** The listing is of another height, and this is what shall be seen of it. */
  setHeight(height: number, position: number, viewport: number): void {
    this.#height = height;
    const window: ScrollWindow = {
      base: this.#base,
      scrollTop: this.#element.scrollTop,
      extent: this.#extent,
    };
    this.#apply(windowMoved(window, position, height, viewport));
    this.#lastPosition = this.position;
  }

  /** Shows another part at once. One that is only passed by counts as fast scrolling. */
  jump(position: number, isPassing = false): void {
    this.#apply(windowAround(position, this.#height, this.#element.clientHeight));
    if (!isPassing) this.#lastPosition = this.position;
    this.#schedule();
  }

  destroy(): void {
    this.#element.removeEventListener('scroll', this.#scrolled);
    cancelAnimationFrame(this.#frame);
    clearTimeout(this.#rest);
  }

  readonly #scrolled = (): void => this.#schedule();

  #schedule(): void {
    if (this.#frame === 0) this.#frame = requestAnimationFrame((time) => this.#draw(time));
    clearTimeout(this.#rest);
    this.#rest = setTimeout(() => this.#ended(), kRest);
  }

  #draw(time: number): void {
    this.#frame = 0;
    const { position } = this;
    const elapsed = Math.max(time - this.#lastTime, 1);
    this.#speed = Math.abs(position - this.#lastPosition) / Math.min(elapsed, kRest);
    this.#lastPosition = position;
    this.#lastTime = time;
    this.#stayInside();
    this.#drawnTop = this.#element.scrollTop;
    this.#moved();
    this.#drawnTop = null;
  }

  #ended(): void {
    this.#speed = 0;
    this.#moved();
  }

  #stayInside(): void {
    const viewport = this.#element.clientHeight;
    const window = { base: this.#base, scrollTop: this.#element.scrollTop, extent: this.#extent };
    if (!isAtEdge(window, this.#height, viewport)) return;
    const next = windowAround(this.position, this.#height, viewport);
    if (next.base !== window.base || next.extent !== window.extent) this.#apply(next);
  }

  #apply({ base, scrollTop, extent }: ScrollWindow): void {
    if (extent !== this.#extent) this.#content.style.height = `${extent}px`;
    this.#base = base;
    this.#extent = extent;
    if (this.#element.scrollTop !== scrollTop) this.#element.scrollTop = scrollTop;
  }
}

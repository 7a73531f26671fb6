/**
 * A window onto a listing that is higher than browsers let an element be. `base` is the height in
 * the listing at which the scrolled element begins.
 */

export interface ScrollWindow {
  readonly base: number;
  readonly scrollTop: number;
  /** Height of the scrolled element. */
  readonly extent: number;
}

/** Well below what any browser allows, and many minutes of scrolling. */
export const kHighestElement = 6_000_000;

/** The window around a position. */
export function windowAround(position: number, height: number, viewport: number): ScrollWindow {
  const extent = Math.min(height, kHighestElement);
  const top = clamp(position, 0, Math.max(height - viewport, 0));
  const base = Math.round(clamp(top - extent / 2, 0, height - extent));
  return { base, scrollTop: top - base, extent };
}

/**
 * The window when the listing has become another and `position` is what shall be seen. It moves the
 * base alone where it can, which a browser that is scrolling does not notice.
 */
export function windowMoved(
  { scrollTop }: ScrollWindow,
  position: number,
  height: number,
  viewport: number,
): ScrollWindow {
  const moved: ScrollWindow = {
    base: Math.round(position - scrollTop),
    scrollTop,
    extent: Math.min(height - Math.round(position - scrollTop), kHighestElement),
  };
  if (isAtEdge(moved, height, viewport)) return windowAround(position, height, viewport);
  return moved;
}

/** Whether the window ends soon, though the listing goes on, or is beyond the listing's ends. */
export function isAtEdge(window: ScrollWindow, height: number, viewport: number): boolean {
  const { base, scrollTop, extent } = window;
  const margin = 2 * viewport;
  if (base < 0 || base + extent > height) return true;
  if (base > 0 && scrollTop < margin) return true;
  const below = extent - scrollTop - viewport;
  return below < 0 || (base + extent < height && below < margin);
}

function clamp(value: number, low: number, high: number): number {
  return Math.max(low, Math.min(value, high));
}

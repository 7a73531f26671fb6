import { sectionAt, undated, type Section } from '../library/calendar.js';
import type { Listing, ListingListener, Watched } from '../library/listing.js';
import { thumbnailSize } from '../library/addresses.js';
import type { AssetExtras } from '../library/asset_extras.js';
import type { Selection } from '../selection/selection.js';
import { columnsFor, Layout, type Geometry } from '../timeline/layout.js';
import type { Cell } from './cell.js';
import { Rows } from './rows.js';
import { Scroller } from './scroller.js';

export interface GridOptions {
  /** The element that scrolls, and the one in it that has the role of a grid. */
  readonly viewport: HTMLElement;
  readonly grid: HTMLElement;
  readonly listing: Listing;
  readonly selection: Selection;
  readonly extras: AssetExtras;
  /** Something is seen that was not seen before. */
  readonly drawn: () => void;
}

/** Part of a viewport that is drawn beyond what is seen, on both sides. */
const kBeyond = 0.5;
/** Thumbnails fill a square with the middle of a picture of, mostly, three to two or so. */
const kPictureRatio = 1.3;
const kNarrow = 600;
/** How far from where it was an asset is looked for that is not seen. */
const kNear = 500;

/** The photos of a listing in rows below their dates, of which only those that are seen exist. */
export class GridView implements ListingListener {
  readonly #options: GridOptions;
  readonly #rows: Rows;
  readonly #scroller: Scroller;
  readonly #resizing: ResizeObserver;
  readonly #ends: (() => void)[];
  #layout: Layout;
  #viewportHeight = 0;
  #size = 256;
  /** The photo that the keyboard is at. */
  #current = 0;

  constructor(options: GridOptions) {
    const { viewport, grid, listing, extras } = options;
    this.#options = options;
    this.#rows = new Rows({
      grid,
      idAt: (index) => listing.record(index)?.id ?? null,
      fill: (cell) => this.#fill(cell),
    });
    this.#layout = new Layout(listing.sections, listing.count, this.#geometry());
    this.#scroller = new Scroller(viewport, grid, () => this.draw());
    this.#resizing = new ResizeObserver(() => this.#resized());
    this.#resizing.observe(viewport);
    this.#ends = [listing.listen(this), extras.listen(() => this.#rows.refill())];
    this.#resized();
  }

  destroy(): void {
    for (const end of this.#ends) end();
    this.#resizing.disconnect();
    this.#scroller.destroy();
  }

  get layout(): Layout {
    return this.#layout;
  }

  get current(): number {
    return this.#current;
  }

  get position(): number {
    return this.#scroller.position;
  }

  /** The photo that tells best where one is: the first one at the top, the last one at the end. */
  get place(): number {
    const [first, end] = this.seen;
    const room = this.#layout.height - this.#viewportHeight;
    const part = room > 0 ? Math.max(0, Math.min(this.position / room, 1)) : 0;
    return Math.max(0, Math.round(first + part * (end - 1 - first)));
  }

  /** How many rows are seen at once. */
  get rowsSeen(): number {
    const { above, below } = this.#layout.geometry;
    return Math.max(1, Math.floor((this.#viewportHeight - above - below) / this.#layout.pitch));
  }

  /** The first photo that is seen, and the one behind the last. */
  get seen(): readonly [number, number] {
    const layout = this.#layout;
    const { above, below } = layout.geometry;
    const first = layout.indexAt(this.position + above);
    const last = layout.indexAt(this.position + this.#viewportHeight - below);
    return [first, Math.min(last + layout.geometry.columns, layout.count)];
  }

  watched(): readonly Watched[] {
    const watched: Watched[] = [];
    const [first, end] = this.seen;
    for (let index = first; index < end; ++index) {
      const asset = this.#options.listing.record(index);
      if (asset !== undefined) watched.push({ asset, index });
    }
    return watched;
  }

  learned(): void {
    const [first] = this.seen;
    this.#relayout(first, first);
  }

  replaced(places: ReadonlyMap<string, number>): void {
    const [first] = this.seen;
    const atTop = this.position <= 0;
    const before = this.watched();
    const kept = [...places].at(-1);
    const from = before.find(({ asset }) => asset.id === kept?.[0])?.index;
    const current = this.#currentId();
    // Who looks at the newest photos sees those that come.
    if (kept === undefined || from === undefined || atTop) this.#relayout(first, first);
    else this.#relayout(from, kept[1]);
    this.#followCurrent(current);
    this.#options.selection.moveAnchor((id, before) => this.#placeNear(id, before));
  }

  /** Draws what is seen, and asks for what is missing of it. */
  draw(): void {
    const { listing, drawn } = this.#options;
    const layout = this.#layout;
    const beyond = this.#viewportHeight * kBeyond;
    const { position } = this.#scroller;
    const rows = layout.rows(position - beyond, position + this.#viewportHeight + beyond);
    this.#rows.draw(layout, this.#withCurrent(rows), this.#scroller.base);
    this.#makeReachable();
    if (!this.#scroller.isFast && layout.count > 0) {
      const photos = rows.filter((row) => row.kind === 'photos');
      listing.want(photos[0]?.first ?? 0, photos.at(-1)?.end ?? layout.count);
      for (const cell of this.#rows.cells) cell.load(this.#size);
    }
    drawn();
  }

  /** Shows what is known anew: marks of selection, kinds, and pictures that had failed. */
  refresh(): void {
    this.#rows.refill();
  }

  retryPictures(): void {
    for (const cell of this.#rows.cells) cell.retry();
    this.draw();
  }

  /** Scrolls so that the photo's row is the first. */
  jumpTo(index: number, isPassing = false): void {
    const { above, header } = this.#layout.geometry;
    const top = this.#layout.topOf(index) - above;
    this.#scroller.jump(top - (this.#layout.isBelowHeader(index) ? header : 0), isPassing);
  }

  scrollBy(pixels: number): void {
    this.#options.viewport.scrollTop += pixels;
  }

  sectionOf(index: number): Section {
    const { sections } = this.#layout;
    return sections[sectionAt(sections, index)] ?? undated(0);
  }

  /** Scrolls no further than it needs to be seen. */
  reveal(index: number): void {
    const { above, below, header } = this.#layout.geometry;
    const top = this.#layout.topOf(index);
    const room = this.#viewportHeight - below - this.#layout.pitch;
    if (top - above - header < this.position) this.#scroller.jump(top - above - header);
    else if (top > this.position + room) this.#scroller.jump(top - room);
  }

  /** Moves the keyboard to a photo. */
  focus(index: number): void {
    if (this.#layout.count === 0) return;
    this.#current = Math.max(0, Math.min(index, this.#layout.count - 1));
    this.reveal(this.#current);
    this.draw();
    this.#rows.cellAt(this.#current)?.element.focus({ preventScroll: true });
  }

  /** Gives the keyboard back to the photo that it was at. */
  focusCurrent(): void {
    this.draw();
    this.#rows.cellAt(this.#current)?.element.focus({ preventScroll: true });
  }

  /** The keyboard came to a photo by other means. */
  setCurrent(index: number): void {
    this.#current = index;
    this.#makeReachable();
  }

  elementAt(index: number): HTMLElement | undefined {
    return this.#rows.cellAt(index)?.element;
  }

  /** The index of the photo that an element of the page belongs to. */
  indexOf(target: EventTarget | null): number | null {
    const element = target instanceof Element ? target.closest('.cell') : null;
    for (const cell of this.#rows.cells) if (cell.element === element) return cell.index;
    return null;
  }

  #fill(cell: Cell): void {
    const { listing, selection, extras } = this.#options;
    const asset = listing.record(cell.index);
    cell.show(asset === undefined ? null : extras.contentOf(asset, listing.isGone(asset.id)));
    cell.setSelected(asset !== undefined && selection.has(asset.id));
    if (!this.#scroller.isFast) cell.load(this.#size);
  }

  #withCurrent(rows: ReturnType<Layout['rows']>): ReturnType<Layout['rows']> {
    const layout = this.#layout;
    const hasFocus = this.#options.grid.contains(document.activeElement);
    if (!hasFocus || this.#current >= layout.count) return rows;
    const top = layout.topOf(this.#current);
    const own = layout.rows(top, top + 1).filter((row) => row.kind === 'photos');
    return own.some((row) => rows.some((other) => other.top === row.top)) ? rows : [...rows, ...own];
  }

  #makeReachable(): void {
    const reachable = this.#rows.cellAt(this.#current) ?? this.#rows.cellAt(this.seen[0]);
    for (const cell of this.#rows.cells) cell.setReachable(cell === reachable);
  }

  #placeNear(id: string, before: number): number | null {
    for (let index = before - kNear; index < before + kNear; ++index) {
      if (this.#options.listing.record(index)?.id === id) return index;
    }
    return null;
  }

  #currentId(): string | undefined {
    return this.#rows.cellAt(this.#current)?.id ?? undefined;
  }

  #followCurrent(id: string | undefined): void {
    if (id === undefined) return;
    for (const cell of this.#rows.cells) if (cell.id === id) return this.setCurrent(cell.index);
  }

  #resized(): void {
    const { viewport } = this.#options;
    this.#viewportHeight = viewport.clientHeight;
    const [first] = this.seen;
    this.#relayout(first, first);
  }

  /** Lays out what is known now; `to` comes to where `from` was. */
  #relayout(from: number, to: number): void {
    const { listing, grid } = this.#options;
    const before = this.#layout;
    const layout = new Layout(listing.sections, listing.count, this.#geometry());
    const focused = grid.contains(document.activeElement) ? document.activeElement : null;
    const inside = this.position - before.topOf(from);
    const isAtTop = this.position <= 0 || before.count === 0;
    this.#layout = layout;
    this.#size = thumbnailSize(layout.tile * devicePixelRatio * kPictureRatio);
    grid.style.setProperty('--tile', `${layout.tile}px`);
    grid.setAttribute('aria-rowcount', String(layout.rowCount));
    grid.setAttribute('aria-colcount', String(layout.geometry.columns));
    const position = isAtTop ? 0 : layout.topOf(to) + inside;
    this.#scroller.setHeight(layout.height, position, this.#viewportHeight);
    this.draw();
    this.#rows.refill();
    if (focused instanceof HTMLElement && focused.isConnected) focused.focus({ preventScroll: true });
  }

  #geometry(): Geometry {
    const { viewport } = this.#options;
    const style = getComputedStyle(viewport);
    const pixels = (name: string) => parseFloat(style.getPropertyValue(name)) || 0;
    const isNarrow = viewport.clientWidth < kNarrow;
    const width = Math.max(viewport.clientWidth - pixels('--left') - pixels('--right'), 90);
    return {
      width,
      columns: columnsFor(width),
      gap: isNarrow ? 2 : 4,
      header: isNarrow ? 44 : 56,
      above: pixels('--above'),
      below: pixels('--below'),
    };
  }
}

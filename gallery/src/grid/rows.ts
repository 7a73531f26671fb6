/** The rows that exist in the document: those that are seen, and some beside them. */
import type { Section } from '../library/calendar.js';
import { kBetweenDays, type Band } from '../timeline/bands.js';
import type { Layout, PhotoRow, Row } from '../timeline/layout.js';
import { sectionTitle } from '../timeline/date_texts.js';
import type { Cell } from './cell.js';
import { CellPool } from './cell_pool.js';

interface RowView {
  readonly element: HTMLElement;
  readonly row: Row;
  readonly cells: Cell[];
}

export interface RowsOptions {
  readonly grid: HTMLElement;
  /** The asset that lies there, where it is known. */
  readonly idAt: (index: number) => string | null;
  /** Has the cell show what lies at its index. */
  readonly fill: (cell: Cell) => void;
}

export class Rows {
  readonly #options: RowsOptions;
  readonly #views = new Map<string, RowView>();
  readonly #cells = new Map<number, Cell>();
  readonly #pool = new CellPool();
  readonly #spareRows: HTMLElement[] = [];
  readonly #spareHeaders: HTMLElement[] = [];
  #layout: Layout | null = null;
  #base = 0;

  constructor(options: RowsOptions) {
    this.#options = options;
  }

  get cells(): IterableIterator<Cell> {
    return this.#cells.values();
  }

  cellAt(index: number): Cell | undefined {
    return this.#cells.get(index);
  }

  /** Shows these rows and no others. `base` is the height at which the grid begins. */
  draw(layout: Layout, rows: readonly Row[], base: number): void {
    const isOther = layout !== this.#layout;
    const isMoved = base !== this.#base;
    this.#layout = layout;
    this.#base = base;
    const wanted = new Map(rows.map((row) => [keyOf(row), row]));
    for (const [key, view] of this.#views) {
      if (isOther || !wanted.has(key)) this.#release(key, view);
      else if (isMoved) this.#move(view);
    }
    const missing = [...wanted].filter(([key]) => !this.#views.has(key));
    if (missing.length > 0) this.#pool.claim(this.#idsOf(missing.map(([, row]) => row)));
    for (const [key, row] of missing) this.#show(key, row);
    this.#pool.settle();
  }

  refill(): void {
    for (const cell of this.#cells.values()) this.#options.fill(cell);
  }

  #idsOf(rows: readonly Row[]): Set<string> {
    const ids = new Set<string>();
    for (const row of rows) {
      if (row.kind === 'header') continue;
      for (let index = row.first; index < row.end; ++index) {
        const id = this.#options.idAt(index);
        if (id !== null) ids.add(id);
      }
    }
    return ids;
  }

  #show(key: string, row: Row): void {
    const element = row.kind === 'header' ? this.#header(row) : this.#photoRow();
    element.setAttribute('aria-rowindex', String(row.number + 1));
    const view: RowView = { element, row, cells: [] };
    if (row.kind === 'photos') this.#addCells(view, row);
    this.#move(view);
    this.#insert(view);
    this.#views.set(key, view);
  }

  /** Rows stand in the document in their order, in which screen readers read them. */
  #insert({ element, row }: RowView): void {
    let following: RowView | null = null;
    for (const view of this.#views.values()) {
      if (view.row.number < row.number) continue;
      if (following === null || view.row.number < following.row.number) following = view;
    }
    const next = following?.element ?? null;
    if (element.parentElement === null || element.nextElementSibling !== next) {
      this.#options.grid.insertBefore(element, next);
    }
  }

  #header(row: Row & { kind: 'header' }): HTMLElement {
    const element = this.#spareHeaders.pop() ?? newRow('row day');
    const titles = row.band.days.map((day, at) => this.#dayTitle(row.band, day, at));
    element.replaceChildren(...titles);
    return element;
  }

  #dayTitle({ start, end, days }: Band, day: Section, at: number): HTMLElement {
    const { columns, gap } = (this.#layout as Layout).geometry;
    const pitch = (this.#layout as Layout).pitch;
    const photos = (days[at + 1]?.start ?? end) - day.start;
    const title = document.createElement('div');
    title.setAttribute('role', 'rowheader');
    title.setAttribute('aria-colindex', String(day.start - start + 1));
    title.setAttribute('aria-colspan', String(days.length > 1 ? photos : columns));
    const heading = document.createElement('h2');
    heading.textContent = sectionTitle(day, days.length > 1 && photos === 1);
    title.append(heading);
    if (days.length === 1) return title;
    title.style.left = `${(day.start - start) * pitch + at * this.#betweenDays()}px`;
    title.style.width = `${photos * pitch - gap}px`;
    return title;
  }

  #betweenDays(): number {
    return Math.round((this.#layout?.tile ?? 0) * kBetweenDays);
  }

  #photoRow(): HTMLElement {
    return this.#spareRows.pop() ?? newRow('row photos');
  }

  #addCells(view: RowView, row: PhotoRow): void {
    for (let index = row.first; index < row.end; ++index) {
      const cell = this.#pool.take(this.#options.idAt(index));
      const beginsDay = row.band.days.some(({ start }) => start === index && index > row.first);
      cell.place(index, index - row.first, beginsDay ? this.#betweenDays() : 0);
      this.#options.fill(cell);
      view.cells.push(cell);
      this.#cells.set(index, cell);
      if (view.element.children[index - row.first] !== cell.element) {
        view.element.insertBefore(cell.element, view.element.children[index - row.first] ?? null);
      }
    }
    while (view.element.children.length > view.cells.length) view.element.lastElementChild?.remove();
  }

  #release(key: string, view: RowView): void {
    this.#views.delete(key);
    if (view.row.kind === 'header') {
      view.element.remove();
      this.#spareHeaders.push(view.element);
      return;
    }
    for (const cell of view.cells) {
      if (this.#cells.get(cell.index) === cell) this.#cells.delete(cell.index);
      this.#pool.give(cell);
    }
    view.element.remove();
    this.#spareRows.push(view.element);
  }

  #move({ element, row }: RowView): void {
    element.style.transform = `translateY(${row.top - this.#base}px)`;
  }
}

function keyOf(row: Row): string {
  return row.kind === 'header' ? `h${row.band.start}-${row.band.end}` : `p${row.first}-${row.end}`;
}

function newRow(className: string): HTMLElement {
  const element = document.createElement('div');
  element.className = className;
  element.setAttribute('role', 'row');
  return element;
}

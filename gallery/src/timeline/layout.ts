/** Where days and their photos lie, in pixels from the top of the whole listing. */
import { sectionAt, type Section } from '../library/calendar.js';

export interface Geometry {
  /** Of what photos may cover. */
  readonly width: number;
  readonly columns: number;
  readonly gap: number;
  /** Height of a header with the date. */
  readonly header: number;
  /** What stays free above the first and below the last photo. */
  readonly above: number;
  readonly below: number;
}

export interface HeaderRow {
  readonly kind: 'header';
  readonly top: number;
  readonly section: Section;
  readonly number: number;
}

export interface PhotoRow {
  readonly kind: 'photos';
  readonly top: number;
  /** Indexes of its first photo, and of the one behind its last. */
  readonly first: number;
  readonly end: number;
  readonly number: number;
}

export type Row = HeaderRow | PhotoRow;

/** Pixels a photo should have at least, and how many are beside one another on the smallest. */
const kSmallestTile = 168;
const kFewestColumns = 3;

export function columnsFor(width: number): number {
  return Math.max(kFewestColumns, Math.floor(width / kSmallestTile));
}

export class Layout {
  readonly sections: readonly Section[];
  readonly count: number;
  readonly geometry: Geometry;
  /** Side of a photo's square. */
  readonly tile: number;
  readonly height: number;
  readonly rowCount: number;
  readonly #tops: number[] = [];
  /** How many rows there are before a section. */
  readonly #rowsBefore: number[] = [];

  constructor(sections: readonly Section[], count: number, geometry: Geometry) {
    const { width, columns, gap } = geometry;
    this.sections = sections;
    this.count = count;
    this.geometry = geometry;
    this.tile = Math.floor((width - gap * (columns - 1)) / columns);
    let top = geometry.above;
    let rows = 0;
    sections.forEach((_, index) => {
      this.#tops.push(top);
      this.#rowsBefore.push(rows);
      const lines = this.#linesIn(index);
      top += this.#headerOf(index) + lines * this.pitch;
      rows += lines + (this.#headerOf(index) > 0 ? 1 : 0);
    });
    this.height = top + geometry.below;
    this.rowCount = rows;
  }

  /** From one row of photos to the next. */
  get pitch(): number {
    return this.tile + this.geometry.gap;
  }

  /** Top of the row of a photo. */
  topOf(index: number): number {
    const section = sectionAt(this.sections, index);
    const line = Math.floor((index - this.#startOf(section)) / this.geometry.columns);
    return this.#topOf(section) + this.#headerOf(section) + line * this.pitch;
  }

  columnOf(index: number): number {
    return (index - this.#startOf(sectionAt(this.sections, index))) % this.geometry.columns;
  }

  /** First photo of the row that lies there, or of the first one below. */
  indexAt(position: number): number {
    const section = this.#sectionAtTop(position);
    const inside = position - this.#topOf(section) - this.#headerOf(section);
    const line = Math.max(0, Math.floor(inside / this.pitch));
    const index = this.#startOf(section) + line * this.geometry.columns;
    return Math.max(0, Math.min(index, this.#endOf(section) - 1));
  }

  /** The photo one row further up or down, as near as there is one. */
  indexBeside(index: number, rows: 1 | -1): number {
    const column = this.columnOf(index);
    const section = sectionAt(this.sections, index);
    const rowStart = index - column;
    if (rows > 0) {
      const next = Math.min(rowStart + this.geometry.columns, this.#endOf(section));
      if (next >= this.count) return this.count - 1;
      return Math.min(next + column, this.#endOf(sectionAt(this.sections, next)) - 1);
    }
    if (rowStart === 0) return 0;
    const previous = rowStart - 1;
    return Math.min(previous - this.columnOf(previous) + column, previous);
  }

  /** The rows that meet what lies between two heights. */
  rows(from: number, to: number): Row[] {
    const rows: Row[] = [];
    if (this.count === 0) return rows;
    for (let at = this.#sectionAtTop(from); at < this.sections.length; ++at) {
      const top = this.#topOf(at);
      if (top >= to) break;
      this.#addRows(at, from, to, rows);
    }
    return rows;
  }

  #addRows(at: number, from: number, to: number, rows: Row[]): void {
    const top = this.#topOf(at);
    const header = this.#headerOf(at);
    const section = this.sections[at] as Section;
    const number = this.#rowsBefore[at] as number;
    if (header > 0 && top + header > from) rows.push({ kind: 'header', top, section, number });
    const photos = top + header;
    const firstLine = Math.max(0, Math.floor((from - photos) / this.pitch));
    const lines = this.#linesIn(at);
    for (let line = firstLine; line < lines; ++line) {
      const lineTop = photos + line * this.pitch;
      if (lineTop >= to) return;
      const first = section.start + line * this.geometry.columns;
      const end = Math.min(first + this.geometry.columns, this.#endOf(at));
      const lineNumber = number + line + (header > 0 ? 1 : 0);
      rows.push({ kind: 'photos', top: lineTop, first, end, number: lineNumber });
    }
  }

  #sectionAtTop(position: number): number {
    let low = 0;
    let high = this.sections.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.#topOf(middle) <= position) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  #linesIn(section: number): number {
    return Math.ceil((this.#endOf(section) - this.#startOf(section)) / this.geometry.columns);
  }

  #headerOf(section: number): number {
    return this.sections[section]?.level === null ? 0 : this.geometry.header;
  }

  #startOf(section: number): number {
    return this.sections[section]?.start ?? 0;
  }

  #endOf(section: number): number {
    return this.sections[section + 1]?.start ?? this.count;
  }

  #topOf(section: number): number {
    return this.#tops[section] ?? 0;
  }
}

/** Where days and their photos lie, in pixels from the top of the whole listing. */
import { sectionAt, type Section } from '../library/calendar.js';
import { bandsOf, type Band } from './bands.js';

export interface Geometry {
  /** Of what photos may cover. */
  readonly width: number;
  readonly columns: number;
  readonly gap: number;
  /** Height of a header with dates. */
  readonly header: number;
  /** What stays free above the first and below the last photo. */
  readonly above: number;
  readonly below: number;
}

export interface HeaderRow {
  readonly kind: 'header';
  readonly top: number;
  readonly band: Band;
  readonly number: number;
}

export interface PhotoRow {
  readonly kind: 'photos';
  readonly top: number;
  /** Indexes of its first photo, and of the one behind its last. */
  readonly first: number;
  readonly end: number;
  readonly band: Band;
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
  readonly #bands: readonly Band[];
  readonly #tops: number[] = [];
  /** How many rows there are before a band. */
  readonly #rowsBefore: number[] = [];

  constructor(sections: readonly Section[], count: number, geometry: Geometry) {
    const { width, columns, gap } = geometry;
    this.sections = sections;
    this.count = count;
    this.geometry = geometry;
    this.tile = Math.floor((width - gap * (columns - 1)) / columns);
    this.#bands = bandsOf(sections, count, columns);
    let top = geometry.above;
    let rows = 0;
    for (const band of this.#bands) {
      this.#tops.push(top);
      this.#rowsBefore.push(rows);
      const lines = this.#linesIn(band);
      const header = this.#headerOf(band);
      top += header + lines * this.pitch;
      rows += lines + (header > 0 ? 1 : 0);
    }
    this.height = top + geometry.below;
    this.rowCount = rows;
  }

  /** From one row of photos to the next. */
  get pitch(): number {
    return this.tile + this.geometry.gap;
  }

  /** Top of the row of a photo. */
  topOf(index: number): number {
    const at = sectionAt(this.#bands, index);
    const band = this.#band(at);
    const line = Math.floor((index - band.start) / this.geometry.columns);
    return this.#topOf(at) + this.#headerOf(band) + line * this.pitch;
  }

  columnOf(index: number): number {
    return (index - this.#band(sectionAt(this.#bands, index)).start) % this.geometry.columns;
  }

  /** Whether a header stands right above the row of a photo. */
  isBelowHeader(index: number): boolean {
    const band = this.#band(sectionAt(this.#bands, index));
    return this.#headerOf(band) > 0 && index - band.start < this.geometry.columns;
  }

  /** First photo of the row that lies there, or of the first one below. */
  indexAt(position: number): number {
    const at = this.#bandAtTop(position);
    const band = this.#band(at);
    const inside = position - this.#topOf(at) - this.#headerOf(band);
    const line = Math.max(0, Math.floor(inside / this.pitch));
    const lastLine = Math.max(this.#linesIn(band) - 1, 0);
    return Math.max(0, band.start + Math.min(line, lastLine) * this.geometry.columns);
  }

  /** The photo one row further up or down, as near as there is one. */
  indexBeside(index: number, rows: 1 | -1): number {
    const column = this.columnOf(index);
    const band = this.#band(sectionAt(this.#bands, index));
    const rowStart = index - column;
    if (rows > 0) {
      const next = Math.min(rowStart + this.geometry.columns, band.end);
      if (next >= this.count) return this.count - 1;
      return Math.min(next + column, this.#band(sectionAt(this.#bands, next)).end - 1);
    }
    if (rowStart === 0) return 0;
    const previous = rowStart - 1;
    return Math.min(previous - this.columnOf(previous) + column, previous);
  }

  /** The rows that meet what lies between two heights. */
  rows(from: number, to: number): Row[] {
    const rows: Row[] = [];
    if (this.count === 0) return rows;
    for (let at = this.#bandAtTop(from); at < this.#bands.length; ++at) {
      if (this.#topOf(at) >= to) break;
      this.#addRows(at, from, to, rows);
    }
    return rows;
  }

  #addRows(at: number, from: number, to: number, rows: Row[]): void {
    const band = this.#band(at);
    const top = this.#topOf(at);
    const header = this.#headerOf(band);
    const number = this.#rowsBefore[at] as number;
    if (header > 0 && top + header > from) rows.push({ kind: 'header', top, band, number });
    const photos = top + header;
    const lines = this.#linesIn(band);
    for (let line = Math.max(0, Math.floor((from - photos) / this.pitch)); line < lines; ++line) {
      const lineTop = photos + line * this.pitch;
      if (lineTop >= to) return;
      const first = band.start + line * this.geometry.columns;
      const end = Math.min(first + this.geometry.columns, band.end);
      const lineNumber = number + line + (header > 0 ? 1 : 0);
      rows.push({ kind: 'photos', top: lineTop, first, end, band, number: lineNumber });
    }
  }

  #bandAtTop(position: number): number {
    let low = 0;
    let high = this.#bands.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.#topOf(middle) <= position) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  #linesIn({ start, end }: Band): number {
    return Math.ceil((end - start) / this.geometry.columns);
  }

  #headerOf({ days }: Band): number {
    return days[0]?.level === null ? 0 : this.geometry.header;
  }

  #band(at: number): Band {
    return this.#bands[at] ?? { start: 0, end: 0, days: [] };
  }

  #topOf(band: number): number {
    return this.#tops[band] ?? 0;
  }
}

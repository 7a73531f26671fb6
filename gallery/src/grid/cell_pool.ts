import { Cell } from './cell.js';

/** Cells that nobody uses are kept up to so many. */
const kSpareCells = 120;

/** Cells to be used again: best for the asset that they show already. */
export class CellPool {
  readonly #spare = new Set<Cell>();
  readonly #byId = new Map<string, Cell>();
  #claimed: ReadonlySet<string> = new Set();

  /** Cells of these assets are given to nothing else. */
  claim(ids: ReadonlySet<string>): void {
    this.#claimed = ids;
  }

  give(cell: Cell): void {
    this.#spare.add(cell);
    if (cell.id !== null) this.#byId.set(cell.id, cell);
  }

  take(id: string | null): Cell {
    const same = id === null ? undefined : this.#byId.get(id);
    const cell = same ?? this.#leastWanted() ?? new Cell();
    this.#remove(cell);
    return cell;
  }

  /** What nobody took stops loading. */
  settle(): void {
    for (const cell of this.#spare) {
      cell.stop();
      if (this.#spare.size > kSpareCells) this.#remove(cell);
    }
  }

  #leastWanted(): Cell | undefined {
    for (const cell of this.#spare) {
      if (cell.id === null || !this.#claimed.has(cell.id)) return cell;
    }
    return undefined;
  }

  #remove(cell: Cell): void {
    this.#spare.delete(cell);
    if (cell.id !== null && this.#byId.get(cell.id) === cell) this.#byId.delete(cell.id);
  }
}

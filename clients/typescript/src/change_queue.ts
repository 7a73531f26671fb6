import type { Change } from './records.js';

/** Changes of the library as they come. Leaving a `for await` ends it, as does `return`. */
export interface Changes extends AsyncIterableIterator<Change> {
  /** Ends it, also while somebody waits for the next change: that is answered as done. */
  return(): Promise<IteratorResult<Change>>;
}

interface Waiting {
  readonly resolve: (result: IteratorResult<Change>) => void;
  readonly reject: (error: unknown) => void;
}

const kDone = { done: true, value: undefined } as const;

/** Holds changes until they are asked for. */
export class ChangeQueue implements Changes {
  readonly #limit: number;
  readonly #onReturn: (queue: ChangeQueue) => void;
  #changes: Change[] = [];
  #waiting: Waiting[] = [];
  #hasEnded = false;
  /** To be thrown once behind the last change. */
  #fault: { readonly error: unknown } | null = null;

  /** Holds `limit` changes, at least one. `onReturn` is called once, unless `end` came before. */
  constructor(limit: number, onReturn: (queue: ChangeQueue) => void) {
    this.#limit = limit;
    this.#onReturn = onReturn;
  }

  /** Nothing is pushed behind the end. What the queue cannot hold becomes one incomplete change. */
  push(change: Change): void {
    const waiting = this.#waiting.shift();
    if (waiting !== undefined) return waiting.resolve({ done: false, value: change });
    if (this.#changes.length < this.#limit) this.#changes.push(change);
    else this.#changes = [incompleteChange(change.sequence)];
  }

  /** Ends after what is held, with an error if there is one. */
  end(fault: { readonly error: unknown } | null): void {
    this.#hasEnded = true;
    const [first, ...others] = this.#waiting;
    this.#waiting = [];
    if (first === undefined) this.#fault = fault;
    else if (fault !== null) first.reject(fault.error);
    else first.resolve(kDone);
    for (const { resolve } of others) resolve(kDone);
  }

  next(): Promise<IteratorResult<Change>> {
    const change = this.#changes.shift();
    if (change !== undefined) return Promise.resolve({ done: false, value: change });
    if (this.#fault !== null) {
      const { error } = this.#fault;
      this.#fault = null;
      return Promise.reject(error);
    }
    if (this.#hasEnded) return Promise.resolve(kDone);
    return new Promise((resolve, reject) => this.#waiting.push({ resolve, reject }));
  }

  return(): Promise<IteratorResult<Change>> {
    this.#changes = [];
    this.#fault = null;
    if (!this.#hasEnded) {
      this.end(null);
      this.#onReturn(this);
    }
    return Promise.resolve(kDone);
  }

  [Symbol.asyncIterator](): this {
    return this;
  }
}

/** Says that something changed, and not what. */
export function incompleteChange(sequence: number): Change {
  return { sequence, inserted: [], changed: [], removed: [], galleries: [], complete: false };
}

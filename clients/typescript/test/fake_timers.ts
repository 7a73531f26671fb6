// Timers whose time the test lets pass.

interface Timer {
  readonly at: number;
  readonly run: () => void;
}

export class FakeTimers {
  readonly #real = { setTimeout: globalThis.setTimeout, clearTimeout: globalThis.clearTimeout };
  readonly #timers = new Map<number, Timer>();
  #now = 0;
  #last = 0;

  /** Takes the place of the real ones until `restore`. */
  constructor() {
    const setTimeout = (run: () => void, pause: number) => {
      this.#timers.set(++this.#last, { at: this.#now + pause, run });
      return this.#last;
    };
    const clearTimeout = (timer: number) => void this.#timers.delete(timer);
    Object.assign(globalThis, { setTimeout, clearTimeout });
  }

  restore(): void {
    Object.assign(globalThis, this.#real);
  }

  tick(milliseconds: number): void {
    const end = this.#now + milliseconds;
    for (;;) {
      const due = [...this.#timers].filter(([, { at }]) => at <= end);
      const [first] = due.sort(([, a], [, b]) => a.at - b.at);
      if (first === undefined) break;
      const [number, { at, run }] = first;
      this.#timers.delete(number);
      this.#now = at;
      run();
    }
    this.#now = end;
  }
}

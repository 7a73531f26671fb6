/** A map that forgets what was not asked for the longest. */
export class LruMap<K, V> {
  readonly #limit: number;
  readonly #entries = new Map<K, V>();

  constructor(limit: number) {
    this.#limit = limit;
  }

  get size(): number {
    return this.#entries.size;
  }

  get(key: K): V | undefined {
    const value = this.#entries.get(key);
    if (value === undefined) return undefined;
    this.#entries.delete(key);
    this.#entries.set(key, value);
    return value;
  }

  /** Looks without keeping the entry any longer. */
  peek(key: K): V | undefined {
    return this.#entries.get(key);
  }

  set(key: K, value: V): void {
    this.#entries.delete(key);
    this.#entries.set(key, value);
    if (this.#entries.size <= this.#limit) return;
    for (const oldest of this.#entries.keys()) {
      this.#entries.delete(oldest);
      break;
    }
  }

  delete(key: K): void {
    this.#entries.delete(key);
  }

  values(): IterableIterator<V> {
    return this.#entries.values();
  }
}

import { signal, type ReadonlySignal } from '@preact/signals';
import type { Gallery, Library } from 'quorvin-client';
import { LruMap } from './lru_map.js';
import { persistently } from './persistence.js';

export interface Galleries {
  /** The gallery of all assets; it is missing where nothing may be seen. */
  readonly all: Gallery | null;
  readonly albums: readonly Gallery[];
  /** Those that hold something. */
  readonly smart: readonly Gallery[];
}

const kStoredId = 'quorvin.gallery.all';
const kCoversHeld = 3000;
const kSlowMotion = 'Slo-mo';

/** The albums of the library, their counts and covers. */
export class GalleryList {
  readonly #library: Library;
  readonly #list = signal<Galleries | null>(null);
  readonly #error = signal<unknown>(null);
  readonly #allId = signal<string | null>(localStorage.getItem(kStoredId));
  readonly #covers = new LruMap<string, Promise<string | null>>(kCoversHeld);
  /** Rises when covers may be others. */
  readonly #version = signal(0);
  #isReading = false;
  #isStale = false;

  constructor(library: Library) {
    this.#library = library;
  }

  get list(): ReadonlySignal<Galleries | null> {
    return this.#list;
  }

  get error(): ReadonlySignal<unknown> {
    return this.#error;
  }

  /** Known from the last visit before anything else is. */
  get allId(): ReadonlySignal<string | null> {
    return this.#allId;
  }

  get version(): ReadonlySignal<number> {
    return this.#version;
  }

  get slowMotion(): Gallery | undefined {
    return this.#list.value?.smart.find(({ title }) => title === kSlowMotion);
  }

  find(id: string): Gallery | undefined {
    const list = this.#list.value;
    return [...(list?.albums ?? []), ...(list?.smart ?? [])].find((gallery) => gallery.id === id);
  }

  /** Reads the list; a call while it is being read has it read once more. */
  async read(): Promise<void> {
    this.#isStale = true;
    if (this.#isReading) return;
    this.#isReading = true;
    while (this.#isStale) {
      this.#isStale = false;
      try {
        this.#show(await persistently(() => this.#library.getGalleryList()));
        this.#error.value = null;
      } catch (error) {
        this.#error.value = error;
      }
    }
    this.#isReading = false;
  }

  /** The first asset of a gallery; null in an empty one. */
  cover(id: string): Promise<string | null> {
    const held = this.#covers.get(id);
    if (held !== undefined) return held;
    const cover = this.#library.getGalleryFirstAssetId(id).catch(() => null);
    this.#covers.set(id, cover);
    return cover;
  }

  /** Their assets are others now; null: those of all galleries may be. */
  changed(ids: readonly string[] | null): void {
    if (ids?.length === 0) return;
    const affected = ids ?? [...(this.#list.value?.albums ?? []), ...(this.#list.value?.smart ?? [])]
      .map(({ id }) => id);
    for (const id of affected) this.#covers.delete(id);
    this.#version.value += 1;
    void this.read();
  }

  #show(galleries: readonly Gallery[]): void {
    // The gallery of all assets is the last before the user's albums, and counts as one of them.
    const [all = null, ...albums] = galleries.filter(({ type }) => type === 'user');
    const smart = galleries.filter(
      ({ type, assetCount }) => type === 'smart' && assetCount.totalCount > 0,
    );
    this.#list.value = { all, albums, smart };
    this.#allId.value = all?.id ?? null;
    if (all !== null) localStorage.setItem(kStoredId, all.id);
  }
}

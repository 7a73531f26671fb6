import { signal, type ReadonlySignal } from '@preact/signals';

export interface ToastAction {
  readonly name: string;
  readonly run: () => void;
}

export interface Toast {
  readonly id: number;
  readonly text: string;
  readonly isError: boolean;
  readonly action: ToastAction | null;
}

const kMostToasts = 4;
const kShown = 6000;
/** Long enough to notice what was deleted. */
const kShownWithAction = 12_000;

/** Short messages that go by themselves. */
export class Toasts {
  readonly #list = signal<readonly Toast[]>([]);
  readonly #timers = new Map<number, ReturnType<typeof setTimeout>>();
  #last = 0;

  get list(): ReadonlySignal<readonly Toast[]> {
    return this.#list;
  }

  say(text: string, action: ToastAction | null = null): void {
    this.#show({ id: ++this.#last, text, isError: false, action });
  }

  fail(what: string, error: unknown): void {
    this.#show({ id: ++this.#last, text: `${what} ${reasonOf(error)}`, isError: true, action: null });
  }

  dismiss(id: number): void {
    clearTimeout(this.#timers.get(id));
    this.#timers.delete(id);
    this.#list.value = this.#list.value.filter((toast) => toast.id !== id);
  }

  /** One that is read or reached for stays. */
  hold({ id }: Toast): void {
    clearTimeout(this.#timers.get(id));
  }

  release(toast: Toast): void {
    this.hold(toast);
    const shown = toast.isError || toast.action !== null ? kShownWithAction : kShown;
    this.#timers.set(toast.id, setTimeout(() => this.dismiss(toast.id), shown));
  }

  #show(toast: Toast): void {
    for (const old of this.#list.value.slice(0, 1 - kMostToasts)) this.dismiss(old.id);
    this.#list.value = [...this.#list.value, toast];
    this.release(toast);
  }
}

/** What an error says, as a sentence. */
export function reasonOf(error: unknown): string {
  if (!(error instanceof Error)) return '';
  const details = 'details' in error && typeof error.details === 'string' ? error.details : '';
  const text = (details || error.message).trim();
  return /[.!?]$/.test(text) ? text : `${text}.`;
}

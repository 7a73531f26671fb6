import { signal, type ReadonlySignal } from '@preact/signals';
import { WebSocketTransport } from 'quorvin-client';

export type ConnectionState = 'connecting' | 'open' | 'lost' | 'expired';

const kLongestPause = 4000;
/** Milliseconds between two looks at why there is no connection. */
const kLook = 2500;

/** The connection to the server, which comes back by itself as long as the session holds. */
export class Connection {
  readonly transport: WebSocketTransport;
  readonly #state = signal<ConnectionState>('connecting');
  #looking: ReturnType<typeof setTimeout> | undefined;

  constructor() {
    const url = new URL('channel', document.baseURI);
    url.protocol = url.protocol.replace('http', 'ws');
    url.hash = '';
    this.transport = new WebSocketTransport(url.href, { longestPause: kLongestPause });
    this.transport.listen({
      message: () => {},
      disconnected: () => this.#lost(),
      reconnected: () => this.opened(),
    });
    this.#lookLater();
  }

  get state(): ReadonlySignal<ConnectionState> {
    return this.#state;
  }

  /** Something was answered. */
  opened(): void {
    clearTimeout(this.#looking);
    this.#state.value = 'open';
  }

  #lost(): void {
    this.#state.value = 'lost';
    void this.#look();
  }

  #lookLater(): void {
    clearTimeout(this.#looking);
    this.#looking = setTimeout(() => void this.#look(), kLook);
  }

  /** A socket does not tell why it could not be opened; a page does. */
  async #look(): Promise<void> {
    let status = 0;
    try {
      status = (await fetch('./', { method: 'HEAD', cache: 'no-store' })).status;
    } catch {
      // Nobody answers.
    }
    if (this.#state.value === 'open') return;
    // A server that only takes its time is not lost.
    const isSlow = status === 200 && this.#state.value === 'connecting';
    if (!isSlow) this.#state.value = status === 401 ? 'expired' : 'lost';
    this.#lookLater();
  }
}

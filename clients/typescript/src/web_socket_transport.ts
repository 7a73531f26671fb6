import {
  ConnectionLostError,
  TooManyCallsError,
  TransportClosedError,
  type TransportError,
} from './errors.js';
import { decodeFrame, encodeFrame, type Frame } from './frame.js';
import type { Transport, TransportListener } from './transport.js';

/** What is needed of a WebSocket: the browsers', Node's and that of the package `ws` have it. */
export interface Socket {
  binaryType: string;
  onopen: ((event: any) => any) | null;
  onmessage: ((event: any) => any) | null;
  onclose: ((event: any) => any) | null;
  onerror: ((event: any) => any) | null;
  send(data: Uint8Array): void;
  close(): void;
}

export interface WebSocketTransportOptions {
  /** Makes the sockets; the global `WebSocket` when left out. */
  readonly WebSocket?: new (url: string) => Socket;
  /** Milliseconds before the first attempt to connect again (500). Each further pause doubles. */
  readonly firstPause?: number;
  /** Milliseconds that no pause exceeds (30,000). */
  readonly longestPause?: number;
  /** How many calls may wait for a connection (1,000). */
  readonly maximumWaiting?: number;
}

interface PendingCall {
  readonly channel: string;
  readonly frame: Uint8Array;
  readonly resolve: (reply: Uint8Array | null) => void;
  readonly reject: (error: TransportError) => void;
}

const kGreatestNumber = 0xffffffff;

/**
 * Carries messages over a WebSocket. It connects at once, and again whenever the connection goes or
 * cannot be made, after pauses that grow until something is received.
 *
 * Calls that are made without a connection wait for one, in order. Those that were sent when the
 * connection goes are rejected with a `ConnectionLostError`, and not sent again: they may have been
 * carried out. A server that sends what is no frame loses its connection.
 */
export class WebSocketTransport implements Transport {
  readonly #url: string;
  readonly #makeSocket: new (url: string) => Socket;
  readonly #firstPause: number;
  readonly #longestPause: number;
  readonly #maximumWaiting: number;
  readonly #listeners = new Set<TransportListener>();
  /** Calls by number: those that are not sent yet, and those that are. */
  readonly #waiting = new Map<number, PendingCall>();
  readonly #sent = new Map<number, PendingCall>();
  #lastNumber = 0;
  #socket: Socket | null = null;
  #isOpen = false;
  #isClosed = false;
  #wasOpen = false;
  #nextPause: number;
  #pause: ReturnType<typeof setTimeout> | undefined;

  /** Throws what the socket's constructor throws, for example for what is no URL. */
  constructor(url: string, options: WebSocketTransportOptions = {}) {
    const makeSocket = options.WebSocket ?? globalThis.WebSocket;
    if (makeSocket === undefined) {
      throw new TypeError('There is no global WebSocket here; give one as the option "WebSocket".');
    }
    this.#url = url;
    this.#makeSocket = makeSocket;
    this.#firstPause = options.firstPause ?? 500;
    this.#longestPause = options.longestPause ?? 30_000;
    this.#maximumWaiting = options.maximumWaiting ?? 1000;
    this.#nextPause = this.#firstPause;
    this.#connect();
  }

  send(channel: string, message: Uint8Array): Promise<Uint8Array | null> {
    return new Promise((resolve, reject) => {
      if (this.#isClosed) return reject(new TransportClosedError('The transport is closed.'));
      const number = this.#freeNumber();
      const call = { channel, frame: encodeFrame({ number, channel, message }), resolve, reject };
      if (this.#isOpen) return this.#sendNow(number, call);
      if (this.#waiting.size < this.#maximumWaiting) return void this.#waiting.set(number, call);
      reject(new TooManyCallsError(`${this.#waiting.size} calls wait for a connection already.`));
    });
  }

  listen(listener: TransportListener): () => void {
    // One of its own, so that a listener may be there twice.
    const entry: TransportListener = {
      message: (channel, message) => listener.message(channel, message),
      disconnected: () => listener.disconnected?.(),
      reconnected: () => listener.reconnected?.(),
      closed: () => listener.closed?.(),
    };
    this.#listeners.add(entry);
    return () => void this.#listeners.delete(entry);
  }

  /** Ends the connection for good. Open calls are rejected with a `TransportClosedError`. */
  close(): void {
    if (this.#isClosed) return;
    this.#isClosed = true;
    clearTimeout(this.#pause);
    const socket = this.#socket;
    this.#socket = null;
    this.#isOpen = false;
    socket?.close();
    const calls = [...this.#sent.values(), ...this.#waiting.values()];
    this.#sent.clear();
    this.#waiting.clear();
    for (const { reject } of calls) reject(new TransportClosedError('The transport was closed.'));
    for (const listener of [...this.#listeners]) listener.closed?.();
    this.#listeners.clear();
  }

  #connect(): void {
    const socket = new this.#makeSocket(this.#url);
    this.#socket = socket;
    socket.binaryType = 'arraybuffer';
    // A socket that was given up may still tell something.
    const ifCurrent = (then: () => void) => {
      if (socket === this.#socket) then();
    };
    socket.onopen = () => ifCurrent(() => this.#opened());
    socket.onmessage = (event: { data: unknown }) => ifCurrent(() => this.#received(event.data));
    socket.onclose = () => ifCurrent(() => this.#lost());
    // What went wrong is not told to programs, and the socket closes by itself.
    socket.onerror = () => {};
  }

  #opened(): void {
    this.#isOpen = true;
    const isAgain = this.#wasOpen;
    this.#wasOpen = true;
    for (const [number, call] of this.#waiting) this.#sendNow(number, call);
    this.#waiting.clear();
    if (!isAgain) return;
    for (const listener of [...this.#listeners]) listener.reconnected?.();
  }

  #lost(): void {
    const wasOpen = this.#isOpen;
    this.#socket = null;
    this.#isOpen = false;
    this.#pause = setTimeout(() => this.#connect(), this.#nextPause);
    this.#nextPause = Math.min(2 * this.#nextPause, this.#longestPause);
    const sent = [...this.#sent.values()];
    this.#sent.clear();
    for (const { reject } of sent) {
      reject(new ConnectionLostError('The connection was lost before the reply came.'));
    }
    if (!wasOpen) return;
    for (const listener of [...this.#listeners]) listener.disconnected?.();
  }

  #sendNow(number: number, call: PendingCall): void {
    this.#sent.set(number, call);
    this.#socket?.send(call.frame);
  }

  #freeNumber(): number {
    do {
      this.#lastNumber = this.#lastNumber === kGreatestNumber ? 1 : this.#lastNumber + 1;
    } while (this.#sent.has(this.#lastNumber) || this.#waiting.has(this.#lastNumber));
    return this.#lastNumber;
  }

  #received(data: unknown): void {
    const frame = frameOf(data);
    if (frame === null) return this.#giveUp();
    this.#nextPause = this.#firstPause;
    if (frame.number === 0) {
      for (const listener of [...this.#listeners]) listener.message(frame.channel, frame.message);
      return;
    }
    const call = this.#sent.get(frame.number);
    if (call === undefined || call.channel !== frame.channel) return this.#giveUp();
    this.#sent.delete(frame.number);
    call.resolve(frame.message.length === 0 ? null : frame.message);
  }

  /** What came cannot be trusted, and what comes next neither. */
  #giveUp(): void {
    const socket = this.#socket;
    this.#lost();
    socket?.close();
  }
}

function frameOf(data: unknown): Frame | null {
  if (!(data instanceof ArrayBuffer)) return null;
  try {
    return decodeFrame(data);
  } catch {
    return null;
  }
}

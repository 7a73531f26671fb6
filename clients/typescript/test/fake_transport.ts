// A transport whose other side is a function.
import assert from 'node:assert/strict';
import {
  decodeMethodCall,
  encodeSuccessEnvelope,
  type MethodCall,
  type Transport,
  type TransportListener,
  type Value,
} from 'quorvin-client';

export interface SentCall extends MethodCall {
  readonly channel: string;
  readonly message: Uint8Array;
}

export type Answer = (call: SentCall) => Uint8Array | null | Promise<Uint8Array | null>;

export class FakeTransport implements Transport {
  readonly sent: SentCall[] = [];
  readonly listeners = new Set<TransportListener>();

  constructor(public answer: Answer) {}

  async send(channel: string, message: Uint8Array): Promise<Uint8Array | null> {
    const call = { channel, message, ...decodeMethodCall(message) };
    this.sent.push(call);
    return this.answer(call);
  }

  listen(listener: TransportListener): () => void {
    this.listeners.add(listener);
    return () => void this.listeners.delete(listener);
  }

  tell(channel: string, message: Uint8Array): void {
    for (const listener of [...this.listeners]) listener.message(channel, message);
  }

  /** What was called on the channel, in order. */
  methods(channel: string): string[] {
    return this.sent.filter((call) => call.channel === channel).map(({ method }) => method);
  }
}

/** Replies this result to everything. */
export function replying(result: Value): Answer {
  return () => encodeSuccessEnvelope(result);
}

export function mapOf(entries: Record<string, Value>): Map<Value, Value> {
  return new Map(Object.entries(entries));
}

/** Lets everything run that waits for nothing but its turn. */
export function settled(): Promise<void> {
  return new Promise((resolve) => setImmediate(resolve));
}

export function one<T>(list: readonly T[]): T {
  assert.equal(list.length, 1);
  return list[0] as T;
}

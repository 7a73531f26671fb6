// WebSockets whose other side is the test.
import assert from 'node:assert/strict';
import type { Socket } from 'quorvin-client';
import { hexadecimal } from './described_value.js';

export class FakeSocket implements Socket {
  static all: FakeSocket[] = [];

  static get last(): FakeSocket {
    const socket = FakeSocket.all.at(-1);
    assert(socket !== undefined);
    return socket;
  }

  binaryType = 'blob';
  onopen: ((event: unknown) => void) | null = null;
  onmessage: ((event: { data: unknown }) => void) | null = null;
  onclose: ((event: unknown) => void) | null = null;
  onerror: ((event: unknown) => void) | null = null;
  readonly sent: string[] = [];
  isOpen = false;
  isClosed = false;

  constructor(readonly url: string) {
    FakeSocket.all.push(this);
  }

  send(data: Uint8Array): void {
    assert(this.isOpen, 'it is not open');
    this.sent.push(hexadecimal(data));
  }

  close(): void {
    this.isClosed = true;
    this.isOpen = false;
  }

  open(): void {
    assert.equal(this.binaryType, 'arraybuffer');
    this.isOpen = true;
    this.onopen?.({});
  }

  /** As it goes: an error, of which nothing is told, then the end. */
  lose(): void {
    this.isOpen = false;
    this.onerror?.({});
    this.onclose?.({});
  }

  receive(digits: string): void {
    const bytes = Buffer.from(digits, 'hex');
    this.receiveData(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
  }

  receiveData(data: unknown): void {
    this.onmessage?.({ data });
  }
}

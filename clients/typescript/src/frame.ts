/**
 * One message of a WebSocket: 4 bytes, the number that a call and its reply share (little-endian;
 * 0 for what the engine sends by itself), one byte n, n bytes of the channel's name, then the
 * message.
 */
import { MalformedMessageError } from './errors.js';
import type { Bytes } from './value.js';

export interface Frame {
  readonly number: number;
  readonly channel: string;
  readonly message: Uint8Array;
}

const kHeadSize = 5;
const kLongestName = 0xff;

/** Throws a `RangeError` when the channel's name is longer than 255 bytes. */
export function encodeFrame({ number, channel, message }: Frame): Bytes {
  const name = new TextEncoder().encode(channel);
  if (name.length > kLongestName) {
    throw new RangeError(`The name of a channel has at most ${kLongestName} bytes.`);
  }
  const frame = new Uint8Array(kHeadSize + name.length + message.length);
  const view = new DataView(frame.buffer);
  view.setUint32(0, number, true);
  view.setUint8(4, name.length);
  frame.set(name, kHeadSize);
  frame.set(message, kHeadSize + name.length);
  return frame;
}

/** Throws a `MalformedMessageError`. The message shares the frame's memory. */
export function decodeFrame(frame: ArrayBuffer): Frame {
  if (frame.byteLength < kHeadSize) {
    throw new MalformedMessageError('the frame ends in its head', frame.byteLength);
  }
  const view = new DataView(frame);
  const end = kHeadSize + view.getUint8(4);
  if (end > frame.byteLength) {
    throw new MalformedMessageError("the frame ends in the channel's name", frame.byteLength);
  }
  return {
    number: view.getUint32(0, true),
    channel: decodeName(new Uint8Array(frame, kHeadSize, end - kHeadSize)),
    message: new Uint8Array(frame, end),
  };
}

function decodeName(name: Uint8Array): string {
  try {
    return new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(name);
  } catch {
    throw new MalformedMessageError("the channel's name is not UTF-8", kHeadSize);
  }
}

/**
 * The standard message and method codec. Decoding throws a `MalformedMessageError` for bytes that
 * are no message, encoding an `UnencodableValueError` for a value that has no bytes.
 */
import { MessageReader } from './message_reader.js';
import { MessageWriter } from './message_writer.js';
import type { Bytes, Value } from './value.js';

export interface MethodCall {
  readonly method: string;
  readonly arguments: Value;
}

export interface ErrorReply {
  readonly code: string;
  readonly message: string | null;
  readonly details: Value;
}

/** A reply: exactly one of the two is there. */
export type Envelope =
  | { readonly result: Value; readonly error?: never }
  | { readonly error: ErrorReply; readonly result?: never };

const kSuccess = 0;
const kError = 1;

export function encodeMessage(value: Value): Bytes {
  const writer = new MessageWriter();
  writer.writeValue(value);
  return writer.take();
}

export function decodeMessage(message: Uint8Array): Value {
  const reader = new MessageReader(message);
  const value = reader.readValue();
  reader.expectEnd();
  return value;
}

export function encodeMethodCall(call: MethodCall): Bytes {
  const writer = new MessageWriter();
  writer.writeValue(call.method);
  writer.writeValue(call.arguments);
  return writer.take();
}

export function decodeMethodCall(message: Uint8Array): MethodCall {
  const reader = new MessageReader(message);
  const method = reader.readValue();
  if (typeof method !== 'string') return reader.fail('the method is no text');
  const call = { method, arguments: reader.readValue() };
  reader.expectEnd();
  return call;
}

export function encodeSuccessEnvelope(result: Value): Bytes {
  const writer = new MessageWriter();
  writer.writeByte(kSuccess);
  writer.writeValue(result);
  return writer.take();
}

export function encodeErrorEnvelope(error: ErrorReply): Bytes {
  const writer = new MessageWriter();
  writer.writeByte(kError);
  writer.writeValue(error.code);
  writer.writeValue(error.message);
  writer.writeValue(error.details);
  return writer.take();
}

/** An empty message is no envelope: it says that nobody implements the method. */
export function decodeEnvelope(message: Uint8Array): Envelope {
  const reader = new MessageReader(message);
  const envelope = readEnvelope(reader);
  reader.expectEnd();
  return envelope;
}

function readEnvelope(reader: MessageReader): Envelope {
  switch (reader.readByte()) {
    case kSuccess:
      return { result: reader.readValue() };
    case kError:
      return { error: readError(reader) };
    default:
      return reader.fail('it is neither a success nor an error');
  }
}

function readError(reader: MessageReader): ErrorReply {
  const code = reader.readValue();
  if (typeof code !== 'string') return reader.fail('the code of an error is no text');
  const message = readTextOrNull(reader);
  const details = reader.readValue();
  // Some writers tell where the error came from.
  if (!reader.atEnd) readTextOrNull(reader);
  return { code, message, details };
}

function readTextOrNull(reader: MessageReader): string | null {
  const value = reader.readValue();
  if (value === null || typeof value === 'string') return value;
  return reader.fail('a part of an error is no text');
}

// Values in the form that the program codec_values writes them in.
import assert from 'node:assert/strict';
import { LargeInteger, type Value } from 'quorvin-client';

/** Objects have one key, which names the kind. */
export type Description =
  | null
  | boolean
  | string
  | Description[]
  | { integer: string }
  | { double: string }
  | { largeInteger: string }
  | { bytes: string }
  | { int32s: string[] }
  | { int64s: string[] }
  | { floats: string[] }
  | { doubles: string[] }
  | { map: [Description, Description][] };

export function fromHexadecimal(digits: string): Uint8Array {
  return new Uint8Array(Buffer.from(digits, 'hex'));
}

export function hexadecimal(bytes: Uint8Array): string {
  return Buffer.from(bytes).toString('hex');
}

export function described(value: Value): Description {
  if (value === null || typeof value === 'boolean' || typeof value === 'string') return value;
  if (typeof value === 'bigint') return { integer: value.toString() };
  if (typeof value === 'number') return { double: digitsOfDouble(value) };
  if (value instanceof LargeInteger) return { largeInteger: value.hexadecimal };
  if (value instanceof Uint8Array) return { bytes: hexadecimal(value) };
  if (value instanceof Int32Array) return { int32s: Array.from(value, String) };
  if (value instanceof BigInt64Array) return { int64s: Array.from(value, String) };
  if (value instanceof Float32Array) return { floats: Array.from(value, digitsOfFloat) };
  if (value instanceof Float64Array) return { doubles: Array.from(value, digitsOfDouble) };
  if (value instanceof Map) {
    return { map: Array.from(value, ([key, entry]) => [described(key), described(entry)]) };
  }
  assert(Array.isArray(value));
  return value.map(described);
}

export function undescribed(description: Description): Value {
  if (description === null || typeof description !== 'object') return description;
  if (Array.isArray(description)) return description.map(undescribed);
  if ('integer' in description) return BigInt(description.integer);
  if ('double' in description) return doubleOf(description.double);
  if ('largeInteger' in description) return new LargeInteger(description.largeInteger);
  if ('bytes' in description) return fromHexadecimal(description.bytes);
  if ('int32s' in description) return Int32Array.from(description.int32s, Number);
  if ('int64s' in description) return BigInt64Array.from(description.int64s, BigInt);
  if ('floats' in description) return Float32Array.from(description.floats, floatOf);
  if ('doubles' in description) return Float64Array.from(description.doubles, doubleOf);
  return new Map(description.map.map(([key, entry]) => [undescribed(key), undescribed(entry)]));
}

function digitsOfDouble(number: number): string {
  const buffer = Buffer.alloc(8);
  buffer.writeDoubleBE(number);
  return buffer.toString('hex');
}

function digitsOfFloat(number: number): string {
  const buffer = Buffer.alloc(4);
  buffer.writeFloatBE(number);
  return buffer.toString('hex');
}

function doubleOf(digits: string): number {
  return Buffer.from(digits, 'hex').readDoubleBE();
}

function floatOf(digits: string): number {
  return Buffer.from(digits, 'hex').readFloatBE();
}

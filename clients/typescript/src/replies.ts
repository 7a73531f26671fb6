/** How replies become types. What is of another shape throws a `Mismatch`. */
import { UnexpectedReplyError } from './errors.js';
import type { Bytes, Value } from './value.js';

/** Takes a value, or none where a map lacks it. */
export type Read<T> = (value: Value | undefined) => T;

/** The path grows from the inside out while it is thrown. */
class Mismatch extends Error {
  path = '';

  constructor(readonly expected: string) {
    super(expected);
  }
}

/** Reads a reply of the method; throws an `UnexpectedReplyError` that says what is wrong where. */
export function readReply<T>(method: string, value: Value, read: Read<T>): T {
  try {
    return read(value);
  } catch (error) {
    if (!(error instanceof Mismatch)) throw error;
    throw new UnexpectedReplyError(method, error.path.replace(/^\./, ''), error.expected);
  }
}

export const text: Read<string> = (value) =>
  typeof value === 'string' ? value : mismatch('a text');

export const boolean: Read<boolean> = (value) =>
  typeof value === 'boolean' ? value : mismatch('a boolean');

/** For methods that have nothing else to say. */
export const done: Read<void> = (value) => (value === true ? undefined : mismatch('true'));

export const nothing: Read<void> = (value) => (value === null ? undefined : mismatch('null'));

export const double: Read<number> = (value) =>
  typeof value === 'number' ? value : mismatch('a double');

export const bytes: Read<Bytes> = (value) =>
  // The reader makes them in memory of their own.
  value instanceof Uint8Array ? (value as Bytes) : mismatch('bytes');

/** An integer that a number holds exactly. */
export const integer: Read<number> = (value) => {
  const number = typeof value === 'bigint' ? Number(value) : NaN;
  return Number.isSafeInteger(number) ? number : mismatch('an integer of at most 53 bits');
};

/**
 * Milliseconds. The file system may tell any date: one that is further from 1970 than 285,000 years
 * becomes the nearest that a number holds, so that the photos beside it are still to be seen.
 */
export const milliseconds: Read<number> = (value) =>
  typeof value === 'bigint' ? Number(value) : mismatch('an integer');

export function oneOf<const T extends bigint | string>(...values: T[]): Read<T> {
  return (value) =>
    values.find((one) => one === value) ?? mismatch(`one of ${values.map(String).join(', ')}`);
}

export function orNull<T>(read: Read<T>): Read<T | null> {
  return (value) => (value === null ? null : read(value));
}

export function listOf<T>(read: Read<T>): Read<T[]> {
  return (value) => {
    if (!Array.isArray(value)) return mismatch('a list');
    return value.map((element: Value, index) => within(`[${index}]`, read, element));
  };
}

/** Reads the entries of a map; the reader asks for each by its key. */
export function mapOf<T>(read: (at: <E>(key: string, read: Read<E>) => E) => T): Read<T> {
  return (value) => {
    if (!(value instanceof Map)) return mismatch('a map');
    return read((key, readEntry) => within(`.${key}`, readEntry, value.get(key)));
  };
}

function within<T>(place: string, read: Read<T>, value: Value | undefined): T {
  try {
    return read(value);
  } catch (error) {
    if (error instanceof Mismatch) error.path = place + error.path;
    throw error;
  }
}

function mismatch(expected: string): never {
  throw new Mismatch(expected);
}

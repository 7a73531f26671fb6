/** An integer beyond 64 bits, as its hexadecimal digits. */
export class LargeInteger {
  constructor(readonly hexadecimal: string) {}
}

/** Bytes in memory of their own, which everything that takes bytes takes. */
export type Bytes = Uint8Array<ArrayBuffer>;

/**
 * One value of the channel's codec.
 *
 * A `bigint` is always an integer and a `number` always a double, in both directions: `1` is sent
 * as the double 1.0, and the integer 1 is `1n`. So no integer is rounded, a whole double stays a
 * double, and what was decoded is encoded to the same kind of value. Integers are those of 64 bits,
 * from -(2n ** 63n) to 2n ** 63n - 1n; what is larger is a `LargeInteger`.
 *
 * A map keeps its pairs in order. Keys may be any value; they are told apart as `Map` does it, so
 * that of pairs with the same key the last one counts.
 */
export type Value =
  | null
  | boolean
  | bigint
  | number
  | string
  | LargeInteger
  | Uint8Array
  | Int32Array
  | BigInt64Array
  | Float32Array
  | Float64Array
  | readonly Value[]
  | ReadonlyMap<Value, Value>;

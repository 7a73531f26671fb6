/** The type bytes of the standard message codec. All numbers on the wire are little-endian. */
export const WireType = {
  null: 0,
  trueValue: 1,
  falseValue: 2,
  int32: 3,
  int64: 4,
  largeInteger: 5,
  float64: 6,
  string: 7,
  byteBuffer: 8,
  int32List: 9,
  int64List: 10,
  float64List: 11,
  list: 12,
  map: 13,
  float32List: 14,
} as const;

/** A size below this is one byte; this byte and the next announce two and four bytes. */
export const kTwoByteSize = 254;
export const kFourByteSize = 255;

/** How many lists and maps may lie within one another. */
export const kMaximumNesting = 256;

/** Bytes to be skipped at `offset` from the start of the message. */
export function paddingAt(offset: number, alignment: number): number {
  return (alignment - (offset % alignment)) % alignment;
}

export function isHexadecimal(digits: string): boolean {
  return /^[0-9a-fA-F]+$/.test(digits);
}

import { UnencodableValueError } from './errors.js';
import { LargeInteger, type Bytes, type Value } from './value.js';
import {
  isHexadecimal,
  kFourByteSize,
  kMaximumNesting,
  kTwoByteSize,
  paddingAt,
  WireType,
} from './wire_format.js';

const kFirstCapacity = 256;
const kGreatestSize = 0xffffffff;
const utf8 = new TextEncoder();

type NumberList = Int32Array | BigInt64Array | Float32Array | Float64Array;

/**
 * Puts values into one message. Room is made before the view is asked for: making it may replace
 * the view.
 */
export class MessageWriter {
  #bytes = new Uint8Array(kFirstCapacity);
  #view = new DataView(this.#bytes.buffer);
  #size = 0;
  #nesting = 0;

  /** What was written. Nothing can be written any more. */
  take(): Bytes {
    return this.#bytes.slice(0, this.#size);
  }

  writeByte(byte: number): void {
    const at = this.#grow(1);
    this.#view.setUint8(at, byte);
  }

  /** Throws an `UnencodableValueError` when the codec has no bytes for the value. */
  writeValue(value: Value): void {
    if (value === null) return this.writeByte(WireType.null);
    switch (typeof value) {
      case 'boolean':
        return this.writeByte(value ? WireType.trueValue : WireType.falseValue);
      case 'bigint':
        return this.#writeInteger(value);
      case 'number':
        return this.#writeDouble(value);
      case 'string':
        return this.#writeText(value);
      case 'object':
        return this.#writeObject(value);
      default:
        throw new UnencodableValueError(`A value of the type ${typeof value} cannot be sent.`);
    }
  }

  #writeObject(value: Exclude<Value, null | boolean | bigint | number | string>): void {
    if (value instanceof Map) return this.#writeMap(value);
    if (isList(value)) return this.#writeList(value);
    if (value instanceof Uint8Array) return this.#writeBytes(WireType.byteBuffer, value);
    if (value instanceof LargeInteger) return this.#writeLargeInteger(value);
    if (value instanceof Int32Array) return this.#writeNumbers(WireType.int32List, value);
    if (value instanceof BigInt64Array) return this.#writeNumbers(WireType.int64List, value);
    if (value instanceof Float32Array) return this.#writeNumbers(WireType.float32List, value);
    if (value instanceof Float64Array) return this.#writeNumbers(WireType.float64List, value);
    throw new UnencodableValueError('An object can be sent as a Map alone.');
  }

  #writeDouble(value: number): void {
    this.writeByte(WireType.float64);
    this.#align(8);
    const at = this.#grow(8);
    this.#view.setFloat64(at, value, true);
  }

  #writeInteger(value: bigint): void {
    if (value === BigInt.asIntN(32, value)) {
      this.writeByte(WireType.int32);
      const at = this.#grow(4);
      this.#view.setInt32(at, Number(value), true);
    } else if (value === BigInt.asIntN(64, value)) {
      this.writeByte(WireType.int64);
      const at = this.#grow(8);
      this.#view.setBigInt64(at, value, true);
    } else {
      throw new UnencodableValueError(
        `The integer ${value} does not fit into 64 bits; send it as a LargeInteger.`,
      );
    }
  }

  #writeLargeInteger({ hexadecimal }: LargeInteger): void {
    if (!isHexadecimal(hexadecimal)) {
      throw new UnencodableValueError('A LargeInteger needs hexadecimal digits.');
    }
    this.#writeBytes(WireType.largeInteger, utf8.encode(hexadecimal));
  }

  #writeText(text: string): void {
    // The encoder would put another character in its place.
    if (/\p{Surrogate}/u.test(text)) {
      throw new UnencodableValueError('A text with half of a surrogate pair cannot be sent.');
    }
    this.#writeBytes(WireType.string, utf8.encode(text));
  }

  #writeBytes(type: number, bytes: Uint8Array): void {
    this.writeByte(type);
    this.#writeSize(bytes.length);
    const at = this.#grow(bytes.length);
    this.#bytes.set(bytes, at);
  }

  #writeNumbers(type: number, numbers: NumberList): void {
    this.writeByte(type);
    this.#writeSize(numbers.length);
    // An empty list is padded too: receivers skip to the alignment before they look at the size.
    this.#align(numbers.BYTES_PER_ELEMENT);
    let at = this.#grow(numbers.byteLength);
    for (const number of numbers) {
      if (typeof number === 'bigint') this.#view.setBigInt64(at, number, true);
      else if (type === WireType.int32List) this.#view.setInt32(at, number, true);
      else if (type === WireType.float32List) this.#view.setFloat32(at, number, true);
      else this.#view.setFloat64(at, number, true);
      at += numbers.BYTES_PER_ELEMENT;
    }
  }

  #writeList(values: readonly Value[]): void {
    this.writeByte(WireType.list);
    this.#writeSize(values.length);
    this.#enter();
    for (const value of values) this.writeValue(value);
    --this.#nesting;
  }

  #writeMap(pairs: ReadonlyMap<Value, Value>): void {
    this.writeByte(WireType.map);
    this.#writeSize(pairs.size);
    this.#enter();
    for (const [key, value] of pairs) {
      this.writeValue(key);
      this.writeValue(value);
    }
    --this.#nesting;
  }

  #writeSize(size: number): void {
    if (size < kTwoByteSize) return this.writeByte(size);
    if (size > kGreatestSize) {
      throw new UnencodableValueError(`A value of ${size} elements is too long for a message.`);
    }
    const isWide = size > 0xffff;
    this.writeByte(isWide ? kFourByteSize : kTwoByteSize);
    const at = this.#grow(isWide ? 4 : 2);
    if (isWide) this.#view.setUint32(at, size, true);
    else this.#view.setUint16(at, size, true);
  }

  /** A list that holds itself would never end. */
  #enter(): void {
    if (++this.#nesting > kMaximumNesting) {
      throw new UnencodableValueError(
        `More than ${kMaximumNesting} lists and maps within one another cannot be sent.`,
      );
    }
  }

  #align(alignment: number): void {
    const padding = paddingAt(this.#size, alignment);
    // What a padding covers was never written, and so is zero.
    this.#grow(padding);
  }

  /** Makes room and answers where it begins. */
  #grow(count: number): number {
    const at = this.#size;
    this.#size += count;
    if (this.#size > this.#bytes.length) {
      const larger = new Uint8Array(Math.max(this.#size, 2 * this.#bytes.length));
      larger.set(this.#bytes.subarray(0, at));
      this.#bytes = larger;
      this.#view = new DataView(larger.buffer);
    }
    return at;
  }
}

function isList(value: Value): value is readonly Value[] {
  return Array.isArray(value);
}

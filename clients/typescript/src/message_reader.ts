import { MalformedMessageError } from './errors.js';
import { LargeInteger, type Bytes, type Value } from './value.js';
import {
  isHexadecimal,
  kFourByteSize,
  kMaximumNesting,
  kTwoByteSize,
  paddingAt,
  WireType,
} from './wire_format.js';

/** Bytes that lists, maps and buffers may take in memory: so many for any message ... */
const kFreeCost = 16 * 1024 * 1024;
/** ... and so many for each of its bytes. An empty map is two bytes in a message. */
const kCostPerByte = 8;
const kBoxCost = 64;
const kElementCost = 8;
const kMapCost = 256;
const kPairCost = 40;

const utf8 = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true });

/**
 * Takes values out of one message that anybody may have made. Every read throws a
 * `MalformedMessageError` when what follows is malformed; the reader is of no further use then.
 * What it allocates is bounded by the message's own size, whatever sizes the message claims.
 */
export class MessageReader {
  readonly #message: Uint8Array;
  readonly #view: DataView;
  #offset = 0;
  #affordable: number;
  #nesting = 0;

  constructor(message: Uint8Array) {
    this.#message = message;
    this.#view = new DataView(message.buffer, message.byteOffset, message.byteLength);
    this.#affordable = kFreeCost + kCostPerByte * message.length;
  }

  get atEnd(): boolean {
    return this.#offset === this.#message.length;
  }

  expectEnd(): void {
    if (!this.atEnd) this.fail('something follows the value');
  }

  fail(reason: string): never {
    throw new MalformedMessageError(reason, this.#offset);
  }

  readByte(): number {
    return this.#view.getUint8(this.#take(1));
  }

  readValue(): Value {
    const type = this.readByte();
    switch (type) {
      case WireType.null:
        return null;
      case WireType.trueValue:
        return true;
      case WireType.falseValue:
        return false;
      case WireType.int32:
        return BigInt(this.#view.getInt32(this.#take(4), true));
      case WireType.int64:
        return this.#view.getBigInt64(this.#take(8), true);
      case WireType.largeInteger:
        return this.#readLargeInteger();
      case WireType.float64:
        this.#skipPadding(8);
        return this.#view.getFloat64(this.#take(8), true);
      case WireType.string:
        return this.#readText();
      case WireType.byteBuffer:
        return this.#readByteBuffer();
      case WireType.int32List:
        return this.#readInt32s();
      case WireType.int64List:
        return this.#readInt64s();
      case WireType.float64List:
        return this.#readFloat64s();
      case WireType.float32List:
        return this.#readFloat32s();
      case WireType.list:
        return this.#readList();
      case WireType.map:
        return this.#readMap();
      default:
        --this.#offset;
        return this.fail(`no value has the type ${type}`);
    }
  }

  #readSize(): number {
    const first = this.readByte();
    if (first === kTwoByteSize) return this.#view.getUint16(this.#take(2), true);
    if (first === kFourByteSize) return this.#view.getUint32(this.#take(4), true);
    return first;
  }

  #readText(): string {
    const size = this.#readSize();
    const at = this.#take(size);
    try {
      return utf8.decode(this.#message.subarray(at, at + size));
    } catch {
      this.#offset = at;
      return this.fail('the text is not UTF-8');
    }
  }

  #readLargeInteger(): LargeInteger {
    const digits = this.#readText();
    if (!isHexadecimal(digits)) this.fail('a large integer has other than hexadecimal digits');
    this.#afford(kBoxCost);
    return new LargeInteger(digits);
  }

  #readByteBuffer(): Bytes {
    const size = this.#readSize();
    const at = this.#take(size);
    this.#afford(kBoxCost);
    // Not a view: it would keep the whole message, and its buffer would be another than expected.
    return new Uint8Array(this.#message.subarray(at, at + size));
  }

  #readInt32s(): Int32Array {
    const [count, at] = this.#readNumbersHead(4);
    return Int32Array.from({ length: count }, (_, i) => this.#view.getInt32(at + 4 * i, true));
  }

  #readInt64s(): BigInt64Array {
    const [count, at] = this.#readNumbersHead(8);
    const numbers = new BigInt64Array(count);
    for (let i = 0; i < count; ++i) numbers[i] = this.#view.getBigInt64(at + 8 * i, true);
    return numbers;
  }

  #readFloat32s(): Float32Array {
    const [count, at] = this.#readNumbersHead(4);
    return Float32Array.from({ length: count }, (_, i) => this.#view.getFloat32(at + 4 * i, true));
  }

  #readFloat64s(): Float64Array {
    const [count, at] = this.#readNumbersHead(8);
    return Float64Array.from({ length: count }, (_, i) => this.#view.getFloat64(at + 8 * i, true));
  }

  /** How many numbers follow, and where. They are passed over. */
  #readNumbersHead(elementSize: number): [count: number, at: number] {
    const count = this.#readSize();
    // Some writers leave out the padding of an empty list; at the message's end nothing is lost.
    if (count > 0 || !this.atEnd) this.#skipPadding(elementSize);
    const at = this.#take(count * elementSize);
    this.#afford(kBoxCost);
    return [count, at];
  }

  #readList(): Value[] {
    const size = this.#readSize();
    this.#enter(size, kBoxCost + kElementCost * size);
    const list: Value[] = [];
    for (let i = 0; i < size; ++i) list.push(this.readValue());
    --this.#nesting;
    return list;
  }

  #readMap(): Map<Value, Value> {
    const size = this.#readSize();
    this.#enter(2 * size, kMapCost + kPairCost * size);
    const map = new Map<Value, Value>();
    for (let i = 0; i < size; ++i) {
      const key = this.readValue();
      map.set(key, this.readValue());
    }
    --this.#nesting;
    return map;
  }

  /** Begins a list or map of so many values, each of at least one byte. */
  #enter(values: number, cost: number): void {
    this.#require(values);
    if (++this.#nesting > kMaximumNesting) {
      this.fail(`more than ${kMaximumNesting} lists and maps lie within one another`);
    }
    this.#afford(cost);
  }

  #afford(cost: number): void {
    if (cost > this.#affordable) this.fail('it would take many times its size in memory');
    this.#affordable -= cost;
  }

  #skipPadding(alignment: number): void {
    this.#take(paddingAt(this.#offset, alignment));
  }

  /** Passes over the bytes and answers where they begin. */
  #take(count: number): number {
    this.#require(count);
    const at = this.#offset;
    this.#offset += count;
    return at;
  }

  #require(count: number): void {
    if (count > this.#message.length - this.#offset) this.fail('it ends too early');
  }
}

// Numbers that a seed repeats, and values made of them.
import { LargeInteger, type Value } from 'quorvin-client';

/** A whole number from 0 to below the limit. */
export type Dice = (limit: number) => number;

/** A linear congruential generator of 64 bits, of which the upper ones are given. */
export function diceOf(seed: number): Dice {
  let state = BigInt(seed);
  return (limit) => {
    state = BigInt.asUintN(64, state * 6364136223846793005n + 1442695040888963407n);
    return Number(state >> 33n) % limit;
  };
}

export function anyBytes(dice: Dice, size: number): Uint8Array {
  return Uint8Array.from({ length: size }, () => dice(256));
}

function anyInteger(dice: Dice): bigint {
  const bits = (BigInt(dice(2 ** 31)) << 33n) | (BigInt(dice(2 ** 31)) << 2n) | BigInt(dice(4));
  return BigInt.asIntN(1 + dice(64), bits);
}

function anyDouble(dice: Dice): number {
  const odd = [0, -0, 1, 256, 5e-324, 1e300, Infinity, -Infinity, NaN];
  return odd[dice(2 * odd.length)] ?? (dice(2 ** 31) - 2 ** 30) / (1 + dice(1000));
}

function anyText(dice: Dice): string {
  const characters = ['a', '\0', '"', '\u00e9', '\u263a', '\ufeff', '\uffff', '\u{1f602}'];
  const size = dice(40) === 0 ? 250 + dice(10) : dice(12);
  return Array.from({ length: size }, () => characters[dice(characters.length)]).join('');
}

function anyFlatValue(dice: Dice): Value {
  switch (dice(12)) {
    case 0:
      return null;
    case 1:
      return dice(2) === 0;
    case 2:
    case 3:
      return anyInteger(dice);
    case 4:
    case 5:
      return anyDouble(dice);
    case 6:
      return new LargeInteger('0123456789abcdefABCDEF'.slice(dice(20)));
    case 7:
      return anyBytes(dice, dice(40) === 0 ? 65530 + dice(12) : dice(9));
    case 8:
      return Int32Array.from({ length: dice(5) }, () => dice(2 ** 31) - dice(2 ** 31));
    case 9:
      return BigInt64Array.from({ length: dice(5) }, () => anyInteger(dice));
    case 10:
      return dice(2) === 0
        ? Float32Array.from({ length: dice(5) }, () => anyDouble(dice))
        : Float64Array.from({ length: dice(5) }, () => anyDouble(dice));
    default:
      return anyText(dice);
  }
}

/** At most `depth` lists or maps lie within one another. */
export function anyValue(dice: Dice, depth: number): Value {
  const kind = depth === 0 ? 5 : dice(5);
  if (kind === 0) return Array.from({ length: dice(6) }, () => anyValue(dice, depth - 1));
  if (kind !== 1) return anyFlatValue(dice);
  const pairs = Array.from({ length: dice(6) }, (): [Value, Value] => [
    anyValue(dice, depth - 1),
    anyValue(dice, depth - 1),
  ]);
  return new Map(pairs);
}

/** A copy with a few bytes changed, or cut. */
export function damaged(dice: Dice, message: Uint8Array): Uint8Array {
  const copy = message.slice(0, dice(3) === 0 ? dice(message.length + 1) : message.length);
  for (let left = dice(4); left > 0 && copy.length > 0; --left) {
    // Type bytes and forms of sizes are among the small and the largest ones.
    copy[dice(copy.length)] = dice(3) === 0 ? 250 + dice(6) : dice(dice(2) === 0 ? 16 : 256);
  }
  return copy;
}

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { describe, test } from 'node:test';
import {
  decodeEnvelope,
  decodeMessage,
  decodeMethodCall,
  encodeErrorEnvelope,
  encodeMessage,
  encodeMethodCall,
  encodeSuccessEnvelope,
  LargeInteger,
  MalformedMessageError,
  UnencodableValueError,
  type Value,
} from 'quorvin-client';
import {
  described,
  fromHexadecimal,
  hexadecimal,
  undescribed,
  type Description,
} from './described_value.js';
import { anyBytes, anyValue, damaged, diceOf } from './dice.js';

interface Vector<Meaning> {
  name: string;
  meaning: Meaning;
  message: string;
}
interface CallMeaning {
  method: string;
  arguments: Description;
}
interface ErrorMeaning {
  code: string;
  message: string | null;
  details: Description;
}
interface Vectors {
  values: Vector<Description>[];
  receivedValues: Vector<Description>[];
  calls: Vector<CallMeaning>[];
  successes: Vector<Description>[];
  errors: Vector<ErrorMeaning>[];
  receivedErrors: Vector<ErrorMeaning>[];
}

// Written by `codec_values vectors`; see scripts/test_typescript.sh.
const vectors: Vectors = JSON.parse(
  readFileSync(new URL('../../test/vectors.json', import.meta.url), 'utf8'),
);

function decodeDigits(digits: string): Value {
  return decodeMessage(fromHexadecimal(digits));
}

function assertMalformed(message: Uint8Array, decode: (message: Uint8Array) => unknown, what = '') {
  assert.throws(() => decode(message), MalformedMessageError, `${what} ${hexadecimal(message)}`);
}

/** Every vector cut short anywhere, and one byte longer. */
function assertWhole(message: Uint8Array, decode: (message: Uint8Array) => unknown, name: string) {
  const step = message.length > 1000 ? 997 : 1;
  for (let size = 0; size < message.length; size += step) {
    // An empty list of numbers may end in front of its padding.
    if (message[0] === 9 && message[1] === 0 && size === 2) continue;
    assertMalformed(message.subarray(0, size), decode, name);
  }
  assertMalformed(new Uint8Array([...message, 0]), decode, name);
}

describe('vectors', () => {
  test('are there', () => {
    const counts = Object.values(vectors).map((list: unknown[]) => list.length);
    assert(counts.every((count) => count > 0));
    assert(vectors.values.length > 50);
  });

  for (const { name, meaning, message } of vectors.values) {
    test(`value: ${name}`, () => {
      assert.equal(hexadecimal(encodeMessage(undescribed(meaning))), message);
      assert.deepEqual(described(decodeDigits(message)), meaning);
      assertWhole(fromHexadecimal(message), decodeMessage, name);
    });
  }

  for (const { name, meaning, message } of vectors.receivedValues) {
    test(`received value: ${name}`, () => {
      const read = decodeDigits(message);
      assert.deepEqual(described(read), described(undescribed(meaning)));
      assert.deepEqual(decodeMessage(encodeMessage(read)), read);
    });
  }

  for (const { name, meaning, message } of vectors.calls) {
    test(`call: ${name}`, () => {
      const call = { method: meaning.method, arguments: undescribed(meaning.arguments) };
      assert.equal(hexadecimal(encodeMethodCall(call)), message);
      assert.deepEqual(decodeMethodCall(fromHexadecimal(message)), call);
      assertWhole(fromHexadecimal(message), decodeMethodCall, name);
    });
  }

  for (const { name, meaning, message } of vectors.successes) {
    test(`success: ${name}`, () => {
      assert.equal(hexadecimal(encodeSuccessEnvelope(undescribed(meaning))), message);
      const envelope = decodeEnvelope(fromHexadecimal(message));
      assert(envelope.error === undefined);
      assert.deepEqual(described(envelope.result), meaning);
      assertWhole(fromHexadecimal(message), decodeEnvelope, name);
    });
  }

  for (const { name, meaning, message } of vectors.errors) {
    test(`error: ${name}`, () => {
      const error = { ...meaning, details: undescribed(meaning.details) };
      assert.equal(hexadecimal(encodeErrorEnvelope(error)), message);
      assert.deepEqual(decodeEnvelope(fromHexadecimal(message)), { error });
    });
  }

  for (const { name, meaning, message } of vectors.receivedErrors) {
    test(`received error: ${name}`, () => {
      const error = { ...meaning, details: undescribed(meaning.details) };
      assert.deepEqual(decodeEnvelope(fromHexadecimal(message)), { error });
      assertMalformed(fromHexadecimal(`${message}00`), decodeEnvelope, name);
    });
  }
});

describe('what is decoded', () => {
  test('tells integers from doubles', () => {
    assert.equal(decodeDigits('0301000000'), 1n);
    assert.equal(decodeDigits('0600000000000000000000000000f03f'), 1);
    assert.equal(hexadecimal(encodeMessage(1n)), '0301000000');
    assert.equal(hexadecimal(encodeMessage(1)), '0600000000000000000000000000f03f');
  });

  test('keeps every bit of a large integer', () => {
    for (const value of [2n ** 53n + 1n, -(2n ** 53n) - 1n, 2n ** 63n - 1n, -(2n ** 63n)]) {
      assert.equal(decodeMessage(encodeMessage(value)), value);
    }
  });

  test('keeps the sign of zero and what is no number', () => {
    assert(Object.is(decodeDigits('06000000000000000000000000000080'), -0));
    assert(Number.isNaN(decodeDigits('0600000000000000000000000000f87f')));
    assert.equal(hexadecimal(encodeMessage(-0)), '06000000000000000000000000000080');
  });

  test('keeps a byte order mark in front of a text', () => {
    assert.equal(decodeMessage(encodeMessage('\ufeffa')), '\ufeffa');
  });

  test('is of every size around the forms of sizes', () => {
    for (const [size, head] of [[0, '0800'], [253, '08fd'], [254, '08fefe00'], [65_535, '08feffff'],
      [65_536, '08ff00000100']] as const) {
      const message = encodeMessage(new Uint8Array(size).fill(7));
      assert.equal(hexadecimal(message.subarray(0, head.length / 2)), head);
      assert.equal(message.length, head.length / 2 + size);
      assert.deepEqual(decodeMessage(message), new Uint8Array(size).fill(7));
      const list = Array<bigint>(size).fill(1n);
      assert.deepEqual(decodeMessage(encodeMessage(list)), list);
    }
  });

  test('keeps pairs in order', () => {
    const map = new Map<Value, Value>([['b', 1n], ['a', 2n], [10n, 3n], [9n, 4n]]);
    const read = decodeMessage(encodeMessage(map));
    assert(read instanceof Map);
    assert.deepEqual([...read], [...map]);
  });

  test('has memory of its own', () => {
    const message = encodeMessage(new Uint8Array([1, 2, 3]));
    const bytes = decodeMessage(message);
    message.fill(0);
    assert(bytes instanceof Uint8Array);
    assert.deepEqual([...bytes], [1, 2, 3]);
    assert.equal(bytes.buffer.byteLength, 3);
  });

  test('may lie anywhere in its memory', () => {
    for (const { message, name } of vectors.values) {
      for (const offset of [1, 3, 5]) {
        const bytes = fromHexadecimal(message);
        const memory = new Uint8Array(bytes.length + 2 * offset).fill(0xaa);
        memory.set(bytes, offset);
        const read = decodeMessage(memory.subarray(offset, offset + bytes.length));
        assert.deepEqual(read, decodeMessage(bytes), name);
      }
    }
  });
});

describe('malformed messages', () => {
  test('with an unknown type are refused', () => {
    for (let type = 15; type < 256; ++type) {
      assertMalformed(new Uint8Array([type]), decodeMessage);
      assertMalformed(new Uint8Array([type, ...new Uint8Array(31)]), decodeMessage);
    }
  });

  test('with sizes beyond the end are refused', () => {
    for (const type of ['05', '07', '08', '09', '0a', '0b', '0c', '0d', '0e']) {
      for (const rest of ['0930', 'fdff', 'feffff00', 'ffffffffff00', 'ff0000008000',
        'ff0000004000', 'ff0000002000000000000000']) {
        assertMalformed(fromHexadecimal(type + rest), decodeMessage);
      }
    }
  });

  test('of texts that are not UTF-8 are refused', () => {
    for (const text of ['80', 'c328', 'c080', 'e08080', 'eda080', 'edbfbf', 'e298', 'f0808080',
      'f4908080', 'f5808080', 'f09f98', 'fe', 'ff', '6f6bff']) {
      const message = new Uint8Array([7, text.length / 2, ...fromHexadecimal(text)]);
      assertMalformed(message, decodeMessage);
    }
  });

  test('of large integers that are not hexadecimal are refused', () => {
    assert.deepEqual(decodeDigits('05026631'), new LargeInteger('f1'));
    for (const digits of ['0500', '05026731', '05022d31', '0503307831', '0502310a']) {
      assertMalformed(fromHexadecimal(digits), decodeMessage);
    }
  });

  test('that nest too deeply are refused', () => {
    const nested = (levels: number, head: number[]) =>
      new Uint8Array([...Array<number[]>(levels).fill(head).flat(), 0]);
    for (const head of [[12, 1], [13, 1, 0]]) {
      decodeMessage(nested(256, head));
      assertMalformed(nested(257, head), decodeMessage);
      assertMalformed(nested(100_000, head).subarray(0, 200_000), decodeMessage);
    }
  });

  const listOf = (count: number, size: number) => {
    const message = new Uint8Array(size);
    message.set([12, 255]);
    new DataView(message.buffer).setUint32(2, count, true);
    return message;
  };

  test('that claim more in each list than is left are refused', () => {
    const size = 8 << 20;
    const message = new Uint8Array(size);
    for (let i = 0; i < 200; ++i) message.set(listOf(size - 6 * (i + 1), 6), 6 * i);
    assert.throws(() => decodeMessage(message), MalformedMessageError);
  });

  test('that take many times their size in memory are refused', () => {
    const emptyMaps = listOf(1_000_000, 6 + 2_000_000);
    for (let at = 6; at < emptyMaps.length; at += 2) emptyMaps[at] = 13;
    assert.throws(() => decodeMessage(emptyMaps), MalformedMessageError);
    const nulls = listOf(300_000, 6 + 300_000);
    assert.equal((decodeMessage(nulls) as Value[]).length, 300_000);
  });

  test('of the wrong shape are no calls and no envelopes', () => {
    for (const call of ['', '030100000000', '0000', '08016100', '07016180', '070161']) {
      assertMalformed(fromHexadecimal(call), decodeMethodCall);
    }
    for (const envelope of ['', '0200', '01000000', '0107014501000000', '0107014507016d0001']) {
      assertMalformed(fromHexadecimal(envelope), decodeEnvelope);
    }
  });

  test('tell where they are malformed', () => {
    assert.throws(() => decodeDigits('0c020163'), { offset: 3, name: 'MalformedMessageError' });
  });
});

describe('whatever bytes come', () => {
  /** A value that is encoded to bytes that decode to it, or a refusal. */
  function decodesOrRefuses(message: Uint8Array): boolean {
    let value: Value;
    try {
      value = decodeMessage(message);
    } catch (error) {
      assert(error instanceof MalformedMessageError, `${error} of ${hexadecimal(message)}`);
      return false;
    }
    const again = encodeMessage(value);
    assert.equal(hexadecimal(encodeMessage(decodeMessage(again))), hexadecimal(again));
    return true;
  }

  test('random ones are read or refused', () => {
    const dice = diceOf(1);
    let read = 0;
    for (let i = 0; i < 50_000; ++i) {
      const message = anyBytes(dice, dice(24));
      if (message.length > 0 && dice(2) === 0) message[0] = dice(15);
      if (decodesOrRefuses(message)) ++read;
    }
    assert(read > 250 && read < 45_000, `${read} were read`);
  });

  test('damaged ones are read or refused', () => {
    const dice = diceOf(2);
    let read = 0;
    for (let i = 0; i < 10_000; ++i) {
      if (decodesOrRefuses(damaged(dice, encodeMessage(anyValue(dice, 3))))) ++read;
    }
    assert(read > 500 && read < 9500, `${read} were read`);
  });

  test('damaged envelopes and calls are read or refused', () => {
    const dice = diceOf(3);
    for (let i = 0; i < 10_000; ++i) {
      const details = anyValue(dice, 2);
      const error = encodeErrorEnvelope({ code: 'E', message: 'm', details });
      const call = encodeMethodCall({ method: 'name', arguments: details });
      for (const [message, decode] of [
        [error, decodeEnvelope],
        [call, decodeMethodCall],
      ] as const) {
        try {
          decode(damaged(dice, message));
        } catch (fault) {
          assert(fault instanceof MalformedMessageError, `${fault}`);
        }
      }
    }
  });

  test('any value comes back as it was', () => {
    const dice = diceOf(4);
    for (let i = 0; i < 4000; ++i) {
      const value = anyValue(dice, 4);
      const message = encodeMessage(value);
      const read = decodeMessage(message);
      assert.equal(hexadecimal(encodeMessage(read)), hexadecimal(message));
      assert.deepEqual(described(read), described(value));
    }
  });
});

describe('values that cannot be sent', () => {
  const refused = (value: unknown) =>
    assert.throws(() => encodeMessage(value as Value), UnencodableValueError);

  test('are those of other types', () => {
    for (const value of [undefined, () => 1, Symbol('s'), {}, new Date(0), new Set([1]),
      new Uint16Array(1), [undefined]]) {
      refused(value);
    }
  });

  test('are integers beyond 64 bits', () => {
    refused(2n ** 63n);
    refused(-(2n ** 63n) - 1n);
  });

  test('are large integers without digits', () => {
    for (const digits of ['', 'xyz', '-1', '0x1', '1\n']) refused(new LargeInteger(digits));
  });

  test('are texts with half a surrogate pair', () => {
    for (const text of ['\ud800', 'a\udc00b', '\udc00\ud800']) refused(text);
    encodeMessage('\ud83d\ude02');
  });

  test('are lists and maps that hold themselves', () => {
    const list: Value[] = [];
    list.push(list);
    refused(list);
    const map = new Map<Value, Value>();
    map.set('self', map);
    refused(map);
  });

  test('are lists that no receiver takes', () => {
    let list: Value = [];
    for (let i = 1; i < 256; ++i) list = [list];
    decodeMessage(encodeMessage(list));
    refused([list]);
  });
});

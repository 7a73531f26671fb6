// compare.js PROGRAM [SEED [COUNT]]: compares the codec with that of the program codec_values, byte
// for byte: values that the program makes, values that are made here, and damaged messages.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';
import { decodeMessage, encodeMessage, MalformedMessageError } from 'quorvin-client';
import {
  described,
  fromHexadecimal,
  hexadecimal,
  undescribed,
  type Description,
} from './described_value.js';
import { anyValue, damaged, diceOf } from './dice.js';

const kDepth = 4;

/** Runs the program with the lines as input, and answers with those that it writes. */
async function* linesOf(program: string, args: string[], input: string[] = []) {
  const child = spawn(program, args, { stdio: ['pipe', 'pipe', 'inherit'] });
  const ended = once(child, 'close');
  child.stdin.end(input.map((line) => `${line}\n`).join(''));
  yield* createInterface({ input: child.stdout });
  assert.deepEqual(await ended, [0, null], 'the program failed');
}

async function compareValuesOfTheProgram(program: string, seed: number, count: number) {
  let compared = 0;
  for await (const line of linesOf(program, ['generate', `${seed}`, `${count}`])) {
    const { value, message } = JSON.parse(line) as { value: Description; message: string };
    const read = decodeMessage(fromHexadecimal(message));
    assert.deepEqual(described(read), value);
    assert.equal(hexadecimal(encodeMessage(read)), message);
    assert.equal(hexadecimal(encodeMessage(undescribed(value))), message);
    ++compared;
  }
  assert.equal(compared, count);
  console.log(`${compared} values of the program: the same in both directions`);
}

async function compareValuesOfOurs(program: string, seed: number, count: number) {
  const dice = diceOf(seed);
  const messages = Array.from({ length: count }, () =>
    hexadecimal(encodeMessage(anyValue(dice, kDepth))),
  );
  let compared = 0;
  for await (const line of linesOf(program, ['reread'], messages)) {
    assert.equal(line, messages[compared++]);
  }
  assert.equal(compared, count);
  console.log(`${compared} values of ours: read by the program and written the same`);
}

async function compareDamagedMessages(program: string, seed: number, count: number) {
  const dice = diceOf(seed + 1);
  const messages = Array.from({ length: count }, () =>
    hexadecimal(damaged(dice, encodeMessage(anyValue(dice, kDepth)))),
  );
  let compared = 0;
  let refused = 0;
  for await (const line of linesOf(program, ['reread'], messages)) {
    const message = messages[compared++] as string;
    const isRefused = refuses(fromHexadecimal(message));
    assert.equal(isRefused, line === 'malformed', `one alone refuses ${message}`);
    if (isRefused) ++refused;
  }
  assert.equal(compared, count);
  assert(refused > 0 && refused < count, `${refused} were refused`);
  console.log(`${compared} damaged messages: both refuse the same ${refused}`);
}

function refuses(message: Uint8Array): boolean {
  try {
    decodeMessage(message);
    return false;
  } catch (error) {
    assert(error instanceof MalformedMessageError, `${error}`);
    return true;
  }
}

const [program, seed = '1', count = '10000'] = process.argv.slice(2);
assert(program !== undefined, 'say which program to compare with');
await compareValuesOfTheProgram(program, Number(seed), Number(count));
await compareValuesOfOurs(program, Number(seed), Number(count));
await compareDamagedMessages(program, Number(seed), Number(count));

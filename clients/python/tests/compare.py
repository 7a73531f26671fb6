#!/usr/bin/env python3
"""compare.py PROGRAM [SEED [COUNT]]: compares the codec with that of the program codec_values.

Byte for byte: values that the program makes, values that are made here, and damaged messages.
"""
import json
import random
import subprocess
import sys

from any_value import any_value, damaged
from described_value import described, undescribed
from quorvin import MalformedMessageError
from quorvin.codec import decode_message, encode_message


def check(holds, message):
    if not holds:
        sys.exit(f'compare.py: {message}')


def lines_of(program, *arguments, given=None):
    done = subprocess.run([program, *arguments], input=given, check=True, stdout=subprocess.PIPE)
    return done.stdout.decode().split('\n')[:-1]


def reread(program, messages):
    lines = lines_of(program, 'reread', given=''.join(m.hex() + '\n' for m in messages).encode())
    check(len(lines) == len(messages), f'{len(lines)} of {len(messages)} messages were answered')
    return lines


def compare_values_of_the_program(program, seed, count):
    lines = lines_of(program, 'generate', str(seed), str(count))
    for line in lines:
        case = json.loads(line)
        read = decode_message(bytes.fromhex(case['message']))
        check(described(read) == case['value'], f'another value than {line}')
        check(encode_message(read).hex() == case['message'], f'written otherwise: {line}')
        again = encode_message(undescribed(case['value'])).hex()
        check(again == case['message'], f'the description is written otherwise: {line}')
    check(len(lines) == count, f'{len(lines)} values came')
    print(f'{count} values of the program: the same in both directions')


def compare_values_of_ours(program, seed, count):
    dice = random.Random(seed)
    messages = [encode_message(any_value(dice)) for _ in range(count)]
    for message, line in zip(messages, reread(program, messages)):
        check(line == message.hex(), f'{message.hex()} became {line}')
        check(encode_message(decode_message(message)) == message, f'not read: {message.hex()}')
    print(f'{count} values of ours: read by the program and written the same')


def compare_damaged_messages(program, seed, count):
    dice = random.Random(seed + 1)
    messages = [damaged(dice, encode_message(any_value(dice))) for _ in range(count)]
    refused = 0
    for message, line in zip(messages, reread(program, messages)):
        try:
            decode_message(message)
            refuses = False
        except MalformedMessageError:
            refuses = True
        check(refuses == (line == 'malformed'), f'one alone refuses {message.hex()}')
        refused += refuses
    check(0 < refused < count, f'{refused} were refused')
    print(f'{count} damaged messages: both refuse the same {refused}')


def main():
    program = sys.argv[1]
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 10000
    compare_values_of_the_program(program, seed, count)
    compare_values_of_ours(program, seed, count)
    compare_damaged_messages(program, seed, count)


if __name__ == '__main__':
    main()

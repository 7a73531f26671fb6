"""Values of all kinds, and damaged messages, that a seed repeats."""
from array import array

from quorvin import LargeInteger, Pairs

ODD_DOUBLES = [0.0, -0.0, 1.0, 256.0, 5e-324, 1e300, float('inf'), float('-inf'), float('nan')]
CHARACTERS = ['a', '\0', '"', '\u00e9', '\u263a', '\ufeff', '\uffff', '\U0001f602']


def any_size(dice):
    """Mostly short, sometimes around the sizes where another form of a size begins."""
    kind = dice.randrange(1000)
    if kind == 0:
        return dice.randrange(65530, 65542)
    return dice.randrange(250, 260) if kind < 20 else dice.randrange(12)


def any_integer(dice):
    """Of any number of bits."""
    bits = dice.getrandbits(dice.randrange(64))
    return bits if dice.random() < 0.5 else ~bits


def any_double(dice):
    return dice.choice(ODD_DOUBLES) if dice.random() < 0.5 else dice.uniform(-1e9, 1e9)


def any_text(dice):
    return ''.join(dice.choice(CHARACTERS) for _ in range(any_size(dice)))


def any_flat_value(dice):
    return dice.choice((
        lambda: None,
        lambda: dice.random() < 0.5,
        lambda: any_integer(dice),
        lambda: any_double(dice),
        lambda: LargeInteger('0123456789abcdefABCDEF'[dice.randrange(20):]),
        lambda: dice.getrandbits(80) + 2**63,
        lambda: bytes(dice.randrange(256) for _ in range(any_size(dice))),
        lambda: array('i', (dice.randrange(-2**31, 2**31) for _ in range(any_size(dice)))),
        lambda: array('q', (any_integer(dice) for _ in range(any_size(dice)))),
        lambda: array('f', (any_double(dice) % 1e9 for _ in range(any_size(dice)))),
        lambda: array('d', (any_double(dice) for _ in range(any_size(dice)))),
        lambda: any_text(dice),
    ))()


def any_value(dice, depth=4):
    """At most `depth` lists or maps lie within one another."""
    kind = dice.randrange(6) if depth > 0 else 5
    if kind == 0:
        return [any_value(dice, depth - 1) for _ in range(dice.randrange(6))]
    if kind == 1:
        return {any_text(dice): any_value(dice, depth - 1) for _ in range(dice.randrange(6))}
    if kind == 2:
        return Pairs((any_value(dice, depth - 1), any_value(dice, depth - 1))
                     for _ in range(dice.randrange(6)))
    return any_flat_value(dice)


def damaged(dice, message):
    """A copy with a few bytes changed, or cut."""
    copy = bytearray(message[:dice.randrange(len(message) + 1)] if dice.random() < 0.3 else message)
    for _ in range(dice.randrange(4)):
        if copy:
            # Type bytes and forms of sizes are among the small and the largest ones.
            copy[dice.randrange(len(copy))] = dice.choice(
                (dice.randrange(16), dice.randrange(250, 256), dice.randrange(256)))
    return bytes(copy)

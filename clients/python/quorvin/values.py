"""What the codec carries, in Python.

| on the wire           | in Python                                                             |
|-----------------------|-----------------------------------------------------------------------|
| null, true, false     | None, True, False                                                     |
| an integer            | int, from -2**63 to 2**63 - 1                                         |
| a larger one          | LargeInteger, an int; an int from 2**63 on is sent so                 |
| a double              | float                                                                 |
| text, bytes           | str, bytes; a bytearray and a memoryview are sent as bytes            |
| lists of numbers      | array.array of the types 'i' (32 bits), 'q' (64 bits), 'f' and 'd'    |
| a list                | list; a tuple is sent so                                              |
| a map                 | dict, or Pairs where a dict would lose something                      |

What was decoded is encoded to the same bytes.
"""
from array import array
from typing import Any, Mapping, Sequence, Tuple, Union


class LargeInteger(int):
    """An integer that has its own hexadecimal digits on the wire, as a rule one beyond 64 bits."""

    hexadecimal: str

    def __new__(cls, hexadecimal: str) -> 'LargeInteger':
        if not is_hexadecimal(hexadecimal):
            raise ValueError(f'A large integer needs hexadecimal digits, not {hexadecimal!r}.')
        self = super().__new__(cls, hexadecimal, 16)
        self.hexadecimal = hexadecimal
        return self

    def __getnewargs__(self) -> Tuple[str]:  # type: ignore[override]
        return (self.hexadecimal,)

    def __repr__(self) -> str:
        return f'LargeInteger({self.hexadecimal!r})'


class Pairs(Tuple[Tuple[Any, Any], ...]):
    """A map as its pairs of key and value, in order.

    Maps are decoded so when their keys are lists or maps themselves, or the same to a dict, as
    True, 1 and 1.0 are.
    """

    __slots__ = ()

    def __repr__(self) -> str:
        return f'Pairs({tuple.__repr__(self)})'


Value = Union[None, bool, int, float, str, bytes, bytearray, memoryview, 'array[Any]',
              Sequence['Value'], Mapping[Any, 'Value'], Pairs]

HEXADECIMAL_DIGITS = frozenset('0123456789abcdefABCDEF')


def is_hexadecimal(digits: str) -> bool:
    return digits != '' and HEXADECIMAL_DIGITS.issuperset(digits)

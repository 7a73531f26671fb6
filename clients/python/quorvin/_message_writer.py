"""Puts values into a message."""
import struct
import sys
from array import array
from typing import Any, Iterable, Tuple

from . import _wire_format as wire
from .errors import UnencodableValueError
from .values import LargeInteger, Pairs, Value

GREATEST_SIZE = 0xffffffff
NUMBER_LISTS = {'i': wire.INT32_LIST, 'q': wire.INT64_LIST, 'd': wire.FLOAT64_LIST,
                'f': wire.FLOAT32_LIST}


class MessageWriter:
    """Writes one value after the other. Raises an UnencodableValueError for one without bytes."""

    def __init__(self) -> None:
        self._bytes = bytearray()
        self._nesting = 0

    def take(self) -> bytes:
        return bytes(self._bytes)

    def write_byte(self, byte: int) -> None:
        self._bytes.append(byte)

    def write_value(self, value: Value) -> None:
        if value is None:
            self.write_byte(wire.NULL)
        elif isinstance(value, bool):
            self.write_byte(wire.TRUE if value else wire.FALSE)
        elif isinstance(value, str):
            self._write_text(value)
        elif isinstance(value, int):
            self._write_integer(value)
        elif isinstance(value, float):
            self.write_byte(wire.FLOAT64)
            self._align(8)
            self._bytes += struct.pack('<d', value)
        elif isinstance(value, dict):
            self._write_pairs(len(value), value.items())
        elif isinstance(value, Pairs):
            self._write_pairs(len(value), value)
        elif isinstance(value, (list, tuple)):
            self._write_list(value)
        elif isinstance(value, (bytes, bytearray, memoryview)):
            self._write_bytes(wire.BYTES, bytes(value))
        elif isinstance(value, array):
            self._write_numbers(value)
        else:
            raise UnencodableValueError(
                f'A value of the type {type(value).__name__} cannot be sent.')

    def _write_integer(self, value: int) -> None:
        if isinstance(value, LargeInteger):
            self._write_bytes(wire.LARGE_INTEGER, value.hexadecimal.encode())
        elif -2**31 <= value < 2**31:
            self.write_byte(wire.INT32)
            self._bytes += value.to_bytes(4, 'little', signed=True)
        elif -2**63 <= value < 2**63:
            self.write_byte(wire.INT64)
            self._bytes += value.to_bytes(8, 'little', signed=True)
        elif value > 0:
            self._write_bytes(wire.LARGE_INTEGER, format(value, 'x').encode())
        else:
            raise UnencodableValueError('An integer below -2**63 cannot be sent.')

    def _write_text(self, text: str) -> None:
        try:
            encoded = text.encode('utf-8')
        except UnicodeEncodeError:
            raise UnencodableValueError(
                'A text with half of a surrogate pair cannot be sent.') from None
        self._write_bytes(wire.STRING, encoded)

    def _write_bytes(self, type_byte: int, data: bytes) -> None:
        self.write_byte(type_byte)
        self._write_size(len(data))
        self._bytes += data

    def _write_numbers(self, numbers: 'array[Any]') -> None:
        type_byte = NUMBER_LISTS.get(numbers.typecode)
        if type_byte is None:
            raise UnencodableValueError(
                f"An array of the type '{numbers.typecode}' cannot be sent, but for "
                "'i', 'q', 'f' and 'd'.")
        self.write_byte(type_byte)
        self._write_size(len(numbers))
        # An empty list is padded too: receivers skip to the alignment before they look at the size.
        self._align(numbers.itemsize)
        if sys.byteorder == 'big':
            numbers = numbers[:]
            numbers.byteswap()
        self._bytes += numbers.tobytes()

    def _write_list(self, values: Iterable[Any]) -> None:
        values = tuple(values)
        self.write_byte(wire.LIST)
        self._write_size(len(values))
        self._enter()
        for value in values:
            self.write_value(value)
        self._nesting -= 1

    def _write_pairs(self, size: int, pairs: Iterable[Tuple[Any, Any]]) -> None:
        self.write_byte(wire.MAP)
        self._write_size(size)
        self._enter()
        for key, value in pairs:
            self.write_value(key)
            self.write_value(value)
        self._nesting -= 1

    def _write_size(self, size: int) -> None:
        if size < wire.TWO_BYTE_SIZE:
            self.write_byte(size)
        elif size <= 0xffff:
            self.write_byte(wire.TWO_BYTE_SIZE)
            self._bytes += size.to_bytes(2, 'little')
        elif size <= GREATEST_SIZE:
            self.write_byte(wire.FOUR_BYTE_SIZE)
            self._bytes += size.to_bytes(4, 'little')
        else:
            raise UnencodableValueError(
                f'A value of {size} elements is too long for a message.')

    def _enter(self) -> None:
        """A list that holds itself would never end."""
        self._nesting += 1
        if self._nesting > wire.MAXIMUM_NESTING:
            raise UnencodableValueError(
                f'More than {wire.MAXIMUM_NESTING} lists and maps within one another cannot be '
                'sent.')

    def _align(self, alignment: int) -> None:
        self._bytes += bytes(-len(self._bytes) % alignment)

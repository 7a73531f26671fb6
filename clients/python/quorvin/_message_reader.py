"""Takes values out of a message that anybody may have made."""
import struct
import sys
from array import array
from typing import Any, Callable, Dict, NoReturn, Union

from . import _wire_format as wire
from .errors import MalformedMessageError
from .values import LargeInteger, Pairs, is_hexadecimal

# Bytes that lists, maps and buffers may take in memory: so many for any message, and so many for
# each of its bytes. An empty map is two bytes in a message.
FREE_COST = 16 << 20
COST_PER_BYTE = 16
BOX_COST = 64
ELEMENT_COST = 8
PAIR_COST = 104

# A dict tells these apart by what they are, and nobody can choose many that share a hash.
PLAIN_KEYS = frozenset((type(None), bool, int, float, str, bytes))

INT32 = struct.Struct('<i')
INT64 = struct.Struct('<q')
FLOAT64 = struct.Struct('<d')
UINT16 = struct.Struct('<H')
UINT32 = struct.Struct('<I')


class MessageReader:
    """Reads values in order; each read raises a MalformedMessageError when what follows is none.

    No size is believed before the bytes are there.
    """

    def __init__(self, message: bytes) -> None:
        self._message = message
        self._offset = 0
        self._nesting = 0
        self._affordable = FREE_COST + COST_PER_BYTE * len(message)

    @property
    def at_end(self) -> bool:
        return self._offset == len(self._message)

    def expect_end(self) -> None:
        if not self.at_end:
            self.fail('something follows the value')

    def fail(self, reason: str) -> NoReturn:
        raise MalformedMessageError(reason, self._offset)

    def read_byte(self) -> int:
        return self._message[self._take(1)]

    def read_value(self) -> Any:
        type_byte = self.read_byte()
        read = READERS.get(type_byte)
        if read is None:
            self._offset -= 1
            self.fail(f'no value has the type {type_byte}')
        return read(self)

    def _read_int32(self) -> int:
        number: int = INT32.unpack_from(self._message, self._take(4))[0]
        return number

    def _read_int64(self) -> int:
        number: int = INT64.unpack_from(self._message, self._take(8))[0]
        return number

    def _read_float64(self) -> float:
        self._skip_padding(8)
        number: float = FLOAT64.unpack_from(self._message, self._take(8))[0]
        return number

    def _read_size(self) -> int:
        first = self.read_byte()
        size: int
        if first == wire.TWO_BYTE_SIZE:
            size, = UINT16.unpack_from(self._message, self._take(2))
            return size
        if first == wire.FOUR_BYTE_SIZE:
            size, = UINT32.unpack_from(self._message, self._take(4))
            return size
        return first

    def _read_text(self) -> str:
        size = self._read_size()
        at = self._take(size)
        try:
            return self._message[at:at + size].decode('utf-8')
        except UnicodeDecodeError:
            self._offset = at
            self.fail('the text is not UTF-8')

    def _read_large_integer(self) -> LargeInteger:
        digits = self._read_text()
        if not is_hexadecimal(digits):
            self.fail('a large integer has other than hexadecimal digits')
        self._afford(BOX_COST)
        return LargeInteger(digits)

    def _read_bytes(self) -> bytes:
        size = self._read_size()
        at = self._take(size)
        self._afford(BOX_COST)
        return self._message[at:at + size]

    def _read_numbers(self, typecode: str) -> 'array[Any]':
        numbers: 'array[Any]' = array(typecode)
        count = self._read_size()
        # Some writers leave out the padding of an empty list; at the message's end nothing is lost.
        if count > 0 or not self.at_end:
            self._skip_padding(numbers.itemsize)
        size = count * numbers.itemsize
        at = self._take(size)
        self._afford(BOX_COST)
        numbers.frombytes(self._message[at:at + size])
        if sys.byteorder == 'big':
            numbers.byteswap()
        return numbers

    def _read_list(self) -> 'list[Any]':
        size = self._read_size()
        self._enter(size, BOX_COST + ELEMENT_COST * size)
        # No comprehension: to some versions each is one more call within the others.
        values = []
        for _ in range(size):
            values.append(self.read_value())
        self._nesting -= 1
        return values

    def _read_map(self) -> Union[Dict[Any, Any], Pairs]:
        size = self._read_size()
        self._enter(2 * size, BOX_COST + PAIR_COST * size)
        pairs = []
        for _ in range(size):
            key = self.read_value()
            pairs.append((key, self.read_value()))
        self._nesting -= 1
        if all(type(key) in PLAIN_KEYS for key, _ in pairs):
            entries = dict(pairs)
            if len(entries) == size:
                return entries
        return Pairs(pairs)

    def _enter(self, values: int, cost: int) -> None:
        """Begins a list or map of so many values, each of at least one byte."""
        self._require(values)
        self._nesting += 1
        if self._nesting > wire.MAXIMUM_NESTING:
            self.fail(f'more than {wire.MAXIMUM_NESTING} lists and maps lie within one another')
        self._afford(cost)

    def _afford(self, cost: int) -> None:
        if cost > self._affordable:
            self.fail('it would take many times its size in memory')
        self._affordable -= cost

    def _skip_padding(self, alignment: int) -> None:
        self._take(-self._offset % alignment)

    def _take(self, count: int) -> int:
        """Passes over the bytes and answers where they begin."""
        self._require(count)
        at = self._offset
        self._offset = at + count
        return at

    def _require(self, count: int) -> None:
        if count > len(self._message) - self._offset:
            self.fail('it ends too early')


READERS: Dict[int, Callable[[MessageReader], Any]] = {
    wire.NULL: lambda reader: None,
    wire.TRUE: lambda reader: True,
    wire.FALSE: lambda reader: False,
    wire.INT32: MessageReader._read_int32,
    wire.INT64: MessageReader._read_int64,
    wire.LARGE_INTEGER: MessageReader._read_large_integer,
    wire.FLOAT64: MessageReader._read_float64,
    wire.STRING: MessageReader._read_text,
    wire.BYTES: MessageReader._read_bytes,
    wire.INT32_LIST: lambda reader: reader._read_numbers('i'),
    wire.INT64_LIST: lambda reader: reader._read_numbers('q'),
    wire.FLOAT64_LIST: lambda reader: reader._read_numbers('d'),
    wire.LIST: MessageReader._read_list,
    wire.MAP: MessageReader._read_map,
    wire.FLOAT32_LIST: lambda reader: reader._read_numbers('f'),
}

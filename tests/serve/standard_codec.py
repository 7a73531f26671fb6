"""The standard method codec, as far as the tests need it."""
import struct


def encode(value):
    """A value as the standard codec has it."""
    if value is None:
        return b'\0'
    if isinstance(value, bool):
        return b'\1' if value else b'\2'
    if isinstance(value, int):
        return b'\4' + struct.pack('<q', value)
    if isinstance(value, str):
        text = value.encode()
        return b'\7' + size_of(len(text)) + text
    if isinstance(value, list):
        return b'\x0c' + size_of(len(value)) + b''.join(map(encode, value))
    if isinstance(value, dict):
        pairs = b''.join(encode(key) + encode(each) for key, each in value.items())
        return b'\x0d' + size_of(len(value)) + pairs
    raise TypeError(value)


def size_of(size):
    if size < 254:
        return bytes([size])
    if size < 65536:
        return b'\xfe' + struct.pack('<H', size)
    return b'\xff' + struct.pack('<I', size)


class Reader:
    """Takes values out of a message."""

    def __init__(self, message, at=0):
        self.message = message
        self.at = at

    def take(self, size):
        self.at += size
        return self.message[self.at - size:self.at]

    def size(self):
        first = self.take(1)[0]
        if first < 254:
            return first
        return struct.unpack('<H' if first == 254 else '<I', self.take(2 if first == 254 else 4))[0]

    def value(self):
        kind = self.take(1)[0]
        if kind < 3:
            return (None, True, False)[kind]
        if kind in (3, 4):
            return struct.unpack('<i' if kind == 3 else '<q', self.take(4 if kind == 3 else 8))[0]
        if kind == 6:
            self.at += -self.at % 8
            return struct.unpack('<d', self.take(8))[0]
        if kind == 7:
            return self.take(self.size()).decode()
        if kind == 8:
            return self.take(self.size())
        if kind == 12:
            return [self.value() for _ in range(self.size())]
        if kind == 13:
            return {self.value(): self.value() for _ in range(self.size())}
        raise AssertionError(f'kind {kind}')


def method_call(method, arguments=None):
    return encode(method) + encode(arguments)


class ErrorReply(Exception):
    """Code, message and details."""


class NotImplementedReply(Exception):
    """Nobody answers."""


def envelope(message):
    if not message:
        raise NotImplementedReply()
    reader = Reader(message, 1)
    if message[0] == 0:
        return reader.value()
    raise ErrorReply(reader.value(), reader.value(), reader.value())

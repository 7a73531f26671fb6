"""The standard message and method codec.

Decoding raises a MalformedMessageError for bytes that are no message, whatever they are, and
encoding an UnencodableValueError for a value that has no bytes. `quorvin.values` tells how values
look in Python.
"""
from dataclasses import dataclass
from typing import Any, Optional, Union

from ._message_reader import MessageReader
from ._message_writer import MessageWriter
from .values import Value

_SUCCESS = 0
_ERROR = 1


@dataclass(frozen=True)
class MethodCall:
    method: str
    arguments: Any = None


@dataclass(frozen=True)
class Success:
    result: Any


@dataclass(frozen=True)
class ErrorReply:
    code: str
    message: Optional[str] = None
    details: Any = None


Envelope = Union[Success, ErrorReply]


def encode_message(value: Value) -> bytes:
    writer = MessageWriter()
    writer.write_value(value)
    return writer.take()


def decode_message(message: bytes) -> Any:
    reader = MessageReader(bytes(message))
    value = reader.read_value()
    reader.expect_end()
    return value


def encode_method_call(call: MethodCall) -> bytes:
    writer = MessageWriter()
    writer.write_value(call.method)
    writer.write_value(call.arguments)
    return writer.take()


def decode_method_call(message: bytes) -> MethodCall:
    reader = MessageReader(bytes(message))
    method = reader.read_value()
    if not isinstance(method, str):
        reader.fail('the method is no text')
    call = MethodCall(method, reader.read_value())
    reader.expect_end()
    return call


def encode_envelope(envelope: Envelope) -> bytes:
    writer = MessageWriter()
    if isinstance(envelope, Success):
        writer.write_byte(_SUCCESS)
        writer.write_value(envelope.result)
    else:
        writer.write_byte(_ERROR)
        writer.write_value(envelope.code)
        writer.write_value(envelope.message)
        writer.write_value(envelope.details)
    return writer.take()


def decode_envelope(message: bytes) -> Envelope:
    """An empty message is no envelope: it says that nobody implements the method."""
    reader = MessageReader(bytes(message))
    envelope = _read_envelope(reader)
    reader.expect_end()
    return envelope


def _read_envelope(reader: MessageReader) -> Envelope:
    kind = reader.read_byte()
    if kind == _SUCCESS:
        return Success(reader.read_value())
    if kind == _ERROR:
        return _read_error(reader)
    reader.fail('it is neither a success nor an error')


def _read_error(reader: MessageReader) -> ErrorReply:
    code = reader.read_value()
    if not isinstance(code, str):
        reader.fail('the code of an error is no text')
    message = _read_text_or_none(reader)
    details = reader.read_value()
    # Some writers tell where the error came from.
    if not reader.at_end:
        _read_text_or_none(reader)
    return ErrorReply(code, message, details)


def _read_text_or_none(reader: MessageReader) -> Optional[str]:
    value = reader.read_value()
    if value is None or isinstance(value, str):
        return value
    reader.fail('a part of an error is no text')

"""What calls fail with."""
from .values import Value


class Error(Exception):
    """Everything that this package raises of its own."""


class QuorvinError(Error):
    """The plugin answered with an error. `docs/errors.md` of quorvin lists every message.

    `code` is 'Error' for everything that the plugin itself answers, `message` names the fault (''
    when the reply had none), and `details` is mostly None, or the reason as a sentence.
    """

    def __init__(self, code: str, message: str, details: Value = None) -> None:
        super().__init__(code, message, details)
        self.code = code
        self.message = message
        self.details = details

    def __str__(self) -> str:
        return self.message if self.details is None else f'{self.message}: {self.details}'


class MethodNotImplementedError(Error):
    """Nobody answers the method: there is no such one, or its work ended without a reply."""

    def __init__(self, channel: str, method: str) -> None:
        super().__init__(channel, method)
        self.channel = channel
        self.method = method

    def __str__(self) -> str:
        return f'Nobody answers the method "{self.method}" of the channel "{self.channel}".'


class OpenError(Error):
    """The library, or libquorvin itself, cannot be opened; the text says why."""


class LibraryClosedError(Error):
    """The library was closed before the call, or before its reply came."""


class WrongThreadError(Error):
    """A library is used on the thread, and with the event loop, that opened it."""


class MalformedMessageError(Error):
    """The bytes are no message of the codec; `offset` says where in it, in bytes."""

    def __init__(self, reason: str, offset: int) -> None:
        super().__init__(reason, offset)
        self.reason = reason
        self.offset = offset

    def __str__(self) -> str:
        return f'The message is malformed at byte {self.offset}: {self.reason}.'


class UnencodableValueError(Error, ValueError):
    """The codec has no bytes for the value. Nothing was sent."""


class UnexpectedReplyError(Error):
    """The reply is a message of the codec, but not what the method replies.

    `method` is the method, or the channel of an event, `path` where in the reply, as '[3].width'
    ('' for all of it), and `expected` what should be there.
    """

    def __init__(self, method: str, path: str, expected: str) -> None:
        super().__init__(method, path, expected)
        self.method = method
        self.path = path
        self.expected = expected

    def __str__(self) -> str:
        place = f' at {self.path}' if self.path else ''
        return f'The reply to "{self.method}"{place} should be {self.expected}.'

"""What C calls: the replies, messages and prompts of one engine."""
import ctypes
import itertools
from typing import Any, Callable, Dict, List, Optional

from . import _abi
from .arguments import Authorization

# Takes the message, or None when the library was closed first.
Reply = Callable[[Optional[bytes]], None]
Receiver = Callable[[str, bytes], None]

_LEAVES_THE_STATUS = -1
_KEEP = 0
_DELETE = 1


class Calls:
    """Who waits for what. Knows nothing of the engine, so that neither keeps the other alive."""

    def __init__(self, request_authorization: Optional[Callable[[], Authorization]],
                 confirm_deletion: Optional[Callable[[int], bool]]) -> None:
        self.closing = False
        self.receiver: Optional[Receiver] = None
        self._request_authorization = request_authorization
        self._confirm_deletion = confirm_deletion
        self._numbers = itertools.count(1)
        self._waiting: Dict[int, Reply] = {}
        self._raised: List[BaseException] = []

    def add(self, reply: Reply) -> int:
        """The number under which the reply comes, once."""
        number = next(self._numbers)
        self._waiting[number] = reply
        return number

    def raise_what_was_raised(self) -> None:
        if self._raised:
            first, self._raised = self._raised[0], []
            raise first

    def on_reply(self, message: Optional[int], size: int, number: int) -> None:
        # What the end leaves without an answer has no bytes, as has what nobody implements.
        ended = self.closing and size == 0
        self._guard(self._waiting.pop(number), None if ended else _bytes_at(message, size))

    def on_message(self, channel: bytes, message: Optional[int], size: int, _: Any) -> None:
        if self.receiver is not None:
            self._guard(self.receiver, channel.decode('utf-8', 'replace'), _bytes_at(message, size))

    def on_request(self, _: Any) -> int:
        status = self._guard(lambda: Authorization(_asked(self._request_authorization)()))
        return _LEAVES_THE_STATUS if status is None else int(status)

    def on_confirmation(self, count: int, _: Any) -> int:
        return _DELETE if self._guard(_asked(self._confirm_deletion), count) else _KEEP

    def _guard(self, function: Callable[..., Any], *arguments: Any) -> Any:
        """Nothing may be raised into C: it is kept, and raised behind it."""
        try:
            return function(*arguments)
        except BaseException as error:
            self._raised.append(error)
            return None


class Callbacks:
    """As functions of C. They live as long as the engine that has them."""

    def __init__(self, calls: Calls) -> None:
        self.reply = _abi.REPLY(calls.on_reply)
        self.message = _abi.MESSAGE(calls.on_message)
        self.request_authorization = _abi.REQUEST_AUTHORIZATION(calls.on_request)
        self.confirm_deletion = _abi.CONFIRM_DELETION(calls.on_confirmation)


def _asked(function: Optional[Callable[..., Any]]) -> Callable[..., Any]:
    assert function is not None, 'C was given the callback'
    return function


def _bytes_at(message: Optional[int], size: int) -> bytes:
    return ctypes.string_at(message, size) if message and size > 0 else b''

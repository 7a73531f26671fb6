"""One engine, as its thread uses it."""
import ctypes
import os
import threading
import warnings
from dataclasses import dataclass
from typing import Callable, Optional, Union

from . import _abi
from ._callbacks import Callbacks, Calls, Receiver, Reply
from .arguments import Authorization
from .errors import LibraryClosedError, OpenError, WrongThreadError

PathLike = Union[str, 'os.PathLike[str]']

AS_STORED = -1


@dataclass(frozen=True)
class EngineOptions:
    """What a library is opened with; `quorvin.open` tells of each."""

    library_path: Optional[PathLike] = None
    temporary_path: Optional[PathLike] = None
    system_version: Optional[str] = None
    authorization: Optional[Authorization] = None
    request_authorization: Optional[Callable[[], Authorization]] = None
    confirm_deletion: Optional[Callable[[int], bool]] = None
    libquorvin: Optional[PathLike] = None


class Engine:
    """Is used on the thread that made it, which closes it.

    What a callback of the application raises leaves `run`, `send` or `close`.
    """

    def __init__(self, options: EngineOptions) -> None:
        self._handle: Optional[int] = None
        self._thread = threading.current_thread()
        self._calls = Calls(options.request_authorization, options.confirm_deletion)
        self._callbacks = Callbacks(self._calls)
        file = options.libquorvin
        self._functions = _abi.load(None if file is None else os.fspath(file))
        self._handle = self._create(options)

    @property
    def closed(self) -> bool:
        return self._handle is None

    def fileno(self) -> int:
        """For poll: readable while `run` has work."""
        return int(self._functions.quorvin_engine_fd(self._open_handle()))

    def send(self, channel: str, message: bytes, reply: Reply) -> None:
        """The reply comes once: inside this, `run` or `close`."""
        handle = self._open_handle()
        number = self._calls.add(reply)
        self._functions.quorvin_engine_send(handle, channel.encode(), message, len(message),
                                            self._callbacks.reply, number)
        self._calls.raise_what_was_raised()

    def receive(self, receiver: Optional[Receiver]) -> None:
        """Sets who is told what the engine sends by itself."""
        handle = self._open_handle()
        self._calls.receiver = receiver
        callback = _abi.NO_MESSAGE if receiver is None else self._callbacks.message
        self._functions.quorvin_engine_receive(handle, callback, None)

    def run(self) -> None:
        """Runs what waits, and waits for nothing."""
        self._functions.quorvin_engine_run(self._open_handle(), 0)
        self._calls.raise_what_was_raised()

    def close(self) -> None:
        """Ends the engine. Who waits for a reply is told None. Again: does nothing."""
        self.check_thread()
        handle, self._handle = self._handle, None
        if handle is None:
            return
        self._calls.closing = True
        self._functions.quorvin_engine_destroy(handle)
        self._calls.receiver = None
        self._calls.raise_what_was_raised()

    def is_on_its_thread(self) -> bool:
        return threading.current_thread() is self._thread

    def check_thread(self) -> None:
        if not self.is_on_its_thread():
            raise WrongThreadError(
                f'The library was opened on the thread "{self._thread.name}" and is used there '
                f'alone, not on "{threading.current_thread().name}".')

    def __del__(self) -> None:
        if self._handle is None:
            return
        warnings.warn('A quorvin library was not closed.', ResourceWarning, stacklevel=2)
        # On another thread the engine cannot be ended, and stays.
        if self.is_on_its_thread():
            self.close()

    def _open_handle(self) -> int:
        self.check_thread()
        if self._handle is None:
            raise LibraryClosedError('The library is closed.')
        return self._handle

    def _create(self, options: EngineOptions) -> int:
        given = _abi.Options(struct_size=ctypes.sizeof(_abi.Options),
                             library_path=_encoded(options.library_path),
                             temporary_path=_encoded(options.temporary_path),
                             system_version=_encoded(options.system_version),
                             authorization=AS_STORED)
        if options.authorization is not None:
            given.authorization = Authorization(options.authorization)
        if options.request_authorization is not None:
            given.request_authorization = self._callbacks.request_authorization
        if options.confirm_deletion is not None:
            given.confirm_deletion = self._callbacks.confirm_deletion
        error = ctypes.c_void_p()
        handle = self._functions.quorvin_engine_create(ctypes.byref(given), ctypes.byref(error))
        if handle is not None:
            return int(handle)
        if error.value is None:
            raise MemoryError('There is no memory to open the library.')
        try:
            raise OpenError(ctypes.string_at(error.value).decode('utf-8', 'replace'))
        finally:
            self._functions.quorvin_free(error)


def _encoded(text: Optional[PathLike]) -> Optional[bytes]:
    return None if text is None else os.fsencode(text)

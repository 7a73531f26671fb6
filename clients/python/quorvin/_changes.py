"""The engine's event channel, and what holds its events until somebody asks."""
from collections import deque
from typing import Callable, Deque, List, Optional

from . import _requests as requests
from ._engine import Engine
from ._record_replies import change as read_change
from ._replies import read_reply
from .errors import Error
from .records import Change, incomplete_change


class ChangeQueue:
    """Holds at most `limit` changes. One more makes all of them one that is incomplete."""

    def __init__(self, limit: int) -> None:
        if limit < 1:
            raise ValueError(f'The limit of changes must be at least 1, and is {limit}.')
        self._limit = limit
        self._changes: Deque[Change] = deque()
        self._fault: Optional[Error] = None
        self.ended = False
        # Told whenever there may be something to take.
        self.on_news: Callable[[], None] = lambda: None

    def push(self, change: Change) -> None:
        if len(self._changes) == self._limit:
            self._changes.clear()
            change = incomplete_change(change.sequence)
        self._changes.append(change)
        self.on_news()

    def end(self, fault: Optional[Error] = None) -> None:
        """Ends behind what is held; the fault is raised there once."""
        self.ended = True
        self._fault = fault
        self.on_news()

    def drop(self) -> None:
        self._changes.clear()
        self._fault = None

    def take(self) -> Optional[Change]:
        """The next one; None when none is held."""
        if self._changes:
            return self._changes.popleft()
        fault, self._fault = self._fault, None
        if fault is not None:
            raise fault
        return None


class ChangeChannel:
    """Is listened to while there are queues."""

    def __init__(self, engine: Engine) -> None:
        self._engine = engine
        self._queues: List[ChangeQueue] = []

    def add(self, queue: ChangeQueue) -> None:
        """Tells the queue what is committed from now on."""
        if not self._queues:
            self._engine.receive(self._on_message)
        self._queues.append(queue)
        # Listening twice is one subscription; each queue learns so whether its own failed.
        request = requests.listen()

        def listening(reply: Optional[bytes]) -> None:
            try:
                request.result(reply)
            except Error as error:
                self._end([queue], error)

        self._engine.send(request.channel, request.message(), listening)

    def remove(self, queue: ChangeQueue) -> None:
        if queue not in self._queues:
            return
        self._queues.remove(queue)
        if self._queues or self._engine.closed:
            return
        self._engine.receive(None)
        request = requests.cancel()
        # Nobody is left who would want to know of a failure.
        self._engine.send(request.channel, request.message(), lambda reply: None)

    def end(self) -> None:
        """The library is closed: there will be no change any more."""
        queues, self._queues = self._queues, []
        for queue in queues:
            queue.end()

    def _on_message(self, channel: str, message: bytes) -> None:
        if channel != requests.CHANGE_CHANNEL:
            return
        try:
            change = read_reply(channel, requests.result_of(message), read_change)
        except Error as error:
            self._end(list(self._queues), error)
            return
        for queue in list(self._queues):
            queue.push(change)

    def _end(self, queues: List[ChangeQueue], error: Error) -> None:
        for queue in queues:
            if queue in self._queues:
                queue.end(error)
                self.remove(queue)

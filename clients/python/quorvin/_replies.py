"""How replies become types. What is of another shape raises a Mismatch."""
from typing import Any, Callable, Dict, List, NoReturn, Optional, Tuple, TypeVar

from .errors import UnexpectedReplyError

T = TypeVar('T')
E = TypeVar('E')
Read = Callable[[Any], T]
# Reads the entry of a map under a key.
At = Callable[[str, Callable[[Any], E]], E]

_MISSING = object()


class Mismatch(Exception):
    """The path grows from the inside out while it is raised."""

    def __init__(self, expected: str) -> None:
        super().__init__(expected)
        self.expected = expected
        self.path = ''


def read_reply(method: str, value: Any, read: Callable[[Any], T]) -> T:
    """Reads a reply of the method; raises an UnexpectedReplyError that says what is wrong where."""
    try:
        return read(value)
    except Mismatch as mismatch:
        path = mismatch.path[1:] if mismatch.path.startswith('.') else mismatch.path
        raise UnexpectedReplyError(method, path, mismatch.expected) from None


def _mismatch(expected: str) -> NoReturn:
    raise Mismatch(expected)


def anything(value: Any) -> Any:
    return value


def text(value: Any) -> str:
    return value if isinstance(value, str) else _mismatch('a text')


def boolean(value: Any) -> bool:
    return value if isinstance(value, bool) else _mismatch('a boolean')


def integer(value: Any) -> int:
    # A bool is an int to Python, and a large integer is none of 64 bits.
    return value if type(value) is int else _mismatch('an integer')


def double(value: Any) -> float:
    return value if isinstance(value, float) else _mismatch('a double')


def data(value: Any) -> bytes:
    return value if isinstance(value, bytes) else _mismatch('bytes')


def done(value: Any) -> None:
    """For methods that have nothing else to say."""
    return None if value is True else _mismatch('true')


def nothing(value: Any) -> None:
    return None if value is None else _mismatch('null')


def one_of(*values: T) -> Callable[[Any], T]:
    def read(value: Any) -> T:
        for one in values:
            if type(value) is type(one) and value == one:
                return one
        return _mismatch('one of ' + ', '.join(map(str, values)))
    return read


def or_none(read: Callable[[Any], T]) -> Callable[[Any], Optional[T]]:
    return lambda value: None if value is None else read(value)


def list_of(read: Callable[[Any], T]) -> Callable[[Any], List[T]]:
    def read_list(value: Any) -> List[T]:
        if not isinstance(value, list):
            _mismatch('a list')
        elements = []
        for index, element in enumerate(value):
            try:
                elements.append(read(element))
            except Mismatch as mismatch:
                mismatch.path = f'[{index}]{mismatch.path}'
                raise
        return elements
    return read_list


def tuple_of(read: Callable[[Any], T]) -> Callable[[Any], Tuple[T, ...]]:
    read_list = list_of(read)
    return lambda value: tuple(read_list(value))


def map_of(read: Callable[[Any], T]) -> Callable[[Any], T]:
    """Reads the entries of a map; `read` is given what asks for each by its key."""
    def read_map(value: Any) -> T:
        if not isinstance(value, dict):
            _mismatch('a map')
        entries: Dict[Any, Any] = value

        def at(key: str, read_entry: Callable[[Any], E]) -> E:
            try:
                return read_entry(entries.get(key, _MISSING))
            except Mismatch as mismatch:
                mismatch.path = f'.{key}{mismatch.path}'
                raise
        return read(at)
    return read_map

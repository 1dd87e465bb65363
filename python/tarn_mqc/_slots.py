"""How each kind of member is taken from a caller, checked, packed, and shown as JSON."""
from __future__ import annotations

import struct
from collections.abc import Mapping, Set
from itertools import islice
from operator import index
from typing import TYPE_CHECKING, Any, Iterable, Tuple, Type, Union

if TYPE_CHECKING:
    from ._record import Record

#: What an array of bytes is made from: bytes, hexadecimal ("00:11:22"), or numbers.
BytesLike = Union[bytes, bytearray, memoryview, str, Iterable[int]]

LETTERS = {1: "B", 2: "H", 4: "I"}


class Wrong(Exception):
    """A value that is refused: the exception to raise, and its text from the value's place on."""

    def __init__(self, kind: Type[Exception], words: str) -> None:
        self.kind = kind
        self.words = words

    def within(self, place: str) -> Wrong:
        return Wrong(self.kind, place + self.words)


def number(value: Any, maximum: int) -> int:
    if type(value) is not int:
        if isinstance(value, bool) or not hasattr(value, "__index__"):
            raise Wrong(TypeError, f": {type(value).__name__} where an integer belongs")
        value = index(value)
    if not 0 <= value <= maximum:
        shown = value if value.bit_length() <= 64 else f"a number of {value.bit_length()} bits"
        raise Wrong(OverflowError, f": {shown} is out of range, 0 to {maximum}")
    return int(value)


def elements(values: Any, count: int, what: str) -> Tuple[Any, ...]:
    """At most count of them: the values may be without end, but not without an order of their own."""
    if isinstance(values, (Mapping, Set)):
        raise Wrong(TypeError, f": {type(values).__name__} where {what} belong")
    try:
        taken = tuple(islice(values, count + 1))
    except TypeError:
        raise Wrong(TypeError, f": {type(values).__name__} where {what} belong") from None
    if len(taken) > count:
        raise too_long(count)
    return taken


def numbers(values: Any, count: int, maximum: int, what: str) -> Tuple[int, ...]:
    taken = elements(values, count, what)
    for place, value in enumerate(taken):
        try:
            number(value, maximum)
        except Wrong as wrong:
            raise wrong.within(f"[{place}]") from None
    return tuple(map(index, taken))


def too_long(count: int) -> Wrong:
    return Wrong(ValueError, f": more than {count} elements")


def octets_of(text: str) -> bytes:
    """From "00:11:22" or "001122"."""
    try:
        taken = bytes.fromhex(text.replace(":", ""))
        if text.lower() in (taken.hex(), taken.hex(":")):
            return taken
    except ValueError:
        pass
    raise Wrong(ValueError, f": {text[:40]!r} is not hexadecimal")


def octets(value: Any, count: int) -> bytes:
    if isinstance(value, str):
        value = octets_of(value)
    elif not isinstance(value, (bytes, bytearray, memoryview)):
        value = numbers(value, count, 255, "bytes")
    taken = bytes(value)
    if len(taken) > count:
        raise too_long(count)
    return taken


class Scalar:
    def __init__(self, width: int) -> None:
        self.maximum = (1 << 8 * width) - 1
        self.layout = LETTERS[width]
        self.words = f"0 to {self.maximum}"

    def zero(self) -> int:
        return 0

    def read(self, value: Any) -> int:
        return number(value, self.maximum)

    def plain(self, value: int) -> int:
        return value


class Octets:
    """An array of bytes."""

    def __init__(self, count: int) -> None:
        self.count = count
        self.layout = f"{count}s"
        self.words = f"{count} bytes"

    def zero(self) -> bytes:
        return bytes(self.count)

    def read(self, value: Any) -> bytes:
        return octets(value, self.count).ljust(self.count, b"\0")

    def plain(self, value: bytes) -> list[int]:
        return list(value)


class Buffer(Octets):
    """Bytes of any length. The record that goes to the library holds their length and address."""

    def __init__(self) -> None:
        super().__init__(0xFFFF_FFFF)
        self.words = "bytes of any length"

    def zero(self) -> bytes:
        return b""

    def read(self, value: Any) -> bytes:
        return octets(value, self.count)


class WordArray(Tuple[int, ...]):
    letter: str

    @property
    def packed(self) -> bytes:
        return struct.pack(f"={len(self)}{self.letter}", *self)


class HalfWords(WordArray):
    letter = LETTERS[2]


class FullWords(WordArray):
    letter = LETTERS[4]


class Words:
    """An array of numbers of 2 or 4 bytes."""

    def __init__(self, width: int, count: int) -> None:
        self.count = count
        self.maximum = (1 << 8 * width) - 1
        self.make = {2: HalfWords, 4: FullWords}[width]
        self.layout = f"{width * count}s"
        self.words = f"{count} numbers, 0 to {self.maximum}"

    def zero(self) -> WordArray:
        return self.make([0] * self.count)

    def read(self, value: Any) -> WordArray:
        taken = numbers(value, self.count, self.maximum, "numbers")
        return self.make(taken + (0,) * (self.count - len(taken)))

    def plain(self, value: WordArray) -> list[int]:
        return list(value)


class Nested:
    """A record within a record."""

    def __init__(self, record: Type[Record]) -> None:
        self.record = record
        self.words = record.__name__

    def zero(self) -> Record:
        return self.record()

    def read(self, value: Any) -> Record:
        if type(value) is self.record:
            return value
        if not isinstance(value, Mapping):
            raise Wrong(TypeError, f": {type(value).__name__} where {self.words} belongs")
        return self.record._of(value)

    def plain(self, value: Record) -> dict[str, Any]:
        return value.to_dict()


class RecordArray(Tuple["Record", ...]):
    @property
    def packed(self) -> bytes:
        return b"".join([record._pack() for record in self])


class NestedArray:
    """An array of records."""

    def __init__(self, record: Type[Record], size: int, count: int) -> None:
        self.one = Nested(record)
        self.count = count
        self.layout = f"{size * count}s"
        self.words = f"{count} of {record.__name__}"

    def zero(self) -> RecordArray:
        return RecordArray([self.one.zero() for _ in range(self.count)])

    def read(self, value: Any) -> RecordArray:
        taken = list(elements(value, self.count, "records"))
        for place, each in enumerate(taken):
            try:
                taken[place] = self.one.read(each)
            except Wrong as wrong:
                raise wrong.within(f"[{place}]") from None
        taken += [self.one.zero() for _ in range(self.count - len(taken))]
        return RecordArray(taken)

    def plain(self, value: RecordArray) -> list[dict[str, Any]]:
        return [record.to_dict() for record in value]


Slot = Union[Scalar, Octets, Buffer, Words, Nested, NestedArray]

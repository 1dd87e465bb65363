"""Records: the requests of the methods, and what they hold."""
from __future__ import annotations

import ctypes
import json
import struct
from operator import attrgetter
from typing import Any, Callable, ClassVar, Dict, Iterator, List, Mapping, Optional, Tuple, Type, TypeVar, Union

from ._slots import Buffer, BytesLike, Nested, NestedArray, Octets, Scalar, Slot, Words, Wrong

__all__ = ["BytesLike", "Record", "make"]

Self = TypeVar("Self", bound="Record")
#: Of a record's member: name, kind, bytes of an element, elements, offset, class of the record in it.
Member = Tuple[str, str, int, int, int, Optional[str]]


def once(pairs: List[Tuple[str, Any]]) -> Dict[str, Any]:
    """A JSON object, in which each name stands once."""
    fields: Dict[str, Any] = {}
    for name, value in pairs:
        if name in fields:
            raise ValueError(f"{name[:40]}: it stands twice in its object")
        fields[name] = value
    return fields


class Record:
    """A request, or a record within one.

    Fields are keyword arguments and attributes; those that are not named are zero. A field is checked when it is
    set: TypeError, ValueError or OverflowError states its place and what is wrong, and nothing has changed.

    Numbers are ints, arrays of bytes are bytes, other arrays are tuples; a shorter array is filled up with zeros.
    An array of bytes is also made from hexadecimal digits ("00:11:22:33:44:55") or from numbers, a record within a
    record from a dict. Records are equal when their classes and fields are. A record is not to be changed by one
    thread while another sends it.
    """

    #: The record's type in C.
    c_type: ClassVar[str]
    _size: ClassVar[int]
    _members: ClassVar[Tuple[Member, ...]]
    _slots: ClassVar[Dict[str, Slot]]
    _zeros: ClassVar[Dict[str, Any]]
    _nested: ClassVar[Tuple[str, ...]]
    _layout: ClassVar[struct.Struct]
    _values: ClassVar[Any]

    def __init__(self, /, **fields: Any) -> None:
        try:
            self.__dict__.update(self._read(fields))
        except Wrong as wrong:
            raise wrong.kind(type(self).__name__ + wrong.words) from None

    @classmethod
    def _read(cls, fields: Mapping[str, Any]) -> Dict[str, Any]:
        values = cls._zeros.copy()
        for name in cls._nested:
            if name not in fields:
                values[name] = cls._slots[name].zero()
        for name in fields:
            slot = cls._slots.get(name)
            if slot is None:
                raise Wrong(TypeError, cls._no_field(name))
            try:
                values[name] = slot.read(fields[name])
            except Wrong as wrong:
                raise wrong.within(f".{name}") from None
        return values

    @classmethod
    def _of(cls: Type[Self], fields: Mapping[str, Any]) -> Self:
        record = cls.__new__(cls)
        record.__dict__.update(cls._read(fields))
        return record

    @classmethod
    def _no_field(cls, name: Any) -> str:
        from difflib import get_close_matches

        [nearest] = get_close_matches(str(name), cls._slots, 1, 0)
        return f".{str(name)[:40]}: no such field, the nearest is {nearest}"

    def __setattr__(self, name: str, value: Any) -> None:
        slot = self._slots.get(name)
        if slot is None:
            raise AttributeError(type(self).__name__ + self._no_field(name))
        try:
            self.__dict__[name] = slot.read(value)
        except Wrong as wrong:
            raise wrong.kind(f"{type(self).__name__}.{name}{wrong.words}") from None

    def __delattr__(self, name: str) -> None:
        raise AttributeError(f"{type(self).__name__}.{name}: fields are not deleted")

    def __eq__(self, other: object) -> bool:
        if type(other) is not type(self):
            return NotImplemented
        return self.__dict__ == other.__dict__

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        zero = type(self)()
        fields = (f"{name}={value!r}" for name, value in self.__dict__.items() if value != zero.__dict__[name])
        return f"{type(self).__name__}({', '.join(fields)})"

    def to_dict(self) -> Dict[str, Any]:
        """Returns every field as what JSON can say; a buffer only if there are bytes in it."""
        values = {name: slot.plain(self.__dict__[name]) for name, slot in self._slots.items()}
        return {name: value for name, value in values.items()
                if value or not isinstance(self._slots[name], Buffer)}

    @classmethod
    def from_dict(cls: Type[Self], fields: Mapping[str, Any]) -> Self:
        """Makes a record from what to_dict() returns, or from some of its fields."""
        if not isinstance(fields, Mapping):
            raise TypeError(f"{cls.__name__}: {type(fields).__name__} where a dict belongs")
        try:
            return cls._of(fields)
        except Wrong as wrong:
            raise wrong.kind(cls.__name__ + wrong.words) from None

    def to_json(self, indent: Optional[int] = None) -> str:
        """Returns the JSON that tarn-inspect shows of the record's message; on one line, unless indented."""
        return json.dumps(self.to_dict(), indent=indent)

    @classmethod
    def from_json(cls: Type[Self], text: Union[str, bytes]) -> Self:
        """Makes a record from JSON; fields that are missing are zero. ValueError: a name that stands twice, too."""
        return cls.from_dict(json.loads(text, object_pairs_hook=once))

    def _pack(self) -> bytes:
        """The record as the library takes it."""
        return self._layout.pack(*self._values(self))


class Lending(bytes):
    """A packed record that holds the address of other bytes, and those."""

    lent: bytes


class LendingRecord(Record):
    """A record whose last field is a buffer."""

    def _pack(self) -> bytes:
        *values, lent = self._values(self)
        address = ctypes.cast(ctypes.c_char_p(lent), ctypes.c_void_p).value if lent else 0
        packed = Lending(self._layout.pack(*values, len(lent), address))
        packed.lent = lent
        return packed


def slot_of(member: Member, made: Mapping[str, Type[Record]]) -> Slot:
    _, kind, width, count, _, table = member
    if kind == "buffer":
        return Buffer()
    if table is not None:
        return Nested(made[table]) if kind == "table" else NestedArray(made[table], width, count)
    if kind == "scalar":
        return Scalar(width)
    return Octets(count) if width == 1 else Words(width, count)


def parts(record: Type[Record], prefix: str = "") -> Iterator[Tuple[str, str]]:
    """The record in memory, in pieces: the layout of each, and the attribute that it holds, if any."""
    place = 0
    for name, _, _, _, offset, _ in record._members:
        slot = record._slots[name]
        yield f"{offset - place}x", ""
        if isinstance(slot, Nested):
            yield from parts(slot.record, f"{prefix}{name}.")
            place = offset + slot.record._layout.size
        else:
            layout = f"I{-(offset + 4) % 8}xQ" if isinstance(slot, Buffer) else slot.layout
            yield layout, prefix + name + (".packed" if isinstance(slot, (Words, NestedArray)) else "")
            place = offset + struct.calcsize("=" + layout)
    yield f"{record._size - place}x", ""


def getter(names: List[str]) -> Callable[[Any], Tuple[Any, ...]]:
    if len(names) > 1:
        return attrgetter(*names)
    one = attrgetter(names[0])
    return lambda record: (one(record),)


def make(name: str, c_type: str, size: int, members: Tuple[Member, ...],
         made: Mapping[str, Type[Record]]) -> Type[Record]:
    """Makes the class of a record; those that it holds are made."""
    slots = {member[0]: slot_of(member, made) for member in members}
    nested = tuple(field for field, slot in slots.items() if isinstance(slot, (Nested, NestedArray)))
    base = LendingRecord if any(isinstance(slot, Buffer) for slot in slots.values()) else Record
    fields = "\n".join(f"    {field}: {slot.words}" for field, slot in slots.items())
    record: Type[Record] = type(name, (base,), {
        "__module__": f"{__package__}.records", "__doc__": f"{c_type}, {size} bytes.\n\n{fields}",
        "c_type": c_type, "_size": size, "_members": members, "_slots": slots, "_nested": nested,
        "_zeros": {field: None if field in nested else slot.zero() for field, slot in slots.items()}})
    pieces = list(parts(record))
    record._layout = struct.Struct("=" + "".join(layout for layout, _ in pieces))
    record._values = staticmethod(getter([field for _, field in pieces if field]))
    return record

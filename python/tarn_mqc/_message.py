"""Messages: encoded by the library, and read back."""
from __future__ import annotations

import ctypes
import struct
from typing import Any, Mapping, Type, Union

from ._library import loaded
from ._record import Record
from ._slots import Buffer, Nested, NestedArray, Octets, Scalar, Slot
from .methods import REQUESTS


class Cursor(ctypes.Structure):
    """What a compact encoder writes through."""

    _fields_ = [("output", ctypes.c_void_p), ("capacity", ctypes.POINTER(ctypes.c_uint32))]


def request_of(method: str) -> Type[Record]:
    request = REQUESTS.get(method)
    if request is None:
        raise ValueError(f"no method is called {method}")
    return request


def compact(method: str, record: Record) -> bytes:
    pack = loaded().descriptor(method).pack
    packed = record._pack()
    capacity = ctypes.c_uint32(pack(None, packed))
    if capacity.value == 0:
        raise ValueError(f"{method}: the message is longer than 32 bits can say")
    output = ctypes.create_string_buffer(capacity.value)
    cursor = Cursor(ctypes.addressof(output), ctypes.pointer(capacity))
    length = pack(ctypes.byref(cursor), packed)
    return output.raw[:length]


def fully(method: str, record: Record, fill: bytes) -> bytes:
    """The full encoding, its gaps as they were."""
    descriptor = loaded().descriptor(method)
    if not descriptor.full_size:
        raise ValueError(f"{method} has no full encoding")
    size = descriptor.full_size()
    output = ctypes.create_string_buffer(fill * size, size)
    descriptor.pack_full(output, record._pack())
    return output.raw


def encode(method: str, record: Union[Record, Mapping[str, Any]], full: bool = False) -> bytes:
    """Returns the message of a method's request, as the library encodes it.

    full: the full encoding; the bytes that it leaves open are zero.

    ValueError: no such method, no full encoding, a message longer than 32 bits can say. TypeError: another
    method's record.
    """
    request = request_of(method)
    if isinstance(record, Mapping):
        record = request.from_dict(record)
    if type(record) is not request:
        raise TypeError(f"{method} takes {request.__name__}, not {type(record).__name__}")
    return fully(method, record, b"\0") if full else compact(method, record)


def value_of(slot: Slot, table: Any, place: int) -> Any:
    """A slot's value, which the table has at the place."""
    from flatbuffers.table import Table  # type: ignore[import]

    if isinstance(slot, Scalar):
        return struct.unpack_from(f"<{slot.layout}", table.Bytes, table.Pos + place)[0]
    if isinstance(slot, Nested):
        return read(slot.record, Table(table.Bytes, table.Indirect(table.Pos + place)))
    start, count = table.Vector(place), table.VectorLen(place)
    if not isinstance(slot, Buffer) and count != slot.count:
        raise ValueError(f"{count} elements, not {slot.count}")
    if isinstance(slot, Octets):
        return table.Bytes[start:start + count]
    if isinstance(slot, NestedArray):
        return [read(slot.one.record, Table(table.Bytes, table.Indirect(start + 4 * i))) for i in range(count)]
    return struct.unpack_from(f"<{count}{slot.make.letter}", table.Bytes, start)


def read(record: Type[Record], table: Any) -> Record:
    """A table's record; if the table is damaged, another one or an exception."""
    fields = {}
    for i, (name, slot) in enumerate(record._slots.items()):
        place = table.Offset(4 + 2 * i)
        if place:
            fields[name] = value_of(slot, table, place)
    return record(**fields)


def is_full(method: str, record: Record, message: bytes) -> bool:
    """Whether that is the record's full encoding, whatever is in its gaps."""
    zeros, ones = fully(method, record, b"\0"), fully(method, record, b"\xff")
    return len(message) == len(zeros) and all(
        zero != one or byte == zero for byte, zero, one in zip(message, zeros, ones))


def decode(method: str, message: Union[bytes, bytearray, memoryview]) -> Record:
    """Returns the record of a method's message, in either encoding.

    ValueError: no such method, or not a whole message of it: encoding the record again yields other bytes.
    TypeError: no bytes.
    """
    from flatbuffers.table import Table

    request = request_of(method)
    whole = bytes(memoryview(message))  # a number would become that many zeros
    try:
        record = read(request, Table(whole, *struct.unpack_from("<I", whole)))
        if compact(method, record) == whole or is_full(method, record, whole):
            return record
    except (IndexError, OverflowError, TypeError, ValueError, struct.error):
        pass
    raise ValueError(f"not a whole message of {method}")

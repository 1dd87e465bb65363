"""Recordings of calls, as a recorded process, tarn-serve or the loopback writes them, read back."""
from __future__ import annotations

import os
import struct
import weakref
from array import array
from typing import BinaryIO, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union, overload

from ._message import decode
from ._record import Record
from ._status import Error, Status

__all__ = ["RecordedCall", "Recording", "RecordingError", "recording"]

Path = Union[str, "os.PathLike[str]"]
#: Of a file's head: order of bytes, and nanoseconds in the smaller unit of its times.
MAGIC = {b"\x4d\x3c\xb2\xa1": ("<", 1), b"\xa1\xb2\x3c\x4d": (">", 1),
         b"\xd4\xc3\xb2\xa1": ("<", 1000), b"\xa1\xb2\xc3\xd4": (">", 1000)}
PCAPNG = b"\n\r\r\n"
EXPORTED_PDU = 252
LONGEST_PACKET = 262_144
TEXT, END = 33, 0
VERSION = 1
VARIANTS = ("sync", "async", "oneway")


class RecordingError(Error):
    """What is wrong with a recording, and where."""

    def __init__(self, path: str, offset: int, words: str) -> None:
        super().__init__(path, offset, words)
        self.path = path
        #: In bytes from the beginning of the file.
        self.offset = offset
        self.words = words

    def __str__(self) -> str:
        return f"{self.path}, byte {self.offset}: {self.words}"


class RecordedCall(NamedTuple):
    """A call of a recording."""

    #: When it was made, in nanoseconds since 1970, as time.time_ns() has it.
    time_ns: int
    process: int
    thread: int
    #: Greater than those of the process's calls before.
    sequence: int
    method: str
    #: "sync", "async" or "oneway".
    variant: str
    #: The request as it was encoded; empty if the recording does not have it.
    message: bytes
    #: The message's bytes, also where the recording does not have them.
    size: int
    #: None: the recording does not have its end.
    status: Optional[Status]
    #: From the call to its end, of an asynchronous one to its callback.
    duration_ns: Optional[int]

    @property
    def request(self) -> Record:
        """The request, decoded. ValueError: no such method, or not a whole message of it."""
        return decode(self.method, self.message)


class Place(NamedTuple):
    """Where a packet is: the file, its offset and its length there."""

    file: int
    offset: int
    length: int


class Packet:
    """A packet of a recording: its words, and where its message begins."""

    def __init__(self, packet: bytes) -> None:
        place = 0
        text = b""
        while True:
            tag, length = struct.unpack_from(">HH", packet, place)
            place += 4
            if tag == END:
                break
            if tag == TEXT:
                text = packet[place:place + length].rstrip(b"\0")
            place += length
        self.words = text.decode().split(" ")
        self.message = packet[place:]

    @property
    def process(self) -> int:
        return int(self.words[4])

    @property
    def key(self) -> Tuple[int, int]:
        """Process and sequence, which a call's packets have in common."""
        return self.process, int(self.words[1])


class File:
    """A file's packets."""

    def __init__(self, path: str) -> None:
        self.path = path
        self.descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC)
        weakref.finalize(self, os.close, self.descriptor)
        head = os.pread(self.descriptor, 24, 0)
        if head.startswith(PCAPNG):
            raise RecordingError(path, 0, "pcapng, which this package does not read: editcap -F nsecpcap converts it")
        if len(head) < 24 or head[:4] not in MAGIC:
            raise RecordingError(path, 0, "no pcap file")
        self.order, self.unit = MAGIC[head[:4]]
        link = self.unpack("I", head, 20) & 0xFFFF
        if link != EXPORTED_PDU:
            raise RecordingError(path, 20, f"link type {link}, not {EXPORTED_PDU}")

    def unpack(self, layout: str, head: bytes, place: int) -> int:
        return int(struct.unpack_from(self.order + layout, head, place)[0])

    def packets(self) -> Iterator[Tuple[int, int, bytes]]:
        """Of each packet its offset, its time and its bytes."""
        with open(os.dup(self.descriptor), "rb", 1 << 20) as file:
            offset = file.seek(24)
            head = struct.Struct(self.order + "4I")
            while start := file.read(16):
                if len(start) < 16:
                    raise RecordingError(self.path, offset, "the packet is cut")
                seconds, rest, length, _ = head.unpack(start)
                yield offset + 16, seconds * 1_000_000_000 + rest * self.unit, self.body(file, offset, length)
                offset += 16 + length

    def body(self, file: BinaryIO, offset: int, length: int) -> bytes:
        if length > LONGEST_PACKET:
            raise RecordingError(self.path, offset, f"a packet of {length} bytes")
        packet = file.read(length)
        if len(packet) < length:
            raise RecordingError(self.path, offset, "the packet is cut")
        return packet


class Recording(Sequence[RecordedCall]):
    """The calls of a recording, in the order in which they were made.

    It is read through when it is made, and of each call only the place is kept: messages are read again when they
    are asked for. A damaged file has the calls before its damage, after which iterating raises a RecordingError.
    """

    #: How many packets the process could not write.
    missing: int
    #: How many packets are not those of a recording.
    others: int

    def __init__(self, paths: Sequence[Path]) -> None:
        self.missing = self.others = 0
        self._files = [File(os.fspath(path)) for path in paths]
        self._times, self._ends, self._statuses = array("Q"), array("Q"), array("I")
        self._places: List[array[int]] = [array("I"), array("Q"), array("I")]
        self._parts: Dict[int, List[Place]] = {}
        self._open: Dict[Tuple[int, int], int] = {}
        self._damage: Optional[RecordingError] = None
        try:
            for number, file in enumerate(self._files):
                for offset, time, packet in file.packets():
                    self._take(Place(number, offset, len(packet)), time, packet)
        except RecordingError as damage:
            self._damage = damage

    def _take(self, place: Place, time: int, bytes_of: bytes) -> None:
        try:
            packet = Packet(bytes_of)
            kind = packet.words[0]
            if kind in VARIANTS:
                self._begin(packet, place, time)
            elif kind == "end":
                status = array("I", [int(packet.words[8])])
                call = self._open.pop(packet.key, None)
                if call is not None:
                    self._ends[call], self._statuses[call] = time, status[0]
            elif kind == "part":
                call = self._open.get(packet.key)
                if call is not None:
                    self._parts.setdefault(call, []).append(place)
            elif kind == "missing":
                self.missing += int(packet.words[1])
            elif kind != "begin":
                self.others += 1
            elif int(packet.words[1]) != VERSION:
                words = f"a recording of version {packet.words[1]}, not {VERSION}"
                raise RecordingError(self._files[place.file].path, place.offset - 16, words)
        except (IndexError, OverflowError, ValueError, struct.error):
            self.others += 1

    def _begin(self, packet: Packet, place: Place, time: int) -> None:
        int(packet.words[6] + packet.words[8])  # if that is no number, the packet is another's
        self._open[packet.key] = len(self._times)
        for column, number in zip(self._places, place):
            column.append(number)
        self._times.append(time)
        self._ends.append(0)
        self._statuses.append(0)

    def _packet(self, place: Place) -> Packet:
        return Packet(os.pread(self._files[place.file].descriptor, place.length, place.offset))

    def _call(self, index: int) -> RecordedCall:
        packet = self._packet(Place(*(column[index] for column in self._places)))
        message = bytearray(packet.message)
        for part in map(self._packet, self._parts.get(index, ())):
            if int(part.words[8]) == len(message):  # otherwise one before it is missing
                message += part.message
        time, end = self._times[index], self._ends[index]
        status = Status(self._statuses[index]) if end else None
        return RecordedCall(
            time, packet.process, int(packet.words[6]), int(packet.words[1]), packet.words[2], packet.words[0],
            bytes(message), int(packet.words[8]), status, end - time if end else None)

    def __len__(self) -> int:
        return len(self._times)

    @overload
    def __getitem__(self, index: int) -> RecordedCall: ...

    @overload
    def __getitem__(self, index: slice) -> List[RecordedCall]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[RecordedCall, List[RecordedCall]]:
        places = range(len(self))[index]
        return [*map(self._call, places)] if isinstance(places, range) else self._call(places)

    def __iter__(self) -> Iterator[RecordedCall]:
        yield from map(self._call, range(len(self)))
        if self._damage is not None:
            raise self._damage


def recording(path: Path, *more: Path) -> Recording:
    """Reads a recording of calls.

    path, more: its files, the oldest first, such as "calls-1", "calls". Each is a pcap file; what is pcapng is
    converted with editcap -F nsecpcap.

    OSError: a file cannot be opened. RecordingError: one is no recording.
    """
    return Recording([path, *more])

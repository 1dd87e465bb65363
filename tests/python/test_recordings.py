"""Recordings of the loopback's, read back and sent again, and files that are none."""
import ctypes
import os
import struct
import threading
import time

import pytest

import tarn_mqc

PARTED, LEFT_OUT = 1 << 20, 17 << 20
#: How the loopback ends calls; not asynchronous ones.
STATUS, COMPLETION = 0, 9


@pytest.fixture
def record(tmp_path):
    """Starts a recording of that name."""
    loopback = ctypes.CDLL(os.environ["LOOPBACK"])

    def start(name):
        assert loopback.TarnLoopback_reset() == 0
        loopback.TarnLoopback_setCompletionStatus(COMPLETION)
        assert loopback.TarnLoopback_setRecording(os.fsencode(tmp_path / name)) == 0
        return tmp_path / name

    yield start
    loopback.TarnLoopback_reset()


def requests():
    for method, request in tarn_mqc.REQUESTS.items():
        first, *_ = vars(request())
        yield method, request.from_dict({first: 77} if isinstance(getattr(request(), first), int) else {})
    for size in PARTED, LEFT_OUT:
        yield "ProcMqcBatchMsg", tarn_mqc.BrkBatchMsg(f1=3, f3=bytes(range(256)) * (size >> 8))


def send(mqc, variant, method, request):
    call = getattr(mqc, method)
    if variant == "async":
        return call.submit(request).result()
    return call(request) if variant == "sync" else call.oneway(request)


def test_a_recording_has_every_call_and_can_be_sent_again(record):
    path, begin, expected = record("calls"), time.time_ns(), []
    with tarn_mqc.connect() as mqc:
        for variant in "sync", "async", "oneway":
            for method, request in requests():
                expected.append((variant, method, request, send(mqc, variant, method, request)))
    calls = tarn_mqc.recording(path)
    assert len(calls) == len(expected) and calls.missing == calls.others == 0
    for number, (call, (variant, method, request, status)) in enumerate(zip(calls, expected), start=1):
        message = tarn_mqc.encode(method, request)
        assert (call.sequence, call.variant, call.method, call.size) == (number, variant, method, len(message))
        assert call.message == (message if len(message) < LEFT_OUT else b"")
        assert call.status == status == (COMPLETION if variant == "async" else STATUS)
        assert (call.process, call.thread) == (os.getpid(), threading.get_native_id())
        assert begin <= call.time_ns <= call.time_ns + call.duration_ns <= time.time_ns()
        assert not call.message or call.request == request
        begin = call.time_ns
    assert calls[-1].sequence == calls[3:][-1].sequence == len(calls)

    again = record("again")
    with tarn_mqc.connect() as mqc:
        for call in calls:
            if call.message:
                send(mqc, call.variant, call.method, call.request)
    assert [call[4:9] for call in tarn_mqc.recording(again)] == [call[4:9] for call in calls if call.message]


def packet(text, message=b""):
    tags = b"".join(struct.pack(">HH", tag, len(value)) + value
                    for tag, value in ((12, b"data"), (33, text.ljust((len(text) + 3) // 4 * 4, b"\0")), (0, b"")))
    return struct.pack("<4I", 5, 6, len(tags + message), len(tags + message)) + tags + message


def test_what_is_damaged_cut_or_no_recordings_is_told_apart(record, tmp_path):
    path = record("calls")
    with tarn_mqc.connect() as mqc:
        for number in 1, 2:
            mqc.sendRuleMac(f3=number)
    whole = path.read_bytes()
    end = b"end 2 sendRuleMac process 7 thread 8 status "
    more = [packet(b"missing 3 process 7"), packet(b"missing 2 process 7"), packet(b"another's", b"\1"), b"\0" * 16,
            packet(end + b"1"), packet(b"sync 2 sendRuleMac process 7 thread 8 bytes 1", b"\1"), packet(end + b"no"),
            packet(b"sync 3 sendRuleMac process 7 thread 8 bytes x", b"\1"),
            packet(b"sync 4 a process 7 thread 8 bytes 3", b"\1"), packet(b"part 4 a process 7 thread 8 from 2", b"\3"),
            packet(b"end 4 a process 7 thread 8 status 4294967296"), packet(b"end 4 a process 7 thread 8 status 8")]
    path.write_bytes(whole + b"".join(more))
    calls = tarn_mqc.recording(path)
    assert (len(calls), calls.missing, calls.others) == (4, 5, 5)
    assert (calls[3].message, calls[3].status) == (b"\1", 8)
    assert calls[2].status is calls[2].duration_ns is None and calls[2].time_ns == 5_000_000_006
    with pytest.raises(ValueError, match="not a whole message of sendRuleMac"):
        calls[2].request

    offsets, place = [], 24
    while place < len(whole):
        offsets.append(place)
        place += 16 + struct.unpack_from("<I", whole, place + 8)[0]
    for size in range(offsets[3] + 1, len(whole)):
        path.write_bytes(whole[:size])
        calls, seen = tarn_mqc.recording(path), []
        if size in offsets:
            seen = [*calls]
        else:
            with pytest.raises(tarn_mqc.RecordingError, match="cut") as error:
                seen.extend(calls)
            assert error.value.offset == max(offset for offset in offsets if offset < size)
        assert [call.status for call in seen] == [0, None][:1 + (size >= offsets[4])]
    path.write_bytes(whole[:offsets[3]] + b"\xff" * 20)
    with pytest.raises(tarn_mqc.RecordingError, match=f"^{path}, byte {offsets[3]}: a packet of 4294967295 bytes$"):
        [*tarn_mqc.recording(path)]

    path.write_bytes(whole.replace(b"begin 1", b"begin 2"))
    with pytest.raises(tarn_mqc.RecordingError, match="byte 24: a recording of version 2, not 1"):
        [*tarn_mqc.recording(path)]

    for head, words in ((b"", "no pcap"), (whole[:23], "no pcap"), (b"\n\r\r\n", "pcapng"),
                        (whole[:20] + b"\1\0\0\0", "byte 20: link type 1, not 252")):
        path.write_bytes(head)
        with pytest.raises(tarn_mqc.RecordingError, match=words):
            tarn_mqc.recording(path)
    with pytest.raises(OSError):
        tarn_mqc.recording(tmp_path / "absent")


def test_files_of_another_machine_and_several(record, tmp_path):
    path, other = record("calls"), tmp_path / "other"
    with tarn_mqc.connect() as mqc:
        mqc.sendRuleMac(f3=1)
    whole, place = path.read_bytes(), 24
    swapped = struct.pack(">IHHiIII", 0xA1B2C3D4, *struct.unpack_from("<HHiIII", whole, 4))
    while place < len(whole):
        seconds, rest, size, _ = struct.unpack_from("<4I", whole, place)
        swapped += struct.pack(">4I", seconds, rest // 1000, size, size) + whole[place + 16:place + 16 + size]
        place += 16 + size
    other.write_bytes(swapped)
    [first, second] = tarn_mqc.recording(path, other)
    assert first[1:9] == second[1:9] and first.time_ns // 1000 * 1000 == second.time_ns

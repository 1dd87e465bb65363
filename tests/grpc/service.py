"""A service that keeps what it receives and answers as instructed, over unary calls and streams.

usage: PYTHONPATH=MODULES ADDRESS=ADDRESS service.py DIR ANSWER [CERTIFICATE]

Listens at the ADDRESS once there is DIR/ready. A line of DIR/received is a message: sequence number, method,
bytes as hexadecimal pairs; a line of DIR/streams is a stream's call: sequence number, variant, the numbers of
the stream and of the message that it came in.
ANSWER is the status, or a fault; "unwell": status 0, but its health is NOT_SERVING. With a CERTIFICATE, the
name of a pair of files in DIR, it speaks TLS with clients that DIR/ca.crt signed. MODULES is the folder with
flatc's code of mqc_stream.fbs; INSTANCE in the environment is the instance number.
"""

import ctypes
import itertools
import os
import struct
import sys
import threading
import time
from concurrent import futures

import flatbuffers
import grpc
from mqc import MqcAnswer, MqcAnswers, MqcCalls


def reply(status):
    """Root offset, padding, vtable of one field, table with the vtable's distance and the field."""
    return struct.pack("<I2xHHHiI", 12, 6, 8, 4, 6, status)


WITHOUT_FIELD = struct.pack("<IHHi", 8, 4, 4, 4)
UNALIGNED = struct.pack("<I2xHHHi2xI", 12, 6, 10, 6, 6, 7)
LONGEST = {"unary": 1 << 16, "stream": 1 << 20}  # answers that a caller takes, in bytes
REFUSALS = {"refuse": (grpc.StatusCode.PERMISSION_DENIED, "not\nyou\u202e"),
            "cancel": (grpc.StatusCode.CANCELLED, "")}


def damaged(answer, way, message, count):
    """The message, or the bytes that stand for it."""
    if answer == "cut":  # by one byte more at each
        return message[:count]
    faults = {"empty": b"", "garbage": b"\xff" * 40, "absent": WITHOUT_FIELD, "unaligned": UNALIGNED,
              "large": message.ljust(LONGEST[way], b"\0"), "huge": message.ljust(LONGEST[way] + 1, b"\0")}
    return faults.get(answer, message)


def answers(instance, *ends):
    """A message to the caller; an end is sequence number, status, code, reason."""
    builder = flatbuffers.Builder(0)
    made = []
    for sequence, status, code, reason in ends:
        text = builder.CreateString(reason)
        MqcAnswer.Start(builder)
        MqcAnswer.AddSequence(builder, sequence)
        MqcAnswer.AddStatus(builder, status)
        MqcAnswer.AddCode(builder, code)
        MqcAnswer.AddReason(builder, text)
        made.append(MqcAnswer.End(builder))
    MqcAnswers.StartAnswersVector(builder, len(made))
    for end in reversed(made):
        builder.PrependUOffsetTRelative(end)
    vector = builder.EndVector()
    MqcAnswers.Start(builder)
    MqcAnswers.AddInstance(builder, instance)
    MqcAnswers.AddAnswers(builder, vector)
    builder.Finish(MqcAnswers.End(builder))
    return bytes(builder.Output())


def calls_in(message):
    """Of each call in a message: sequence number, method, variant, bytes."""
    calls = MqcCalls.MqcCalls.GetRootAs(message)
    for call in map(calls.Calls, range(calls.CallsLength())):
        place = call._tab.Vector(call._tab.Offset(10))
        yield call.Sequence(), call.Method().decode(), call.Variant(), message[place:place + call.MessageLength()]


class Service(grpc.GenericRpcHandler):
    def __init__(self, folder, answer):
        self.answer = answer
        self.status = {"cut": 7, "large": 9, "huge": 9}.get(answer, int(answer) if answer.isdigit() else 0)
        self.instance = int(os.environ.get("INSTANCE", time.time_ns()))
        self.count, self.lock = itertools.count(), threading.Lock()
        self.skips = itertools.chain([0, 1] * 10, itertools.repeat(1))
        self.streams, self.messages = itertools.count(), itertools.count()
        self.received, self.travelled = (open(os.path.join(folder, name), "a", encoding="ascii")
                                         for name in ("received", "streams"))

    def service(self, details):
        method = details.method
        if method.startswith("/grpc.health.v1.Health/"):
            return grpc.unary_stream_rpc_method_handler(self.health) if method.endswith("/Watch") \
                else grpc.unary_unary_rpc_method_handler(lambda *_: next(self.health()))
        if self.answer == "unknown":
            return None
        if method == "/MqcFesIntf/stream":
            return grpc.stream_stream_rpc_method_handler(self.stream)
        sequence = dict(details.invocation_metadata)["mqc-sequence"]

        def serve(request, context):
            self.keep(self.received, f"{sequence} {method} {request.hex(' ').upper()} ")
            return self.reply(context, int(sequence))

        return grpc.unary_unary_rpc_method_handler(serve)

    def health(self, _=None, watcher=None):
        yield b"\x08\x02" if self.answer == "unwell" else b"\x08\x01"
        gone = threading.Event()
        if watcher.add_callback(gone.set):
            gone.wait()

    def keep(self, file, line):
        with self.lock:
            file.write(line + "\n")
            file.flush()

    def wait(self, sequence):
        if self.answer == "slow":
            time.sleep(0.2 if sequence == 3 else 0.1)
        if self.answer == "late":
            time.sleep(0.5)

    def reply(self, context, sequence):
        self.wait(sequence)
        if self.answer in REFUSALS:
            context.abort(*REFUSALS[self.answer])
        return damaged(self.answer, "unary", reply(self.status), next(self.count))

    def stream(self, messages, context):
        """Sound, but for: "nogreeting" (the first message has instance 0), "brief" (it is the only one), "leave" and
        "expel" (the stream ends with OK or RESOURCE_EXHAUSTED when calls have arrived, all unanswered), and those
        of ends()."""
        yield answers(0 if self.answer == "nogreeting" else self.instance)
        if self.answer == "brief":
            return
        waiting, stream = [], next(self.streams)
        for message in messages:
            place = next(self.messages)
            for sequence, method, variant, request in calls_in(message):
                self.keep(self.received, f"{sequence} /MqcFesIntf/{method} {request.hex(' ').upper()} ")
                self.keep(self.travelled, f"{sequence} {variant} {stream} {place}")
                waiting.append(sequence)
            if self.answer == "leave":
                return
            if self.answer == "expel":
                context.abort(grpc.StatusCode.RESOURCE_EXHAUSTED, "no\nroom")
            sequences = self.due(waiting)
            for sequence in sequences:
                self.wait(sequence)
                yield damaged(self.answer, "stream", answers(0, *self.ends(sequence)), next(self.count))

    def due(self, waiting):
        """Takes out the calls to be answered now: "mute" answers none, "skip" every second one of twenty,
        "backwards" three or more at a time, the last first."""
        if self.answer == "mute" or self.answer == "backwards" and len(waiting) < 3:
            return []
        sequences, waiting[:] = waiting[:], []
        if self.answer == "skip":
            return [sequence for sequence in sequences if next(self.skips)]
        return sequences[::-1] if self.answer == "backwards" else sequences

    def ends(self, sequence):
        """A call's: "twice" has two, "stranger" that of a call which nobody made, "odd" a code that gRPC
        does not have."""
        code, reason = REFUSALS.get(self.answer, (grpc.StatusCode.OK, ""))
        number = 99 if self.answer == "odd" else code.value[0]
        place = sequence + 1_000_000 if self.answer == "stranger" else sequence
        return [(place, self.status, number, reason)] * (2 if self.answer == "twice" else 1)


def read(*path):
    with open(os.path.join(*path), "rb") as file:
        return file.read()


def main():
    folder, answer, *certificate = sys.argv[1:]
    ctypes.CDLL(None).prctl(1, 9)  # no longer than the test, even when stopped
    server = grpc.server(futures.ThreadPoolExecutor(300),
                         options=[("grpc.max_receive_message_length", -1)])
    server.add_generic_rpc_handlers([Service(folder, answer)])
    address = os.environ["ADDRESS"]
    if certificate:
        pair = read(folder, certificate[0] + ".key"), read(folder, certificate[0] + ".crt")
        server.add_secure_port(address, grpc.ssl_server_credentials(
            [pair], read(folder, "ca.crt"), require_client_auth=True))
    else:
        server.add_insecure_port(address)
    server.start()
    open(os.path.join(folder, "ready"), "wb").close()
    server.wait_for_termination(300)


main()

"""Callers of the stream, good ones and others: stream_test.py SCENARIO TARGET MESSAGE [ARGUMENT]

MESSAGE is the file of a rule MAC request, which the service answers with status 0.
"""
import itertools
import os
import random
import signal
import struct
import sys
import time

import grpc
from flatbuffers.table import Table
from mqc.MqcCalls import MqcCalls
from stream import Stream, calls

name, target, path, *more = sys.argv[1:]
good = open(path, "rb").read()
channel = grpc.insecure_channel(target)
damaged = "INVALID_ARGUMENT: damaged envelope"


def expect(found, expected, what):
    if found != expected:
        sys.exit(f"stream_test.py: {what}: {found}, expected {expected}")


def rules(start, number, message=good):
    return calls(*((sequence, "sendRuleMac", message) for sequence in range(start, start + number)))


def patched(message, place, number):
    changed = bytearray(message)
    struct.pack_into("<I", changed, place, number)
    return bytes(changed)


def entry(message, call):
    """The place of a call's entry in the vector of calls."""
    table = MqcCalls.GetRootAs(message)._tab
    return table.Vector(table.Offset(4)) + 4 * call


def field(message, call, slot):
    """The place of a call's field."""
    place = entry(message, call)
    table = Table(message, place + struct.unpack_from("<I", message, place)[0])
    return table.Pos + table.Offset(4 + 2 * slot)


def faults():
    """Whatever is wrong with calls, each is answered, the others are acted on, and the stream goes on."""
    three = rules(20, 3)
    longer = calls((30, "sendRuleMac", bytes(1000)), (31, "sendRuleMac", good))
    far = field(longer, 0, 3)
    far += struct.unpack_from("<I", longer, far)[0]  # the first message, which the second is to share
    near = field(longer, 1, 3)
    stream = Stream(channel)
    for message, expected in (
            (b"", [(1, damaged)]),
            (b"\xff" * 40, [(2, damaged)]),
            (rules(3, 2), [(3, 0), (4, 0)]),
            (rules(4, 2), [(4, "INVALID_ARGUMENT: out of sequence"), (5, 0)]),
            (rules(0, 1), [(0, "INVALID_ARGUMENT: out of sequence")]),
            (calls((6, "sendNothing", good), (7, None, good)),
             [(6, "UNIMPLEMENTED: no such method"), (7, "UNIMPLEMENTED: no such method")]),
            (calls((8, "sendRuleMac", None)), [(8, "INVALID_ARGUMENT: no message")]),
            (calls((9, "sendRuleMac", good[:60])), [(9, "INVALID_ARGUMENT: damaged request")]),
            (patched(rules(10, 1), 0, 0x7FFFFFFF), [(10, damaged)]),
            (calls() + calls(), []),
            (patched(three, field(three, 1, 1), 0x7FFFFFFF), [(20, 0), (21, damaged), (22, 0)]),
            (patched(rules(23, 3), entry(three, 1), 0x7FFFFFFF), [(23, 0), (24, damaged), (25, 0)]),
            (patched(rules(10, 1), field(rules(10, 1), 0, 1), 0x7FFFFFFF), [(26, damaged)]),
            (patched(longer, near, far - near), [(30, "INVALID_ARGUMENT: damaged request"), (31, damaged)]),
            (rules(40, 1), [(40, 0)])):
        stream.send(message)
        expect(stream.answers(len(expected)), expected, message.hex())
    expect(stream.end(), ([], "OK", ""), "the end")


def mutants():
    """However an envelope is damaged or cut, the stream ends with OK."""
    random.seed(20261)
    whole = rules(1, 3)
    for number in range(300):
        message = bytearray(whole[:random.randrange(len(whole))] if number % 3 == 0 else whole)
        for place in random.sample(range(len(message)), min(len(message), number % 4)):
            message[place] = random.randrange(256)
        stream = Stream(channel)
        stream.send(bytes(message))
        stream.send(patched(rules(1, 1), field(rules(1, 1), 0, 0) + 4, 0xFFFFFFFF))
        answers, *end = stream.end()
        expect(end, ["OK", ""], message.hex())
        expect(answers[-1:], [(0xFFFFFFFF00000001, 0)], message.hex())


def damage():
    """However messages in the files of the arguments are damaged, each is answered or refused, as by itself."""
    random.seed(20261)
    requests, outcomes = [], []
    for number, file in zip(range(400), itertools.cycle(more)):
        message = bytearray(open(file, "rb").read())
        if number % 4 == 0:
            del message[random.randrange(len(message)):]
        for _ in range(random.randrange(1, 4)):
            if message:
                message[random.randrange(min(len(message), 96 if number % 2 else 4096))] = random.randrange(256)
        requests.append((number + 1, file.split("-", 1)[1].split(".")[0], bytes(message)))
    stream = Stream(channel)
    for number, method, message in requests:
        call = channel.unary_unary("/MqcFesIntf/" + method).future(message, timeout=60)
        outcomes.append(f"{call.code().name}: {call.details()}" if call.code() != grpc.StatusCode.OK else 0)
    for start, end in ((0, 1), (1, 9), (9, 400)):
        stream.send(calls(*requests[start:end]))
    expect(stream.answers(400), [*enumerate(outcomes, start=1)], "answers over the stream")
    refused = outcomes.count("INVALID_ARGUMENT: damaged request")
    if not 100 < refused == 400 - outcomes.count(0):
        sys.exit(f"stream_test.py: {refused} messages are refused, {outcomes.count(0)} answered")


def flood():
    """A caller that does not read: others are answered, its calls are kept back, and answered in the end. As the
    argument, a file in which the service lists the calls that it has handled."""
    each, number = 1000, 60
    listed = lambda: open(more[0]).read().count(" sendRuleMac ")
    before = listed() if more else 0
    # gRPC takes in little of what is not read.
    options = [("grpc.http2.bdp_probe", 0), ("grpc.http2.lookahead_bytes", 65536)]
    stream = Stream(grpc.insecure_channel(target, options=options))
    for start in range(1, each * number, each):
        stream.send(rules(start, each, b""))
    beside = Stream(channel)
    beside.send(rules(1, 1))
    expect(beside.answers(1), [(1, 0)], "another caller")
    if more:
        handled = -1
        while handled < 10_000 or handled < listed() - before:
            handled = listed() - before
            time.sleep(0.3)
        if not 10_000 < handled < each * number:
            sys.exit(f"stream_test.py: {handled} calls of a caller that does not read are handled")
    answers, *end = stream.end()
    expect([number for number, _ in answers], [*range(1, each * number + 1)], "answers")
    expect([{outcome for _, outcome in answers}, *end],
           [{"INVALID_ARGUMENT: damaged request"}, "OK", ""], "all calls of a caller that did not read")


def end():
    """As the argument, the service's process, which is ended: what has arrived is answered; what only waits is no
    reason to wait."""
    idle, busy = Stream(channel), Stream(channel)
    watch = channel.unary_stream("/grpc.health.v1.Health/Watch")(b"", timeout=60)
    expect(next(watch), b"\x08\x01", "the health")
    busy.send(rules(1, 200))
    first = busy.answers(1)
    os.kill(int(more[0]), signal.SIGTERM)
    answers, *ended = busy.rest()
    expect([number for number, _ in first + answers], [*range(1, 201)], "answers")
    expect(ended, ["UNAVAILABLE", "the service ends"], "a busy stream")
    expect(idle.rest(), ([], "UNAVAILABLE", "the service ends"), "an idle stream")
    expect(watch.code(), grpc.StatusCode.UNAVAILABLE, "a watch")


def health():
    """Served, and streams of one service have one instance, not 0."""
    expect(channel.unary_unary("/grpc.health.v1.Health/Check")(b"", timeout=60), b"\x08\x01", "the health")
    instances = {Stream(channel).instance for _ in range(2)}
    if len(instances) != 1 or 0 in instances:
        sys.exit(f"stream_test.py: instances {instances}")
    print(*instances)


globals()[name]()

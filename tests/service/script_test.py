"""Callers of a service whose answers are late: script_test.py SCENARIO TARGET OUTPUT PROCESS MESSAGES

OUTPUT is the file in which the service, of that process, lists calls; MESSAGES the folder with a file of each request.
"""
import functools
import glob
import os
import signal
import sys
import time

import grpc
from flatbuffers.number_types import Uint32Flags
from flatbuffers.table import Table
from stream import TIMEOUT, Stream, calls

name, target, output, process, folder = sys.argv[1:]
channel = grpc.insecure_channel(target)
ended = ("UNAVAILABLE", "the service ends")


def expect(found, expected, what):
    if found != expected:
        sys.exit(f"script_test.py: {what}: {found}, expected {expected}")


@functools.cache
def message(method):
    with open(sorted(glob.glob(f"{folder}/*-{method}.compact.bin"))[0], "rb") as file:
        return file.read()


def start(method):
    return channel.unary_unary("/MqcFesIntf/" + method).future(message(method), timeout=TIMEOUT)


def outcome(call):
    """Its status, or gRPC's code and the reason."""
    if call.code() != grpc.StatusCode.OK:
        return call.code().name, call.details()
    reply = Table(call.result(), int.from_bytes(call.result()[:4], "little"))
    return reply.GetSlot(4, 0, Uint32Flags)


def rows(*methods):
    return calls(*((number, method, message(method)) for number, method in enumerate(methods, start=1)))


def listed(words):
    with open(output) as file:
        return file.read().count(words)


def await_listed(number, words):
    until(lambda: listed(words) >= number, f"{number} lines with {words}")


def until(happens, what):
    end = time.monotonic() + 120
    while not happens():
        if time.monotonic() > end:
            sys.exit(f"script_test.py: {what}: not within two minutes")
        time.sleep(0.02)


def end():
    """Late answers are overtaken. At the end of the caller's side they are waited for, at that of the service they
    are sent; a call without an answer ends with the service."""
    late, dropped, idle = start("qos_group_port"), start("match_any_oper"), Stream(channel)
    idle.send(rows("match_any_oper"))
    begin = time.monotonic()
    stream = Stream(channel)
    stream.send(rows("qos_group_port", "match_any_oper", "act_redirect_nhp", "match_all_oper"))
    expect(sorted(stream.answers(2)), [(3, 0), (4, "DATA_LOSS: as scripted")], "answers that overtake")
    expect(outcome(start("match_all_oper")), ("DATA_LOSS", "as scripted"), "an error")
    expect(outcome(start("act_redirect_nhp")), 0, "a late answer")
    if time.monotonic() < begin + 0.3:
        sys.exit("script_test.py: late answers are early")
    half = Stream(channel)
    half.send(rows("act_redirect_nhp", "match_any_oper", "act_redirect_nhp"))
    expect(half.end(), ([(1, 0), (3, 0)], "OK", ""), "the end of the caller's side")
    second = start("qos_group_port")
    await_listed(3, "-> 6 +3600000 ms")
    os.kill(int(process), signal.SIGTERM)
    expect(stream.rest(), ([(1, 6)], *ended), "a stream at the end")
    expect(idle.rest(), ([], *ended), "a stream without answers at the end")
    expect([outcome(call) for call in (late, second, dropped)], [6, 6, ended], "calls at the end")


def flood():
    """Of the calls of a stream so many wait for their time as may wait for a reader. The others are handled when the
    caller has gone, or at the end, when all are answered."""
    number, most = 15_000, 10_000
    message = rows(*["qos_group_port"] * number)
    for before in 0, number:
        stream = Stream(channel)
        stream.send(message)
        await_listed(before + most, "+3600000 ms")
        time.sleep(0.3)
        expect(listed("+3600000 ms"), before + most, "calls that are handled")
        if before == 0:
            stream.call.cancel()
            await_listed(number, "+3600000 ms")
    os.kill(int(process), signal.SIGTERM)
    expect(stream.rest(), ([(call, 6) for call in range(1, number + 1)], *ended), "answers at the end")


def memory():
    """Messages of which calls wait are among those that have 512 MiB together; one too many ends a stream."""
    most = 10_000
    small = [(number, "qos_group_port", message("qos_group_port")) for number in range(1, most + 1)]
    long = calls(*small, (most + 1, "qos_group_port", bytes(60 << 20)))
    streams = [Stream(channel) for _ in range(16)]

    def ends():
        return {stream.call.code().name for stream in streams if stream.call.done()}

    for sent, stream in enumerate(streams, start=1):
        stream.send(long)
        until(lambda least=most * sent: ends() or listed("+3600000 ms") >= least, "a stream's calls, or an end")
        if ends():
            break
    expect(ends(), {"RESOURCE_EXHAUSTED"}, "ends of streams with a GiB of messages")
    os.kill(int(process), signal.SIGTERM)


def places():
    """A caller that has gone leaves its place at once, whatever answer was to come, and none is recorded. Ten thousand
    are answered at the end."""
    def takes_place():
        call = start("qos_group_port")
        until(lambda: call.done() or listed("+3600000 ms") > 10_000, "a call's line, or its end")
        if not call.done():
            late.append(call)
        return not call.done()

    full = ("RESOURCE_EXHAUSTED", "too many calls are open")
    stream = Stream(channel)
    stream.send(rows("qos_group_port"))
    late = [start("qos_group_port") for _ in range(9_999)]
    await_listed(10_000, "+3600000 ms")
    expect(outcome(start("sendRuleMac")), full, "a call too many")
    stream.call.cancel()
    until(takes_place, "the place of a stream")
    expect(outcome(start("sendRuleMac")), full, "a call too many")
    late[0].cancel()
    until(lambda: outcome(start("sendRuleMac")) == 6, "the place of a call")
    os.kill(int(process), signal.SIGTERM)
    expect({outcome(call) for call in late[1:]}, {6}, "ten thousand calls at the end")


globals()[name]()

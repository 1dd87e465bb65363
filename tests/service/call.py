"""Sends captured messages as they are and prints a line for each: method, then the reply's status or
gRPC's code. TARN_GRPC_CA, _CERT, _KEY: PEM files for TLS.

With TARN_CALL_GZIP they are compressed; with TARN_CALL_STREAM they travel over a stream, in messages of one, two,
three ... calls. usage: call.py TARGET FILE...
"""
import os
import re
import sys

import grpc
from flatbuffers.number_types import Uint32Flags
from flatbuffers.table import Table

COMPRESSION = grpc.Compression.Gzip if "TARN_CALL_GZIP" in os.environ else None


def channel(target):
    files = [os.environ.get("TARN_GRPC_" + name) for name in ("CA", "KEY", "CERT")]
    if files[0] is None:
        return grpc.insecure_channel(target)
    pem = [path and open(path, "rb").read() for path in files]
    return grpc.secure_channel(target, grpc.ssl_channel_credentials(*pem))


def status_in(reply):
    table = Table(reply, int.from_bytes(reply[:4], "little"))
    place = table.Offset(4)
    return table.Get(Uint32Flags, table.Pos + place) if place else 0


def read(path):
    """Method and message."""
    with open(path, "rb") as file:
        return re.match(r"\d+-(\w+)\.", os.path.basename(path)).group(1), file.read()


def call(connection, method, message, sequence):
    send = connection.unary_unary("/MqcFesIntf/" + method)
    try:
        reply = send(message, timeout=10, compression=COMPRESSION, metadata=[("mqc-sequence", str(sequence))])
        return f"{method} {status_in(reply)}"
    except grpc.RpcError as error:
        return f"{method} {error.code().name}"


def call_over_stream(connection, requests):
    stream = Stream(connection)
    rows = [(number, *request) for number, request in enumerate(requests, start=1)]
    size = 1
    while rows:
        stream.send(calls(*rows[:size]))
        rows, size = rows[size:], size + 1
    answers, *end = stream.end()
    if [number for number, _ in answers] != [*range(1, len(requests) + 1)] or end != ["OK", ""]:
        sys.exit(f"call.py: {end}, {answers}")
    for (method, _), (_, outcome) in zip(requests, answers):
        print(method, str(outcome).split(":")[0])


requests = [read(path) for path in sys.argv[2:]]
with channel(sys.argv[1]) as connection:
    if os.environ.get("TARN_CALL_STREAM"):
        from stream import Stream, calls

        call_over_stream(connection, requests)
    else:
        for number, request in enumerate(requests, start=1):
            print(call(connection, *request, number))

"""Sends captured messages as they are and prints a line for each: method, then the reply's status or
gRPC's code. TARN_GRPC_CA, _CERT, _KEY: PEM files for TLS.

With TARN_CALL_GZIP they are compressed. usage: call.py TARGET FILE...
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


def call(connection, path, sequence):
    method = re.match(r"\d+-(\w+)\.", os.path.basename(path)).group(1)
    send = connection.unary_unary("/MqcFesIntf/" + method)
    with open(path, "rb") as file:
        message = file.read()
    try:
        reply = send(message, timeout=10, compression=COMPRESSION, metadata=[("mqc-sequence", str(sequence))])
        return f"{method} {status_in(reply)}"
    except grpc.RpcError as error:
        return f"{method} {error.code().name}"


with channel(sys.argv[1]) as connection:
    for number, path in enumerate(sys.argv[2:], start=1):
        print(call(connection, path, number))

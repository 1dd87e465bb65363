"""A service that keeps what it receives and answers as instructed; without generated code.

usage: service.py DIR ANSWER [CERTIFICATE]

Listens on DIR/socket once there is DIR/ready. A line of DIR/received is a message: sequence number,
method, bytes as hexadecimal pairs. ANSWER is the status, or a fault. With a CERTIFICATE, the
name of a pair of files in DIR, it speaks TLS with clients that DIR/ca.crt signed.
"""

import ctypes
import itertools
import os
import struct
import sys
import threading
import time
from concurrent import futures

import grpc


def reply(status):
    """Root offset, padding, vtable of one field, table with the vtable's distance and the field."""
    return struct.pack("<I2xHHHiI", 12, 6, 8, 4, 6, status)


WITHOUT_FIELD = struct.pack("<IHHi", 8, 4, 4, 4)
UNALIGNED = struct.pack("<I2xHHHi2xI", 12, 6, 10, 6, 6, 7)


class Service(grpc.GenericRpcHandler):
    def __init__(self, folder, answer):
        self.answer = answer
        self.count, self.lock = itertools.count(), threading.Lock()
        self.received = open(os.path.join(folder, "received"), "a", encoding="ascii")

    def service(self, details):
        if self.answer == "unknown":
            return None
        method = details.method
        sequence = dict(details.invocation_metadata)["mqc-sequence"]

        def serve(request, context):
            self.keep(f"{sequence} {method} ", request)
            return self.reply(context, sequence)

        return grpc.unary_unary_rpc_method_handler(serve)

    def keep(self, head, request):
        with self.lock:
            self.received.write(head + request.hex(" ").upper() + " \n")
            self.received.flush()

    def reply(self, context, sequence):
        if self.answer == "refuse":
            context.abort(grpc.StatusCode.PERMISSION_DENIED, "not\nyou\u202e")
        if self.answer == "cancel":
            context.abort(grpc.StatusCode.CANCELLED, "")
        if self.answer == "slow":
            time.sleep(0.2 if sequence == "3" else 0.1)
            return reply(0)
        if self.answer == "cut":  # by one byte more at each call
            return reply(7)[:next(self.count)]
        faults = {"empty": b"", "garbage": b"\xff" * 40, "absent": WITHOUT_FIELD,
                  "unaligned": UNALIGNED, "large": reply(9).ljust(1 << 16, b"\0"),
                  "huge": reply(9).ljust((1 << 16) + 1, b"\0")}
        return faults[self.answer] if self.answer in faults else reply(int(self.answer))


def read(*path):
    with open(os.path.join(*path), "rb") as file:
        return file.read()


def main():
    folder, answer, *certificate = sys.argv[1:]
    ctypes.CDLL(None).prctl(1, 9)  # no longer than the test, even when stopped
    server = grpc.server(futures.ThreadPoolExecutor(32),
                         options=[("grpc.max_receive_message_length", -1)])
    server.add_generic_rpc_handlers([Service(folder, answer)])
    address = "unix:" + os.path.join(folder, "socket")
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

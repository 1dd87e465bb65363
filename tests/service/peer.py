"""Peers of a service, or readers of its output, that are no good ones. Those that wait go on at SIGUSR1.

usage: peer.py silent TARGET N        connects N times, says so, and waits
       peer.py hostile SOCKET MESSAGE two calls with escape characters, in the path and in mqc-sequence; waits
       peer.py send TARGET FILE...    calls with messages as they are, compressed from files *.gzip.bin; prints gRPC's codes
       peer.py garbage TARGET N       connects N times, says what is no protocol, and reads to the end
       peer.py chatter TARGET N       N calls of a method with a long name
       peer.py reader FIFO            opens it, waits, and copies all that is read to stdout
       peer.py terminal COMMAND...    runs the command at a terminal, waits, and closes it
"""
import fcntl
import os
import pty
import signal
import socket
import sys


def wait():
    signal.sigwait({signal.SIGUSR1})


def connected(target):
    if not target.startswith("unix:"):
        return socket.create_connection(("127.0.0.1", int(target.rpartition(":")[2])))
    peer = socket.socket(socket.AF_UNIX)
    peer.connect(target[5:])
    return peer


def silent(target, number):
    peers = [connected(target) for _ in range(int(number))]
    print(len(peers), "peers are silent", flush=True)
    wait()


def frame(kind, flags, stream, body):
    return len(body).to_bytes(3, "big") + bytes([kind, flags]) + stream.to_bytes(4, "big") + body


def hostile(target, path):
    def call(stream, method, sequence):
        fields = {":method": "POST", ":scheme": "http", ":path": "/MqcFesIntf/" + method, ":authority": "test",
                  "te": "trailers", "content-type": "application/grpc", "mqc-sequence": sequence,
                  "mqc-variant": "\33[2J"}
        texts = [text.encode() for field in fields.items() for text in field]
        head = b"".join((b"" if i % 2 else b"\0") + bytes([len(text)]) + text for i, text in enumerate(texts))
        return frame(1, 4, stream, head) + frame(0, 1, stream, b"\0" + len(message).to_bytes(4, "big") + message)

    with open(path, "rb") as file:
        message = file.read()
    with connected(target) as peer:
        peer.sendall(b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + frame(4, 0, 0, b"") + call(1, "\33[2J", "1") +
                     call(3, "sendRuleMac", "1\33[2J"))
        wait()


def send(target, *paths):
    import grpc

    with grpc.insecure_channel(target) as channel:
        for path in paths:
            method = os.path.basename(path).split("-")[1].split(".")[0]
            with open(path, "rb") as file:
                call = channel.unary_unary("/MqcFesIntf/" + method).future(
                    file.read(), timeout=60, compression=grpc.Compression.Gzip if ".gzip." in path else None)
            print(method, call.code().name)


def garbage(target, number):
    for _ in range(int(number)):
        with connected(target) as peer:
            peer.sendall(b"no protocol\r\n" * 9)
            try:
                while peer.recv(4096):
                    pass
            except ConnectionResetError:
                pass


def chatter(target, number):
    import grpc

    with grpc.insecure_channel(target) as channel:
        send = channel.unary_unary("/" + "x" * 6000)
        calls = [send.future(b"", timeout=60) for _ in range(int(number))]
        print(sum(call.code() == grpc.StatusCode.UNIMPLEMENTED for call in calls), "calls are answered")


def reader(fifo):
    with open(fifo, "rb") as file:
        fcntl.fcntl(file, fcntl.F_SETPIPE_SZ, 4096)
        wait()
        while part := os.read(file.fileno(), 4096):
            sys.stdout.buffer.write(part)
            sys.stdout.buffer.flush()


def terminal(*command):
    process, master = pty.fork()
    if process == 0:
        os.execvp(command[0], command)
    wait()
    os.close(master)
    sys.exit(os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]))


signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1})
globals()[sys.argv[1]](*sys.argv[2:])

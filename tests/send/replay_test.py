"""Recorded calls, made again: replay_test.py SEND RECORD SEND_ALL. Reads and writes recordings by itself."""

import json
import os
import random
import re
import struct
import subprocess
import sys
import time

send, record, send_all = sys.argv[1:]
random.seed(20261)
inspect = os.path.join(os.path.dirname(send), "tarn-inspect")
loopback = [send, "--platform", "libtarn_loopback.so"]
most = {"u8": 0xFF, "u16": 0xFFFF, "u32": 0xFFFFFFFF}


def check(holds, *what):
    if not holds:
        sys.exit("replay: " + " ".join(map(str, what))[:2000])


def run(*arguments, status=0, input=None, **variables):
    """What a program prints, and its lines on stderr."""
    done = subprocess.run(arguments, capture_output=True, text=True, input=input, env=os.environ | variables)
    check(done.returncode == status, arguments[:9], "ends with", done.returncode, done.stdout, done.stderr)
    return done.stdout, done.stderr.replace("tarn-send: ", "").splitlines()


def recorded(path, *arguments, **options):
    return run(*arguments, LD_PRELOAD=record, TARN_RECORD=path, **options)


def packets(path):
    """Each packet as its time in nanoseconds, the tag of its dissector, its words and its message."""
    data, found = open(path, "rb").read()[24:], []
    while data:
        seconds, nanoseconds, size, _ = struct.unpack_from("<4I", data)
        body, data = data[16:16 + size], data[16 + size:]
        first = 4 + struct.unpack_from(">H", body, 2)[0]
        second = first + 4 + struct.unpack_from(">H", body, first + 2)[0]
        words = body[first + 4:second].rstrip(b"\0").decode().split()
        found.append([seconds * 10**9 + nanoseconds, body[:first], words, body[second + 4:]])
    return found


def written(path, packets, cut=0):
    data = [struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 252)]
    for nanoseconds, dissector, words, message in packets:
        text = " ".join(words).encode()
        text += bytes(-len(text) % 4)
        body = dissector + struct.pack(">HH", 33, len(text)) + text + bytes(4) + message
        data += struct.pack("<4I", *divmod(nanoseconds, 10**9), len(body), len(body)), body
    data = b"".join(data)
    open(path, "wb").write(data[:len(data) - cut])
    return path


def requests(*paths):
    """The recorded requests in their order: variant, method, bytes."""
    kinds = ("sync", "async", "oneway", "part")
    return [(words[0], words[2], message) for path in paths for _, _, words, message in packets(path)
            if words[0] in kinds]


def replay(*arguments, **options):
    return run(*loopback, "--replay", *arguments, **options)


def differences(expected, *arguments):
    """Of a replay that is checked: the lines are these."""
    shown, said = replay(*arguments, "--check", status=1 if expected else 0)
    check(re.fullmatch("".join(line + "\n" for line in expected), shown), arguments, "differs in", shown)
    count = "%d difference%s from what is recorded" % (len(expected), "s" * (len(expected) != 1))
    check("--dry-run" in arguments or said[-1] == count, arguments, "says", *said)


# Every method in each variant, and with numbers of every width in every field; a batch of several packets.
recorded("all", send_all)
methods, files = run(send, "--methods")[0].split()[::2], ["all"]
for method in methods:
    values, batch = [], "{}"
    for field, kind, array in re.findall(r"(\S+) (u\d+)(.*)", run(send, "--fields", method)[0]):
        count = int(array.strip("[]") or 1)
        if array == "[]":
            batch = json.dumps({field: random.randbytes(300_000).hex()})
        elif array and kind == "u8":
            values.append(field + "=" + random.randbytes(count).hex())
        else:
            numbers = [random.choice((0, random.randint(1, most[kind]))) for _ in range(count)]
            values.append(field + "=" + ",".join(map(str, numbers)))
    recorded(method, *loopback, "--async", method, "-", *values, input=batch)
    files.append(method)
check(len(requests(*files)) == 4 * len(methods) + 1, "recorded are", len(requests(*files)), "packets")
shown, said = recorded("again", *loopback, "--replay", *files)
check(requests("again") == requests(*files), "other requests are sent than were recorded")
calls = 4 * len(methods)
check(said == ["%d of %d requests sent: %d with status 0" % (calls, calls, calls)], "the sum is", *said)
check(sorted(json.loads(line)["call"] for line in shown.splitlines()) == list(range(1, calls + 1)), "answers are", shown)
differences([], *files)
differences([], *files[:9], *[word for file in files[9:] for word in ("--replay", file)], "--dry-run")
replay("sendRuleMac", "match_any_oper", "--dry-run", "--output", os.mkdir("kept") or "kept")
check([open("kept/" + name, "rb").read() for name in sorted(os.listdir("kept"))] ==
      [message for _, _, message in requests("sendRuleMac", "match_any_oper")], "a dry run keeps other messages")
load = json.loads(replay(*files, "--load", "--count", "440", "--json")[0])
check(load["calls"] == 440 and load["statuses"][0]["status"] == 0, "a load of recordings is", load)

# What differs: a status, but not one that was not recorded; a message, but not what the full encoding leaves open.
recorded("rule", *loopback, "sendRuleMac", "f3=37", "f1=010203040506")
begin, request, end = packets("rule")
_, dissector, words, message = request
number = message.rindex(b"\x25")
other = message[:number] + b"\0" + message[number + 1:]
run(*loopback, "--dry-run", "--full", "--output", "full", "sendRuleMac", "f3=37", "f1=010203040506")
full = open("full", "rb").read()


def call(sequence, status, message=message, at=0, size=None, method="sendRuleMac", variant="sync"):
    words = [variant, str(sequence), method, *request[2][3:-1], str(len(message) if size is None else size)]
    ended = [request[0] + at, end[1], ["end", str(sequence), method, *end[2][3:-1], str(status)], end[3]]
    return [[request[0] + at, dissector, words, message]] + [ended] * (status is not None)


differences(["2 sendRuleMac: status 0 \\(success\\), recorded 9"],
            written("statuses", call(1, 0) + call(2, 9) + call(3, None) + call(4, 0, full) +
                    call(5, 0, full[:-1] + b"\1")))
differences(["1 sendRuleMac: the message differs from \\+06 on; it has 72 bytes, the recorded one 73",
             "1 sendRuleMac: status 0 \\(success\\), recorded 5", "2 sendRuleMac: status 0 \\(success\\), recorded 6"],
            written("both", call(1, 5, other) + call(2, 6)))
differences(["1 sendRuleMac: the message differs from \\+06 on.*"], "both", "--dry-run")

# What cannot be sent: nothing is then, unless the rest shall be.
outside = message[:4] + b"\xff" + message[5:]
for words, bad, cut in (("call 2, sendRuleMac: 70 of 73 bytes are recorded", call(2, 0, message[:70], size=73), 0),
                        ("call 2, sendRuleMac: 0 of 73 bytes are recorded", call(2, 0, b"", size=73), 0),
                        ("call 2, sendRuleMac: \\+[0-9A-F]+: .*", call(2, 0, outside), 0),
                        ("call 2, sendRuleMac: it had no request, .*", call(2, 22, b"", size=0), 0),
                        ("call 2, sendRulMac: no such method; .*", call(2, 0, method="sendRulMac"), 0),
                        ("damaged at byte [0-9]+, behind 3 packets: .*", call(2, 0), 1)):
    written("bad", call(1, 0) + bad + ([] if cut else call(3, 0)), cut)
    shown, said = replay("bad", status=2)
    check(shown == "" and len(said) == 1 and re.fullmatch("bad: " + words, said[0]), words, "shows", *said)
    shown, said = replay("bad", "--keep-going", status=1)
    check(shown.count('"status":0') == 2 and re.fullmatch("bad: " + words, said[0]), words, "keeps", shown, *said)

written("foreign", call(1, 0) + call(2, 0, variant="sink")[:1] * 2 + call(3, 0))
check(replay("foreign")[1] == ["foreign: 2 packets are of no recording, and left out; the first is packet 3",
                               "2 of 2 requests sent: 2 with status 0"], "foreign packets are sent")

# What differs between two recordings: variants, bytes that are not recorded, not what the full encoding leaves open.
written("before", call(1, 0) + call(2, 0, full) + call(3, 0, b"", size=20))
written("after", call(1, 0, variant="async") + call(2, 0, full[:-1] + b"\1") + call(3, 0, b"", size=30))
check(run(inspect, "--diff", "before", "after", status=1)[0] ==
      "sendRuleMac: call 1, then call 1\n  variant: sync, then async\n"
      "sendRuleMac: call 3, then call 3\n  bytes: others, of which no fields are known\n"
      "equal 1, changed 2, dropped 0, added 0\n", "recordings differ otherwise")

# Calls that were made are not kept in memory.
run(*loopback, "--dry-run", "--output", "batch", "ProcMqcBatchMsg", "-",
    input=json.dumps({"f3": "07" * 200_000}))
batch = open("batch", "rb").read()


def most_memory(calls):
    """Of a replay, in kilobytes, as a small process sees it: where it began counts, too."""
    path = written("long", [packet for number in range(1, calls) for packet in
                            call(number, 0, batch, method="ProcMqcBatchMsg")])
    program = "import os, sys; print(os.wait4(os.spawnv(os.P_NOWAIT, sys.argv[1], sys.argv[1:]), 0)[2].ru_maxrss)"
    shown, said = run(sys.executable, "-c", program, *loopback, "--replay", path, "--check",
                      ASAN_OPTIONS="detect_leaks=0:quarantine_size_mb=1")
    check(said[-1] == "0 differences from what is recorded", "a replay of long messages says", *said)
    return int(shown)


few, many = most_memory(10), most_memory(300)
check(many - few < 30_000, "replays of few and of many long messages take", few, many, "KB")

# Of the calls only some.
mixed = written("mixed", call(1, 0) + call(2, 9, at=10**9) + call(3, None) + call(4, 9, other) + [
    [*packet[:2], [packet[2][0], "7", *packet[2][2:]], packet[3]] for packet in packets("match_any_oper")[1:]])
for chosen, arguments in (((4,), ("--method", "sendRuleMac", "--status", "9", "--where", "f3 == 0")),
                          ((2, 4), ("--failed",)), ((3,), ("--status", "none")), ((5,), ("--method", "match_any_oper")),
                          ((1, 2, 3), ("--where", "f3 > 0x24", "--where", "f3 < 38"))):
    shown, said = replay("mixed", *arguments)
    check([json.loads(line)["call"] for line in shown.splitlines()] == list(chosen), arguments, "choose", shown)
for words, *arguments in (("--where 'g3 == 1': no method of the recording has that number; .*", "--where", "g3 == 1"),
                          ("--where 'f3': not FIELD, .*", "--where", "f3"), ("--status x: .*", "--status", "x"),
                          ("mixed: no request to send", "--status", "8"),
                          ("--method sendRulMac: no such method; the nearest is sendRuleMac", "--method", "sendRulMac")):
    shown, said = replay("mixed", *arguments, status=2)
    check(re.match(words, said[0]) and shown == "", arguments, "are reported as", shown, *said)
for arguments in ("--check sendRuleMac", "--failed sendRuleMac", "--replay mixed --async", "--replay mixed --speed 0",
                  "--replay mixed --file mixed", "--replay mixed --load --check", "--replay mixed --dry-run"):
    shown, said = run(*loopback, *arguments.split(), status=2)
    check(shown == "" and len(said) == 1, arguments, "are reported as", shown, *said)
check(replay("/dev/null", status=2)[1][0].startswith("/dev/null: "), "an empty file is a recording")

# At a multiple of the recorded pace, also behind a clock that was set back.
gaps = written("gaps", call(1, 0) + call(2, 0, at=10**9) + call(3, 0, at=-10**14) + call(4, 0, at=-10**14 + 10**9))
start = time.time_ns()
recorded("paced", *loopback, "--replay", gaps, "--speed", "4")
late = [packet[0] - start for packet in packets("paced") if packet[2][0] == "sync"]
check(late[1] >= 10**9 // 4 and late[3] >= 10**9 // 2, "calls are made at", late)

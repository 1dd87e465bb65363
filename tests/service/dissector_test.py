"""What tshark's dissector shows of messages and replies: dissector_test.py SOURCE_DIR INSPECTED FILE...

INSPECTED has a line of JSON for each of the files. Packets are "exported PDUs": the name of a
dissector, then the bytes that it gets.
"""

import json
import re
import resource
import struct
import subprocess
import sys

from stream import calls

source, inspected, *files = sys.argv[1:]
captured = {path.split("-", 1)[1]: open(path, "rb").read() for path in files}
memory = 1_000_000_000  # tshark alone takes a third


def tag(number, value):
    return struct.pack(">HH", number, -(-len(value) // 4) * 4) + value + bytes(-len(value) % 4)


def dissected(messages):
    """Of each message its lines."""
    with open("pdus.pcap", "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 252))
        for dissector, message in messages:
            packet = tag(12, dissector.lower().encode()) + tag(0, b"") + message
            file.write(struct.pack("<4I", 0, 0, len(packet), len(packet)) + packet)
    script = f"lua_script:{source}/service/mqc_fes_intf.lua"
    run = subprocess.run(["tshark", "-r", "pdus.pcap", "-X", script, "-O", "mqc"], capture_output=True,
                         text=True, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory)))
    shown = [part.splitlines() for part in run.stdout.split("\nEXPORTED_PDU\n")[1:]]
    if run.returncode != 0 or len(shown) != len(messages):
        sys.exit(f"tshark: {len(shown)} of {len(messages)} shown, {run.returncode}: {run.stderr[-500:]}")
    return shown


def flat(value):
    if isinstance(value, int):
        return [value]
    return [x for part in (value.values() if isinstance(value, dict) else value) for x in flat(part)]


# Every field of every message, in order, as tarn-inspect has it.
whole = dissected([("mqc_" + name.split(".")[0] + "_request", captured[name]) for name in captured])
for name, line, lines in zip(captured, open(inspected), whole):
    values = []
    for item in re.findall(r"^ +\[?f\d+: ([\da-f ]+)\]?$", "\n".join(lines), re.M):
        values += bytes.fromhex(item) if " " in item else [int(item)]
    title = rf"{name.split('.')[0]} request: \w+, {len(captured[name])} bytes"
    if values != flat(json.loads(line)) or not re.fullmatch(title, lines[0]):
        sys.exit(f"{name}: a field is shown with another value, or not at all")


# Over the stream, each call's message is shown as by itself.
names = list(captured)
requests = [(number, name.split(".")[0], captured[name]) for number, name in enumerate(names, start=1)]
streamed = "\n".join(map(str.strip, dissected([("mqc_stream_request", calls(*requests))])[0]))
for number, (name, lines) in enumerate(zip(names, whole), start=1):
    method = name.split(".")[0]
    call = [f"sequence: {number}", f"method: {method}", "[variant: Sync (0)]",
            "message: " + captured[name][:64].hex(" ") + " ..." * (len(captured[name]) > 64), lines[0],
            *(line.strip() for line in lines[1:] if line.startswith(" "))]
    if "\n".join(call) not in streamed:
        sys.exit(f"{name}: is shown otherwise over the stream: {call}")


def redirected(field, target=b""):
    """A request whose field is absent, or whose offset leads to a target behind the message."""
    message = bytearray(captured["act_redirect_nhp.compact.bin"])
    root, = struct.unpack_from("<I", message)
    vtable = root - struct.unpack_from("<i", message, root)[0]
    entry = vtable + 4 + 2 * field
    place = root + struct.unpack_from("<H", message, entry)[0]
    if target:
        struct.pack_into("<I", message, place, len(message) - place)
    else:
        struct.pack_into("<H", message, entry, 0)
    return bytes(message) + target


many = 32000
offsets = b"".join(struct.pack("<I", 4 * (many - i) + 6) for i in range(many))
repeated = struct.pack("<I", many) + offsets + struct.pack("<3HiII", 6, 8, 4, 6, 4, 120000) + bytes(120000)
batch = captured["ProcMqcBatchMsg.compact.bin"]
start = struct.pack("<I4H", 16, 12, 16, 4, 8)
faulty = [
    (nhp := "act_redirect_nhp_request", redirected(11, repeated), "f11 has 32000 elements, not 16"),
    (nhp, redirected(10, struct.pack("<I", 17) + bytes(68)), "f10 has 17 elements, not 16"),
    (nhp, redirected(10), "f10 is missing"),
    (nhp, redirected(0), "head is missing"),
    (nhp, redirected(11), "f11 is missing"),
    (acl := "reset_acl_failrecord_cmd_request", struct.pack("<I3HiII", 10, 6, 43, 4, 6, 4, 31) + bytes(31),
     "f0 has 31 elements, not 32"),
    (acl, struct.pack("<I2Hi", 8, 4, 4, 4), "a vtable of 4 bytes, that of MQC_reset_aclfail_record has 6"),
    (batches := "ProcMqcBatchMsg_request", struct.pack("<Ii6I6H", 4, -28, 1, 2, 3, 4, 0, 4, 12, 28, 4, 8, 12, 16),
     "f3 is not part of any full encoding"),
    ("notify_save_acl_res_cmd_request", struct.pack("<Ii4H", 4, -4, 6, 4, 0, 0), "f0 is missing"),
    *((batches, message, "points outside") for message in (batch[:-1], batch[:12], b"", b"\xff" * 90)),
    (reply := "sendRuleMac_response", struct.pack("<I4Hi", 12, 99, 4, 0, 0, 8), "points outside"),
]
whole = [
    (batches, start + struct.pack("<HHi3I", 12, 0, 12, 1, 2, 3), "f3: absent"),
    (batches, start + struct.pack("<HHi5I", 12, 16, 12, 1, 2, 3, 4, 0), "f3: empty"),
    (reply, struct.pack("<I2Hi", 8, 4, 4, 4), "[status: 0]"),
    (reply, struct.pack("<I5HxxiII", 16, 8, 12, 8, 4, 0, 12, 7, 9), "status: 9"),
]
one = calls((1, "act_redirect_nhp", captured["act_redirect_nhp.compact.bin"]))
call, = struct.unpack_from("<I", one, 28)  # from its entry in the vector of calls, the only one, to the call
same = b"".join(struct.pack("<I", call + 4 * i) for i in reversed(range(2000)))
faulty += [
    (stream := "stream_request", calls((1, "sendRuleMac", b"\xff" * 90)), "points outside"),
    (stream, one[:60], "points outside"),
]
whole += [
    (stream, one[:24] + struct.pack("<I", 2000) + same + one[32:], "sequence: 1"),
    # A vector of one answer, which has a status alone; no instance.
    ("stream_response", struct.pack("<I4HiIII4HiI", 12, 8, 8, 0, 4, 8, 4, 1, 12, 8, 8, 0, 4, 8, 9), "status: 9"),
    (stream, calls(), "stream request: MqcCalls, 24 bytes"),
    (stream, calls((2, "nothing", b"\1"), (3, None, None)), "message: 01"),
]
cases = [(name, message, "[damaged message: " + words + "]") for name, message, words in faulty] + whole
for (name, _, words), lines in zip(cases, dissected([("mqc_" + name, message) for name, message, _ in cases])):
    damage = re.findall("damaged message|Malformed Packet", " ".join(lines))
    texts = [*map(str.strip, lines)]
    if words not in texts or texts.count("sequence: 1") > 1000 or damage != ["damaged message"] * (2 * (words[1] == "d")):
        sys.exit(f"{name}, {words}: {lines}")

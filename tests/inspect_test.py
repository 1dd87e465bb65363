"""What tarn-inspect makes of whole and of damaged messages: inspect_test.py INSPECT SCHEMA_DIR FILE...

The files were shown before, in the files shown--json, shown--annotate, shown--html.
"""

import html.parser
import json
import os
import random
import re
import struct
import subprocess
import sys

inspect, schema, *files = sys.argv[1:]
messages = {path: open(path, "rb").read() for path in files}
random.seed(20261)


def method(path):
    return path.split("-", 1)[1].split(".")[0]


def check(holds, *what):
    if not holds:
        sys.exit("inspect: " + " ".join(map(str, what)))


def verdicts(bad):
    """Which of the messages, by file name, are taken. Each other has a line of its own."""
    os.makedirs("tried", exist_ok=True)
    for name, message in bad.items():
        open("tried/" + name, "wb").write(message)
    run = subprocess.run([inspect, "--annotate", *bad], cwd="tried", capture_output=True, text=True)
    check(run.returncode in (0, 1), "status", run.returncode, run.stderr)
    lines = [re.fullmatch(r"tarn-inspect: (\S+): damaged, or not a \w+: \+([0-9A-F]{2,}): .+", line)
             for line in run.stderr.splitlines()]
    check(all(line and int(line[2], 16) <= len(bad[line[1]]) for line in lines),
          "a message is refused without a place in it:", run.stderr[:500])
    refused = [line[1] for line in lines]
    taken = re.findall(r"^(\S+): \w+, (?:compact|full), \d+ bytes$", run.stdout, re.M)
    check(sorted(refused + taken) == sorted(bad), "not one verdict for each message")
    return set(taken)


def sections(path):
    """The lines of each message in an output with names above."""
    parts = {}
    for line in open(path).read().splitlines():
        title = re.fullmatch(r"(\S+): \w+, (?:compact|full), \d+ bytes", line)
        if title:
            part = parts.setdefault(title[1], [])
        elif line:
            part.append(line)
    return parts


def batch(buffer):
    size = min(65535, 24 + len(buffer))
    return struct.pack("<I6Hi5I", 16, 12, size, 4, 8, 12, 16, 12, 1, 2, 3, 4, len(buffer)) + buffer


def peak(form, message):
    """The most memory in bytes that showing a batch takes, or this test until now."""
    open("peak", "wb").write(message)
    process = subprocess.Popen([inspect, form, "--method", "ProcMqcBatchMsg", "peak"], stdout=subprocess.DEVNULL,
                               env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"})
    _, status, usage = os.wait4(process.pid, 0)
    check(status == 0, form, "of", len(message), "bytes fails")
    return usage.ru_maxrss * 1024


# Memory goes with the message, not with its text: a page leaves most of it out. The longest message is shown.
most = peak("--html", batch(bytes(8_000_000))) + 30_000_000
for form in "--json", "--annotate":
    check((found := peak(form, batch(bytes(8_000_000)))) < most, form, "takes", found, "bytes, not", most)
peak("--html", batch(bytes(65 * 1024 * 1024 - len(batch(b"")))))


# Every byte of every message is annotated, and both encodings are the same JSON.
annotated = sections("shown--annotate")
texts = {path: "\n".join(lines) for path, lines in sections("shown--json").items()}
shown = {path: json.loads(text) for path, text in texts.items()}
check(list(annotated) == files and list(shown) == files, "a message is not shown, or not named")
for path, message in messages.items():
    found = b"".join(bytes.fromhex(line[8:32]) for line in annotated[path])
    check(found == message, path, "is annotated with other bytes")
    lines = json.dumps(shown[path], indent=2)
    check(texts[path] == re.sub(r"\[[\s\d,]*\]", lambda array: " ".join(array[0].split()), lines), path, "as JSON")
    check(shown[path] == shown[path.replace(".full.", ".compact.")], path, "is another in JSON")

# A message under another method's name is refused if it contradicts that method's request.
text = re.sub(r"//.*", "", open(schema + "/mqc_fes_intf.fbs").read())
tables = {name: re.findall(r"(\w+): ([\w\[\]]+) \(id: \d+((?:, count: \d+)?)\)", body)
          for name, body in re.findall(r"table (\w+) {(.*?)}", text, re.S)}
requests = dict(re.findall(r"(\w+)\(mqc\.(\w+)\): mqc\.MqcReply", open(schema + "/mqc_fes_intf_service.fbs").read()))


def contradicts(path, other):
    own, others = tables[requests[method(path)]], tables[requests[other]]
    compact = path.endswith(".compact.bin")
    return len(own) != len(others) or any(
        a != b and not (compact and shown[path].get(a[0]) == 0 and "[" not in b[1] and b[1][0] == "u")
        for a, b in zip(own, others))


wrong = {"%d-%s.%s" % (n, other, path.split(".", 1)[1]): (path, other)
         for n, (path, other) in enumerate((p, o) for p in files for o in requests)}
taken = verdicts({name: messages[path] for name, (path, _) in wrong.items()})
for name, (path, other) in wrong.items():
    check((name in taken) != contradicts(path, other), path, "taken as" if name in taken else "refused as", other)

# A message with any byte of its structure changed is refused; one with another value is shown.
value = re.compile(r"  \S+ +(?:\w\w )+ +([\w.\[\]]+(?: to \[\d+\])?: (?:u\w+|\d+).*|gap.*)")
for path in files:
    if method(path) not in ("sendRuleMac", "act_redirect_nhp", "ProcMqcBatchMsg", "ActCommonIntf"):
        continue
    changed, expected = {}, set()
    for line in annotated[path]:
        for position in range(int(line.split()[0], 16), int(line.split()[0], 16) + len(line[8:32].split())):
            name = "%d-%s" % (position, path.split("-", 1)[1])
            changed[name] = bytearray(messages[path])
            changed[name][position] ^= random.randrange(1, 256)
            if value.fullmatch(line):
                expected.add(name)
    found = verdicts(changed)
    check(found == expected, path, "changed at", sorted(found ^ expected)[:9])

# Cut or with bytes behind it, no message is taken; damaged at random, each has one verdict.
cut, noise = {}, {}
for path, message in messages.items():
    name = path.split("-", 1)[1]
    cut["0-" + name] = message + b"\0"
    cut["1-" + name] = message + message
    for n in range(2, 12):
        cut["%d-%s" % (n, name)] = message[:random.randrange(len(message))]
    for n in range(20):
        bad = bytearray(message)
        for _ in range(random.randrange(1, 4)):
            bad[random.randrange(len(bad) if n % 2 else min(len(bad), 64))] = random.randrange(256)
        noise["%d-%s" % (n, name)] = bad
check(not (found := verdicts(cut)), found)
check(0 < len(verdicts(noise)) < len(noise) / 2, "hardly a damaged message is refused")

# What a reader would take, and no encoder of this interface writes.
array = struct.pack("<II", 4, 32) + bytes(32)
made = {
    "0-reset_acl_failrecord_cmd": struct.pack("<I3Hi", 10, 6, 44, 4, 6) + array,
    "1-reset_acl_failrecord_cmd": struct.pack("<I3HiII", 10, 6, 43, 4, 6, 4, 31) + bytes(31),
    "2-reset_acl_failrecord_cmd": struct.pack("<I3Hi", 10, 6, 4, 0, 6),
    "3-reset_acl_failrecord_cmd": struct.pack("<I4Hi", 12, 8, 44, 4, 0, 8) + array,
    "4-match_any_oper": struct.pack("<I3HiI8Hi", 10, 6, 8, 4, 6, 20, 16, 4, *[0] * 6, 16),
    "5-match_any_oper": struct.pack("<I3HiIi8H", 10, 6, 8, 4, 6, 4, -4, 16, 4, *[0] * 6),
    "6-notify_save_acl_res_cmd": struct.pack("<Ii4H", 4, -4, 6, 4, 0, 0),
    "7-ProcMqcBatchMsg": struct.pack("<IiIIIIII6HI", 4, -28, 1, 2, 3, 4, 4, 99, 12, 28, 4, 8, 12, 16, 0),
}
found = verdicts({"%s.%s.bin" % (name, "full" if name[0] > "5" else "compact"): message
                  for name, message in made.items()})
check({name[0] for name in found} == {"0", "4"}, "made by hand, taken:", found)

# Five megabytes.
content = random.randbytes(5_000_000)
big = batch(content)
check(len(verdicts({"1-ProcMqcBatchMsg.compact.bin": big})) == 1, "a large message is refused")
for change in (b"", b"\0\0"):
    check(not verdicts({"1-ProcMqcBatchMsg.compact.bin": big[:-1] + change}), "a large message is damaged")
open("1-ProcMqcBatchMsg.compact.bin", "wb").write(big)
run = subprocess.run([inspect, "1-ProcMqcBatchMsg.compact.bin"], capture_output=True, check=True)
check(bytes(json.loads(run.stdout)["f3"]) == content, "a large message is shown with other bytes")


class Page(html.parser.HTMLParser):
    """What is on the page: bytes by message, and who marks whom."""

    def __init__(self):
        super().__init__()
        self.open, self.bytes, self.marked, self.entries = [], [], set(), set()

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        check(not attrs.keys() & {"src", "href", "srcset"}, "the page needs", attrs)
        if tag not in ("meta", "html"):
            self.open.append(tag)
        if tag == "pre":
            self.bytes.append("")
        if "data-n" in attrs:
            (self.entries if tag == "li" else self.marked).add(attrs["data-n"])

    def handle_endtag(self, tag):
        if tag != "html":
            check(self.open.pop() == tag, tag, "is closed where another is open")

    def handle_data(self, data):
        if self.open[-2:] == ["pre", "b"]:
            self.bytes[-1] += data


text = open("shown--html").read()
check(not re.search(r"https?:|url\(|@import", text), "the page needs something else")
page = Page()
page.feed(text)
check([bytes.fromhex(part) for part in page.bytes] == list(messages.values()), "the page has other bytes")
for part, message in zip(text.split("<pre>")[1:], messages.values()):
    check(re.findall(r"<s>\+(\w+)", part) == ["%02X" % at for at in range(0, len(message), 16)], "rows of the page")
check(page.marked and page.marked <= page.entries and not page.open, "bytes without an entry")
run = subprocess.run([inspect, "--html", "--method", "ProcMqcBatchMsg", "-"], input=batch(bytes(range(256)) * 17),
                     capture_output=True, check=True)
check(re.search(r"<s> +256 bytes more</s>\n</pre>.*>f3: 0, 1, .* 63, \u2026</span>", run.stdout.decode(), re.S),
      "the page of a large message is another")

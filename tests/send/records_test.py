"""Records of every method through tarn-send and back: records_test.py SEND INSPECT SCHEMA_DIR FILE...

The files are messages that a C program has sent. The schema states what the requests are.
"""

import json
import os
import random
import re
import subprocess
import sys

send, inspect, schema, *files = sys.argv[1:]
random.seed(20262)
dry_run = [send, "--platform", "libtarn_loopback.so", "--dry-run"]
text = re.sub(r"//.*", "", open(schema + "/mqc_fes_intf.fbs").read())
tables = {name: re.findall(r"(\w+): \[?(\w+)(\]?) \(id: \d+(?:, count: (\d+))?\)", body)
          for name, body in re.findall(r"table (\w+) {(.*?)}", text, re.S)}
requests = dict(re.findall(r"(\w+)\(mqc\.(\w+)\): mqc\.MqcReply", open(schema + "/mqc_fes_intf_service.fbs").read()))
most = {"ubyte": 0xFF, "ushort": 0xFFFF, "uint": 0xFFFFFFFF}


def check(holds, *what):
    if not holds:
        sys.exit("send: " + " ".join(map(str, what))[:2000])


def run(*arguments, **options):
    done = subprocess.run(arguments, capture_output=True, **options)
    check(done.returncode == 0, arguments[:9], "fails:", done.stderr)
    return done.stdout


def record(table, pick):
    """A request whose numbers are picked. An empty buffer is left out, as tarn-inspect does."""
    values = {}
    for name, kind, array, count in tables[table]:
        length = int(count) if count else random.choice((0, 1, 7, 90_000))
        parts = [record(kind, pick) if kind in tables else pick(most[kind]) for _ in range(length if array else 1)]
        if parts:
            values[name] = parts if array else parts[0]
    return values


def shortened(table, values):
    """The same request with zeros left out, and bytes in hexadecimal."""
    short = {}
    for name, kind, array, count in tables[table]:
        value = values.get(name, [])
        if kind in tables:
            value = [shortened(kind, part) for part in value] if array else shortened(kind, value)
        elif array:
            while count and value and value[-1] == 0:
                value = value[:-1]
            if kind == "ubyte":
                digits = bytes(value).hex(*random.choice(((), (":",))))
                value = random.choice((digits, digits.upper(), list(value)))
        if value != 0:
            short[name] = value
    return short


def words(table, values, path=""):
    """What sets the same fields on a command line."""
    for name, kind, array, count in tables[table]:
        value = values.get(name, [])
        while count and kind not in tables and len(value) > 1 and value[-1] == 0:
            value = value[:-1]
        if kind in tables:
            for i, part in enumerate(value if array else [value]):
                yield from words(kind, part, path + name + ("[%d]." % i if array else "."))
        elif not array:
            yield path + name + random.choice(("=%d", "=0x%x", "=0x%X")) % value
        elif kind == "ubyte" and (len(value) < 2 or random.random() < 0.5):
            yield path + name + "=" + bytes(value).hex(*random.choice(((), (":",))))
        else:
            yield path + name + "=" + ",".join(random.choice(("%d", "0x%x")) % number for number in value)
            if kind != "ubyte":
                yield path + name + "[%d]=%d" % (len(value) - 1, value[-1])


def encoded(lines, folder, *options):
    """The messages that a dry run makes of lines, in their order, by the paths of their files."""
    os.mkdir(folder)
    open(folder + ".jsonl", "w").write("\n".join(map(json.dumps, lines)))
    run(*dry_run, "--file", folder + ".jsonl", "--output", folder, *options)
    made = {folder + "/" + name: open(folder + "/" + name, "rb").read() for name in sorted(os.listdir(folder))}
    check(len(made) == len(lines), folder, "has", len(made), "messages of", len(lines))
    return made


def shown(paths):
    """The lines that tarn-inspect makes of messages."""
    output = run(inspect, *paths, text=True)
    parts = re.split(r"^\S+?-(\w+)\.\w+\.bin: .*\n", output, flags=re.M)
    return [{"method": method, "request": json.loads(part)} for method, part in zip(parts[1::2], parts[2::2])]


check(len(requests) == 55 and len(tables) > 40, "the schema is another")
picks = [lambda largest: 0, lambda largest: largest, lambda largest: random.randint(0, largest)]
picks += [lambda largest: random.choice((0, 0, 1, largest))] * 7
lines = [{"method": method, "request": record(table, pick)} for method, table in requests.items() for pick in picks]
short = [{"request": shortened(requests[line["method"]], line["request"]), "method": line["method"]} for line in lines]

for form, options in ("compact", []), ("full", ["--full"]):
    made = encoded(lines, form, *options)
    expected = [line["method"] + "." + (form if line["method"] != "ProcMqcBatchMsg" else "compact") for line in lines]
    check([re.search(r"-(.*)\.bin", path)[1] for path in made] == expected, "a message is named otherwise, or in another encoding")
    check(shown(made) == lines, "a message shows another request in", form)
    messages = list(made.values())
    check(list(encoded(short, form + "-short", *options).values()) == messages, "other bytes from shorter JSON in", form)
    check(list(encoded(shown(made), form + "-again", *options).values()) == messages, "other bytes on the way back in", form)
    # What a C caller has sent comes back byte for byte.
    sent = [path for path in files if path.endswith("." + form + ".bin")]
    check(len(sent) >= 54 and list(encoded(shown(sent), form + "-sent", *options).values()) ==
          [open(path, "rb").read() for path in sent], "other bytes than a C caller's in", form)
    # One by one: the standard input, words, words over JSON, a file.
    for line, message in [(line, message) for line, message in zip(lines, messages) if len(message) < 90_000][2::5]:
        method, said = line["method"], list(words(requests[line["method"]], line["request"]))
        check(run(*dry_run, *options, method, "-", input=json.dumps(line["request"], indent=1).encode()) == message,
              method, "from the standard input has other bytes")
        check(run(*dry_run, *options, method, *said) == message, method, "from words has other bytes:", said)
        run(*dry_run, *options, "--output", "one", method, json.dumps(record(requests[method], picks[1])), *said,
            *["f3="] * (method == "ProcMqcBatchMsg" and "f3" not in line["request"]))
        check(open("one", "rb").read() == message, method, "from words over JSON has other bytes")

def plain(value):
    """A request without hexadecimal."""
    if isinstance(value, dict):
        return {name: plain(part) for name, part in value.items()}
    if isinstance(value, list):
        return [plain(part) for part in value]
    return list(bytes.fromhex(value.replace(":", ""))) if isinstance(value, str) else value


# The template and the list of fields have every field, in order; an empty buffer is encoded as none.
for method, table in requests.items():
    template = json.loads(run(send, "--template", method))
    zero = {**record(table, picks[0]), **({"f3": []} if method == "ProcMqcBatchMsg" else {})}
    check(json.dumps(plain(template)) == json.dumps(zero), method, "has another template")
    check(run(*dry_run, method, json.dumps(template)) == run(*dry_run, method), method, "has a template that is not zero")
    check([line.split()[0] for line in run(send, "--fields", method, text=True).splitlines()] ==
          [word.split("=")[0] for word in words(table, zero) if not re.search(r"\[\d+\]=", word)], method, "fields")

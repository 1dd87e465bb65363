"""What tarn-inspect shows of a recording of every method, against its captures and against itself.

usage: inspect_recording_test.py TARN_INSPECT RECORDING CAPTURE..."""

import json
import operator
import re
import subprocess
import sys

inspect, recording, captures = sys.argv[1], sys.argv[2], sys.argv[3:]


def run(*arguments):
    return subprocess.run([inspect, *arguments], check=True, capture_output=True, text=True).stdout


def numbers(*arguments):
    return [int(line.split()[0]) for line in run(*arguments, recording).splitlines()]


def leaves(value, path=""):
    """The numbers of a request, by their paths."""
    if isinstance(value, int):
        yield path, value
    elif isinstance(value, dict):
        for name, inner in value.items():
            yield from leaves(inner, f"{path}.{name}" if path else name)
    else:
        for i, inner in enumerate(value):
            yield from leaves(inner, f"{path}[{i}]")


calls = [json.loads(line) for line in run("--json", recording).splitlines()]
fields = [dict(leaves(call["request"])) for call in calls]

# The captures of the same calls.
shown = re.split(r"^all/\d+-(\w+)\..*\n", run("--json", *captures), flags=re.M)[1:]
for method, text in zip(shown[::2], shown[1::2]):
    assert any(call["method"] == method and call["request"] == json.loads(text) for call in calls), method

# Every method's first and last field, and every operator.
conditions = {(path, "==", value) for of in fields for path, value in (list(of.items())[0], list(of.items())[-1])}
conditions |= {("f3", sign, value) for sign in ("==", "!=", "<", "<=", ">", ">=") for value in (36, 37, 38)}
signs = {"==": operator.eq, "!=": operator.ne, "<": operator.lt, "<=": operator.le, ">": operator.gt, ">=": operator.ge}
for path, sign, value in sorted(conditions):
    expected = [call["number"] for call, of in zip(calls, fields) if path in of and signs[sign](of[path], value)]
    assert numbers("--where", f"{path}{sign}0x{value:x}") == expected, (path, sign, value)
both = [call["number"] for call, of in zip(calls, fields) if of.get("f3", 0) > 10 and of.get("head.f0", 0) == 1]
assert numbers("--where", " f3 > 10 ", "--where", "head.f0 == 1") == both

# Times: since is included, until is not; a time without a day is on the first call's.
assert numbers("--since", calls[9]["time"], "--until", calls[19]["time"]) == list(range(10, 20))
assert numbers("--since", calls[9]["time"][11:]) == list(range(10, len(calls) + 1))
assert not numbers("--until", calls[0]["time"][:10])

rows = [line.split() for line in run("--stats", recording).splitlines()]
row = next(row for row in rows if row and row[0] == "all")
assert row[1:5] == [str(len(calls)), "0", "0", str(sum(call["bytes"] for call in calls) // len(calls))], row
times = sorted(call["microseconds"] for call in calls)
for percent, cell in zip((50, 90, 99, 100), row[5:]):
    exact = times[-(-len(times) * percent // 100) - 1]
    assert exact - 0.06 <= float(cell) <= exact * 1.009 + 0.06, (percent, cell, exact)
assert next(row for row in rows if row and row[0] == "sendRuleMac")[1] == "3"

"""Times calls from Python on the minimal platform, which does nothing, beside the same calls in C.

usage: PYTHONPATH=BUILD/python python_calls.py BUILD [PAGE]

BUILD is the build tree with the package, the library and python_floor. The figures go into PAGE, too.
"""

import ctypes
import pathlib
import sys
import timeit

import numpy as np
import tarn_mqc
from report import update, verdicts

TURNS = 20_000
REPETITIONS = 7  # the fastest counts
LIMIT = 10  # microseconds above the call in C


def filled(record):
    """The record with another value than zero in each scalar, those of its head included."""
    for name, value in vars(record).items():
        if isinstance(value, int):
            setattr(record, name, 200)
        elif isinstance(value, tarn_mqc.Record):
            filled(value)
    return record


def microseconds(call):
    if call() != 0:
        sys.exit("python_calls.py: a call failed")
    return min(timeit.repeat(call, number=TURNS, repeat=REPETITIONS)) / TURNS * 1e6


def in_c(floor, method, record):
    packed = record._pack()
    cost = min(floor(method, packed, TURNS) for _ in range(REPETITIONS))
    if cost < 0:
        sys.exit("python_calls.py: a call in C failed")
    return cost / 1e3


def row(title, cost, floor):
    return f"{title:45}{floor:>11.3f}{cost:>11.2f}{cost - floor:>11.2f}"


def measure(floor):
    mqc = tarn_mqc.connect()
    costs = {}
    for place, (method, request) in enumerate(tarn_mqc.REQUESTS.items()):
        record, call = filled(request()), getattr(mqc, method)
        costs[method] = microseconds(lambda: call(record)), in_c(floor, place, record)
    above = {method: cost - c for method, (cost, c) in costs.items()}
    worst = max(above, key=above.get)
    yield f"{'microseconds':45}{'in C':>11}{'Python':>11}{'above C':>11}"
    yield row("a record, mean of all methods", *np.mean(list(costs.values()), axis=0))
    yield row(f"a record, worst: {worst}", *costs[worst])
    yield row("a record: sendRuleMac", *costs["sendRuleMac"])
    fields = microseconds(lambda: mqc.sendRuleMac(head=tarn_mqc.RuleHead(f0=1), f1="00:11:22:33:44:55", f3=37))
    yield row("fields, the same with head, f1 and f3", fields, costs["sendRuleMac"][1])
    yield from verdicts(["gcc"], [[("above the call in C, worst", LIMIT, False, above[worst])]])


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit("usage: python_calls.py BUILD [PAGE]")
    build, *pages = map(pathlib.Path, sys.argv[1:])
    platform = str(build / "bench" / "libpython_floor.so")
    tarn_mqc.load(platform, str(build / "libtarn_cli_mqc.so"))
    floor = ctypes.CDLL(platform).nanosecondsOfCall
    floor.restype, floor.argtypes = ctypes.c_double, (ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint32)
    lines = list(measure(floor))
    print(*lines, sep="\n")
    if pages:
        update(pages[0], lines, "python")


main()

"""Prints one table from the runs of mqc_bench.

usage: table.py DIRECTORY

The directory holds, for each compiler, COMPILER.list, what mqc_bench --list printed, and
COMPILER.N.run, the JSON of one process's timings or one callgrind profile with a part for each
contestant. Of a process's repetitions the fastest counts; ratios are formed within a process and
pooled over the processes by their geometric mean.
"""

import json
import math
import pathlib
import re
import statistics
import sys

COMPILERS = ("gcc", "clang")
PATTERNS = ("zero", "half", "all", "mixed")
TURNS = 64  # encodings in one part of a callgrind profile


def read_timings(path):
    """Nanoseconds of the fastest repetition, by benchmark name."""
    costs = {}
    for row in json.loads(path.read_text())["benchmarks"]:
        name = row["run_name"].split("/repeats:")[0]
        if "error_message" in row:
            sys.exit(f"table.py: {name}: {row['error_message']}")
        if row["run_type"] == "iteration":
            costs[name] = min(row["cpu_time"], costs.get(name, math.inf))
    return costs


def read_instructions(path):
    """Instructions of one turn, by benchmark name, the loop's own taken off."""
    costs, name = {}, None
    for line in path.read_text().splitlines():
        if found := re.match(r"desc: Trigger: (?:Client Request: )?(\S+)", line):
            name = found[1]
        elif found := re.match(r"summary: (\d+)", line):
            costs[name] = int(found[1]) / TURNS
    loop = costs["nobody/nothing/none"]
    return {name: cost - loop for name, cost in costs.items()}


def read_run(path):
    is_json = path.read_text(errors="replace").startswith("{")
    return read_timings(path) if is_json else read_instructions(path)


def geomean(values):
    return math.exp(statistics.fmean(math.log(value) for value in values))


class Results:
    """One compiler's."""

    def __init__(self, directory, compiler):
        self.runs = [read_run(path) for path in sorted(directory.glob(f"{compiler}.*.run"))]
        rows = [line.split() for line in (directory / f"{compiler}.list").open()]
        self.record = {row[0]: int(row[1]) for row in rows}
        self.fields = {row[0]: int(row[2]) for row in rows}
        self.compact_bytes = {row[0]: float(row[3]) for row in rows}
        self.full_bytes = {row[0]: int(row[4]) for row in rows}
        self.messages = list(dict.fromkeys(row[0].split("/")[0] for row in rows))

    def knows(self, *names):
        return self.runs[0].keys() >= set(names)

    def cost(self, who, subject):
        name = f"{who}/{subject}"
        return statistics.median(run[name] for run in self.runs) if self.knows(name) else None

    def ratio(self, over, under, subject):
        over, under = f"{over}/{subject}", f"{under}/{subject}"
        if not self.knows(over, under):
            return None
        return geomean(run[over] / run[under] for run in self.runs)

    def ratios(self, over, under, patterns):
        """By message and pattern."""
        found = {f"{message}/{pattern}": self.ratio(over, under, f"{message}/{pattern}")
                 for message in self.messages for pattern in patterns}
        return {subject: ratio for subject, ratio in found.items() if ratio is not None}

    def lengths(self):
        """Of the growing buffers."""
        return sorted(int(name.split("/")[2]) for name in self.runs[0]
                      if re.fullmatch(r"compact/\w+/\d+", name))


def show(value, width, digits):
    return "-".rjust(width) if value is None else f"{value:{width}.{digits}f}"


COSTS = {"compact": "compact", "size": "size", "full": "full", "builder": "builder",
         "floor": "floor", "fullfloor": "f.floor"}
RATIOS = {("builder", "compact"): "builder / compact", ("compact", "floor"): "compact / floor",
          ("full", "fullfloor"): "full / f.floor"}


def print_messages(by_compiler, unit):
    costs = " ".join(f"{title:>7}" for title in COSTS.values())
    patterns = " ".join(f"{pattern:>5}" for pattern in PATTERNS)
    print(f"{'':31} {'bytes':^14}  {unit + ' of one turn, pattern half':^47}  "
          + "  ".join(f"{title:^23}" for title in RATIOS.values()))
    print(f"{'message':25} {'':5} {'rec':>4} {'comp':>4} {'full':>4}  {costs}  "
          + "  ".join(patterns for _ in RATIOS))
    for message in next(iter(by_compiler.values())).messages:
        half, title = f"{message}/half", message
        for compiler, results in by_compiler.items():
            cells = " ".join(show(results.cost(who, half), 7, 1) for who in COSTS)
            ratios = "  ".join(
                " ".join(show(results.ratio(over, under, f"{message}/{pattern}"), 5, 2)
                         for pattern in PATTERNS) for over, under in RATIOS)
            print(f"{title:25} {compiler:5} {results.record[half]:4} "
                  f"{results.compact_bytes[half]:4.0f} "
                  f"{show(results.full_bytes[half] or None, 4, 0)}  {cells}  {ratios}")
            title = ""


def print_ratios(by_compiler):
    heads = " | ".join(f"{compiler + ': geomean':>15} {'worst':>6}  {'of':31}"
                       for compiler in by_compiler)
    print(f"\n{'ratio':18} {'pattern':8} {heads}")
    for over, under in [*RATIOS, ("builder", "full"), ("size", "compact")]:
        for patterns in [*((pattern,) for pattern in PATTERNS), PATTERNS]:
            cells = []
            for results in by_compiler.values():
                ratios = results.ratios(over, under, patterns)
                worst = (min if over == "builder" else max)(ratios, key=ratios.get)
                cells.append(f"{geomean(ratios.values()):15.2f} {ratios[worst]:6.2f}  {worst:31}")
            name = patterns[0] if len(patterns) == 1 else "together"
            print(f"{RATIOS.get((over, under), f'{over} / {under}'):18} {name:8} "
                  + " | ".join(cells))


def call_costs(results, name, methods):
    call = results.cost("call", f"stub/{name}") / methods
    runtime = results.cost("call", f"runtime/{name}") / methods
    return call, runtime, call - runtime


def print_calls(by_compiler, unit):
    heads = " | ".join(f"{compiler + ': call':>15} {'runtime':>8} {'ours':>7}"
                       for compiler in by_compiler)
    print(f"\n{'synchronous call, ' + unit:34} {heads}")
    for title, name, methods in (("stub of one method", "one", 1),
                                 ("stubs of 55 methods in turn, each", "all", 55)):
        cells = []
        for results in by_compiler.values():
            call, runtime, ours = call_costs(results, name, methods)
            cells.append(f"{call:15.1f} {runtime:8.1f} {ours:7.1f}")
        print(f"{title:34} " + " | ".join(cells))


def least_squares(rows, values):
    """Coefficients of the columns of rows, and R squared."""
    n = len(rows[0])
    system = [[sum(row[i] * row[j] for row in rows) for j in range(n)]
              + [sum(row[i] * value for row, value in zip(rows, values))] for i in range(n)]
    for i in range(n):
        system[i] = [cell / system[i][i] for cell in system[i]]
        for j in range(n):
            if j != i:
                factor = system[j][i]
                system[j] = [a - factor * b for a, b in zip(system[j], system[i])]
    found = [row[-1] for row in system]
    mean = statistics.fmean(values)
    error = sum((value - sum(c * x for c, x in zip(found, row))) ** 2
                for row, value in zip(rows, values))
    return found, 1 - error / sum((value - mean) ** 2 for value in values)


def print_fit(by_compiler, unit):
    print(f"\n{unit} over the messages, pattern all: start + f x fields + b x bytes written")
    print(f"{'':16} {'start':>7} {'f':>7} {'b':>7} {'R2':>6}")
    for compiler, results in by_compiler.items():
        for who, length in (("compact", results.compact_bytes), ("full", results.full_bytes)):
            costs = {f"{message}/all": results.cost(who, f"{message}/all")
                     for message in results.messages}
            costs = {subject: cost for subject, cost in costs.items() if cost is not None}
            rows = [(1, results.fields[subject], length[subject]) for subject in costs]
            (start, f, b), r2 = least_squares(rows, list(costs.values()))
            print(f"{compiler:8} {who:7} {start:7.2f} {f:7.3f} {b:7.4f} {r2:6.3f}")


def print_lengths(by_compiler, unit):
    contestants = ("compact", "builder", "floor")
    heads = " | ".join(f"{compiler + ': compact':>15} {'builder':>8} {'floor':>8}"
                       for compiler in by_compiler)
    print(f"\n{'MQC_BrkBatchMsg, ' + unit:34} {heads}")
    lengths = next(iter(by_compiler.values())).lengths()
    for length in lengths:
        subject = f"MQC_BrkBatchMsg/{length}"
        print(f"{f'buffer of {length} bytes':34} " + " | ".join(
            " ".join(show(results.cost(who, subject), 15 if who == "compact" else 8, 1)
                     for who in contestants) for results in by_compiler.values()))
    cached = [length for length in lengths if length <= 32768]
    for compiler, results in by_compiler.items():
        costs = [results.cost("compact", f"MQC_BrkBatchMsg/{length}") for length in cached]
        (start, b), r2 = least_squares([(1, length) for length in cached], costs)
        print(f"{compiler}, up to {cached[-1]} bytes: {start:.1f} + {b:.4f} x bytes, R2 {r2:.4f}")


def targets(results):
    """What is asked for, the limit, whether it is a least value, and what was measured."""
    builder, floor, full = (results.ratios(over, under, PATTERNS).values()
                            for over, under in RATIOS)
    match_all = 1 / results.ratio("builder", "compact", "MQC_match_all/half")
    return (
        ("builder / compact, every message and pattern", 2.6, True, min(builder)),
        ("builder / compact, geometric mean", 4.5, True, geomean(builder)),
        ("compact / floor, geometric mean", 1.6, False, geomean(floor)),
        ("compact / builder, MQC_match_all, half", 0.29, False, match_all),
        ("full / f.floor, geometric mean", 0.6, False, geomean(full)),
        ("full / f.floor, every message and pattern", 1.5, False, max(full)),
        ("ours of a stub call, ns", 15, False, call_costs(results, "all", 55)[2]),
    )


def print_targets(by_compiler):
    print(f"\n{'target':46} {'':13} " + " ".join(f"{compiler:>15}" for compiler in by_compiler))
    for rows in zip(*(targets(results) for results in by_compiler.values())):
        title, limit, least, _ = rows[0]
        cells = (f"{found:8.2f} {'met' if (found >= limit) == least or found == limit else 'missed':6}"
                 for *_, found in rows)
        print(f"{title:46} {'at least' if least else 'at most':8} {limit:4} " + " ".join(cells))


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: table.py DIRECTORY")
    directory = pathlib.Path(sys.argv[1])
    by_compiler = {compiler: Results(directory, compiler) for compiler in COMPILERS
                   if (directory / f"{compiler}.list").exists()}
    timed = (directory / "gcc.1.run").read_text(errors="replace").startswith("{")
    unit = "ns" if timed else "instructions"
    print_messages(by_compiler, unit)
    print_ratios(by_compiler)
    print_calls(by_compiler, unit)
    print_fit(by_compiler, unit)
    if timed:  # callgrind counts a string instruction once for each byte
        print_lengths(by_compiler, unit)
        print_targets(by_compiler)


main()

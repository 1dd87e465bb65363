"""Prints what the runs of mqc_bench say and draws it.

usage: report.py DIRECTORY [PAGE]

DIRECTORY holds, for each compiler, COMPILER.list, what mqc_bench --list printed, and
COMPILER.N.run, the JSON of one process's timings or one callgrind profile with a part for each
contestant; COMPILER-against.N.run is the same with another build of the library. Of a process's
repetitions the fastest counts; ratios are formed within a run and pooled over the runs by their
geometric mean. Plots go into DIRECTORY, or beside PAGE, whose figures are then replaced.
"""

import json
import pathlib
import platform
import re
import subprocess
import sys
import time

import matplotlib
import numpy as np

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "mqc_bench", "svg.fonttype": "none", "font.size": 8})
from matplotlib import pyplot

COUNTS = ("1", "64", "4096")
COUNTED_TURNS = 64  # encodings in one part of a callgrind profile
COLOURS = {"compact": "tab:blue", "full": "tab:green", "builder": "tab:red", "floor": "tab:gray"}
STYLES = {"gcc": "-", "clang": "--"}
MATCH_ALL = "MQC_match_all"


def read_timings(path):
    """Nanoseconds of a turn in the fastest repetition, by benchmark name."""
    costs = {}
    for row in json.loads(path.read_text())["benchmarks"]:
        name = "/".join(row["name"].split("/")[:3])
        if "error_message" in row:
            sys.exit(f"report.py: {name}: {row['error_message']}")
        if row["run_type"] == "iteration":
            costs[name] = min(1e9 / row["items_per_second"], costs.get(name, np.inf))
    return costs


def read_instructions(path):
    """Instructions of a turn, by benchmark name, the loop's own taken off."""
    costs, name = {}, None
    for line in path.open():
        if found := re.match(r"desc: Trigger: (?:Client Request: )?(\S+)", line):
            name = found[1]
        elif found := re.match(r"summary: (\d+)", line):
            costs[name] = int(found[1]) / COUNTED_TURNS
    loop = costs.pop("call/nothing/one")
    return {name: cost - loop for name, cost in costs.items()}


def geomean(values):
    return np.exp(np.mean(np.log(list(values))))


class Results:
    """One compiler's, with this build of the library or another one."""

    def __init__(self, directory, compiler, build=""):
        paths = sorted(directory.glob(f"{compiler}{build}.*.run"))
        self.timed = paths[0].open().read(1) == "{"
        runs = [(read_timings if self.timed else read_instructions)(path) for path in paths]
        self.costs = {name: np.array([run[name] for run in runs]) for name in runs[0]}
        rows = [line.split() for line in (directory / f"{compiler}.list").open()]
        self.bytes = {name.split("/")[0]: [float(cell) for cell in cells[:3]]
                      for name, *cells in rows if not name.endswith("B")}
        self.messages = sorted(self.bytes, key=lambda message: self.bytes[message][1])

    def cost(self, name):
        return np.median(self.costs.get(name, np.nan))

    def ratios(self, over, under, base=None):
        """By message; over and under are (contestant, pattern), base holds under's costs."""
        pairs = {message: (self.costs.get(f"{over[0]}/{message}/{over[1]}"),
                           (base or self).costs.get(f"{under[0]}/{message}/{under[1]}"))
                 for message in self.messages}
        return {message: geomean(a / b) for message, (a, b) in pairs.items()
                if a is not None and b is not None}

    def mean(self, who, pattern):
        return geomean(self.cost(f"{who}/{message}/{pattern}") for message in self.messages)

    def call(self, name):
        return self.cost(f"call/stub/{name}") - self.cost(f"call/runtime/{name}")


def show(value, width):
    digits = 2 if value < 9.995 else 1 if value < 99.95 else 0
    return "-".rjust(width) if np.isnan(value) else f"{value:{width}.{digits}f}"


def print_messages(compiler, results):
    unit, count = ("ns", "4096") if results.timed else ("instructions", "64")
    counts = COUNTS if results.timed else COUNTS[:2]
    heads = "".join(f"{count:>5}" for count in counts)
    print(f"{compiler:20} {'bytes':^12}{f'{unit}, {count} records':^30}"
          f"  {'builder/compact':15} {'compact/floor':^15}  full/")
    print(f"{'message':20} {'rec comp full':>12}{'comp':>6}{'pair':>6}{'full':>6}{'build':>6}"
          f"{'floor':>6} {heads} {heads} f.fl.")
    columns = [[results.ratios((over, c), (under, c)) for c in counts]
               for over, under in (("builder", "compact"), ("compact", "floor"))]
    full = results.ratios(("full", count), ("fullfloor", count))
    for message in results.messages:
        sizes = "".join(f"{size or np.nan:4.0f}".replace("nan", "  -") for size in
                        results.bytes[message])
        costs = "".join(show(results.cost(f"{who}/{message}/{count}"), 6)
                        for who in ("compact", "pair", "full", "builder", "floor"))
        ratios = " ".join("".join(show(column[message], 5) for column in columns_)
                          for columns_ in columns)
        print(f"{message.removeprefix('MQC_'):20} {sizes}{costs} {ratios} "
              f"{show(full.get(message, np.nan), 5)}")
    print()


def summary(by_compiler):
    """Geometric means over the messages, and the worst, as lines."""
    lines = [f"{'ratio':18}{'records':>8}" + "".join(
        f"{compiler + ': mean':>12}{'worst':>6} {'of':17}" for compiler in by_compiler)]
    for over, under, patterns in (("builder", "compact", (*COUNTS, "none", "all")),
                                  ("compact", "floor", (*COUNTS, "none", "all")),
                                  ("full", "fullfloor", COUNTS[2:]), ("size", "compact", COUNTS[2:]),
                                  ("pair", "compact", COUNTS[2:])):
        for pattern in patterns:
            line = f"{f'{over} / {under}':18}{pattern:>8}"
            for results in by_compiler.values():
                ratios = results.ratios((over, pattern), (under, pattern))
                if not ratios:
                    continue
                worst = (min if over == "builder" else max)(ratios, key=ratios.get)
                line += (f"{geomean(ratios.values()):12.2f}{ratios[worst]:6.2f} "
                         f"{worst.removeprefix('MQC_')[:16]:17}")
            lines.append(line.rstrip())
    return lines


def targets(results, against):
    """What is asked for, the limit, whether it is a least value, and what was measured."""
    builder, floor = ([results.ratios((over, c), (under, c)).values() for c in COUNTS]
                      for over, under in (("builder", "compact"), ("compact", "floor")))
    full = results.ratios(("full", "4096"), ("fullfloor", "4096")).values()
    yield "compact / floor, mean of each", 2.0, False, max(map(geomean, floor))
    yield "builder / compact, mean of each", 4.5, True, min(map(geomean, builder))
    yield "builder / compact, least", 2.6, True, min(map(min, builder))
    yield ("compact, 4096 records / 1, worst", 1.25, False,
           max(results.ratios(("compact", "4096"), ("compact", "1")).values()))
    yield "full / f.floor, mean", 0.6, False, geomean(full)
    yield "ours of a stub call, ns", 15, False, results.call("all") / 55
    if against:
        yield ("match_all, 4096 records, now / then", 0.37, False,
               results.ratios(("compact", "4096"), ("compact", "4096"), against)[MATCH_ALL])


def verdicts(by_compiler, against):
    """The targets as lines."""
    for rows in zip(*(targets(results, against.get(compiler))
                      for compiler, results in by_compiler.items())):
        title, limit, least, _ = rows[0]
        cells = (f"{found:9.2f} {'met' if (found >= limit if least else found <= limit) else 'missed':7}"
                 for *_, found in rows)
        yield f"{title:36} {'at least' if least else 'at most':8} {limit:5}" + "".join(cells)


def print_against(by_compiler, against):
    for compiler, then in against.items():
        now = by_compiler[compiler]
        for who in ("compact", "size", "pair", "full"):
            line = f"{compiler:6} {who:8} now / then"
            for pattern in (*COUNTS, "none", "all"):
                ratios = now.ratios((who, pattern), (who, pattern), then)
                line += f"  {pattern} {geomean(ratios.values()):.2f} ({ratios.get(MATCH_ALL):.2f})"
            print(line)


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def plot_messages(by_compiler, path):
    figure, axes = pyplot.subplots(len(by_compiler), figsize=(9, 7), sharex=True)
    for axis, (compiler, results) in zip(axes, by_compiler.items()):
        names = [message.removeprefix("MQC_") for message in results.messages]
        for who, colour in COLOURS.items():
            costs = [results.cost(f"{who}/{message}/4096") for message in results.messages]
            axis.plot(names, costs, ".-", color=colour, label=who, linewidth=0.7)
        axis.set(yscale="log", ylabel=f"{compiler}: ns, 4096 records in turn")
        axis.grid(alpha=0.3)
    axes[0].legend(ncol=4)
    axes[-1].tick_params(axis="x", rotation=90)
    axes[-1].set_xlabel("messages, from the shortest compact encoding to the longest")
    save(figure, path)


def plot_lines(by_compiler, axis, contestants, xs, cost):
    for compiler, results in by_compiler.items():
        for who in contestants:
            axis.plot(xs, [cost(results, who, x) for x in xs], STYLES[compiler] + ".",
                      color=COLOURS[who], label=f"{who}, {compiler}", linewidth=0.8)
    axis.set(xscale="log", yscale="log")
    axis.set_xscale("log", base=2)
    axis.grid(alpha=0.3)


def plot_records(by_compiler, path):
    figure, axes = pyplot.subplots(1, 4, figsize=(10, 3.4))
    counts = [4 ** i for i in range(7)]
    who = ("compact", "builder", "floor")
    plot_lines(by_compiler, axes[0], who, counts, lambda results, *of: results.mean(*of))
    axes[0].set(title="all messages, geometric mean", ylabel="ns")
    for axis, message in zip(axes[1:], ("MQC_match_acl", "MQC_qos_car", MATCH_ALL)):
        plot_lines(by_compiler, axis, who, counts,
                   lambda results, who, count: results.cost(f"{who}/{message}/{count}"))
        axis.set(title=message, xlabel="records in turn")
    axes[0].legend(fontsize=6)
    save(figure, path)


def plot_batch(by_compiler, path):
    figure, axis = pyplot.subplots(figsize=(6, 4))
    plot_lines(by_compiler, axis, ("compact", "builder", "floor"), [2 ** i for i in range(10, 17)],
               lambda results, who, n: results.cost(f"{who}/MQC_BrkBatchMsg/{n}B"))
    axis.set(xlabel="bytes in the caller's buffer", ylabel="ns")
    axis.legend()
    save(figure, path)


def first_line(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.split("\n")[0]


def machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    return (f"{time.strftime('%Y-%m-%d')}, {cpu[1] if cpu else platform.machine()}, "
            f"Linux {platform.release()}, {' '.join(platform.libc_ver())};\n"
            f"{first_line('g++', '--version')}; {first_line('clang++', '--version')}.")


def update(page, lines):
    """Replaces what stands between the page's two marks."""
    text = page.read_text()
    new, found = re.subn(r"(<!-- figures: .* -->\n).*?(<!-- end of figures -->)",
                         lambda marks: marks[1] + "\n" + machine() + "\n\n```\n"
                         + "\n".join(lines) + "\n```\n\n" + marks[2], text, flags=re.DOTALL)
    if found != 1:
        sys.exit(f"report.py: {page} has no place for the figures")
    page.write_text(new)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    directory, *pages = map(pathlib.Path, sys.argv[1:])
    by_compiler = {compiler: Results(directory, compiler) for compiler in STYLES}
    against = {compiler: Results(directory, compiler, "-against") for compiler in STYLES
               if list(directory.glob(f"{compiler}-against.*.run"))}
    for compiler, results in by_compiler.items():
        print_messages(compiler, results)
    lines = summary(by_compiler)
    if results.timed:  # callgrind counts a string instruction once for each byte
        lines += ["", *verdicts(by_compiler, against)]
        place = pages[0].parent if pages else directory
        plot_messages(by_compiler, place / "performance_messages.svg")
        plot_records(by_compiler, place / "performance_records.svg")
        plot_batch(by_compiler, place / "performance_batch.svg")
    print("\n".join(lines))
    print_against(by_compiler, against)
    if pages:
        update(pages[0], lines)


main()

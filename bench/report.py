"""Prints what the runs of mqc_bench say and draws it.

usage: report.py DIRECTORY [PAGE]

DIRECTORY holds, for each compiler, COMPILER.list, what mqc_bench --list printed, and
COMPILER.N.run, the JSON of one process's timings or one callgrind profile with a part for each
contestant; COMPILER-then.N.run is the same with another commit's library. Of a process's
repetitions the fastest counts; ratios are formed within a run and pooled over the runs by their
geometric mean. Plots go into DIRECTORY, or into pictures/ next to PAGE, whose figures are replaced.
"""

import json
import pathlib
import re
import subprocess
import sys
import time

import matplotlib
import numpy as np
from matplotlib import pyplot

matplotlib.rcParams.update({"svg.hashsalt": "mqc_bench", "svg.fonttype": "none", "font.size": 8})

COUNTS = ("1", "64", "4096")
COUNTED_TURNS = 64  # encodings in one part of a callgrind profile
COLOURS = {"compact": "tab:blue", "full": "tab:green", "builder": "tab:red", "floor": "tab:gray"}
STYLES = {"gcc": ".-", "clang": ".--"}
MATCH_ALL = "MQC_match_all"
METHODS = (pathlib.Path(__file__).parents[1] / "schema" / "mqc_fes_intf_service.fbs").read_text() \
    .count("): mqc.MqcReply;")


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
    """One compiler's, with this tree's library or, from COMPILER-then, another commit's."""

    def __init__(self, directory, compiler, build=""):
        paths = sorted(directory.glob(f"{compiler}{build}.*.run"))
        self.timed = paths[0].open().read(1) == "{"
        self.counts = COUNTS if self.timed else COUNTS[:2]
        self.patterns = (*self.counts, "none", "all")
        runs = [(read_timings if self.timed else read_instructions)(path) for path in paths]
        self.costs = {name: np.array([run[name] for run in runs]) for name in runs[0]}
        rows = [line.split() for line in (directory / f"{compiler}.list").open()]
        self.bytes = {name.split("/")[0]: [round(float(cell)) for cell in cells[:3]]
                      for name, *cells in rows if not name.endswith("B")}
        self.messages = sorted(self.bytes, key=lambda message: self.bytes[message][1])

    def cost(self, who, message, pattern):
        return np.median(self.costs.get(f"{who}/{message}/{pattern}", np.nan))

    def mean(self, who, pattern):
        return geomean(self.cost(who, message, pattern) for message in self.messages)

    def ratios(self, over, under, then=None):
        """By message; over and under are (contestant, pattern), then holds under's costs."""
        found = {}
        for message in self.messages:
            a = self.costs.get(f"{over[0]}/{message}/{over[1]}")
            b = (then or self).costs.get(f"{under[0]}/{message}/{under[1]}")
            if a is not None and b is not None:
                found[message] = geomean(a / b)
        return found


def short(message):
    return message.removeprefix("MQC_")


def show(value, width):
    digits = 2 if value < 9.995 else 1 if value < 99.95 else 0
    return "-".rjust(width) if np.isnan(value) else f"{value:{width}.{digits}f}"


def print_messages(compiler, results):
    counts, last = results.counts, results.counts[-1]
    unit = f"{'ns' if results.timed else 'instructions'}, {last} records"
    widths = {"compact": 5, "pair": 5, "full": 5, "builder": 6, "floor": 6}
    columns = [results.ratios((over, count), (under, count)) for over, under in
               (("builder", "compact"), ("compact", "floor")) for count in counts]
    columns.append(results.ratios(("full", last), ("fullfloor", last)))
    heads = "".join(f"{count:>5}" for count in counts)
    print(f"{compiler:20}{'bytes':^14}{unit:^27} {'build/comp':>{len(heads)}}"
          f"{'comp/fl.':>{len(heads)}} full/")
    print(f"{'message':20} rec comp full comp pair full build floor {heads}{heads} f.fl.")
    for message in results.messages:
        cells = [f"{short(message):20}"]
        cells += [f"{size or '-':>{width}}"
                  for size, width in zip(results.bytes[message], (4, 5, 5))]
        cells += [show(results.cost(who, message, last), width) for who, width in widths.items()]
        print("".join(cells), "".join(show(column.get(message, np.nan), 5) for column in columns))
    print()


def summary(by_compiler):
    """Geometric means over the messages, and the worst, as lines."""
    yield f"{'ratio':18}{'records':>8}" + "".join(f"{compiler + ': mean':>13}{'worst':>6} {'of':16}"
                                                 for compiler in by_compiler)
    first = next(iter(by_compiler.values()))
    every, last = first.patterns, first.counts[-1:]
    for over, under, patterns in (("builder", "compact", every), ("compact", "floor", every),
                                  ("full", "fullfloor", last), ("size", "compact", last),
                                  ("pair", "compact", last)):
        for pattern in patterns:
            line = f"{f'{over} / {under}':18}{pattern:>8}"
            for results in by_compiler.values():
                ratios = results.ratios((over, pattern), (under, pattern))
                worst = (min if over == "builder" else max)(ratios, key=ratios.get)
                line += (f"{geomean(ratios.values()):13.2f}{ratios[worst]:6.2f} "
                         f"{short(worst)[:16]:16}")
            yield line.rstrip()


def targets(results):
    """What is asked for, the limit, whether it is a least value, and what was measured."""
    builder, floor, full = ([results.ratios((over, c), (under, c)).values() for c in COUNTS]
                            for over, under in (("builder", "compact"), ("compact", "floor"),
                                                ("full", "fullfloor")))
    yield "compact / floor, mean at each of 1, 64, 4096", 2.0, False, max(map(geomean, floor))
    yield "builder / compact, mean at each", 4.5, True, min(map(geomean, builder))
    yield "builder / compact, least", 2.6, True, min(map(min, builder))
    yield ("compact, 4096 records / 1, worst", 1.25, False,
           max(results.ratios(("compact", "4096"), ("compact", "1")).values()))
    yield "full / fullfloor, mean at each", 0.6, False, max(map(geomean, full))
    yield ("call of a stub without the runtime, ns", 15, False,
           (results.cost("call", "stub", "all") - results.cost("call", "runtime", "all")) / METHODS)


def verdicts(compilers, rows):
    """Targets as lines, one tuple of rows for each, with a row of every compiler."""
    for row in rows:
        title, limit, least, _ = row[0]
        yield f"{title:45}{'at least' if least else 'at most':9}{limit:4}" + "".join(
            f"  {compiler}: {found:.2f} "
            f"{'met' if (found >= limit if least else found <= limit) else 'missed'}"
            for compiler, (*_, found) in zip(compilers, row))


def print_comparison(by_compiler, thens):
    patterns = next(iter(thens.values())).patterns
    print(f"\n{'now / then':15}", *(f"{pattern:>11}" for pattern in patterns), "  mean, worst")
    for compiler, then in thens.items():
        for who in ("compact", "size", "pair", "full"):
            found = [by_compiler[compiler].ratios((who, pattern), (who, pattern), then).values()
                     for pattern in patterns]
            print(f"{f'{compiler}: {who}':15}",
                  *(f"{geomean(ratios):6.2f} {max(ratios):4.2f}" for ratios in found))
    last = ("compact", "4096")
    rows = [("compact MQC_match_all, 4096 records", 0.37, False,
             by_compiler[compiler].ratios(last, last, then)[MATCH_ALL])
            for compiler, then in thens.items()]
    print(*verdicts(thens, [rows]))


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def plot_messages(by_compiler, path):
    figure, axes = pyplot.subplots(len(by_compiler), figsize=(9, 7), sharex=True)
    for axis, (compiler, results) in zip(axes, by_compiler.items()):
        for who, colour in COLOURS.items():
            axis.plot([short(message) for message in results.messages],
                      [results.cost(who, message, "4096") for message in results.messages],
                      color=colour, label=who, linewidth=1)
        axis.set(yscale="log", ylabel=f"{compiler}: ns, 4096 records in turn")
        axis.yaxis.set_major_formatter("{x:g}")
        axis.grid(axis="y", alpha=0.3)
        axis.margins(x=0.01)
    axes[0].legend(ncol=4)
    axes[-1].tick_params(axis="x", rotation=90)
    axes[-1].set_xlabel("messages, from the shortest compact encoding to the longest")
    save(figure, path)


def plot_lines(by_compiler, axis, xs, cost):
    """Both compilers' cost(results, contestant, x)."""
    for compiler, results in by_compiler.items():
        for who in ("builder", "compact", "floor"):
            axis.plot(xs, [cost(results, who, x) for x in xs], STYLES[compiler],
                      color=COLOURS[who], label=f"{who}, {compiler}", linewidth=0.8)
    axis.set(xscale="log", yscale="log")
    axis.set_xticks(xs, [f"{x:,}" for x in xs], rotation=90)
    axis.minorticks_off()
    axis.yaxis.set_major_formatter("{x:g}")
    axis.grid(alpha=0.3)


def plot_records(by_compiler, path):
    figure, axes = pyplot.subplots(1, 4, figsize=(10, 3.4), sharey=True)
    counts = [4 ** i for i in range(7)]
    plot_lines(by_compiler, axes[0], counts, Results.mean)
    axes[0].set(title="all messages, geometric mean", ylabel="ns", xlabel="records in turn")
    axes[0].legend(fontsize=6)
    for axis, message in zip(axes[1:], ("MQC_match_acl", "MQC_qos_car", MATCH_ALL)):
        plot_lines(by_compiler, axis, counts,
                   lambda results, who, count: results.cost(who, message, count))
        axis.set(title=message, xlabel="records in turn")
    save(figure, path)


def plot_batch(by_compiler, path):
    figure, axis = pyplot.subplots(figsize=(6, 4))
    plot_lines(by_compiler, axis, [2 ** i for i in range(10, 17)],
               lambda results, who, n: results.cost(who, "MQC_BrkBatchMsg", f"{n}B"))
    axis.set(xlabel="bytes in the caller's buffer", ylabel="ns")
    axis.legend()
    save(figure, path)


def plot(by_compiler, directory):
    for name, draw in (("messages", plot_messages), ("records", plot_records),
                       ("batch", plot_batch)):
        draw(by_compiler, directory / f"performance_{name}.svg")


def machine():
    def output(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    return "; ".join([time.strftime("%Y-%m-%d"), re.search("Model name: *(.*)", output("lscpu"))[1],
                      *(output(*command).split("\n")[0] for command in (
                          ("uname", "-sr"), ("g++", "--version"), ("clang++", "--version")))])


def update(page, lines, what="figures"):
    """Replaces what stands between the page's two marks."""
    figures = "\n".join(["", machine(), "", "```", *lines, "```", "", ""])
    text, found = re.subn(rf"(<!-- {what}.*? -->\n).*?(?=<!-- end of {what} -->)",
                          lambda mark: mark[1] + figures, page.read_text(), flags=re.DOTALL)
    if found != 1:
        sys.exit(f"report.py: {page} has no place for the figures")
    page.write_text(text)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit("usage: report.py DIRECTORY [PAGE]")
    directory, *pages = map(pathlib.Path, sys.argv[1:])
    by_compiler = {compiler: Results(directory, compiler) for compiler in STYLES}
    thens = {compiler: Results(directory, compiler, "-then") for compiler in STYLES
             if list(directory.glob(f"{compiler}-then.*.run"))}
    for compiler, results in by_compiler.items():
        print_messages(compiler, results)
    lines = list(summary(by_compiler))
    if results.timed:  # callgrind counts a string instruction once for each byte
        lines += verdicts(by_compiler, zip(*map(targets, by_compiler.values())))
        plot(by_compiler, pages[0].parent / "pictures" if pages else directory)
    print(*lines, sep="\n")
    if thens:
        print_comparison(by_compiler, thens)
    if pages:
        update(pages[0], lines)


if __name__ == "__main__":
    main()

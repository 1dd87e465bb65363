"""Prints what delivery_bench has measured, medians over its repetitions, and draws it.

usage: delivery_report.py DIRECTORY [PAGE]

DIRECTORY holds delivery.json, the program's output. The plot goes into DIRECTORY, or into pictures/ next to
PAGE, whose figures are replaced.
"""

import json
import pathlib
import sys

import numpy as np
from matplotlib import pyplot
from report import save, update, verdicts

WAYS = {"stream": "tab:blue", "unary": "tab:green", "bare": "tab:gray"}
TITLES = {"stream": "one stream", "unary": "unary", "bare": "bare gRPC, unary"}
UNDER_WAY = (1, 10, 100, 1000, 10000)
THREADS = (4, 16, 64)


def read(path):
    """Calls a second and bytes a call, by benchmark name."""
    rates, bytes_ = {}, {}
    for row in json.loads(path.read_text())["benchmarks"]:
        if "error_message" in row:
            sys.exit(f"delivery_report.py: {row['name']}: {row['error_message']}")
        if row["run_type"] == "iteration":
            name = row["run_name"].replace("/real_time", "").replace("/threads:", "/").split("/iterations")[0]
            rates.setdefault(name, []).append(row["items_per_second"])
            bytes_.setdefault(name, []).append(row.get("bytes", 0))
    return ({name: np.median(several) for name, several in found.items()} for found in (rates, bytes_))


def figures(rates, bytes_):
    def row(title, numbers):
        return f"{title:45}" + "".join(f"{number:>11}" for number in numbers)

    def per_second(name):
        return (f"{rates[name.format(way)]:,.0f}" for way in WAYS)

    yield row("", (TITLES[way].split(",")[0] for way in WAYS))
    yield row("synchronous call, microseconds", (f"{1e6 / rates[f'call/{way}']:.1f}" for way in WAYS))
    for threads in THREADS:
        yield row(f"synchronous calls a second, {threads} threads", per_second(f"threads/{{}}/{threads}"))
    for calls in UNDER_WAY:
        yield row(f"asynchronous calls a second, {calls:,} under way", per_second(f"async/{{}}/{calls}"))
    yield row("bytes for a call under way", (f"{bytes_[f'memory/{way}/10000']:,.0f}"
                                                 for way in ("stream", "unary")))
    yield from verdicts(["gcc"], [
        [("asynchronous calls, stream / unary", 20, True, rates["async/stream/1000"] / rates["async/unary/1000"])],
        [("synchronous call, stream / unary", 0.75, False, rates["call/unary"] / rates["call/stream"])],
        [("synchronous call, unary / bare gRPC", 1.05, False, rates["call/bare"] / rates["call/unary"])]])


def plot(rates, path):
    figure, axis = pyplot.subplots(figsize=(6, 4))
    for way, colour in WAYS.items():
        axis.plot(UNDER_WAY, [rates[f"async/{way}/{calls}"] for calls in UNDER_WAY], ".-", color=colour,
                  label=TITLES[way])
    axis.set(xscale="log", yscale="log", xlabel="asynchronous calls under way", ylabel="calls a second")
    for scale in (axis.xaxis, axis.yaxis):
        scale.set_major_formatter("{x:,g}")
    axis.grid(alpha=0.3)
    axis.legend()
    save(figure, path)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit("usage: delivery_report.py DIRECTORY [PAGE]")
    directory, *pages = map(pathlib.Path, sys.argv[1:])
    rates, bytes_ = read(directory / "delivery.json")
    lines = list(figures(rates, bytes_))
    print(*lines, sep="\n")
    plot(rates, (pages[0].parent / "pictures" if pages else directory) / "performance_delivery.svg")
    if pages:
        update(pages[0], lines, "delivery")


main()

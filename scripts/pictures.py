#!/usr/bin/env python3
"""Draws for docs/pictures the calls of a request, and byte maps of a golden in both encodings.

usage: pictures.py TARN_INSPECT OUTPUT_DIR
"""
import pathlib
import re
import subprocess
import sys
from html import escape

TREE = pathlib.Path(__file__).resolve().parent.parent
METHOD, GOLDENS = "sendRuleMac", TREE / "tests/goldens/templates.txt"

# Kinds of bytes as tarn-inspect names them, what the legend calls them, and their colours in light
# and dark.
KINDS = {
    "root": ("root offset", "#f9c6c9", "#8a3a40"),
    "vtable": ("vtable", "#d5d9f7", "#454c8f"),
    "table": ("table-to-vtable offset", "#e6d0f0", "#6b4380"),
    "scalar": ("number", "#cdebc8", "#3b6d35"),
    "offset": ("offset field", "#fbe3b5", "#7d5a14"),
    "count": ("count", "#c4e6ea", "#25666e"),
    "elements": ("elements", "#dff3f5", "#1c4b52"),
    "gap": ("not written", "#eeeeee", "#3a3a3a"),
}
STYLE = """
text{font-family:DejaVu Sans Mono,Menlo,Consolas,monospace;fill:#1b1f24}
.page{fill:#ffffff}.line{stroke:#57606a}.head{fill:#57606a}.box{fill:#eef1f4;stroke:#57606a}
.small{font-size:10px}.hex{font-size:13px}.faint{fill:#57606a}
@media (prefers-color-scheme:dark){text{fill:#e6edf3}.page{fill:#0d1117}.line{stroke:#8b949e}
.head{fill:#8b949e}.box{fill:#21262d;stroke:#8b949e}.faint{fill:#9aa4af}%s}
"""


def golden(encoding):
    """The first golden of the method: its bytes as text, "--" where none is written."""
    text = GOLDENS.read_text().split(f"\n{METHOD}\n", 1)[1].split("\n\n", 1)[0]
    tokens = re.search(rf"^ +{encoding} ((?:.|\n)*?)(?=^ +[a-z]|\Z)", text, re.M)[1].split()
    cells = []
    for token in tokens:
        times, _, unit = token.rpartition("*")
        if token != ".":
            cells += re.findall("..", unit) * int(times or 1)
    return cells


def meanings(inspect, cells):
    """tarn-inspect's items: position, length, meaning."""
    message = bytes(0 if cell == "--" else int(cell, 16) for cell in cells)
    text = subprocess.run([inspect, "--annotate", "--method", METHOD, "-"], input=message,
                          stdout=subprocess.PIPE, check=True).stdout.decode()
    lines = re.findall(r"^  \+(\w+) +((?:[0-9A-F]{2} )+) *(.*)$", text, re.M)
    items = [(int(place, 16), len(codes.split()), words) for place, codes, words in lines]
    if sum(length for _, length, _ in items) != len(cells):
        sys.exit("pictures.py: tarn-inspect does not show every byte")
    return items


def label(words):
    """The kind of an item, and what stands below its bytes."""
    what, _, value = words.partition(": ")
    path = what.partition(" of ")[2]
    if what == "gap":
        return "gap", ""
    if what.startswith("root offset"):
        return "root", "to " + value
    if what.startswith(("vtable size", "table size")):
        return "vtable", what.split()[0][0:6] + " " + value
    if what.startswith("field offset"):
        return "vtable", path.rpartition(".")[2] + " " + value.replace("absent", "–")
    if what.startswith("table-to-vtable"):
        return "table", "to " + value
    if what.startswith("offset field"):
        return "offset", f"{path} → {value}"
    if what.startswith("count"):
        return "count", "count " + value
    if "[" in what:
        return "elements", what.partition("[")[0]
    return "scalar", what + " = " + value.split()[1]


def svg(width, height, title, body):
    dark = "".join(f".{kind}{{fill:{colours[2]}}}" for kind, colours in KINDS.items())
    light = "".join(f".{kind}{{fill:{colours[1]}}}" for kind, colours in KINDS.items())
    shown = min(width, 900)  # what fits next to the site's list of pages
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{shown}" '
            f'height="{height * shown // width}" '
            f'viewBox="0 0 {width} {height}" role="img">\n<title>{escape(title)}</title>\n'
            f"<style>{light}{STYLE % dark}</style>\n"
            f'<rect class="page" width="{width}" height="{height}"/>\n' + "\n".join(body) +
            "\n</svg>\n")


def text(x, y, words, classes, anchor="middle"):
    return f'<text x="{x}" y="{y}" class="{classes}" text-anchor="{anchor}">{escape(words)}</text>'


ROW, CELL, HIGH, LEFT, TOP, PITCH = 16, 44, 26, 56, 48, 52


def runs(position, length):
    """The parts of an item that stand in one row each: row, column, cells."""
    while length > 0:
        row, column = divmod(position, ROW)
        cells = min(length, ROW - column)
        yield row, column, cells
        position, length = position + cells, length - cells


def byte_map(inspect, encoding):
    cells, body = golden(encoding), []
    for number, (kind, (name, _, _)) in enumerate(KINDS.items()):
        x = LEFT + 4 + number % 4 * 176
        y = 8 + number // 4 * 16
        body.append(f'<rect class="{kind} line" x="{x}" y="{y}" width="14" height="11"/>')
        body.append(text(x + 20, y + 9, name, "small", "start"))
    for position, length, words in meanings(inspect, cells):
        kind, below = label(words)
        parts = list(runs(position, length))
        widest = max(parts, key=lambda part: part[2])
        for row, column, count in parts:
            x, y = LEFT + column * CELL, TOP + row * PITCH
            body.append(f'<rect class="{kind} line" x="{x}" y="{y}" width="{count * CELL}" '
                        f'height="{HIGH}" rx="3"/>')
            if (row, column, count) == widest:
                body.append(text(x + count * CELL // 2, y + HIGH + 12, below, "small"))
    for position, cell in enumerate(cells):
        row, column = divmod(position, ROW)
        x, y = LEFT + column * CELL + CELL // 2, TOP + row * PITCH
        body.append(text(x, y + 18, cell, "hex"))
        if column == 0:
            body.append(text(LEFT - 8, y + 18, f"+{position:02X}", "small faint", "end"))
    rows = (len(cells) + ROW - 1) // ROW
    return svg(LEFT + ROW * CELL + 12, TOP + rows * PITCH,
               f"{METHOD}, {encoding} encoding: {len(cells)} bytes and what they mean", body)


LIFELINES = ("caller", "libtarn_cli_mqc", "platform", "MqcFesIntf service")
# From, to, words, whether it is an answer.
CALLS = (
    (0, 1, f"MqcFesIntf_{METHOD}(req, opt)", False),
    (1, 2, "RPC_GetRpcInvoke(address, opt)", False),
    (2, 1, "handle", True),
    (1, 2, "RPC_IdlSyncCallNoOutStub(handle, req, …)", False),
    (2, 1, "pack(NULL, req), or fullSize()", False),
    (1, 2, "length", True),
    (2, 1, "pack(cursor, req), or packFull(out, req)", False),
    (1, 2, "bytes", True),
    (2, 3, "message", False),
    (3, 2, "status", True),
    (2, 1, "status", True),
    (1, 0, "status", True),
)


def call_diagram():
    width, step, top = 260, 30, 40
    x = [90 + width * i for i in range(len(LIFELINES))]
    bottom = top + step * len(CALLS) + 14
    body = []
    for place, name in zip(x, LIFELINES):
        body.append(f'<path class="line" d="M{place} 36V{bottom}" stroke-dasharray="3 4"/>')
        body.append(f'<rect class="box" x="{place - 80}" y="8" width="160" height="28" rx="4"/>')
        body.append(text(place, 27, name, "hex"))
    for number, (start, end, words, answer) in enumerate(CALLS):
        y = top + step * (number + 1) - 8
        side = 1 if x[end] > x[start] else -1
        dashes = ' stroke-dasharray="6 4"' if answer else ""
        body.append(f'<path class="line" d="M{x[start]} {y}H{x[end] - 7 * side}"{dashes}/>')
        body.append(f'<path class="head" d="M{x[end]} {y}l{-9 * side} -4v8z"/>')
        body.append(text((x[start] + x[end]) // 2, y - 6, words, "small"))
    return svg(x[-1] + 90, bottom + 8, "The calls of a synchronous request", body)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: pictures.py TARN_INSPECT OUTPUT_DIR")
    inspect, output = sys.argv[1], pathlib.Path(sys.argv[2])
    for encoding in ("compact", "full"):
        (output / f"{encoding}.svg").write_text(byte_map(inspect, encoding))
    (output / "call.svg").write_text(call_diagram())


main()

#!/usr/bin/env python3
"""Breaks the library one token at a time and sees that a test notices.

usage: mutate.py [--file NAME] [--count N] [--seed S] [--list]

Works on a copy of the tree in build/mutants. Each mutant is built and run against the test programs
until one fails. A mutant that none notices is a survivor: a gap in the tests, or equivalent, which
scripts/equivalent_mutants.txt then says and why. Exits with 1 when there is another survivor.
"""

import argparse
import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
SOURCES = ["codec/*.h", "codec/*.cpp", "stubs/*.cpp", "msg/*.h", "msg/*.cpp"]
NOT_IN_THE_LIBRARY = {"codec/table_info.h"}
REFUSE_IN_WORDS = {"codec/slots.h", "codec/layout.h", "codec/full.h"}
TESTS = ["roll_call_test", "codec_test", "golden_test", "contract_test", "digest_test",
         "read_back_test"]

SWAPS = {"+": "-", "-": "+", "*": "+", "/": "*", "==": "!=", "!=": "==", "<": "<=", ">": ">=",
         "<=": "<", ">=": ">", "&&": "||", "||": "&&", "+=": "-=", "&": "|"}
WORDS = {"true": "false", "false": "true", "size": "count", "field": "body", "body": "field",
         "offset": "size", "checked": "direct", "direct": "checked", "length": "4 + length", "u16": "u32", "u32": "u16", "slots": "vtable",
         "Type##_packFull": "nullptr", "call": "callOneway", "first": "next", "count": "size",
         "big": "little", "little": "big", "buf": "req", "table": "vtable", "vtable": "table"}
TOKEN = re.compile(r'"(?:\\.|[^"])*"|//.*|\b0x[0-9A-Fa-f]+\b|\b\d+\b|(?<= )[-+*/<>=!&|]{1,2}(?= )'
                   r"|!(?=\w)|\w+(?:##\w+)?")


def replacements(token):
    if token.startswith("//"):
        return
    if token.startswith('"'):
        yield token[:-1] + '!"'
    elif token == "!":
        yield ""
    elif re.fullmatch(r"0x[0-9A-Fa-f]+|\d+", token):
        yield str(int(token, 0) + 1)
    elif token in SWAPS:
        yield SWAPS[token]
    elif token in WORDS:
        yield WORDS[token]


def mutants():
    for pattern in SOURCES:
        for path in sorted(ROOT.glob(pattern)):
            name = str(path.relative_to(ROOT))
            if name in NOT_IN_THE_LIBRARY:
                continue
            for number, line in enumerate(path.read_text().splitlines()):
                code = line.lstrip()
                if code.startswith(("#include", "#ifndef", "#endif", "static_assert", "//", "///")):
                    continue
                if re.match(r"#define \w+$", code) or "SLOTS(" in code or "SLOT(" in code:
                    continue
                for match in TOKEN.finditer(line):
                    if name in REFUSE_IN_WORDS and match.group().startswith('"'):
                        continue
                    for new in replacements(match.group()):
                        yield name, number, line[:match.start()] + new + line[match.end():]


def run(*command, seconds=120):
    try:
        done = subprocess.run(command, cwd=WORK, capture_output=True, timeout=seconds, check=False)
        return done.returncode == 0
    except subprocess.TimeoutExpired:
        return False


def noticed_by():
    if not run("cmake", "--build", "build", "--target", *TESTS):
        return "compiler"
    for test in TESTS:
        if not run(f"build/tests/{test}", "--gtest_brief=1", seconds=60):
            return test
    if not run("ctest", "--test-dir", "build", "-R", "SlotListErrors"):
        return "SlotListErrors"
    return None


def prepare():
    shutil.rmtree(WORK, ignore_errors=True)
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True)
    for name in files.stdout.decode().split("\0"):
        if name and (ROOT / name).is_file():
            (WORK / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, WORK / name)
    configured = run("cmake", "-G", "Ninja", "-S", ".", "-B", "build",
                     "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w")
    if not configured:
        sys.exit("mutate.py: the copy cannot be configured; scripts/test.sh installs what it needs")
    noticed = noticed_by()
    if noticed is not None:
        sys.exit(f"mutate.py: {noticed} fails before anything is broken")


def equivalents():
    path = ROOT / "scripts" / "equivalent_mutants.txt"
    rows = [line.split(" | ") for line in path.read_text().splitlines() if " | " in line]
    return {(row[0].strip(), row[1].strip()) for row in rows}


def try_mutant(name, number, mutated):
    path = WORK / name
    original = path.read_text()
    lines = original.splitlines(keepends=True)
    lines[number] = mutated + "\n"
    path.write_text("".join(lines))
    result = noticed_by()
    path.write_text(original)
    return result


def main():
    parser = argparse.ArgumentParser(usage="mutate.py [--file NAME] [--count N] [--seed S] [--list]")
    parser.add_argument("--file", default="", help="of this source alone")
    parser.add_argument("--count", type=int, default=0, help="as many, drawn by chance; 0: all")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--list", action="store_true")
    arguments = parser.parse_args()
    chosen = [mutant for mutant in mutants() if arguments.file in ("", mutant[0])]
    if 0 < arguments.count < len(chosen):
        chosen = random.Random(arguments.seed).sample(chosen, arguments.count)
    if arguments.list:
        for name, number, mutated in chosen:
            print(f"{name}:{number + 1}: {mutated.strip()}")
        return 0

    prepare()
    known = equivalents()
    tally, survivors = {}, 0
    for name, number, mutated in chosen:
        result = try_mutant(name, number, mutated)
        if result is None:
            result = "equivalent" if (name, mutated.strip()) in known else "survivor"
            survivors += result == "survivor"
            print(f"{result}: {name}:{number + 1}: {mutated.strip()}", flush=True)
        tally[result] = tally.get(result, 0) + 1
    print(f"{len(chosen)} mutants: " + ", ".join(f"{n} {who}" for who, n in sorted(tally.items())))
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())

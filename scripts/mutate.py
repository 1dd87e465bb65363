#!/usr/bin/env python3
"""Breaks the library and the platforms one token or statement at a time and checks that a test fails.

usage: mutate.py [--file NAME] [--count N] [--seed S] [--jobs J] [--list]

Works on copies of the tree in build/mutants, one for each job. Each mutant is built and run against
the test programs that matter for its source, the likeliest first, until one fails. A mutant that none
notices is a survivor: a gap in the tests, or equivalent, which scripts/equivalent_mutants.txt then
says and why. Exits with 1 when there is another survivor.

Each result is a line on stdout. A run that was cut short goes on where it stopped, as long as no file
that is built here has changed since: results are kept in build/mutants. Asks for what the tests with
clang ask for; "scripts/test.sh clang" installs it.
"""

import argparse
import concurrent.futures
import contextlib
import hashlib
import os
import pathlib
import queue
import re
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
ENCODERS = ["golden_test", "roll_call_test", "contract_test", "schema_test", "model_test"]
# Sources and the tests that matter for them. thread/ is a build under the thread sanitizer.
TESTS_OF = [
    ("codec/contract.cpp", ["contract_test", "roll_call_test", "thread/contract_test"]),
    ("codec/contract.h", ["contract_test", *ENCODERS]),
    ("codec/slots.h", ["codec_test", "SlotListErrors", *ENCODERS]),
    ("codec/layout.h", ["codec_test", "SlotListErrors", *ENCODERS]),
    ("codec/*.h", ["codec_test", *ENCODERS, "SlotListErrors"]),
    ("stubs/*", ["roll_call_test", *ENCODERS]),
    ("msg/*", ENCODERS),
    ("shared/tls.cpp", ["setup_test", "edges_test"]),
    ("shared/grpc_errors.*", ["setup_test", "edges_test", "grpc_test"]),
    *[(f"shared/{name}.*", ["platform_test", "thread/platform_test"])
      for name in ("capture", "encode", "printable", "report", "temporary_file")],
    *[(f"shared/{name}.*", ["recording_test"])
      for name in ("recording", "recording_files", "recording_packet")],
    ("shared/section.*", ["recording_test", "thread/record_test"]),
    *[(pattern, ["script_test", "thread/script_test"])
      for pattern in ("script/*", "reader/number.*", "methods/json_text.*")],
    ("shared/start_recording.*", ["recording_test", "platform_test"]),
    ("shared/status_text.*", ["setup_test"]),
    ("record/pending.*", ["record_test", "recording_test"]),
    *[(f"record/{name}.*", ["record_test", "Record.Programs"]) for name in ("platform", "settings")],
    ("record/*", ["record_test"]),
    ("platform/common/*", ["platform_test", "thread/platform_test"]),
    ("platform/loopback/*", ["platform_test", "thread/platform_test"]),
    *[(f"platform/grpc/{name}.*", ["stream_test", "life_test", "grpc_test", "stats_test"])
      for name in ("envelope", "exchange", "queue", "stream", "stream_call")],
    *[(f"platform/grpc/{name}.*", ["life_test", "stream_test", "grpc_test", "stats_test"])
      for name in ("channel", "channels", "connectivity", "states", "callbacks")],
    *[(f"platform/grpc/{name}.*", ["stats_test"]) for name in ("metrics", "stats", "stats_file", "totals")],
    *[(f"platform/grpc/{name}.*", ["setup_test", "connection_test"])
      for name in ("connection", "service_config", "settings", "target")],
    ("platform/grpc/*", ["setup_test", "edges_test", "grpc_test", "threads_test"]),
]
# Tests that are scripts, and the targets that they need.
SCRIPTS = {"SlotListErrors": [],
           "Record.Programs": ["send_all", "caller", "linked_caller", "opener", "calls", "device"]}
# Fast to build: nothing is optimized.
CONFIGURE = ["cmake", "-G", "Ninja", "-S", ".", "-DCMAKE_C_COMPILER=clang",
             "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_BUILD_TYPE=None",
             "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_PROJECT_INCLUDE=cmake/mutants.cmake"]
FOLDERS = {"plain": [], "thread": ["-DTARN_SANITIZE=thread", "-DTARN_GRPC=OFF"]}
NOT_BUILT_HERE = re.compile(r"(docs|debian|bench|abi|examples|fuzz|inspect|page|reader/(?!number|bytes)|send|service|\.ci)/|.*\.md$|"
                            r"scripts/(?!mutate)")
# A template that no longer ends takes all memory.
COMPILER = ["prlimit", "--as=6000000000", "--cpu=100", "cmake"]
SECONDS = 80  # for a test program; none takes half of it
SUFFIXES = {".h", ".cpp"}
REFUSE_IN_WORDS = {"codec/slots.h", "codec/layout.h", "codec/full.h"}

SWAPS = {"+": "-", "-": "+", "*": "+", "/": "*", "==": "!=", "!=": "==", "<": "<=", ">": ">=",
         "<=": "<", ">=": ">", "&&": "||", "||": "&&", "+=": "-=", "&": "|"}
WORDS = {"true": "false", "false": "true", "size": "count", "field": "body", "body": "field",
         "offset": "size", "checked": "direct", "direct": "checked", "length": "4 + length",
         "u16": "u32", "u32": "u16", "slots": "vtable", "Type##_packFull": "nullptr",
         "call": "callOneway", "first": "next", "count": "size", "big": "little", "little": "big",
         "buf": "req", "table": "vtable", "vtable": "table", "front": "back",
         "memory_order_acquire": "memory_order_relaxed",
         "memory_order_release": "memory_order_relaxed"}
TOKEN = re.compile(r'"(?:\\.|[^"])*"|//.*|\b0x[0-9A-Fa-f]+\b|\b\d+\b|(?<= )[-+*/<>=!&|]{1,2}(?= )'
                   r"|!(?=\w)|\w+(?:##\w+)?")
STATEMENT = re.compile(r"(?!return|break|default|case|using)[\w.:\[\]>*&-]+(\(.*\)| [-+|^]?= .*);"
                       r"|const std::lock_guard .*;")


def replacements(token):
    if token.startswith("//"):
        return
    if token.startswith('"'):
        yield token[:-1] + '!"'
    elif token == "!":
        yield ""
    elif re.fullmatch(r"0x[0-9A-Fa-f]+|\d+", token):
        octal = re.fullmatch(r"0[0-7]+", token)
        decimal = token.isdigit()  # or a part of a number, such as 048 of 1'048'576
        yield f"0{int(token, 8) + 1:o}" if octal else str(int(token, 10 if decimal else 16) + 1)
    elif token in SWAPS:
        yield SWAPS[token]
    elif token in WORDS:
        yield WORDS[token]


def mutants_of(name, number, line):
    code = line.lstrip()
    if code.startswith(("#include", "#ifndef", "#endif", "static_assert", "//", "/**", "* ")):
        return
    if re.match(r"#define \w+$", code) or "SLOTS(" in code or "SLOT(" in code:
        return
    if STATEMENT.fullmatch(code):
        yield name, number, line.replace(code, "// " + code)
    for match in TOKEN.finditer(line):
        if name in REFUSE_IN_WORDS and match.group().startswith('"'):
            continue
        for new in replacements(match.group()):
            yield name, number, line[:match.start()] + new + line[match.end():]


def mutants():
    seen = set()
    for pattern, _ in TESTS_OF:
        for path in sorted(ROOT.glob(pattern)):
            name = str(path.relative_to(ROOT))
            if name in seen or path.suffix not in SUFFIXES:
                continue
            seen.add(name)
            for number, line in enumerate(path.read_text().splitlines()):
                yield from mutants_of(name, number, line)


def tests_of(name):
    return next(tests for pattern, tests in TESTS_OF if pathlib.PurePath(name).match(pattern))


def run(tree, *command, seconds=300):
    """Whether it ended well, with all that it started ended."""
    with subprocess.Popen(command, cwd=tree, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            return process.wait(seconds) == 0
        except subprocess.TimeoutExpired:
            return False
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)


def builds(tree, folder, targets):
    return not targets or run(tree, *COMPILER, "--build", folder, "-j1", "--target", *targets)


def notices(tree, test):
    if test in SCRIPTS:
        if not builds(tree, "plain", SCRIPTS[test]):
            return "compiler"
        return None if run(tree, "ctest", "--test-dir", "plain", "--no-tests=error", "-R", test) else test
    folder, target = test.split("/") if "/" in test else ("plain", test)
    if not builds(tree, folder, [target]):
        return "compiler"
    program = next((tree / folder / "tests").rglob(target))
    recorded = ("env", "TARN_RECORD=calls", program, "--gtest_fail_fast")
    return None if run(tree, *recorded, seconds=SECONDS) else test


def noticed_by(tree, tests):
    return next(filter(None, (notices(tree, test) for test in tests)), None)


def files():
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True)
    names = listed.stdout.decode().split("\0")
    return {name: (ROOT / name).read_bytes() for name in names if name and (ROOT / name).is_file()}


def digest_of(contents):
    built = {name: content for name, content in contents.items() if not NOT_BUILT_HERE.match(name)}
    return hashlib.sha256(repr(sorted(built.items())).encode()).hexdigest()[:16]


def configure(tree):
    for folder, options in FOLDERS.items():
        if not run(tree, *CONFIGURE, *options, "-B", folder):
            sys.exit("mutate.py: the copy cannot be configured; scripts/test.sh clang installs what "
                     "it needs")


def failure_of(tree):
    return noticed_by(tree, dict.fromkeys(test for _, tests in TESTS_OF for test in tests))


def prepare(tree, contents):
    """Makes the copy what the tree is; what it has built stays, if it still serves."""
    for name, content in contents.items():
        path = tree / name
        if path.is_file() and path.read_bytes() == content:
            continue
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        path.chmod((ROOT / name).stat().st_mode)
    configure(tree)
    failure = failure_of(tree)
    if failure == "compiler":  # precompiled headers do not outlive an upgrade of the system's
        for folder in FOLDERS:
            shutil.rmtree(tree / folder)
        configure(tree)
        failure = failure_of(tree)
    if failure is not None:
        sys.exit(f"mutate.py: {failure} fails before anything is broken")


def equivalents():
    path = ROOT / "scripts" / "equivalent_mutants.txt"
    rows = [line.split(" | ") for line in path.read_text().splitlines() if " | " in line]
    return {(row[0].strip(), " | ".join(row[1:-1]).strip()) for row in rows}


def try_mutant(tree, name, number, mutated):
    path = tree / name
    original = path.read_text()
    lines = original.splitlines(keepends=True)
    lines[number] = mutated + "\n"
    path.write_text("".join(lines))
    try:
        return noticed_by(tree, tests_of(name))
    finally:
        path.write_text(original)


class Results:
    """What is known of mutants, kept on disk while no file changes."""

    def __init__(self, contents, total):
        self.path = WORK / f"results-{digest_of(contents)}.txt"
        self.known = {}
        if self.path.exists():
            rows = (line.split("\t", 1) for line in self.path.read_text().splitlines())
            self.known = {key: result for result, key in rows}
        self.equivalents = equivalents()
        self.total, self.tally, self.count, self.began = total, {}, 0, time.monotonic()

    def key(self, mutant):
        return f"{mutant[0]}:{mutant[1] + 1}: {mutant[2].strip()}"

    def report(self, mutant, result):
        if result == "none":
            known = (mutant[0], mutant[2].strip()) in self.equivalents
            result = "equivalent" if known else "survivor"
        self.count += 1
        self.tally[result] = self.tally.get(result, 0) + 1
        seconds = time.monotonic() - self.began
        print(f"{self.count}/{self.total} {seconds:.0f} s, {result}: {self.key(mutant)}", flush=True)

    def add(self, mutant, result):
        with self.path.open("a") as file:
            file.write(f"{result}\t{self.key(mutant)}\n")
        self.report(mutant, result)


def run_all(chosen, results, jobs, contents):
    trees = queue.SimpleQueue()
    for number in range(jobs):
        (WORK / f"tree{number}").mkdir(parents=True, exist_ok=True)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        list(pool.map(lambda n: prepare(WORK / f"tree{n}", contents), range(jobs)))
        for number in range(jobs):
            trees.put(WORK / f"tree{number}")

        def one(mutant):
            tree = trees.get()
            try:
                return mutant, try_mutant(tree, *mutant) or "none"
            finally:
                trees.put(tree)

        for done in concurrent.futures.as_completed([pool.submit(one, m) for m in chosen]):
            results.add(*done.result())


def drawn(seed, mutant):
    """A place in a draw that does not depend on other mutants."""
    return hashlib.sha256(f"{seed} {mutant[0]} {mutant[2]}".encode()).digest()


def main():
    parser = argparse.ArgumentParser(
        usage="mutate.py [--file NAME] [--count N] [--seed S] [--jobs J] [--list]")
    parser.add_argument("--file", default="", help="of this source, or folder, alone")
    parser.add_argument("--count", type=int, default=0,
                        help="as many, drawn by chance, the same ones while their lines stay; 0: all")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--list", action="store_true")
    arguments = parser.parse_args()
    chosen = [mutant for mutant in mutants() if mutant[0].startswith(arguments.file)]
    if not chosen:
        parser.error(f"no mutant of {arguments.file}")
    if arguments.count > 0:
        chosen = sorted(chosen, key=lambda mutant: drawn(arguments.seed, mutant))[:arguments.count]
    if arguments.list:
        for name, number, mutated in chosen:
            print(f"{name}:{number + 1}: {mutated.strip()}")
        return 0

    WORK.mkdir(parents=True, exist_ok=True)
    contents = files()
    results = Results(contents, len(chosen))
    left = []
    for mutant in chosen:
        if results.key(mutant) in results.known:
            results.report(mutant, results.known[results.key(mutant)])
        else:
            left.append(mutant)
    if left:
        run_all(left, results, min(arguments.jobs, len(left)), contents)
    print(f"{len(chosen)} mutants in {time.monotonic() - results.began:.0f} s: " +
          ", ".join(f"{n} {who}" for who, n in sorted(results.tally.items())))
    return 1 if "survivor" in results.tally else 0


if __name__ == "__main__":
    sys.exit(main())

"""Fixtures for pytest: a service that plays its part, and a channel to the service under test.

In conftest.py, or at the head of a test:

    pytest_plugins = ["tarn_mqc.testing"]

A caller of the service is tested against tarn-serve, which answers by rules and says at the end whether what was
expected has come:

    def test_a_refused_rule_is_sent_again(mqc_service):
        mqc_service.expect("sendRuleMac", f3=37, answers=[5, 0])  # the first is refused, the second accepted
        install_rule(mqc_service.target, 37)  # the code under test
        assert [call.request.f3 for call in mqc_service.requests] == [37, 37]

A service of one's own is tested over mqc_channel, whose target a fixture of one's own names:

    @pytest.fixture
    def mqc_target():
        return "unix:/run/mqc.sock"

    def test_a_group_needs_a_port(mqc_channel):
        assert mqc_channel.qos_group_port(f0=0, f1=3) == 1

Service is the class behind mqc_service, for a second service, or for one with other options.

PYTEST_DONT_REWRITE
"""
from __future__ import annotations

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from types import TracebackType
from typing import Any, Callable, Dict, Iterable, Iterator, List, Mapping, Optional, Sequence, Tuple, Type, Union

import pytest

from ._channel import Channel, Path, connect, opened
from ._library import loaded
from ._message import request_of
from ._record import Record
from ._recording import RecordedCall, recording
from ._slots import Wrong, octets_of
from ._status import Error

__all__ = ["Answer", "Match", "Service", "mqc_channel", "mqc_service", "mqc_target"]

#: How a request is answered: with a status, with an error of gRPC's such as "UNAVAILABLE", or as a script says it:
#: {"status": 5, "delay_ms": 300}, {"drop": True}, {"garbage": True}.
Answer = Union[int, str, Mapping[str, Any]]
#: The requests that a rule is for: a record, or some of its fields, also by path as in {"head.f0": 1, "f1[2]": 5}.
#: Of an array or a buffer, the elements that are named: what a request has behind them is not looked at.
Match = Union[Record, Mapping[str, Any]]

#: Of a call over mqc_channel, in seconds.
DEADLINE = 10.0
#: For what takes a moment, on whatever machine.
PATIENCE = 60.0
#: A Unix socket's path has 108 bytes, one of which is zero.
LONGEST_PATH = 107
#: A path that is the same in a target: gRPC reads escapes, lists and more in others.
PLAIN_PATH = re.compile(r"[\w/.@+~ -]+")
#: tarn-serve's status when something else came than was expected.
DIFFERS = 3
#: A request of more than a quarter would be recorded without its bytes. The oldest requests make way.
RECORDED_MB = "1024"
RECORDING_HEAD = 24
#: What of tarn-serve's output a failure shows.
MOST_LINES, LONGEST_LINE = 100, 300


def program() -> str:
    """The program tarn-serve: what TARN_SERVE names, in PATH, or installed with this package."""
    own = (str(folder / "bin") for folder in pathlib.Path(__file__).parents)
    name = os.environ.get("TARN_SERVE", "tarn-serve")
    found = shutil.which(name) or shutil.which(name, path=os.pathsep.join(own))
    if found is None:
        pytest.fail(f"{name} is not there: the Debian package is tarn-serve, and TARN_SERVE names another", False)
    return found


def ended_with_us() -> List[str]:
    """What stands before a command that is to end even when this process is killed.

    The system ties it to the thread that starts it; another than the main one may end before.
    """
    setpriv = shutil.which("setpriv")
    is_main = threading.current_thread() is threading.main_thread()
    return [setpriv, "--pdeathsig", "TERM"] if setpriv and is_main else []


def folder_for_socket() -> tempfile.TemporaryDirectory[str]:
    usual = tempfile.gettempdir()
    fits = len(os.fsencode(usual)) + len("/mqc-12345678/socket") <= LONGEST_PATH
    return tempfile.TemporaryDirectory(prefix="mqc-", dir=usual if fits and PLAIN_PATH.fullmatch(usual) else "/tmp")


def numbers_of(value: Any, path: str = "") -> Iterator[Tuple[str, Any]]:
    """The numbers that a value holds, each with its path."""
    if isinstance(value, Record):
        value = value.to_dict()
    if isinstance(value, Mapping):
        for name, one in value.items():
            yield from numbers_of(one, f"{path}.{name}" if path else name)
    elif isinstance(value, str):
        yield from numbers_of(octets_of(value), path)
    elif isinstance(value, Iterable):
        for place, one in enumerate(value):
            yield from numbers_of(one, f"{path}[{place}]")
    else:
        yield path, value


def checked(method: Optional[str], fields: Mapping[str, Any]) -> Mapping[str, Any]:
    """The fields, as a call of the method takes them."""
    if method is not None:
        request_of(method).from_dict(fields)
    return fields


def match_of(method: Optional[str], match: Optional[Match], fields: Mapping[str, Any]) -> Dict[str, Any]:
    try:
        return dict([*numbers_of(match or {}), *numbers_of(checked(method, fields))])
    except Wrong as wrong:
        raise wrong.kind(f"match{wrong.words}") from None


def answer_of(answer: Answer) -> Dict[str, Any]:
    """An answer as a script says it."""
    if isinstance(answer, Mapping):
        return dict(answer)
    return {"grpc" if isinstance(answer, str) else "status": answer}


def answers_of(answers: Union[Answer, Sequence[Answer]]) -> List[Dict[str, Any]]:
    several = [answers] if isinstance(answers, (int, str, Mapping)) else answers
    return [answer_of(answer) for answer in several]


class Service:
    """tarn-serve, on a Unix socket in a folder of its own, and the rules by which it answers.

    It starts when its target is first asked for, and takes no rules afterwards. The first rule that fits a request
    answers it; what no rule fits is answered with 0. At the end of a with block it is stopped, which fails the test
    when something else came than was expected, and nothing of it is left.
    """

    #: tarn-serve while it runs.
    process: Optional[subprocess.Popen[bytes]] = None

    def __init__(self, *options: str) -> None:
        """options: more of them for tarn-serve, such as "--status", "5"."""
        self._options = options
        self._rules: List[Dict[str, Any]] = []
        self._script: Optional[pathlib.Path] = None
        self._started = False
        self._temporary = folder_for_socket()
        #: Where its files are: its output in "output" and "errors", the recording of the requests in "calls".
        self.folder = pathlib.Path(self._temporary.name)

    def answer(self, method: Optional[str] = None, match: Optional[Match] = None, /, *,
               answers: Union[Answer, Sequence[Answer]], **fields: Any) -> None:
        """Adds a rule: how requests of the method, or of all, with these fields are answered.

        answers: one, or several that are used in turn; the last stays for all that follow.
        """
        self._add({"answers": answers_of(answers)}, method, match, fields)

    def expect(self, method: Optional[str] = None, match: Optional[Match] = None, /, *,
               answers: Union[Answer, Sequence[Answer]] = 0, times: Optional[int] = None,
               at_least: Optional[int] = None, at_most: Optional[int] = None, **fields: Any) -> None:
        """Adds a rule as answer() does, and how many requests are expected to be answered by it.

        times: that many; at_least, at_most: one or both. Without any of them, as many as there are answers.
        """
        made = answers_of(answers)
        bounds = {name: count for name, count in (("at_least", at_least), ("at_most", at_most)) if count is not None}
        if bounds and times is not None:
            raise TypeError("times stands alone, without at_least and at_most")
        expected = bounds or (len(made) if times is None else times)
        self._add({"answers": made, "expect": expected}, method, match, fields)

    def script(self, path: Path) -> None:
        """Takes the rules from a file, as tarn-serve --script does, in place of answer() and expect()."""
        self._check_rules_are_open(bool(self._rules))
        self._script = pathlib.Path(path).absolute()

    def _add(self, rule: Dict[str, Any], method: Optional[str], match: Optional[Match],
             fields: Mapping[str, Any]) -> None:
        self._check_rules_are_open(self._script is not None)
        numbers = match_of(method, match, fields)
        head = {"method": method} if method is not None else {}
        self._rules.append({**head, **({"match": numbers} if numbers else {}), **rule})

    def _check_rules_are_open(self, has_others: bool) -> None:
        if self._started:
            raise Error("the service has started: rules are added before its target is asked for")
        if has_others:
            raise Error("rules are those of a script, or of expect() and answer(), not both")

    @property
    def target(self) -> str:
        """Where it is, for tarn_mqc.connect() or TARN_GRPC_TARGET; starts it."""
        self.start()
        return f"unix:{self.folder}/socket"

    def start(self) -> None:
        """Starts it, once, and waits until it listens."""
        if self._started:
            return
        self._started = True
        words = [program(), "--listen", f"unix:{self.folder}/socket", "--json", "--record", f"{self.folder}/calls",
                 "--record-mb", RECORDED_MB, *self._script_options(), *self._options]
        with open(self.folder / "output", "wb") as output, open(self.folder / "errors", "wb") as errors:
            self.process = subprocess.Popen(ended_with_us() + words, stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=errors)
        process = self.process
        if not soon(lambda: "listening" in self._text("output") or process.poll() is not None):
            self._kill()
        if process.poll() is not None:
            self.process = None
            pytest.fail(f"the service does not start (status {process.returncode})\n{self._text('errors')}", False)

    def _script_options(self) -> List[str]:
        """A line for each rule, so that what tarn-serve says of a line is of that rule."""
        if self._rules:
            self._script = self.folder / "script"
            self._script.write_text('{"rules": [' + ",\n".join(map(json.dumps, self._rules)) + "]}\n")
        return ["--script", str(self._script)] if self._script is not None else []

    @property
    def requests(self) -> List[RecordedCall]:
        """What has arrived, in that order: each with its method, its request as a record, and the status that it was
        answered with, None before it is. Of more than 768 MiB the oldest may be missing."""
        names = [self.folder / name for name in ("calls-3", "calls-2", "calls-1", "calls")]
        files = [name for name in names if name.exists() and name.stat().st_size >= RECORDING_HEAD]
        return recording(*files)[:] if files else []

    def wait_for(self, count: int, timeout: float = PATIENCE) -> List[RecordedCall]:
        """Waits until that many requests have arrived, and returns what has; fails the test when they do not come."""
        if not soon(lambda: len(self.requests) >= count, timeout):
            pytest.fail(f"requests that arrived in {timeout} s: {len(self.requests)}, not {count}")
        return self.requests

    def stop(self) -> None:
        """Ends it, and fails the test when something else came than was expected, or it did not end well."""
        if any("expect" in rule for rule in self._rules):
            self.start()  # what is expected has not come either where nobody asked for the target
        process, self.process = self.process, None
        if process is None:
            return
        end(process)
        if process.returncode != 0:
            pytest.fail(self._report(process.returncode), False)

    def _report(self, status: int) -> str:
        what = "something else came than was expected" if status == DIFFERS else f"the service ended with {status}"
        parts = [what, self._text("errors"), last_of(self._text("output"))]
        if self._rules:
            parts += ["the rules:", *(f"line {number}: {json.dumps(rule)}" for number, rule
                                      in enumerate(self._rules, start=1))]
        return "\n".join(part for part in parts if part)

    def _text(self, name: str) -> str:
        return (self.folder / name).read_text(errors="backslashreplace")

    def _kill(self) -> None:
        if self.process is not None:
            self.process.kill()
            self.process.wait()

    def close(self) -> None:
        """Kills it if it runs, and removes its folder."""
        self._kill()
        self.process = None
        self._temporary.cleanup()

    def __enter__(self) -> Service:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        try:
            if kind is None:
                self.stop()
        finally:
            self.close()


def last_of(text: str) -> str:
    return "\n".join(line[:LONGEST_LINE] for line in text.splitlines()[-MOST_LINES:])


def soon(condition: Callable[[], bool], timeout: float = PATIENCE) -> bool:
    """Whether it comes to hold."""
    until = time.monotonic() + timeout
    while not condition():
        if time.monotonic() >= until:
            return False
        time.sleep(0.01)
    return True


def end(process: subprocess.Popen[bytes]) -> None:
    """Asks a program to end, also one that is stopped; kills it when it does not."""
    process.terminate()
    process.send_signal(signal.SIGCONT)
    try:
        process.wait(PATIENCE)
    except BaseException:
        process.kill()
        process.wait()
        raise


class LateChannel(Channel):
    """A channel that asks for its target at its first call: a test adds rules before."""

    def __init__(self, target: Callable[[], str]) -> None:
        super().__init__(loaded(), None)
        self._target = target
        self._lock = threading.Lock()

    def _handle(self) -> Optional[int]:
        with self._lock:
            if super()._handle() is None:
                channel = connect(self._target(), deadline=DEADLINE, wait_for_ready=True)
                self._opt = channel._opt
                opened.discard(channel)
        return self._opt

    def _shut(self) -> int:
        return 0 if self._opt is None else super()._shut()


@pytest.fixture
def mqc_service() -> Iterator[Service]:
    """A service that answers by the rules that the test adds; see tarn_mqc.testing.Service."""
    with Service() as service:
        yield service


@pytest.fixture
def mqc_target(mqc_service: Service) -> str:
    """The target of the service under test: mqc_service's, unless a fixture of one's own has this name."""
    return mqc_service.target


@pytest.fixture
def mqc_channel(request: pytest.FixtureRequest) -> Iterator[Channel]:
    """A channel to mqc_target, which it asks for at its first call. A call waits for a service that is not there yet,
    and takes at most 10 seconds."""
    with LateChannel(lambda: str(request.getfixturevalue("mqc_target"))) as channel:
        yield channel

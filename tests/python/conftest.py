"""A service for each test that asks for one, and scripts in processes of their own."""
import contextlib
import os
import pathlib
import signal
import subprocess
import sys
import time

import pytest

import tarn_mqc.testing

pytest_plugins = ["tarn_mqc.testing", "pytester"]


def wait_until(condition):
    until = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < until
        time.sleep(0.01)


class Service(tarn_mqc.testing.Service):
    """One that can be held for a while."""

    def pause(self):
        self.process.send_signal(signal.SIGSTOP)
        threads = pathlib.Path(f"/proc/{self.process.pid}/task")
        wait_until(lambda: all(thread.read_text().rpartition(")")[2].split()[0] == "T"
                               for thread in threads.glob("*/stat")))

    def go_on(self):
        self.process.send_signal(signal.SIGCONT)

    def received(self):
        """Method and bytes of every message, in the order of their arrival."""
        return [(call.method, call.message) for call in self.requests]


@pytest.fixture
def serve():
    """Makes services with options of tarn-serve."""
    with contextlib.ExitStack() as services:
        yield lambda *options: services.enter_context(Service(*map(str, options)))


@pytest.fixture
def service(serve):
    return serve()


@pytest.fixture
def script(tmp_path):
    """Starts a Python program, with some variables set, in a process group that ends with the test."""
    processes = []

    def start(text, **variables):
        path = pathlib.Path(tmp_path, f"script{len(list(tmp_path.iterdir()))}.py")
        path.write_text(text)
        processes.append(subprocess.Popen(
            [sys.executable, "-B", "-X", "dev", path], env={**os.environ, **variables}, start_new_session=True,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True))
        return processes[-1]

    yield start
    for process in processes:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def end_of(process):
    """Status, standard output and error of a program."""
    out, err = process.communicate(timeout=120)
    return process.returncode, out, err

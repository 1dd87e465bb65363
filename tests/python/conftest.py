"""A service for each test that asks for one, and scripts in processes of their own."""
import os
import pathlib
import signal
import subprocess
import sys
import time

import pytest


def wait_until(condition):
    until = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < until
        time.sleep(0.01)


class Service:
    """tarn-serve, which captures what it receives."""

    def __init__(self, folder, *options):
        self.address, self.captures = f"unix:{folder}/socket", folder / "captures"
        self.captures.mkdir()
        self.lines = folder / "lines"
        with open(self.lines, "w") as lines:
            self.process = subprocess.Popen([f"{os.environ['PROGRAMS']}/tarn-serve", "--listen", self.address,
                                             "--capture", self.captures, *options], stdout=lines)
        wait_until(lambda: "listening" in self.lines.read_text())

    def pause(self):
        self.process.send_signal(signal.SIGSTOP)
        threads = pathlib.Path(f"/proc/{self.process.pid}/task")
        wait_until(lambda: all(thread.read_text().rpartition(")")[2].split()[0] == "T"
                               for thread in threads.glob("*/stat")))

    def go_on(self):
        self.process.send_signal(signal.SIGCONT)

    def received(self):
        """Method and bytes of every message, in the order of their arrival."""
        return [(file.name.split("-")[1].split(".")[0], file.read_bytes())
                for file in sorted(self.captures.glob("[0-9]*"), key=lambda file: int(file.name.split("-")[0]))]


@pytest.fixture
def serve(tmp_path):
    services = []

    def start(*options):
        services.append(Service(tmp_path, *options))
        return services[-1]

    yield start
    for service in services:
        service.process.kill()
        service.process.wait()


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

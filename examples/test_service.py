"""Tests of a service of one's own: service.py, in this folder with the modules that it needs.

    pytest test_service.py
"""
import pathlib
import subprocess
import sys
import tempfile

import pytest

pytest_plugins = ["tarn_mqc.testing"]

SERVICE = pathlib.Path(__file__).with_name("service.py")


@pytest.fixture(scope="module")
def mqc_target():
    """Where mqc_channel finds the service under test, which runs in a process of its own."""
    with tempfile.TemporaryDirectory() as folder:
        target = f"unix:{folder}/socket"
        service = subprocess.Popen([sys.executable, SERVICE, target])
        yield target
        service.terminate()
        service.wait()


@pytest.mark.parametrize("port, status", [(7, 0), (0, 1)])
def test_a_group_needs_a_port(mqc_channel, port, status):
    assert mqc_channel.qos_group_port(f0=port, f1=3) == status


def test_calls_at_once_are_all_answered(mqc_channel):
    calls = [mqc_channel.sendRuleMac.submit(f3=number) for number in range(100)]
    assert [call.result() for call in calls] == [0] * 100


def test_other_methods_are_unknown(mqc_channel):
    assert mqc_channel.sendClassifierTemplate(f0=7) == 1012  # UNIMPLEMENTED

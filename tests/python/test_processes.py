"""What concerns a whole process: its exit, its children, the libraries that it loads."""
import os
import re

import pytest
from conftest import end_of

#: Exits of each kind.
COUNT = int(os.environ.get("TARN_PYTHON_EXITS", "1"))

UNDER_WAY = """
import os, sys, threading, time, tarn_mqc
TARGET = "unix:/nowhere/socket"
mqc = tarn_mqc.connect({channel})
calls = [mqc.sendRuleMac.submit() for _ in range(100)]
for call in calls:
    call.add_done_callback({callback})
threading.Thread(target=mqc.sendRuleMac, daemon=True).start()
{end}
"""


@pytest.mark.parametrize("channel", ["", "TARGET, wait_for_ready=True", "TARGET, wait_for_ready=True, stream=True"])
@pytest.mark.parametrize("callback", ["lambda call: print(call.result())", "lambda call: time.sleep(1.3)"],
                         ids=["short", "long"])
def test_exit_with_calls_under_way(script, channel, callback):
    ends = {"sys.exit(3)": 3, "mqc.close()": 0, "raise ZeroDivisionError('mine')": 1}
    text = {end: UNDER_WAY.format(channel=channel, callback=callback, end=end) for end in ends}
    environment = {"TARN_GRPC_TARGET": "unix:/nowhere/socket", "TARN_GRPC_WAIT": "1"}
    for _ in range(COUNT):
        processes = [(end, script(text[end], **environment)) for end in ends]
        for end, process in processes:
            status, out, err = end_of(process)
            assert status == ends[end] and "atal" not in err and ("mine" in err) == (status == 1), err
            assert "print" not in callback or out in ("1001\n" * 100, "2001\n" * 100)


def test_children(script, service):
    status, out, err = end_of(script("""
import multiprocessing, os, tarn_mqc
mqc = None

def attempt(number):
    channel = mqc or tarn_mqc.connect(os.environ["ADDRESS"])
    results = []
    for call in channel.sendRuleMac, channel.sendRuleMac.oneway, lambda: channel.sendRuleMac.submit().result():
        try:
            results.append(repr(call()))
        except tarn_mqc.ForkedError as error:
            results.append(str(error))
    return set(results)

def connect():
    return tarn_mqc.connect(os.environ["ADDRESS"]).sendRuleMac()

if __name__ == "__main__":
    mqc = tarn_mqc.connect(os.environ["ADDRESS"])
    mqc.sendRuleMac()
    for method in "fork", "spawn":
        with multiprocessing.get_context(method).Pool(1) as pool:
            print(pool.map(attempt, [0]))
            try:
                print(repr(pool.apply(connect)))
            except tarn_mqc.ForkedError as error:
                print(error)
    print(repr(mqc.sendRuleMac.submit().result()))
""", ADDRESS=service.target))
    forked, unconnected, *others = out.splitlines()
    for refusal in forked, unconnected:
        assert "forked from one that had a channel" in refusal and "'spawn'" in refusal and "Status" not in refusal, err
    assert (status, others) == (0, ["[{'Status(0)'}]", "Status(0)", "Status(0)"]), err


@pytest.mark.parametrize("variables, words", [
    ({"TARN_MQC_PLATFORM": "/nowhere/libtarn_grpc.so"}, "/nowhere/libtarn_grpc.so.*the Debian package is libtarn-grpc"),
    ({"TARN_MQC_LIBRARY": "/nowhere/libtarn_cli_mqc.so"}, "cannot open.*the Debian package is libtarn-cli-mqc"),
    ({"TARN_MQC_PLATFORM": ""}, "libtarn_cli_mqc.so: undefined symbol: [A-Za-z_]+"),
], ids=["platform", "library", "none"])
def test_libraries_that_are_missing(script, variables, words):
    status, _, err = end_of(script("import tarn_mqc\ntarn_mqc.connect('unix:/nowhere')", **variables))
    assert status == 1 and re.search(f"^OSError: cannot load .*{words}", err, re.MULTILINE), err


def test_a_platform_without_channels(script):
    status, out, err = end_of(script("""
import os, tarn_mqc
for platform, library in (os.environ["LOOPBACK"], "/nowhere"), ("", None):
    try:
        tarn_mqc.load(platform, library)
    except (OSError, tarn_mqc.Error) as error:
        print(error)
tarn_mqc.load(platform=os.environ["LOOPBACK"])
tarn_mqc.load(platform=os.environ["LOOPBACK"])
for make in lambda: tarn_mqc.connect("unix:/nowhere"), lambda: tarn_mqc.load(platform=""):
    try:
        make()
    except tarn_mqc.Error as error:
        print(error)
with tarn_mqc.connect() as mqc:
    print(mqc.sendRuleMac(f3=1), mqc.sendRuleMac.submit().result(), mqc.sendRuleMac.oneway())
calls = [tarn_mqc.connect().sendRuleMac.submit() for _ in range(1000)]
"""))
    missing, first, channels, loaded, statuses = out.splitlines()
    assert "/nowhere" in missing and "loaded already" in first, err
    assert "no channels to a target" in channels and "loaded already" in loaded, err
    assert (status, statuses) == (0, "0 0 0"), err

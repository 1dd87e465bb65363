"""The fixtures for tests of callers and services: what they hold, what they refuse, and what they leave behind."""
import contextlib
import os
import pathlib
import re
import signal
import tempfile

import pytest
from conftest import end_of, wait_until

import tarn_mqc
from tarn_mqc import RuleHead, RuleMac
from tarn_mqc.testing import Service

HEAD = 'import concurrent.futures, os, signal, pytest, tarn_mqc.testing\npytest_plugins = ["tarn_mqc.testing"]\n'


@pytest.fixture
def run(pytester):
    """Runs tests of a file of their own; returns how many ended how, and what was printed."""
    def start(text, **expected):
        pytester.makepyfile(HEAD + text)
        result = pytester.runpytest("-p", "no:cacheprovider")
        result.assert_outcomes(**expected)
        return result.stdout.str()

    return start


def failure(act, *arguments):
    with pytest.raises(pytest.fail.Exception) as caught:
        act(*arguments)
    return caught.value.msg


def test_answers_in_turn_and_requests_as_records(mqc_service, mqc_channel):
    mqc_service.expect("sendRuleMac", answers=[0, 5, "UNAVAILABLE", {"status": 6, "delay_ms": 1}, {"garbage": True}])
    mqc_service.answer("qos_group_port", answers=tarn_mqc.Status(7))
    mqc_service.answer("AddMqcSmoothMsg", answers={"drop": True})
    mqc_service.answer("match_all_oper", answers="DATA_LOSS")
    assert mqc_service.requests == []
    statuses = [mqc_channel.sendRuleMac(f3=number) for number in range(5)]
    assert statuses == [0, 5, 1014, 6, 71]
    assert mqc_channel.qos_group_port(f0=1) == mqc_channel.qos_group_port(f0=2) == 7
    assert mqc_channel.match_all_oper() == 1015
    call = mqc_channel.AddMqcSmoothMsg.submit()
    *rules, one, two, _, dropped = mqc_service.wait_for(9)
    assert not mqc_channel.close() and call.result() == 1001
    assert [call.request for call in rules] == [RuleMac(f3=number) for number in range(5)]
    assert [call.status for call in rules] == statuses
    assert (one.method, two.request.f0) == ("qos_group_port", 2)
    assert (dropped.method, dropped.status) == ("AddMqcSmoothMsg", None)


MAC = "00:11:22:33:44:55"
MATCHES = [((), {"f3": 37}), ((), {"head": {"f0": 1}}), ((), {"f1": MAC}), (({"f1[5]": 0x55, "head.f0": 1},), {}),
           (({"f1": [0, 17]},), {"f3": 37}), ((RuleMac(head=RuleHead(f0=1), f1=MAC, f3=37),), {})]


@pytest.mark.parametrize("match, fields", MATCHES, ids=str)
def test_what_a_rule_fits(mqc_service, mqc_channel, match, fields):
    mqc_service.expect("sendRuleMac", *match, answers=5, times=2, **fields)
    mqc_service.expect(None, answers=6, times=3)
    for other in {}, {"head": RuleHead(f0=2), "f1": "01:12:22:33:44:54", "f3": 38}:
        assert mqc_channel.sendRuleMac(**other) == 6
    assert mqc_channel.qos_group_port(f0=1) == 6
    for _ in range(2):
        assert mqc_channel.sendRuleMac(head=RuleHead(f0=1), f1=MAC, f3=37) == 5


def test_a_rule_that_cannot_be_is_refused_where_it_stands(mqc_service, mqc_channel):
    for arguments, fields, kind, words in (
            (("sendRuleMax",), {}, ValueError, "no method is called sendRuleMax"),
            (("sendRuleMac",), {"f9": 1}, TypeError, "^RuleMac.f9: no such field"),
            (("sendRuleMac",), {"f3": 370}, OverflowError, "^RuleMac.f3: 370 is out of range"),
            (("sendRuleMac", {"f1": "0x"}), {}, ValueError, "^match: '0x' is not hexadecimal"),
            (("sendRuleMac",), {"times": 1, "at_most": 2}, TypeError, "times stands alone")):
        with pytest.raises(kind, match=words):
            mqc_service.expect(*arguments, **fields)
    mqc_channel.close()
    with pytest.raises(tarn_mqc.Error, match="closed"):
        mqc_channel.sendRuleMac()  # does not start the service
    mqc_service.answer("sendRuleMac", answers=5)
    with pytest.raises(tarn_mqc.Error, match="not both"):
        mqc_service.script("rules")
    with tarn_mqc.connect(mqc_service.target) as mqc:
        for add in mqc_service.expect, mqc_service.script:
            with pytest.raises(tarn_mqc.Error, match="has started"):
                add("sendRuleMac")
        assert mqc.sendRuleMac() == 5


def test_what_is_wrong_with_a_service_fails_the_test(tmp_path, monkeypatch):
    rules = tmp_path / "rules"
    rules.write_text('{"rules": [\n{"method": "sendRuleMac",\n "match": {"f99": 1}, "answers": [{"status": 5}]}]}')
    with Service() as service:
        monkeypatch.chdir(tmp_path)
        service.script("rules")
        monkeypatch.chdir("/")
        assert re.search(f"(?m)^tarn-serve: {rules}: line 3: .*f99", failure(service.start))
        assert service.requests == []
    service = Service()
    service.start()
    service.process.kill()
    assert "ended with -9" in failure(service.__exit__, None, None, None)
    with Service("--capture", str(tmp_path / "captures")) as service:
        (tmp_path / "captures").mkdir()
        service.expect("sendRuleMac", times=2)
        with tarn_mqc.connect(service.target) as mqc:
            (tmp_path / "captures").rename(tmp_path / "moved")
            assert mqc.sendRuleMac() == 1013
        assert re.search("(?m)^tarn-serve: .*captures", failure(service.stop))
    with pytest.raises(ZeroDivisionError), Service() as service:
        service.expect("sendRuleMac")
        service.start()
        process = service.process
        raise ZeroDivisionError
    assert process.returncode == -9
    for options, words in ((["--capture", "/nowhere"], "/nowhere"), (["--unknown"], "--unknown")):
        with Service(*options) as service:
            assert words in failure(service.start)
    monkeypatch.setenv("TARN_SERVE", "tarn-nothing")
    with Service() as service:
        assert "tarn-nothing is not there" in failure(service.start)
    with Service() as service:
        service.answer(answers=5)  # nobody calls, nothing is started


EXPECTED = """
@pytest.mark.parametrize("came", range(5))
def test(mqc_channel, mqc_service, came):
    mqc_service.expect("sendRuleMac", f3=37, at_least=1, at_most=3)
    for _ in range(came):
        mqc_channel.sendRuleMac(f3=37)
        mqc_channel.sendRuleMac(f3=38)

def test_without_a_call(mqc_service):
    mqc_service.expect("sendRuleMac")

def test_none_at_all(mqc_service, mqc_channel):
    mqc_service.expect("sendRuleMac", times=0)
    mqc_service.expect("AddMqcSmoothMsg", at_most=0)
    mqc_channel.qos_group_port()

def test_one_too_many(mqc_service, mqc_channel):
    mqc_service.expect("qos_group_port", times=0)
    mqc_service.expect("sendRuleMac", at_most=0)
    mqc_channel.sendRuleMac()
"""


def test_what_does_not_come_or_comes_too_often(run):
    printed = run(EXPECTED, passed=8, errors=4)
    assert printed.count("something else came than was expected") == 4
    assert printed.count('"f3": 38') == 4
    assert 'line 1: {"method": "sendRuleMac", "match": {"f3": 37}' in printed
    for came in 0, 4:
        assert re.search(rf"sendRuleMac.*line 1.*\b1\b.*\b3\b.*\b{came}: DIFFERS", printed), printed
    assert re.search("sendRuleMac.*line 2.* 0, came 1: DIFFERS", printed)


def test_a_request_that_is_waited_for(serve):
    service = serve()
    with tarn_mqc.connect(service.target) as mqc:
        service.pause()
        call = mqc.sendRuleMac.submit(f3=37)
        assert failure(service.wait_for, 1, 0.05) == "requests that arrived in 0.05 s: 0, not 1"
        service.go_on()
        assert service.wait_for(1)[0].request.f3 == 37 and call.result() == 0
    service.pause()  # and is ended all the same


OWN = """
@pytest.fixture(scope="module", params=["0", "9"])
def status(request):
    return request.param

@pytest.fixture
def mqc_target(status):
    with tarn_mqc.testing.Service("--status", status) as service:
        yield service.target

def test_of_mine(mqc_target, mqc_channel, status):
    assert mqc_channel.sendRuleMac() == int(status)
    assert mqc_channel._handle() == mqc_channel._handle()
    channels.append(mqc_channel)

def test_closed():
    for channel in channels:
        with pytest.raises(tarn_mqc.Error, match="closed"):
            channel.sendRuleMac()
    assert not tarn_mqc._channel.opened

def test_without_a_call(mqc_channel):
    assert not mqc_channel.check

channels = []
"""


def test_a_target_of_ones_own(run):
    run(OWN, passed=4)


LATE = """
service = tarn_mqc.testing.Service()

@pytest.fixture
def mqc_target():
    with service:
        yield f"unix:{service.folder}/socket"

def test_a_call_waits_for_the_service(mqc_channel):
    call = mqc_channel.sendRuleMac.submit()
    with pytest.raises(concurrent.futures.TimeoutError):
        call.result(0.3)
    service.start()
    assert call.result() == 0
"""


def test_a_service_that_starts_late(run):
    run(LATE, passed=1)


ORDER = """
def test(mqc_channel, mqc_service):
    mqc_service.expect("sendRuleMac", times=100)
    for _ in range(100):
        mqc_channel.sendRuleMac.submit()
"""


def test_calls_under_way_arrive_before_the_service_ends(run):
    run(ORDER, passed=1)


def test_a_long_request_is_whole(mqc_service, mqc_channel):
    request = tarn_mqc.BrkBatchMsg(f1=3, f3=bytes(17 << 20))
    assert mqc_channel.ProcMqcBatchMsg(request) == 0
    assert [call.request for call in mqc_service.requests] == [request]


@pytest.mark.parametrize("name", ["d" * 100, "a branch %2C", "a,b", "a#b", "a?b", "a branch+~@ü"])
def test_two_services_whatever_the_folder_for_temporary_files_is_called(monkeypatch, tmp_path, name):
    folder_of_both = tmp_path / name
    folder_of_both.mkdir()
    monkeypatch.setattr(tempfile, "tempdir", str(folder_of_both))
    with Service() as one, Service("--status", "5") as other:
        folders = [one.folder, other.folder]
        with tarn_mqc.connect(one.target) as mqc, tarn_mqc.connect(other.target) as others:
            assert (mqc.sendRuleMac(f3=1), others.sendRuleMac(f3=2)) == (0, 5)
        assert [call.request.f3 for service in (one, other) for call in service.requests] == [1, 2]
    assert not any(folder.exists() for folder in folders) and not [*folder_of_both.iterdir()]


SCRIPTED_BOTH_WAYS = """
{"rules": [
  {"method": "sendRuleMac", "match": {"f3": 1}, "expect": 6, "answers": [
    {"status": 5}, {"grpc": "UNAVAILABLE"}, {"garbage": true}, {"status": 7, "delay_ms": 20}, {"status": 4294967295}]},
  {"match": {"f3": 2}, "expect": {"at_least": 1}},
  {"method": "sendPolicyNode", "answers": [{"grpc": "INTERNAL"}], "expect": 3},
  {"answers": [{"status": 1004}, {"grpc": "CANCELLED", "for_ms": 3600000}, {"status": 9}]}
]}
"""

CALLS = """
import tarn_mqc
with tarn_mqc.connect() as mqc:
    for number in range(32):
        call = mqc.sendRuleMac if number % 5 else mqc.qos_group_port
        print(int(call.submit(f3=number % 4).result() if number % 3 else call(f3=number % 4)))
        if number % 13 == 0:
            print(int(mqc.sendPolicyNode.oneway()))
"""


def test_a_script_answers_alike_in_the_loopback(tmp_path, script, serve):
    path = tmp_path / "rules.json"
    path.write_text(SCRIPTED_BOTH_WAYS)
    service = serve("--script", path)
    over_grpc = end_of(script(CALLS, TARN_GRPC_TARGET=service.target, TARN_GRPC_DEADLINE_MS="60000"))
    service.stop()
    in_the_process = end_of(script(CALLS, TARN_MQC_PLATFORM=os.environ["LOOPBACK"], TARN_LOOPBACK_SCRIPT=str(path)))
    assert over_grpc == in_the_process
    assert over_grpc[0] == 0 and {*over_grpc[1].split()} == {"0", "5", "1014", "71", "7", "4294967295", "1004", "1001"}


ABANDONED = """
def test(mqc_service):
    mqc_service.expect("sendRuleMac")
    mqc_service.start()
    with open({path!r}, "w") as file:
        print(mqc_service.process.pid, mqc_service.folder, file=file)
    {end}
"""


@pytest.mark.parametrize("end, removed", [("raise KeyboardInterrupt", True), ("pytest.exit('enough')", True),
                                          ("os.kill(os.getpid(), signal.SIGKILL)", False)])
def test_no_service_outlives_its_tests(pytester, tmp_path, monkeypatch, end, removed):
    path = tmp_path / "service"
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    pytester.makepyfile(HEAD + ABANDONED.format(path=str(path), end=end))
    pytester.runpytest_subprocess("-p", "no:cacheprovider")
    pid, folder = path.read_text().split()
    try:
        wait_until(lambda: not pathlib.Path("/proc", pid).exists())
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.kill(int(pid), signal.SIGKILL)
    assert not removed or not pathlib.Path(folder).exists()

"""Calls over channels to tarn-serve, in each way, and every outcome of theirs."""
import asyncio
import concurrent.futures
import gc
import os
import signal
import sys
import threading

import pytest
from conftest import wait_until

import tarn_mqc
from tarn_mqc import RuleHead, RuleMac

CHANNELS = [{}, {"stream": True}, {"full": True}]


@pytest.fixture
def unraisable(monkeypatch):
    """What the interpreter could only report."""
    reports = []
    monkeypatch.setattr(sys, "unraisablehook", reports.append)
    yield reports
    gc.collect()


@pytest.mark.parametrize("settings", CHANNELS, ids=str)
def test_every_method_arrives_byte_for_byte(service, settings):
    expected = []
    with tarn_mqc.connect(service.target, **settings) as mqc:
        for method, request in tarn_mqc.REQUESTS.items():
            first, *_ = vars(request())
            record = request.from_dict({first: 77} if isinstance(getattr(request(), first), int) else {})
            full = settings.get("full", False) and method != "ProcMqcBatchMsg"
            expected += [(method, tarn_mqc.encode(method, record, full))] * 3
            call = getattr(mqc, method)
            assert call(record) == call.submit(record.to_dict()).result() == call.oneway(**vars(record)) == 0
    wait_until(lambda: len(service.received()) == len(expected))
    assert sorted(service.received()) == sorted(expected)


def test_statuses_are_returned_or_raised(serve):
    service = serve("--status", "sendRuleMac=7")
    with tarn_mqc.connect(service.target) as mqc:
        status = mqc.sendRuleMac(f3=1)
        assert (status, status.meaning) == (7, "a service's status")
        assert mqc.sendRuleMac.submit().result() == 7 and mqc.sendRuleMac.oneway() == 0
        mqc.check = True
        assert mqc.AddMqcSmoothMsg() == 0
        for make in mqc.sendRuleMac, lambda: mqc.sendRuleMac.submit().result():
            with pytest.raises(tarn_mqc.CallError, match="^sendRuleMac: a service's status .status 7.$") as error:
                make()
            assert (error.value.method, error.value.status) == ("sendRuleMac", 7)
    with tarn_mqc.connect("unix:/nowhere/socket") as mqc:
        assert mqc.sendRuleMac() == 1014
        mqc.check = True
        with pytest.raises(tarn_mqc.CallError, match="^sendRuleMac: UNAVAILABLE: .*/nowhere/socket.* .status 1014.$"):
            mqc.sendRuleMac.submit().result()


@pytest.mark.parametrize("settings", CHANNELS, ids=str)
def test_a_service_records_what_it_answers_or_refuses(serve, settings, tmp_path):
    captures, statuses, variants = tmp_path / "captures", [], ["sync", "async", "oneway"] * len(tarn_mqc.REQUESTS)
    captures.mkdir()
    service = serve("--capture", captures, "--status", "qos_group_port=7")
    with tarn_mqc.connect(service.target, **settings) as mqc:
        for method in tarn_mqc.REQUESTS:
            call = getattr(mqc, method)
            statuses += [call(), call.submit().result()]
            call.oneway()
        wait_until(lambda: len([*captures.glob("[0-9]*")]) == len(variants))
        messages = [(file.name.split("-")[1].split(".")[0], file.read_bytes()) for file in captures.glob("[0-9]*")]
        captures.rename(tmp_path / "moved")
        assert mqc.sendRuleMac() == 1013
    service.stop()
    assert (service.folder / "calls").stat().st_mode & 0o777 == 0o600
    *calls, refused = service.requests
    assert sorted((call.method, call.message) for call in calls) == sorted(messages) and refused.status == 1013
    assert {call.status for call in calls if call.method == "qos_group_port"} == {7} == set(statuses) - {0}
    assert sum(call.status for call in calls) == 3 * 7
    if "stream" in settings:
        assert [call.variant for call in calls] == variants
        assert [call.status for call in calls if call.variant != "oneway"] == statuses


def test_what_a_method_does_not_take(service):
    with tarn_mqc.connect(service.target) as mqc:
        for request, fields, words in ((RuleHead(), {}, "takes RuleMac, not RuleHead"),
                                       (RuleMac(), {"f3": 1}, "not both"), (None, {"f9": 1}, "RuleMac.f9: no such")):
            for way in mqc.sendRuleMac, mqc.sendRuleMac.submit, mqc.sendRuleMac.oneway:
                with pytest.raises(TypeError, match=words):
                    way(request, **fields)
        with pytest.raises(AttributeError):
            mqc.sendRule()
    assert service.received() == []


def test_settings_that_cannot_work(tmp_path):
    for settings, kind, words in (
            ({"deadline": 0}, ValueError, "deadline: 0 is out of range"),
            ({"max_in_flight": 1 << 32}, ValueError, "max_in_flight: 4294967296 is out of range"),
            ({"ca": "a\0b"}, ValueError, "ca: a zero byte"),
            ({"ca": tmp_path / "none"}, tarn_mqc.SetupError, "none"),
            ({"service_config": {"unknown": 1}}, tarn_mqc.SetupError, "unknown")):
        with pytest.raises(kind, match=words):
            tarn_mqc.connect("unix:/nowhere/socket", **settings)
    with pytest.raises(tarn_mqc.SetupError, match="port"):
        tarn_mqc.connect("dns:///host")
    with pytest.raises(TypeError, match="need a target"):
        tarn_mqc.connect(stream=True)


def test_without_a_target_the_environment_has_it(service, monkeypatch):
    monkeypatch.setenv("TARN_GRPC_TARGET", service.target)
    with tarn_mqc.connect() as mqc:
        assert mqc.sendRuleMac() == mqc.sendRuleMac.submit().result() == 0


def test_threads_call_at_once(service):
    with tarn_mqc.connect(service.target, stream=True) as mqc:
        def run(number):
            return [mqc.sendRuleMac(f3=number), mqc.sendRuleMac.submit(f3=number).result()] * 20

        with concurrent.futures.ThreadPoolExecutor(16) as pool:
            assert sum(pool.map(run, range(32)), []) == [0] * 32 * 40
    assert len(service.received()) == 32 * 2


def test_a_call_that_was_made_is_not_taken_back(service):
    with tarn_mqc.connect(service.target, deadline=60) as mqc:
        service.pause()
        call = mqc.sendRuleMac.submit()
        assert not call.cancel() and call.running()
        with pytest.raises(concurrent.futures.TimeoutError):
            call.result(0.01)
        service.go_on()
        assert call.result() == 0


def test_closing_ends_calls(service, unraisable):
    mqc = tarn_mqc.connect(service.target, deadline=60)
    assert mqc.sendRuleMac() == 0
    service.pause()
    calls = [mqc.sendRuleMac.submit() for _ in range(3)]
    assert not mqc.close()
    assert [call.result(0) for call in calls] == [1001] * 3
    assert mqc.close()
    for way in mqc.sendRuleMac, mqc.sendRuleMac.submit, mqc.sendRuleMac.oneway:
        with pytest.raises(tarn_mqc.Error, match="closed"):
            way()
    service.go_on()
    with tarn_mqc.connect(service.target) as other:
        refusals = []
        service.pause()
        call = other.sendRuleMac.submit()
        call.add_done_callback(lambda _: refusals.append(pytest.raises(tarn_mqc.Error, other.close)))
        service.go_on()
        wait_until(lambda: refusals)
        assert other.sendRuleMac() == 0
    assert not unraisable


def test_exceptions_at_a_calls_end_are_reported(service, unraisable, caplog):
    with tarn_mqc.connect(service.target) as mqc:
        for error in ZeroDivisionError("mine"), SystemExit(5):
            def fail(_, error=error):
                raise error

            service.pause()
            call = mqc.sendRuleMac.submit()
            call.add_done_callback(fail)
            service.go_on()
            assert call.result() == mqc.sendRuleMac.submit().result() == 0
        assert "ZeroDivisionError: mine" in caplog.text
        wait_until(lambda: unraisable)
        assert [report.exc_value.code for report in unraisable] == [5]


def test_asyncio(service, caplog):
    async def main():
        with tarn_mqc.connect(service.target, deadline=60) as mqc:
            assert await asyncio.gather(*[mqc.sendRuleMac.submit(f3=i) for i in range(20)]) == [0] * 20
            service.pause()
            call = mqc.sendRuleMac.submit()
            with pytest.raises(asyncio.TimeoutError):
                await asyncio.wait_for(call, 0.01)
            service.go_on()
            assert await call == await call == 0
            mqc.check = True
            with pytest.raises(tarn_mqc.CallError):
                service.close()
                await mqc.sendRuleMac.submit()

    asyncio.run(main())
    assert "ERROR" not in caplog.text


def test_a_loop_that_is_closed_before_the_answer(service, unraisable, caplog):
    with tarn_mqc.connect(service.target, deadline=60) as mqc:
        service.pause()
        calls = []

        async def main():
            calls.append(mqc.sendRuleMac.submit())
            asyncio.ensure_future(asyncio.wait_for(calls[0], 100))
            await asyncio.sleep(0.01)

        asyncio.run(main())
        service.go_on()
        assert calls[0].result() == mqc.sendRuleMac() == 0
    assert not unraisable and "ERROR" not in caplog.text


@pytest.mark.parametrize("waits_at_once", [True, False], ids=["submit", "synchronous"])
def test_interrupts_of_a_waiting_call(service, waits_at_once):
    with tarn_mqc.connect(service.target, deadline=60 if waits_at_once else 0.5) as mqc:
        service.pause()
        call = mqc.sendRuleMac.submit()
        with pytest.raises(KeyboardInterrupt):
            threading.Timer(0.1, os.kill, (os.getpid(), signal.SIGINT)).start()
            call.result() if waits_at_once else mqc.sendRuleMac()
            threading.Event().wait(60)  # a handler runs between two steps of the interpreter
        assert not waits_at_once or call.running()
        service.go_on()
        assert mqc.sendRuleMac() == 0

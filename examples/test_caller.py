"""Tests of code that calls the service, against one that answers as each test says.

    pytest test_caller.py
"""
import tarn_mqc
from tarn_mqc import RuleMac

pytest_plugins = ["tarn_mqc.testing"]


def install(mqc, rules):
    """The code under test: sends rules, one that is refused a second time; returns those that are refused twice."""
    return [rule for rule in rules if mqc.sendRuleMac(rule) != 0 and mqc.sendRuleMac(rule) != 0]


def test_a_rule_that_is_refused_is_sent_again(mqc_service, mqc_channel):
    mqc_service.expect("sendRuleMac", answers=[0, 5, 0])  # the second is refused, the third succeeds
    assert install(mqc_channel, [RuleMac(f3=37), RuleMac(f3=38)]) == []
    assert [(call.request.f3, call.status) for call in mqc_service.requests] == [(37, 0), (38, 5), (38, 0)]


def test_a_rule_is_given_up_when_the_service_is_away(mqc_service, mqc_channel):
    away = RuleMac(head=tarn_mqc.RuleHead(f0=1), f3=37)
    mqc_service.expect("sendRuleMac", head={"f0": 1}, answers="UNAVAILABLE", times=2)
    mqc_service.expect("sendRuleMac")  # every other one
    assert install(mqc_channel, [away, RuleMac(f3=38)]) == [away]

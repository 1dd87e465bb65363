"""Records: what they are made from, what they refuse, and in which words."""
import copy
import itertools
import pickle

import pytest

import tarn_mqc
from tarn_mqc import BrkBatchMsg, RuleHead, RuleMac, act_redirect_nhp

REFUSED = [
    (lambda: RuleMac(f9=1), TypeError, "RuleMac.f9: no such field, the nearest is f"),
    (lambda: RuleMac(head={"f9": 1}), TypeError, "RuleMac.head.f9: no such field"),
    (lambda: RuleMac(head=RuleMac()), TypeError, "RuleMac.head: RuleMac where RuleHead belongs"),
    (lambda: RuleMac(f3=256), OverflowError, "RuleMac.f3: 256 is out of range, 0 to 255"),
    (lambda: RuleMac(head={"f0": -1}), OverflowError, "RuleMac.head.f0: -1 is out of range, 0 to 4294967295"),
    (lambda: RuleMac(f3=10 ** 9999), OverflowError, "RuleMac.f3: a number of 33216 bits"),
    (lambda: RuleMac(f3=1.0), TypeError, "RuleMac.f3: float where an integer belongs"),
    (lambda: RuleMac(f3=True), TypeError, "RuleMac.f3: bool where an integer belongs"),
    (lambda: RuleMac(f1="00:11:zz"), ValueError, "RuleMac.f1: '00:11:zz' is not hexadecimal"),
    (lambda: RuleMac(f1="00::11"), ValueError, "RuleMac.f1: '00::11' is not hexadecimal"),
    (lambda: RuleMac(f1={1, 2}), TypeError, "RuleMac.f1: set where bytes belong"),
    (lambda: RuleMac(f1="00:11:22:33:44:55:66"), ValueError, "RuleMac.f1: more than 6 elements"),
    (lambda: RuleMac(f1=itertools.repeat(0)), ValueError, "RuleMac.f1: more than 6 elements"),
    (lambda: RuleMac(f1=[0, 256]), OverflowError, "RuleMac.f1[1]: 256 is out of range"),
    (lambda: RuleMac(f1=6), TypeError, "RuleMac.f1: int where bytes belong"),
    (lambda: act_redirect_nhp(f13=[0] * 17), ValueError, "act_redirect_nhp.f13: more than 16 elements"),
    (lambda: act_redirect_nhp(f13={5: 6}), TypeError, "act_redirect_nhp.f13: dict where numbers belong"),
    (lambda: act_redirect_nhp(f13=[0, 65536]), OverflowError, "act_redirect_nhp.f13[1]: 65536"),
    (lambda: act_redirect_nhp(f11=[{}, {"f0": [1, ""]}]), TypeError, "act_redirect_nhp.f11[1].f0[1]: str"),
    (lambda: act_redirect_nhp(f19=[{}] * 3), ValueError, "act_redirect_nhp.f19: more than 2 elements"),
    (lambda: RuleMac.from_dict([1]), TypeError, "RuleMac: list where a dict belongs"),
    (lambda: RuleMac.from_json('{"head": {"f0": 4294967296}}'), OverflowError, "RuleMac.head.f0: 4294967296"),
    (lambda: RuleMac.from_json("{"), ValueError, "Expecting"),
    (lambda: RuleMac.from_json('{"f3": 1, "f3": 2}'), ValueError, "f3: it stands twice in its object"),
    (lambda: tarn_mqc.encode("sendRuleMac", RuleHead()), TypeError, "sendRuleMac takes RuleMac, not RuleHead"),
    (lambda: tarn_mqc.encode("sendRule", {}), ValueError, "no method is called sendRule"),
    (lambda: tarn_mqc.encode("ProcMqcBatchMsg", {}, full=True), ValueError, "ProcMqcBatchMsg has no full encoding"),
]


@pytest.mark.parametrize("make, kind, words", REFUSED, ids=[words for _, _, words in REFUSED])
def test_what_is_wrong_is_refused_with_its_place(make, kind, words):
    with pytest.raises(kind) as refusal:
        make()
    assert str(refusal.value).startswith(words)


def test_fields_are_checked_when_they_are_set_and_nothing_changes():
    record = RuleMac(f3=1)
    for name, value, kind in ("f3", 256, OverflowError), ("f1", "x", ValueError), ("f7", 1, AttributeError):
        with pytest.raises(kind, match=f"RuleMac.{name}: "):
            setattr(record, name, value)
    with pytest.raises(AttributeError):
        del record.f3
    assert record == RuleMac(f3=1)
    record.head.f5 = 7
    record.f2 = "00:11"
    assert record == RuleMac(head={"f5": 7}, f2=b"\x00\x11\0\0\0\0", f3=1) != RuleMac(f3=1)


def test_forms_of_a_value_are_the_same_record():
    mac = bytes(range(6))
    forms = [mac, bytearray(mac), memoryview(mac), list(mac), iter(mac), "00:01:02:03:04:05", "000102030405"]
    assert all(RuleMac(f1=form) == RuleMac(f1=mac) for form in forms)
    assert RuleMac(f1=[]) == RuleMac() == RuleMac(head=RuleHead(f0=0)) != RuleHead()
    record = act_redirect_nhp(f13=range(3), f11=[{"f0": "ff"}, tarn_mqc.Bytes16(f0=b"a")])
    assert record.f13 == (0, 1, 2) + (0,) * 13 and record.f11[1].f0 == b"a".ljust(16, b"\0") and len(record.f11) == 16
    assert RuleMac().head is not RuleMac().head
    assert BrkBatchMsg(f3=b"").to_dict() == {"f0": 0, "f1": 0, "f2": 0}


@pytest.mark.parametrize("name", tarn_mqc.RECORDS)
def test_every_record_is_copied_whole(name):
    kind = tarn_mqc.RECORDS[name]
    zero = kind()
    record = kind(**{field: filled(value) for field, value in vars(zero).items()})
    assert record != zero
    for other in (kind.from_dict(record.to_dict()), kind.from_json(record.to_json()), copy.deepcopy(record),
                  pickle.loads(pickle.dumps(record)), eval(repr(record), dict(tarn_mqc.RECORDS))):
        assert other == record


def filled(value):
    """Another value than zero, of the same form."""
    if isinstance(value, int):
        return 200
    if isinstance(value, bytes):
        return b"\x01\xff".ljust(len(value), b"\x02")
    if isinstance(value, tuple):
        return [filled(each) for each in value]
    return type(value)(**{field: filled(each) for field, each in vars(value).items()})

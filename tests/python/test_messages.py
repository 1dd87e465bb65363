"""Messages: the library's bytes, whoever fills the record, and what is no message."""
import json
import os
import random
import subprocess

import pytest

import tarn_mqc

#: Of each method; 10000 takes some minutes.
COUNT = int(os.environ.get("TARN_PYTHON_RECORDS", "100"))
SEED = os.environ.get("TARN_PYTHON_SEED", "1")


def test_messages_are_those_of_a_program_in_c():
    """It fills records in memory; their values are read from its messages by the schema."""
    seen = dict.fromkeys(tarn_mqc.REQUESTS, 0)
    witness = subprocess.Popen([os.environ["WITNESS"], os.environ["SCHEMAS"], str(COUNT), SEED],
                               stdout=subprocess.PIPE, text=True)
    for line in witness.stdout:
        method, compact, full, text = line.split("\t")
        record = tarn_mqc.REQUESTS[method].from_json(text)
        assert tarn_mqc.encode(method, record).hex() == compact, line
        assert tarn_mqc.decode(method, bytes.fromhex(compact)) == record
        if full:
            assert tarn_mqc.encode(method, record, full=True).hex() == full, line
            assert tarn_mqc.decode(method, bytes.fromhex(full)) == record
        assert record.to_dict() == json.loads(text)
        seen[method] += 1
    assert witness.wait() == 0
    assert set(seen.values()) == {COUNT}


def test_a_buffer_longer_than_a_table_size_can_say():
    record = tarn_mqc.BrkBatchMsg(f1=3, f3=bytes(range(256)) * 4096)
    assert tarn_mqc.decode("ProcMqcBatchMsg", tarn_mqc.encode("ProcMqcBatchMsg", record)) == record


def damaged(message, dice):
    """Cut, lengthened, with other bytes, with another word that may be an offset or a count, or mere noise."""
    yield from (message[:length] for length in range(0, len(message), 7))
    yield message + b"\0"
    for _ in range(30):
        place = dice.randrange(len(message))
        yield message[:place] + dice.randbytes(1) + message[place + 1:]
        word = dice.choice([0, 1, 4, 0x7FFF_FFFF, 0x8000_0000, 0xFFFF_FFFF, len(message)]).to_bytes(4, "little")
        yield message[:place] + word + message[place + 4:]
    yield dice.randbytes(len(message))


def test_what_is_no_whole_message_is_refused():
    dice = random.Random(int(SEED))
    refused = 0
    for method, request in tarn_mqc.REQUESTS.items():
        for full in (False, True)[:1 if method == "ProcMqcBatchMsg" else 2]:
            for message in damaged(tarn_mqc.encode(method, request(), full), dice):
                try:
                    record = tarn_mqc.decode(method, message)
                except ValueError as error:
                    assert str(error) == f"not a whole message of {method}"
                    refused += 1
                else:  # other values; a full encoding may have anything in its gaps
                    assert full or tarn_mqc.encode(method, record) == message
    assert refused > 60 * len(tarn_mqc.REQUESTS)


def test_what_a_full_encoding_leaves_open_may_be_anything():
    record = tarn_mqc.RuleMac(f3=9)
    message = tarn_mqc.encode("sendRuleMac", record, full=True)
    assert len(message) == 104
    assert tarn_mqc.decode("sendRuleMac", message[:100] + b"open") == record
    for place in range(92, 100):  # the vtable
        with pytest.raises(ValueError):
            tarn_mqc.decode("sendRuleMac", message[:place] + b"\xee" + message[place + 1:])

"""Sends modular QoS configuration to the service behind MqcFesIntf, over the installed libraries.

    import tarn_mqc
    from tarn_mqc import RuleHead

    with tarn_mqc.connect("unix:/tmp/mqc.sock", deadline=2.0) as mqc:
        status = mqc.sendRuleMac(head=RuleHead(f0=1), f1="00:11:22:33:44:55", f3=37)
        if status != 0:
            print(status, status.meaning)

        mqc.check = True  # from here on, another status than 0 raises CallError
        call = mqc.sendRuleMac.submit(f3=38)  # does not wait; a concurrent.futures.Future
        print(call.result())  # under asyncio: await call
        mqc.sendRuleMac.oneway(f3=39)  # has no answer

Records. The request of each method, and what it holds, is a class named after its type in C without the prefix
MQC_, SPSA_ or Mqc: RuleMac, RuleHead (see Record for its fields). RECORDS has all of them by name, REQUESTS the
request of each method. Records come from and go to dicts and JSON; a method takes its record, a dict, or fields.

Messages. encode() and decode() turn records into the library's bytes and back.

Recordings. recording() reads what a process, tarn-serve or the loopback has recorded as a sequence of calls:

    for call in tarn_mqc.recording("calls"):
        print(call.method, call.request, call.status)
        getattr(mqc, call.method)(call.request)  # sends it again

Libraries. load() names the platform and the library; otherwise the first use loads those that are installed. On a
platform without channels of its own, such as the loopback, connect() has no arguments.

Threads and processes. Any thread may call. A child that multiprocessing forks from a process with a channel can
make no calls: they raise ForkedError; children with the start method "spawn" can. When the interpreter exits, each
channel waits for at most a second until its calls have ended, and ends the others.
"""
from . import records
from ._build import VERSION as __version__
from ._call import Call
from ._channel import Channel, connect
from ._library import load
from ._message import decode, encode
from ._record import Record
from ._recording import RecordedCall, Recording, RecordingError, recording
from ._status import CallError, Error, ForkedError, SetupError, Status
from .methods import REQUESTS
from .records import *  # noqa: F401,F403
from .records import RECORDS

__all__ = ["Call", "CallError", "Channel", "Error", "ForkedError", "RECORDS", "REQUESTS", "Record", "RecordedCall",
           "Recording", "RecordingError", "SetupError", "Status", "__version__", "connect", "decode", "encode", "load",
           "recording"]
__all__ += records.__all__

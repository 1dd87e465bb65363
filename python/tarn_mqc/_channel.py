"""Channels, and the methods that are called over them."""
from __future__ import annotations

import atexit
import ctypes
import json
import os
import time
from types import TracebackType
from typing import Any, Dict, Mapping, Optional, Set, Type, Union

from ._call import Call, completed, numbers, outcome, pending
from ._library import Library, Options, loaded
from ._record import Record
from ._status import DEADLOCK, Error, ForkedError, SetupError, Status
from .methods import REQUESTS, Methods

Path = Union[str, "os.PathLike[str]"]


class Method:
    """A method of a channel. Called with a record, a dict, or the fields of its request as keyword arguments, it
    waits for the answer and returns the call's status."""

    __slots__ = "name", "request", "_channel", "_sync", "_async", "_oneway"

    def __init__(self, channel: Channel, name: str, request: Type[Record]) -> None:
        self.name = name
        self.request = request
        self._channel = channel
        self._sync, self._async, self._oneway = channel._library.calls(name)

    def __call__(self, request: Any = None, /, **fields: Any) -> Status:
        """Sends a request and waits for the answer; returns the call's status.

        The wait ends at the channel's deadline at the latest. Signals are handled when it has ended, Ctrl-C
        included; submit(...).result() waits so that they are handled at once.
        """
        if fields or type(request) is not self.request:
            request = self._record(request, fields)
        channel = self._channel
        return outcome(self.name, self._sync(request._pack(), channel._handle()), channel.check)

    def submit(self, request: Any = None, /, **fields: Any) -> Call:
        """Sends a request without waiting; returns the call as a future, which can be awaited."""
        packed = self._record(request, fields)._pack()
        channel = self._channel
        handle = channel._handle()
        call = Call(self.name, channel.check)
        number = next(numbers)
        pending[number] = call
        status = self._async(packed, completed, number, handle)
        if status != 0:
            del pending[number]
            call._end(status)
        return call

    def oneway(self, request: Any = None, /, **fields: Any) -> Status:
        """Sends a message that has no answer; returns the status of the sending."""
        packed = self._record(request, fields)._pack()
        channel = self._channel
        return outcome(self.name, self._oneway(packed, channel._handle()), channel.check)

    def _record(self, request: Any, fields: Dict[str, Any]) -> Record:
        if request is None:
            return self.request(**fields)
        if fields:
            raise TypeError(f"{self.name} takes a record or its fields, not both")
        if isinstance(request, Mapping):
            return self.request.from_dict(request)
        if type(request) is not self.request:
            raise TypeError(f"{self.name} takes {self.request.__name__}, not {type(request).__name__}")
        return request

    def __repr__(self) -> str:
        return f"<method {self.name}, request {self.request.__name__}>"


class Channel(Methods):
    """A way to the service. The methods are its attributes; any thread may call them.

    Made by connect(), and closed by close(), at the end of a with block, or when the interpreter exits.
    """

    #: Whether a call that returns another status than 0 raises CallError.
    check: bool = False

    def __init__(self, library: Library, opt: Optional[int]) -> None:
        self._library = library
        self._opt = opt
        self._closed = False
        for name, request in REQUESTS.items():
            setattr(self, name, Method(self, name, request))
        opened.add(self)

    def _handle(self) -> Optional[int]:
        if self._closed:
            raise Error("the channel is closed")
        return self._opt

    def close(self) -> bool:
        """Closes the channel: waits for at most a second until the calls under way have ended, and ends the others.

        The channel of the environment is the process's, and stays open for other users until the interpreter
        exits: the calls that are under way are not ended. Error: a function that a call runs at its end closes it.

        Returns whether all calls had ended.
        """
        if self._closed:
            return True
        self._closed = True
        status = self._shut()
        opened.discard(self)
        if status == DEADLOCK:
            self._closed = False
            opened.add(self)
            raise Error("a channel cannot be closed while a call's end is being reported")
        return status == 0

    def _shut(self) -> int:
        library = self._library
        if self._opt is not None and library.close is not None:
            return int(library.close(self._opt))
        return int(library.drain(1000)) if library.drain is not None else wait_for_pending()

    def __enter__(self) -> Channel:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()


#: The channels that are not closed; they stay until the interpreter exits.
opened: Set[Channel] = set()
uses_environment = False
has_ended = False


def wait_for_pending() -> int:
    """For at most a second, where the platform cannot."""
    until = time.monotonic() + 1
    while pending and time.monotonic() < until:
        time.sleep(0.005)
    return 1 if pending else 0


@atexit.register
def end() -> None:
    """No call is to end after the interpreter: the platform's thread could not report it."""
    global has_ended
    has_ended = True
    for channel in list(opened):
        channel.close()
    close = loaded().close if uses_environment else None
    if close is not None:
        close(None)
    wait_for_pending()


os.register_at_fork(after_in_child=pending.clear)


def encoded(name: str, value: Optional[Path]) -> Optional[bytes]:
    if value is None:
        return None
    path = os.fsencode(value)
    if b"\0" in path:
        raise ValueError(f"{name}: a zero byte in {value!r}")
    return path


def within(name: str, value: Optional[int], most: int) -> int:
    """A number for the platform, 0 for its default."""
    if value is None:
        return 0
    if not 1 <= value <= most:
        raise ValueError(f"{name}: {value} is out of range, 1 to {most}")
    return value


def milliseconds(deadline: Optional[float]) -> int:
    if deadline is None:
        return 0
    if not 0.001 <= deadline <= 3600:
        raise ValueError(f"deadline: {deadline} is out of range, 0.001 to 3600 seconds")
    return round(deadline * 1000)


def connect(target: Optional[str] = None, *, deadline: Optional[float] = None, stream: bool = False,
            full: bool = False, wait_for_ready: bool = False, max_in_flight: Optional[int] = None,
            max_bytes: Optional[int] = None, ca: Optional[Path] = None, cert: Optional[Path] = None,
            key: Optional[Path] = None, server_name: Optional[str] = None,
            service_config: Union[str, Mapping[str, Any], None] = None) -> Channel:
    """Makes a channel to a service; it connects at the first call.

    target is "unix:/run/mqc.sock" or "dns:///host:port". Without one, and without any other argument, the channel
    is the process's own: that of the variables TARN_GRPC_*, or of a platform that needs no settings.

    deadline: seconds that a call may take, 10 otherwise. stream: calls travel in order over one stream. full: the
    full encoding, where a method has one. wait_for_ready: wait for a service that cannot be reached.
    max_in_flight, max_bytes: limits of the calls under way that do not wait. ca, cert, key: PEM files, for TLS.
    server_name: the name in the service's certificate. service_config: gRPC's, JSON or a dict.

    ValueError, TypeError: wrong arguments. SetupError: the platform refuses them. OSError: libraries are missing.
    """
    if isinstance(service_config, Mapping):
        service_config = json.dumps(service_config)
    options = Options(
        size=ctypes.sizeof(Options), stream=bool(stream), target=encoded("target", target),
        deadline_ms=milliseconds(deadline), max_in_flight=within("max_in_flight", max_in_flight, 100_000),
        full=bool(full), wait_for_ready=bool(wait_for_ready), ca=encoded("ca", ca), cert=encoded("cert", cert),
        key=encoded("key", key), server_name=encoded("server_name", server_name),
        max_bytes=within("max_bytes", max_bytes, 1 << 40), service_config=encoded("service_config", service_config))
    if has_ended:
        raise Error("the interpreter exits: no channel is made")
    library = loaded()
    global uses_environment
    if target is None:
        if bytes(options) != bytes(Options(size=options.size)):
            raise TypeError("settings need a target; without one, the environment's hold")
        uses_environment = True
        return Channel(library, None)
    if library.open is None:
        raise SetupError(f"{library.names[0]} has no channels to a target: connect() without arguments")
    opt = library.open(ctypes.byref(options))
    if opt is None:
        raise ForkedError() if library.is_forked() else SetupError(library.last_error())
    return Channel(library, opt)

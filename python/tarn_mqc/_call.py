"""Calls that do not wait, and their ends, which the platform reports."""
from __future__ import annotations

import itertools
from concurrent.futures import Future
from typing import Any, Dict, Generator

from ._library import COMPLETION, loaded
from ._status import FORKED, SUCCESS, CallError, ForkedError, Status, reason_of


def outcome(method: str, status: int, check: bool) -> Status:
    """A call's status as its caller gets it, on the thread that the platform reported it to."""
    if status == 0:
        return SUCCESS
    library = loaded()
    if status == FORKED and library.is_forked():
        raise ForkedError()
    result = Status(status)
    if check:
        raise CallError(method, result, reason_of(method, result, library.last_error()))
    return result


class Call(Future[Status]):
    """A call under way: a future whose result is the call's status, to be awaited under asyncio, too.

    A call that was made cannot be taken back: cancel() returns False. To cancel a task that awaits it drops the
    answer alone. Functions given to add_done_callback() run on the thread of the runtime, one after the other with
    those of other calls; they should return soon, and a synchronous call in them delays the others. An exception
    in one is logged, and nothing else.
    """

    def __init__(self, method: str, check: bool) -> None:
        super().__init__()
        self._method = method
        self._check = check
        self.set_running_or_notify_cancel()

    def _end(self, status: int) -> None:
        try:
            result = outcome(self._method, status, self._check)
        except Exception as error:
            self.set_exception(error)
        else:
            self.set_result(result)

    def __await__(self) -> Generator[Any, None, Status]:
        import asyncio

        loop = asyncio.get_running_loop()
        ended = loop.create_future()

        def wake() -> None:
            if not ended.done():
                ended.set_result(None)

        def report(_: Future[Status]) -> None:
            try:
                loop.call_soon_threadsafe(wake)
            except RuntimeError:
                pass  # the loop was closed: nobody waits any more

        self.add_done_callback(report)
        yield from ended
        return self.result()


#: The calls whose ends the platform has not reported, by the number that was passed with each.
pending: Dict[int, Call] = {}
numbers = itertools.count(1)


def end(status: int, number: int) -> None:
    pending.pop(number)._end(status)


#: What the platform calls, on its thread.
completed = COMPLETION(end)

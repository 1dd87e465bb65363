"""What a call comes to."""
from __future__ import annotations

FORKED = 10
INVALID = 22
DEADLOCK = 35


class Error(Exception):
    """What this package raises, apart from TypeError, ValueError and OverflowError for arguments, and OSError
    for libraries that cannot be loaded."""


class SetupError(Error):
    """The settings of a channel cannot work."""


class ForkedError(Error):
    """The process was forked from one that had a channel, and can make no calls."""

    def __init__(self, words: str = "this process was forked from one that had a channel, and can make no calls: "
                                    "start it anew, as multiprocessing does with the start method 'spawn'") -> None:
        super().__init__(words)


class CallError(Error):
    """A call that returned another status than 0, on a channel whose check is True."""

    def __init__(self, method: str, status: Status, reason: str) -> None:
        super().__init__(method, status, reason)
        self.method = method
        self.status = status
        #: The reason, in one line.
        self.reason = reason

    def __str__(self) -> str:
        return f"{self.reason} (status {self.status})"


class Status(int):
    """The status of a call, an int: 0 is success."""

    @property
    def meaning(self) -> str:
        """The platform's text for the status; of a service's own status, that it is one."""
        from . import _library

        return _library.loaded().meaning(self)

    def __repr__(self) -> str:
        return f"Status({int(self)})"

    __str__ = int.__repr__


SUCCESS = Status(0)


def reason_of(method: str, status: Status, last: str) -> str:
    """The reason of a call's status, given the last failure of the thread that the status was reported to, which may
    be that of another call."""
    meaning = f"{method}: {status.meaning}"
    place = last.find(meaning)
    if place >= 0:
        return last[place:]
    return f"{method}: {last}" if last and status == INVALID else meaning

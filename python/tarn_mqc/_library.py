"""The library and the platform under it, loaded into the process."""
from __future__ import annotations

import ctypes
import os
import threading
from typing import Any, Callable, Dict, Optional, Tuple, cast

from ._build import LIBRARY, PLATFORM
from ._status import Error

COMPLETION = ctypes.CFUNCTYPE(None, ctypes.c_uint32, ctypes.c_void_p)
PACK = ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p, ctypes.c_char_p)
FULL_SIZE = ctypes.CFUNCTYPE(ctypes.c_uint32)

PACKAGES = {LIBRARY: "libtarn-cli-mqc", PLATFORM: "libtarn-grpc", "libtarn_loopback.so": "libtarn-loopback-dev"}

Function = Callable[..., int]


class Descriptor(ctypes.Structure):
    """A method's encoders."""

    _fields_ = [("slot0", ctypes.c_void_p), ("pack", PACK), ("slot2", ctypes.c_void_p),
                ("slot3", ctypes.c_void_p), ("pack_full", PACK), ("full_size", FULL_SIZE)]


class Options(ctypes.Structure):
    """Settings of a channel, TarnGrpcOptions."""

    _fields_ = [("size", ctypes.c_uint32), ("stream", ctypes.c_uint32), ("target", ctypes.c_char_p),
                ("deadline_ms", ctypes.c_uint32), ("max_in_flight", ctypes.c_uint32), ("full", ctypes.c_uint32),
                ("wait_for_ready", ctypes.c_uint32), ("ca", ctypes.c_char_p), ("cert", ctypes.c_char_p),
                ("key", ctypes.c_char_p), ("server_name", ctypes.c_char_p), ("max_bytes", ctypes.c_uint64),
                ("service_config", ctypes.c_char_p)]


def open_library(name: str) -> ctypes.CDLL:
    try:
        return ctypes.CDLL(name, ctypes.RTLD_GLOBAL)
    except OSError as error:
        package = PACKAGES.get(os.path.basename(name))
        advice = f"; the Debian package is {package}" if package and "undefined symbol" not in str(error) else ""
        raise OSError(f"cannot load {name}: {error}{advice}") from None


class Library:
    """The exports of both, with their types."""

    def __init__(self, platform: str, library: str) -> None:
        self.names = platform, library
        self.pid = os.getpid()
        self._calls: Dict[str, Tuple[Function, Function, Function]] = {}
        self._platform = open_library(platform) if platform else ctypes.CDLL(None)
        global _platform
        _platform = platform or _platform
        self._library = open_library(library)
        find = self._find
        self.open = find("TarnGrpc_open", ctypes.c_void_p, ctypes.POINTER(Options))
        self.close = find("TarnGrpc_close", ctypes.c_uint32, ctypes.c_void_p)
        self.drain = find("TarnGrpc_drain", ctypes.c_uint32, ctypes.c_uint32)
        self._status_text = find("TarnGrpc_statusText", ctypes.c_char_p, ctypes.c_uint32)
        self._last_error = find("TarnGrpc_lastError", ctypes.c_char_p)

    def _find(self, name: str, result: Any, *arguments: Any) -> Optional[Callable[..., Any]]:
        """A function that only some platforms have."""
        function = getattr(self._platform, name, None)
        if function is not None:
            function.restype, function.argtypes = result, arguments
        return cast(Optional[Callable[..., Any]], function)

    def calls(self, method: str) -> Tuple[Function, Function, Function]:
        """The three ways to call a method: synchronous, asynchronous, one-way. Each takes a packed record first."""
        if method not in self._calls:
            self._calls[method] = (self._call(method), self._call(f"{method}_async", COMPLETION, ctypes.c_void_p),
                                   self._call(f"{method}_oneway"))
        return self._calls[method]

    def _call(self, name: str, *more: Any) -> Function:
        function = self._library[f"MqcFesIntf_{name}"]
        function.restype, function.argtypes = ctypes.c_uint32, (ctypes.c_char_p, *more, ctypes.c_void_p)
        return function

    def descriptor(self, method: str) -> Descriptor:
        filled = Descriptor()
        self._library[f"MqcFesIntf_{method}SetIdl"](ctypes.byref(filled))
        return filled

    def meaning(self, status: int) -> str:
        if self._status_text is None:
            return "success" if status == 0 else "a status of the platform or the service"
        return text(self._status_text(status))

    def last_error(self) -> str:
        """The reason of the calling thread's last failure, if the platform states it."""
        return text(self._last_error()) if self._last_error is not None else ""

    def is_forked(self) -> bool:
        return self.open is not None and os.getpid() != self.pid


def text(line: bytes) -> str:
    return line.decode(errors="backslashreplace")


_lock = threading.Lock()
_loaded: Optional[Library] = None
#: The platform that is in the process, even if the library could not be loaded: it would bind to the first one.
_platform: Optional[str] = None


def load(platform: Optional[str] = None, library: Optional[str] = None) -> None:
    """Loads the platform and the library, which the first use does otherwise.

    Each is a file, or a name that the loader finds. Without an argument, the variables TARN_MQC_PLATFORM and
    TARN_MQC_LIBRARY name them, and without those the delivery over gRPC is the platform. An empty name is that of
    a platform which the process has already.

    OSError: one cannot be loaded. Error: others are loaded already.
    """
    global _loaded
    names = (os.environ.get("TARN_MQC_PLATFORM", PLATFORM) if platform is None else os.fspath(platform),
             os.environ.get("TARN_MQC_LIBRARY", LIBRARY) if library is None else os.fspath(library))
    with _lock:
        if _loaded is not None and _loaded.names != names:
            raise Error(f"{' and '.join(_loaded.names)} are loaded already")
        if _platform not in (None, names[0]):
            raise Error(f"the platform {_platform} is loaded already")
        if _loaded is None:
            _loaded = Library(*names)


def loaded() -> Library:
    if _loaded is None:
        load()
    return cast(Library, _loaded)

"""Sessions with servers: each open file has one to itself, and idle ones are kept for the next."""

from __future__ import annotations

import atexit
import os
import threading
import time
import warnings
import weakref
from contextlib import contextmanager
from typing import Any, Iterator, Mapping, Sequence

from . import _fileref
from .errors import FilerefWarning, UsageError
from .target import Target

#: How many idle sessions are kept, and for how many seconds at the most.
MOST_IDLE = 8
IDLE_SECONDS = 60.0

#: What every call takes besides its own arguments; see fileref.open.
HOST_OPTIONS = frozenset(
    "whole verify atomic client retries may_ask start_limit command_limit transfer_limit"
    " stall_limit log warn progress".split()
)

_idle: list[tuple[float, Any, _fileref.Session]] = []  # since when, what for
_lock = threading.RLock()
_open_files: weakref.WeakSet[Any] = weakref.WeakSet()
_sessions: weakref.WeakSet[_fileref.Session] = weakref.WeakSet()


def _warn(text: str) -> None:
    warnings.warn(text, FilerefWarning, stacklevel=2)


def host_options(given: Mapping[str, Any]) -> dict[str, Any]:
    for name in given:
        if name not in HOST_OPTIONS:
            raise TypeError(f"unexpected keyword argument {name!r}")
    return {"warn": _warn} | {name: value for name, value in given.items() if value is not None}


def new(given: Mapping[str, Any]) -> _fileref.Session:
    session = _fileref.Session(host_options(given))
    _sessions.add(session)
    return session


def _key(directory: Target, options: Sequence[str], given: Mapping[str, Any]) -> Any:
    return directory.place, tuple(options), tuple(sorted(given.items(), key=lambda item: item[0]))


class Lease:
    """A session for one directory, to be given back."""

    def __init__(
        self, directory: Target, options: Sequence[str], given: Mapping[str, Any]
    ) -> None:
        self._key = _key(directory, options, given)
        # One that makes its directory does so when it begins, and only then.
        self.reusable = not any("NEW" in text.upper() for text in options)
        self.session = _take(self._key) or _begin(directory, options, given)

    def give_back(self, reusable: bool = True) -> None:
        session, self.session = self.session, None
        if session is None:
            return
        if reusable and self.reusable:
            with _lock:
                _idle.append((time.monotonic(), self._key, session))
            _drop_old()
        else:
            session.close()


@contextmanager
def leased(
    directory: Target, options: Sequence[str], given: Mapping[str, Any]
) -> Iterator[_fileref.Session]:
    lease = Lease(directory, options, given)
    good = False
    try:
        yield lease.session
        good = True
    finally:
        lease.give_back(good)


def _begin(
    directory: Target, options: Sequence[str], given: Mapping[str, Any]
) -> _fileref.Session:
    session = new(given)
    try:
        session.assign(directory if directory.path else directory.with_path("."), options)
    except BaseException:
        session.close()
        raise
    return session


# Under the lock an object may be collected that gives its session back.


def _take(key: Any) -> _fileref.Session | None:
    _drop_old()
    with _lock:
        for entry in reversed(_idle.copy()):
            if entry[1] == key and entry in _idle:
                _idle.remove(entry)
                return entry[2]
    return None


def _drop_old() -> None:
    oldest = time.monotonic() - IDLE_SECONDS
    with _lock:
        old = [entry for entry in _idle if entry[0] < oldest] or _idle[:-MOST_IDLE]
        _idle[:] = [entry for entry in _idle if entry not in old]
    for entry in old:
        entry[2].close()


def close_idle() -> None:
    """Ends the sessions that are kept for the next files."""
    with _lock:
        ended = _idle.copy()
        _idle.clear()
    for entry in ended:
        entry[2].close()


def track(file: Any) -> None:
    """Has the file abandoned at the end of the interpreter, should it still be open."""
    _open_files.add(file)


def _end() -> None:
    _fileref.end_calls()
    ends = [file.abandon for file in list(_open_files)]
    for end in ends + [session.close for session in list(_sessions)]:
        try:
            end()
        except (OSError, UsageError):
            pass  # there is nobody left to tell


def _forget() -> None:
    """In a process that was forked off: what is here belongs to the other one."""
    global _lock
    _lock = threading.RLock()
    _fileref.after_fork()
    _idle.clear()
    _open_files.clear()
    _sessions.clear()


atexit.register(_end)
os.register_at_fork(after_in_child=_forget)

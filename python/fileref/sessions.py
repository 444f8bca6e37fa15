"""Sessions with servers: each call and each open file has one to itself, and idle ones are kept for
the next, in whatever directory of the server that is."""

from __future__ import annotations

import atexit
import os
import threading
import time
import warnings
import weakref
from contextlib import contextmanager
from dataclasses import dataclass
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


@dataclass(frozen=True, eq=False)
class _Idle:
    since: float  # as time.monotonic has it
    server: Any  # and all else that must be the same
    directory: str | None  # None: not to be used as it is
    session: _fileref.Session


#: Failures that say nothing against the session.
_ANSWERS = (FileNotFoundError, NotADirectoryError, PermissionError)

_idle: list[_Idle] = []
_lock = threading.RLock()
_open_files: weakref.WeakSet[Any] = weakref.WeakSet()


def _warn(text: str) -> None:
    warnings.warn(text, FilerefWarning, stacklevel=2)


def host_options(given: Mapping[str, Any]) -> dict[str, Any]:
    for name in given:
        if name not in HOST_OPTIONS:
            raise TypeError(f"unexpected keyword argument {name!r}")
    return {"warn": _warn} | {name: value for name, value in given.items() if value is not None}


def new(given: Mapping[str, Any]) -> _fileref.Session:
    return _fileref.Session(host_options(given))


class Lease:
    """A session for one directory, to be given back."""

    def __init__(
        self, directory: Target, options: Sequence[str], given: Mapping[str, Any]
    ) -> None:
        words = tuple(text for text in options if text.upper() != "NEW")
        self._server = (directory.server, words, tuple(sorted(given.items(), key=lambda item: item[0])))
        # A directory is made when it is assigned, and only then.
        makes = any("NEW" in text.upper() for text in options)
        directory = directory.without_slashes()
        self.directory = None if makes else directory.path
        idle = _take(self._server, self.directory)
        self._session: _fileref.Session | None = idle.session if idle else new(given)
        if idle is None or self.directory is None or idle.directory != self.directory:
            self._assign(directory, options)

    @property
    def session(self) -> _fileref.Session:
        assert self._session is not None, "it was given back"
        return self._session

    def _assign(self, directory: Target, options: Sequence[str]) -> None:
        try:
            self.session.assign(directory if directory.path else directory.with_path("."), options)
        except BaseException as error:
            self.give_back(type(error))
            raise

    def give_back(self, after: type[BaseException] | None = None) -> None:
        """Keeps the session for the next, unless what failed leaves it in doubt."""
        session, self._session = self._session, None
        if session is None:
            return
        if after is None or issubclass(after, _ANSWERS):
            directory = self.directory if after is None else None
            with _lock:
                _idle.append(_Idle(time.monotonic(), self._server, directory, session))
            _drop_old()
        else:
            session.close()


@contextmanager
def leased(
    directory: Target, options: Sequence[str], given: Mapping[str, Any]
) -> Iterator[_fileref.Session]:
    lease = Lease(directory, options, given)
    try:
        yield lease.session
    except BaseException as error:
        lease.give_back(type(error))
        raise
    lease.give_back()


# Under the lock an object may be collected that gives its session back.


def _take(server: Any, directory: str | None) -> _Idle | None:
    """The one that was used last, if possible in that directory."""
    _drop_old()
    with _lock:
        fit = [idle for idle in _idle if idle.server == server]
        found = max(fit, key=lambda idle: (idle.directory == directory, idle.since), default=None)
        if found in _idle:
            _idle.remove(found)
            return found
    return None


def _drop_old() -> None:
    oldest = time.monotonic() - IDLE_SECONDS
    with _lock:
        old = [idle for idle in _idle if idle.since < oldest] or _idle[:-MOST_IDLE]
        _idle[:] = [idle for idle in _idle if idle not in old]
    for idle in old:
        idle.session.close()


def close_idle() -> None:
    """Ends the sessions that are kept for the next files."""
    with _lock:
        ended = _idle.copy()
        _idle.clear()
    for idle in ended:
        idle.session.close()


def track(file: Any) -> None:
    """Has the file abandoned at the end of the interpreter, should it still be open."""
    _open_files.add(file)


def _end() -> None:
    _fileref.end_calls()
    ends = [file.abandon for file in list(_open_files)]
    for end in ends + [_fileref.close_sessions]:
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


atexit.register(_end)
os.register_at_fork(after_in_child=_forget)

"""Files that fit io, over readers and writers of the extension module."""

from __future__ import annotations

import io
import os
import warnings
from typing import Any, Callable, TypeVar

from . import _fileref, sessions

_A = TypeVar("_A")
_R = TypeVar("_R")

#: In bytes. As much as one read of a stream hands out.
BUFFER_SIZE = 128 * 1024


class _Raw(io.RawIOBase):
    """What both have in common: a session that goes back when they are closed."""

    def __init__(self, file: Any, lease: sessions.Lease, name: str) -> None:
        self._file = file
        self._lease = lease
        self._pid = os.getpid()
        self._failure: type[BaseException] | None = None
        self.name = name
        sessions.track(self)

    def _is_ours(self) -> bool:
        return os.getpid() == self._pid

    def _watched(self, call: Callable[[_A], _R], argument: _A) -> _R:
        """After a failure neither the session is used again, nor the file sent."""
        try:
            return call(argument)
        except BaseException as error:
            self._failure = type(error)
            raise

    def _end(self, how: Any) -> None:
        if self.closed:
            return
        super().close()
        if not self._is_ours():
            return  # the process that opened it goes on with it
        try:
            how()
        except BaseException as error:
            self._failure = type(error)
            raise
        finally:
            self._lease.give_back(self._failure)


class RawReader(_Raw):
    """The bytes of a remote file, from the first to the last."""

    _file: _fileref.Reader

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        return self._watched(self._file.readinto, buffer)

    def batch(self, count: int) -> list[bytes]:
        """At most so many records; none at the end."""
        return [] if self.closed else self._watched(self._file.next_batch, count)

    def copy_to(self, descriptor: int) -> None:
        """Writes all that is left to a file of this machine."""
        self._watched(self._file.copy_to, descriptor)

    def close(self) -> None:
        self._end(self._file.close)

    abandon = close


class RawWriter(_Raw):
    """Takes the bytes of a remote file, which is sent by close."""

    _file: _fileref.Writer

    def writable(self) -> bool:
        return True

    def write(self, data: Any) -> int:
        return self._watched(self._file.write, data)

    def write_file(self, descriptor: int) -> bool:
        """Has close send a file of this machine as it is then, from its position on, instead of
        data that was written. False, with nothing done, where that cannot be."""
        return self._watched(self._file.write_file, descriptor)

    def close(self) -> None:
        """Sends the file, unless a write failed."""
        self._end(self._file.abandon if self._failure else self._file.close)

    def abandon(self) -> None:
        """Drops what was written; nothing is sent."""
        self._end(self._file.abandon)


class _Sending:
    """A file is sent by close, or by the end of its block. An exception in that, and dropping the
    file without close, sends nothing."""

    def abandon(self) -> None:
        """Closes the file without sending it."""
        raw_of(self).abandon()

    def __exit__(self, kind: Any, value: Any, trace: Any) -> None:
        if kind is not None:
            self.abandon()
        self.close()  # type: ignore[attr-defined]

    def __del__(self) -> None:
        try:
            if self.closed or not raw_of(self)._is_ours():  # type: ignore[attr-defined]
                return
        except ValueError:
            return  # it was never made, or is detached
        warnings.warn(f"{raw_of(self).name} was not closed, and is not sent", ResourceWarning)
        self.abandon()


class BinaryWriter(_Sending, io.BufferedWriter):  # type: ignore[misc]
    """A remote file that is open for writing bytes."""

    def close(self) -> None:
        if not self.raw.closed:
            super().close()


class TextWriter(_Sending, io.TextIOWrapper):  # type: ignore[misc]
    """A remote file that is open for writing text."""

    def close(self) -> None:
        if not self.buffer.closed:
            super().close()


def raw_of(file: Any) -> RawWriter:
    raw: RawWriter = getattr(file, "buffer", file).raw
    return raw

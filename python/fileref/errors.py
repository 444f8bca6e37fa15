"""What this package raises."""

from __future__ import annotations

import builtins
import errno
import os
from typing import Any


class Failure(OSError):
    """A remote file could not be read, written or asked about.

    Each is also one of Python's own errors where it stands for the same: FileNotFoundError,
    NotADirectoryError, PermissionError, TimeoutError or ConnectionError, so that ordinary except
    clauses catch it.

    code          the result code, for instance 0x80000805
    message       a sentence: what failed and what to do
    explanation   why, where that is known; may be empty
    client_words  what the client itself said; may be empty and have several lines
    option        of a wrong option: the text that it stood in; else empty
    option_place  the wrong part of that text, as a slice of its bytes
    """

    _errno = errno.EIO

    def __init__(
        self,
        code: int,
        message: str,
        explanation: str = "",
        client_words: str = "",
        option: str = "",
        option_place: slice = slice(0, 0),
    ) -> None:
        super().__init__(self._errno, message)
        self.code = code
        self.message = message
        self.explanation = explanation
        self.client_words = client_words
        self.option = option
        self.option_place = option_place

    def __reduce__(self) -> Any:
        place = self.option_place
        return _again, (
            type(self), self.code, self.message, self.explanation, self.client_words, self.option,
            place.start, place.stop,
        )  # fmt: skip

    def __str__(self) -> str:
        lines = [self.message]
        if self.option:
            lines.append(f"at {os.fsencode(self.option)[self.option_place].decode(errors='replace')!r}"
                         f" in {self.option!r}")
        lines += [self.explanation] if self.explanation else []
        lines += ["the client said: " + self.client_words.strip()] if self.client_words else []
        return "\n  ".join(lines)


class NotFound(Failure, FileNotFoundError):
    """There is no such file or directory, or nothing that the pattern matches."""

    _errno = errno.ENOENT


class NotADirectory(Failure, NotADirectoryError):
    """Something else is there under a directory's name."""

    _errno = errno.ENOTDIR


class NotAllowed(Failure, PermissionError):
    """The server refuses the file, or the login."""

    _errno = errno.EACCES


class TimedOut(Failure, TimeoutError):
    """A limit was exceeded, or the host does not answer."""

    _errno = errno.ETIMEDOUT


class NotConnected(Failure, ConnectionError):
    """No session came up, or it was lost for good."""

    _errno = errno.ENOTCONN


class OptionError(Failure, ValueError):
    """An option is wrong; nothing was done."""

    _errno = errno.EINVAL


class UsageError(ValueError):
    """The call asks for what cannot be; nothing was done."""


class FilerefWarning(UserWarning):
    """Something went wrong that fails no call: an earlier upload that was cut short, say."""


_OF_REASON = (Failure, NotFound, NotADirectory, NotAllowed, TimedOut, NotConnected)


def _again(
    kind: type[Failure], code: int, message: str, explanation: str, words: str, option: str,
    start: int, stop: int,
) -> Failure:  # fmt: skip
    return kind(code, message, explanation, words, option, slice(start, stop))


# The extension module calls these.


def failure(
    code: int, reason: int, message: str, explanation: str, words: str, option: str, offset: int,
    length: int,
) -> Failure:  # fmt: skip
    kind = OptionError if option else _OF_REASON[reason]
    return kind(code, message, explanation, words, option, slice(offset, offset + length))


def usage_error(message: str) -> UsageError:
    return UsageError(message)


def system_error(code: int, message: str) -> OSError:
    return builtins.OSError(code, message)

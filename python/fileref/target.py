"""What stands for a remote file."""

from __future__ import annotations

import os
from typing import Any, Sequence, Union

from . import _fileref
from .errors import UsageError


class Target(_fileref.Target):
    """A remote file, directory or pattern, in its parts.

    Target("sftp://user@host:22/dir/file"); Target("sftp://host/~/file") from the login directory;
    Target("local:path") through the file server program of this machine. Behind sftp: %XX stands
    for a byte. The parts can be set one by one, which needs no quoting:

        Target(host="srv", path="/data/100%.csv")

    path              from the root with a leading "/", else from the login directory
    host, user        empty: none is given to the client
    names             these files of the directory `path`, read as one
    client_arguments  words for the client's command line, right behind the program

    Bytes of a name that are no UTF-8 stand in text as os.fsdecode has them.
    """

    def __init__(
        self,
        text: str = "",
        *,
        path: str | None = None,
        host: str | None = None,
        user: str | None = None,
        names: Sequence[str] = (),
        client_arguments: Sequence[str] | None = None,
    ) -> None:
        super().__init__(_fileref.Target.parse(text) if text else _fileref.Target())
        if path is not None:
            self.path = path
        if host is not None:
            self.host = host
        if user is not None:
            self.user = user
        if names:
            self.names = list(names)
        if client_arguments is not None:
            self.client_arguments = list(client_arguments)
        self.check()

    def parent(self) -> Target:
        """The directory that the last part of the path is in."""
        return self.with_path(super().parent().path)

    def with_path(self, path: str) -> Target:
        """The same place with another path."""
        return Target(
            path=path, host=self.host, user=self.user, client_arguments=self.client_arguments
        )

    def as_directory(self) -> Target:
        """The same target with a slash at its end, so that its last part is no pattern."""
        return self.with_path(self.path + "/" if self.path.strip("/") else self.path)

    def without_slashes(self) -> Target:
        """The same target without slashes at the end of its path, but for the root."""
        return self.with_path(self.path.rstrip("/") or self.path[:1])

    @property
    def server(self) -> tuple[Any, ...]:
        """What two targets have in common whose paths one session can serve."""
        here = "" if self.host or self.path.startswith("/") else os.getcwd()
        return (self.host, self.user, tuple(self.client_arguments), here)

    def _parts(self) -> dict[str, Any]:
        return {
            "path": self.path,
            "host": self.host,
            "user": self.user,
            "names": tuple(self.names),
            "client_arguments": tuple(self.client_arguments),
        }

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Target) and self._parts() == other._parts()

    def __hash__(self) -> int:
        return hash(tuple(self._parts().values()))

    def __reduce__(self) -> Any:
        return _from_parts, (self._parts(),)

    def __repr__(self) -> str:
        parts = ", ".join(f"{name}={value!r}" for name, value in self._parts().items() if value)
        return f"Target({parts})"


def _from_parts(parts: dict[str, Any]) -> Target:
    return Target(**parts)


#: What calls take as a target: a text, or a Target.
AnyTarget = Union[str, Target]


def target_of(target: AnyTarget) -> Target:
    return target if isinstance(target, Target) else Target(target)


def file_of(target: AnyTarget) -> Target:
    """The target of a call that needs a file."""
    found = target_of(target)
    if not found.names and not found.last_part():
        raise UsageError(f"{target!r} names no file")
    return found

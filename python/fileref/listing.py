"""What is on a server, without fetching it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Iterator, Literal, Sequence

from . import sessions
from .errors import NotFound
from .opening import words_of
from .target import AnyTarget, Target, target_of

Kind = Literal["unknown", "file", "directory", "link", "other"]


@dataclass(frozen=True)
class FileStatus:
    """What a server says of a file. None stands for what is not known for certain."""

    kind: Kind
    size: int | None  #: in bytes
    modified: int | None  #: in seconds since 1970, UTC
    mode: int | None  #: permissions, 0o7777 at the most
    is_link: bool | None  #: whether the name is that of a symbolic link


@dataclass(frozen=True)
class Entry:
    """A name of a directory, and what the listing says of it: of a link, not what is behind it."""

    name: str
    status: FileStatus

    @property
    def kind(self) -> Kind:
        return self.status.kind

    @property
    def size(self) -> int | None:
        return self.status.size

    @property
    def modified(self) -> int | None:
        return self.status.modified

    def is_file(self) -> bool:
        return self.kind == "file"

    def is_dir(self) -> bool:
        return self.kind == "directory"


def listdir(target: AnyTarget, *, options: Sequence[str] | str = (), **host: Any) -> list[str]:
    """The names in a directory, hidden ones too, but "." and ".."; with *, ? or [ in the target's
    last part those that match. In the order in which the server shows them."""
    return [name for name, _ in _names(target, options, host, False)]


def scandir(
    target: AnyTarget, *, options: Sequence[str] | str = (), **host: Any
) -> Iterator[Entry]:
    """The same names, with kind, size and time of each: one listing, and nothing is fetched."""
    return iter([Entry(*each) for each in list_directory(target, options, host)])


def stat(target: AnyTarget, *, options: Sequence[str] | str = (), **host: Any) -> FileStatus:
    """What is there under the target's name; links are followed. Raises NotFound."""
    found = find(target, options, host)
    if found is None:
        raise NotFound(0, f"there is no {target_of(target).path!r}")
    return found


def exists(target: AnyTarget, *, options: Sequence[str] | str = (), **host: Any) -> bool:
    """Whether there is a file or directory of just that name. Raises what keeps it from being found
    out."""
    return find(target, options, host) is not None


def find(target: AnyTarget, options: Sequence[str] | str, host: Any) -> FileStatus | None:
    wanted = target_of(target).without_slashes()
    is_directory = wanted.last_part() in ("", ".", "..")
    directory = wanted if is_directory else wanted.parent()
    try:
        with sessions.leased(directory, words_of(options), host) as session:
            if is_directory:
                session.enter()
                return FileStatus("directory", None, None, None, None)
            status = session.stat(wanted.last_part())
            return None if status is None else FileStatus(*status)
    except (FileNotFoundError, NotADirectoryError):
        return None


def list_directory(
    target: AnyTarget, options: Sequence[str] | str, host: Any
) -> list[tuple[str, FileStatus]]:
    found = _names(target, options, host, True)
    return [(name, FileStatus(*status)) for name, status in found]


def _names(
    target: AnyTarget, options: Sequence[str] | str, host: Any, with_status: bool
) -> list[tuple[str, Any]]:
    wanted = target_of(target)
    words = ["LSA"]
    if wanted.is_pattern():
        words += [f"LSFILE={_quoted(wanted.last_part())}"]
        wanted = wanted.parent()
    with sessions.leased(wanted, words_of(options), host) as session:
        found = session.list(words, with_status)
    return [(name, status) for name, status in found if name not in (".", "..")]


def _quoted(text: str) -> str:
    return "'" + text.replace("'", "''") + "'"

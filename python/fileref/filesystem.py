"""The fsspec file system "fileref": remote files for pandas, Dask and whatever else takes a URL.

    pandas.read_csv("fileref://user@srv:22/data/in.csv")
    dask.bag.read_text("fileref://srv/~/logs/*.txt", storage_options={"options": "OPTIONS='-i key'"})

fileref://[USER@]HOST[:PORT]/PATH is a file on a server, from the root, /~/PATH one from the login
directory, and fileref:///PATH one of this machine, through its file server program. Storage options
are `host`, `user`, `port`, `auto_mkdir` (make the directories of files that are written) and what
fileref.open takes: `options`, `whole`, `atomic`, limits.

Files are streams: they are read while they come. A read anywhere else than behind the one before
makes a copy of the whole file here, in an unnamed temporary file, from which all else is read. What
is written is sent when the file is closed. Not supported, with NotImplementedError: removing, moving
and copying on the server, appending, and transactions.
"""

from __future__ import annotations

import contextlib
import datetime
import io
import os
import secrets
import shutil
import tempfile
from typing import Any

from fsspec.callbacks import NoOpCallback  # type: ignore[import]
from fsspec.spec import AbstractFileSystem  # type: ignore[import]

from . import listing, opening, sessions
from .errors import Failure, NotADirectory, NotFound
from .files import BUFFER_SIZE
from .target import Target

_NO_CALLBACK = NoOpCallback()


class _Unlisted(Exception):
    """A failure that fsspec would take for an empty directory."""

    def __init__(self, failure: Failure) -> None:
        self.failure = failure


class FilerefFileSystem(AbstractFileSystem):  # type: ignore[misc]
    """Remote files, over the system's own ssh; see fileref.filesystem."""

    protocol = "fileref"
    root_marker = "/"
    blocksize = 1024 * 1024

    def __init__(
        self,
        host: str = "",
        user: str = "",
        port: int | None = None,
        options: Any = (),
        auto_mkdir: bool = False,
        **storage_options: Any,
    ) -> None:
        own = {key: value for key, value in storage_options.items() if key in sessions.HOST_OPTIONS}
        unknown = set(storage_options) - set(own) - _OF_FSSPEC
        if unknown:
            raise TypeError(f"unexpected storage options: {', '.join(sorted(unknown))}")
        super().__init__(
            host=host, user=user, port=port, options=options, auto_mkdir=auto_mkdir, **storage_options
        )
        self.host, self.user, self.port = host, user, port
        self.options = opening.words_of(options)
        self.auto_mkdir = auto_mkdir
        self._given = own
        self._target = _target_at(host, user, port)

    # Paths

    @classmethod
    def _strip_protocol(cls, path: Any) -> Any:
        if isinstance(path, list):
            return [cls._strip_protocol(each) for each in path]
        return "/" + _split(os.fspath(path))[1].strip("/")

    @staticmethod
    def _get_kwargs_from_urls(path: str) -> dict[str, Any]:
        user, at, place = _split(path)[0].rpartition("@")
        host, colon, port = place.rpartition(":") if not place.endswith("]") else (place, "", "")
        given: dict[str, Any] = {"host": host if colon else place}
        if at:
            given["user"] = user
        if colon:
            given["port"] = int(port)
        return given if given["host"] else {}

    def unstrip_protocol(self, name: str) -> str:
        user = f"{self.user}@" if self.user else ""
        port = f":{self.port}" if self.port else ""
        return f"fileref://{user}{self.host}{port}{self._strip_protocol(name)}"

    def target(self, path: str) -> Target:
        """What a path of this file system stands for, for the functions of fileref."""
        path = self._strip_protocol(path)
        return self._target.with_path(path[3:] if path == "/~" or path.startswith("/~/") else path)

    # Asking

    def info(self, path: str, **_: Any) -> dict[str, Any]:
        return _info(self._strip_protocol(path), self._found(path))

    def _found(self, path: str) -> listing.FileStatus:
        found = self._find(path)
        if found is None:
            raise NotFound(0, f"there is no {path!r}")
        return found

    def exists(self, path: str, **_: Any) -> bool:
        return self._find(path) is not None

    def isfile(self, path: str) -> bool:
        return self._is(path, "file")

    def isdir(self, path: str) -> bool:
        return self._is(path, "directory")

    def _is(self, path: str, kind: str) -> bool:
        found = self._find(path)
        return found is not None and found.kind == kind

    def _find(self, path: str) -> listing.FileStatus | None:
        return listing.find(self.target(path), self.options, self._given)

    def ls(self, path: str, detail: bool = True, walks: bool = False, **_: Any) -> list[Any]:
        try:
            all_of_them = self._list(self._strip_protocol(path))
        except Failure as failure:
            if walks and not isinstance(failure, FileNotFoundError):
                raise _Unlisted(failure)
            raise
        return all_of_them if detail else sorted(each["name"] for each in all_of_them)

    def walk(self, path: str, *arguments: Any, **how: Any) -> Any:
        """As fsspec has it, but a directory that cannot be listed raises and is not left out. So
        find, glob and get tell of it, too."""
        try:
            yield from super().walk(path, *arguments, **{**how, "walks": True})
        except _Unlisted as unlisted:
            raise unlisted.failure from None

    def _list(self, path: str) -> list[dict[str, Any]]:
        """The entries of a directory, or that of a file."""
        try:
            return self._entries(path)
        except NotADirectory:
            return [self.info(path)]

    def _entries(self, path: str) -> list[dict[str, Any]]:
        directory = self.target(path).as_directory()
        names = listing.list_directory(directory, self.options, self._given)
        return [self._entry(f"{path.rstrip('/')}/{name}", status) for name, status in names]

    def _entry(self, path: str, status: listing.FileStatus) -> dict[str, Any]:
        if status.kind == "link":  # a listing tells of the link itself
            return _info(path, self._find(path) or status) | {"islink": True}
        return _info(path, status)

    def modified(self, path: str) -> datetime.datetime | None:
        return _time_of(self._found(path))

    # Reading

    def _open(self, path: str, mode: str = "rb", autocommit: bool = True, **_: Any) -> Any:
        if mode == "rb":
            return SeekableFile(self, path)
        if mode not in ("wb", "xb"):
            raise NotImplementedError(f"mode {mode!r}: fileref reads (rb) and writes whole files (wb)")
        if mode == "xb" and self.exists(path):
            raise FileExistsError(path)
        if not autocommit:
            raise NotImplementedError("fileref has no transactions; take atomic=True")
        if self.auto_mkdir:
            self.makedirs(self._parent(path), exist_ok=True)
        return opening.open(
            self.target(path), "wb", literal=True, options=self.options, **self._given
        )

    def stream(self, path: str) -> Any:
        """The bytes of a file, from the first to the last."""
        return opening.open(
            self.target(path), "rb", literal=True, options=self.options, **self._given
        )

    def get_file(
        self, rpath: str, lpath: Any, callback: Any = _NO_CALLBACK, outfile: Any = None, **_: Any
    ) -> None:
        if outfile is None and not hasattr(lpath, "write") and self.isdir(rpath):
            os.makedirs(lpath, exist_ok=True)
            return
        with self.stream(rpath) as source:
            if outfile is not None or hasattr(lpath, "write"):
                _copy(source, outfile or lpath, callback)
            else:
                os.makedirs(os.path.dirname(os.path.abspath(lpath)), exist_ok=True)
                _copy_whole(source, lpath)

    # Writing

    def put_file(
        self,
        lpath: Any,
        rpath: str,
        callback: Any = _NO_CALLBACK,
        mode: str = "overwrite",
        **_: Any,
    ) -> None:
        if os.path.isdir(lpath):
            self.makedirs(rpath, exist_ok=True)
            return
        self.makedirs(self._parent(rpath), exist_ok=True)
        how = "xb" if mode == "create" else "wb"
        with open(lpath, "rb") as source, self._open(rpath, how) as target:
            size = os.fstat(source.fileno()).st_size
            callback.set_size(size)
            if target.raw.write_file(source.fileno()):
                callback.relative_update(size)
            else:
                _copy(source, target, callback)

    def mkdir(self, path: str, create_parents: bool = True, **_: Any) -> None:
        if self.exists(path):
            raise FileExistsError(path)
        parent = self._parent(path)
        if create_parents and not self.exists(parent):
            self.mkdir(parent)
        with sessions.leased(self.target(path), [*self.options, "NEW"], self._given) as session:
            session.enter()

    def makedirs(self, path: str, exist_ok: bool = False) -> None:
        if not exist_ok or not self.isdir(path):
            self.mkdir(path)

    def rmdir(self, path: str) -> None:
        raise NotImplementedError("fileref removes nothing")

    def _rm(self, path: str) -> None:
        self.rmdir(path)

    def cp_file(self, path1: str, path2: str, **_: Any) -> None:
        raise NotImplementedError("fileref copies nothing on the server; see fileref.copy")


class SeekableFile(io.BufferedReader):
    """A remote file that is open for reading; see fileref.filesystem."""

    raw: _SeekableRaw

    def __init__(self, fs: FilerefFileSystem, path: str) -> None:
        super().__init__(_SeekableRaw(fs, path), BUFFER_SIZE)
        self.path = path

    @property
    def size(self) -> int:
        """In bytes, of the remote file."""
        return self.raw.size()


class _SeekableRaw(io.RawIOBase):
    def __init__(self, fs: FilerefFileSystem, path: str) -> None:
        self._fs = fs
        self._path = path
        self._stream: Any = fs.stream(path).detach()
        self._read = 0  # bytes of the stream
        self._at = 0
        self._copy: Any = None
        self._size: int | None = None

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def size(self) -> int:
        if self._size is None:
            self._size = self._fs.info(self._path)["size"]
        if self._size is None:  # not every client program tells
            self._size = os.fstat(self._local_copy().fileno()).st_size
        return self._size

    def readinto(self, buffer: Any) -> int:
        count = self._read_at(buffer)
        self._at += count
        return count

    def _read_at(self, buffer: Any) -> int:
        if self._copy is None and self._at == self._read:
            count: int = self._stream.readinto(buffer)
            self._read += count
            return count
        if self._at >= self.size():
            return 0
        return os.preadv(self._local_copy().fileno(), [buffer], self._at)

    def _local_copy(self) -> Any:
        if self._copy is None:
            self._stream.close()
            copy = tempfile.TemporaryFile()
            with self._fs.stream(self._path) as source:
                source.raw.copy_to(copy.fileno())
            self._copy, self._size = copy, os.fstat(copy.fileno()).st_size
        return self._copy

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        if whence not in (io.SEEK_SET, io.SEEK_CUR, io.SEEK_END):
            raise ValueError(f"invalid whence: {whence!r}")
        start = (0, self._at, 0)[whence] if whence != io.SEEK_END else self.size()
        if start + offset < 0:
            raise ValueError("negative seek position")
        self._at = start + offset
        return self._at

    def tell(self) -> int:
        return self._at

    def close(self) -> None:
        if self.closed:
            return
        super().close()
        if self._copy is not None:
            self._copy.close()
        self._stream.close()


# What fsspec itself understands of storage options.
_OF_FSSPEC = {"use_listings_cache", "listings_expiry_time", "max_paths", "skip_instance_cache",
              "asynchronous", "loop", "batch_size"}  # fmt: skip


def _split(path: str) -> tuple[str, str]:
    """USER@HOST:PORT and the rest of a URL; of a path nothing and the path."""
    if not path.startswith("fileref://"):
        return "", path
    place, _, rest = path[len("fileref://") :].partition("/")
    return place, rest


def _target_at(host: str, user: str, port: int | None) -> Target:
    if not host:
        return Target("local:/")
    target = Target(f"sftp://{host}:{port}/" if port else f"sftp://{host}/")
    target.user = user
    target.check()
    return target


def _info(path: str, status: listing.FileStatus) -> dict[str, Any]:
    return {
        "name": path,
        "size": status.size if status.kind != "directory" else 0,
        "type": status.kind,
        "mtime": _time_of(status),
        "mode": status.mode,
    }


def _time_of(status: listing.FileStatus) -> datetime.datetime | None:
    when = status.modified
    return None if when is None else datetime.datetime.fromtimestamp(when, datetime.timezone.utc)


def _copy(source: Any, target: Any, callback: Any) -> None:
    while data := source.read(FilerefFileSystem.blocksize):
        target.write(data)
        callback.relative_update(len(data))


def _copy_whole(source: Any, path: Any) -> None:
    """A file takes the place of the old one when it is whole."""
    path = os.path.realpath(path)
    if os.path.exists(path) and not os.path.isfile(path):
        with open(path, "wb") as device:
            source.raw.copy_to(device.fileno())
        return
    part = f"{path}.fileref-{secrets.token_hex(4)}"
    try:
        with open(part, "xb") as target:
            source.raw.copy_to(target.fileno())
        if os.path.exists(path):
            shutil.copymode(path, part)
        os.replace(part, path)
    except BaseException:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(part)
        raise

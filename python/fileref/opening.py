"""Opening files: what fileref.open and fileref.records do."""

from __future__ import annotations

import codecs
import io
import itertools
import re
from typing import Any, Callable, Iterator, Literal, Mapping, Sequence, TypeVar, overload

from . import _fileref, sessions
from .errors import UsageError
from .files import BUFFER_SIZE, BinaryWriter, RawReader, RawWriter, TextWriter
from .target import AnyTarget, file_of

#: In bytes: as long as records can be.
LONGEST_RECORD = 2147483647

_OF_THE_CALL = re.compile(r"\b(RECFM|LRECL)\s*=", re.IGNORECASE)

_Raw = TypeVar("_Raw", RawReader, RawWriter)
Mode = Literal["r", "rt", "rb", "w", "wt", "wb"]


@overload
def open(target: AnyTarget, mode: Literal["rb"], **how: Any) -> io.BufferedReader: ...
@overload
def open(target: AnyTarget, mode: Literal["wb"], **how: Any) -> BinaryWriter: ...
@overload
def open(target: AnyTarget, mode: Literal["w", "wt"], **how: Any) -> TextWriter: ...
@overload
def open(target: AnyTarget, mode: Literal["r", "rt"] = "r", **how: Any) -> io.TextIOWrapper: ...


def open(  # noqa: A001
    target: AnyTarget,
    mode: Mode = "r",
    *,
    recfm: str | None = None,
    lrecl: int | None = None,
    encoding: str | None = None,
    errors: str | None = None,
    newline: str | None = None,
    literal: bool = False,
    options: Sequence[str] | str = (),
    **host: Any,
) -> io.BufferedReader | io.TextIOWrapper | BinaryWriter | TextWriter:
    """Opens a remote file, as open() does a file of this machine.

        with fileref.open("sftp://srv/data/in.csv") as file:
            for line in file: ...

    target    "sftp://[USER@]HOST[:PORT]/PATH", "sftp://HOST/~/PATH", "local:PATH", or a Target.
              With *, ? or [ in its last part it is the file of just that name, or else every file
              that matches, read as one; those that could not be read fail the read behind the last.
    mode      "r", "w": text; "rb", "wb": bytes.
    recfm     None: the bytes of the file as they are; of several files, lines. "V": lines of at most `lrecl` bytes; "F":
              records of exactly `lrecl` bytes; each is followed here by a line feed that is no part
              of it. "S": a stream, like None. For records with line feeds inside take records().
    lrecl     in bytes of the remote file; 32767, and 256 for "F".
    encoding  of the remote text: a name that `iconv -l` lists. Text modes only; else it is UTF-8.
    errors, newline  as for open().
    literal   takes *, ? and [ as they are.
    options   further options, as docs/options.md has them: "OPTIONS='-i key'", "USER='u'", "NEW".

    Of the host: `whole` (hand out nothing before all has arrived), `verify` (read back what was
    sent), `atomic` (replace the old file as a whole), `client`, `retries`, `may_ask`,
    `start_limit`, `command_limit`, `transfer_limit`, `stall_limit` (seconds; 0: none), and the
    functions log(line), warn(text), progress(name, bytes, total, is_upload, ended).

    A file that is written is sent when it is closed. A block that ends with an exception sends
    nothing, and neither does abandon(), nor a file that is never closed.

    Each open file has a session of its own, so that files in different threads run side by side;
    one file is used by one thread at a time. Raises Failure, which is also FileNotFoundError,
    NotADirectoryError, PermissionError, TimeoutError or ConnectionError, and UsageError, a
    ValueError.
    """
    if mode not in ("r", "rt", "rb", "w", "wt", "wb"):
        raise ValueError(f"invalid mode: {mode!r}")
    text = "b" not in mode
    if not text and (encoding, errors, newline) != (None, None, None):
        raise ValueError("binary mode doesn't take encoding, errors or newline")
    remote = _remote_encoding(encoding)
    place = _Place(target, literal, options, host)
    if recfm is None and (remote or place.may_be_several):
        recfm, lrecl = "V", LONGEST_RECORD if lrecl is None else lrecl
    form = _form(recfm or "S", lrecl, remote)
    if mode[0] == "r":
        file: Any = io.BufferedReader(place.reader(form), BUFFER_SIZE)
        return io.TextIOWrapper(file, _encoding_here(encoding), errors, newline) if text else file
    file = BinaryWriter(place.writer(form), BUFFER_SIZE)
    return TextWriter(file, _encoding_here(encoding), errors, newline) if text else file


class Records:
    """The records of a file, one by one, or in batches, which is faster. Closes itself at the end.

        for record in fileref.records("sftp://srv/fixed.dat", recfm="F", lrecl=80): ...
        for batch in fileref.records(target).batches(10_000): ...
    """

    def __init__(self, raw: RawReader, encoding: str | None) -> None:
        self._raw = raw
        self._encoding = encoding
        self._one_by_one = itertools.chain.from_iterable(_batches(raw, encoding, 1000))

    def batches(self, count: int = 10_000) -> Iterator[list[Any]]:
        """Lists of at most `count` records, and of about 1 MiB."""
        if count < 1:
            raise ValueError("a batch has at least one record")
        return _batches(self._raw, self._encoding, count)

    def __iter__(self) -> Iterator[Any]:
        return self._one_by_one

    def __next__(self) -> Any:
        return next(self._one_by_one)

    def close(self) -> None:
        self._raw.close()

    def __enter__(self) -> Records:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


def _batches(raw: RawReader, encoding: str | None, count: int) -> Iterator[list[Any]]:
    try:
        while batch := raw.batch(count):
            yield [str(each, encoding) for each in batch] if encoding else batch
    except Exception:
        raw.close()
        raise
    raw.close()


def records(
    target: AnyTarget,
    *,
    recfm: str = "V",
    lrecl: int | None = None,
    encoding: str | None = None,
    literal: bool = False,
    options: Sequence[str] | str = (),
    **host: Any,
) -> Records:
    """The records of a remote file: lines without their line feeds ("V"), or pieces of exactly
    `lrecl` bytes ("F"). They are bytes, or with an `encoding` str. All else is as for open().
    """
    if recfm[:1].upper() not in ("V", "F"):
        raise ValueError("records have the format V or F; for a stream take open()")
    form = _form(recfm, lrecl, _remote_encoding(encoding))
    raw = _Place(target, literal, options, host).reader(form)
    return Records(raw, _encoding_here(encoding) if encoding else None)


def _remote_encoding(name: str | None) -> str | None:
    """The name as iconv knows it; None where nothing is to be converted."""
    known = _canonical(name)
    if known is None or known in ("utf-8", "ascii"):
        return None
    return known.replace("-le", "le").replace("-be", "be")


def _canonical(name: str | None) -> str | None:
    try:
        return name and codecs.lookup(name).name
    except LookupError:
        return name


def _encoding_here(name: str | None) -> str:
    """What the text is in here. ASCII is converted by nobody, and refuses what it is not."""
    return "ascii" if _canonical(name) == "ascii" else "utf-8"


def _form(recfm: str, lrecl: int | None, encoding: str | None) -> list[str]:
    words = [f"RECFM={recfm}"]
    words += [f"LRECL={lrecl}"] if lrecl is not None else []
    words += [f"ENCODING='{encoding}'"] if encoding else []
    return words


def words_of(options: Sequence[str] | str) -> list[str]:
    return [options] if isinstance(options, str) else list(options)


class _Place:
    """One file of a directory, or several."""

    def __init__(
        self, target: AnyTarget, literal: bool, options: Sequence[str] | str, host: Mapping[str, Any]
    ) -> None:
        self.target = file_of(target)
        self.shown = target if isinstance(target, str) else repr(target)
        self.may_be_several = bool(self.target.names) or (self.target.is_pattern() and not literal)
        self.options = words_of(options)
        if any(_OF_THE_CALL.search(text) for text in self.options):
            raise UsageError("RECFM and LRECL are arguments of the call: recfm=, lrecl=")
        self.host = host

    def _lease(self) -> sessions.Lease:
        return sessions.Lease(self.target.parent(), self.options, self.host)

    def reader(self, form: list[str]) -> RawReader:
        return self._opened(RawReader, lambda lease: self._open(lease, form))

    def writer(self, form: list[str]) -> RawWriter:
        if self.target.names:
            raise UsageError("several files cannot be written as one")
        return self._opened(RawWriter, lambda lease: self._create(lease, form))

    def _opened(
        self, kind: Callable[[Any, sessions.Lease, str], _Raw], begin: Callable[[sessions.Lease], Any]
    ) -> _Raw:
        lease = self._lease()
        try:
            return kind(begin(lease), lease, self.shown)
        except BaseException as error:
            lease.give_back(type(error))
            raise

    def _open(self, lease: sessions.Lease, form: list[str]) -> _fileref.Reader:
        session: _fileref.Session = lease.session
        as_stream = form[0][len("RECFM="):][:1].upper() == "S"  # fmt: skip
        if self.may_be_several:
            lease.directory = None
            return session.open_several(self.target, self.options, form, as_stream)
        return session.open(self.target.last_part(), form, as_stream)

    def _create(self, lease: sessions.Lease, form: list[str]) -> _fileref.Writer:
        name, session = self.target.last_part(), lease.session
        if self.may_be_several and session.stat(name) is None:
            raise UsageError(f"{name!r} is a pattern, and no file has that name: literal=True makes one")
        as_stream = form[0] == "RECFM=S" and len(form) == 1
        return session.create(name, form + ([f"LRECL={BUFFER_SIZE}"] if as_stream else []))

"""fileref.open, fileref.records and what tells of files."""

import gc
import io
import itertools
import os
import pickle
import weakref

import fileref
import pytest

LINES = b"id,name\n1,Ada\n2,Gr\xc3\xa4ce\nlast"
FIXED = LINES[:16] + b"\n" + LINES[16:] + b" " * 5 + b"\n"
LARGE = b"".join(b"line %d\n" % i for i in range(200_000))


def read_by_three(file):
    """Past the buffer, into one that is smaller than records are."""
    small, pieces = bytearray(3), []
    while count := file.raw.readinto(small):
        pieces.append(bytes(small[:count]))
    return b"".join(pieces)


@pytest.mark.parametrize("form, data, seen", [
    ({}, LINES, LINES),
    ({}, b"", b""),
    ({}, LARGE, LARGE),
    ({"recfm": "V"}, LARGE, LARGE),
    ({"recfm": "V"}, LINES, LINES),
    ({"recfm": "S", "whole": True}, LINES, LINES),
    ({"client": "openssh"}, LINES, LINES),
    ({"recfm": "F", "lrecl": 16}, LINES, FIXED),
], ids=itertools.count())  # fmt: skip
def test_reads_bytes(remote, form, data, seen):
    target = remote.put("100%.csv", data)
    for read in (io.BufferedReader.read, read_by_three, lambda file: b"".join(list(file))):
        with fileref.open(target, "rb", **form) as file:
            assert read(file) == seen


@pytest.mark.parametrize("encoding, data", [
    (None, "ä\nb\r\nc".encode()),
    ("latin-1", "ä\nb\r\nc".encode("latin-1")),
    ("IBM037", "ä\nb\r\nc".encode("cp037").replace(b"\x25", b"\x15")),
    ("utf-16-le", "ä\nb\r\nc".encode("utf-16-le")),
])  # fmt: skip
def test_reads_text(remote, encoding, data):
    target = remote.put("in", data)
    with fileref.open(target, encoding=encoding) as file:
        assert list(file) == ["ä\n", "b\n", "c"]
    assert list(fileref.records(target, encoding=encoding or "utf-8")) == ["ä", "b\r", "c"]


@pytest.mark.parametrize("mode, data, form, sent", [
    ("wb", LINES, {}, LINES),
    ("wb", LARGE, {}, LARGE),
    ("wb", LARGE, {"recfm": "V"}, LARGE),
    ("w", "ä\nlast", {}, "ä\nlast".encode()),
    ("w", "ä\nlast", {"encoding": "IBM037"}, "ä".encode("cp037") + b"\x25" + "last".encode("cp037")),
    ("w", "a\nbcd\n", {"recfm": "F", "lrecl": 3}, b"a  bcd"),
    ("wb", LINES, {"atomic": True, "verify": True}, LINES),
], ids=itertools.count())  # fmt: skip
def test_writes(remote, mode, data, form, sent):
    with fileref.open(remote.target("new"), mode, **form) as file:
        for piece in (data[: len(data) // 2], data[len(data) // 2 :]):
            file.write(piece)
        assert not os.path.exists(remote.path / "new"), "it is sent when it is closed"
    assert remote.get("new") == sent


@pytest.mark.parametrize("mode, data", [("w", "text"), ("wb", b"bytes")])
def test_sends_nothing_that_is_not_whole(remote, mode, data):
    remote.put("new", b"old")
    with pytest.raises(KeyError), fileref.open(remote.target("new"), mode) as file:
        file.write(data)
        raise KeyError
    file = fileref.open(remote.target("new"), mode)
    file.write(data)
    file.abandon()
    with pytest.warns(ResourceWarning, match="not sent"):
        fileref.open(remote.target("new"), mode).write(data)
        gc.collect()
    with pytest.raises(fileref.Failure), fileref.open(remote.target("new"), mode, recfm="V", lrecl=2) as file:
        file.write(data)
    assert remote.get("new") == b"old"


def test_reads_records(remote):
    target = remote.put("in", b"a\nbc\n\nd")
    assert list(fileref.records(target)) == [b"a", b"bc", b"", b"d"]
    assert list(fileref.records(target).batches(3)) == [[b"a", b"bc", b""], [b"d"]]
    assert list(fileref.records(target, recfm="F", lrecl=3)) == [b"a\nb", b"c\n\n", b"d  "]
    dropped = fileref.records(target)
    assert next(dropped) == b"a"
    raw = weakref.ref(dropped._raw)
    del dropped
    assert raw() is None, "what nobody has any more is closed at once"
    seen = []
    with pytest.raises(fileref.Failure, match="Record 2 is longer"):
        for record in fileref.records(target, lrecl=1):
            seen.append(record)
    assert seen == [b"a"], "those in front of the failure come first"


def test_reads_several_files_as_one(remote):
    remote.put("a.csv", b"a.csv")
    remote.put("b.csv", b"b.csv\n")
    pattern = remote.target("*.csv")
    with fileref.open(pattern, "rb") as file:
        assert file.read() == b"a.csv\nb.csv\n"
    os.mkdir(remote.path / "c.csv")
    with pytest.warns(fileref.FilerefWarning, match="c.csv"), fileref.open(pattern) as file:
        assert [file.readline(), file.readline()] == ["a.csv\n", "b.csv\n"]
        with pytest.raises(fileref.Failure, match='"c.csv" was skipped'):
            file.readline()
    remote.put("*.csv", b"just this")
    assert fileref.open(pattern).read() == "just this"
    names = fileref.Target(path=str(remote.path), names=["b.csv", "a.csv"],
                           client_arguments=fileref.Target(pattern).client_arguments)  # fmt: skip
    assert list(fileref.records(names)) == [b"b.csv", b"a.csv"]
    with pytest.raises(fileref.UsageError, match="literal=True"):
        fileref.open(remote.target("n*"), "w")
    with fileref.open(remote.target("n*"), "w", literal=True) as file:
        file.write("x")
    assert remote.get("n*") == b"x"


def test_tells_what_is_there(remote):
    remote.put("a.csv", b"12345")
    remote.put(".hidden", b"")
    remote.put(os.fsdecode(b"\xff"), b"no UTF-8")
    os.mkdir(remote.path / "sub")
    os.symlink("a.csv", remote.path / "link")
    found = {entry.name: entry for entry in fileref.scandir(remote.target())}
    assert sorted(found) == sorted(os.listdir(remote.path)) == sorted(fileref.listdir(remote.target()))
    assert (found["a.csv"].size, found["a.csv"].kind, found["link"].kind) == (5, "file", "link")
    assert found["sub"].is_dir() and not found["a.csv"].is_dir()
    assert found["a.csv"].modified == int(os.stat(remote.path / "a.csv").st_mtime)
    assert fileref.listdir(remote.target("*.csv")) == ["a.csv"]
    assert fileref.stat(remote.target("link")).size == 5
    assert fileref.open(remote.target("\udcff")).read() == "no UTF-8"
    for name, there in {"a.csv": True, "sub": True, "sub/": True, "": True, "A.CSV": False, "no/x": False, "a.csv/x": False}.items():
        assert fileref.exists(remote.target(name)) == there, name
    copied = str(remote.path / "copied")
    assert fileref.copy(remote.target("a.csv"), copied) == 1
    assert remote.get("copied") == b"12345"


@pytest.mark.parametrize("call, kinds", [
    (lambda t: fileref.open(t("none")), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.open(t("none/x"), "w").close(), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.open(t("none*")), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.stat(t("none")), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.listdir(t("none")), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.copy(t("none"), "/tmp/"), (fileref.NotFound, FileNotFoundError)),
    (lambda t: fileref.listdir(t("in")), (fileref.NotADirectory, NotADirectoryError)),
    (lambda t: fileref.open(t("in/x")), (fileref.NotADirectory, NotADirectoryError)),
    (lambda t: fileref.open("sftp://127.0.0.1:1/x"), (fileref.NotConnected, ConnectionError)),
    (lambda t: fileref.open(t("x"), options="OPTIONS='-D \"sleep 9\"'", start_limit=0.5),
     (fileref.TimedOut, TimeoutError)),
    (lambda t: fileref.open(t("x"), options=["ENCODING=no-such"]), (fileref.OptionError, ValueError)),
    (lambda t: fileref.open(t("x"), options="lrecl = 80"), (fileref.UsageError, ValueError)),
    (lambda t: fileref.open(t("in"), "rb", encoding="utf-8"), (ValueError,)),
    (lambda t: fileref.open(t("in"), "a"), (ValueError,)),
    (lambda t: fileref.open(t("")), (fileref.UsageError, ValueError)),
    (lambda t: fileref.open("/no/target"), (fileref.UsageError, ValueError)),
    (lambda t: fileref.open(t("a\0b")), (ValueError,)),
    (lambda t: fileref.open(t("in"), tuesday=1), (TypeError,)),
    (lambda t: fileref.open(t("in"), start_limit=float("inf")), (ValueError,)),
    (lambda t: fileref.open(t("in"), command_limit="10"), (TypeError,)),
    (lambda t: fileref.open(t("in"), retries=-1), (ValueError,)),
    (lambda t: fileref.open(t("new"), "w", encoding="ascii").write("\xe4"), (UnicodeEncodeError,)),
    (lambda t: fileref.open(t("in"), encoding="ascii").read(), (UnicodeDecodeError,)),
    (lambda t: list(fileref.records(t("in"), encoding="ascii")), (UnicodeDecodeError,)),
    (lambda t: fileref.open(t("in"), encoding="no such encoding"), (fileref.Failure, OSError)),
])  # fmt: skip
def test_failures_are_what_python_calls_them(remote, call, kinds):
    remote.put("in", LINES)
    with pytest.raises(kinds[0]) as caught:
        call(remote.target)
    assert all(isinstance(caught.value, kind) for kind in kinds)
    again = pickle.loads(pickle.dumps(caught.value))
    assert (type(again), str(again)) == (type(caught.value), str(caught.value))


def test_refused_files(server):
    file = server.root / "secret"
    file.touch(mode=0)
    server.give()
    for mode in ("r", "w"):
        with pytest.raises(fileref.NotAllowed, match="permission denied") as caught:
            fileref.open(server.url("secret"), mode, options=server.options()).close()
        assert isinstance(caught.value, PermissionError)
    with pytest.raises(fileref.NotAllowed, match="login was refused"):
        fileref.open(server.url("x").replace("nobody@", "no-such-user@"), options=server.options())


def test_targets():
    target = fileref.Target("sftp://u@srv:22/a%20b/*.csv")
    assert (target.path, target.host, target.user) == ("/a b/*.csv", "srv", "u")
    assert target == pickle.loads(pickle.dumps(target)) and target != target.parent()
    assert target.is_pattern() and target.last_part() == "*.csv" and target.parent().path == "/a b/"
    assert fileref.Target(host="srv", path="100%").path == "100%"
    with pytest.raises(fileref.UsageError):
        fileref.Target(host="-oProxyCommand=x")


def test_tells_how_it_goes(remote):
    lines = []
    with fileref.open(remote.put("in", LINES), log=lines.append) as file:
        file.read()
    assert any("get" in line or "open" in line for line in lines)

    def refuse(line):
        raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        fileref.open(remote.target("in"), log=refuse)

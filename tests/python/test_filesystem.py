"""The fsspec file system, by fsspec's contract, and with pandas."""

import contextlib
import os
import shutil

import fileref
import fsspec
import pytest
from fileref.filesystem import FilerefFileSystem

DATA = b"id,name\n" + b"".join(b"%d,x\n" % i for i in range(100_000))


@pytest.fixture
def fs(remote):
    (remote.path / "sub").mkdir()
    remote.put("a.csv", DATA)
    remote.put("sub/b.csv", b"b\n")
    remote.put("what?.csv", b"?")
    return fsspec.filesystem("fileref")


def test_is_registered():
    assert fsspec.get_filesystem_class("fileref") is FilerefFileSystem


@pytest.mark.parametrize("url, kwargs, path, target", [
    ("fileref://u@srv:22/a/b c%?#.csv", {"host": "srv", "user": "u", "port": 22}, "/a/b c%?#.csv", "/a/b c%?#.csv"),
    ("fileref://srv/~/x/", {"host": "srv"}, "/~/x", "x"),
    ("fileref://srv/~", {"host": "srv"}, "/~", ""),
    ("fileref:///x", {}, "/x", "/x"),
])  # fmt: skip
def test_urls(url, kwargs, path, target):
    assert FilerefFileSystem._get_kwargs_from_urls(url) == kwargs
    fs, stripped = fsspec.core.url_to_fs(url)
    assert (stripped, fs.target(stripped).path, fs.host) == (path, target, kwargs.get("host", ""))
    assert fs.unstrip_protocol(path) == url.rstrip("/")


def test_asks(fs, remote):
    root = str(remote.path)
    assert fs.ls(root, detail=False) == [f"{root}/{name}" for name in ("a.csv", "sub", "what?.csv")]
    assert fs.ls(root + "/a.csv", detail=False) == [root + "/a.csv"]
    assert {each["name"]: each["type"] for each in fs.ls(root)}[root + "/sub"] == "directory"
    assert fs.find(root) == [f"{root}/{name}" for name in ("a.csv", "sub/b.csv", "what?.csv")]
    assert fs.glob(root + "/*.csv") == [root + "/a.csv", root + "/what?.csv"]
    assert fs.info(root + "/a.csv") == {**fs.ls(root + "/a.csv")[0], "size": len(DATA), "type": "file"}
    assert fs.isdir(root) and fs.isfile(root + "/a.csv") and not fs.exists(root + "/none")
    assert fs.du(root) == len(DATA) + 3
    assert not fs.exists(root + "/a.csv/x") and not fs.isdir(root + "/none") and not fs.isfile(root)
    for ask in (fs.info, fs.ls, fs.open):
        with pytest.raises(FileNotFoundError):
            ask(root + "/none")
    (remote.path / "wh*").mkdir()
    remote.put("wh*/x", b"")
    assert fs.ls(root + "/wh*", detail=False) == [root + "/wh*/x"], "no name is a pattern here"


def test_leaves_out_nothing(server):
    (server.root / "locked/no").mkdir(parents=True)
    server.give()
    (server.root / "locked/no").chmod(0)
    root = str(server.root / "locked")
    fs = fsspec.filesystem("fileref", options=server.options(), **FilerefFileSystem._get_kwargs_from_urls(
        server.url(scheme="fileref")))  # fmt: skip
    down = fsspec.filesystem("fileref", host="127.0.0.1", port=1)
    for look in (fs.find, fs.walk, fs.du, lambda at: fs.glob(at + "/**"), lambda at: fs.get(at, at, recursive=True)):
        with pytest.raises(PermissionError):
            list(look(root))
    for look in (down.find, down.isdir, down.isfile, down.exists, lambda at: down.glob(at + "/*")):
        with pytest.raises(ConnectionError):
            look("/x")


def test_reads_anywhere(fs, remote):
    path = remote.path / "a.csv"
    with fs.open(str(path)) as file, open(path, "rb") as here:
        for offset, whence, count in [(0, 0, 7), (0, 1, 9), (0, 2, 1), (0, 0, 5), (-9, 2, 99), (300_000, 0, 70_000), (3, 0, -1)]:
            assert file.seek(offset, whence) == here.seek(offset, whence)
            assert file.read(count) == here.read(count)
        assert file.size == len(DATA) and file.tell() == len(DATA)
    with fs.open(str(path)) as file:
        file.seek(0, 2), file.seek(0), file.read()
        assert file.raw._copy is None, "what is read in order is a stream"
    assert fs.cat(str(path)) == DATA and fs.cat_file(str(path), start=-5, end=-1) == DATA[-5:-1]
    assert fs.cat_file(str(remote.path / "what?.csv")) == b"?"
    assert fs.read_block(str(path), 10, 1000, b"\n") == fsspec.filesystem("file").read_block(str(path), 10, 1000, b"\n")


def test_writes(fs, remote, tmp_path):
    root = str(remote.path)
    fs.mkdir(root + "/new/deep")
    fs.makedirs(root + "/new", exist_ok=True)
    for make in (lambda: fs.mkdir(root + "/new"), lambda: fs.open(root + "/a.csv", "xb")):
        with pytest.raises(FileExistsError):
            make()
    shutil.rmtree(root + "/new")
    with pytest.raises(FileNotFoundError):
        fs.pipe(root + "/new/deep/x*", DATA)
    fs.mkdir(root + "/new/deep")
    fs.pipe(root + "/new/deep/x*", DATA)
    assert remote.get("new/deep/x*") == DATA
    fs.get_file(root + "/new/deep/x*", str(tmp_path / "got"))
    told = fsspec.callbacks.Callback()
    fs.put_file(str(tmp_path / "got"), root + "/put", callback=told)
    assert remote.get("put") == DATA and told.value == told.size == len(DATA)
    fs.get(root + "/sub", str(tmp_path / "tree"), recursive=True)
    assert (tmp_path / "tree/b.csv").read_bytes() == b"b\n"
    with pytest.raises(FileNotFoundError):
        fs.get_file(root + "/none", str(tmp_path / "none"))
    assert not (tmp_path / "none").exists()
    with pytest.raises(FileExistsError):
        fs.makedirs(root + "/put", exist_ok=True)


def test_a_file_that_breaks_off_replaces_nothing(fs, remote, tmp_path, monkeypatch):
    class Breaks:
        raw = property(lambda self: self)

        def copy_to(self, descriptor):
            os.write(descriptor, b"half")
            raise ConnectionError

    monkeypatch.setattr(fs, "stream", lambda path: contextlib.nullcontext(Breaks()))
    (tmp_path / "here").mkdir()
    (tmp_path / "here/old").write_bytes(b"old")
    for name in ("old", "new"):
        with pytest.raises(ConnectionError):
            fs.get_file(str(remote.path / "a.csv"), str(tmp_path / "here" / name))
    assert os.listdir(tmp_path / "here") == ["old"] and (tmp_path / "here/old").read_bytes() == b"old"


def test_says_what_it_does_not(fs, remote):
    path = str(remote.path / "a.csv")
    for call in (lambda: fs.rm(path), lambda: fs.rmdir(path), lambda: fs.mv(path, path + "2"), lambda: fs.open(path, "ab")):
        with pytest.raises(NotImplementedError):
            call()
    with fs.transaction, pytest.raises(NotImplementedError, match="transactions"):
        fs.open(path, "wb")
    with pytest.raises(TypeError, match="tuesday"):
        fsspec.filesystem("fileref", tuesday=1)


def test_a_server_takes_one_login(server):
    for name in ("tree/a/x.csv", "tree/b/y.csv", "tree/b/c/z.csv"):
        (server.root / name).parent.mkdir(parents=True, exist_ok=True)
        (server.root / name).write_text(name)
    server.give()
    root, before = str(server.root / "tree"), server.logins()
    fs = fsspec.filesystem("fileref", **FilerefFileSystem._get_kwargs_from_urls(server.url(scheme="fileref")),
                           options=server.options())  # fmt: skip
    assert len(fs.find(root)) == len(fs.glob(root + "/**/*.csv")) == 3
    assert fs.cat(root + "/b/c/z.csv") == b"tree/b/c/z.csv"
    assert not fs.exists(root + "/none") and not fs.exists(root + "/none/x")
    with pytest.raises(FileNotFoundError):
        fs.open(root + "/a/none")
    fs.mkdir(root + "/new/deep")
    fs.pipe(root + "/new/deep/x", b"x")
    assert list(fileref.records(server.url("tree/a/x.csv"), options=server.options())) == [b"tree/a/x.csv"]
    with fileref.open(server.url("tree/a/*"), options=server.options()) as several:
        assert several.read() == "tree/a/x.csv"
    assert fs.ls(root + "/new/deep", detail=False) == [root + "/new/deep/x"]
    assert server.logins() == before + 1


def test_pandas(server, tmp_path):
    pandas = pytest.importorskip("pandas")
    (server.root / "in.csv").write_bytes(DATA)
    server.give()
    options = {"options": server.options()}
    frame = pandas.read_csv(server.url("in.csv", "fileref"), storage_options=options)
    assert (len(frame), frame.id.sum()) == (100_000, sum(range(100_000)))
    frame.head(3).to_csv(server.url("out.csv", "fileref"), index=False, storage_options=options)
    assert (server.root / "out.csv").read_bytes() == b"id,name\n0,x\n1,x\n2,x\n"
    assert fileref.stat(server.url("out.csv"), options=server.options()).size == 20

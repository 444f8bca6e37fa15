import os
import subprocess
import tempfile

import pytest

from ssh_server import SshServer


class Remote:
    """A directory, behind the file server program of this machine."""

    def __init__(self, path):
        self.path = path

    def target(self, name=""):
        return f"local:{self.path}/{name}"

    def put(self, name, data):
        (self.path / name).write_bytes(data)
        return self.target(name)

    def get(self, name):
        return (self.path / name).read_bytes()


@pytest.fixture(autouse=True)
def temporary_directory(tmp_path, monkeypatch):
    """Where hosts put their files; nothing may be left there but of sessions that are kept."""
    import fileref

    fileref.close_idle()
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.setenv("XDG_STATE_HOME", str(tmp_path))
    tempfile.tempdir = None
    yield tmp_path
    fileref.close_idle()
    assert not list(tmp_path.glob("fileref-tmp-*"))


@pytest.fixture
def remote(tmp_path):
    (tmp_path / "remote").mkdir()
    return Remote(tmp_path / "remote")


@pytest.fixture(scope="module")
def server():
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o755)
        server = SshServer(directory)
        yield server
        server.close()


def descendants(pid):
    """The processes that a process started, and theirs."""
    listed = subprocess.run(["ps", "-A", "-o", "pid=,ppid="], capture_output=True, text=True).stdout
    pairs = [tuple(map(int, line.split())) for line in listed.splitlines()]
    found, look_at = set(), {pid}
    while look_at:
        look_at = {child for child, parent in pairs if parent in look_at} - found
        found |= look_at
    return found

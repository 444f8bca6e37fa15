"""fsspec's own tests of file systems, where they are installed, of what this one supports."""

import os
import shutil

import pytest
from fileref.filesystem import FilerefFileSystem

abstract = pytest.importorskip("fsspec.tests.abstract")


class Removable(FilerefFileSystem):
    """These tests remove what they made."""

    def rm(self, path, recursive=False, maxdepth=None):
        for each in [path] if isinstance(path, str) else path:
            shutil.rmtree(each) if os.path.isdir(each) else os.remove(each)


class Fixtures(abstract.AbstractFixtures):
    @pytest.fixture
    def fs(self):
        return Removable(auto_mkdir=True, skip_instance_cache=True)

    @pytest.fixture
    def fs_path(self, tmp_path):
        (tmp_path / "there").mkdir()
        return str(tmp_path / "there")


class TestGet(abstract.AbstractGetTests, Fixtures):
    pass


class TestPut(abstract.AbstractPutTests, Fixtures):
    pass


class TestOpen(abstract.AbstractOpenTests, Fixtures):
    pass


class TestPipe(abstract.AbstractPipeTests, Fixtures):
    pass

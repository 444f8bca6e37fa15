"""The example for Dask, over a real SSH server."""

import os
import subprocess
import sys

import fileref
import pytest

pytest.importorskip("distributed")
EXAMPLE = os.path.join(os.path.dirname(__file__), "../../examples/dask_count/dask_count.py")


@pytest.mark.parametrize("words", [[], ["--kill"]])
def test_counts_on_two_workers(server, words):
    for number in range(200):
        (server.root / f"f{number}.txt").write_text("a line\n" * number)
    server.give()
    command = [sys.executable, EXAMPLE, server.url("*.txt", "fileref"), server.options(), *words]
    counted = subprocess.run(command, capture_output=True, text=True, timeout=120)
    assert counted.stdout == f"{sum(range(200))} lines in 200 files\n", counted.stderr[-2000:]
    fileref.sessions.new({}).close()  # which sweeps what the killed worker left

"""Threads, signals, forks, and the end of the interpreter."""

import os
import signal
import subprocess
import sys
import textwrap
import threading
import time

import fileref
import pytest

from conftest import descendants

LINES = b"".join(b"line %d\n" % i for i in range(50_000))


def run(code, *arguments, **how):
    words = [sys.executable, "-c", textwrap.dedent(code), *map(str, arguments)]
    return subprocess.run(words, capture_output=True, text=True, timeout=60, **how)


def eventually(condition):
    deadline = time.monotonic() + 20
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.02)
    return condition()


def test_eight_threads_run_side_by_side(remote):
    target = remote.put("in", LINES)
    wrong = []

    def work(number):
        try:
            for turn in range(10):
                name = remote.target(f"out{number}")
                with fileref.open(target, "rb") as source, fileref.open(name, "wb") as copy:
                    copy.writelines(source)
                assert len(list(fileref.records(name))) == 50_000
                with pytest.raises(FileNotFoundError):
                    fileref.open(remote.target("none"))
        except BaseException as error:
            wrong.append(error)

    threads = [threading.Thread(target=work, args=[number]) for number in range(8)]
    for each in threads:
        each.start()
    for each in threads:
        each.join()
    assert not wrong
    assert all(remote.get(f"out{number}") == LINES for number in range(8))


def test_others_run_while_one_waits(remote):
    started = time.monotonic()
    waits = threading.Thread(target=lambda: fileref.exists(
        remote.target("x"), options="OPTIONS='-D \"sleep 9\"'", start_limit=2, retries=0))  # fmt: skip
    threading.excepthook, hook = lambda _: None, threading.excepthook
    waits.start()
    turns = 0
    while waits.is_alive():
        turns += 1
    threading.excepthook = hook
    assert turns > 100_000 and time.monotonic() - started < 8


def test_a_session_is_used_by_one_thread_at_a_time():
    sessions = []
    session = fileref.sessions.new({"log": lambda line: [each.enter() for each in sessions]})
    sessions.append(session)
    with pytest.raises(fileref.UsageError, match="Another thread"):
        session.assign(fileref.Target("local:/"), [])
    sessions.clear()
    session.close()


def test_any_thread_may_go_on_with_a_file(remote):
    file, seen = fileref.open(remote.put("in", LINES), "rb"), []
    for _ in range(4):
        thread = threading.Thread(target=lambda: seen.append(file.read(100_000)))
        thread.start()
        thread.join()
    assert b"".join(seen) + file.read() == LINES


WAITS = """
    import sys, fileref
    print("waits", flush=True)
    fileref.open(sys.argv[1], options="OPTIONS='-D \\"sleep 99\\"'")
"""


def test_interrupted_at_once(remote, tmp_path):
    words = [sys.executable, "-c", textwrap.dedent(WAITS), remote.target("x")]
    with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as python:
        assert python.stdout.readline() == "waits\n"
        assert eventually(lambda: len(descendants(python.pid)) >= 2)
        started, theirs = time.monotonic(), descendants(python.pid)
        python.send_signal(signal.SIGINT)
        assert "KeyboardInterrupt" in python.communicate(timeout=10)[1]
        assert python.returncode == -signal.SIGINT and time.monotonic() - started < 3
    assert eventually(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in theirs))


@pytest.mark.parametrize("code, said", [
    # Whatever is open at the end is closed, and nothing half-written sent.
    ("f = fileref.open(t('in'), 'rb'); f.read(1); g = fileref.open(t('new'), 'w'); g.write('x')", ""),
    # A daemon thread that waits does not keep the end waiting.
    ("""
import threading, time
waits = lambda: fileref.open(t('in'), options="OPTIONS='-D \\"sleep 99\\"'")
threading.Thread(target=waits, daemon=True).start(); time.sleep(0.5)""", ""),
    ("""
import threading
file = fileref.open(t('in'), 'rb')
def forever():
    while True: fileref.open(t('in'), 'rb').read()
[threading.Thread(target=forever, daemon=True).start() for _ in range(3)]; file.read()""", ""),
    # A child has no part in it, whether it uses it, drops it or ends.
    ("""
file = fileref.open(t('in'), 'rb'); line = file.readline(); out = fileref.open(t('new'), 'w'); out.write('x')
child = os.fork()
if child == 0:
    try: file.raw.readinto(bytearray(9))
    except fileref.UsageError: print('refused', flush=True)
    print(len(fileref.open(t('in'), 'rb').read()), flush=True)
    del file, out
    sys.exit(3)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 3
print(len(line + file.read())); out.close(); print(fileref.open(t('new')).read())""",
     f"refused\n{len(LINES)}\n{len(LINES)}\nx\n"),
])  # fmt: skip
def test_nothing_is_left_at_the_end(remote, tmp_path, code, said):
    remote.put("in", LINES)
    head = "import os, sys, fileref\nt = lambda name: sys.argv[1] + name\n"
    ended = run(head + code, remote.target())
    assert (ended.returncode, ended.stdout) == (0, said), ended.stderr
    assert not list(tmp_path.glob("fileref-tmp-*")) and not list(tmp_path.glob("fileref/unsent/*"))
    assert (remote.path / "new").exists() == ("x\n" in said)


def test_many_files_take_no_memory(remote):
    (remote.path / "sub").mkdir()
    targets = [remote.put("in", b"x\n"), remote.put("sub/in", b"x\n")]

    def resident():
        with open("/proc/self/statm") as pages:
            return int(pages.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def open_many(count):
        for number in range(count):
            with fileref.open(targets[number % 2], "rb") as file:
                assert file.read() == b"x\n"

    open_many(200)
    before, descriptors = resident(), len(os.listdir("/proc/self/fd"))
    open_many(1000)
    assert resident() - before < 1024 * 1024
    assert len(os.listdir("/proc/self/fd")) == descriptors


def test_idle_sessions_are_few_and_new_ones_work(remote):
    target = remote.put("in", LINES)
    files = [fileref.open(target, "rb") for _ in range(12)]
    for file in files:
        assert file.read() == LINES
        file.close()
    assert len(fileref.sessions._idle) == fileref.sessions.MOST_IDLE
    for pid in descendants(os.getpid()):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    assert fileref.open(target, "rb").read() == LINES, "a session that was lost begins again"

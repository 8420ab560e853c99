"""Ctrl+C at the console of a run: the lock is removed, and the next run starts at once."""

import contextlib
import os
import pty
import signal
import threading
from typing import Iterator

import pytest

from formats.node_status import Node
from harness.compare import assert_unchanged
from harness.run import unstamp
from harness.scan import CONFIG
from harness.site import LOCK, LOG
from harness.target import to_line_feeds
from harness.waiting import start_waiting, waits

CTRL_C = b"\x03"
RUN_LIMIT = 60


@contextlib.contextmanager
def console() -> Iterator[tuple[int, dict]]:
    """A terminal: its keyboard, and the options of a process that runs at it. Its output is read and discarded."""
    import fcntl  # only there on POSIX systems, as the terminal
    import termios

    keyboard, terminal = pty.openpty()

    def sit_down() -> None:
        signal.signal(signal.SIGINT, signal.SIG_DFL)  # a background job starts with it switched off
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    def read_away() -> None:
        with contextlib.suppress(OSError):
            while os.read(keyboard, 4096):
                pass

    reader = threading.Thread(target=read_away)
    reader.start()
    try:
        yield keyboard, {"stdin": terminal, "stdout": terminal, "stderr": terminal, "preexec_fn": sit_down}
    finally:
        os.close(terminal)
        reader.join(RUN_LIMIT)
        os.close(keyboard)


@pytest.mark.parametrize("mode", ["-toss", "-scan"])
def test_ctrl_c_ends_a_run_and_removes_its_lock_without_a_line(site, mode):
    site.add_config(CONFIG)
    with console() as (keyboard, options):
        process = start_waiting(site, mode, **options)
        assert site.path(LOCK).exists()
        os.write(keyboard, CTRL_C)
        process.wait(RUN_LIMIT)
        site.wait_for(lambda: not site.path(LOCK).exists())
    assert unstamp(to_line_feeds(site.read(LOG)))[1][-1] == waits()
    assert site.snapshot("MSG", "OUT") == {}
    site.nodes(Node())
    assert site.run(mode).status == 0


def test_ctrl_c_ends_a_run_whose_lock_was_removed(site):
    with console() as (keyboard, options):
        process = start_waiting(site, "-toss", **options)
        site.path(LOCK).unlink()
        before = site.snapshot()
        os.write(keyboard, CTRL_C)
        process.wait(RUN_LIMIT)
    assert_unchanged(site, before)

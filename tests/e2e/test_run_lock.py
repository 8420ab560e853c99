"""Run lock: which run gets it, which is refused, when it is stale, and that it is removed at every exit."""

import os
import resource
import signal
import time

import pytest

from formats.conference_table import echo
from formats.node_status import Node
from harness.compare import assert_changes, assert_refused, assert_run, assert_unchanged, banner, head, tail
from harness.scan import CONFIG as SCAN_CONFIG
from harness.scan import banner as scan_banner
from harness.site import LOCK, Site
from harness.start_up import assert_aborted, locked, no_lock
from harness.target import WINDOWS, posix_only
from harness.undeletable import undeletable
from harness.waiting import kill, owner_line, owner_process, start_waiting

MINUTE = 60
STALE = 30 * MINUTE
SCAN_ABORT = "Aborting: another cvtoss32 -toss/-scan instance appears to be running (MSG/CVTOSS.BSY)"
SIGNALS = (signal.SIGINT, signal.SIGHUP, signal.SIGTERM, signal.SIGQUIT)


def age(site: Site, seconds: int) -> None:
    """Makes the lock one second older than that: a clock with whole seconds may lag by a tick."""
    then = time.time() - seconds - 1
    os.utime(site.path(LOCK), (then, then))


def stale(minutes: int) -> str:
    return f"Found a stale lock file ({minutes} minutes old) -- clearing it"


# A lock that is there.


@pytest.mark.parametrize(
    ("content", "owner"),
    [
        (b"cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=1\n", ["cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=1"]),
        (b"first\r\nsecond\n", ["first"]),
        (b"no line end %s", ["no line end %s"]),
        (b"  blanks stay \n", ["  blanks stay "]),
        (b"o" * 191, ["o" * 191]),
        (b"o" * 192 + b"\n", ["o" * 191]),
        (b"", []),
        (b"\r\n", []),
        (b"\nsecond\n", []),
    ],
)
def test_a_fresh_lock_blocks_the_run_and_its_first_line_names_the_owner(ready, content, owner):
    ready.write(LOCK, content)
    assert_aborted(ready, *(f"Lock owner: {line}" for line in owner), locked())


def test_a_lock_of_29_minutes_is_fresh_and_one_of_30_is_cleared(ready):
    ready.write(LOCK, "somebody\n")
    for seconds in (0, 29 * MINUTE, STALE - 20, -60 * MINUTE):
        age(ready, seconds)
        before = os.stat(ready.path(LOCK)).st_mtime
        assert_aborted(ready, "Lock owner: somebody", locked())
        assert os.stat(ready.path(LOCK)).st_mtime == before

    before = ready.snapshot()
    del before[LOCK]
    for seconds, minutes in ((STALE, 30), (90 * MINUTE - 20, 90), (90 * MINUTE + 20, 90), (24 * 60 * MINUTE, 1440)):
        ready.write(LOCK, "somebody\n")
        age(ready, seconds)
        conferences, *others = head(1)[3:]
        assert_run(ready.toss(), 0, [*banner(), stale(minutes), conferences, *others, *tail(0)])
        assert_changes(ready, before, {"IN/processed/": None})


def test_a_directory_instead_of_the_lock_blocks_silently_while_it_is_fresh(ready):
    ready.path(LOCK).mkdir()
    assert_aborted(ready, locked())


def test_a_stale_lock_that_cannot_be_deleted_blocks_without_another_line(ready):
    ready.path(LOCK).mkdir()
    age(ready, STALE)
    assert_aborted(ready, stale(30), locked())


def test_a_stale_lock_file_that_is_read_only_blocks_without_another_line(ready):
    ready.write(LOCK, "somebody\n")
    age(ready, STALE)
    with undeletable(ready.path(LOCK)):
        assert_aborted(ready, stale(30), locked())


def test_a_scan_is_kept_out_as_well(ready):
    ready.add_config(SCAN_CONFIG)
    ready.write(LOCK, "the toss\n")
    before = ready.snapshot()
    assert_run(ready.run("-scan"), 1, [*scan_banner(), "Lock owner: the toss", SCAN_ABORT])
    assert_unchanged(ready, before)


def test_a_check_takes_no_lock_and_waits_for_no_node(ready):
    ready.write(LOCK, "the toss\n")
    ready.nodes(Node(user=5))
    before = ready.snapshot()
    assert ready.run("-check").status == 1
    assert_unchanged(ready, before)


# A lock that cannot be made.


def test_a_lock_that_cannot_be_created_ends_the_run(ready):
    ready.config("INBOUND IN\nCONFDIR CONF\nMSGDIR nomsg\n")
    before = ready.snapshot()
    run = ready.toss()
    assert run.lines[3:] == no_lock("nomsg")
    assert run.status == 1
    assert_unchanged(ready, before)


@posix_only("the numbers of other errors are the platform's own")
def test_the_error_of_a_lock_that_cannot_be_created_is_shown_by_its_number(ready):
    ready.write("a file", "")
    ready.config("INBOUND IN\nCONFDIR CONF\nMSGDIR a file\n")
    assert ready.toss().lines[3:] == no_lock("a file", 20)  # ENOTDIR


@posix_only("Windows takes no path of that length")
def test_the_longest_msgdir_that_a_configuration_can_name_is_locked(ready):
    directory = "/".join(["d" * 63] * 3 + ["e" * 63])
    assert len(directory) == 255
    ready.path(directory).mkdir(parents=True)
    shown = directory.replace("/", "\\")
    ready.config(f"INBOUND IN\nCONFDIR CONF\nMSGDIR {directory}\n")
    assert_run(
        ready.toss(),
        0,
        [*banner(directories=f"Inbound dir: IN   Config dir: CONF   Work dir: CONF\\WORK   Message dir: {shown}")]
        + head(1)[3:]
        + tail(0),
    )
    ready.write(f"{directory}/CVTOSS.BSY", "x")
    assert ready.toss().lines[-2:] == ["Lock owner: x", locked(shown)]
    ready.config(f"INBOUND IN\nCONFDIR CONF\nMSGDIR {directory}f\n")
    assert_refused(ready.toss(), "Config directive MSGDIR is too long (maximum 255 characters)")


# A lock that is taken.


@pytest.mark.parametrize("mode", ["-toss", "-scan"])
def test_the_lock_contains_mode_process_and_time(site, mode):
    site.add_config(SCAN_CONFIG)
    process = start_waiting(site, mode)
    line = owner_line(site)
    assert line.startswith(f"cvtoss32 1.05 Beta 5 mode={mode} pid=")
    if not WINDOWS:  # Wine numbers its processes itself
        assert owner_process(line) == process.pid
        assert os.stat(site.path(LOCK)).st_mode & 0o777 == 0o600
    kill(process)


@pytest.mark.parametrize(
    ("spoil", "lines"),
    [
        (lambda site: site.write("CONF/CVMCONF.DAT", b""), 2),
        (lambda site: site.conferences(echo("")), 3),
        (lambda site: site.nodes(), 3),
        (lambda site: site.write("MSG/CVMSG01.PTR", b"x"), 4),
        (lambda site: site.path("IN").rmdir(), 3),
    ],
    ids=["conference table", "area tag", "node file", "message base", "inbound directory"],
)
def test_the_lock_is_gone_after_every_abort(ready, spoil, lines):
    spoil(ready)
    before = ready.snapshot()
    run = ready.toss()
    assert (run.status, len(run.lines[3:])) == (1, lines)
    assert_unchanged(ready, before)


def test_a_killed_run_leaves_its_lock_which_blocks_until_it_is_stale(site):
    kill(start_waiting(site))
    site.nodes(Node())
    line = owner_line(site)
    assert_aborted(site, f"Lock owner: {line}", locked())
    age(site, STALE)
    assert_run(site.toss(), 0, [*banner(), stale(30), *head(1)[3:], *tail(0)])
    assert not site.path(LOCK).exists()


def heed_signals() -> None:
    """In the child: a background job ignores the interrupt, and quitting would leave a core file."""
    for number in SIGNALS:
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


@posix_only("Wine turns signals of the host into no console event")
@pytest.mark.parametrize("number", SIGNALS, ids=lambda number: number.name)
def test_an_interrupted_run_removes_its_lock_and_ends_by_that_signal(site, number):
    process = start_waiting(site, preexec_fn=heed_signals)
    before = site.snapshot()
    process.send_signal(number)
    run = site.finish(process, None, b"")
    assert run.status == -number
    assert run.stderr == ""
    del before[LOCK]
    assert_unchanged(site, before)
    site.nodes(Node())
    assert_run(site.toss(), 0, head(1) + tail(0))

"""Run log: a file beside the program that only grows; each line is on the console, too."""

import os
import shutil
import signal
import time

import pytest

from formats.conference_table import echo
from formats.node_status import Node
from formats.packet import Packet
from harness.compare import BANNER, GONE, KEPT, assert_changes, assert_run, banner, head, moved, parsed, tail
from harness.run import unstamp
from harness.site import LOG
from harness.target import PROGRAM, posix_only, to_line_feeds

LONGEST = 1023
CLOCK_LAG = 0.05
"""A clock with whole seconds may lag by a tick."""


def test_the_log_is_in_the_directory_of_the_program_wherever_it_is_run_from(site):
    program = site.path("bin") / PROGRAM.name
    program.parent.mkdir()
    shutil.copy2(PROGRAM, program)
    site.conferences(echo("FIDO"))
    before = site.snapshot()

    run = site.run("-toss", program=program)

    assert_run(run, 0, head(1) + tail(0))
    assert_changes(site, before, {"IN/processed/": None, "bin/TOSSER.LOG": site.read("bin/TOSSER.LOG")})
    assert not site.path(LOG).exists()


@posix_only("Windows knows no symbolic link that a process could make without leave")
def test_the_log_is_in_the_directory_of_the_program_and_not_of_a_link_to_it(site):
    link = site.path("bin") / "toss"
    link.parent.mkdir()
    link.symlink_to(site.program)
    site.conferences(echo("FIDO"))
    run = site.finish(site.start("-toss", program=link), site.path(LOG), b"")
    assert_run(run, 0, head(1) + tail(0))
    assert not (link.parent / LOG).exists()


def test_every_line_has_its_local_time(site):
    site.conferences(echo("FIDO"))
    first = int(time.time() - CLOCK_LAG)
    run = site.toss()
    last = int(time.time())
    clock = [time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(second)) for second in range(first, last + 1)]
    assert run.stamps == sorted(run.stamps)
    assert all(stamp in clock for stamp in run.stamps)


@posix_only("Windows takes its time zone from the system and not from the environment")
def test_the_time_is_that_of_the_time_zone(site):
    site.conferences(echo("FIDO"))
    offset = 11 * 3600 + 30 * 60  # east of Greenwich; POSIX writes it with the opposite sign
    first = int(time.time() - CLOCK_LAG)
    run = site.toss(env=os.environ | {"TZ": "XXX-11:30"})
    last = int(time.time())
    seconds = range(first + offset, last + offset + 1)
    assert run.stamps[0] in [time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(second)) for second in seconds]


def test_two_runs_leave_both_their_lines_the_older_first(site):
    site.conferences(echo("FIDO"))
    site.write(LOG, "what stood here before, without a line end")
    site.inbound("a.pkt", Packet())
    first = site.toss()
    second = site.toss()
    refused = site.run("-what")
    text = to_line_feeds(site.read(LOG))
    before = b"what stood here before, without a line end"
    assert text.startswith(before)
    _, lines = unstamp(text[len(before) :])
    assert lines == first.lines + second.lines
    assert len(first.lines) == len(second.lines) + 4  # those of the packet, which is gone afterwards
    assert refused.lines == []


def test_a_run_whose_log_cannot_be_opened_does_the_same_and_uses_the_console_only(site):
    site.conferences(echo("FIDO"))
    packet = Packet()
    data = site.inbound("a.pkt", packet)
    site.path(LOG).mkdir()
    before = site.snapshot()

    run = site.run("-toss", log=False)

    lines = [*head(1), "Found: a.pkt", packet.log_line(), parsed(0), moved("a.pkt"), *tail(1)]
    assert_run(run, 0, lines)
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data}
    assert_changes(site, before, changes)
    assert list(site.path(LOG).iterdir()) == []


@posix_only("the device that is always full is Linux's")
def test_a_log_that_takes_no_byte_changes_nothing(site):
    site.conferences(echo("FIDO"))
    site.path(LOG).symlink_to("/dev/full")
    assert_run(site.run("-toss", log=False), 0, head(1) + tail(0))


@posix_only("the device that is always full is Linux's")
def test_a_console_that_takes_no_byte_changes_nothing(site):
    site.conferences(echo("FIDO"))
    with open("/dev/full", "wb") as full:
        process = site.start("-toss", stdout=full)
        process.communicate(timeout=60)
    _, lines = unstamp(site.read(LOG))
    assert (process.returncode, lines) == (0, head(1) + tail(0))


def test_a_message_of_1023_characters_is_whole_and_a_longer_one_is_cut_there(site):
    fixed = len("Inbound dir:    Config dir:    Work dir:    Message dir: ")
    for length in (LONGEST - 1, LONGEST, LONGEST + 1, fixed + 4 * 255):
        message_dir = "m" * (length - fixed - 3 * 255)
        site.config(f"INBOUND {'i' * 255}\nCONFDIR {'c' * 255}\nWORKDIR {'w' * 255}\nMSGDIR {message_dir}\n")
        message = f"Inbound dir: {'i' * 255}   Config dir: {'c' * 255}   Work dir: {'w' * 255}   "
        message += f"Message dir: {message_dir}"
        assert len(message) == length
        run = site.toss()
        # The platform's error for such a long message directory is not compared.
        assert run.lines[:3] == [BANNER, message[:LONGEST], KEPT]
        assert (run.status, run.stderr) == (1, "")


@posix_only("Windows starts no program whose path is that long")
@pytest.mark.parametrize(("length", "beside"), [(259, True), (260, False)])
def test_a_program_path_of_260_characters_leaves_the_log_in_the_current_directory(site, length, beside):
    missing = length - len(str(site.root)) - len("/cvtoss32")
    program = site.root / ("a" * (missing // 2 - 1)) / ("b" * (missing - missing // 2 - 1)) / "cvtoss32"
    assert len(str(program)) == length
    program.parent.mkdir(parents=True)
    shutil.copy2(PROGRAM, program)
    site.conferences(echo("FIDO"))
    run = site.finish(site.start("-toss", program=program), (program.parent if beside else site.root) / LOG, b"")
    assert_run(run, 0, head(1) + tail(0))
    assert [path.parent for path in site.root.rglob(LOG)] == [program.parent if beside else site.root]


def test_every_line_is_in_the_log_at_once_even_when_the_program_is_killed(site):
    site.conferences(echo("FIDO"))
    site.nodes(Node(user=1))
    process = site.start("-toss")
    waiting = "Node 1 is in use by UserNo 1 (Mode=0x00) -- waiting 10 seconds and rechecking CVWHOSON.DAT..."
    site.wait_for_log(waiting, process)
    process.send_signal(signal.SIGKILL)
    process.communicate(timeout=60)
    _, lines = unstamp(to_line_feeds(site.read(LOG)))
    assert lines == [*banner(), head(1)[3], waiting]

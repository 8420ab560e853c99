"""Runs under a scheduler: a console that nobody reads, closed streams, limits, other users."""

import os
import stat
import subprocess
import time
from typing import Callable

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, assert_whole, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import GONE, assert_changes, head, moved, parsed, tail
from harness.limits import file_size
from harness.run import unstamp
from harness.site import LOCK, LOG, Site
from harness.target import RUNNER, posix_only

NOBODY = 65534
AN_HOUR = 3600
streams_differ = posix_only("a Windows process has no numbered streams that a parent could close")


def mail(count: int, size: int = 40) -> Packet:
    return Packet([echomail("FIDO", "x" * size, msgid=f"1:2/3 {number}") for number in range(count)])


def prepare(site: Site, count: int, size: int = 40) -> tuple[MessageBase, bytes, list[str]]:
    """One conference and one packet: the message base afterwards, the packet, and every line of the toss."""
    site.conferences(echo("FIDO"))
    packet = mail(count, size)
    data = site.inbound("a.pkt", packet)
    base = MessageBase(1)
    wrote = [base.store(message, body_lines("x" * size), msgid=f"1:2/3 {number}")
             for number, message in enumerate(packet.messages)]
    lines = [*head(1), "Found: a.pkt", packet.log_line(), *wrote, parsed(count), moved("a.pkt"), *tail(1)]
    return base, data, lines


def everything_tossed(base: MessageBase, data: bytes) -> dict[str, object]:
    return {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data, **message_files(base)}


def logged_lines(site: Site) -> list[str]:
    return unstamp(site.read(LOG))[1]


@posix_only("Windows knows no signal for a pipe without a reader")
def test_a_console_that_is_not_read_does_not_stop_a_toss(site):
    base, data, lines = prepare(site, 300)
    before = site.snapshot()
    process = site.start("-toss")
    process.stdout.close()
    assert process.wait(60) == 0
    assert logged_lines(site) == lines
    assert_changes(site, before, everything_tossed(base, data))


@posix_only("Windows knows no signal for a pipe without a reader")
def test_start_up_messages_that_are_not_read_end_with_status_1(site):
    site.config("ADDRESS x\n" * 5000)
    process = site.start("-toss")
    process.stderr.close()
    assert process.wait(60) == 1


def closing(*descriptors: int) -> Callable[[], None]:
    def apply() -> None:
        for descriptor in descriptors:
            os.close(descriptor)

    return apply


@streams_differ
@pytest.mark.parametrize("descriptors", [(0,), (1,), (2,), (0, 1), (0, 1, 2)])
def test_without_standard_streams_every_file_gets_its_own_bytes_only(site, descriptors):
    base, data, lines = prepare(site, 100)
    before = site.snapshot()
    process = site.start("-toss", stdin=None, stdout=None, stderr=None, preexec_fn=closing(*descriptors))
    assert process.wait(60) == 0
    assert logged_lines(site) == lines
    assert_changes(site, before, everything_tossed(base, data))


@streams_differ
def test_without_standard_streams_and_log_a_failing_append_leaves_the_data_files_alone(site):
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    for number in range(1, 21):
        base.add(b"earlier mail\x01", number=number)
    site.put(base)
    site.inbound("a.pkt", mail(3, size=5000))
    site.path(LOG).mkdir()  # nothing but data files is opened for writing
    limit = len(base.files()["CVMSG01.DAT"]) + 256

    def apply() -> None:
        file_size(limit)()
        closing(0, 1, 2)()

    process = site.start("-toss", stdin=None, stdout=None, stderr=None, preexec_fn=apply)
    assert process.wait(60) == 1
    assert {name: site.read(f"MSG/{name}") for name in base.files()} == base.files()
    assert not site.path(LOCK).exists()


@posix_only("limits of a process")
@pytest.mark.parametrize("limit", [128, 1000, 4096, 60000])
def test_a_file_size_limit_fails_the_append_and_not_the_run(site, limit):
    site.conferences(echo("FIDO"))
    data = site.inbound("a.pkt", mail(400, size=300))
    process = site.start("-toss", preexec_fn=file_size(limit))  # the signals are those that a shell would leave
    console, _ = process.communicate(timeout=60)
    lines = unstamp(console)[1]
    assert process.returncode == 1
    assert any(line.startswith("  conf 1 append failed; DAT/IDX/PTR/SIG restored") for line in lines)
    assert not any(line.startswith("CRITICAL") for line in lines)
    assert_whole(site.message_base(1))
    assert site.read("IN/a.pkt") == data
    assert not site.path(LOCK).exists()

    site.path(LOG).unlink()  # it reached the limit, too
    assert site.toss().status == 0
    after = site.message_base(1)
    assert_whole(after)
    assert len(after.ptr) == 400


@posix_only("limits of a process")
def test_a_log_at_its_size_limit_is_given_up_and_the_run_goes_on(site):
    base, data, lines = prepare(site, 3)
    earlier = b"[2026-11-20 00:00:00] earlier\n" * 400
    site.write(LOG, earlier)
    before = site.snapshot()
    process = site.start("-toss", preexec_fn=file_size(len(earlier)))
    console, _ = process.communicate(timeout=60)
    assert process.returncode == 0
    assert unstamp(console)[1] == lines
    assert site.read(LOG) == earlier
    assert_changes(site, before, everything_tossed(base, data))


@posix_only("users")
@pytest.mark.skipif(not hasattr(os, "geteuid") or os.geteuid() != 0, reason="needs root to become another user")
def test_another_users_stale_lock_is_cleared(site):
    prepare(site, 1)
    site.write(LOCK, "cvtoss32 1.05 Beta 5 mode=-scan pid=1 started=1\n")
    site.path(LOCK).chmod(0o600)
    an_hour_ago = time.time() - AN_HOUR
    os.utime(site.path(LOCK), (an_hour_ago, an_hour_ago))
    for directory in ("IN", "MSG", "."):
        site.path(directory).chmod(0o777)
    for path in site.root.rglob("*"):
        path.chmod(path.stat().st_mode | stat.S_IROTH | (stat.S_IXOTH if path.is_dir() else 0))
    site.path(LOCK).chmod(0o600)
    for parent in site.root.parents:
        if parent.stat().st_uid == 0 and "pytest" in parent.name:
            parent.chmod(0o755)
    site.root.parent.chmod(0o755)

    run = site.toss(user=NOBODY)
    assert "Found a stale lock file (60 minutes old) -- clearing it" in run.lines
    assert run.status == 0
    assert not site.path(LOCK).exists()


@posix_only("file locks of other programs")
@pytest.mark.parametrize("held", [LOCK, "MSG"])
def test_no_other_program_can_protect_a_stale_lock(site, held):
    prepare(site, 1)
    site.write(LOCK, "")
    an_hour_ago = time.time() - AN_HOUR
    os.utime(site.path(LOCK), (an_hour_ago, an_hour_ago))
    with subprocess.Popen(["flock", site.path(held), "sleep", "60"]) as holder:
        site.wait_for(lambda: subprocess.run(["flock", "-n", site.path(held), "true"], check=False).returncode != 0)
        run = site.toss()
        assert holder.poll() is None, "the run has waited for the other program"
        holder.kill()
    assert run.lines.count("Found a stale lock file (60 minutes old) -- clearing it") == 1
    assert run.status == 0


@posix_only("named pipes")
def test_a_configuration_that_is_a_pipe_is_reported_as_unreadable(site):
    os.mkfifo(site.path("pipe.cfg"))
    run = site.run("-check", "pipe.cfg")
    assert run.stderr == "Could not open config file: pipe.cfg\n"
    assert run.status == 1


@pytest.mark.skipif(not RUNNER, reason="Windows only: a drive whose root directory is empty")
def test_an_empty_root_directory_is_an_empty_inbound_directory(site):
    root = site.path("drive")
    root.mkdir()
    prefix = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine")
    drive = os.path.join(prefix, "dosdevices", "q:")
    os.symlink(root, drive)
    try:
        site.config("INBOUND Q:/\nCONFDIR CONF\nMSGDIR MSG\nKEEPPROCESSED no\n")
        site.conferences(echo("FIDO"))
        run = site.toss()
    finally:
        os.unlink(drive)
    assert run.lines[-1] == "=== cvtoss32 -toss run complete: 0 file(s) processed ==="
    assert run.status == 0

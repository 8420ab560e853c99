"""A file that another program has open: on Windows whatever needs it fails, on POSIX systems nothing does."""

import os
import time

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import (
    GONE,
    RETAINED,
    assert_changes,
    assert_refused,
    assert_run,
    banner,
    head,
    moved,
    not_appended,
    parsed,
    tail,
)
from harness.held import held
from harness.run import Run
from harness.scan import NO_SERIAL, SERIAL_FILE, Scan, serial_text, unreadable
from harness.site import LOCK, LOG, Site
from harness.start_up import BAD_BASES, BAD_CONFERENCES, NODES_UNKNOWN, loaded, locked
from harness.target import WINDOWS

MSGID = "1:2/3 new"
PACKET = Packet([echomail("FIDO", "text", msgid=MSGID)])
NOT_MARKED = (
    "ERROR: bundle exists, but could not mark conf %d msg #%d sent; its SIG append was rolled back and it remains safe"
    " to retry"
)
NOT_APPENDED = "ERROR: bundle exists, but could not append SIG for conf %d msg #%d; leaving it unsent for safe retry"
NO_AREA = (
    "  msg 1: AREA:NONE has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)"
)


@pytest.fixture
def tossing(site):
    """One conference with an old message, and a packet with a new one."""
    site.conferences(echo("FIDO"))
    site.put(old_base())
    site.inbound("a.pkt", PACKET)
    return site


def old_base() -> MessageBase:
    base = MessageBase(1)
    base.add(body_lines("old"))
    base.add_sig("1:2/3 old", 1)
    return base


def stored() -> tuple[MessageBase, list[str]]:
    """The base with the new message, and its lines."""
    base = old_base()
    return base, [PACKET.log_line(), base.store(PACKET.messages[0], body_lines("text"), msgid=MSGID), parsed(1)]


def assert_all_tossed(site: Site, run: Run, before: dict) -> None:
    base, lines = stored()
    assert_run(run, 0, [*head(1), "Found: a.pkt", *lines, moved("a.pkt"), *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": PACKET.pack()}
    assert_changes(site, before, changes | message_files(base))


NOT_STORED = [
    *head(1),
    "Found: a.pkt",
    PACKET.log_line(),
    "ERROR: could not open all conf 1 message-base files for a checked append",
    "CRITICAL: conf 1 append failed and at least one rollback also failed; message base requires inspection",
    not_appended(1),
    parsed(1),
    RETAINED,
    *tail(0),
]
ON_WINDOWS = {
    "CONF/CVMCONF.DAT": [*banner(), "FATAL: could not open CONF/CVMCONF.DAT", BAD_CONFERENCES],
    "CONF/WORK/CVWHOSON.DAT": [
        *banner(),
        loaded(1),
        "ERROR: could not open CONF\\WORK/CVWHOSON.DAT to verify that all Corvane nodes are free",
        NODES_UNKNOWN,
    ],
    "MSG/CVMSG01.PTR": [*head(1), "ERROR: could not open MSG/CVMSG01.PTR for preflight", BAD_BASES],
    "MSG/CVMSG01.DAT": NOT_STORED,
    "MSG/CVMSG01.IDX": NOT_STORED,
    "MSG/CVMSG01.SIG": NOT_STORED,
}


@pytest.mark.parametrize("path", ON_WINDOWS)
def test_a_toss_changes_nothing_while_a_file_of_the_bbs_is_held(tossing, path):
    before = tossing.snapshot()
    with held(tossing.path(path)):
        run = tossing.toss()
    if WINDOWS:
        assert_run(run, 1, ON_WINDOWS[path])
        made = {"IN/processed/": None} if run.lines[-1] in tail(0) else {}
        assert_changes(tossing, before, made)
        run = tossing.toss()
    assert_all_tossed(tossing, run, before)


@pytest.mark.parametrize("kind", ["PTR", "IDX", "DAT"])
def test_a_file_that_others_may_read_but_not_write_is_looked_at_and_takes_no_message(tossing, kind):
    before = tossing.snapshot()
    with held(tossing.path(f"MSG/CVMSG01.{kind}"), "r"):
        run = tossing.toss()
    if WINDOWS:
        assert_run(run, 1, NOT_STORED)
        assert_changes(tossing, before, {"IN/processed/": None})
        run = tossing.toss()
    assert_all_tossed(tossing, run, before)


def test_an_inbound_file_that_is_still_being_received_waits_for_the_next_run(tossing):
    before = tossing.snapshot()
    with held(tossing.path("IN/a.pkt")):
        run = tossing.toss()
    if WINDOWS:
        assert_run(run, 0, [*head(1), "Could not read inbound file a.pkt; skipping", *tail(0)])
        assert_changes(tossing, before, {"IN/processed/": None})
        run = tossing.toss()
    assert_all_tossed(tossing, run, before)


@pytest.mark.parametrize("kept", [True, False])
def test_an_inbound_file_that_can_be_read_and_not_removed_is_stored_once(tossing, kept):
    if not kept:
        tossing.add_config("KEEPPROCESSED no\n")
    with held(tossing.path("IN/a.pkt"), "rw"):
        run = tossing.toss()
    base, lines = stored()
    if not WINDOWS:
        end = moved("a.pkt") if kept else "  deleted (KEEPPROCESSED no)"
        assert run.lines[-len(lines) - 2 :] == [*lines, end, *tail(1)]
        assert (run.status, tossing.path("IN/a.pkt").exists()) == (0, False)
    else:
        end = "  ERROR: processed but could not "
        end += "move to IN/processed/a.pkt; source remains inbound" if kept else "delete IN/a.pkt"
        assert run.lines[-len(lines) - 2 :] == [*lines, end, *tail(0)]
        assert (run.status, tossing.read("IN/a.pkt")) == (1, PACKET.pack())
        assert not tossing.path("IN/processed/a.pkt").exists()
        assert tossing.toss().status == 0
    for path, content in message_files(base).items():
        assert tossing.read(path) == content


def test_a_held_log_is_given_up_and_the_run_goes_on(tossing):
    tossing.write(LOG, "earlier\r\n")
    before = tossing.snapshot()
    with held(tossing.path(LOG)):
        run = tossing.toss(log=False)
    assert_all_tossed(tossing, run, before)
    assert tossing.read(LOG).startswith(b"earlier\r\n")
    assert (tossing.read(LOG) == b"earlier\r\n") == WINDOWS


def test_a_held_lock_blocks_without_its_owner_fresh_or_stale(tossing):
    tossing.write(LOCK, "somebody\n")
    before = tossing.snapshot()
    with held(tossing.path(LOCK)):
        run = tossing.toss()
    assert_run(run, 1, [*banner(), *([] if WINDOWS else ["Lock owner: somebody"]), locked()])
    assert_changes(tossing, before, {})
    half_an_hour_ago = time.time() - 1801
    os.utime(tossing.path(LOCK), (half_an_hour_ago, half_an_hour_ago))
    clearing = "Found a stale lock file (30 minutes old) -- clearing it"
    with held(tossing.path(LOCK)):
        run = tossing.toss()
    if WINDOWS:
        assert_run(run, 1, [*banner(), clearing, locked()])
        assert_changes(tossing, before, {})
        run = tossing.toss()
    assert run.lines[3] == clearing
    assert run.status == 0
    assert not tossing.path(LOCK).exists()


def test_a_held_list_of_bad_areas_is_ignored_silently(tossing):
    tossing.inbound("a.pkt", Packet([echomail("NONE", "text")]))
    earlier = tossing.write("MSG/BADAREAS.LST", "earlier").read_bytes()
    with held(tossing.path("MSG/BADAREAS.LST")):
        run = tossing.toss()
    assert (run.lines[6:8], run.lines[-1:], run.status) == ([PACKET.log_line(), NO_AREA], tail(1), 0)
    assert (tossing.read("MSG/BADAREAS.LST") == earlier) == WINDOWS


def test_a_held_configuration_cannot_be_opened(tossing):
    with held(tossing.path("CVTOSS32.CFG")):
        run = tossing.toss()
    if WINDOWS:
        assert_refused(run, "Could not open config file: CVTOSS32.CFG")
    else:
        assert run.status == 0


@pytest.fixture
def scan(site):
    """Two conferences with an unsent message each, and a serial file."""
    scan = Scan(site, echo("ONE"), echo("TWO"))
    for base in scan.bases:
        base.add(body_lines("old"), number=1)
        base.add_sig("1:2/3 old", 1)
        base.add(body_lines("new"), sent=0)
    site.write(SERIAL_FILE, serial_text(7))
    scan.serial = 7
    scan.put()
    return scan


def export(scan: Scan, *bases: MessageBase) -> None:
    for base in bases or scan.bases:
        for record in base.ptr:
            if not record.sent:
                scan.echomail(base, record, b"new")


@pytest.mark.parametrize(
    ("kind", "share", "line"), [("PTR", "r", NOT_MARKED), ("SIG", "", NOT_APPENDED), ("SIG", "r", NOT_APPENDED)]
)
def test_a_message_whose_files_are_held_stays_unsent_and_goes_out_with_the_next_scan(scan, kind, share, line):
    first = scan.base(1)
    export(scan)
    if WINDOWS:
        scan.uncommitted(first, first.ptr[1], line)
    with held(scan.site.path(f"MSG/CVMSG01.{kind}"), share):
        scan.run()
    if WINDOWS:
        export(scan)
        assert len(scan.messages) == 1
        scan.run()


def test_a_message_whose_text_is_held_is_skipped_and_goes_out_with_the_next_scan(scan):
    first, second = scan.bases
    if WINDOWS:
        scan.line(unreadable(first, first.ptr[1]))
        export(scan, second)
    else:
        export(scan)
    with held(scan.site.path("MSG/CVMSG01.DAT")):
        scan.run()
    if WINDOWS:
        export(scan)
        scan.run()


@pytest.mark.parametrize("share", ["", "r"])
def test_a_held_serial_file_ends_the_scan_before_anything_is_sent(scan, share):
    with held(scan.site.path(SERIAL_FILE), share):
        if WINDOWS:
            scan.fail(NO_SERIAL)
        else:
            export(scan)
            scan.run()
    if WINDOWS:
        export(scan)
        scan.run()

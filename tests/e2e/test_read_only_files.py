"""Read-only files: reading them works, and a failure to write them leaves everything unchanged."""

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import GONE, RETAINED, assert_changes, assert_run, banner, head, moved, not_appended, parsed, tail
from harness.held import read_only
from harness.scan import NO_SERIAL, SERIAL_FILE, Scan, serial_text
from harness.site import LOG, Site
from harness.target import WINDOWS

MSGID = "1:2/3 new"
NOT_OPEN = [
    "ERROR: could not open all conf 1 message-base files for a checked append",
    "CRITICAL: conf 1 append failed and at least one rollback also failed; message base requires inspection",
    not_appended(1),
]
NOT_MARKED = (
    "ERROR: bundle exists, but could not mark conf %d msg #%d sent; its SIG append was rolled back and it remains safe"
    " to retry"
)
NOT_APPENDED = "ERROR: bundle exists, but could not append SIG for conf %d msg #%d; leaving it unsent for safe retry"


def lay(site: Site, msgid: str = MSGID) -> tuple[MessageBase, Packet]:
    """One conference with an old message, and a packet with a new one."""
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(body_lines("old"))
    base.add_sig("1:2/3 old", 1)
    site.put(base)
    packet = Packet([echomail("FIDO", "text", msgid=msgid)])
    site.inbound("a.pkt", packet)
    return base, packet


def assert_stored(site: Site, base: MessageBase, packet: Packet, path: str, msgid: str = MSGID) -> None:
    """Asserts that the toss stores the message although that file is read-only."""
    before = site.snapshot()
    with read_only(site.path(path), movable=path.startswith("IN/")) as options:
        run = site.toss(log=path != LOG, **options)
    wrote = base.store(packet.messages[0], body_lines("text"), msgid=msgid)
    lines = ["Found: a.pkt", packet.log_line(), wrote, parsed(1), moved("a.pkt"), *tail(1)]
    assert_run(run, 0, [*head(1), *lines])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": packet.pack()}
    assert_changes(site, before, changes | message_files(base))


READ_BY_A_TOSS = ["CVTOSS32.CFG", "CONF/CVMCONF.DAT", "CONF/WORK/CVWHOSON.DAT", "IN/a.pkt", LOG]


@pytest.mark.parametrize("path", READ_BY_A_TOSS)
def test_a_toss_needs_to_write_neither_what_it_reads_nor_the_log(site, path):
    base, packet = lay(site)
    site.write(LOG, "earlier\n")
    assert_stored(site, base, packet, path)
    assert (site.read(LOG) == b"earlier\n") == (path == LOG)


def test_a_sig_file_is_not_written_for_a_message_without_msgid(site):
    base, packet = lay(site, msgid="")
    assert_stored(site, base, packet, "MSG/CVMSG01.SIG", msgid="")


@pytest.mark.parametrize("kind", ["DAT", "IDX", "PTR", "SIG"])
def test_a_file_of_the_message_base_that_is_read_only_keeps_all_four_as_they_were(site, kind):
    """It cannot be opened for a rollback either, so that the run asks for an inspection; the next run succeeds."""
    base, packet = lay(site)
    before = site.snapshot()
    with read_only(site.path(f"MSG/CVMSG01.{kind}")) as options:
        run = site.toss(**options)
    lines = ["Found: a.pkt", packet.log_line(), *NOT_OPEN, parsed(1), RETAINED, *tail(0)]
    assert_run(run, 1, [*head(1), *lines])
    assert_changes(site, before, {"IN/processed/": None})
    assert_stored(site, base, packet, "CONF/CVMCONF.DAT")


def test_a_read_only_source_is_deleted_where_the_system_allows_it(site):
    _, packet = lay(site)
    site.add_config("KEEPPROCESSED no\n")
    with read_only(site.path("IN/a.pkt"), movable=True) as options:
        run = site.toss(**options)
    end = "  ERROR: processed but could not delete IN/a.pkt" if WINDOWS else "  deleted (KEEPPROCESSED no)"
    assert run.lines[:3] == banner(kept=False)
    assert run.lines[-2:] == [end, *tail(0 if WINDOWS else 1)]
    assert run.status == (1 if WINDOWS else 0)
    assert site.path("IN/a.pkt").exists() == WINDOWS


def test_a_read_only_list_of_bad_areas_is_ignored_silently(site):
    lay(site)
    packet = Packet([echomail("NONE", "text")])
    data = site.inbound("a.pkt", packet)
    site.write("MSG/BADAREAS.LST", "2026-01-01 00:00:00  EARLIER\r\n" if WINDOWS else "2026-01-01 00:00:00  EARLIER\n")
    before = site.snapshot()
    with read_only(site.path("MSG/BADAREAS.LST")) as options:
        run = site.toss(**options)
    skipped = "  msg 1: AREA:NONE has no matching conference and no catch-all configured -- SKIPPED"
    lines = ["Found: a.pkt", packet.log_line(), skipped + " (logged to BADAREAS.LST)", parsed(1), moved("a.pkt")]
    assert_run(run, 0, [*head(1), *lines, *tail(1)])
    assert_changes(site, before, {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data})


@pytest.fixture
def scan(site):
    """Two conferences with an unsent message each."""
    scan = Scan(site, echo("ONE"), echo("TWO"))
    for base in scan.bases:
        base.add_sig("1:2/3 old", 1)
        base.add(body_lines("new"), sent=0)
    site.write(SERIAL_FILE, serial_text(7))
    scan.serial = 7
    scan.put()
    return scan


def export(scan: Scan) -> None:
    for base in scan.bases:
        for record in base.ptr:
            if not record.sent:
                scan.echomail(base, record, b"new")


def run_keeping(scan: Scan, path: str) -> None:
    """A scan while that file is read-only; the bases have been written before."""
    scan.put = lambda: None
    with read_only(scan.site.path(path)) as options:
        scan.run(**options)
    del scan.put


@pytest.mark.parametrize("path", ["CVTOSS32.CFG", "CONF/CVMCONF.DAT", "MSG/CVMSG01.IDX", "MSG/CVMSG01.DAT"])
def test_a_scan_needs_to_write_nothing_that_it_only_reads(scan, path):
    export(scan)
    run_keeping(scan, path)


@pytest.mark.parametrize(("kind", "line"), [("PTR", NOT_MARKED), ("SIG", NOT_APPENDED)])
def test_a_message_that_cannot_be_recorded_as_sent_stays_unsent_and_goes_out_again(scan, kind, line):
    export(scan)
    first = scan.base(1)
    scan.uncommitted(first, first.ptr[0], line)
    run_keeping(scan, f"MSG/CVMSG01.{kind}")
    export(scan)
    assert len(scan.messages) == 1
    scan.run()


def test_a_serial_file_that_cannot_be_written_ends_the_scan_before_anything_is_sent(scan):
    with read_only(scan.site.path(SERIAL_FILE)) as options:
        scan.fail(NO_SERIAL, **options)
    export(scan)
    scan.run()


def test_a_read_only_packet_left_by_an_earlier_scan_fails_this_one_and_nothing_is_sent(scan):
    left = scan.site.write("MSG/CVOUTBOUND.PKT", "left")
    before = scan.site.snapshot("OUT") | message_files(*scan.bases)
    with read_only(left) as options:
        run = scan.site.run("-scan", **options)
    assert (run.lines[-1], run.status) == ("ERROR: could not write temp packet file MSG/CVOUTBOUND.PKT", 1)
    assert scan.site.snapshot("OUT") | {path: scan.site.read(path) for path in message_files(*scan.bases)} == before
    left.unlink(missing_ok=True)
    scan.serial = 9
    export(scan)
    scan.run()

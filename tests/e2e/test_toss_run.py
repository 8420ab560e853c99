"""The toss file by file: kinds of files, what becomes of each, and the last lines of the run."""

import os

import pytest

from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import HEADER_SIZE, Packet, echomail
from formats.zip_bundle import SIGNATURE, Entry, bundle
from harness.cases import Cases
from harness.compare import (
    DELETED,
    GONE,
    RETAINED,
    assert_changes,
    assert_run,
    assert_unchanged,
    banner,
    head,
    moved,
    parsed,
    tail,
)
from harness.start_up import assert_aborted
from harness.target import WINDOWS, posix_only

NO_HEADERS = "  no ZIP local file headers found -- not a ZIP bundle after all?"
EMPTY = Packet()
EMPTY_LINES = [EMPTY.log_line(), parsed(0)]


def unread(name: str) -> str:
    return f"Could not read inbound file {name}; skipping"


@pytest.fixture
def cases(site):
    """Cases in a site with one conference, CASE1, which they need not use."""
    made = Cases(site)
    made.conference()
    return made


# What a file is.


def test_an_empty_inbound_directory_is_a_run_of_0_files(ready):
    before = ready.snapshot()
    assert_run(ready.toss(), 0, head(1) + tail(0))
    assert_changes(ready, before, {"IN/processed/": None})


def test_a_file_is_what_it_holds_whatever_its_name(cases):
    names = ("NOTES.TXT", "noextension", "a.zip", ".hidden", "two words.pkt", "100%s%n.pkt", "CVMSG01.PTR", "x" * 200)
    for name in names:
        cases.packet(name, Packet())
    (base,) = cases.bases
    message = echomail(cases.tag(base), "text")
    packet, entry = Packet([message]), Entry("x.pkt")
    entry.content = packet.pack()
    wrote = base.store(message, body_lines("text"))
    lines = [entry.log_line(), packet.log_line(), wrote, parsed(1), moved("00000001.PKT")]
    cases.file("00000001.PKT", bundle(entry), *lines)
    cases.unrelated("00000002.PKT", b"This is text and no packet.\n" * 10)
    cases.unrelated("bundle.zip", b"This is text and no bundle.\n" * 10)
    cases.toss()


def test_what_is_neither_bundle_nor_packet_is_counted_only(cases):
    sound = Packet().pack()
    contents = {
        "empty": b"",
        "P": b"P",
        "PK3": SIGNATURE[:3],
        "PK5": b"PK\x03\x05" + bytes(60),
        "PK end": b"PK\x05\x06" + bytes(18),
        "pk": b"pk\x03\x04" + bytes(60),
        "late": b"\0" + SIGNATURE + bytes(60),
        "59 bytes": sound[:59],
        "header only": sound[:HEADER_SIZE],
        "type 3": Packet(packet_type=3).pack(),
        "year 1989": Packet(year=1989).pack(),
        "year 2101": Packet(year=2101).pack(),
        "month 12": Packet(month=12).pack(),
        "day 0": Packet(day=0).pack(),
        "day 32": Packet(day=32).pack(),
        "first word 1": Packet(closing=b"\1\0").pack(),
        "first word 3": Packet(closing=b"\3\0").pack(),
        "first word 512": Packet(closing=b"\0\2").pack(),
        "zeros": bytes(1000),
    }
    for name, content in contents.items():
        cases.unrelated(name, content)
    cases.toss()


def test_the_bounds_of_a_packet_header_belong_to_it(cases):
    for name, fields in {
        "60 bytes": {},
        "year 1990": {"year": 1990},
        "year 2100": {"year": 2100},
        "month 11": {"month": 11},
        "day 1": {"day": 1},
        "day 31": {"day": 31},
    }.items():
        assert len(Packet(**fields).pack()) == 60
        cases.packet(name, Packet(**fields))
    cases.toss()


def test_a_beginning_of_a_bundle_without_a_header_stays_and_is_no_failure(ready):
    for size in (4, 20, 29):
        ready.inbound(f"{size}.zip", SIGNATURE + bytes(size - 4))
    before = ready.snapshot()
    run = ready.toss()
    assert run.blocks() == {f"{size}.zip": [NO_HEADERS] for size in (4, 20, 29)}
    assert (run.head(), run.tail(), run.status) == (head(1), tail(0), 0)
    assert_changes(ready, before, {"IN/processed/": None})


# What is passed over.


def test_directories_are_never_looked_into(ready):
    packet = EMPTY.pack()
    for name in ("sub/a.pkt", "processed/old.pkt", "badmsgs/BAD_1.PKT", "sub/deeper/b.pkt", "named.pkt/c.pkt"):
        ready.inbound(name, packet)
    before = ready.snapshot()
    assert_run(ready.toss(), 0, head(1) + tail(0))
    assert_unchanged(ready, before)


@pytest.mark.parametrize("name", ["TOSSER.LOG", "tosser.log", "Tosser.Log"])
def test_a_file_with_the_name_of_the_log_is_skipped_whatever_its_case(ready, name):
    ready.inbound(name, EMPTY)
    before = ready.snapshot()
    assert_run(ready.toss(), 0, head(1) + tail(0))
    assert_changes(ready, before, {"IN/processed/": None})


def test_only_the_very_name_of_the_log_is_skipped(cases):
    for name in ("TOSSER.LOG2", "XTOSSER.LOG", "TOSSER_LOG", "TOSSER", "OSSER.LOG", "TOSSER.LO"):
        cases.packet(name, Packet())
    cases.toss()


def test_the_inbound_directory_may_be_that_of_the_program(ready):
    """The program is then an unrelated file, like the configuration; the log is not."""
    ready.config("INBOUND .\nCONFDIR CONF\nMSGDIR MSG\n")
    ready.write("a.pkt", EMPTY.pack())
    before = ready.snapshot()
    run = ready.toss()
    directories = "Inbound dir: .   Config dir: CONF   Work dir: CONF\\WORK   Message dir: MSG"
    lines = ["Found: a.pkt", *EMPTY_LINES, moved("a.pkt", "./processed"), *tail(1, ignored=2)]
    assert_run(run, 0, [*banner(directories=directories), *head(1)[3:], *lines])
    assert_changes(ready, before, {"a.pkt": GONE, "processed/": None, "processed/a.pkt": EMPTY.pack()})


@posix_only("Windows knows neither such links nor named pipes and devices in directories")
def test_links_to_nowhere_pipes_and_devices_are_passed_over(ready):
    os.mkfifo(ready.path("IN/pipe"))
    ready.path("IN/dangling").symlink_to("nowhere")
    ready.path("IN/loop").symlink_to("loop")
    ready.path("IN/endless").symlink_to("/dev/zero")
    ready.path("IN/directory").symlink_to("..")
    before = ready.snapshot()
    assert_run(ready.toss(), 0, head(1) + tail(0))
    assert_changes(ready, before, {"IN/processed/": None})


def test_files_are_tossed_in_the_order_of_their_names(ready):
    """Sorted by bytes: if a mailer numbers its packets, parents come before replies."""
    names = ["b.pkt", "10.pkt", "a.pkt", "9.pkt", "a.pkt.1", "Z.pkt", "0000000f.su1", "0000000f.su0", "z", "_"]
    for name in names:
        ready.inbound(name, EMPTY)
    run = ready.toss()
    assert [line for line in run.lines if line.startswith("Found: ")] == [f"Found: {name}" for name in sorted(names)]


@posix_only("a backslash cannot be part of a name on Windows")
def test_a_name_with_a_backslash_is_ignored_and_leads_nowhere(ready):
    outside = ready.write("a.pkt", EMPTY.pack())
    ready.write("MSG/b.pkt", EMPTY.pack())
    for name in ("..\\a.pkt", "..\\MSG\\b.pkt", "c\\d.pkt", "\\e.pkt", "f.pkt\\", "\\"):
        ready.inbound(name, EMPTY)
    ready.write("IN/c/d.pkt", EMPTY.pack())
    before = ready.snapshot()
    assert_run(ready.toss(), 0, head(1) + tail(0, ignored=6))
    assert_changes(ready, before, {"IN/processed/": None})
    assert outside.is_file()


@posix_only("root may read everything; a link into the kernel's files is what it cannot read")
def test_a_file_that_cannot_be_read_stays_and_is_no_failure(ready):
    ready.path("IN/unreadable").symlink_to("/proc/self/mem")
    ready.inbound("a.pkt", EMPTY)
    before = ready.snapshot()
    run = ready.toss()
    found = [line for line in run.lines if line != unread("unreadable")]
    assert found == [*head(1), "Found: a.pkt", *EMPTY_LINES, moved("a.pkt"), *tail(1)]
    assert len(run.lines) == len(found) + 1
    assert run.status == 0
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": EMPTY.pack()}
    assert_changes(ready, before, changes)


def test_an_inbound_directory_that_cannot_be_listed_ends_the_run(ready):
    ready.path("IN").rmdir()
    assert_aborted(ready, *head(1)[3:], "FATAL: could not open inbound dir IN")
    ready.write("IN", "a file")
    assert_aborted(ready, *head(1)[3:], "FATAL: could not open inbound dir IN")
    assert WINDOWS or ready.read("IN") == b"a file"


# What becomes of a file.


def test_an_older_file_of_the_same_name_in_the_processed_directory_is_replaced(ready):
    ready.inbound("a.pkt", EMPTY)
    ready.write("IN/processed/a.pkt", "the older one, which is much longer than the new one" * 10)
    ready.write("IN/processed/b.pkt", "another")
    before = ready.snapshot()
    assert_run(ready.toss(), 0, [*head(1), "Found: a.pkt", *EMPTY_LINES, moved("a.pkt"), *tail(1)])
    assert_changes(ready, before, {"IN/a.pkt": GONE, "IN/processed/a.pkt": EMPTY.pack()})


def test_a_packet_whose_messages_are_all_skipped_is_processed(ready):
    areas = ("NOWHERE", "NOWHERE.ELSE")
    packet = Packet([echomail(area, "text") for area in areas])
    ready.inbound("a.pkt", packet)
    run = ready.toss()
    skipped = [
        f"  msg {number}: AREA:{area} has no matching conference and no catch-all configured"
        " -- SKIPPED (logged to BADAREAS.LST)"
        for number, area in enumerate(areas, 1)
    ]
    lines = [packet.log_line(), *skipped, parsed(2), moved("a.pkt")]
    assert run.blocks() == {"a.pkt": lines}
    assert (run.tail(), run.status) == (tail(1), 0)
    assert ready.path("IN/processed/a.pkt").is_file()


def test_with_keepprocessed_no_what_is_done_is_deleted_and_the_rest_stays(ready):
    ready.add_config("KEEPPROCESSED no\nPROCESSEDDIR unused\n")
    ready.inbound("a.pkt", EMPTY)
    broken = ready.inbound("b.pkt", Packet([echomail("A" * 32)]))
    ready.inbound("text", b"text")
    before = ready.snapshot()
    run = ready.toss()
    assert run.lines[:3] == banner(kept=False)
    assert run.lines[2] == DELETED
    assert run.blocks()["a.pkt"] == [*EMPTY_LINES, "  deleted (KEEPPROCESSED no)"]
    assert run.blocks()["b.pkt"][-1] == RETAINED
    assert (run.tail(), run.status) == (tail(1, ignored=1), 1)
    assert_changes(ready, before, {"IN/a.pkt": GONE})
    assert ready.read("IN/b.pkt") == broken


def test_a_packet_with_a_structural_fault_is_done_with_and_kept_as_a_bad_packet(ready):
    message = echomail("FIDO", "text")
    packet = Packet([message], closing=b"\x01\x00")
    data = ready.inbound("a.pkt", packet)
    before = ready.snapshot()
    base = MessageBase(1)
    lines = [
        packet.log_line(),
        base.store(message, body_lines("text")),
        f"  unexpected message-type word 0x0001 at offset {len(data) - 2}, stopping",
        "  saved unprocessable packet data to IN/badmsgs/BAD_#.PKT for review"
        " (unexpected message-type word mid-packet)",
        moved("a.pkt"),
    ]
    assert_run(ready.toss(), 0, [*head(1), "Found: a.pkt", *lines, *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data, "IN/badmsgs/": None}
    changes |= {"IN/badmsgs/BAD_#.PKT": data, **message_files(base)}
    assert_changes(ready, before, changes)


def test_a_failure_in_one_file_never_stops_the_walk(cases):
    for number in range(3):
        cases.packet(f"good{number}", Packet())
        refused = Packet([echomail("A" * 32)])
        lines = [
            refused.log_line(),
            f"ERROR: inbound AREA tag is empty, malformed, or too long: '{'A' * 32}'",
            "  ERROR: could not allocate/clean message body; source packet will be retained",
            RETAINED,
        ]
        cases.file(f"bad{number}", refused.pack(), *lines)
    cases.toss(status=1)

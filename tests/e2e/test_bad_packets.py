"""Packets that stop at a structural fault: what came before it is stored, and the packet is saved for review."""

import re
import time

import pytest

from formats.conference_table import echo
from formats.message_base import DAT_LIMIT, MessageBase, body_lines, dat_records
from formats.packet import CLOSING_WORD, Packet, echomail
from formats.zip_bundle import DEFLATED, Entry, bundle
from harness.cases import Cases
from harness.compare import REFUSED, assert_run, banner, head, moved, not_appended, saved, tail

FIRST = echomail("CASE1", "First", msgid="1:2/3 first")
SECOND = echomail("CASE1", "Second", msgid="1:2/3 second").pack()
SECOND_AT = len(Packet([FIRST], closing=b"").pack())
SUBJECT_END = SECOND.index(b"Greetings\0") + len(b"Greetings")

HEADER = ("  truncated message header, stopping", "truncated message header")
STRING = ("  truncated message string field, stopping", "truncated message string field")
TEXT = ("  truncated message text, stopping", "truncated message text")


def word(value: str) -> tuple[str, str]:
    line = f"  unexpected message-type word 0x{value} at offset {SECOND_AT}, stopping"
    return line, "unexpected message-type word mid-packet"


# The bytes after the first message, the line, and the reason for which the packet is saved.
FAULTS = {
    "a message-type word of 1": (b"\x01\x00" + SECOND[2:] + CLOSING_WORD, *word("0001")),
    "a message-type word of 3 and nothing else": (b"\x03\x00", *word("0003")),
    "a message-type word with its bytes swapped": (b"\x00\x02" + SECOND[2:] + CLOSING_WORD, *word("0200")),
    "a message-type word of 65535": (b"\xff\xff", *word("ffff")),
    "a message-type word alone": (SECOND[:2], *HEADER),
    "13 bytes of a message head": (SECOND[:13], *HEADER),
    "a whole message head and nothing else": (SECOND[:14], *STRING),
    "a date without its NUL": (SECOND[: SECOND.index(b"\0All")], *STRING),
    "a recipient without its NUL": (SECOND[: SECOND.index(b"\0Ann")], *STRING),
    "a sender without its NUL": (SECOND[: SECOND.index(b"\0Greetings")], *STRING),
    "a subject without its NUL": (SECOND[:SUBJECT_END], *STRING),
    "no text at all": (SECOND[: SUBJECT_END + 1], *TEXT),
    "a text without its NUL": (SECOND[:-1], *TEXT),
}


def broken(rest: bytes) -> Packet:
    """A packet with one sound message and then those bytes."""
    return Packet([FIRST], closing=rest)


def stored_first(base: MessageBase) -> str:
    return base.store(FIRST, body_lines("First"), msgid="1:2/3 first")


def bad_file(data: bytes) -> dict[str, object]:
    return {"IN/badmsgs/": None, "IN/badmsgs/BAD_#.PKT": data}


@pytest.mark.parametrize("fault", FAULTS)
def test_a_fault_keeps_the_messages_before_it_and_saves_the_whole_packet(site, fault):
    rest, line, reason = FAULTS[fault]
    cases = Cases(site)
    base = cases.conference()
    packet = broken(rest)
    data = packet.pack()
    cases.file("a.pkt", data, packet.log_line(), stored_first(base), line, saved(reason), moved("a.pkt"))
    cases.toss(changes=bad_file(data))


def test_a_fault_in_the_first_message_saves_the_packet_and_stores_nothing(site):
    cases = Cases(site)
    cases.conference()
    packet = Packet(closing=b"\x02\x00")
    assert len(packet.pack()) == 60
    cases.file("a.pkt", packet.pack(), packet.log_line(), HEADER[0], saved(HEADER[1]), moved("a.pkt"))
    cases.toss(changes=bad_file(packet.pack()))


def test_the_saved_file_is_named_by_the_seconds_since_1970(site):
    packet = broken(SECOND[:14])
    site.inbound("a.pkt", packet)
    site.conferences(echo("CASE1"))
    before = int(time.time() - 0.05)  # a clock of whole seconds steps a little behind this one
    run = site.toss()
    assert run.status == 0
    names = [path.name for path in site.path("IN/badmsgs").iterdir()]
    seconds = int(re.fullmatch(r"BAD_(\d+)\.PKT", names[0]).group(1))
    assert before <= seconds <= int(time.time())
    assert f"  saved unprocessable packet data to IN/badmsgs/{names[0]} for review ({STRING[1]})" in run.raw_lines


def test_a_saved_file_replaces_one_of_the_same_name_and_is_not_longer_than_its_packet(site):
    packet = broken(SECOND[:14])
    old = b"an older and longer packet " * 100
    now = int(time.time() - 0.05)  # a clock of whole seconds steps a little behind this one
    for seconds in range(now, now + 120):
        site.write(f"IN/badmsgs/BAD_{seconds}.PKT", old)
    site.inbound("a.pkt", packet)
    site.conferences(echo("CASE1"))
    assert site.toss().status == 0
    contents = [path.read_bytes() for path in site.path("IN/badmsgs").iterdir()]
    assert sorted(contents) == sorted([old] * 119 + [packet.pack()])


def test_of_two_bad_packets_saved_under_one_name_the_later_stays(site):
    cases = Cases(site)
    cases.conference()
    contents = {}
    for number in range(20):
        name = f"{number}.pkt"
        contents[name] = Packet(closing=b"\x02\x00" + bytes([number])).pack()
        site.inbound(name, contents[name])
    site.conferences(*cases.conferences)
    run = site.toss()
    assert run.status == 0
    saved_as = [line.split()[5] for line in run.raw_lines if line.startswith("  saved ")]
    order = [name for name, _ in run.blocks_in_order()]
    assert sorted(order) == sorted(contents)
    expected = {name.removeprefix("IN/badmsgs/"): contents[source] for name, source in zip(saved_as, order)}
    assert {path.name: path.read_bytes() for path in site.path("IN/badmsgs").iterdir()} == expected


def test_a_bad_packet_that_cannot_be_saved_counts_as_processed_all_the_same(site):
    cases = Cases(site)
    base = cases.conference()
    site.write("IN/badmsgs", "a file in the place of the directory")
    cases.ignored = 1
    packet = broken(SECOND[:14])
    lost = "  ERROR: could not save bad packet for review (tried IN/badmsgs/BAD_#.PKT)"
    cases.file("a.pkt", packet.pack(), packet.log_line(), stored_first(base), STRING[0], lost, moved("a.pkt"))
    cases.toss()


def test_what_could_not_be_saved_is_not_deleted_either(site):
    site.conferences(echo("CASE1"))
    site.add_config("KEEPPROCESSED no\n")
    site.write("IN/badmsgs", "a file in the place of the directory")
    packet = Packet(closing=b"\x02\x00")
    data = site.inbound("a.pkt", packet)
    run = site.toss()
    lost = "  ERROR: could not save bad packet for review (tried IN/badmsgs/BAD_#.PKT)"
    stays = "  ERROR: could not make stored mail durable; source remains inbound"
    lines = ["Found: a.pkt", packet.log_line(), HEADER[0], lost, stays, *tail(0, ignored=1)]
    assert_run(run, 1, [*banner(kept=False), *head(1)[3:], *lines])
    assert site.read("IN/a.pkt") == data


def test_of_a_bundle_the_entry_is_saved_and_not_the_bundle(site):
    cases = Cases(site)
    base = cases.conference()
    packet = broken(SECOND[:14])
    entry = Entry("a.pkt", packet.pack(), method=DEFLATED)
    lines = (entry.log_line(), packet.log_line(), stored_first(base), STRING[0], saved(STRING[1]))
    cases.file("a.zip", bundle(entry), *lines, moved("a.zip"))
    cases.toss(changes=bad_file(packet.pack()))


def test_retaining_replaces_corrupt_when_an_earlier_message_was_not_stored(site):
    cases = Cases(site)
    full = cases.conference()
    base = cases.conference()
    full.add(number=2147483647)
    site.put(full)
    stored = echomail(cases.tag(base), "Stored")
    packet = Packet([FIRST, stored], closing=b"\x02\x00")
    cases.retained(
        "a.pkt",
        packet,
        "ERROR: conf 1 has reached the signed 32-bit MsgNumber limit",
        not_appended(1),
        base.store(stored, body_lines("Stored")),
        HEADER[0],
        saved(HEADER[1]),
    )
    cases.toss(status=1, changes=bad_file(packet.pack()))


def test_a_refused_text_ends_the_packet_at_once_and_keeps_it_inbound(site):
    cases = Cases(site)
    base = cases.conference()
    refused = echomail("A:B", "Refused")
    after = echomail(cases.tag(base), "Not read")
    packet = Packet([FIRST, refused, after], closing=b"\xff\xff")
    line = "ERROR: inbound AREA tag is empty, malformed, or too long: 'A:B'"
    cases.retained("a.pkt", packet, stored_first(base), line, REFUSED)
    cases.toss(status=1)


def test_a_message_that_cannot_be_stored_does_not_end_the_packet(site):
    cases = Cases(site)
    full = cases.conference()
    base = cases.conference()
    full.add()
    full.dat = dat_records(b"x") * DAT_LIMIT
    site.put(full)
    after = echomail(cases.tag(base), "After")
    too_many = "ERROR: conf 1 append would exceed Corvane's 16-bit DAT address range; refusing to append"
    packet = Packet([FIRST, FIRST, after])
    cases.retained(
        "a.pkt",
        packet,
        too_many,
        not_appended(1),
        too_many,
        not_appended(2),
        base.store(after, body_lines("After")),
        "  3 message(s) parsed from this packet",
    )
    cases.toss(status=1)

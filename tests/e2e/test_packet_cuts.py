"""One packet cut at every length, and with every single bit flipped: what is stored is always whole."""

from pathlib import Path

import pytest

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import HEADER_SIZE, MESSAGE_HEAD_SIZE, Packet, echomail, netmail
from harness.compare import head, moved, parsed, saved, tail
from harness.damage import assert_base_holds, assert_sources, flip, is_header, saved_files, saved_names
from harness.site import LOCK

FAULT_LINES = {
    "truncated message header": "  truncated message header, stopping",
    "truncated message string field": "  truncated message string field, stopping",
    "truncated message text": "  truncated message text, stopping",
}
CONFERENCES = (echo("FIDO"), netmail_conference(), echo("*"))


def packet_of(number: int) -> Packet:
    """A packet with identifiers of its own: a message, netmail, a reply, one for an unknown area, a duplicate.

    No byte of what is logged becomes a line feed when one of its bits is flipped.
    """
    msgid, other = f"1:2/3 {number:08x}a", f"1:2/3 {number:08x}b"
    names = {"sender": "Bo", "to": "Cy", "subject": "Tea"}
    return Packet(
        [
            echomail("FIDO", "Hi", "", " * Origin", msgid=msgid, **names),
            netmail("Post" * 32, attribute=1, **names),
            echomail("fido", b"\x01CHRS: UTF-8 4", b"Caf\xc3\xa9", msgid=other, reply=msgid, **names),
            echomail("WHAT", b"Yo", **names),
            echomail("FIDO", "Again", msgid=msgid, **names),
        ]
    )


class Foretold:
    """The expected message base and log lines when messages of such packets are tossed one after another."""

    def __init__(self) -> None:
        self.bases = [MessageBase(number) for number in (1, 2, 3)]

    def lines(self, packet: Packet, number: int, count: int) -> list[str]:
        """Stores the first `count` messages; returns their lines."""
        echo_base, private, catch_all = self.bases
        msgid, other = f"1:2/3 {number:08x}a", f"1:2/3 {number:08x}b"
        first, post, reply, unknown, _ = packet.messages
        lines = []
        if count > 0:
            lines.append(echo_base.store(first, body_lines("Hi", "", " * Origin"), msgid=msgid))
            parent = echo_base.highest()
        if count > 1:
            lines.append(private.store(post, body_lines("Post" * 32), netmail=1))
        if count > 2:
            lines.append(echo_base.store(reply, body_lines(b"Caf\x82"), msgid=other, parent=parent))
        if count > 3:
            parked = "  msg 4: AREA:WHAT has no matching conference -- parked in catch-all conf 3 (see BADAREAS.LST)"
            lines += [parked, catch_all.store(unknown, body_lines("Yo"))]
        if count > 4:
            lines.append(f"  msg 5: duplicate (MSGID {msgid} already seen in conf 1) -- SKIPPED")
        return lines


def end_of_cut(packet: Packet, length: int) -> tuple[int, str]:
    """The count of messages in a packet cut at that length, and the fault that ends it ("" for none)."""
    at = HEADER_SIZE
    for count, message in enumerate(packet.messages):
        data = message.pack()
        left = length - at
        if left < 2:
            return count, ""
        if left < MESSAGE_HEAD_SIZE:
            return count, "truncated message header"
        strings = MESSAGE_HEAD_SIZE
        for _ in range(4):
            strings = data.index(b"\0", strings) + 1
        if left < strings:
            return count, "truncated message string field"
        if left < len(data):
            return count, "truncated message text"
        at += len(data)
    return len(packet.messages), ""


def test_a_packet_cut_at_each_length_stores_its_whole_messages_and_nothing_else(site):
    whole = len(packet_of(0).pack())
    packets = {f"{length}.pkt": packet_of(length) for length in range(whole + 1)}
    cut = {name: packet.pack()[: int(Path(name).stem)] for name, packet in packets.items()}
    for name, data in cut.items():
        site.inbound(name, data)
    site.conferences(*CONFERENCES)

    run = site.toss()

    assert (run.status, run.stderr, run.head()) == (0, "", head(3))
    assert run.tail() == tail(whole + 1 - 60, 60)
    blocks = run.blocks_in_order()
    assert sorted(name for name, _ in blocks) == sorted(name for name, data in cut.items() if len(data) >= 60)
    foretold, bad = Foretold(), {}
    raw_names = saved_names(run)
    for name, lines in blocks:
        packet, data = packets[name], cut[name]
        count, fault = end_of_cut(packet, len(data))
        expected = [packet.log_line(), *foretold.lines(packet, len(data), count)]
        if fault:
            expected += [FAULT_LINES[fault], saved(fault)]
            bad[next(raw_names)] = data
        else:
            expected.append(parsed(count))
        assert lines == [*expected, moved(name)], f"lines of {name}"
    assert next(raw_names, None) is None
    assert saved_files(site) == bad
    assert_sources(site, cut, {name for name, _ in blocks})
    found = {f"MSG/{path.name}": path.read_bytes() for path in site.path("MSG").iterdir()}
    del found["MSG/BADAREAS.LST"]
    assert found == message_files(*foretold.bases)


@pytest.mark.parametrize("place", range(8))
def test_a_packet_with_each_bit_flipped_leaves_a_whole_message_base_and_no_lock(site, place):
    """Bit `place` of every byte, each in a packet of its own."""
    sources = {}
    for bit in range(place, 8 * len(packet_of(0).pack()), 8):
        sources[f"{bit}.pkt"] = flip(packet_of(bit).pack(), bit)
        site.inbound(f"{bit}.pkt", sources[f"{bit}.pkt"])
    site.conferences(*CONFERENCES)

    run = site.toss()

    assert run.stderr == ""
    assert run.head() == head(3)
    blocks = run.blocks()
    assert set(blocks) == {name for name, data in sources.items() if is_header(data)}
    processed = {name for name, lines in blocks.items() if lines[-1] == moved(name)}
    retained = set(blocks) - processed
    assert run.status == (1 if retained else 0)
    assert run.tail() == tail(len(processed), len(sources) - len(blocks))
    assert_sources(site, sources, processed)
    assert set(saved_files(site)) == set(saved_names(run))
    assert_base_holds(site, run, (1, 2, 3))
    assert not site.path(LOCK).exists()
    for name in retained:
        assert blocks[name][-2].startswith("  ERROR: could not allocate/clean message body")


def test_bits_that_are_not_read_change_nothing(site):
    """Unused header fields, and a message's destination and cost."""
    unread = [*range(10, 18), *range(24, 46), *range(54, 58)]
    unread += [HEADER_SIZE + at for at in (4, 5, 8, 9, 12, 13)]
    sources = {bit: flip(packet_of(bit).pack(), bit) for byte in unread for bit in range(8 * byte, 8 * byte + 8)}
    for bit, data in sources.items():
        site.inbound(f"{bit}.pkt", data)
    site.conferences(*CONFERENCES)

    run = site.toss()

    assert run.status == 0
    foretold = Foretold()
    for name, lines in run.blocks_in_order():
        bit = int(Path(name).stem)
        packet = packet_of(bit)
        assert lines == [packet.log_line(), *foretold.lines(packet, bit, 5), parsed(5), moved(name)]
    assert run.tail() == tail(len(sources))
    for path, content in message_files(*foretold.bases).items():
        assert site.read(path) == content

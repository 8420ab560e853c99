"""Packets: which headers are valid, which fields are shown and used, and the walk from message to message."""

import pytest

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import body_lines
from formats.packet import CLOSING_WORD, PackedMessage, Packet, echomail, netmail
from harness.cases import Cases
from harness.compare import moved, parsed


def test_header_limits_are_accepted_and_their_neighbours_are_left_alone_as_unrelated(site):
    cases = Cases(site)
    cases.conference()
    limits = {
        "packet_type": ([2], [0, 1, 3, 0x0102, 0x0200, 65535]),
        "year": ([1990, 1991, 2099, 2100], [0, 25, 1989, 2101, 65535]),
        "month": ([0, 1, 10, 11], [12, 13, 256, 65535]),
        "day": ([1, 2, 30, 31], [0, 32, 257, 65535]),
    }
    for field, (accepted, refused) in limits.items():
        for value in accepted:
            cases.packet(f"{field}-{value}.pkt", Packet(**{field: value}))
        for value in refused:
            cases.unrelated(f"{field}-{value}.pkt", Packet(**{field: value}).pack())
    cases.toss()


def test_sixty_bytes_are_an_empty_packet_and_fewer_are_none(site):
    cases = Cases(site)
    cases.conference()
    empty = Packet()
    assert len(empty.pack()) == 60
    cases.file("60.pkt", empty.pack(), empty.log_line(), "  0 message(s) parsed from this packet", moved("60.pkt"))
    for length in (0, 1, 3, 4, 57, 58, 59):
        cases.unrelated(f"{length}.pkt", empty.pack()[:length])
    cases.toss()


def test_first_word_after_the_header_is_zero_or_two(site):
    cases = Cases(site)
    base = cases.conference()
    message = echomail(cases.tag(base), "Hello")
    for word in (1, 3, 4, 6, 0x0100, 0x0200, 0x0202, 0xFFFD, 0xFFFF):
        cases.unrelated(f"word-{word}.pkt", Packet(closing=word.to_bytes(2, "little")).pack())
        message.message_type = word
        cases.unrelated(f"message-{word}.pkt", Packet([message]).pack())
    message.message_type = 2
    cases.packet("two.pkt", Packet([message]), base.store(message, body_lines("Hello")))
    cases.toss()


def test_month_is_shown_counted_from_one(site):
    cases = Cases(site)
    cases.conference()
    packet = Packet(
        year=2025,
        month=0,
        day=5,
        orig_zone=2,
        orig_net=250,
        orig_node=7,
        orig_point=9,
        dest_zone=1,
        dest_net=123,
        dest_node=456,
        dest_point=8,
    )
    cases.file(
        "a.pkt",
        packet.pack(),
        "  packet: orig 2:250/7.9 -> dest 1:123/456.8  (month field is 0-based; 2025-01-05)",
        "  0 message(s) parsed from this packet",
        moved("a.pkt"),
    )
    cases.toss()


def test_fields_that_are_not_read_may_have_any_value(site):
    cases = Cases(site)
    cases.conference()
    fields = ("hour", "minute", "second", "baud", "q_orig_zone", "q_dest_zone", "aux_net", "cap_word_copy", "cap_word")
    for value in (0, 65535):
        packet = Packet(**{field: value for field in fields})
        packet.product_lo = packet.product_hi = packet.revision_major = packet.revision_minor = value & 255
        packet.password = bytes([value & 255]) * 8
        packet.product_data = bytes([value & 255]) * 4
        cases.packet(f"{value}.pkt", packet)
    cases.toss()


def test_zones_are_those_at_46_and_48_and_never_the_older_ones(site):
    cases = Cases(site)
    cases.conference()
    zoneless = Packet(q_orig_zone=2, q_dest_zone=3, orig_zone=0, dest_zone=0)
    line = "  packet: orig 0:250/1.5 -> dest 0:251/2.6  (month field is 0-based; 2025-01-05)"
    cases.file("zero.pkt", zoneless.pack(), line, parsed(0), moved("zero.pkt"))
    zoned = Packet(q_orig_zone=0, q_dest_zone=0, orig_zone=2, dest_zone=3)
    line = "  packet: orig 2:250/1.5 -> dest 3:251/2.6  (month field is 0-based; 2025-01-05)"
    cases.file("zoned.pkt", zoned.pack(), line, parsed(0), moved("zoned.pkt"))
    cases.toss()


def test_addresses_are_shown_without_sign_and_another_destination_is_tossed_all_the_same(site):
    cases = Cases(site)
    base = cases.conference()
    message = echomail(cases.tag(base), "Hello", dest_net=65535, dest_node=65535, cost=65535)
    address = ("zone", "net", "node", "point")
    packet = Packet([message], **{f"{end}_{part}": 65535 for end in ("orig", "dest") for part in address})
    assert packet.log_line().startswith("  packet: orig 65535:65535/65535.65535 -> dest 65535:65535/65535.65535  ")
    cases.packet("a.pkt", packet, base.store(message, body_lines("Hello")))
    cases.toss()


def test_messages_are_walked_in_their_order_across_conferences(site):
    cases = Cases(site)
    bases = [cases.conference() for _ in range(3)]
    messages, lines = [], []
    for number in range(1, 31):
        base = bases[number * number % 3]
        message = echomail(cases.tag(base), f"Text {number}", subject=f"Subject {number}", orig_net=number)
        messages.append(message)
        lines.append(base.store(message, body_lines(f"Text {number}")))
    cases.packet("a.pkt", Packet(messages), *lines)
    cases.toss()


@pytest.mark.parametrize("end", [b"", b"\0", b"\2", b"\xff"], ids=["nothing", "nul", "two", "ff"])
def test_a_packet_without_its_closing_word_or_with_one_stray_byte_is_complete(site, end):
    cases = Cases(site)
    base = cases.conference()
    message = echomail(cases.tag(base), "Hello")
    packet = Packet([message, message], closing=end)
    wrote = [base.store(message, body_lines("Hello")) for _ in range(2)]
    cases.packet("a.pkt", packet, *wrote)
    cases.toss()


def test_what_follows_the_closing_word_is_not_read(site):
    cases = Cases(site)
    base = cases.conference()
    message = echomail(cases.tag(base), "Hello")
    packet = Packet([message], closing=CLOSING_WORD + b"\1\1" + message.pack())
    cases.packet("a.pkt", packet, base.store(message, body_lines("Hello")))
    cases.toss()


def test_names_are_kept_to_63_bytes_and_subjects_to_127(site):
    cases = Cases(site)
    base = cases.conference()
    messages, lines = [], []
    for name, subject in ((0, 0), (1, 1), (63, 127), (64, 128), (65, 129), (100, 200), (3000, 3000)):
        message = echomail(
            cases.tag(base),
            "Hello",
            sender=_counted("from", name),
            to=_counted("to", name),
            subject=_counted("subject", subject),
        )
        messages.append(message)
        lines.append(base.store(message, body_lines("Hello")))
    assert f"From='{_counted('from', 63)}' To='{_counted('to', 63)}'" in lines[3]
    assert f" Subj='{_counted('subject', 127)}' " in lines[3]
    cases.packet("a.pkt", Packet(messages), *lines)
    cases.toss()


def _counted(word: str, length: int) -> str:
    """A text of that length in which every byte shows its position."""
    return "".join(f"{word}{at}." for at in range(length))[:length]


def test_date_text_is_kept_to_63_bytes(site):
    """Blanks before a date are skipped, so that a date can be at the very end, where its last digit may be cut."""
    cases = Cases(site)
    base = cases.conference()
    date = "05 Jan 25  00:07:5"
    whole = echomail(cases.tag(base), "Hello", date=date.rjust(63))
    cut = echomail(cases.tag(base), "Hello", date=date.rjust(64))
    lines = [
        base.store(whole, body_lines("Hello"), date="01/05/25 12:07am"),
        base.store(cut, body_lines("Hello"), date=" " * 17),
    ]
    cases.packet("a.pkt", Packet([whole, cut]), *lines)
    cases.toss()


def test_an_empty_message_is_stored_with_empty_fields(site):
    cases = Cases(site)
    base = cases.conference(netmail_conference())
    message = PackedMessage(text=b"", sender="", to="", subject="", date="")
    cases.packet("a.pkt", Packet([message]), base.store(message, b"", date="", netmail=1))
    cases.toss()
    assert site.read("MSG/CVMSG01.IDX")[:8] == bytes(8)


def test_bit_0_of_the_attribute_is_private_and_no_other_bit_matters(site):
    cases = Cases(site)
    base = cases.conference()
    messages, lines = [], []
    for attribute in (0, 1, 0xFFFE, 0xFFFF, *(1 << bit for bit in range(1, 16))):
        message = echomail(cases.tag(base), "Hello", attribute=attribute)
        messages.append(message)
        lines.append(base.store(message, body_lines("Hello")))
    assert [record.private for record in base.ptr] == [0, 1, 0, 1] + [0] * 15
    cases.packet("a.pkt", Packet(messages), *lines)
    cases.toss()


def test_origin_is_net_and_node_without_sign(site):
    cases = Cases(site)
    base = cases.conference()
    messages, lines = [], []
    for net, node in ((0, 0), (1, 65535), (32768, 32767), (65535, 65535)):
        message = echomail(cases.tag(base), "Hello", orig_net=net, orig_node=node)
        messages.append(message)
        lines.append(base.store(message, body_lines("Hello")))
    assert [record.origin for record in base.ptr] == ["0/0", "1/65535", "32768/32767", "65535/65535"]
    cases.packet("a.pkt", Packet(messages), *lines)
    cases.toss()


def test_nothing_carries_over_from_one_message_to_the_next(site):
    cases = Cases(site)
    private = cases.conference(netmail_conference())
    area = cases.conference(echo("AREA"))
    first = echomail("AREA", b"\x01CHRS: UTF-8 4", b"\xc3\xa9", msgid="1:2/3 one", attribute=1, sender="A" * 63)
    reply = netmail(b"\xc3\xa9", msgid="1:2/3 two", reply="1:2/3 one", sender="B")
    bare = netmail(b"\xc3\xa9", sender="C", subject="")
    not_found = (
        "  msg 2: reply to MSGID 1:2/3 one, but parent not found locally in conf 1"
        " -- storing as non-threaded (safe fallback)"
    )
    lines = [
        area.store(first, body_lines(b"\x82"), msgid="1:2/3 one"),
        not_found,
        private.store(reply, body_lines(b"\xc3\xa9"), msgid="1:2/3 two", netmail=1),
        private.store(bare, body_lines(b"\xc3\xa9"), netmail=1),
    ]
    cases.packet("a.pkt", Packet([first, reply, bare]), *lines)
    cases.toss()

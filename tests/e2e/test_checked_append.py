"""The checked append: what is written for one message, and when the message base is full."""

import struct
import zlib

from formats.conference_table import Conference, echo
from formats.message_base import DAT_LIMIT, DAT_SIZE, body_lines
from formats.packet import PackedMessage, Packet, echomail
from formats.text import raw
from harness.cases import Cases
from harness.compare import not_appended
from harness.one_packet import OnePacket

TOO_FAR = "ERROR: conf {} append would exceed Corvane's 16-bit DAT address range; refusing to append"
NO_NUMBER = "ERROR: conf {} has reached the signed 32-bit MsgNumber limit"
LAST_NUMBER = 2147483647


def sized(tag: str, size: int) -> tuple[PackedMessage, bytes]:
    """A message whose body has `size` bytes, and that body; no part of it is repeated."""
    body = b"".join(b"%07d\x01" % at for at in range(0, size, 8))[: max(size - 1, 0)] + b"\x01" * min(size, 1)
    return PackedMessage(text=b"AREA:" + raw(tag) + b"\r" + body.replace(b"\x01", b"\r")), body


def test_a_new_conference_starts_with_number_1_at_record_0_and_gets_its_four_files(site):
    packet = OnePacket(site)
    base = packet.conference()
    message = echomail("CASE1", "Hi", msgid="1:2/3 x")
    packet.add(message, base.store(message, body_lines("Hi"), msgid="1:2/3 x"))
    packet.toss()
    names = sorted(path.name for path in site.path("MSG").iterdir())
    assert names == ["CVMSG01.DAT", "CVMSG01.IDX", "CVMSG01.PTR", "CVMSG01.SIG"]
    assert struct.unpack_from("<HHHii", site.read("MSG/CVMSG01.PTR"), 160) == (0, 1, 1, 1, 1)


def test_a_body_fills_records_of_127_bytes_and_an_empty_one_takes_one_record(site):
    packet = OnePacket(site)
    records = {0: 1, 1: 1, 126: 1, 127: 1, 128: 2, 253: 2, 254: 2, 255: 3, 381: 3, 382: 4, 127 * 100: 100}
    bases = {}
    for size in records:
        bases[size] = packet.conference()
        message, body = sized(packet.tag(bases[size]), size)
        assert len(body) == size
        packet.add(message, bases[size].store(message, body))
    packet.toss()
    for size, count in records.items():
        dat = site.read(f"MSG/{bases[size].name('DAT')}")
        lengths = [127] * (count - 1) + [size - 127 * (count - 1)]
        assert list(dat[::DAT_SIZE]) == lengths
        assert dat[len(dat) - 127 + lengths[-1] :] == bytes(127 - lengths[-1])


def test_messages_follow_one_another_in_all_four_files(site):
    packet = OnePacket(site)
    base = packet.conference()
    base.add(b"x" * 300, sender="Local", sent=0)
    base.add(b"", deleted=1, where=60000, records=0)
    base.add_sig("1:2/3 old", 1, b"\r\n")
    site.put(base)
    for size in (200, 0, 127, 1000, 1):
        message, body = sized("CASE1", size)
        message.text = message.text.replace(b"\r", b"\r\x01MSGID: 1:2/3 %d\r" % size, 1)
        packet.add(message, base.store(message, body, msgid=f"1:2/3 {size}"))
    packet.toss()


def test_a_short_index_gets_its_record_behind_those_it_has(site):
    packet = OnePacket(site)
    base = packet.conference()
    for _ in range(3):
        base.add(b"x")
    del base.idx[1:]
    site.put(base)
    for _ in range(2):
        message = echomail("CASE1", "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()
    assert len(site.read("MSG/CVMSG01.IDX")) == 3 * 16


def test_a_name_of_40_characters_is_cut_in_the_header_only(site):
    packet = OnePacket(site)
    base = packet.conference()
    sender, to, subject = ("0123456789abcdefghij" * 2, "ZYXWVUTSRQponmlkjihg" * 2, "-" * 40 + "+" * 20)
    message = echomail("CASE1", "Hi", sender=sender, to=to, subject=subject)
    wrote = f"  -> wrote conf 1 msg #1  From='{sender}' To='{to}' Subj='{subject}' (1 records)"
    base.store(message, body_lines("Hi"))
    packet.add(message, wrote)
    packet.toss()
    ptr, idx = site.read("MSG/CVMSG01.PTR"), site.read("MSG/CVMSG01.IDX")
    assert ptr[18:49] == b"\x1e" + raw(sender[:30])
    assert ptr[49:80] == ptr[80:111] == b"\x1e" + raw(to[:30])
    assert ptr[111:152] == b"\x28" + b"-" * 40
    assert struct.unpack_from("<II", idx) == (zlib.crc32(raw(sender)), zlib.crc32(raw(to)))


def test_names_at_the_width_of_their_fields_and_around_it(site):
    packet = OnePacket(site)
    base = packet.conference()
    for name, subject in ((29, 39), (30, 40), (31, 41)):
        names = {"sender": "s" * name, "to": "t" * name, "subject": "u" * subject}
        message = echomail("CASE1", "Hi", **names)
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_case_and_blanks_of_a_name_count_in_its_checksum(site):
    packet = OnePacket(site)
    base = packet.conference()
    for name in ("ann", "Ann", "ANN", " Ann", "Ann ", "\xc4nn"):
        message = echomail("CASE1", "Hi", sender=name, to=name)
        packet.add(message, base.store(message, body_lines("Hi")))
    assert len(set(base.idx)) == 6
    packet.toss()


def test_a_dat_file_takes_records_up_to_65536_and_not_one_more(site):
    cases = Cases(site)
    taken_records = [(65534, 1), (65534, 2), (65535, 1)]
    refused_records = [(65534, 3), (65535, 2), (65536, 1)]
    for number, (standing, records) in enumerate(taken_records + refused_records):
        base = cases.conference()
        base.add(records=min(standing, 65535))
        base.idx.clear()
        base.dat = bytes(DAT_SIZE) * standing
        site.put(base)
        message, body = sized(cases.tag(base), 127 * records)
        packet = Packet([message])
        if number < len(taken_records):
            cases.packet(f"{number}.pkt", packet, base.store(message, body))
        else:
            lines = (TOO_FAR.format(base.conference), not_appended(1), "  1 message(s) parsed from this packet")
            cases.retained(f"{number}.pkt", packet, *lines)
    cases.toss(status=1)
    assert len(site.read("MSG/CVMSG03.DAT")) == DAT_LIMIT * DAT_SIZE


def test_a_message_of_65535_records_is_taken_and_one_of_65536_is_not(site):
    cases = Cases(site)
    base, other = cases.conference(), cases.conference()
    message, body = sized(cases.tag(base), 127 * 65535)
    cases.packet("limit.pkt", Packet([message]), base.store(message, body))
    message, _ = sized(cases.tag(other), 127 * 65535 + 1)
    lines = (TOO_FAR.format(2), not_appended(1), "  1 message(s) parsed from this packet")
    cases.retained("over.pkt", Packet([message]), *lines)
    cases.toss(status=1)


def test_the_highest_number_is_followed_by_the_last_and_then_by_none(site):
    cases = Cases(site)
    base, other = cases.conference(), cases.conference()
    base.add(b"x", number=LAST_NUMBER - 1)
    site.put(base)
    messages = [echomail("CASE1", str(number), msgid=f"1:2/3 {number}") for number in range(3)]
    messages.append(echomail("CASE2", "Hi"))
    lines = [base.store(messages[0], body_lines("0"), msgid="1:2/3 0")]
    for number in (2, 3):
        lines += [NO_NUMBER.format(1), not_appended(number)]
    lines.append(other.store(messages[3], body_lines("Hi")))
    assert base.ptr[-1].number == LAST_NUMBER
    cases.retained("a.pkt", Packet(messages), *lines, "  4 message(s) parsed from this packet")
    cases.toss(status=1)


def test_the_next_number_is_one_more_than_the_highest_of_all_headers(site):
    packet = OnePacket(site)
    for numbers, deleted in (([5, 900, 7], [0, 1, 0]), ([-5, -900], [0, 0]), ([0], [0]), ([-2147483648, 3], [1, 1])):
        base = packet.conference()
        for number, gone in zip(numbers, deleted):
            base.add(b"x", number=number, deleted=gone)
        site.put(base)
        message = echomail(packet.tag(base), "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    assert [base.ptr[-1].number for base in packet.cases.bases] == [901, 1, 1, 4]
    packet.toss()


def test_conference_numbers_of_100_and_more_take_three_digits(site):
    packet = OnePacket(site)
    bases = {}
    for number in range(1, 201):
        routed = number in (9, 10, 99, 100, 101, 200)
        base = packet.conference(echo(f"CASE{number}") if routed else Conference())
        if routed:
            bases[number] = base
    for number, base in bases.items():
        message = echomail(packet.tag(base), "Hi", msgid="1:2/3 x")
        packet.add(message, base.store(message, body_lines("Hi"), msgid="1:2/3 x"))
    packet.toss()
    names = {path.name for path in site.path("MSG").iterdir()}
    numbers, kinds = ("09", "10", "99", "100", "101", "200"), ("PTR", "IDX", "DAT", "SIG")
    assert names == {f"CVMSG{number}.{kind}" for number in numbers for kind in kinds}
    assert site.read("MSG/CVMSG200.PTR")[164:166] == b"\xc8\x00"


def test_line_feeds_carriage_returns_and_end_of_file_bytes_in_records_are_stored_as_they_are(site):
    """Conferences, numbers, positions, counts, lengths and texts of the bytes that a text mode would change."""
    packet = OnePacket(site)
    values = (0x0A, 0x0D, 0x1A, 0x0A0D, 0x0D0A, 0x1A1A)
    for conference in range(1, 27):
        value = values[conference % len(values)]
        base = packet.conference()
        base.add(b"\n\r\x1a" * 42 * value, number=value - 1, records=value)
        base.dat = base.dat[: value * DAT_SIZE].ljust(value * DAT_SIZE, b"\x1a")
        base.add_sig("1:2/3 parent", value, b"\r\n")
        site.put(base)
        lines = [b"\x1a" * 126] * value
        first = echomail(packet.tag(base), *lines, orig_net=0x0A0D, orig_node=0x1A1A)
        packet.add(first, base.store(first, body_lines(*lines)))
        assert (base.ptr[-1].number, base.ptr[-1].where, base.ptr[-1].records) == (value, value, value)
        short = b"\x1a" * (value % 256 - 1)
        reply = echomail(packet.tag(base), short, reply="1:2/3 parent", msgid="\x1a")
        packet.add(reply, base.store(reply, body_lines(short), msgid="\x1a", parent=value))
    packet.toss()

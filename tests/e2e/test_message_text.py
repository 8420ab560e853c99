"""Message text: what ends a line, which lines are kept, and the area line."""

import pytest

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import body_lines
from formats.packet import PackedMessage, Packet, netmail, text_lines
from formats.text import Text, raw
from harness.cases import Cases
from harness.compare import REFUSED, bad_areas
from harness.one_packet import OnePacket


def in_area(text: Text) -> PackedMessage:
    """A message for CASE1 whose text goes on with these bytes; CR LF ends the area line, whatever follows it."""
    return PackedMessage(text=b"AREA:CASE1\r\n" + raw(text))


def assert_bodies(site, rows: list[tuple[Text, bytes]]) -> None:
    """Tosses texts for CASE1, each with the body that is to be stored of it."""
    packet = OnePacket(site)
    base = packet.conference()
    for text, body in rows:
        message = in_area(text)
        packet.add(message, base.store(message, body))
    packet.toss()


def test_cr_lf_and_either_pair_of_them_end_one_line(site):
    two = b"a\x01b\x01"
    rows = [(b"a" + end + b"b" + last, two) for end in (b"\r", b"\n", b"\r\n", b"\n\r") for last in (b"", end)]
    assert_bodies(site, rows)


def test_the_same_end_twice_ends_two_lines_the_second_empty(site):
    assert_bodies(
        site,
        [
            (b"a\r\rb", b"a\x01\x01b\x01"),
            (b"a\n\nb", b"a\x01\x01b\x01"),
            (b"a\r\n\r\nb", b"a\x01\x01b\x01"),
            (b"a\n\r\n\rb", b"a\x01\x01b\x01"),
            (b"a\r\n\rb", b"a\x01\x01b\x01"),
            (b"a\r\n\nb", b"a\x01\x01b\x01"),
            (b"a\n\r\rb", b"a\x01\x01b\x01"),
            (b"a\r\r\nb", b"a\x01\x01b\x01"),
            (b"a\r\r\rb", b"a\x01\x01\x01b\x01"),
            (b"a\n\n\r\rb", b"a\x01\x01\x01b\x01"),
        ],
    )


def test_an_end_at_the_end_of_the_text_opens_no_further_line(site):
    rows = [(b"", b""), (b"a", b"a\x01")]
    rows += [(end, b"\x01") for end in (b"\r", b"\n", b"\r\n", b"\n\r")]
    rows += [(end + end, b"\x01\x01") for end in (b"\r", b"\n", b"\r\n", b"\n\r")]
    assert_bodies(site, rows)


def test_a_text_of_an_area_line_alone_has_an_empty_body(site):
    packet = OnePacket(site)
    base = packet.conference()
    for text in (b"AREA:CASE1", b"AREA:CASE1\r", b"AREA:CASE1\n", b"AREA:CASE1\r\n", b"AREA:CASE1\n\r"):
        message = PackedMessage(text=text)
        packet.add(message, base.store(message, b""))
    packet.toss()


def test_tag_kludge_body_empty_line_and_unended_line_in_one_text(site):
    packet = OnePacket(site)
    base = packet.conference(echo("FIDO_TECH"))
    message = PackedMessage(text=b"AREA:  Fido_Tech \r\x01MSGID: 1:2/3 abcd\rHello\r\rBye")
    packet.add(message, base.store(message, b"Hello\x01\x01Bye\x01", msgid="1:2/3 abcd"))
    packet.toss()


def test_every_byte_but_nul_and_the_line_ends_is_stored_as_it_is(site):
    every = bytes(byte for byte in range(2, 256) if byte not in b"\r\n")
    assert_bodies(site, [(every, every + b"\x01"), (b"a" + every[::-1], b"a" + every[::-1] + b"\x01")])


def test_a_line_that_begins_with_byte_1_is_never_stored(site):
    kludges = [b"", b"\x01", b"PID: x", b"PATH: 1/2", b"TZUTC: 0100", b" MSGID: x", b"MSGID", b"MSGID x", b"AREA:X"]
    lines = [b"before", *(b"\x01" + kludge for kludge in kludges), b"after"]
    assert_bodies(site, [(text_lines(*lines), body_lines("before", "after")), (b"\x01\r\x01", b"")])


def test_byte_1_elsewhere_in_a_line_is_text(site):
    assert_bodies(site, [(b" \x01MSGID: 1:2/3 x\rb\x01", b" \x01MSGID: 1:2/3 x\x01b\x01\x01")])


def test_seen_by_and_path_lines_are_dropped_in_any_case_at_the_first_column_only(site):
    dropped = ["SEEN-BY:", "SEEN-BY: 1/2 3", "seen-by: 1/2", "Seen-By:x", "PATH:", "PATH: 1/2", "path:", "Path:1/2"]
    kept = [
        *("SEEN-BY", "SEEN-BY 1/2", "SEEN-BY : 1/2", " seen-by: 1/2", "\tSEEN-BY:", "SEEN-BYE:", "SEEN_BY: 1"),
        *("PATH", "PATH 1/2", "PATH :", " PATH: 1/2", "\tpath:", "PATHS:", "XPATH:", "XSEEN-BY:", "P"),
    ]
    assert_bodies(site, [(text_lines(*dropped), b""), (text_lines(*dropped, *kept, *dropped), body_lines(*kept))])


def test_tear_line_origin_line_and_empty_lines_are_kept(site):
    lines = ["Hi", "", "--- Mailer 1.0", " * Origin: Here (1:2/3)", "", "... a tagline"]
    assert_bodies(site, [(text_lines(*lines), body_lines(*lines))])


def test_seen_by_and_path_lines_are_dropped_even_as_the_first_line(site):
    packet = OnePacket(site)
    base = packet.conference(netmail_conference())
    for first in ("SEEN-BY: 1/2", "PATH: 1/2"):
        message = netmail(first, "Hi")
        packet.add(message, base.store(message, body_lines("Hi"), netmail=1))
    packet.toss()


def test_the_area_line_counts_as_the_first_line_only(site):
    packet = OnePacket(site)
    private = packet.conference(netmail_conference())
    base = packet.conference()
    for first, kept in (("\x01PID: x", []), ("", [""]), ("Hi", ["Hi"]), ("SEEN-BY: 1", []), (" AREA:X", [" AREA:X"])):
        message = netmail(first, "AREA:X", "area:case2")
        packet.add(message, private.store(message, body_lines(*kept, "AREA:X", "area:case2"), netmail=1))
    message = netmail("AREA:CASE2", "AREA:CASE1", "AREA:", "AREA:A B")
    packet.add(message, base.store(message, body_lines("AREA:CASE1", "AREA:", "AREA:A B")))
    packet.toss()


def test_a_first_line_that_falls_short_of_the_area_word_is_text(site):
    packet = OnePacket(site)
    private = packet.conference(netmail_conference())
    for first in ("AREA", "ARE", "AREA CASE1", "AREA :CASE1", "AREAS:CASE1", "XAREA:CASE1"):
        message = netmail(first)
        packet.add(message, private.store(message, body_lines(first), netmail=1))
    packet.toss()


def test_area_word_in_any_case_and_blanks_around_the_tag(site):
    packet = OnePacket(site)
    base = packet.conference()
    words = ["AREA:CASE1", "area:CASE1", "Area:case1", "aReA:Case1", "AREA: CASE1", "AREA:" + " " * 500 + "CASE1"]
    words += ["AREA:CASE1 ", "AREA:CASE1\t", "AREA:CASE1" + " \t" * 300, "AREA:  CASE1\t \t"]
    for word in words:
        message = netmail(word, "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


UNKNOWN = "A" * 31


@pytest.mark.parametrize(
    "tag",
    ["!", "**", "*X", UNKNOWN, "\x80", "Caf\xe9", "\xff" * 31, '"quoted"', "%s%n", "a\\b/c"],
    ids=["!", "two stars", "star X", "31 bytes", "0x80", "0xE9", "31 of 0xFF", "quotes", "percent", "slashes"],
)
def test_a_well_formed_tag_is_taken_as_received(site, tag):
    packet = OnePacket(site)
    base = packet.conference(echo("*"))
    message = netmail("AREA:" + tag, "Hi")
    parked = f"  msg 1: AREA:{tag} has no matching conference -- parked in catch-all conf 1 (see BADAREAS.LST)"
    packet.add(message, parked, base.store(message, body_lines("Hi")))
    packet.toss(changes={"MSG/BADAREAS.LST": bad_areas(tag)})


def test_a_tag_that_is_empty_malformed_or_too_long_refuses_the_message(site):
    cases = Cases(site)
    cases.conference()
    # A leading tab is no blank, but where nothing else is left it is a trailing one.
    tags = {b"": b"", b"   ": b"", b" \t ": b"", b"\tCASE1": b"\tCASE1", b"A" * 32 + b" ": b"A" * 32}
    for tag in (b"FOO BAR", b"A:B", b":", b"*:", b"* *", b"A\tB", b"A\x7f", b"\x01A", b"A\x1fB", b"A\x0bB", b"B" * 33):
        tags[tag] = tag
    for number, (received, shown) in enumerate(tags.items()):
        line = "ERROR: inbound AREA tag is empty, malformed, or too long: '" + shown.decode("latin-1") + "'"
        cases.retained(f"{number}.pkt", Packet([netmail(b"AREA:" + received, "Hi")]), line, REFUSED)
    cases.toss(status=1)


def test_the_line_about_a_tag_is_cut_like_every_line(site):
    cases = Cases(site)
    cases.conference()
    line = "ERROR: inbound AREA tag is empty, malformed, or too long: '" + "A" * 2000 + "'"
    cases.retained("a.pkt", Packet([netmail("AREA:" + "A" * 2000)]), line[:1023], REFUSED)
    cases.toss(status=1)


def test_the_star_is_a_tag_with_blanks_around_it_too(site):
    packet = OnePacket(site)
    base = packet.conference(echo("*"))
    for word in ("AREA:*", "AREA:  * \t"):
        message = netmail(word, "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_lines_of_65536_bytes_are_kept_and_longer_ones_refuse_the_message(site):
    cases = Cases(site)
    texts = {"body": b"x", "kludge": b"\x01PID", "seen-by": b"SEEN-BY: "}
    for name, start in texts.items():
        for end in (b"", b"\r", b"\n", b"\r\n"):
            base = cases.conference()
            tag = raw("AREA:" + cases.tag(base) + "\r")
            limit = start.ljust(65536, b"y")
            message = PackedMessage(text=tag + limit + end)
            body = body_lines(limit) if name == "body" else b""
            cases.packet(f"{name}-{end.hex()}.pkt", Packet([message]), base.store(message, body))
            over = PackedMessage(text=tag + limit + b"y" + end)
            line = "ERROR: inbound logical line is 65537 bytes; safety limit is 65536"
            cases.retained(f"{name}-{end.hex()}-over.pkt", Packet([over]), line, REFUSED)
    cases.toss(status=1)


def test_the_length_of_a_line_is_tested_before_its_tag(site):
    cases = Cases(site)
    cases.conference()
    line = "ERROR: inbound logical line is 65537 bytes; safety limit is 65536"
    cases.retained("over.pkt", Packet([netmail("AREA:" + "A" * 65532)]), line, REFUSED)
    line = "ERROR: inbound AREA tag is empty, malformed, or too long: '" + "A" * 2000
    cases.retained("limit.pkt", Packet([netmail("AREA:" + "A" * 65531)]), line[:1023], REFUSED)
    cases.retained(
        "long.pkt",
        Packet([netmail("Hi", "x" * 1000000, "", "x" * 70000)]),
        "ERROR: inbound logical line is 1000000 bytes; safety limit is 65536",
        REFUSED,
    )
    cases.toss(status=1)


def test_a_text_of_many_lines_has_no_limit_as_a_whole(site):
    lines = [f"{number:06d}".ljust(79, ".") for number in range(30000)]
    assert_bodies(site, [(text_lines(*lines), body_lines(*lines))])

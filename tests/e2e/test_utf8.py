"""UTF-8 bodies: when they are converted to code page 437, and to what."""

import pytest

from formats.message_base import body_lines
from formats.packet import netmail, text_lines
from harness.one_packet import OnePacket

# All the letters beyond ASCII that are converted; every other one becomes a question mark.
LETTERS = {
    0xA1: 0xAD,
    0xBF: 0xA8,
    0xC4: 0x8E,
    0xC5: 0x8F,
    0xC7: 0x80,
    0xC9: 0x90,
    0xD1: 0xA5,
    0xD6: 0x99,
    0xDC: 0x9A,
    0xE0: 0x85,
    0xE2: 0x83,
    0xE4: 0x84,
    0xE5: 0x86,
    0xE7: 0x87,
    0xE8: 0x8A,
    0xE9: 0x82,
    0xEA: 0x88,
    0xEB: 0x89,
    0xEC: 0x8D,
    0xEE: 0x8C,
    0xEF: 0x8B,
    0xF1: 0xA4,
    0xF2: 0x95,
    0xF4: 0x93,
    0xF6: 0x94,
    0xF9: 0x97,
    0xFB: 0x96,
    0xFC: 0x81,
    0xFF: 0x98,
}
SIGNS = {
    0x2013: b"-",
    0x2014: b"-",
    0x2018: b"'",
    0x2019: b"'",
    0x201C: b'"',
    0x201D: b'"',
    0x2026: b".",
}


def assert_converted(site, lines: list[tuple[bytes, bytes]], chrs: str | None = "UTF-8 4") -> None:
    """Tosses one message with those lines, each with what is to be stored of it."""
    assert_all_converted(site, [(chrs, lines)])


def assert_all_converted(site, texts: list[tuple[str | None, list[tuple[bytes, bytes]]]]) -> None:
    packet = OnePacket(site)
    base = packet.conference()
    for chrs, lines in texts:
        kludges = [] if chrs is None else ["\x01CHRS:" + chrs]
        message = netmail("AREA:CASE1", *kludges, *(line for line, _ in lines))
        packet.add(message, base.store(message, body_lines(*(stored for _, stored in lines))))
    packet.toss()


def utf8(code_point: int) -> bytes:
    return chr(code_point).encode("utf-8", "surrogatepass")


def test_letters_of_latin_1_that_are_in_the_table_and_only_those_are_converted(site):
    assert len(LETTERS) == 29
    lines = [(utf8(letter), bytes([LETTERS.get(letter, ord("?"))])) for letter in range(0xA1, 0x100)]
    assert_converted(site, lines)


def test_letters_that_code_page_437_has_but_the_table_has_not_become_question_marks(site):
    pound, sharp_s, degree, a_acute = 0xA3, 0xDF, 0xB0, 0xE1
    assert_converted(site, [(b"<" + utf8(letter) + b">", b"<?>") for letter in (pound, sharp_s, degree, a_acute)])


def test_dashes_quotes_and_the_ellipsis_become_ascii_and_their_neighbours_question_marks(site):
    lines = [(utf8(sign), SIGNS.get(sign, b"?")) for sign in range(0x2000, 0x2070)]
    assert_converted(site, [*lines, (b"\xe2\x80\xa6", b".")])


def test_every_other_code_point_becomes_one_question_mark(site):
    rest = [*range(0x80, 0xA1), *range(0x100, 0x180), 0x3B1, 0x7FF, 0x800, 0x20AC, 0x2500, 0xFEFF, 0xFFFD, 0xFFFF]
    rest += [0xD800, 0xDFFF, 0x10000, 0x1F600, 0x10FFFF]
    lines = [(utf8(code_point), b"?") for code_point in rest]
    lines += [(b"\xf0\x9f\x98\x80", b"?"), (b"\xf4\x90\x80\x80", b"?"), (b"\xf7\xbf\xbf\xbf", b"?")]
    assert_converted(site, lines)


def test_ascii_stays_as_it_is(site):
    ascii_bytes = bytes(byte for byte in range(2, 128) if byte not in b"\r\n")
    assert_converted(site, [(ascii_bytes, ascii_bytes), (b"x\x01y", b"x\x01y"), (b"", b"")])


def test_bytes_that_lead_nothing_become_a_question_mark_each(site):
    leads = [*range(0x80, 0xC0), *range(0xF8, 0x100)]
    lines = [(bytes([byte]) + b"x", b"?x") for byte in leads]
    lines += [(bytes([byte]), b"?") for byte in leads]
    lines += [(b"\x80\x80\x80", b"???"), (b"\xff\xfe\xfd", b"???"), (b"\xf8\x88\x80\x80\x80", b"?????")]
    assert_converted(site, lines)


def test_a_broken_sequence_is_a_question_mark_and_the_walk_goes_on_at_its_next_byte(site):
    assert_converted(
        site,
        [
            (b"\xc3x", b"?x"),
            (b"\xc3\xc3\xa9", b"?\x82"),
            (b"\xe2\x80x", b"??x"),
            (b"\xe2x\x80", b"?x?"),
            (b"\xe2\xc3\xa9", b"?\x82"),
            (b"\xe2\x80\xc3\xa9", b"??\x82"),
            (b"\xe2\x80\xe2\x80\xa6", b"??."),
            (b"\xf0\x9f\x98x", b"???x"),
            (b"\xf0\x9fx\x80", b"??x?"),
            (b"\xf0x\x98\x80", b"?x??"),
            (b"\xf0\xe2\x80\x94", b"?-"),
            (b"\xc3\xff\xa9", b"???"),
            (b"\xc3\x7f\xc3\xc0\xc3\xa9", b"?\x7f??\x82"),
        ],
    )


def test_a_sequence_does_not_go_on_across_a_line_end(site):
    assert_converted(
        site,
        [
            (b"\xc3", b"?"),
            (b"\xa9", b"?"),
            (b"\xe2\x80", b"??"),
            (b"\xa6", b"?"),
            (b"\xf0\x9f\x98", b"???"),
            (b"end \xc3", b"end ?"),
        ],
    )


@pytest.mark.parametrize("tail", [b"\xc3", b"\xe2", b"\xe2\x80", b"\xf0", b"\xf0\x9f", b"\xf0\x9f\x98"])
def test_a_sequence_that_the_end_of_the_text_cuts_becomes_question_marks(site, tail):
    packet = OnePacket(site)
    base = packet.conference()
    message = netmail("AREA:CASE1", "\x01CHRS: UTF-8 4")
    message.text += b"Hi" + tail
    packet.add(message, base.store(message, b"Hi" + b"?" * len(tail) + b"\x01"))
    packet.toss()


def test_overlong_forms_are_not_rejected(site):
    assert_converted(
        site,
        [
            (b"\xc1\x81", b"A"),
            (b"\xe0\x81\x81", b"A"),
            (b"\xf0\x80\x81\x81", b"A"),
            (b"\xc1\xbf", b"\x7f"),
            (b"\xe0\x83\xa9", b"\x82"),
            (b"\xf0\x80\x83\xa9", b"\x82"),
            (b"\xf0\x82\x80\xa6", b"."),
            (b"\xc0\x8d", b"\r"),
            (b"\xe0\x80\x8a", b"\n"),
            (b"\xc0\x81", b"\x01"),
        ],
    )


def test_an_overlong_zero_writes_a_zero_byte_and_what_follows_it_is_stored(site):
    assert_converted(
        site,
        [
            (b"a\xc0\x80b", b"a\0b"),
            (b"\xe0\x80\x80", b"\0"),
            (b"\xf0\x80\x80\x80", b"\0"),
            (b"\xc0\x80" * 300, b"\0" * 300),
            (b"end", b"end"),
        ],
    )


ACUTE = [(b"\xc3\xa9", b"\x82")]
UNCHANGED = [(b"\xc3\xa9", b"\xc3\xa9")]


def test_a_chrs_value_that_begins_with_utf_8_in_any_case_converts_the_body(site):
    values = [" UTF-8 4", "UTF-8 4", " utf-8", " Utf-8 2", "     UTF-8", " UTF-8x", " UTF-8\t4"]
    values.append(" UTF-8".ljust(32, "0"))
    assert_all_converted(site, [(value, ACUTE) for value in values])


def test_any_other_chrs_value_or_none_leaves_the_body_as_it_is(site):
    values = ["", " ", " LATIN-1 2", " CP437 2", " IBMPC 2"]
    values += [" UTF8 4", " UTF 8", " UTF-", " \tUTF-8 4", " xUTF-8", " UTF_8", " 4 UTF-8"]
    assert_all_converted(site, [(None, UNCHANGED), *((value, UNCHANGED) for value in values)])


def test_the_last_chrs_counts_for_the_whole_body_wherever_it_stands(site):
    packet = OnePacket(site)
    base = packet.conference()
    for kludges, stored in (
        (["\x01CHRS: LATIN-1 2", "\x01CHRS: UTF-8 4"], b"\x82"),
        (["\x01CHRS: UTF-8 4", "\x01CHRS: LATIN-1 2"], b"\xc3\xa9"),
        (["\x01CHRS: UTF-8 4", "\x01CHRS:"], b"\xc3\xa9"),
        (["\x01CHRS: UTF-8 4", "\x01CHRS"], b"\x82"),
        (["\x01CHRS: UTF-8 4", "\x01CHARSET: LATIN-1"], b"\x82"),
    ):
        message = netmail("AREA:CASE1", b"\xc3\xa9")
        message.text += text_lines(*kludges, b"\xc3\xa9")
        packet.add(message, base.store(message, body_lines(stored, stored)))
    packet.toss()


def test_names_and_subject_are_not_converted(site):
    packet = OnePacket(site)
    base = packet.conference()
    names = {"sender": b"Ren\xc3\xa9", "to": b"\xe2\x80\x94", "subject": b"\xc3"}
    message = netmail("AREA:CASE1", "\x01CHRS: UTF-8 4", "Hi", **names)
    packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_an_identifier_is_not_converted(site):
    packet = OnePacket(site)
    base = packet.conference()
    message = netmail("AREA:CASE1", "\x01CHRS: UTF-8 4", b"\x01MSGID: 1:2/3 \xc3\xa9", "Hi")
    packet.add(message, base.store(message, body_lines("Hi"), msgid=b"1:2/3 \xc3\xa9"))
    packet.toss()


def test_a_long_body_shrinks_to_the_records_it_needs(site):
    assert_converted(site, [(b"\xc3\xa9" * 126, b"\x82" * 126)])
    assert site.message_base(1).dat_count() == 1

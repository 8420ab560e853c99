"""How a toss converts a message's text and date, and which texts it refuses; tests/unit has every form of them."""

import pytest

from formats.conference_table import echo
from formats.message_base import body_lines
from formats.packet import PackedMessage, Packet, echomail, netmail, text_lines
from harness.cases import Cases
from harness.compare import REFUSED, bad_areas
from harness.one_packet import OnePacket

LINE = 65536
TOO_LONG = "ERROR: inbound logical line is %d bytes; safety limit is 65536"
BAD_TAG = "ERROR: inbound AREA tag is empty, malformed, or too long: '%s'"
OVER_LIMIT = "ERROR: inbound %s value is too long (%d bytes; maximum %d)"


def test_area_kludges_and_routing_lines_are_taken_out_and_the_rest_is_stored(site):
    packet = OnePacket(site)
    base = packet.conference(echo("FIDO_TECH"))
    message = PackedMessage(text=b"AREA:  Fido_Tech \r\x01MSGID: 1:2/3 abcd\rHello\r\rBye")
    packet.add(message, base.store(message, b"Hello\x01\x01Bye\x01", msgid="1:2/3 abcd"))
    kept = ["Hi \x01x", "", "--- Mailer 1.0", " SEEN-BY: 1/2", " * Origin: Here (1:2/3)", "AREA:X"]
    message = netmail("area:fido_tech", "\x01PID: x", *kept, "seen-by: 1/2", "PATH: 3", "\x01PATH: 4", "\x01MSGID: ")
    packet.add(message, base.store(message, body_lines(*kept)))
    message = PackedMessage(text=b"AREA:FIDO_TECH\n" + b"a\nb\r\nc\n\rd\r\re\n\n")
    packet.add(message, base.store(message, b"a\x01b\x01c\x01d\x01\x01e\x01\x01"))
    packet.toss()


def test_a_body_in_utf_8_is_stored_in_code_page_437_and_nothing_else_is_converted(site):
    packet = OnePacket(site)
    base = packet.conference()
    names = {"sender": b"Ren\xc3\xa9", "to": b"\xe2\x80\x94", "subject": b"\xc3"}
    lines = [b"\xc3\xa9" * 126, b"\xe2\x80\xa6\xf0\x9f\x98\x80\xc2\xa3", b"a\xc0\x80b\xc3x", b"\xe2\x80"]
    message = netmail("AREA:CASE1", *lines, "\x01chrs: utf-8 4", b"\x01MSGID: 1:2/3 \xc3\xa9", **names)
    stored = body_lines(b"\x82" * 126, b".??", b"a\0b?x", b"??")
    packet.add(message, base.store(message, stored, msgid=b"1:2/3 \xc3\xa9"))
    message = netmail("AREA:CASE1", "\x01CHRS: UTF-8 4", *lines, "\x01CHRS: LATIN-1 2")
    packet.add(message, base.store(message, body_lines(*lines)))
    packet.toss()


def test_a_date_is_converted_or_its_first_17_characters_are_kept(site):
    packet = OnePacket(site)
    base = packet.conference()
    for date, stored in (
        ("05 Jan 25  00:07:59", "01/05/25 12:07am"),
        ("31 Dec 1999 23:59:60", "12/31/99 11:59pm"),
        ("5 Foo 25  10:00:00 and more", "5 Foo 25  10:00:0"),
        ("", ""),
    ):
        message = echomail("CASE1", "Hi", date=date)
        packet.add(message, base.store(message, body_lines("Hi"), date=stored))
    packet.toss()


@pytest.mark.parametrize("tag", ["**", "A" * 31, "\xff" * 31, "%s%n", "a\\b/c"])
def test_a_well_formed_tag_is_taken_as_received(site, tag):
    packet = OnePacket(site)
    base = packet.conference(echo("*"))
    message = netmail("AREA:" + tag, "Hi")
    parked = f"  msg 1: AREA:{tag} has no matching conference -- parked in catch-all conf 1 (see BADAREAS.LST)"
    packet.add(message, parked, base.store(message, body_lines("Hi")))
    packet.toss(changes={"MSG/BADAREAS.LST": bad_areas(tag)})


def test_a_text_beyond_its_limits_refuses_the_message_whatever_its_area(site):
    cases = Cases(site)
    base = cases.conference()
    longest = PackedMessage(text=text_lines("AREA:CASE1", "x" * LINE, "\x01PID".ljust(LINE), "SEEN-BY:".ljust(LINE)))
    cases.packet("longest.pkt", Packet([longest]), base.store(longest, body_lines("x" * LINE)))
    refused = {
        TOO_LONG % (LINE + 1): [["AREA:CASE1", start.ljust(LINE + 1)] for start in ("x", "\x01PID", "SEEN-BY:")],
        TOO_LONG % 1000000: [["Hi", "x" * 1000000, "x" * 70000]],
        (BAD_TAG % ("A" * 2000))[:1023]: [["AREA:".ljust(LINE, "A")]],
        OVER_LIMIT % ("MSGID", 128, 127): [["AREA:CASE1", "\x01MSGID:  " + "x" * 127 + " ", "\x01MSGID: x"]],
        OVER_LIMIT % ("REPLY", 128, 127): [["AREA:UNKNOWN", "\x01reply:" + "x" * 128]],
        OVER_LIMIT % ("CHRS", 32, 31): [["AREA:CASE1", "\x01CHRS: " + "x" * 32]],
    }
    for tag in ("", "FOO BAR", "A:B", "\tCASE1", "A\x7f", "* *", "B" * 32):
        refused[BAD_TAG % tag] = [[f"AREA: {tag} \t"]]
    for line, texts in refused.items():
        for text in texts:
            cases.retained(f"{len(cases.blocks)}.pkt", Packet([netmail(*text)]), line, REFUSED)
    cases.toss(status=1)


def test_an_empty_reply_is_no_reply(site):
    packet = OnePacket(site)
    base = packet.conference()
    base.add(sender="Earlier")
    base.add_sig("", 1)
    site.put(base)
    for kludges in (["REPLY:"], ["REPLY: gone", "REPLY:"], ["REPLY"]):
        message = netmail("AREA:CASE1", *("\x01" + kludge for kludge in kludges), "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()

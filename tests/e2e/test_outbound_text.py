"""The text of an exported message, byte for byte."""

import time

import pytest

from formats.conference_table import echo, netmail
from formats.message_base import body_lines
from harness.scan import Scan, fts_dates, tzutc

UNSENT = {"sent": 0}
LETTER = {"sent": 0, "netmail": 1, "to": "Bob@1:2/3"}


def test_echomail_has_area_msgid_and_tzutc_in_front_and_tear_line_origin_seen_by_and_path_behind(site):
    scan = Scan(site, echo("fido.net"))
    base = scan.base()
    text = (
        b"AREA:FIDO.NET\r\x01MSGID: 2:250/10 00000001\r\x01TZUTC: %s\r"
        b"Hello All,\r\rhow are you?\r\r\r"
        b"--- cvtoss32 1.05\r * Origin: Our System (2:250/10)\rSEEN-BY: 250/10 20\r\x01PATH: 250/10\r"
    ) % tzutc()
    scan.echomail_as(base, base.add(body_lines("Hello All,", "", "how are you?"), **UNSENT), text)
    scan.run()


def test_netmail_has_neither_area_nor_seen_by_nor_path_nor_zone_kludges(site):
    scan = Scan(site, netmail())
    base = scan.base()
    text = (
        b"\x01MSGID: 2:250/10 00000001\r\x01TZUTC: %s\r"
        b"Hello Bob\r\r\r"
        b"--- cvtoss32 1.05\r * Origin: Our System (2:250/10)\r"
    ) % tzutc()
    record = base.add(body_lines("Hello Bob"), sent=0, netmail=1, to="Bob@9:8/7.6")
    scan.netmail_as(base, record, "Bob", "9:8/7", text)
    scan.run()


def test_a_reply_has_its_line_between_tzutc_and_body_in_both_kinds(site):
    scan = Scan(site, echo("FIDO", netmail=1))
    base = scan.base()
    base.add(sent=1, number=7)
    base.add_sig("3:4/5 cafe", 7)
    reply = {"is_reply": 1, "is_root": 0, "thread": 7}
    text = (
        b"AREA:FIDO\r\x01MSGID: 2:250/10 00000001\r\x01TZUTC: %s\r\x01REPLY: 3:4/5 cafe\r"
        b"Yes\r\r\r"
        b"--- cvtoss32 1.05\r * Origin: Our System (2:250/10)\rSEEN-BY: 250/10 20\r\x01PATH: 250/10\r"
    ) % tzutc()
    scan.echomail_as(base, base.add(body_lines("Yes"), **UNSENT, **reply), text, threaded=True)
    text = (
        b"\x01MSGID: 2:250/10 00000002\r\x01TZUTC: %s\r\x01REPLY: 3:4/5 cafe\r"
        b"No\r\r\r"
        b"--- cvtoss32 1.05\r * Origin: Our System (2:250/10)\r"
    ) % tzutc()
    scan.netmail_as(base, base.add(body_lines("No"), **LETTER, **reply), "Bob", "1:2/3", text, threaded=True)
    scan.run()


def test_line_ends_at_the_end_of_the_body_give_way_to_one_and_two_empty_lines(site):
    """0x01 is the stored line end; CR and LF are trimmed as well, but nothing else is."""
    scan = Scan(site, echo("FIDO"), netmail())
    bodies = [
        (b"Hello\x01\n\x01\n", b"Hello"),
        (b"Hello\r\n\r\n", b"Hello"),
        (b"Hello", b"Hello"),
        (b"Hello\n", b"Hello"),
        (b"Hello\x01\x01\x01\x01", b"Hello"),
        (b"Hello \x01", b"Hello "),
        (b"Hello\t\x01", b"Hello\t"),
        (b"Hello\x01 \x01", b"Hello\r "),
        (b"\x01\x01Hello", b"\r\rHello"),
        (b"a\x01b\r\nc\nd\re", b"a\rb\r\nc\nd\re"),
        (b"H", b"H"),
    ]
    for body, kept in bodies:
        scan.base(1).add(body, **UNSENT)
        scan.base(2).add(body, **LETTER)
    for record, (_, kept) in zip(scan.base(1).ptr, bodies):
        scan.echomail(scan.base(1), record, kept)
    for record, (_, kept) in zip(scan.base(2).ptr, bodies):
        scan.netmail(scan.base(2), record, "Bob", "1:2/3", kept)
    scan.run()


def test_an_empty_body_leaves_three_line_ends_between_kludges_and_tear_line(site):
    scan = Scan(site, echo("FIDO"), netmail())
    empty = (b"", b"\x01", b"\r\n", b"\n\n\n", b"\x80\xff", b"\x81\x01\x82\r\x83\n", b"\xe9" * 300)
    for body in empty:
        scan.base(1).add(body, **UNSENT)
        scan.base(2).add(body, **LETTER)
    for record in scan.base(1).ptr:
        scan.echomail(scan.base(1), record, b"")
    for record in scan.base(2).ptr:
        scan.netmail(scan.base(2), record, "Bob", "1:2/3", b"")
    scan.run()


def test_high_bytes_are_dropped_from_the_body_and_from_nothing_else(site):
    scan = Scan(site, echo(b"\xc1REA"))
    base = scan.base()
    every = bytes(range(2, 256))
    names = {"sender": b"J\x94rg", "to": b"All\x8ae", "subject": b"\xe4\xf6\xfc"}
    record = base.add(every + b"\x01" + every[:100], **UNSENT, **names)
    scan.echomail(base, record, bytes(range(2, 128)) + b"\r" + every[:100])
    scan.echomail(base, base.add(b"a\x80b\xffc", **UNSENT), b"abc")
    scan.echomail(base, base.add(b"gr\x81\xe1e\x01\x80\x01", **UNSENT), b"gre")  # stripped first, then trimmed
    scan.run()


def test_a_body_with_a_nul_ends_its_text_there_and_the_messages_behind_it_are_whole(site):
    scan = Scan(site, echo("FIDO"), netmail())
    base, letters = scan.base(1), scan.base(2)
    broken = base.add(b"before\x00after\x01", **UNSENT)
    only = base.add(b"\x00", **UNSENT)
    sound = base.add(body_lines("sound"), **UNSENT)
    letter = letters.add(b"dear\x01\x00", **LETTER)
    last = letters.add(body_lines("last"), **LETTER)
    front = b"AREA:FIDO\r\x01MSGID: 2:250/10 %08x\r\x01TZUTC: %s\r"
    scan.echomail_as(base, broken, front % (1, tzutc()) + b"before")
    scan.echomail_as(base, only, front % (2, tzutc()))
    scan.echomail(base, sound, b"sound")
    scan.netmail_as(
        letters, letter, "Bob", "1:2/3", b"\x01MSGID: 2:250/10 00000004\r\x01TZUTC: %s\rdear\r" % tzutc()
    )
    scan.netmail(letters, last, "Bob", "1:2/3", b"last")
    scan.run()


def test_a_reply_whose_parent_is_not_in_the_sig_file_goes_out_as_a_plain_message(site):
    scan = Scan(site, echo("ONE"), echo("TWO"))
    without_file, with_file = scan.base(1), scan.base(2)
    with_file.add_sig("1:2/3 aaaa", 70)
    scan.echomail(without_file, without_file.add(b"x", **UNSENT, is_reply=1, thread=7), b"x")
    scan.echomail(with_file, with_file.add(b"x", **UNSENT, is_reply=1, thread=7), b"x")
    scan.run()


def test_a_message_is_a_reply_only_when_marked_so_and_to_another_message(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    for number in (7, 8, 9, -4, 0):
        base.add_sig(f"1:2/3 {number}", number)
    scan.echomail(base, base.add(b"x", **UNSENT, number=20, is_reply=0, thread=7), b"x")
    scan.echomail(base, base.add(b"x", **UNSENT, number=8, is_reply=1, thread=8), b"x")
    scan.echomail(base, base.add(b"x", **UNSENT, number=21, is_reply=255, thread=9), b"x", reply="1:2/3 9")
    scan.echomail(base, base.add(b"x", **UNSENT, number=22, is_reply=1, thread=-4), b"x", reply="1:2/3 -4")
    scan.echomail(base, base.add(b"x", **UNSENT, number=23, is_reply=1, thread=0), b"x", reply="1:2/3 0")
    scan.run()


def test_the_parents_msgid_is_cut_to_63_characters(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    for number, size in ((1, 62), (2, 63), (3, 64), (4, 80), (5, 300)):
        base.add_sig("m" * size, number)
    for number, size in ((1, 62), (2, 63), (3, 63), (4, 63), (5, 63)):
        record = base.add(b"x", **UNSENT, number=number + 10, is_reply=1, thread=number)
        scan.echomail(base, record, b"x", reply="m" * size)
    scan.run()


def test_a_reply_to_a_message_of_the_same_run_has_no_msgid_yet(site):
    """SIG lines are written only after the bundle is published; the next run finds the parent."""
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    scan.echomail(base, base.add(b"parent", **UNSENT, number=1), b"parent")
    scan.echomail(base, base.add(b"child", **UNSENT, number=2, is_reply=1, thread=1), b"child")
    scan.run()
    scan.echomail(base, base.add(b"late", **UNSENT, number=3, is_reply=1, thread=1), b"late", reply="2:250/10 00000001")
    scan.run()


def test_a_parent_is_looked_up_in_the_messages_own_conference(site):
    scan = Scan(site, echo("ONE"), echo("TWO"))
    scan.base(1).add_sig("of one", 5)
    scan.base(2).add_sig("of two", 5)
    for number, reply in ((1, "of one"), (2, "of two")):
        base = scan.base(number)
        scan.echomail(base, base.add(b"x", **UNSENT, number=6, is_reply=1, thread=5), b"x", reply=reply)
    scan.run()


@pytest.mark.parametrize("size", [1, 63])
def test_the_origin_line_takes_the_whole_system_name(site, size):
    name = "%s%n" + "N" * (size - 4) if size > 4 else "N" * size
    scan = Scan(site, echo("FIDO"))
    site.add_config(f"ADDRESS -1:-2/-3.4\nHUB -5:-6/-7\nSYSTEM {name}\n")
    base = scan.base()
    base.add(b"x", **UNSENT)
    scan.put()
    first = int(time.time()) - 1
    run = site.run("-scan")
    assert run.status == 0
    (bundle,) = site.snapshot("OUT").values()
    text = f"AREA:FIDO\r\x01MSGID: -1:-2/-3 00000001\r\x01TZUTC: {tzutc().decode()}\rx\r\r\r--- cvtoss32 1.05\r"
    text += f" * Origin: {name} (-1:-2/-3)\rSEEN-BY: -2/-3 -7\r\x01PATH: -2/-3\r\0\0\0"
    assert text.encode() in bundle
    assert any(date in bundle for date in fts_dates(first, int(time.time())))

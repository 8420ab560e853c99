#!/usr/bin/env python3
"""Makes the seeds of the fuzz targets, corpus/TARGET/*.seed, with the builders of the end-to-end tests.

    make_corpus.py [DIRECTORY]      (default: the corpus beside this file)

Inputs that were found by fuzzing lie beside them under names that begin with "found-"; they are left alone.
"""

import pathlib
import struct
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "e2e"))

# pylint: disable=wrong-import-position
from formats.conference_table import Conference, conference_file, echo, netmail as netmail_conference  # noqa: E402
from formats.message_base import MessageBase, body_lines, dat_records  # noqa: E402
from formats.node_status import Node, node_file  # noqa: E402
from formats.packet import DATE, PackedMessage, Packet, echomail, netmail, text_lines  # noqa: E402
from formats.zip_bundle import DEFLATED, Entry, bundle  # noqa: E402

Seeds = dict[str, bytes]


def config() -> Seeds:
    """Configuration files."""
    whole = (
        b"; the whole of it\r\ninbound  C:/bbs/in  \r\nCONFDIR D:/cv\nMSGDIR D:/cv/msg ; kept\nOUTDIR out\n"
        b"SYSTEM The Test BBS\nADDRESS 2:250/1.7\nHUB 2:250/0\nPKTPW SECRET12\nKEEPPROCESSED no\nPROCESSEDDIR done\n"
    )
    return {
        "whole": whole,
        "workdir": b"WORKDIR w\\x\nCONFDIR /c\n\tKeepProcessed\tYES",
        "longest": b"INBOUND " + b"i" * 255 + b"\nCONFDIR " + b"c" * 250 + b"\nSYSTEM " + b"s" * 63,
        "too-long": b"INBOUND " + b"i" * 256 + b"\nSYSTEM " + b"s" * 64 + b"\nPKTPW 123456789\n",
        "no-room-for-work": b"CONFDIR " + b"c" * 251 + b"\n",
        "bad": b"ADDRESS 2:250\nHUB x\nKEEPPROCESSED off\nINBOUND\nINBOUNDX y\nADDRESS -1: +2/99999999999.1\n",
        "pieces": b"MSGDIR " + b" " * 490 + b"directory\n" + b"K" * 40 + b" v\n;" + b" OUTDIR o" * 60,
        "piece-end": b"MSGDIR".ljust(508) + b"abcd\n" + b"OUTDIR".ljust(507) + b"abcd\n",
        "dos-mark": b"MSGDIR m\r\n\x1aOUTDIR o\n",
        "nul": b"MSGDIR m\0n\nOUTDIR\0o\n",
    }


def conference_table() -> Seeds:
    """Conference files."""
    return {
        "one": conference_file([echo("FIDO")]),
        "network": conference_file(
            [echo("ONE"), echo("*"), netmail_conference(), Conference("Local", "ONE"), echo(" \techo.net \r")]
        ),
        "bad-tags": conference_file([echo(tag) for tag in ("", "MY AREA", "A:B", "A\x7f", "SAME", "same", "SAME")]),
        "long-fields": conference_file([echo("", raw_tag=b"\xc8" + b"T" * 15, raw_name=b"\xff" + b"N" * 40)]),
        "two-netmail": conference_file([netmail_conference(), netmail_conference()]),
        "two-public": conference_file([netmail_conference(public=1), netmail_conference(public=1, line_width=0)]),
        "one-public": conference_file([netmail_conference(public=1, line_width=200)]),
        "widths": conference_file([echo(f"W{width}", line_width=width) for width in (1, 126, 127, 128, 256, 65535)]),
        "most": conference_file([netmail_conference("", line_width=127)] * 200),
        "odd": conference_file([echo("FIDO")]) + b"xx",
    }


def packets() -> Seeds:
    """Packets, some of them damaged."""
    replies = [
        echomail("replies", "live", msgid="1:2/3 new", reply="1:2/3 five"),
        echomail("REPLIES", "gone", reply="1:2/3 gone", subject="Re: x"),
        echomail("REPLIES", "next", msgid="1:2/3 five", reply="1:2/3 next"),
        echomail("REPLIES", "again", msgid="1:2/3 new"),
        echomail("REPLIES", "no tab", msgid="no tab", reply="1:2/3 minus"),
    ]
    long_texts = PackedMessage(b"AREA:GENERAL\r" + b"x" * 300, "F" * 64, "T" * 63, "S" * 128, "D" * 70, attribute=1)
    utf8 = echomail("GENERAL", b"\x01CHRS: UTF-8 4", "gr\u00fc\u00dfe".encode(), b"\xe2\x80\xa6")
    mail = Packet([echomail("general", "one", "", "two", msgid="m1"), netmail("letter", msgid="m2"), utf8]).pack()
    return {
        "empty": Packet().pack(),
        "mail": mail,
        "replies": Packet(replies).pack(),
        "long": Packet([long_texts]).pack(),
        "areas": Packet([echomail(a, "x") for a in ("NEARLY", "nearly", "BROKEN", "HIDDEN", "unknown", "*")]).pack(),
        "refused": Packet([echomail("GENERAL", "x"), echomail("TWO WORDS", "x")]).pack(),
        "no-close": Packet([netmail("letter")], closing=b"").pack(),
        "bad-type": Packet([netmail("letter"), PackedMessage(b"x", message_type=1)]).pack(),
        "cut-head": mail[: 58 + 10],
        "cut-strings": mail[: 58 + 30],
        "cut-text": mail[:-40],
        "no-packet": Packet(year=1989).pack(),
    }


def packet() -> Seeds:
    """The packets behind a byte of options: 3 has netmail and a catch-all, 4 to 12 have a file that fails."""
    seeds = {name: b"\x03" + data for name, data in packets().items()}
    for options, name in ((0x00, "areas"), (0x04, "mail"), (0x0B, "mail"), (0x0F, "replies"), (0x0C, "long")):
        seeds[f"{name}-{options:02x}"] = bytes([options]) + packets()[name]
    return seeds


def zip_bundle() -> Seeds:
    """Bundles, some of them damaged."""
    mail = packets()["mail"]
    entry = Entry("0000a1b2.pkt", mail, DEFLATED)
    return {
        "stored": bundle(Entry("a.pkt", mail)),
        "deflated": bundle(entry),
        "two": bundle(entry, Entry("b.pkt", packets()["empty"], extra=b"extra"), after=b""),
        "readme": bundle(entry, Entry("README.TXT", b"not a packet")),
        "faulty-packet": bundle(Entry("f.pkt", packets()["bad-type"]), Entry("r.pkt", packets()["refused"])),
        "descriptor": bundle(Entry("a.pkt", mail, flags=8), entry),
        "size-stored": bundle(Entry("a.pkt", mail, uncompressed=len(mail) + 1)),
        "too-small": bundle(Entry("b.pkt", mail, DEFLATED, uncompressed=len(mail) - 1), entry),
        "too-large": bundle(Entry("b.pkt", mail, DEFLATED, uncompressed=len(mail) + 1), entry),
        "limit": bundle(Entry("a", b"", DEFLATED, uncompressed=67108864), Entry("b", b"", uncompressed=67108865)),
        "method": bundle(Entry("a.pkt", mail, method=6)),
        "nothing": bundle(Entry("", b"", DEFLATED), Entry("", b"")),
        "long-name": bundle(Entry("n" * 300, packets()["empty"])),
        "cut-name": bundle(Entry("a.pkt", name_length=999)),
        "cut-data": bundle(entry, Entry("b.pkt", mail, compressed=99999)),
        "cut-by-one": bundle(Entry("a.pkt", mail), after=b"")[:-1],
        "cut-header": bundle(entry, after=b"PK\x03\x04".ljust(29, b"x")),
        "cut": bundle(entry)[:20],
    }


def inbound_text() -> Seeds:
    """Message texts; FE, a count and a byte are a run, and the counts 240 to 255 mean 65,528 to 65,543."""
    kludge = b"\x01MSGID:   1:2/3 abcd \r\x01reply: x\r\x01CHRS: LATIN-1 2\r\x01PATH: 1/2\r\x01TZUTC: 0100\r"
    return {
        "lines": b"AREA:  Fido_Tech \r" + kludge + b"Hello\r\rBye",
        "ends": b"a\nb\r\nc\n\rd\r\re\n\n\r\r\n",
        "routing": b"seen-by: 1/2\r SEEN-BY: 1/2\rPATH: 3\rPATH\rSEEN-BY\rAREA:X\r--- tear\r",
        "utf8": b"\x01CHRS: utf-8 4\r" + "\u00e9\u2026\u00df\U0001f600".encode() + b"\xc3",
        "area-star": b"area:*\rx",
        "area-bad": b"AREA:FOO BAR\r",
        "area-longest": b"AREA:" + b"t" * 31 + b" \t\r",
        "area-too-long": b"AREA:" + b"t" * 32,
        "msgid-longest": b"\x01MSGID: " + b"m" * 127 + b"\r\x01REPLY:" + b"r" * 127 + b"\r\x01CHRS: " + b"c" * 31,
        "msgid-too-long": b"\x01MSGID: " + b"m" * 128,
        "reply-too-long": b"\x01REPLY:" + b"r" * 128,
        "chrs-too-long": b"\x01CHRS: " + b"c" * 32,
        "line-longest": b"re: \r\xfe\xf8x\rend",
        "line-too-long": b"\xfe\xf9x\r",
        "many": b"\xfe\xc8\r\xfe\x80 x",
    }


def fts_date() -> Seeds:
    """Date texts."""
    texts = ("05 Jan 25  00:07:59", "31 dec 1999 23:59:60", "5 Foo 25 10:00:00", "5 January 25 1:2:3", "0 Jan 1 1:1:1",
             "1 Mar -1 12:0:0", "+7\tMAY 2147483648 012:59:00x", "1 Jun 07 24:00:00", "1 Jul 7 1 :2:3", "99999999999")
    return {f"date-{i}": text.encode() for i, text in enumerate(texts)} | {"date": DATE.encode()}


def utf8() -> Seeds:
    """Texts in UTF-8, and what only looks like it."""
    return {
        "plain": b"plain\x01text\r\n",
        "latin": "".join(chr(point) for point in range(0xA0, 0x100)).encode(),
        "signs": "\u2012\u2013\u2014\u2018\u2019\u201c\u201d\u2026\u20ac\U0001f600".encode(),
        "overlong": b"\xc0\x80\xe0\x80\x81\xf0\x80\x80\x81\xc1\xbf",
        "broken": b"\x80\xc3\xc3\xa9\xe2\x80\xf8\x88\xff\xf0\x9f\x98\xe2\x80\xa6\xc3",
    }


def _sig(number: int, msgid: bytes, content: bytes, *, shape: int = 0, line: int = 0, at: int = 0xFFFF) -> bytes:
    head = struct.pack("<hH", number, shape) + (struct.pack("<H", line) if shape % 64 == 63 else b"")
    return head + struct.pack("<HB", at, len(msgid)) + msgid + b"\x03key" + content


def sig_lookups() -> Seeds:
    """A number, the shape of a filler, where in the content the MSGID stands or the MSGID itself, and the content."""
    msgid = b"1:2/3 0a1b2c3d"
    content = msgid + b"\t17\n1:2/3 0A1B2C3D\t18\r\n" + msgid + b"\t19\nkey\t-4x\nno tab\n\t5\n"
    long_line = b"x" * 254 + msgid + b"\t20\n" + b"y" * 255 + msgid + b"\t21\r\n"
    return {
        "found": _sig(17, msgid, content),
        "in-content": _sig(18, b"?" * 14, content, at=0),
        "no-tab": _sig(5, b"no tab", content),
        "pieces": _sig(21, msgid, long_line + b"z" * 511 + msgid + b"\t22\n"),
        "nul": _sig(3, b"abc", b"abc\0d\t3\nabc\t\0 3\nabc\t 3"),
        "cut-to-63": _sig(9, b"m" * 80, b"m" * 80 + b"\t9\n"),
        "block": _sig(17, msgid, b"\n" + content, shape=63 + 64 * 9, line=700),
        "block-pieces": _sig(17, msgid, long_line, shape=63 + 64 * 255, line=77),
        "one-line": _sig(17, msgid, long_line, shape=63 + 64 * 30, line=0xFFFF),
    }


def node_status() -> Seeds:
    """Node files."""
    return {
        "idle": node_file([Node(), Node()]),
        "busy": node_file([Node(), Node(5, 0x0A), Node(0)]),
        "many": node_file([Node()] * 256 + [Node(7), Node(0)]),
        "odd": node_file([Node()]) + b"\xff",
    }


def lock_owner() -> Seeds:
    """Lock files."""
    return {
        "line": b"cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n",
        "empty": b"",
        "cr-lf": b"owner\r\r\n\nsecond\n",
        "longest": b"o" * 191 + b"\n",
        "too-long": b"o" * 200,
        "nul": b"own\0er\n",
    }


def serial_file() -> Seeds:
    """Serial files."""
    texts = (b"41\r\n", b"0", b" \n+7 x", b"4294967294", b"4294967295\n", b"99999999999", b"-2", b"-", b"x1", b" \r\n",
             b"00000000000000000000000000000000007")
    return {f"serial-{i}": text for i, text in enumerate(texts)}


def _base() -> MessageBase:
    base = MessageBase(7)
    base.add(body_lines("one", "two \x82"), sent=0)
    base.add(b"x" * 128, sent=0, netmail=1, to="Sysop@1:2/3.4", private=1, is_reply=1, thread=1)
    base.add(b"", sent=0, netmail=1, to="a@b@-1: 2/3")
    base.add(b"", sent=0, netmail=1, to="nobody")
    base.add(b"gone", deleted=1, records=0)
    return base


def _scan_files(base: MessageBase, *, parent: int = 1, idx: int | None = None, repeated: int = 0,
                dat_records: int = 9) -> bytes:
    ptr = b"".join(record.pack() for record in base.ptr)
    idx_units = 2 * len(base.ptr) if idx is None else idx
    return struct.pack("<bBBhH", parent, idx_units, repeated, dat_records, len(ptr)) + ptr + base.dat


def scan_files() -> Seeds:
    """Parent, size of the index in steps of 8, whether to read many headers, DAT records, and the two files."""
    long_text = _base()
    long_text.dat = b"\xc8" + long_text.dat[1:]
    past_dat = _base()
    past_dat.add(b"x", where=4, records=9)
    wrapped = _base()
    wrapped.add(b"x", where=65535, records=2)
    empty_text = _base()
    empty_text.add(records=0)
    return {
        "sound": _scan_files(_base()),
        "many": _scan_files(_base(), repeated=254, parent=5),
        "odd-index": _scan_files(_base(), idx=3),
        "more-index": _scan_files(_base(), idx=12),
        "length-200": _scan_files(long_text),
        "past-dat": _scan_files(past_dat, parent=6),
        "wrapped": _scan_files(wrapped),
        "no-records": _scan_files(empty_text),
        "few-dat": _scan_files(_base(), dat_records=2),
        "empty": _scan_files(MessageBase(7)),
    }


def _prefixed(text: bytes) -> bytes:
    return bytes([len(text)]) + text


def _local(conference: int, flags: int, body: bytes, *, to: bytes = b"All", thread: int = 0) -> bytes:
    texts = _prefixed(b"Ann Author") + _prefixed(to) + _prefixed(b"Greetings")
    return bytes([conference - 1, flags]) + texts + struct.pack("<bH", thread, len(body)) + body


def outbound() -> Seeds:
    """System name, packet password, SIG file, then messages: conference, flags, texts, thread and body."""
    head = _prefixed(b"The Test BBS") + _prefixed(b"SECRET12") + _prefixed(b"1:2/3 parent\t1\n1:2/3 other\t9\n")
    body = body_lines("Hello", "", "world \xe9")
    return {
        "nothing": head,
        "own-parent": head + _local(1, 4, body, thread=1),
        "echomail": head + _local(1, 0, body) + _local(1, 2, b""),
        "replies": head + _local(1, 4, body, thread=9) + _local(1, 4, body, thread=5) + _local(1, 4, body, thread=3),
        "netmail": head + _local(2, 2, body, to=b"Sysop@5:6/7.8") + _local(2, 0, body, to=b"nobody"),
        "sent": head + _local(1, 8, body) + _local(1, 16, body) + _local(1, 0, b"\n\r\x01\x01"),
        "nul": head + _local(1, 0, b"before\0after\x01") + _local(1, 0, body),
        "long": b"\0\0\0" + _local(1, 0, dat_records(b"y" * 500)[:600]) + _local(2, 1, text_lines("x"), to=b"@1:2/3"),
    }


TARGETS = (config, conference_table, packet, zip_bundle, inbound_text, fts_date, utf8, sig_lookups, node_status,
           lock_owner, serial_file, scan_files, outbound)


def main() -> None:
    """Writes all seeds."""
    corpus = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else HERE / "corpus"
    for target in TARGETS:
        directory = corpus / target.__name__
        directory.mkdir(parents=True, exist_ok=True)
        for name, content in target().items():
            (directory / f"{name}.seed").write_bytes(content)


if __name__ == "__main__":
    main()

"""The files of a message base: for the readers, for lookups of SIG lines, for a whole scan and for a repair."""

import struct
from collections.abc import Callable

from formats.message_base import MessageBase, body_lines, dat_records
from formats.packet import Packet, echomail, text_lines

from fuzz.seeds import Seeds

MSGID = b"1:2/3 0a1b2c3d"
BLOCK_LEFT = 1023
"""How many bytes less than a block a filler may have at most."""

RECIPIENTS = {
    "without-at-sign": "nobody", "at-sign-only": "@", "nothing-behind-at-sign": "x@", "net-only": "x@1:2",
    "word": "x@y", "address": "Sysop@1:2/3", "point": "x@1:2/3.4", "two-points": "x@1:2/3.4.5", "zeros": "x@0:0/0",
    "no-name": "@1:2/3", "two-at-signs": "a@b@-1: 2/3", "at-sign-last": "x@1:2/3@", "blank-before-at-sign": "x @1:2/3",
    "blank-behind-at-sign": "x@ 1:2/3", "more-behind": "x@1:2/3 y", "negative": "x@-1:-2/-3.-4",
    "largest-words": "x@1:65535/65535.65535", "beyond-words": "x@65536:65536/65536", "clamped": "x@99999999999:1/1",
    "address-that-just-fits": "n" * 22 + "@1:229/3", "address-cut-by-its-field": "n" * 20 + "@1:229/34567",
}
"""Where netmail is addressed to, in a field of 30 characters."""


def _sig(number: int, msgid: bytes, content: bytes, *, left: int | None = None, line: int = 0, at: int = 0xFFFF,
         reply: bytes = b"key") -> bytes:
    """With `left`, a filler of that many bytes less than a block comes first; FFFF makes it one line."""
    filler = b"\0\0" if left is None else struct.pack("<2H", 63 + 64 * left, line)
    texts = struct.pack("<HB", at, len(msgid)) + msgid + bytes([len(reply)]) + reply
    return struct.pack("<h", number) + filler + texts + content


def _sig_lines() -> Seeds:
    """Lines by what they hold. The number 17 and the MSGID are looked up."""
    contents = {
        "line-lf": MSGID + b"\t17\n",
        "line-cr-lf": MSGID + b"\t17\r\n",
        "line-without-end": MSGID + b"\t17",
        "line-cr-only": MSGID + b"\t17\r" + MSGID + b"\t18\r",
        "line-several-cr": MSGID + b"\t17\r\r\r\n",
        "line-cr-before-tab": MSGID + b"\r\t17\n",
        "line-ended-by-dos-mark": MSGID + b"\t17\n\x1a",
        "line-behind-dos-mark": b"x\t1\n\x1a\n" + MSGID + b"\t17\n",
        "dos-mark-before-number": MSGID + b"\t\x1a17\n",
        "tab-missing": MSGID + b"\n" + MSGID + b" 17\n",
        "tab-missing-then-whole": MSGID + b"\r\n" + MSGID + b"\t17\r\n",
        "tabs-two": MSGID + b"\t17\t18\n",
        "tab-first": b"\t17\n",
        "blank-before-tab": MSGID + b" \t17\n",
        "blank-first": b" " + MSGID + b"\t17\n",
        "other-case": MSGID.upper() + b"\t17\n",
        "longer-msgid": MSGID + b"e\t17\nx" + MSGID + b"\t17\n",
        "shorter-msgid": MSGID[:-1] + b"\t17\n",
        "msgid-as-number": b"x\t" + MSGID + b"\n",
        "number-twice": b"other\t17\n" + MSGID + b"\t17\n",
        "msgid-twice": MSGID + b"\t1\n" + MSGID + b"\t17\n",
        "nul-in-msgid": MSGID + b"\0x\t17\n",
        "nul-before-number": MSGID + b"\t\x0017\n",
        "nul-behind-number": MSGID + b"\t17\0\n",
        "nul-first": b"\0" + MSGID + b"\t17\n",
        "blank-lines": b"\n\r\n\t\n\n" + MSGID + b"\t17\n",
        "high-bytes": b"\xe9\x81\t17\n" + MSGID + b"\t\xb217\n",
        "empty": b"",
    }
    numbers = {"blank": b" 17", "plus": b"+17", "zeros": b"00017", "and-word": b"17x", "word": b"x17", "none": b"",
               "minus": b"-17", "point": b"17.5", "clamped": b"99999999999", "32-bits": b"4294967313", "tab": b"\t17",
               "minus-clamped": b"-2147483649", "largest": b"2147483647", "64-bits": b"18446744073709551633"}
    contents |= {f"number-{name}": MSGID + b"\t" + number + b"\n" for name, number in numbers.items()}
    return {name: _sig(17, MSGID, content) for name, content in contents.items()}


def sig_lookups() -> Seeds:
    """A number, the shape of a filler, the place of the MSGID in the content or the MSGID itself, and the content."""
    content = MSGID + b"\t17\n1:2/3 0A1B2C3D\t18\r\n" + MSGID + b"\t19\nkey\t-4x\nno tab\n\t5\n"
    long_line = b"x" * 254 + MSGID + b"\t20\n" + b"y" * 255 + MSGID + b"\t21\r\n"
    base = MessageBase(7)
    base.add_sig(MSGID, 17, line_end=b"\r\n")
    base.add_sig("key", -4)
    seeds = _sig_lines() | {
        "whole": _sig(2, b"1:2/3 b", b"1:2/3 b\t +2x\r\n1:2/3 a\t\t001\n1:2/3 c\n1:2/3 d\t-3\n", reply=b"1:2/3 d"),
        "whole-behind-a-piece": _sig(2, b"b", b"x" * 254 + b"b\t2\nb\t1\n", reply=b"c"),
        "builders-lines": _sig(17, MSGID, base.sig),
        "usual": _sig(17, MSGID, content),
        "number-of-second-line": _sig(18, MSGID, content),
        "number-that-is-negative": _sig(-4, b"key", content),
        "number-zero-for-none": _sig(0, b"x", content),
        "number-limits": _sig(-32768, b"x", b"a\t-32768\nb\t32767\nc\t32768\n"),
        "msgid-taken-from-content": _sig(18, b"?" * 14, content, at=0),
        "msgid-without-tab": _sig(5, b"no tab", content),
        "msgid-of-nothing": _sig(17, b"", content),
        "msgid-with-tab": _sig(17, MSGID + b"\t17", content),
        "msgid-with-line-end": _sig(17, MSGID + b"\t17\n", content),
        "msgid-with-cr": _sig(17, MSGID + b"\r", MSGID + b"\r\t17\n"),
        "msgid-with-nul": _sig(17, MSGID + b"\0x", content),
        "msgid-new": _sig(17, b"1:2/3 new", content),
        "msgid-new-behind-unfinished-line": _sig(17, b"1:2/3 new", content + b"half"),
        "reply-of-nothing": _sig(17, b"x", content, reply=b""),
        "reply-with-nul": _sig(17, b"x", content, reply=b"key\0x"),
        "reply-without-tab": _sig(17, b"x", content, reply=b"no tab"),
        "pieces": _sig(21, MSGID, long_line + b"z" * 511 + MSGID + b"\t22\n"),
        "pieces-without-line-end": _sig(22, MSGID, b"x" * 510 + MSGID + b"\t22"),
    }
    for size in (1, 62, 63, 64, 65, 126, 127):
        seeds[f"msgid-of-{size}"] = _sig(9, b"m" * size, b"m" * size + b"\t9\n")
    for size in (253, 254, 255, 256, 257, 509, 510, 511, 512, 513):
        # The line that is looked for begins after that many bytes of a line without an end.
        seeds[f"behind-{size}-bytes"] = _sig(17, MSGID, b"x" * size + MSGID + b"\t17\n")
        # The line that is looked for has that many bytes.
        seeds[f"line-of-{size}"] = _sig(17, MSGID, (MSGID + b"\t17 ").ljust(size - 1, b"x") + b"\nlast\t1\n")
    for left in (0, 1, 5, 14, 15, 16, 17, 18, 19, 254, 255, 256, 510, 511, BLOCK_LEFT):
        seeds[f"block-ends-in-{left}"] = _sig(17, MSGID, b"\n" + content, left=left, line=700)
    for left in (0, 1, 254, 255, 256, BLOCK_LEFT):
        seeds[f"block-of-one-line-ends-in-{left}"] = _sig(17, MSGID, long_line, left=left, line=0xFFFF)
        seeds[f"block-of-short-lines-ends-in-{left}"] = _sig(17, MSGID, long_line, left=left, line=0)
    return seeds


def _base(**fields) -> MessageBase:
    """Four messages and a deleted one; with fields one more that has them."""
    base = MessageBase(7)
    base.add(body_lines("one", "two \x82"), sent=0)
    base.add(b"x" * 128, sent=0, netmail=1, to="Sysop@1:2/3.4", private=1, is_reply=1, thread=1)
    base.add(b"", sent=0, netmail=1, to="a@b@-1: 2/3")
    base.add(b"", sent=0, netmail=1, to="nobody")
    base.add(b"gone", deleted=1, records=0)
    if fields:
        base.add(b"text", **({"sent": 0} | fields))
    return base


def _scan(base: MessageBase, *, parent: int = 1, idx: int | None = None, repeated: int = 0, records: int | None = None,
          ptr: Callable[[bytes], bytes] = bytes, dat: Callable[[bytes], bytes] = bytes) -> bytes:
    """Index and both files as the base has them, except for those given; `records` is the claimed DAT size."""
    headers = ptr(b"".join(record.pack() for record in base.ptr))
    idx_steps = len(b"".join(base.idx)) // 8 if idx is None else idx
    counted = base.dat_count() if records is None else records
    return struct.pack("<bBBhH", parent, idx_steps, repeated, counted, len(headers)) + headers + dat(base.dat)


def _with_bytes(at: int, new: bytes) -> Callable[[bytes], bytes]:
    return lambda content: content[:at] + new + content[at + len(new) :]


def _scan_headers() -> Seeds:
    """Headers by what the last of six holds."""
    total = _base(sent=0).dat_count()
    fields = {
        "where-last": {"where": total - 1, "records": 1},
        "where-last-of-two": {"where": total - 1, "records": 2},
        "where-at-end": {"where": total, "records": 1},
        "where-at-end-deleted": {"where": total, "records": 1, "deleted": 1},
        "where-wraps": {"where": 65535, "records": 2},
        "where-and-records-largest": {"where": 65535, "records": 65535},
        "records-all": {"where": 0, "records": total},
        "records-all-and-one": {"where": 0, "records": total + 1},
        "records-none": {"records": 0},
        "records-none-deleted": {"records": 0, "deleted": 1},
        "number-largest": {"number": 2147483647},
        "number-zero": {"number": 0},
        "number-negative": {"number": -1},
        "number-least": {"number": -2147483648, "thread": -2147483648},
        "number-repeated": {"number": 1},
        "flags-of-any-byte": {"netmail": 0, "is_reply": 255, "private": 128, "is_root": 2, "reserved_159": 0},
        "deleted-by-any-byte": {"deleted": 255},
        "sent-and-deleted": {"sent": 1, "deleted": 1},
        "sent-by-any-byte": {"sent": 128},
        "names-full": {"sender": "F" * 30, "to": "T" * 30, "subject": "S" * 40},
        "names-empty": {"sender": "", "to": "", "subject": ""},
        "names-with-nul": {"sender": "a\0b", "to": "\0", "subject": "x\0"},
    }
    fields |= {f"netmail-to-{name}": {"netmail": 1, "to": address} for name, address in RECIPIENTS.items()}
    return {f"header-{name}": _scan(_base(**values)) for name, values in fields.items()}


def scan_files() -> Seeds:
    """Parent, size of the index in steps of 8, whether to read many headers, DAT records, and the two files."""
    sound, to_field, first = _base(), 49, {"where": 0, "records": 1, "sent": 0}
    few = MessageBase(7)
    few.add(body_lines("one"), sender="Bo", to="Cy@1:2/3", netmail=1, sent=0)
    few.add(body_lines("two"), sent=0, is_reply=1, thread=1)
    seeds = _scan_headers() | {
        "whole": _scan(few),
        "sound": _scan(sound),
        "empty": _scan(MessageBase(7)),
        "text-without-headers": _scan(MessageBase(7, dat=dat_records(b"x"))),
        "index-without-headers": _scan(MessageBase(7), idx=2),
        "index-empty": _scan(sound, idx=0),
        "index-shorter": _scan(sound, idx=8),
        "index-longer": _scan(sound, idx=12),
        "index-of-half-records": _scan(sound, idx=3),
        "headers-short-by-one": _scan(sound, ptr=lambda content: content[:-1]),
        "headers-long-by-one": _scan(sound, ptr=lambda content: content + b"x"),
        "headers-of-255-bytes": _scan(sound, ptr=lambda content: content[:255], idx=0),
        "text-short-by-one": _scan(sound, dat=lambda content: content[:-1]),
        "text-long-by-one": _scan(sound, dat=lambda content: content + b"\0"),
        "text-missing": _scan(sound, dat=lambda content: b""),
        "dat-count-negative": _scan(sound, records=-1),
        "dat-count-none": _scan(sound, records=0),
        "dat-count-few": _scan(sound, records=2),
        "dat-count-largest": _scan(sound, records=32767),
        "parent-deleted": _scan(sound, parent=5),
        "parent-missing": _scan(sound, parent=99),
        "parent-zero": _scan(_base(number=0), parent=0),
        "parent-negative": _scan(_base(number=-3), parent=-3),
        "verbose-off": _scan(_base(records=0), repeated=1),
        "seven-headers-and-51-bytes": _scan(sound, ptr=lambda content: (content * 2)[: 7 * 256 + 51]),
    }
    for length in (29, 30, 31, 127, 128, 255):
        seeds[f"recipient-length-{length}"] = _scan(_base(**first), ptr=_with_bytes(to_field, bytes([length])))
    for length in (0, 1, 126, 127, 128, 200, 255):
        seeds[f"text-length-{length}"] = _scan(_base(), dat=_with_bytes(0, bytes([length]) + b"t" * 127))
    for size in (126, 127, 128, 253, 254, 255, 511, 512):
        base = MessageBase(7)
        base.add(b"x" * size, sent=0)
        base.add(b"\x01" * size, sent=0)
        seeds[f"body-of-{size}"] = _scan(base)
    bytes_of_all_kinds = MessageBase(7)
    bytes_of_all_kinds.add(bytes(range(256)), sent=0)
    seeds["body-of-every-byte"] = _scan(bytes_of_all_kinds)
    for messages in (3, 4, 5):
        # 1,020 headers come before these, and one read has 1,024.
        many = MessageBase(7)
        for _ in range(messages):
            many.add(b"x", sent=0)
        seeds[f"many-headers-and-{messages}"] = _scan(many, repeated=254, parent=messages)
        seeds[f"many-headers-and-{messages}-unsound"] = _scan(many, repeated=255, records=messages - 1)
    seeds["many-headers-and-part"] = _scan(sound, repeated=250, ptr=lambda content: content[:-1])
    seeds["headers-before-many"] = _scan(sound, repeated=249)
    return seeds


TOSSED = [echomail("AREA", text, msgid=f"1:2/3 {text}") for text in ("one", "two")]


def _repair(base: MessageBase, *inbound, **files: bytes) -> bytes:
    """The four files as the base has them, except for those given, and a packet of the inbound mail."""
    there = {"PTR": b"".join(record.pack() for record in base.ptr), "IDX": b"".join(base.idx), "SIG": base.sig or b"",
             "DAT": base.dat} | files
    packed = b"".join(struct.pack("<H", len(content)) + content for content in there.values())
    return packed + (Packet(list(inbound)).pack() if inbound else b"")


def base_repair() -> Seeds:
    """A base whose files do not agree, after a killed run, a power cut or an edit by hand."""
    base, one = MessageBase(7), MessageBase(7)
    for stored in (base, one):
        stored.store(TOSSED[0], b"one\x01", msgid="1:2/3 one")
    base.store(TOSSED[1], b"two\x01", msgid="1:2/3 two")
    ptr, idx = ([b"".join(part) for part in (parts[:1], parts)] for parts in ([r.pack() for r in base.ptr], base.idx))
    local = _base()
    seeds = {
        "whole": _repair(one, SIG=b""),
        "nothing": b"",
        "sound": _repair(base),
        "sound-and-inbound": _repair(base, *TOSSED),
        "local": _repair(local),
        "text-without-header": _repair(base, PTR=ptr[0], IDX=idx[0], SIG=one.sig),
        "index-without-header": _repair(base, PTR=ptr[0], SIG=one.sig),
        "header-without-text": _repair(base, DAT=one.dat),
        "line-without-header": _repair(one, *TOSSED, SIG=base.sig),
        "header-without-line": _repair(base, *TOSSED, SIG=one.sig),
        "header-without-line-and-source": _repair(base, SIG=one.sig),
        "line-cut": _repair(base, SIG=base.sig[:-4]),
        "line-without-end": _repair(base, SIG=base.sig[:-1]),
        "line-of-zeros": _repair(base, SIG=one.sig + bytes(11)),
        "line-of-many-zeros": _repair(base, SIG=one.sig + bytes(1500)),
        "line-with-many-zeros-behind": _repair(base, SIG=base.sig[:-1] + bytes(1500)),
        "pieces-of-records": _repair(base, PTR=ptr[1] + b"x" * 9, IDX=idx[1] + b"x", DAT=base.dat + b"x" * 127),
        "headers-lost": _repair(base, PTR=b""),
        "header-of-zeros": _repair(one, PTR=ptr[0] + bytes(256)),
        "header-cut": _repair(base, PTR=ptr[1][:-1]),
        "text-of-zeros": _repair(base, *TOSSED, DAT=one.dat + bytes(128)),
        "index-of-zeros": _repair(base, IDX=idx[0] + bytes(16)),
        "index-in-another-order": _repair(base, IDX=base.idx[1] + base.idx[0]),
        "index-short": _repair(base, IDX=idx[0]),
        "numbers-the-same": _repair(base, PTR=ptr[0] + ptr[0], IDX=idx[0] + idx[0]),
        "all-lost-and-inbound": _repair(base, *TOSSED, DAT=b""),
        "all-lost": _repair(base, DAT=b""),
        "header-beyond-the-texts": _repair(base, PTR=ptr[1] + base.ptr[1].pack()[:160] + b"\xff\0\0\0" + bytes(92)),
        "lines-in-pieces": _repair(base, SIG=base.sig + b"x" * 600 + b"\t2\n"),
    }
    for kind in ("deleted", "is_reply", "netmail"):
        seeds[f"header-{kind.replace('_', '-')}"] = _repair(_base(**{kind: 1, "records": 0, "number": 9}))
    return seeds


def _prefixed(text: bytes) -> bytes:
    return bytes([len(text)]) + text


REPLY, PRIVATE, SENT, DELETED = 4, 2, 8, 16


def _local(conference: int, flags: int, body: bytes, *, to: bytes = b"All", thread: int = 0,
           sender: bytes = b"Ann Author", subject: bytes = b"Greetings") -> bytes:
    texts = _prefixed(sender) + _prefixed(to) + _prefixed(subject)
    return bytes([conference - 1, flags]) + texts + struct.pack("<bH", thread, len(body)) + body


def _head(system: bytes = b"The Test BBS", password: bytes = b"SECRET12",
          sig: bytes = b"1:2/3 parent\t1\n1:2/3 other\t9\n") -> bytes:
    return _prefixed(system) + _prefixed(password) + _prefixed(sig)


def outbound() -> Seeds:
    """System name, packet password, SIG file, then messages: conference, flags, texts, thread and body."""
    head, body = _head(), body_lines("Hello", "", "world \xe9")
    echo = _local(1, 0, body)
    letter = _local(2, 0, body, to=b"Sysop@5:6/7.8")
    seeds = {
        "nothing": head,
        "nothing-at-all": b"",
        "whole": head + letter + _local(1, REPLY, b"gr\x81n\x01", thread=9),
        "echomail": head + echo + _local(1, PRIVATE, b""),
        "netmail": head + _local(2, PRIVATE, body, to=b"Sysop@5:6/7.8") + _local(2, 0, body, to=b"nobody"),
        "both-in-turn": head + letter + echo + letter + echo,
        "sent-or-deleted": head + _local(1, SENT, body) + _local(1, DELETED, body) + _local(2, SENT | DELETED, body),
        "sent-before-unsent": head + _local(1, SENT, body) + echo + _local(2, DELETED, body) + letter,
        "reply-to-itself": head + _local(1, REPLY, body, thread=1),
        "reply-to-known": head + _local(1, REPLY, body, thread=9),
        "reply-to-unknown": head + _local(1, REPLY, body, thread=5),
        "reply-to-zero": _head(sig=b"zero\t0\n") + _local(1, REPLY, body),
        "reply-to-negative": _head(sig=b"minus\t-3\n") + _local(1, REPLY, body, thread=-3),
        "reply-in-netmail": head + _local(2, REPLY, body, to=b"x@1:2/3", thread=9),
        "reply-within-run": head + echo + _local(1, REPLY, body, thread=1) + _local(1, REPLY, body, thread=2),
        "no-reply-with-thread": head + _local(1, 0, body, thread=9),
        "nul-in-body": head + _local(1, 0, b"before\0after\x01") + echo,
        "line-ends-in-body": head + _local(1, 0, b"\n\r\x01\x01") + _local(1, 0, b"\ra\nb\r\nc\x01\r\n"),
        "high-bytes-only": head + _local(1, 0, b"\x80\xff\xe9"),
        "kludges-in-body": head + _local(1, 0, b"\x01MSGID: x\x01\rSEEN-BY: 1/2\r--- tear\r * Origin: y\x01AREA:Z\x01"),
        "texts-empty": b"\0\0\0" + _local(1, 0, b"", sender=b"", to=b"", subject=b""),
        "texts-with-nul": _head(b"a\0b", b"p\0w", b"") + _local(1, 0, b"x", sender=b"\0", to=b"a\0b", subject=b"x\0"),
        "texts-with-high-bytes": _head(b"Caf\xe9") + _local(1, 0, body, sender=b"\x81", subject=b"gr\xfc\xdfe"),
        "system-with-line-end": _head(b"two\r\nlines\n") + echo,
        "system-of-percents": _head(b"%s%n 100%") + echo,
        "password-empty": _head(password=b"") + echo,
        "messages-8": head + echo * 8,
        "messages-9": head + echo * 9,
        "cut-in-head": _head()[:9],
        "cut-in-message": head + echo + echo[:20],
        "text-that-looks-like-records": b"\0\0\0" + _local(1, 0, dat_records(b"y" * 500)[:600]),
        "text-lines-of-packets": head + _local(1, 0, text_lines("a", "", "b")),
    }
    for name, address in RECIPIENTS.items():
        seeds[f"netmail-to-{name}"] = head + _local(2, 0, body, to=address.encode())
    for size in (0, 1, 125, 126, 127, 128, 253, 254, 255, 508, 509, 511, 512, 699):
        seeds[f"body-of-{size}"] = head + _local(1, 0, b"y" * size)
    for size in (1, 29, 30, 31, 63, 64):
        seeds[f"names-of-{size}"] = head + _local(1, 0, body, sender=b"F" * size, to=b"T" * size)
    for size in (39, 40, 41, 127, 128, 255):
        seeds[f"subject-of-{size}"] = head + _local(1, 0, body, subject=b"S" * size)
    for size in (1, 62, 63, 64, 127, 128, 255):
        seeds[f"system-of-{size}"] = _head(b"s" * size) + echo
    for size in (1, 7, 8, 9):
        seeds[f"password-of-{size}"] = _head(password=b"p" * size) + echo
    for size in (62, 63, 64, 65, 127, 128, 252):
        seeds[f"parent-msgid-of-{size}"] = _head(sig=b"m" * size + b"\t9\n") + _local(1, REPLY, body, thread=9)
    return seeds

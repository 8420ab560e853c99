"""Inbound mail: packets, and the bundles that hold them."""

import struct
from datetime import datetime

from formats.packet import CLOSING_WORD, HEADER_SIZE, PackedMessage, Packet, echomail, netmail, text_lines
from formats.published_bundle import published_bundle
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, ENTRY_LIMIT, SIGNATURE, Entry, bundle, deflate

from fuzz.seeds import Seeds

UTF8 = b"\x01CHRS: UTF-8 4"
MAIL = Packet([echomail("general", "one", "", "two", msgid="m1"), netmail("letter", msgid="m2"),
               echomail("GENERAL", UTF8, "gr\u00fc\u00dfe".encode(), b"\xe2\x80\xa6")]).pack()
EMPTY = Packet().pack()
BAD_TYPE = Packet([netmail("letter"), PackedMessage(b"x", message_type=1)]).pack()
REFUSED = Packet([echomail("GENERAL", "x"), echomail("TWO WORDS", "x"), echomail("GENERAL", "y")]).pack()

NETMAIL_AND_CATCH_ALL = 3
"""The options of most packets; see `packet`."""


def _headers() -> Seeds:
    """Each limit of the header from both sides, and the bytes that make it another type."""
    seeds = {}
    fields = {"year": (0, 1989, 1990, 2100, 2101, 65535), "month": (0, 11, 12, 65535), "day": (0, 1, 31, 32, 65535),
              "packet_type": (0, 1, 3, 258, 512)}
    for field, values in fields.items():
        for value in values:
            seeds[f"{field.replace('_', '-')}-{value}"] = Packet([echomail("GENERAL", "x")], **{field: value}).pack()
    for word in (1, 2, 3, 255, 256, 512, 65535):
        seeds[f"first-word-{word}"] = Packet(closing=struct.pack("<H", word)).pack()
    older = {"q_orig_zone": 0, "q_dest_zone": 0, "aux_net": 0, "cap_word_copy": 0, "cap_word": 0, "orig_zone": 0,
             "dest_zone": 0, "orig_point": 0, "dest_point": 0, "product_data": bytes(4)}
    largest = {field: 65535 for field in ("orig_node", "dest_node", "orig_net", "dest_net", "orig_zone", "dest_zone",
                                          "orig_point", "dest_point", "baud", "hour", "minute", "second")}
    letter = [netmail("letter")]
    return seeds | {
        "empty": EMPTY,
        "header-type-2": Packet(letter, **older).pack(),
        "header-type-2-plus": Packet(letter, cap_word=1, cap_word_copy=256, q_orig_zone=2, orig_zone=2).pack(),
        "header-type-2-plus-from-point": Packet(letter, orig_net=65535, aux_net=250, orig_point=7).pack(),
        "header-capabilities-differ": Packet(letter, cap_word=1, cap_word_copy=1).pack(),
        "header-type-2-2": Packet(letter, year=5, month=2, day=0, baud=2).pack(),
        "header-of-largest-words": Packet(letter, **largest).pack(),
        "header-only": EMPTY[:HEADER_SIZE],
        "59-bytes": EMPTY[:59],
        "61-bytes": EMPTY + b"x",
        "nothing": b"",
        "zeros": bytes(60),
        "closing-missing": Packet([netmail("letter")], closing=b"").pack(),
        "closing-one-byte": Packet([netmail("letter")], closing=b"\0").pack(),
        "closing-other-byte": Packet([netmail("letter")], closing=b"\2").pack(),
        "closing-and-more": Packet([netmail("letter")], closing=CLOSING_WORD + MAIL[HEADER_SIZE:]).pack(),
    }


def _cuts() -> Seeds:
    """One message, cut in and around each of its parts."""
    message = PackedMessage(b"text\r", "From", "To", "Subject")
    whole = Packet([echomail("GENERAL", "x"), message], closing=b"").pack()
    start = len(whole) - len(message.pack())
    seeds = {f"cut-in-head-at-{size}": whole[: start + size] for size in (1, 2, 3, 12, 13, 14)}
    at = start + 14
    for name in ("date", "to", "from", "subject", "text"):
        end = whole.index(b"\0", at)
        seeds |= {f"cut-in-{name}": whole[: (at + end) // 2], f"cut-before-nul-of-{name}": whole[:end],
                  f"cut-after-{name}": whole[: end + 1]}
        at = end + 1
    return seeds


def _widths() -> Seeds:
    """Texts that just fit their field, and those that do not."""
    seeds = {}
    for size in (0, 1, 30, 31, 62, 63, 64, 65, 127, 128, 255, 256):
        seeds[f"names-of-{size}"] = [PackedMessage(text_lines("x"), "F" * size, "T" * size)]
    for size in (0, 40, 41, 126, 127, 128, 255, 256):
        seeds[f"subject-of-{size}"] = [PackedMessage(text_lines("x"), subject="S" * size)]
    for size in (0, 17, 18, 63, 64, 127, 128):
        seeds[f"date-of-{size}"] = [PackedMessage(text_lines("x"), date="D" * size)]
    for size in (0, 125, 126, 127, 128, 253, 254, 255, 256, 510, 511, 512, 513):
        # Stored with one byte more, its line end.
        seeds[f"text-of-{size}"] = [PackedMessage(b"AREA:GENERAL\r" + b"x" * size)]
    for size in (63, 64, 126, 127, 128):
        seeds[f"msgid-of-{size}"] = [echomail("GENERAL", "x", msgid="m" * size, reply="r" * min(size, 127))]
    for word in (0, 1, 2, 255, 256, 32768, 65534, 65535):
        seeds[f"origin-and-attribute-{word}"] = [PackedMessage(b"x", orig_net=word, orig_node=word, attribute=word)]
    return {name: Packet(messages).pack() for name, messages in seeds.items()}


def _routes() -> Seeds:
    """Messages by where they go and what they reply to; the site has messages 5, 7 (deleted) and -3 in REPLIES."""
    replies = [
        echomail("replies", "live", msgid="1:2/3 new", reply="1:2/3 five"),
        echomail("REPLIES", "gone", reply="1:2/3 gone", subject="Re: x"),
        echomail("REPLIES", "next", msgid="1:2/3 five", reply="1:2/3 next"),
        echomail("REPLIES", "again", msgid="1:2/3 new"),
        echomail("REPLIES", "no tab", msgid="no tab", reply="1:2/3 minus"),
        echomail("REPLIES", "to the next number", reply="1:2/3 next"),
        echomail("REPLIES", "zero", reply="1:2/3 zero"),
        echomail("REPLIES", "unknown", reply="1:2/3 nobody"),
        echomail("REPLIES", "no kludge", subject="RE: x"),
        echomail("REPLIES", "case", msgid="1:2/3 FIVE", reply="1:2/3 NEW"),
        echomail("REPLIES", "own", msgid="1:2/3 own", reply="1:2/3 own"),
    ]
    areas = ("NEARLY", "nearly", "BROKEN", "HIDDEN", "unknown", "*", "Unknown", "GENERAL")
    return {
        "mail": MAIL,
        "replies": Packet(replies).pack(),
        "reply-within-packet": Packet([echomail("GENERAL", "1", msgid="a"), echomail("GENERAL", "2", reply="a"),
                                       netmail("3", reply="a")]).pack(),
        "duplicates-across-areas": Packet([echomail(area, "x", msgid="same") for area in areas]).pack(),
        "areas": Packet([echomail(area, "x") for area in areas]).pack(),
        "netmail-private": Packet([netmail("x", attribute=1), netmail(attribute=0x0102), netmail("x", cost=9)]).pack(),
        "texts-without-lines": Packet([PackedMessage(), PackedMessage(b"\r"), PackedMessage(b"AREA:GENERAL")]).pack(),
        "utf-8-in-names": Packet([echomail("GENERAL", UTF8, sender=b"Andr\xc3\xa9", subject=b"\xc3\xa9\xff")]).pack(),
        "utf-8-overlong-and-cut": Packet([echomail("GENERAL", UTF8, b"\xc0\x80\xe0\x80\x81\xf0\x9f", b"\xc3")]).pack(),
        "utf-8-not-named": Packet([echomail("GENERAL", b"\xc3\xa9\xe2\x80\xa6\xff")]).pack(),
        "line-ends": Packet([PackedMessage(b"AREA:GENERAL\na\r\nb\n\rc\r\r\n\nd")]).pack(),
        "routing-lines": Packet([echomail("GENERAL", "x", "SEEN-BY: 1/2", b"\x01PATH: 1/2", "--- tear")]).pack(),
        "dates": Packet([netmail("x", date=date) for date in ("31 Dec 99 23:59:60", "Mon 5 Jan", "")]).pack(),
        "refused-first": Packet([echomail("", "x"), netmail("letter")]).pack(),
        "refused-second": REFUSED,
        "refused-then-damage": REFUSED[:-10],
        "bad-type-second": BAD_TYPE,
        "bad-type-512": Packet([netmail("letter"), PackedMessage(b"x", message_type=512)]).pack(),
        "bad-type-behind-failed": Packet([echomail("BROKEN", "x"), PackedMessage(message_type=3)]).pack(),
        "failed-between-others": Packet([netmail("1"), echomail("BROKEN", "2"), netmail("3")]).pack(),
        "messages-60": Packet([echomail("GENERAL", msgid=f"n{n}", reply=f"n{n // 2}") for n in range(60)]).pack(),
    }


def packet() -> Seeds:
    """Packets behind a byte of options: 3 has netmail and a catch-all, 4 to 12 have a file that fails."""
    msgid, names = "1:2/3 a", {"sender": "Bo", "to": "Cy", "subject": "Tea"}
    whole = Packet([echomail("REPLIES", b"\x01CHRS: UTF-8 4", b"\xc3\xa9", msgid=msgid, reply="1:2/3 five", **names),
                    netmail("x", attribute=1), echomail("WHAT", "x", **names), echomail("REPLIES", "2", msgid=msgid)])
    packets = {"whole": whole.pack()} | _headers() | _cuts() | _widths() | _routes()
    seeds = {name: bytes([NETMAIL_AND_CATCH_ALL]) + data for name, data in packets.items()}
    for options in (*range(3), *range(4, 16)):
        for name in ("mail", "areas"):
            seeds[f"{name}-options-{options}"] = bytes([options]) + packets[name]
    for options in (4, 8, 12, 15):
        for name in ("replies", "text-of-255", "bad-type-second", "refused-second"):
            seeds[f"{name}-options-{options}"] = bytes([options]) + packets[name]
    return seeds



def _stored_blocks(data: bytes, size: int) -> bytes:
    """Deflate data of stored blocks of that many bytes and an empty one at the end."""
    pieces = [data[at : at + size] for at in range(0, len(data), size)] + [b""]
    return b"".join(struct.pack("<BHH", at == len(pieces) - 1, len(piece), len(piece) ^ 0xFFFF) + piece
                    for at, piece in enumerate(pieces))


def _zip_sizes() -> Seeds:
    """Size fields of an entry, right and wrong."""
    entry = Entry("0000a1b2.pkt", MAIL, DEFLATED)
    zip64 = struct.pack("<2H2Q", 1, 16, len(MAIL), len(MAIL))
    stored = {"larger-by-one": len(MAIL) + 1, "smaller-by-one": len(MAIL) - 1, "zero": 0, "largest": 0xFFFFFFFF}
    seeds = {f"stored-size-{name}": bundle(Entry("a.pkt", MAIL, uncompressed=size)) for name, size in stored.items()}
    seeds |= {f"deflated-size-{name}": bundle(Entry("b.pkt", MAIL, DEFLATED, uncompressed=size), entry)
              for name, size in stored.items()}
    for name, size in {"limit": ENTRY_LIMIT, "limit-and-one": ENTRY_LIMIT + 1, "granted": 4 << 20,
                       "granted-and-one": (4 << 20) + 1, "signed": 0x80000000}.items():
        seeds[f"declares-{name}"] = bundle(Entry("a", b"", DEFLATED, uncompressed=size), Entry("b", uncompressed=size))
    return seeds | {
        "zip64-in-extra": bundle(Entry("a.pkt", MAIL, extra=zip64, compressed=0xFFFFFFFF, uncompressed=0xFFFFFFFF)),
        "zip64-uncompressed-only": bundle(Entry("a.pkt", MAIL, DEFLATED, extra=zip64, uncompressed=0xFFFFFFFF), entry),
        "descriptor": bundle(Entry("a.pkt", MAIL, flags=DATA_DESCRIPTOR), entry),
        "descriptor-sizes-zero": bundle(Entry("a.pkt", MAIL, DEFLATED, flags=DATA_DESCRIPTOR, crc=0, compressed=0,
                                              uncompressed=0), after=b"PK\x07\x08" + bytes(12)),
        "data-cut-by-one": bundle(Entry("a.pkt", MAIL), after=b"")[:-1],
        "data-claims-more": bundle(entry, Entry("b.pkt", MAIL, compressed=99999)),
        "data-claims-largest": bundle(entry, Entry("b.pkt", MAIL, compressed=0xFFFFFFFF)),
        "data-claims-nothing": bundle(Entry("b.pkt", MAIL, compressed=0, uncompressed=0), entry),
    }


def _deflated(name: str, data: bytes, content: bytes) -> bytes:
    return bundle(Entry(name, content, DEFLATED, data=data), Entry("b.pkt", EMPTY))


def _zip_deflates() -> Seeds:
    """Deflate data of every kind of block, whole and damaged; the long lines are beyond what a packet seed may hold."""
    plain = deflate(MAIL)
    seeds = {
        "deflate-stored-blocks": _stored_blocks(MAIL, 100),
        "deflate-fixed-block": deflate(MAIL, 1),
        "deflate-best": deflate(MAIL, 9),
        "deflate-cut": plain[:-1],
        "deflate-cut-early": plain[:3],
        "deflate-nothing": b"",
        "deflate-and-more": plain + b"more",
        "deflate-with-zlib-header": b"\x78\x9c" + plain,
        "deflate-of-reserved-block": b"\x07" + plain,
        "deflate-stored-length-wrong": b"\x01\x05\x00\x00\x00" + MAIL,
        "deflate-far-distance": b"\x4b\x04\x12\x00",
    }
    made = {name: _deflated("a.pkt", data, MAIL) for name, data in seeds.items()}
    for size in (65534, 65535, 65536, 65537):
        lines = Packet([PackedMessage(b"x" * size + b"\r")]).pack()
        made[f"deflate-line-of-{size}"] = bundle(Entry("long.pkt", lines, DEFLATED))
    return made


def _zip_names() -> Seeds:
    """Names and extra fields, and where they are cut."""
    seeds = {}
    for size in (0, 1, 63, 64, 127, 128, 255, 256, 258, 259, 260, 261, 511, 512):
        seeds[f"name-of-{size}"] = bundle(Entry("n" * size, EMPTY))
        seeds[f"extra-of-{size}"] = bundle(Entry("a.pkt", EMPTY, extra=b"x" * size))
    return seeds | {
        "name-utf-8": bundle(Entry("gr\u00fc\u00dfe.pkt".encode(), EMPTY, flags=0x0800)),
        "name-utf-8-not-flagged": bundle(Entry("gr\u00fc\u00dfe.pkt".encode(), EMPTY)),
        "name-broken-utf-8": bundle(Entry(b"\xc3(\xff\xc0\xae.pkt", EMPTY, flags=0x0800)),
        "name-with-path": bundle(Entry("../../a.pkt", EMPTY), Entry("C:\\a.pkt", EMPTY), Entry("dir/", b"")),
        "name-with-nul": bundle(Entry("a\0b.pkt", EMPTY)),
        "name-with-line-end": bundle(Entry("a\r\n  ZIP entry: b", EMPTY)),
        "name-of-percents": bundle(Entry("%s%n%100d.pkt", EMPTY)),
        "name-claims-65535": bundle(Entry("a.pkt", name_length=65535)),
        "name-to-the-end": bundle(Entry("a.pkt"), after=b""),
        "name-past-the-end-by-one": bundle(Entry("a.pkt", name_length=6), after=b""),
        "extra-past-the-end-by-one": bundle(Entry("a.pkt", extra=b"xy", extra_length=3), after=b""),
        "extra-claims-65535": bundle(Entry("a.pkt", extra_length=65535)),
    }


def zip_bundle() -> Seeds:
    """Bundles, some of them damaged."""
    entry = Entry("0000a1b2.pkt", MAIL, DEFLATED)
    two = bundle(entry, Entry("b.pkt", EMPTY, extra=b"extra"), after=b"")
    inner = Entry("inner.pkt", MAIL)
    seeds = {
        "stored": bundle(Entry("a.pkt", MAIL)),
        "deflated": bundle(entry),
        "whole": bundle(Entry("a.pkt", BAD_TYPE), Entry("b", MAIL[:100], DEFLATED, extra=b"x"), after=b"PK\x01\x02"),
        "two": two,
        "two-of-one-name": bundle(entry, entry),
        "published": published_bundle("6917c9dc.pkt", MAIL, datetime(2025, 11, 15, 0, 31, 24)),
        "readme": bundle(entry, Entry("README.TXT", b"not a packet")),
        "readme-alone": bundle(Entry("README.TXT", b"not a packet")),
        "bundle-within": bundle(Entry("inner.zip", bundle(inner))),
        "damaged-packet": bundle(Entry("f.pkt", BAD_TYPE)),
        "damaged-and-refused": bundle(Entry("f.pkt", BAD_TYPE), Entry("r.pkt", REFUSED)),
        "entries-of-nothing": bundle(Entry("", b"", DEFLATED), Entry("", b"")),
        "overlapping-next-in-data": bundle(Entry("outer.pkt", MAIL + inner.pack()), entry),
        "overlapping-data-too-short": bundle(Entry("outer.pkt", inner.pack() + MAIL, compressed=0, uncompressed=0)),
        "overlapping-same-data": bundle(Entry("a.pkt", MAIL, extra_length=len(MAIL), data=MAIL + EMPTY)),
        "gap-between-entries": entry.pack() + b"\0" + inner.pack(),
        "bytes-before-first": b"MZ" + two,
        "spanned-marker-first": b"PK00" + two,
        "directory-only": b"PK\x05\x06" + bytes(18),
        "encrypted": bundle(Entry("a.pkt", MAIL, flags=1), Entry("b.pkt", MAIL, DEFLATED, flags=0xFFF7)),
        "crc-wrong": bundle(Entry("a.pkt", MAIL, crc=0), Entry("b.pkt", MAIL, DEFLATED, crc=1)),
        "signature-only": SIGNATURE,
        "signature-damaged-second": entry.pack() + b"PK\x03\x05" + inner.pack()[4:],
        "header-of-29": two[:29],
        "header-of-30": Entry("", b"").pack(),
        "header-of-29-second": bundle(entry, after=SIGNATURE.ljust(29, b"x")),
        "header-of-30-second": bundle(entry, after=SIGNATURE.ljust(30, b"\0")),
        "nothing": b"",
    }
    for method in (1, 6, 7, 9, 12, 99, 256, 264, 65535):
        seeds[f"method-{method}"] = bundle(Entry("a.pkt", MAIL, method=method), Entry("b.pkt", EMPTY))
    return seeds | _zip_sizes() | _zip_deflates() | _zip_names()


def forecast() -> Seeds:
    """A byte of options as for a packet, and a packet or bundle as for the other two targets."""
    packets = ("areas", "bad-type-second", "cut-in-text", "duplicates-across-areas", "mail-options-0", "refused-second",
               "replies", "reply-within-packet", "utf-8-in-names")
    bundles = ("bundle-within", "crc-wrong", "damaged-and-refused", "descriptor", "name-with-path", "readme", "two")
    made = packet(), zip_bundle()
    seeds = {f"packet-{name}": made[0][name] for name in packets}
    seeds |= {f"bundle-{name}": bytes([NETMAIL_AND_CATCH_ALL]) + made[1][name] for name in bundles}
    seeds["whole-packet"] = made[0]["whole"]
    two = bundle(Entry("a.pkt", MAIL, DEFLATED), Entry("b", BAD_TYPE))
    seeds["whole-bundle"] = bytes([NETMAIL_AND_CATCH_ALL]) + two
    return seeds

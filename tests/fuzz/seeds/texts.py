"""The contents of a message: its text, its date, its characters."""

from formats.packet import DATE, text_lines

from fuzz.seeds import Seeds

CODE_PAGE_LETTERS = "ÄÅÇÉÑÖÜàâäåçèéêëìîïñòôöùûüÿ¡¿"
SIGNS = "\u2010\u2011\u2012\u2013\u2014\u2015\u2018\u2019\u201a\u201b\u201c\u201d\u201e\u2025\u2026\u2027\u20ac"

DATES = {
    "usual": DATE, "one-blank": "05 Jan 25 00:07:59", "year-of-four-digits": "31 dec 1999 23:59:60",
    "one-digit-each": "5 jAN 5 1:2:3", "leading-blanks": "   5    Jan    25    10:00:00",
    "every-white-space": "\r\n5\vJan\f25\t10:\t7:\n9", "no-blank-before-month": "5Jan 25 10:00:00",
    "no-blank-behind-month": "5 Jan25 10:00:00", "plus-signs": "+7\tMAY +5 +1:+2:+3", "more-behind": "1 Mar 25 1:2:3x",
    "zone-behind": "01 Mar 25  01:02:03 +0100", "leading-zeros": "0000005 Jan 00025 0010:007:0009",
    "day-0": "0 Jan 1 1:1:1", "day-1": "1 Jan 1 1:1:1", "day-31": "31 Feb 25 10:00:00",
    "day-32": "32 Jan 25 10:00:00",
    "day-minus": "-1 Jan 25 10:00:00", "day-at-32-bits": "4294967301 Jan 25 10:00:00",
    "day-at-64-bits": "18446744073709551617 Jan 25 10:00:00", "day-only": "99999999999",
    "day-word": "Mon 5 Jan 25 1:1:1",
    "year-0": "5 Jan 0 10:00:00", "year-99": "5 Jan 99 10:00:00", "year-100": "5 Jan 100 10:00:00",
    "year-minus": "1 Mar -1 12:0:0", "year-largest": "1 Mar 2147483647 12:0:0",
    "year-clamped": "1 May 2147483648 1:2:3",
    "hour-0": "1 Jun 07 00:00:00", "hour-11": "1 Jun 07 11:59:59", "hour-12": "1 Jun 07 12:00:00",
    "hour-13": "1 Jun 07 13:00:00", "hour-23": "1 Jun 07 23:00:00", "hour-24": "1 Jun 07 24:00:00",
    "hour-minus": "1 Jun 07 -1:00:00", "minute-59": "1 Jul 7 1:59:0", "minute-60": "1 Jul 7 1:60:0",
    "minute-minus": "1 Jul 7 1:-1:0", "second-60": "1 Jul 7 1:0:60", "second-61": "1 Jul 7 1:0:61",
    "second-minus": "1 Jul 7 1:0:-1", "month-unknown": "5 Foo 25 10:00:00", "month-of-two": "5 Ja 25 10:00:00",
    "month-with-point": "5 Jan. 25 10:00:00", "month-of-seven": "5 January 25 1:2:3",
    "month-of-eight": "5 February 25 1:2:3",
    "month-is-number": "5 01 25 10:00:00", "month-between-two": "5 anF 25 10:00:00",
    "month-high-byte": "5 J\xe4n 25 1:1:1",
    "blank-before-colon": "1 Jul 7 1 :2:3", "no-colon": "1 Jul 7 1 2 3", "cut-before-seconds": "1 Jul 7 1:2:",
    "without-seconds": "1 Jul 7 1:2", "without-time": "1 Jul 7", "without-year": "1 Jul", "blank": " ", "empty": "",
    "17-kept": "x" * 17, "18-kept": "x" * 18, "63-kept": "x" * 63, "64-kept": "x" * 64,
    "nul-within": "05 Jan\x00 25 1:1:1",
}

WRITTEN = {
    "first": (0, 0, 0, 0, 0, 0), "last": (110, 11, 30, 23, 59, 60), "noon": (35, 10, 14, 12, 0, 0),
    "before-noon": (9, 6, 15, 11, 59, 59), "2000": (10, 1, 28, 1, 1, 1), "evening": (35, 8, 9, 13, 31, 24),
}
"""Years since 1990, months since January, days since the first, hours, minutes and seconds."""


def fts_date() -> Seeds:
    """Date texts; their bytes also encode a date to be written."""
    seeds = {f"read-{name}": text.encode("latin-1") for name, text in DATES.items()}
    seeds["whole"] = b"Fri 05 Jan 25  00:07:59"
    seeds |= {f"read-month-{month.lower()}": f"05 {month} 25  00:07:59".encode() for month in
              ("JAN", "Feb", "mar", "aPr", "May", "JUn", "jUl", "auG", "Sep", "oct", "NOV", "Dec")}
    return seeds | {f"written-{name}": bytes(parts) for name, parts in WRITTEN.items()}


def utf8() -> Seeds:
    """Texts in UTF-8, and texts that only look like it."""
    seeds = {
        "plain": b"plain\x01text\r\n",
        "ascii": bytes(range(0x80)),
        "latin-1": "".join(chr(point) for point in range(0x80, 0x100)).encode(),
        "letters-of-the-code-page": CODE_PAGE_LETTERS.encode(),
        "signs-and-their-neighbours": SIGNS.encode(),
        "byte-order-mark": "\ufeffx".encode(),
        "combining": "e\u0301\u0308".encode(),
        "whole": "a\u00e9\u20ac\U0001f600b".encode(),
        "surrogates": b"\xed\x9f\xbf\xed\xa0\x80\xed\xbf\xbf\xee\x80\x80",
        "surrogate-pair": b"\xed\xa0\xbd\xed\xb8\x80",
        "beyond-unicode": b"\xf4\x8f\xbf\xbf\xf4\x90\x80\x80\xf7\xbf\xbf\xbf",
        "five-and-six-bytes": b"\xf8\x88\x80\x80\x80\xfc\x84\x80\x80\x80\x80",
        "leads-of-nothing": b"\x80\xbf\xfe\xff\xf8x",
        "continuations-first": b"\xa9\x80a\x80\xe2",
        "broken": b"\x80\xc3\xc3\xa9\xe2\x80\xf8\x88\xff\xf0\x9f\x98\xe2\x80\xa6\xc3",
        "across-line-end": b"\xc3\x01\xa9\xe2\x80\x01\xa6\xf0\x9f\x01\x98\x80",
        "nul-within": b"a\0\xc3\xa9\0",
        "code-page-437": bytes(range(0x80, 0x100)),
        "empty": b"",
    }
    for point in (0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF):
        seeds[f"point-{point:x}"] = chr(point).encode()
    overlong = {2: b"\xc0\x80\xc1\xbf\xc0\xaf", 3: b"\xe0\x80\x81\xe0\x83\xa9\xe0\x9f\xbf",
                4: b"\xf0\x80\x80\x81\xf0\x80\x83\xa9\xf0\x82\x80\xa6\xf0\x8f\xbf\xbf"}
    for size, data in overlong.items():
        seeds[f"overlong-{size}"] = data
    for name, character in {"2": b"\xc3\xa9", "3": b"\xe2\x80\xa6", "4": b"\xf0\x9f\x98\x80"}.items():
        for size in range(1, len(character)):
            seeds[f"cut-to-{size}-of-{name}"] = b"x" + character[:size]
            seeds[f"broken-after-{size}-of-{name}"] = character[:size] + b"xyz"
    return seeds


def _run(count: int, byte: bytes) -> bytes:
    """The code that the target expands to that many of the byte: 1 to 239, or 65,528 to 65,543."""
    return b"\xfe" + bytes([count if count < 240 else count - 65536 + 248]) + byte


def _line_of(size: int) -> bytes:
    return _run(size, b"x") + b"\r"


def _kludge(name: str, value: bytes) -> bytes:
    return b"\x01" + name.encode() + b": " + value + b"\r"


def inbound_text() -> Seeds:
    """Message texts; FE, a count and a byte are a run, and the counts 240 to 255 mean 65,528 to 65,543."""
    kludges = b"\x01MSGID:   1:2/3 abcd \r\x01reply: x\r\x01CHRS: LATIN-1 2\r\x01PATH: 1/2\r\x01TZUTC: 0100\r"
    seeds = {
        "whole": b"AREA:  Fido_Tech \r" + kludges + b"Hello\r\rBye",
        "empty": b"",
        "no-line-end": b"x",
        "line-ends-of-all-kinds": b"a\nb\r\nc\n\rd\r\re\n\n\r\r\n",
        "line-ends-only": b"\r\n\r\n\n\r\r",
        "lf-only": text_lines("a", "", "b").replace(b"\r", b"\n"),
        "cr-after-lf-lines": b"a\nb\nc\rd\ne\r\n",
        "soft-returns": b"wrapped\x8dline\x8d\nx\r",
        "line-end-byte-within": b"a\x01b\r\x01\rx\x01\r",
        "nul-within": b"before\r\0after\r",
        "routing-lines": b"seen-by: 1/2\r SEEN-BY: 1/2\rPATH: 3\rPATH\rSEEN-BY\rAREA:X\r--- tear\r * Origin: x\r",
        "area-second": b"\rAREA:X\rx\r",
        "area-lower-case": b"area:fido\rx\r",
        "area-star": b"area:*\rx",
        "area-empty": b"AREA:\r",
        "area-blanks": b"AREA:  \t \r",
        "area-tab-first": b"AREA:\tX\r",
        "area-of-two-words": b"AREA:FOO BAR\r",
        "area-colon": b"AREA:A:B\r",
        "area-delete": b"AREA:A\x7f\r",
        "area-control": b"AREA:A\x01B\r",
        "area-high-bytes": b"AREA:\x80\xff\r",
        "area-alone": b"AREA:X",
        "area-without-colon": b"AREA X\r",
        "area-too-long-for-log": b"AREA:" + _run(239, b"t") * 5 + b"\r",
        "kludges-twice": b"".join(_kludge(*one) for one in (("MSGID", b"1"), ("MSGID", b"2"), ("REPLY", b"3"))) * 2,
        "kludges-empty": b"\x01MSGID:\r\x01REPLY: \r\x01CHRS:\r\x01\r\x01x\r",
        "kludges-without-colon": b"\x01MSGID 1\r\x01REPLY\r\x01CHRS x\rMSGID: 1\r",
        "kludge-first-then-area": _kludge("MSGID", b"1") + b"AREA:X\r",
        "kludge-at-end-without-line-end": b"x\r\x01MSGID: 1:2/3 4",
        "utf-8-named": _kludge("CHRS", b"utf-8 4") + "\u00e9\u2026\u00df\U0001f600".encode() + b"\xc3",
        "utf-8-named-behind": "\u00e9\r".encode() + _kludge("CHRS", b"UTF-8 4"),
        "utf-8-not-named": "\u00e9\u2026\r".encode(),
        "utf-8-withdrawn": _kludge("CHRS", b"UTF-8 4") + b"\xc3\xa9\r" + _kludge("CHRS", b"CP437 2"),
        "utf-8-almost-named": _kludge("CHRS", b"UTF8 4") + b"\xc3\xa9\r",
        "utf-8-overlong-line-end": _kludge("CHRS", b"UTF-8 4") + b"a\xc0\x8db\xc0\x80c\xc0\x81\r",
        "utf-8-cut-by-line-end": _kludge("CHRS", b"UTF-8 4") + b"\xc3\r\xa9\r\xe2\x80\r",
        "lines-many": b"\xfe\xc8\r\xfe\x80 x",
        "blank-lines-255": _run(239, b"\n") + b"\n" * 16 + b"x",
    }
    for size in (126, 127, 128, 254, 255, 256, 511, 512):
        seeds[f"line-of-{size}"] = _run(size % 239 or 1, b"x") + _run(239, b"x") * (size // 239) + b"\r"
    for size in (65534, 65535, 65536, 65537):
        seeds[f"line-of-{size}"] = b"re: \r" + _line_of(size) + b"end"
    for size in (65535, 65536, 65537):
        seeds[f"last-line-of-{size}"] = _run(size, b"x")
    for size in (31, 32):
        seeds[f"area-of-{size}"] = b"AREA:" + b"t" * size + b" \t\r"
        seeds[f"chrs-of-{size}"] = _kludge("CHRS", b"c" * size)
    for size in (63, 64, 127, 128):
        seeds[f"msgid-of-{size}"] = _kludge("MSGID", b"m" * size)
        seeds[f"reply-of-{size}"] = _kludge("REPLY", b"r" * size)
    seeds["msgid-of-65536-with-its-kludge"] = b"\x01MSGID: " + _run(65528, b"m")
    for name, subject in {"reply": b"re:", "reply-in-capitals": b"RE: x", "cut": b"re", "behind-blank": b" re:",
                          "of-other": b"red: x", "later": b"Fwd: re:"}.items():
        seeds[f"subject-{name}"] = subject
    return seeds

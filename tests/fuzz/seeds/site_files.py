"""The small files of a site: configuration, conference table, node status, lock and serials."""

import zlib

from formats.conference_table import Conference, conference_file, echo, netmail
from formats.node_status import IDLE, Node, node_file

from fuzz.seeds import Seeds

TEXT_DIRECTIVES = {"INBOUND": 255, "CONFDIR": 255, "WORKDIR": 255, "MSGDIR": 255, "OUTDIR": 255, "PROCESSEDDIR": 255,
                   "SYSTEM": 63, "PKTPW": 8}
"""How many characters the value of each may have."""

ADDRESSES = {
    "without-point": "2:250/1", "with-point": "2:250/1.7", "of-largest-words": "65535:65535/65535.65535",
    "beyond-words": "65536:65536/65536.65536", "with-signs": "-1:+2/-3.+4", "with-blanks": "2: 250/ 1. 7",
    "blank-before-colon": "2 :250/1", "point-cut": "2:250/1.", "node-cut": "2:250/", "net-only": "2:250", "word": "x",
    "zone-missing": "250/1", "more-behind": "2:250/1.7@net", "letters-behind": "2:250/1x",
    "at-32-bits": "2147483647:2147483648/-2147483648.-2147483649", "at-64-bits": "18446744073709551616:1/1",
}

SWITCHES = {
    "yes": "yes", "y": "Y", "1": "1", "no": "No", "n": "n", "0": "0", "off": "off", "2": "2", "nothing": "",
    "two-words": "yes x", "word-cut-away": "no" + " " * 13 + "x", "15-letters": "y" * 15, "16-letters": "n" * 16,
}


def config() -> Seeds:
    """Configuration files."""
    whole = (
        b"; the whole of it\r\ninbound  C:/bbs/in  \r\nCONFDIR D:/cv\nMSGDIR D:/cv/msg ; kept\nOUTDIR out\n"
        b"SYSTEM The Test BBS\nADDRESS 2:250/1.7\nHUB 2:250/0\nPKTPW SECRET12\nKEEPPROCESSED no\nPROCESSEDDIR done\n"
    )
    seeds = {
        "whole": whole,
        "workdir-given": b"WORKDIR w\\x\nCONFDIR /c\n\tKeepProcessed\tYES",
        "workdir-derived": b"CONFDIR /c/d/\n",
        "workdir-before-longest-confdir": b"WORKDIR w\nCONFDIR " + b"c" * 251 + b"\n",
        "confdir-with-room-for-work": b"CONFDIR " + b"c" * 250 + b"\n",
        "confdir-no-room-for-work": b"CONFDIR " + b"c" * 251 + b"\n",
        "no-room-for-work-and-error": b"CONFDIR " + b"c" * 251 + b"\nHUB x\n",
        "every-value-longest": b"".join(b"%s %s\r\n" % (k.encode(), b"v" * n) for k, n in TEXT_DIRECTIVES.items()),
        "given-twice": whole + b"SYSTEM Another\nADDRESS 3:1/2\nKEEPPROCESSED yes\nPKTPW x\n",
        "bad-then-good": b"ADDRESS x\nADDRESS 1:2/3\nKEEPPROCESSED x\nKEEPPROCESSED n\n",
        "empty-values": b"INBOUND\nSYSTEM \t \nADDRESS\nHUB \nKEEPPROCESSED\nUNKNOWN\n",
        "unknown-directives": b"INBOUNDX y\nIN BOUND\n=\nPKT\n\xc9\xe9 x\n",
        "keyword-31-32-33": b"".join(b"K" * size + b" v\n" for size in (31, 32, 33)),
        "line-end-at-piece-end": b"".join(b"MSGDIR".ljust(n) + b"abcd\n" for n in (505, 506, 507, 508, 509)),
        "long-line-in-pieces": b"MSGDIR " + b" " * 490 + b"directory\n" + b"K" * 40 + b" v\n;" + b" OUTDIR o" * 60,
        "comments-and-blanks": b"\n;\n  ; x\n\t;\r\n \t \r\n;INBOUND i\n",
        "cr-alone": b"MSGDIR m\rOUTDIR o\r",
        "lf-cr": b"MSGDIR m\n\rOUTDIR o\n\r",
        "no-line-end": b"MSGDIR m",
        "empty": b"",
        "dos-mark": b"MSGDIR m\r\n\x1aOUTDIR o\n",
        "dos-mark-first": b"\x1aMSGDIR m\n",
        "dos-mark-in-value": b"MSGDIR m\x1an\n",
        "nul": b"MSGDIR m\0n\nOUTDIR\0o\n\0HUB x\n",
        "byte-order-mark": b"\xef\xbb\xbfMSGDIR m\n",
        "high-bytes": b"SYSTEM Caf\xe9 \x81\xff\nINBOUND \xc3\xa9\n",
        "larger-than-one-read": b"; filler filler\n" * 300 + b"SYSTEM behind it\n",
    }
    for keyword, most in TEXT_DIRECTIVES.items():
        for size in (most, most + 1):
            seeds[f"{keyword.lower()}-{size}"] = keyword.encode() + b" " + b"v" * size + b"\n"
    for name, address in ADDRESSES.items():
        seeds[f"address-{name}"] = f"ADDRESS {address}\nHUB {address}\n".encode()
    return seeds | {f"keepprocessed-{name}": f"KEEPPROCESSED {value}\n".encode() for name, value in SWITCHES.items()}


def conference_table() -> Seeds:
    """Conference files."""
    signs = bytes((0x01, 0x20, 0x21, 0x39, 0x3A, 0x3B, 0x7E, 0x7F, 0x80, 0xFF))
    public = {"public": 1}
    seeds = {
        "one": [echo("FIDO")],
        "network": [echo("ONE"), echo("*"), netmail(), Conference("Local", "ONE"), echo(" \techo.net \r")],
        "tags-bad": [echo(tag) for tag in ("", "MY AREA", "A:B", "A\x7f", " ", "\t")],
        "tags-that-repeat": [echo(tag) for tag in ("SAME", "same", "OTHER", "Same", "A:B", "a:b", "", "")],
        "tags-at-each-limit-of-signs": [echo(b"A" + bytes([sign]) + b"B") for sign in signs],
        "tags-of-unrouted": [Conference("x", "MY AREA"), Conference("x", "SAME"), echo("SAME")],
        "tags-with-nul": [echo("A\0B"), echo("\0B"), echo("A")],
        "flags-of-any-byte": [Conference("x", "R", routed=b, netmail=b, public=b) for b in (2, 128, 255)],
        "names-with-blanks": [echo("A", name) for name in (" x ", "\t x\t", "\r\nx\r\n", "", " ", "a\0b")],
        "netmail-routed": [netmail(tag="MAIL", routed=1)],
        "netmail-public-alone": [netmail(public=1, line_width=200)],
        "netmail-public-twice": [netmail(public=1), netmail(public=1, line_width=0)],
        "netmail-private-twice": [netmail(), netmail()],
        "netmail-private-and-public": [netmail(**public), netmail(), netmail(**public)],
        "netmail-too-many-to-list": [netmail()] * 90,
        "line-widths": [echo(f"W{w}", line_width=w) for w in (0, 1, 79, 126, 127, 128, 255, 256, 65535)],
        "records-200": [netmail("", line_width=127)] * 200,
        "records-201": [Conference()] * 201,
    }
    for size in (0, 1, 14, 15, 16, 127, 128, 255):
        seeds[f"tag-length-{size}"] = [echo("", raw_tag=bytes([size]) + b"T" * 15)]
    for size in (0, 1, 39, 40, 41, 127, 128, 255):
        seeds[f"name-length-{size}"] = [echo("A", raw_name=bytes([size]) + b"N" * 40)]
    seeds["whole"] = [echo("Fido", "Talk"), netmail("Post", **public), Conference("Local", "x"), echo("*"), netmail()]
    packed = {name: conference_file(conferences) for name, conferences in seeds.items()}
    one = packed["one"]
    return packed | {"empty": b"", "one-byte": b"x", "short-by-one": one[:-1], "long-by-one": one + b"x"}


def node_status() -> Seeds:
    """Node files."""
    seeds = {f"user-{user}": node_file([Node(), Node(user, 0x0A)]) for user in (0, 1, 255, 256, IDLE - 1)}
    return seeds | {
        "whole": node_file([Node(mode=0x0A), Node(mode=0x1A), Node()]),
        "idle": node_file([Node(), Node()]),
        "idle-of-any-mode": node_file([Node(mode=mode) for mode in (0, 1, 127, 128, 255)]),
        "busy-first": node_file([Node(5, 0xFF), Node(), Node(7)]),
        "busy-last": node_file([Node()] * 9 + [Node(5)]),
        "busy-255th": node_file([Node()] * 254 + [Node(5)]),
        "busy-256th": node_file([Node()] * 255 + [Node(5)]),
        "busy-257th": node_file([Node()] * 256 + [Node(7), Node(0)]),
        "larger-than-one-read": node_file([Node()] * 700 + [Node(1, 2)]),
        "empty": b"",
        "short-by-one": node_file([Node()])[:-1],
        "long-by-one": node_file([Node()]) + b"\xff",
        "one-byte": b"\xff",
    }


def lock_owner() -> Seeds:
    """Lock files."""
    seeds = {f"line-of-{size}": b"o" * size + b"\n" for size in (127, 128, 190, 191, 192, 255, 256, 382)}
    return seeds | {
        "whole": b"cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n",
        "line-cr-lf": b"cvtoss32 1.05 Beta 5 mode=-scan pid=1 started=0\r\n",
        "line-without-end": b"owner",
        "191-without-end": b"o" * 191,
        "200-without-end": b"o" * 200,
        "191-then-cr": b"o" * 190 + b"\r\n",
        "empty": b"",
        "line-end-only": b"\n",
        "cr-only": b"\r\r",
        "several-ends": b"owner\r\r\n\nsecond\n",
        "cr-within": b"own\rer\n",
        "nul": b"own\0er\n",
        "nul-first": b"\0owner\n",
        "dos-mark": b"own\x1aer\n\x1a",
        "blanks": b" \t owner \t \n",
        "high-bytes": b"\xc3\xa9\x81\xff\n",
        "percent": b"%s %n 100%\n",
    }


def serial_file() -> Seeds:
    """Serial files: at most 1,023 bytes of each are read."""
    texts = {
        "whole": b"41\r\n", "whole-two-lines": b"  13\r\n26\r\n", "whole-signed": b"+90\n-10\n",
        "whole-near-the-largest": b"4294967290\n", "whole-dos-mark": b"0\x1a", "zero": b"0", "empty": b"",
        "line-ends-only": b" \r\n", "plus": b" \n+7 x", "minus": b"-2",
        "minus-one": b"-1\n", "minus-zero": b"-0", "minus-largest": b"-4294967295", "minus-too-large": b"-4294967296",
        "sign-only": b"-", "two-signs": b"+-1", "sign-then-blank": b"- 1", "words": b"x1", "number-then-word": b"1x",
        "largest-but-one": b"4294967294", "largest": b"4294967295\n", "larger-by-one": b"4294967296",
        "eleven-digits": b"99999999999", "beyond-64-bits": b"18446744073709551616", "signed-limit": b"2147483647\n",
        "beyond-signed-limit": b"2147483648\n", "leading-zeros": b"00000000000000000000000000000000007",
        "zeros-then-largest": b"0" * 30 + b"4294967295", "point": b"1.5", "hexadecimal": b"0x10",
        "every-white-space": b"\t\v\f\r\n 7\v", "nul": b"7\0008\n", "nul-first": b"\0", "dos-mark": b"7\r\n\x1a",
        "dos-mark-first": b"\x1a7", "byte-order-mark": b"\xef\xbb\xbf7", "high-byte": b"\xa07", "two-lines": b"7\n9\n",
    }
    for size in (63, 64, 127, 128, 255, 256, 511, 512, 1022, 1023):
        texts[f"blanks-to-{size}"] = b" " * size
        texts[f"blanks-and-number-to-{size}"] = b"41".rjust(size)
        texts[f"digits-to-{size}"] = b"41".rjust(size, b"0")
        texts[f"words-to-{size}"] = b"41 ".ljust(size, b"x")
    return texts


def site_texts() -> Seeds:
    """A letter for the kind of text, and the text: "L" a log, "P" a packed log, else the configuration of a mailer."""
    stamp = b"[2026-11-22 03:10:00] "
    toss = [b"=== cvtoss32 v1.05 Beta 5 -toss run starting ===", b"Loaded 2 conference(s) from CVMCONF.DAT",
            b"Found: a.su0", b"  ZIP entry: a.pkt (method=8, 20 -> 40 bytes)",
            b"  -> wrote conf 1 msg #7  From='Ann' To='All' Subj='Hi' (1 records)",
            b"  msg 2: duplicate (MSGID 2:250/1 1 already seen in conf 1) -- SKIPPED",
            b"  2 message(s) parsed from this packet", b"  moved to IN/processed/a.su0",
            b"=== cvtoss32 -toss run complete: 1 file(s) processed ==="]
    log = b"".join(stamp + line + b"\n" for line in toss)
    errors = b"".join(stamp + line + b"\r\n" for line in (
        toss[0], b"ERROR: could not seek x", b"ERROR: could not seek y",
        b"  -> wrote conf 99999999999 msg #-1  From='"))
    squeeze = zlib.compressobj(wbits=31)
    packed = squeeze.compress(log) + squeeze.flush()
    mailer = (b"# hub\naddress 2:250/1@fidonet\nInbound \"C:\\\\in box\"\n"
              b"node 2:250/0@fidonet -md hub.example secret c D:\\box\n")
    return {
        "whole-log": b"L" + stamp + toss[0] + b"\n" + stamp + toss[4] + b"\n", "log": b"L" + log,
        "log-twice-with-errors": b"L" + log + errors + stamp + b"no line end",
        "log-long-lines": b"L" + b"".join(stamp + b"x" * size + b"\n" for size in (4074, 4075, 300000)) + log,
        "log-without-stamps": b"L" + b"\n".join(toss), "packed": b"P" + packed, "packed-twice": b"P" + packed * 2,
        "packed-cut": b"P" + packed[:-9], "packed-not": b"P" + log, "whole-mailer": b"M" + mailer,
        "mailer-words": b"M" + b'node\nnode -\naddress "2:250/1\ninbound " "\n'
                        b'INBOUND a\tb\nnode - 2:1/1 - - - - "b x"\n',
    }

"""Bundles: which entries are tossed, which are refused with which line, and when the bundle is moved."""

import io
import zipfile
import zlib

import pytest

from formats.message_base import body_lines
from formats.packet import Packet, echomail
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, ENTRY_LIMIT, SIGNATURE, STORED, Entry, bundle, deflate
from harness.bundle_lines import (
    CUT_DATA,
    CUT_NAME,
    NONE_HANDLED,
    NOT_A_PACKET,
    RETAINING,
    expands,
    inconsistent,
    not_inflated,
    streaming,
    unsupported,
)
from harness.cases import Cases
from harness.compare import GONE, assert_changes, moved, parsed, saved

EMPTY = Packet()
CONTENT = EMPTY.pack()
HANDLED = [EMPTY.log_line(), parsed(0)]
REFUSED_TAG = "A" * 32
DATA_ERROR, BUFFER_ERROR, STREAM_END = -3, -5, 1


class Bundles:
    """Bundles of empty packets and of refused entries, all in one toss."""

    def __init__(self, site):
        self.cases = Cases(site)
        self.cases.conference()
        self.status = 0

    def good(self, name: str, *entries: Entry, after: bytes | None = None) -> None:
        """Every entry is an empty packet: the bundle is moved."""
        lines = [line for entry in entries for line in (entry.log_line(), *HANDLED)]
        self.cases.file(name, self._pack(entries, after), *lines, moved(name))

    def bad(self, name: str, *parts: Entry | str, after: bytes | None = None, handled: bool = False) -> None:
        """Entries, each with its lines after it; the bundle is retained."""
        lines = [part if isinstance(part, str) else part.log_line() for part in parts]
        entries = [part for part in parts if isinstance(part, Entry)]
        self._retained(name, self._pack(entries, after), lines, handled)

    def raw(self, name: str, data: bytes, *lines: str, handled: bool = False) -> None:
        """A bundle of exactly these bytes that is retained after these lines."""
        self._retained(name, data, list(lines), handled)

    def toss(self, **options):
        return self.cases.toss(status=self.status, **options)

    def _retained(self, name: str, data: bytes, lines: list[str], handled: bool) -> None:
        self.cases.file(name, data, *lines, *([] if handled else [NONE_HANDLED]), RETAINING)
        self.status = 1

    @staticmethod
    def _pack(entries, after: bytes | None) -> bytes:
        return bundle(*entries) if after is None else bundle(*entries, after=after)


@pytest.fixture
def bundles(site):
    return Bundles(site)


def entry(name: str = "a.pkt", content: bytes = CONTENT, **fields) -> Entry:
    return Entry(name, content, **fields)


# Sound bundles.


def test_stored_and_deflated_packets_are_tossed_and_their_bundle_is_done_with(bundles):
    bundles.good("stored", entry())
    bundles.good("deflated", entry(method=DEFLATED))
    bundles.good("both", entry(), entry("b", method=DEFLATED), entry("c.txt"))
    bundles.good("hundred", *(entry(f"{number}.pkt", method=number % 2 * DEFLATED) for number in range(100)))
    bundles.good("same name", entry(), entry())
    bundles.toss()


def test_every_kind_of_deflate_block_is_read(bundles):
    for level in range(10):
        bundles.good(f"level {level}", entry(method=DEFLATED, data=deflate(CONTENT, level)))
    for name, strategy in (("huffman", zlib.Z_HUFFMAN_ONLY), ("fixed", zlib.Z_FIXED), ("rle", zlib.Z_RLE)):
        stream = zlib.compressobj(9, zlib.DEFLATED, -15, 9, strategy)
        bundles.good(name, entry(method=DEFLATED, data=stream.compress(CONTENT) + stream.flush()))
    stream = zlib.compressobj(6, zlib.DEFLATED, -15)
    pieces = [stream.compress(CONTENT[at : at + 7]) + stream.flush(zlib.Z_FULL_FLUSH) for at in range(0, 60, 7)]
    bundles.good("flushed", entry(method=DEFLATED, data=b"".join(pieces) + stream.flush()))
    bundles.good("bytes after the data", entry(method=DEFLATED, data=deflate(CONTENT) + b"not read"))
    bundles.toss()


def test_bundles_of_an_archiver_are_tossed(site):
    cases = Cases(site)
    for method in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
        base = cases.conference()
        message = echomail(cases.tag(base), "text " * 100)
        packet = Packet([message])
        archive = io.BytesIO()
        with zipfile.ZipFile(archive, "w", method) as writer:
            writer.writestr("0000a1b2.pkt", packet.pack())
            writer.writestr("caf\u00e9/\u65e5.pkt", CONTENT)
            writer.comment = b"a comment at the end"
        lines = []
        for info in writer.infolist():
            name = info.filename.encode().decode("latin-1")
            line = f"  ZIP entry: {name} (method={method}, {info.compress_size} -> {info.file_size} bytes)"
            lines += [line, "packet"]
        lines[1:2] = [packet.log_line(), base.store(message, body_lines("text " * 100)), parsed(1)]
        lines[-1:] = HANDLED
        cases.file(f"{method}.zip", archive.getvalue(), *lines, moved(f"{method}.zip"))
    cases.toss()


def test_what_is_ignored_of_a_header_does_not_matter(bundles):
    bundles.good("wrong crc", entry(crc=0xDEADBEEF), entry("b", crc=0, method=DEFLATED))
    bundles.good("flags", entry(flags=0xFFFF & ~DATA_DESCRIPTOR), entry("b", flags=0x0801, method=DEFLATED))
    version_and_time = bytearray(entry().pack())
    version_and_time[4:6] = b"\xff\xff"
    version_and_time[10:14] = b"\xff\xff\xff\xff"
    bundles.cases.file("version", bytes(version_and_time), entry().log_line(), *HANDLED, moved("version"))
    bundles.good("extra", entry(extra=b"x" * 65535), entry("b", extra=SIGNATURE * 10))
    bundles.toss()


def test_an_entry_is_a_packet_by_its_content_and_its_name_is_only_shown(bundles):
    names = ["README.TXT", "", "../../outside.pkt", "/etc/passwd", "C:\\x.pkt", "%s%n.pkt", "a" * 258, "a" * 259]
    bundles.good("names", *(entry(name) for name in names))
    long = [entry("b" * length) for length in (260, 1000, 65535)]
    assert all(one.log_line().startswith("  ZIP entry: " + "b" * 259 + " (") for one in long)
    bundles.good("long", *long)
    nul = entry("c\0hidden.pkt")
    line = f"  ZIP entry: c (method=0, {len(CONTENT)} -> {len(CONTENT)} bytes)"
    bundles.cases.file("zero byte", bundle(nul), line, *HANDLED, moved("zero byte"))
    bundles.toss()


def test_messages_of_all_entries_are_stored_in_their_order(site):
    cases = Cases(site)
    base = cases.conference()
    lines, entries = [], []
    for number in range(5):
        message = echomail(cases.tag(base), f"text {number}", msgid=f"1:2/3 {number % 4:08x}")
        packet = Packet([message])
        entries.append(entry(f"{number}.pkt", packet.pack(), method=number % 2 * DEFLATED))
        duplicate = f"  msg 1: duplicate (MSGID 1:2/3 {0:08x} already seen in conf 1) -- SKIPPED"
        stored = (
            base.store(message, body_lines(f"text {number}"), msgid=f"1:2/3 {number:08x}") if number < 4 else duplicate
        )
        lines += [entries[-1].log_line(), packet.log_line(), stored, parsed(1)]
    cases.file("a.zip", bundle(*entries), *lines, moved("a.zip"))
    cases.toss()


# Entries that are refused.


def test_a_stored_entry_has_equal_sizes(bundles):
    hundred = CONTENT + bytes(40)
    bundles.good("100 and 100", entry(content=hundred))
    bundles.bad("100 and 101", entry(content=hundred, uncompressed=101), inconsistent("a.pkt"))
    bundles.bad("100 and 99", entry(content=hundred, uncompressed=99), inconsistent("a.pkt"))
    bundles.toss()


def test_an_entry_that_is_no_packet_keeps_the_bundle_but_not_the_packets_beside_it(bundles):
    readme = entry("readme.txt", b"Read me, please. " * 10)
    deflated = entry("readme.txt", readme.content, method=DEFLATED)
    bundles.bad("packet first", entry(), *HANDLED, readme, NOT_A_PACKET, handled=True)
    bundles.bad("packet last", deflated, NOT_A_PACKET, entry(), *HANDLED, handled=True)
    bundles.bad("no packet", readme, NOT_A_PACKET)
    bundles.bad("directory", entry("out/", b""), NOT_A_PACKET, entry("out/a.pkt"), *HANDLED, handled=True)
    bundles.bad("59 bytes", entry(content=CONTENT[:59]), NOT_A_PACKET)
    bundles.bad("bundle in a bundle", entry("inner.zip", bundle(entry())), NOT_A_PACKET)
    bundles.bad("empty deflated", entry(content=b"", method=DEFLATED), NOT_A_PACKET)
    bundles.toss()


def test_an_entry_with_a_data_descriptor_is_refused_even_when_its_sizes_are_filled_in(bundles):
    stream = entry("s.pkt", flags=DATA_DESCRIPTOR)
    bundles.bad("among others", entry(), *HANDLED, stream, streaming("s.pkt"), entry("b"), *HANDLED, handled=True)
    bundles.bad("alone", entry(method=DEFLATED, flags=0xFFFF), streaming("a.pkt"))
    # Its data is not skipped when the sizes are not filled in; the next bytes are then no header.
    bundles.bad("without sizes", entry(flags=DATA_DESCRIPTOR, compressed=0, uncompressed=0), streaming("a.pkt"))
    huge = entry(flags=DATA_DESCRIPTOR, uncompressed=ENTRY_LIMIT + 1, method=99)
    bundles.bad("the first fault is named", huge, streaming("a.pkt"))
    bundles.toss()


def test_an_entry_may_declare_64_mib_and_not_a_byte_more(bundles):
    large = CONTENT + bytes(ENTRY_LIMIT - len(CONTENT))
    bundles.good("64 MiB", entry(content=large, method=DEFLATED, data=deflate(large, 1)))
    for size in (ENTRY_LIMIT + 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF):
        for method in (STORED, DEFLATED, 12):
            one = entry(uncompressed=size, method=method)
            name = f"{size} by {method}"
            bundles.bad(name, entry("b"), *HANDLED, one, expands("a.pkt", size), handled=True)
    bundles.toss()


def test_a_deflated_entry_has_to_give_exactly_the_bytes_it_declares(bundles):
    whole = len(CONTENT)
    plain = deflate(CONTENT, 0)  # a stored block: five bytes and the content as it is
    cases = {
        "one less": (entry(method=DEFLATED, uncompressed=whole + 1), STREAM_END, whole),
        "much less": (entry(method=DEFLATED, uncompressed=ENTRY_LIMIT), STREAM_END, whole),
        "one more": (entry(method=DEFLATED, data=plain, uncompressed=whole - 1), BUFFER_ERROR, whole - 1),
        "none declared": (entry(method=DEFLATED, data=plain, uncompressed=0), BUFFER_ERROR, 0),
        "cut": (entry(method=DEFLATED, data=plain[:-10]), BUFFER_ERROR, whole - 10),
        "no data": (entry(method=DEFLATED, data=b""), BUFFER_ERROR, 0),
        "unknown block": (entry(method=DEFLATED, data=b"\x07" + plain), DATA_ERROR, 0),
        "zlib header": (entry(method=DEFLATED, data=zlib.compress(CONTENT)), DATA_ERROR, 0),
        "not deflated": (entry(method=DEFLATED, data=b"\xff" * 100), DATA_ERROR, 0),
    }
    for name, (one, code, produced) in cases.items():
        declared = one.sizes()[1]
        bundles.bad(name, one, not_inflated("a.pkt", code, produced, declared), entry("b"), *HANDLED, handled=True)
    bundles.toss()


def test_other_methods_are_refused(bundles):
    for method in (1, 6, 7, 9, 12, 14, 99, 256, 0x0800, 65535):
        one = entry(method=method)
        bundles.bad(f"{method}", one, unsupported(method, "a.pkt"), entry("b"), *HANDLED, handled=True)
    bundles.bad("sizes do not matter", entry(method=9, uncompressed=1), unsupported(9, "a.pkt"))
    bundles.toss()


# The structure.


def test_a_name_or_extra_field_that_runs_past_the_end_ends_the_walk(bundles):
    whole = Entry("name", b"").pack()
    bundles.raw("header alone", Entry("", b"", name_length=1).pack(), CUT_NAME)
    bundles.raw("name", Entry("name", b"", name_length=5).pack(), CUT_NAME)
    bundles.raw("longest name", Entry("name", b"", name_length=65535).pack(), CUT_NAME)
    bundles.raw("extra", Entry("name", b"", extra_length=1).pack(), CUT_NAME)
    bundles.raw("both", Entry("name", b"", extra=b"xx", name_length=4, extra_length=3).pack(), CUT_NAME)
    bundles.raw("name takes all", Entry("name", b"", name_length=4, extra_length=65535).pack(), CUT_NAME)
    bundles.raw("fits", whole, Entry("name", b"").log_line(), NOT_A_PACKET)
    bundles.raw("30 bytes", Entry("", b"").pack(), Entry("", b"").log_line(), NOT_A_PACKET)
    bundles.toss()


def test_an_entry_that_claims_more_data_than_there_is_ends_the_walk(bundles):
    bundles.good("all there is", entry(), after=b"")
    for missing in (1, 2, 60, 0x7FFFFFFF, 0xFFFFFFFF - 60):
        one = entry(compressed=len(CONTENT) + missing)
        bundles.raw(f"{missing} alone", one.pack(), CUT_DATA)
        first = entry("first")
        data = first.pack() + one.pack()
        bundles.raw(f"{missing} after a packet", data, first.log_line(), *HANDLED, CUT_DATA, handled=True)
        text = Entry("text", b"text")
        data = text.pack() + one.pack()
        bundles.raw(f"{missing} after a text", data, text.log_line(), NOT_A_PACKET, CUT_DATA)
    bundles.toss()


def test_the_walk_ends_without_error_where_no_header_follows(bundles):
    bundles.good("nothing", entry(), after=b"")
    for size in (1, 4, 29):
        bundles.good(f"{size} bytes of a header", entry(), after=(SIGNATURE + bytes(25))[:size])
    for name, after in {
        "central directory": b"PK\x01\x02" + bytes(100),
        "end record": b"PK\x05\x06" + bytes(18),
        "descriptor": b"PK\x07\x08" + bytes(12),
        "a byte between": b"x" + entry("hidden").pack(),
        "zeros": bytes(1000),
    }.items():
        bundles.good(name, entry(), after=after)
    whole_header = Entry("", b"")
    lines = [entry().log_line(), *HANDLED, whole_header.log_line(), NOT_A_PACKET]
    bundles.raw("30 bytes", bundle(entry(), after=whole_header.pack()), *lines, handled=True)
    bundles.toss()


def test_a_signature_within_the_data_starts_no_entry(bundles):
    inside = CONTENT + entry("inside").pack() * 3
    bundles.good("stored", entry(content=inside))
    bundles.good("name", entry(name="x" + SIGNATURE.decode() + "y" * 40))
    bundles.toss()


# What the packets say.


def test_a_damaged_packet_counts_as_handled_and_is_saved_without_its_bundle(bundles):
    damaged = Packet(closing=b"\2\0").pack()
    lines = [EMPTY.log_line(), "  truncated message header, stopping", saved("truncated message header")]
    one = entry(content=damaged, method=DEFLATED)
    bundles.cases.file("a.zip", bundle(one), one.log_line(), *lines, moved("a.zip"))
    bundles.toss(changes={"IN/badmsgs/": None, "IN/badmsgs/BAD_#.PKT": damaged})


def test_a_retained_bundle_is_tossed_again_and_only_messages_with_an_msgid_are_known_then(site):
    cases = Cases(site)
    base = cases.conference()
    known = echomail(cases.tag(base), "known", msgid="1:2/3 abc")
    unknown = echomail(cases.tag(base), "unknown")
    refused = echomail(REFUSED_TAG, "refused")
    good, bad = Packet([known, unknown]), Packet([refused])
    entries = [entry("good.pkt", good.pack()), entry("bad.pkt", bad.pack(), method=DEFLATED)]

    def toss(first: str) -> None:
        wrote = base.store(unknown, body_lines("unknown"))
        tag = f"ERROR: inbound AREA tag is empty, malformed, or too long: '{REFUSED_TAG}'"
        lines = [entries[0].log_line(), good.log_line(), first, wrote, parsed(2)]
        lines += [entries[1].log_line(), bad.log_line(), tag]
        lines += ["  ERROR: could not allocate/clean message body; source packet will be retained", RETAINING]
        cases.file("a.zip", bundle(*entries), *lines)
        cases.toss(status=1)

    toss(base.store(known, body_lines("known"), msgid="1:2/3 abc"))
    site.path("IN/processed").rmdir()
    toss("  msg 1: duplicate (MSGID 1:2/3 abc already seen in conf 1) -- SKIPPED")


def test_a_bundle_is_deleted_with_keepprocessed_no_and_retained_all_the_same_when_an_entry_failed(site):
    site.add_config("KEEPPROCESSED no\n")
    cases = Cases(site)
    cases.conference()
    site.conferences(*cases.conferences)
    site.inbound("good.zip", bundle(entry()))
    site.inbound("bad.zip", bundle(entry(), Entry("text", b"text")))
    before = site.snapshot()
    run = site.toss()
    ends = {name: lines[-1] for name, lines in run.blocks().items()}
    assert ends == {"good.zip": "  deleted (KEEPPROCESSED no)", "bad.zip": RETAINING}
    assert run.status == 1
    assert_changes(site, before, {"IN/good.zip": GONE})

"""One bundle cut at every length and with single bits flipped: each ends as its bytes say, and nothing is lost."""

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines
from formats.packet import Packet, echomail
from formats.zip_bundle import DEFLATED, SIGNATURE, Entry, bundle
from harness.bundle_walk import NO_HEADERS, RETAINING, masked, walk
from harness.compare import head, moved, parsed, tail
from harness.damage import assert_base_holds, assert_sources, flip, is_header
from harness.run import Run
from harness.site import LOCK, Site

HEADER_BITS = 30 * 8
NAMES = {"sender": "Bo", "to": "Cy", "subject": "Tea"}
MESSAGES = [echomail("FIDO", "stored", **NAMES), echomail("FIDO", "deflated " * 20, **NAMES)]
BODIES = [body_lines("stored"), body_lines("deflated " * 20)]
PACKETS = [Packet([message]) for message in MESSAGES]
ENTRIES = [Entry("a.pkt", PACKETS[0].pack()), Entry("b.pkt", PACKETS[1].pack(), DEFLATED, extra=b"extra")]
WHOLE = bundle(*ENTRIES, after=b"PK\x01\x02" + bytes(42))
SECOND = len(ENTRIES[0].pack())


def lines_of_packet(content: bytes) -> list[str]:
    """The lines of one of the two packets; any other that passes for a packet would need a test of its own."""
    number = [packet.pack() for packet in PACKETS].index(content)
    wrote = MessageBase(1).store(MESSAGES[number], BODIES[number])
    return [PACKETS[number].log_line(), wrote, parsed(1)]


def tossed(site: Site, sources: dict[str, bytes]) -> Run:
    """Tosses these files; whatever they hold, nothing is lost and the message base is whole."""
    for name, data in sources.items():
        site.inbound(name, data)
    site.conferences(echo("FIDO"))
    run = site.toss()
    blocks = run.blocks()
    processed = {name for name, lines in blocks.items() if lines[-1] == moved(name)}
    retained = {name for name, lines in blocks.items() if lines[-1] == RETAINING}
    left = {name for name, lines in blocks.items() if lines == [NO_HEADERS]}
    assert (run.stderr, run.head()) == ("", head(1))
    assert processed | retained | left == set(blocks)
    assert run.tail() == tail(len(processed), len(sources) - len(blocks))
    assert run.status == (1 if retained else 0)
    assert not site.path(LOCK).exists()
    assert_sources(site, sources, processed)
    assert_base_holds(site, run, [1])
    return run


def assert_each_as_foretold(run: Run, sources: dict[str, bytes]) -> None:
    """Every file has the lines that follow from its bytes."""
    blocks = run.blocks()
    for name, data in sources.items():
        if data[:4] != SIGNATURE:
            assert not is_header(data)
            assert name not in blocks
            continue
        foretold = walk(data, lines_of_packet)
        end = [moved(name)] if foretold.disposed and foretold.handled else []
        assert masked(blocks[name]) == masked(foretold.lines + end), f"lines of {name}"


def test_a_bundle_cut_at_each_length_is_done_with_only_when_no_entry_is_cut(site):
    sources = {f"{length}.zip": WHOLE[:length] for length in range(len(WHOLE) + 1)}
    run = tossed(site, sources)
    assert_each_as_foretold(run, sources)
    done = {name for name, lines in run.blocks().items() if lines[-1] == moved(name)}
    entries_end = SECOND + len(ENTRIES[1].pack())
    # Between the entries and after them: a header that is cut itself is none.
    lengths = [*range(SECOND, SECOND + 30), *range(entries_end, len(WHOLE) + 1)]
    assert done == {f"{length}.zip" for length in lengths}


@pytest.mark.parametrize("start", [0, 8 * SECOND], ids=["first header", "second header"])
def test_a_header_with_each_bit_flipped_is_read_as_it_then_stands(site, start):
    sources = {f"{bit}.zip": flip(WHOLE, bit) for bit in range(start, start + HEADER_BITS)}
    assert_each_as_foretold(tossed(site, sources), sources)


@pytest.mark.parametrize("place", range(4))
def test_a_bundle_with_any_other_bit_flipped_loses_nothing(site, place):
    """Two bits of every byte of names, packets and deflated data, each in a bundle of its own."""
    headers = {*range(30), *range(SECOND, SECOND + 30)}
    bits = [8 * byte + bit for byte in range(len(WHOLE)) if byte not in headers for bit in (place, place + 4)]
    tossed(site, {f"{bit}.zip": flip(WHOLE, bit) for bit in bits})


def test_bytes_of_no_order_behind_the_signature_lose_nothing(site):
    """Headers whose fields are all over the place, each followed by a sound entry."""
    sources = {}
    state = 1
    for number in range(300):
        fields = bytearray()
        for _ in range(26):
            state = state * 1103515245 + 12345 & 0x7FFFFFFF
            fields.append(state >> 16 & 0xFF if state >> 24 & 1 else 0)
        sources[f"{number}.zip"] = SIGNATURE + bytes(fields) + WHOLE
    assert_each_as_foretold(tossed(site, sources), sources)

"""A conference table cut at every length and with every bit flipped: refused, or read as its bytes then stand."""

import pytest

from formats.conference_table import RECORD_SIZE, Conference, conference_file, echo, netmail
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import PackedMessage, Packet, echomail
from formats.packet import netmail as letter
from harness.compare import ALL_IDLE, assert_run, banner, moved, parsed, tail
from harness.conference_reading import FILE, MOST, TableReading, read_table
from harness.shrinking import Damage, batches, cuts, flips, some_under_wine
from harness.site import LOCK, LOG, Site
from harness.start_up import BAD_CONFERENCES

BANNER = "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ==="
DIRECTORIES = "Config dir: CONF   Work dir: CONF\\WORK   Message dir: MSG"
CHECK_IDLE = "Node status: 1 record(s), all idle"
PASSED = "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ==="
FAILED = "=== cvtoss32 -check FAILED: 1 issue(s) require attention ==="
SAMPLE = [
    echo("Fido", "Talk of all"),
    netmail("Post", public=1),
    Conference("Local", "local"),
    echo("*", "Rest"),
    echo("fifteen-letters", "name of forty" * 3 + "!"),
]
READ = [2, *range(3, 44), 45, 51, 52, 110, *range(112, 128)]
"""The bytes of a record that are read; a toss does nothing with the line width, but reads it."""


def assert_checked(site: Site, name: str, data: bytes) -> None:
    """A check says of the table what follows from its bytes; the message bases are all missing and so sound."""
    site.write(FILE, data)
    site.path(LOG).unlink(missing_ok=True)
    table = read_table(data)
    if table.load_error:
        stage, sound = [table.load_error], False
    else:
        sizes = [f"  conf {entry.number} message base: PTR=0 IDX=0 DAT=0 record(s) -- OK" for entry in table.in_use()]
        stage, sound = [table.loaded(), *table.check_lines, *sizes], not table.errors
    run = site.run("-check")
    assert run.lines == [BANNER, DIRECTORIES, *stage, CHECK_IDLE, PASSED if sound else FAILED], name
    assert (run.stderr, run.status) == ("", 0 if sound else 1), name


def test_a_table_cut_at_each_length_is_whole_records_or_refused(site):
    for name, data in some_under_wine(cuts(conference_file(SAMPLE)), 32):
        assert_checked(site, name, data)


@pytest.mark.parametrize("number", range(len(SAMPLE)))
def test_each_bit_of_a_record_means_what_it_says(site, number):
    """Each damaged record stands beside two hundred others like it, so that the flags of many come together."""
    record = conference_file(SAMPLE)[number * RECORD_SIZE : (number + 1) * RECORD_SIZE]
    for batch in batches(flips(record), MOST):
        assert_checked(site, f"a table from {batch[0][0]} on", b"".join(data for _, data in batch))


@pytest.mark.parametrize("number", range(len(SAMPLE)))
def test_a_table_with_one_bit_flipped_is_checked_as_it_then_stands(site, number):
    data = conference_file(SAMPLE)
    for place in some_under_wine(READ, 8):
        byte = number * RECORD_SIZE + place
        bit = flips(data, byte, byte + 1)[(place * 5 + number) % 8]
        assert_checked(site, *bit)


def lines_of_messages(table: TableReading, messages: list[PackedMessage], bases: dict[int, MessageBase]) -> list[str]:
    """Routes and stores the messages one after another; returns their lines."""
    lines = []
    for count, message in enumerate(messages, 1):
        area = MESSAGES[message.text]
        if not area:
            number, skipped = table.netmail, "netmail with no NetMailConf=1 conference configured -- SKIPPED"
        else:
            routed = {entry.tag: entry.number for entry in reversed(table.conferences) if entry.routed}
            number = routed.get(area.upper())
            skipped = (
                f"AREA:{area.decode()} has no matching conference and no catch-all configured -- SKIPPED"
                " (logged to BADAREAS.LST)"
            )
            if number is None and b"*" in routed:
                number = routed[b"*"]
                parked = f"parked in catch-all conf {number} (see BADAREAS.LST)"
                lines.append(f"  msg {count}: AREA:{area.decode()} has no matching conference -- {parked}")
        if number is None:
            lines.append(f"  msg {count}: {skipped}")
        else:
            base = bases.setdefault(number, MessageBase(number))
            lines.append(base.store(message, body_lines("text"), netmail=int(not area)))
    return lines


LETTER = letter("text")
ECHOES = [echomail(area, "text") for area in ("FIDO", "local", "Unheard")]
MESSAGES = {LETTER.text: b""} | {message.text: tag for message, tag in zip(ECHOES, (b"FIDO", b"local", b"Unheard"))}


def assert_tossed(site: Site, damage: Damage) -> None:
    """A toss refuses the table, or brings each message where the damaged record says."""
    name, data = damage
    site.write(FILE, data)
    site.path(LOG).unlink(missing_ok=True)
    for path in site.path("MSG").iterdir():
        path.unlink()
    packet = Packet([LETTER, *ECHOES])
    site.inbound("a.pkt", packet)
    table = read_table(data)
    run = site.toss()
    assert not site.path(LOCK).exists(), name
    left = {f"MSG/{path.name}": path.read_bytes() for path in site.path("MSG").iterdir()}
    left.pop("MSG/BADAREAS.LST", None)
    if table.errors:
        assert_run(run, 1, [*banner(), table.loaded(), *table.without_listing(), BAD_CONFERENCES])
        assert left == {}, name
        return
    bases: dict[int, MessageBase] = {}
    lines = ["Found: a.pkt", packet.log_line(), *lines_of_messages(table, packet.messages, bases)]
    head = [*banner(), table.loaded(), *table.warnings, ALL_IDLE]
    assert_run(run, 0, [*head, *lines, parsed(4), moved("a.pkt"), *tail(1)])
    assert left == message_files(*bases.values()), name


@pytest.mark.parametrize("number", range(len(SAMPLE)))
def test_a_toss_goes_by_a_damaged_record_as_it_then_stands(site, number):
    data = conference_file(SAMPLE)
    first = number * RECORD_SIZE
    damaged = [flip for place in (2, 45, 110) for flip in flips(data, first + place, first + place + 1)[:2]]
    damaged += flips(data, first + 112, first + 118)
    for damage in some_under_wine(damaged, 9):
        assert_tossed(site, damage)

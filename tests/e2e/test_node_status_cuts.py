"""A node file cut at every length and with every bit flipped: idle, busy or refused, as its bytes then say."""

import struct

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines
from formats.node_status import Node, node_file
from formats.packet import Packet, echomail
from harness.compare import assert_run, banner, moved, parsed, tail
from harness.shrinking import damages, some_under_wine
from harness.site import LOG
from harness.start_up import NODES_UNKNOWN, loaded

FILE = "CONF/WORK/CVWHOSON.DAT"
INVALID_SIZE = "ERROR: CONF\\WORK/CVWHOSON.DAT has an invalid size or could not be read"
RECORD = 6
SAMPLE = node_file([Node(mode=0x0A), Node(mode=0x1A), Node()])


def first_busy(data: bytes) -> tuple[int, int, int] | None:
    """The first node that somebody uses: its number, the user as 16 bits with a sign, the mode."""
    for at in range(0, len(data), RECORD):
        user, mode = struct.unpack_from("<hB", data, at)
        if user != -1:
            return at // RECORD + 1, user, mode
    return None


def foretold(data: bytes) -> tuple[bool, str]:
    """Whether a check passes, and its line about the nodes."""
    if not data or len(data) % RECORD:
        return False, INVALID_SIZE
    busy = first_busy(data)
    if busy:
        return False, "NOT SAFE TO TOSS/SCAN: node %d is occupied by UserNo %d (Mode=0x%02X)" % busy
    return True, f"Node status: {len(data) // RECORD} record(s), all idle"


def test_a_check_reads_a_damaged_node_file_as_it_then_stands(ready):
    for name, data in some_under_wine(damages(SAMPLE), 5):
        ready.write(FILE, data)
        ready.path(LOG).unlink(missing_ok=True)
        run = ready.run("-check")
        passes, line = foretold(data)
        assert run.lines[-2] == line, name
        assert run.lines[-1].startswith("=== cvtoss32 -check " + ("PASSED" if passes else "FAILED: 1 issue(s)")), name
        assert (run.stderr, run.status) == ("", 0 if passes else 1), name
        assert ready.read(FILE) == data


@pytest.mark.parametrize("name", [name for name, data in damages(SAMPLE) if not data or len(data) % RECORD])
def test_a_toss_never_begins_over_part_of_a_record(ready, name):
    data = dict(damages(SAMPLE))[name]
    ready.write(FILE, data)
    ready.inbound("a.pkt", Packet([echomail("FIDO", "text")]))
    before = ready.snapshot()
    assert_run(ready.toss(), 1, [*banner(), loaded(1), INVALID_SIZE, NODES_UNKNOWN])
    assert ready.snapshot() == before


def test_a_toss_begins_when_every_node_is_idle_whatever_else_is_in_the_records(site):
    site.conferences(echo("FIDO"))
    base, packet = MessageBase(1), Packet([echomail("FIDO", "text")])
    idle = [(name, data) for name, data in damages(SAMPLE) if foretold(data)[0]]
    assert len(idle) == 3 + 3 * 4 * 8  # whole records, and the bits of mode and rest
    for name, data in some_under_wine(idle, 7):
        site.write(FILE, data)
        site.path(LOG).unlink(missing_ok=True)
        site.inbound("a.pkt", packet)
        lines = [packet.log_line(), base.store(packet.messages[0], body_lines("text")), parsed(1), moved("a.pkt")]
        nodes = f"Node check: {len(data) // RECORD} node record(s), all idle"
        assert_run(site.toss(), 0, [*banner(), loaded(1), nodes, "Found: a.pkt", *lines, *tail(1)])

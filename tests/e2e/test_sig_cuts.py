"""A SIG file cut at every length and with every bit flipped: duplicates and parents as its lines then have them.

Each damaged file belongs to a conference of its own; many of them make one run.
"""

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.base_reading import export, toss
from harness.compare import GONE, assert_changes, assert_run, head, moved, parsed, tail
from harness.scan import Scan
from harness.shrinking import Damage, batches, damages, some_under_wine
from harness.sig_reading import has_msgid, msgid_of, number_of
from harness.site import LOG, Site

CONFERENCES = 200
A, B, C = b"1:2/3 a", b"1:2/3 b", b"1:2/3 c"
LONG = b"1:2/3 " + b"m" * 121
SAMPLES = {
    "of a toss": b"1:2/3 a\t1\n1:2/3 b\t2\n1:2/3 c\t3\n",
    "of toss and scan": b"1:2/3 b\t2\r\n1:2/3 a\t1\n1:2/3 c\t-3\r\n",
    "with blanks, zeros and text": b"1:2/3 b\t +2x\n1:2/3 a\t\t001\n1:2/3 c\n",
    "without tabs": b"1:2/3 a\r\r\n1:2/3 b\r\n1:2/3 c\r\n",
}


def sample(conference: int, sig: bytes) -> MessageBase:
    """Two old messages and an unsent reply to the second."""
    base = MessageBase(conference, sig=sig)
    for number in (1, 2):
        base.add(body_lines("old"), number=number)
    base.add(body_lines("new"), number=3, sent=0, is_reply=1, is_root=0, thread=2)
    return base


def assert_tossed(site: Site, bases: list[MessageBase]) -> None:
    """Three messages for every conference: a duplicate, a duplicate or a reply, a reply."""
    mail = [(A, b""), (B, C), (b"", B)]
    packet, lines = Packet(), []
    for base in bases:
        for msgid, reply in mail:
            message = echomail(f"AREA{base.conference}", "text", msgid=msgid, reply=reply)
            packet.messages.append(message)
            lines += toss(base, len(packet.messages), message, "text", msgid, reply)
    data = site.inbound("a.pkt", packet)
    before = site.snapshot()
    lines = ["Found: a.pkt", packet.log_line(), *lines, parsed(len(packet.messages)), moved("a.pkt")]
    assert_run(site.toss(), 0, [*head(CONFERENCES), *lines, *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data}
    assert_changes(site, before, changes | message_files(*bases))


def assert_used(site: Site, damaged: list[Damage]) -> None:
    """A scan and a toss go by the damaged files as they then stand."""
    for path in [*site.path("MSG").iterdir(), *site.path("OUT").iterdir()]:
        path.unlink()
    site.path(LOG).unlink(missing_ok=True)
    scan = Scan(site, *(echo(f"AREA{number}") for number in range(1, CONFERENCES + 1)))
    for number, (_, sig) in enumerate(damaged, 1):
        scan.bases[number - 1] = sample(number, sig)
    scan.put()
    assert_tossed(site, scan.bases[: len(damaged)])
    for base in scan.bases:
        export(scan, base)
    scan.run()


def test_the_reading_of_the_samples():
    *samples, without_tabs = SAMPLES.values()
    for sig in samples:
        assert [has_msgid(sig, msgid) for msgid in (A, B, C, b"1:2/3", b"")] == [True, True, True, False, False]
        assert [number_of(sig, msgid) for msgid in (A, B)] == [1, 2]
        assert [msgid_of(sig, number) for number in (1, 2, 9)] == [A, B, None]
    assert [number_of(sig, C) for sig in samples] == [3, -3, None]
    assert [has_msgid(without_tabs, msgid) for msgid in (A, B, C)] == [True] * 3
    assert [number_of(without_tabs, msgid) for msgid in (A, B, C)] == [None] * 3


@pytest.mark.parametrize("name", SAMPLES)
def test_a_damaged_file_is_looked_up_as_it_then_stands(site, name):
    for batch in some_under_wine(list(batches(damages(SAMPLES[name]), CONFERENCES)), 2):
        assert_used(site, batch)


def test_a_damaged_line_of_more_than_one_piece_is_looked_up_as_it_then_stands(site):
    """The MSGIDs that are looked for begin where a piece of a long line does, or just beside it."""
    second = b"\n" + A + b"\t1\n" + LONG + b"\t2\n"
    around = [b"x" * length + B + b"\t2" + second for length in (254, 255, 256, 510, 511)]
    files = [(f"{at} of {number}", data) for number, file in enumerate(around) for at, data in damages_near(file)]
    for batch in some_under_wine(list(batches(files, CONFERENCES)), 2):
        assert_used(site, batch)


def damages_near(file: bytes) -> list[Damage]:
    """The damages of the first bytes of the MSGID behind a long line, and of its end."""
    start = file.index(B)
    return [
        damage
        for damage, changed in ((damage, _first_change(file, damage[1])) for damage in damages(file))
        if start - 2 <= changed <= start + 1 or start + 7 <= changed <= start + 11
    ]


def _first_change(file: bytes, damaged: bytes) -> int:
    same = 0
    while same < min(len(file), len(damaged)) and file[same] == damaged[same]:
        same += 1
    return same

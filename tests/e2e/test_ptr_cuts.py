"""A PTR file cut at every length and with every bit flipped: refused, or used as its records then stand.

Each damaged file belongs to a conference of its own; two hundred of them make one run.
"""

import pytest

from formats.conference_table import Conference, echo
from formats.message_base import DAT_SIZE, PTR_SIZE, MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.base_reading import export, found_records, preflight, toss
from harness.compare import GONE, assert_changes, assert_run, head, moved, parsed, tail
from harness.scan import Scan
from harness.shrinking import Damage, batches, cuts, flips, some_under_wine
from harness.site import LOG, Site

CONFERENCES = 200
CHECK_HEAD = [
    "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ===",
    "Config dir: CONF   Work dir: CONF\\WORK   Message dir: MSG",
    f"Loaded {CONFERENCES} conference(s) from CVMCONF.DAT",
]
NUMBERS_AND_FLAGS = range(152, 174)
TEXTS = [*range(18, 23), *range(49, 60), *range(111, 117)]
"""The bytes of the sample's texts and some behind them."""


def sample(conference: int) -> MessageBase:
    """An old message, an unsent reply to it, addressed so that it could be netmail, and a deleted one without text."""
    base = MessageBase(conference)
    base.add(body_lines("one"), sender="Bo", to="Cy", subject="Tea")
    fields = {"sent": 0, "is_reply": 1, "is_root": 0, "thread": 1, "number": 3}
    base.add(body_lines("two " * 40), sender="Bo", to="Cy@1:2/3", subject="Tea", **fields)
    base.add_sig("1:2/3 a", 1)
    base.add(number=4, deleted=1, records=0)
    base.dat = base.dat[:-DAT_SIZE]
    base.add_sig("1:2/3 b", 3)
    return base


WHOLE = sample(1).files()["CVMSG01.PTR"]


def conferences() -> list[Conference]:
    return [echo(f"AREA{number}") for number in range(1, CONFERENCES + 1)]


def lay(site: Site, damaged: list[Damage]) -> tuple[list[str], list[MessageBase]]:
    """Lays a message base under each damaged file, or the file over that of the last time.

    Returns what a check says of them, and those that are sound.
    """
    lines, sound = [], []
    for conference in range(1, CONFERENCES + 1):
        base = sample(conference)
        files = base.files()
        if conference <= len(damaged):
            files[base.name("PTR")] = damaged[conference - 1][1]
        ptr, idx, dat = (files[base.name(kind)] for kind in ("PTR", "IDX", "DAT"))
        usable, said = preflight(conference, ptr, idx, dat)
        lines += said
        if usable:
            base.ptr = found_records(ptr)
            sound.append(base)
        for name, content in files.items():
            if name.endswith(".PTR") or not site.path(f"MSG/{name}").exists():
                site.write(f"MSG/{name}", content)
    return lines, sound


def assert_checked(site: Site, damaged: list[Damage]) -> list[MessageBase]:
    """A check says of every file what follows from its bytes; returns the bases that are sound."""
    site.add_config("")
    site.conferences(*conferences())
    site.path(LOG).unlink(missing_ok=True)
    said, sound = lay(site, damaged)
    run = site.run("-check")
    passes = len(sound) == CONFERENCES
    result = "PASSED: configuration and FTN message bases look safe"
    if not passes:
        result = "FAILED: 1 issue(s) require attention"
    listing = [
        f"  conf {number}: 'Talk'  AREA=AREA{number}  route=yes  netmail=no  public-only=no"
        for number in range(1, CONFERENCES + 1)
    ]
    end = ["Node status: 1 record(s), all idle", f"=== cvtoss32 -check {result} ==="]
    assert_run(run, 0 if passes else 1, [*CHECK_HEAD, *listing, *said, *end])
    for number, (name, data) in enumerate(damaged, 1):
        assert site.read(f"MSG/CVMSG{number:02d}.PTR") == data, name
    return sound


def drop_the_others(site: Site, sound: list[MessageBase]) -> list[MessageBase]:
    """Conferences whose message base is refused begin anew; returns all bases in order."""
    bases = {base.conference: base for base in sound}
    for number in range(1, CONFERENCES + 1):
        if number not in bases:
            bases[number] = MessageBase(number)
            for path in site.path("MSG").glob(f"CVMSG{number:02d}.*"):
                path.unlink()
    return [bases[number] for number in range(1, CONFERENCES + 1)]


def assert_tossed(site: Site, bases: list[MessageBase]) -> None:
    """A reply to the old message of every conference, all in one packet."""
    packet = Packet([echomail(f"AREA{base.conference}", "re", msgid="1:9/9 n", reply="1:2/3 a") for base in bases])
    data = site.inbound("a.pkt", packet)
    before = site.snapshot()
    lines = ["Found: a.pkt", packet.log_line()]
    for count, (base, message) in enumerate(zip(bases, packet.messages), 1):
        lines += toss(base, count, message, "re", b"1:9/9 n", b"1:2/3 a")
    assert_run(site.toss(), 0, [*head(CONFERENCES), *lines, parsed(CONFERENCES), moved("a.pkt"), *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data}
    assert_changes(site, before, changes | message_files(*bases))


def assert_scanned(site: Site, bases: list[MessageBase]) -> None:
    scan = Scan(site, *conferences())
    scan.bases = bases
    for base in bases:
        export(scan, base)
    scan.run()


def test_a_file_cut_at_each_length_is_refused_unless_its_records_are_whole(site):
    for damaged in some_under_wine(list(batches(cuts(WHOLE), CONFERENCES)), 2):
        sound = {base.conference for base in assert_checked(site, damaged)}
        lengths = {number: len(data) for number, (_, data) in enumerate(damaged, 1)}
        # Without its last record the index is longer than the file.
        assert {length for number, length in lengths.items() if number in sound} == set(lengths.values()) & {len(WHOLE)}


@pytest.mark.parametrize("record", [0, 1, 2], ids=["sent", "unsent", "deleted"])
def test_a_check_judges_a_record_with_any_bit_flipped_as_it_then_stands(site, record):
    damaged = flips(WHOLE, record * PTR_SIZE, (record + 1) * PTR_SIZE)
    for batch in some_under_wine(list(batches(damaged, CONFERENCES)), 6):
        assert_checked(site, batch)


def of_use() -> list[Damage]:
    """Every bit of what a toss or a scan reads, and one of every other byte."""
    damaged = []
    for byte in range(len(WHOLE)):
        record, place = divmod(byte, PTR_SIZE)
        used = place in NUMBERS_AND_FLAGS or (record == 1 and place in TEXTS)
        damaged += flips(WHOLE, byte, byte + 1) if used else flips(WHOLE, byte, byte + 1)[byte % 8 :][:1]
    return damaged


def test_toss_and_scan_use_a_damaged_record_as_it_then_stands(site):
    for batch in some_under_wine(list(batches(of_use(), CONFERENCES)), 3):
        bases = drop_the_others(site, assert_checked(site, batch))
        assert_tossed(site, bases)
        assert_scanned(site, bases)
        for path in site.path("MSG").iterdir():
            path.unlink()

"""A base of which one file has lost its end: whole messages stay, lost ones are reported, inbound ones are stored."""

import re
from typing import Iterator

import pytest
from formats.conference_table import echo
from formats.message_base import DAT_SIZE, IDX_SIZE, PTR_SIZE, MessageBase
from formats.packet import Packet, echomail
from harness.kit import Kit
from harness.scan import SERIAL_FILE
from harness.site import Site, Snapshot
from tools.count import rounds
from tools.repairs import repair, without_backups

BASE = {kind: f"MSG/CVMSG01.{kind}" for kind in ("PTR", "IDX", "DAT", "SIG")}
RECORD = {"PTR": PTR_SIZE, "IDX": IDX_SIZE, "DAT": DAT_SIZE, "SIG": len("1:2/3 0\t5\n")}
MAILS = [echomail("FIDO", f"text {n} " + "long " * n * n, msgid=f"1:2/3 {n}", sender=f"Sender {n}") for n in range(6)]
INBOUND = 4
"""The last two are still inbound: their toss did not end."""


def lay(site: Site, inbound: bool) -> None:
    """Six tossed messages; the source of the last two is back in INBOUND, or not."""
    site.conferences(echo("FIDO"))
    site.inbound("1.pkt", Packet(MAILS[:INBOUND]))
    site.inbound("2.pkt", Packet(MAILS[INBOUND:]))
    assert site.toss().status == 0
    for path in site.path("IN/processed").iterdir():
        path.unlink()
    if inbound:
        site.inbound("2.pkt", Packet(MAILS[INBOUND:]))


def damages(kind: str, size: int) -> list[tuple[int, bool]]:
    """Every length of the last two records, cut off there or filled with zeros from there."""
    lengths = range(size - 2 * RECORD[kind], size, rounds(7, 1))
    return [(length, zeros) for length in lengths for zeros in (False, True)]


def lay_damages(site: Site, whole: Snapshot, kind: str) -> Iterator[tuple[int, bool]]:
    """The base with each damage of one of its files, each time in a new site."""
    data = whole[BASE[kind]]
    for length, zeros in damages(kind, len(data)):
        for path, content in whole.items():
            site.write(path, content)
        site.write(BASE[kind], data[:length] + (bytes(len(data) - length) if zeros else b""))
        yield length, zeros
        for path in list(site.path("MSG").glob("cvkit-backup-*/*")):
            path.unlink()


def contents(site: Site) -> list[tuple]:
    """The messages without their origins: an origin of zeros looks like that of a local message."""
    base = site.message_base(1)
    lines = [line.split(b"\t") for line in (base.sig or b"").splitlines()]
    return [(r.number, r.sender, r.subject, base.dat[r.where * DAT_SIZE : (r.where + r.records) * DAT_SIZE],
             [line[0] for line in lines if int(line[1]) == r.number]) for r in base.ptr]


def named(answer: dict) -> set[int]:
    """The numbers of the messages that a line about a file of the conference names as "#3" or "#3 to #5"."""
    lines = [f"{finding['file']}: {finding['text']}" for finding in answer["findings"]] + answer["repaired"]
    ranges = [match for line in lines if line.startswith("MSG/CVMSG01.")
              for match in re.findall(r"#(\d+)(?: to #(\d+))?", line)]
    return {number for first, last in ranges for number in range(int(first), int(last or first) + 1)}


def ended(site: Site) -> Snapshot:
    return {path: data for path, data in without_backups(site.snapshot("MSG")).items() if not path.endswith(".IDX")}


@pytest.mark.parametrize("kind", BASE)
def test_what_is_still_inbound_is_stored_again_whole(sites, count, kind):
    site = sites.fresh()
    lay(site, inbound=True)
    whole = {path: site.read(path) for path in BASE.values()}
    expected = ended(site)
    for length, zeros in lay_damages(site, whole, kind):
        site.inbound("2.pkt", Packet(MAILS[INBOUND:]))
        assert repair(site) == [], (length, zeros)
        assert site.run("-check").status == 0
        assert site.toss().status == 0
        assert ended(site) == expected, (length, zeros)
        assert not site.path("IN/2.pkt").exists()
        count.one()


@pytest.mark.parametrize("kind", BASE)
def test_what_is_not_is_said_to_be_lost(sites, count, kind):
    """Each message that has changed is named, with its file and number."""
    site = sites.fresh()
    lay(site, inbound=False)
    whole = {path: site.read(path) for path in BASE.values()}
    before = contents(site)
    data = whole[BASE[kind]]
    for length, zeros in lay_damages(site, whole, kind):
        answer = Kit(site)("verify", "--repair", "--json", status=None).json
        assert site.run("-check").status == 0
        after = contents(site)
        lost = {message[0] for message in before if message not in after}
        assert lost <= named(answer), (length, zeros, lost)
        records = length // RECORD[kind]
        if kind in ("PTR", "SIG"):
            assert after[:records] == before[:records], (length, zeros)
        elif kind == "DAT":
            kept = [message for message in before if data.find(message[3]) + len(message[3]) <= length]
            assert after[: len(kept)] == kept, (length, zeros)
        else:
            assert after == before
        count.one()


@pytest.mark.parametrize("kind", ["IDX", "SIG"])
def test_a_file_that_is_lost_is_named(sites, kind):
    site = sites.fresh()
    lay(site, inbound=True)
    expected = ended(site)
    site.path(BASE[kind]).unlink()
    codes = [finding["code"] for finding in Kit(site).json("verify", status=None)["findings"]]
    assert codes == {"IDX": ["index-cut"], "SIG": ["sig-missing", "sig-missing", "sig-none"]}[kind]
    assert repair(site) == []
    assert site.run("-check").status == 0
    assert site.toss().status == 0
    found = ended(site)
    if kind == "SIG":  # the source that is gone cannot tell
        lines = expected.pop(BASE["SIG"]).splitlines(keepends=True)
        assert found.pop(BASE["SIG"]) == b"".join(lines[INBOUND:])
    assert found == expected


@pytest.mark.parametrize("text", [None, b"", b"5\n", b"many\n"])
def test_a_serial_file_that_is_lost_older_or_damaged_is_set_to_the_serial_in_use(sites, text):
    site = sites.fresh()
    site.conferences(echo("FIDO"))
    site.add_config("ADDRESS 2:250/10\n")
    base = MessageBase(1)
    base.add()
    base.add_sig("2:250/10 0000000a", 1, b"\r\n")
    site.put(base)
    if text is not None:
        site.write(SERIAL_FILE, text)
    assert repair(site) == []
    assert site.read(SERIAL_FILE) == b"10\n"

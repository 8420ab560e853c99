"""Each writing call of a repair, and of undoing one, fails or is the last before a kill. The next call then has the
result of an undisturbed one."""

import pytest

from formats.conference_table import echo
from formats.message_base import DAT_SIZE, MessageBase
from formats.packet import Packet, echomail
from harness.kit import Kit
from harness.site import LOCK, Site, Snapshot
from harness.target import KIT
from tools.count import rounds
from tools.kills import Point, fail_at, kill_at, needs_strace, writing_points
from tools.repairs import REPAIR, age_an_empty_lock, backups, kill_the_repair, repair, without_backups

pytestmark = needs_strace

TEXTS = ("one", "two")
MAILS = [echomail("FIDO", text, msgid=f"1:2/3 {text}") for text in TEXTS]
TEMPORARY = "OUT/6917f02c.su0.tmp"


def lay(site: Site) -> None:
    """A site with something to repair in each kind of file."""
    site.conferences(echo("FIDO"))
    site.add_config("ADDRESS 2:250/10\n")
    base = MessageBase(1)
    base.add(b"ours\x01")
    base.add_sig("2:250/10 0000000a", 1, b"\r\n")
    for mail, text, msgid in zip(MAILS, TEXTS, ("1:2/3 one", "")):
        base.store(mail, text.encode() + b"\x01", msgid=msgid)
    site.put(base)
    for kind, more in (("PTR", b"x" * 9), ("IDX", bytes(8) + b"\x09" + bytes(7)), ("DAT", bytes(2 * DAT_SIZE)),
                       ("SIG", b"1:2/3 tw")):
        path = f"MSG/CVMSG01.{kind}"
        site.write(path, site.read(path) + more)
    site.inbound("mail.pkt", Packet(MAILS))
    site.write(TEMPORARY, b"PK")


def state(site: Site) -> Snapshot:
    return {path: data for path, data in without_backups(site.snapshot()).items() if path != LOCK}


def laid(sites) -> Site:
    site = sites.fresh()
    lay(site)
    return site


def assert_says_why(status: int, errors: str, point: Point, later: bool) -> None:
    """A program that ends with 2 says why, unless writing to standard error fails as well."""
    assert status in (0, 1, 2), str(point)
    assert ("cvkit: " in errors) == (status == 2) or (later and point.call == "write"), (str(point), errors)


def sample(points: list[Point]) -> list[Point]:
    """The first call takes the lock."""
    return points[1 :: rounds(4, 1)]


@pytest.mark.parametrize("later", [False, True], ids=["once", "from then on"])
def test_a_repair_whose_calls_fail_is_finished_by_the_next(sites, count, later):
    site = laid(sites)
    points = writing_points(site, REPAIR)
    expected = state(site)
    assert TEMPORARY not in expected and len(backups(site)) == 1
    for point in sample(points):
        site = laid(sites)
        status, errors = fail_at(site, REPAIR, point, later)
        assert_says_why(status, errors, point, later)
        assert repair(site) == [], str(point)
        assert state(site) == expected, str(point)
        count.one()


def undo(site: Site) -> tuple[str, ...]:
    (backup,) = backups(site)
    return str(KIT), "verify", "--undo", backup


@pytest.mark.parametrize("later", [None, False, True], ids=["killed", "failing once", "failing from then on"])
def test_an_interrupted_undo_is_finished_by_the_next(sites, count, later):
    site = laid(sites)
    before = state(site)
    assert repair(site) == []
    points = writing_points(site, undo(site))
    assert state(site) == before
    for point in sample(points):
        site = laid(sites)
        repair(site)
        if later is None:
            kill_at(site, undo(site), point)
        else:
            status, errors = fail_at(site, undo(site), point, later)
            assert_says_why(status, errors, point, later)
        age_an_empty_lock(site)
        Kit(site)(*undo(site)[1:], status=None)
        assert state(site) == before, str(point)
        count.one()


def test_a_killed_repair_can_be_undone(sites, count):
    site = laid(sites)
    before = state(site)
    points = [point for point in writing_points(site, REPAIR) if "cvkit-backup" not in point.path]
    for point in sample(points):
        site = laid(sites)
        kill_the_repair(site, point)
        if not backups(site):
            continue
        Kit(site)(*undo(site)[1:], status=None)
        assert state(site) == before, str(point)
        count.one()


def test_an_undo_changes_nothing_when_others_have_changed_a_file(sites):
    """The other files stay repaired, too."""
    site = laid(sites)
    repair(site)
    site.write("MSG/CVMSG01.PTR", site.read("MSG/CVMSG01.PTR") + bytes(256))
    before = state(site)
    assert Kit(site)(*undo(site)[1:], status=2).errors.startswith("cvkit: MSG/CVMSG01.PTR is not as ")
    assert state(site) == before

"""`cvkit messages --mark-sent --apply` killed at each of its writing calls: the next call has the same result."""

from formats.conference_table import Conference, echo
from formats.message_base import MessageBase
from harness.kit import Kit
from harness.site import LOCK, Site, Snapshot
from harness.target import KIT
from tools.kills import kill_at, needs_strace, writing_points
from tools.repairs import age_an_empty_lock, backups, without_backups

pytestmark = needs_strace

MARK = (str(KIT), "messages", "--mark-sent", "--before", "2025-01-05", "--apply")
OLD, NEW = "01/04/25 11:59pm", "01/05/25 12:00am"
MARKED = ("MSG/CVMSG01.PTR", "MSG/CVMSG02.PTR")


def lay(site: Site, sent: int = 0) -> Snapshot:
    """Two echoes and a local conference, each with old and new messages; old ones of the echoes are sent or not."""
    site.conferences(echo("FIDO"), echo("TECH"), Conference(name="Local"))
    for number in (1, 2, 3):
        base = MessageBase(number)
        for date in (OLD, NEW, OLD):
            base.add(b"x", sent=sent if date == OLD and number != 3 else 0, date=date)
        site.put(base)
    return site.snapshot()


def test_a_killed_marking_is_finished_by_the_next_call(sites, count):
    expected = lay(sites.fresh(), sent=1)
    site = sites.fresh()
    before = lay(site)
    assert {path for path, data in before.items() if data != expected[path]} == set(MARKED)
    points = writing_points(site, MARK)
    assert without_backups(site.snapshot()) == expected
    for point in points:
        site = sites.fresh()
        lay(site)
        kill_at(site, MARK, point)
        halted = without_backups(site.snapshot())
        for path in before.keys() | halted.keys():
            assert path == LOCK or halted[path] in (before[path], expected[path]), (str(point), path)
        age_an_empty_lock(site)
        Kit(site)(*MARK[1:])
        assert without_backups(site.snapshot()) == expected, str(point)
        (backup,) = backups(site)
        Kit(site)("verify", "--undo", backup, status=None)
        assert without_backups(site.snapshot()) == before, str(point)
        count.one()

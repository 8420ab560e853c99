"""The ledger accounts for all mail after a killed toss, and after the next one, with a repair between or without."""

import re

import pytest

from harness.ledger import sums
from harness.site import LOCK, LOG, Site
from test_toss_kills import NAMES, elsewhere, find  # noqa: F401
from tools.count import LONG
from tools.kills import kill_at, needs_strace, writing_points
from tools.repairs import repair
from tools.toss_rerun import mend
from tools.toss_scene import SOURCE, TossScene

pytestmark = needs_strace

EACH = 1 if LONG else 17
"""One in this many points is tried; odd, so that the first and the last are."""
NO_LOG = "a retained packet tossed again"
"""The log of its earlier toss is gone, so that nothing shows which toss stored its first message."""


def assert_accounted_for(site: Site, scene: TossScene, log: str) -> None:
    """Compares the ledger with what the test finds in the log and the directories."""
    messages = len(scene.mails)
    inbound = site.path(f"IN/{SOURCE}").exists()
    wrote = len(set(re.findall(r"-> wrote conf \d+ msg #\d+", log)))
    if inbound:
        expected = {"stored": wrote, "waiting": messages - wrote + scene.fault}
    elif scene.kept:
        expected = {"stored": messages, "damaged": int(scene.fault)}
    else:
        expected = {"unknown": messages}
    assert sums(site) == {fate: count for fate, count in expected.items() if count}


def toss_to_the_end(site: Site) -> None:
    """Tosses as an operator would, repairing what the toss refuses."""
    site.path(LOCK).unlink(missing_ok=True)
    refused = [re.match(r"ERROR: conference (\d+) ", line) for line in site.toss().lines]
    for match in filter(None, refused):
        mend(site, int(match.group(1)))
    if any(refused):
        assert site.toss().status == 0


def repair_and_toss(site: Site) -> None:
    repair(site)
    assert site.toss().status == 0


ENDS = (toss_to_the_end, repair_and_toss)


@pytest.mark.parametrize("name", [name for name in NAMES if name != NO_LOG])
def test_what_a_killed_toss_leaves_is_accounted_for(sites, elsewhere, count, name):
    scene = find(name, elsewhere)
    site = sites.fresh()
    scene.lay(site)
    points = writing_points(site, "-toss", *scene.options)
    tried = [(point, end) for point in points for end in ENDS]
    for point, end in tried[len(name) % EACH::EACH]:
        site = sites.fresh()
        scene.lay(site)
        kill_at(site, "-toss", point, *scene.options)
        log = site.path(LOG)
        assert_accounted_for(site, scene, log.read_text() if log.exists() else "")
        end(site)
        assert_accounted_for(site, scene, log.read_text())
        count.one()

"""The ledger accounts for all mail after a killed toss, and after the next one."""

import re
import pytest

from harness.kit import Kit
from harness.site import LOCK, LOG, Site
from tools.count import LONG
from tools.kills import kill_at, needs_strace, writing_points
from tools.toss_rerun import mend
from tools.toss_scene import SOURCE, TossScene
from tools.toss_scenes import scenes

pytestmark = needs_strace

SCENES = {scene.name: scene for scene in scenes(None)}
NAMES = ["existing conferences", "without MSGIDs", "a bundle of three packets", "a packet with a structural fault",
         "sources deleted", "unknown areas", "moved by a link", "an older processed file"]
EACH = 1 if LONG else 4
"""So many points are killed at once in a long campaign, and one in so many else."""


def sums(site: Site, status: int = 0) -> dict[str, int]:
    answer = Kit(site).json("ledger", status=status)
    return {key: answer[key] for key in answer if isinstance(answer[key], int) and answer[key]}


def assert_accounted_for(site: Site, scene: TossScene, log: str) -> None:
    """Compares the ledger with what the test finds in the log and the directories."""
    messages = len(scene.mails)
    inbound = site.path(f"IN/{SOURCE}").exists()
    wrote = len(set(re.findall(r"-> wrote conf \d+ msg #\d+", log)))
    found = sums(site)
    if inbound:
        expected = {"stored": wrote, "waiting": messages - wrote + scene.fault}
    elif scene.kept:
        expected = {"stored": messages, "damaged": int(scene.fault)}
    else:
        expected = {"unknown": messages}
    assert found == {key: value for key, value in (expected | {"in": messages + scene.fault}).items() if value}


def toss_to_the_end(site: Site) -> None:
    """Tosses as an operator would, who repairs what the toss refuses."""
    site.path(LOCK).unlink(missing_ok=True)
    refused = [re.match(r"ERROR: conference (\d+) ", line) for line in site.toss().lines]
    for match in filter(None, refused):
        mend(site, int(match.group(1)))
    if any(refused):
        assert site.toss().status == 0


@pytest.mark.parametrize("name", NAMES)
def test_what_a_killed_toss_leaves_is_accounted_for(sites, count, name):
    scene = SCENES[name]
    site = sites.fresh()
    scene.lay(site)
    points = writing_points(site, "-toss", *scene.options)
    for number, point in enumerate(points):
        if (number + len(name)) % EACH:
            continue
        site = sites.fresh()
        scene.lay(site)
        kill_at(site, "-toss", point, *scene.options)
        log = site.path(LOG)
        assert_accounted_for(site, scene, log.read_text() if log.exists() else "")
        toss_to_the_end(site)
        assert_accounted_for(site, scene, log.read_text())
        count.one()

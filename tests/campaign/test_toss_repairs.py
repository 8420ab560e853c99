"""A toss killed anywhere, then repaired and run again, ends like an undisturbed one, even if the repair was killed."""

import pytest

from formats.message_base import MessageBase, message_files
from harness.site import Site, Snapshot
from test_toss_kills import NAMES, elsewhere, find  # noqa: F401
from tools.count import LONG
from tools.kills import Point, kill_at, needs_strace, writing_points
from tools.repairs import backups, kill_the_repair, repair, repair_points, without_backups
from tools.toss_rerun import copies, store_all
from tools.toss_scene import TossScene, observed
from tools.toss_scenes import FIDO, TWO, packet

pytestmark = needs_strace


def earlier_twins(base: MessageBase) -> None:
    """Two messages without SIG lines, of which each could be the one that the toss is about to store."""
    for _ in range(2):
        base.store(TWO[0].packed, TWO[0].body, msgid="", netmail=0)


TWINS = TossScene("twins", [FIDO], TWO[:1], packet, earlier_twins)


def scene_of(name: str, elsewhere) -> TossScene:  # noqa: F811
    return TWINS if name == TWINS.name else find(name, elsewhere)


def ended(site: Site, scene: TossScene) -> Snapshot:
    """The site after its run, without what may differ: saved packets, and how often an area is listed."""
    found = without_backups(observed(site, scene.elsewhere))
    listed = found.get("MSG/BADAREAS.LST")
    if listed:
        found["MSG/BADAREAS.LST"] = b"\n".join(sorted(set(listed.splitlines())))
    return {path: data for path, data in found.items() if not path.startswith("IN/badmsgs/")}


def undisturbed(site: Site, scene: TossScene) -> Snapshot:
    scene.lay(site)
    assert site.toss().status == 0
    return ended(site, scene)


def stored_by_the_next_toss(site: Site, scene: TossScene) -> Snapshot:
    """The message bases after a toss of the whole source: what has no known MSGID is added once more."""
    bases = [site.message_base(number) for number in range(1, len(scene.conferences) + 1)]
    store_all(scene, bases)
    return message_files(*bases)


def assert_as_undisturbed(site: Site, scene: TossScene, left: list[dict], expected: Snapshot, point: object) -> None:
    """What the repair cannot decide is named, and is stored again; everything else is as after an undisturbed toss."""
    if left:
        stored = copies(site, scene)
        without = [mail.body for mail in scene.mails if not mail.msgid]
        assert [finding["code"] for finding in left] == (
            ["sig-missing-twins"] * stored[TWO[0].body] if scene is TWINS
            else ["stored-again"] * sum(stored[body] for body in without)), (str(point), left)
        assert all(f"message #{finding['record'] + 1} " in finding["text"] for finding in left)
        expected = expected | stored_by_the_next_toss(site, scene)
    assert site.toss().status == 0
    found = ended(site, scene)
    assert found == expected, (str(point), {p for p in found.keys() | expected.keys()
                                            if found.get(p) != expected.get(p)})


@pytest.mark.parametrize("name", [*NAMES, TWINS.name])
def test_a_killed_toss_is_repaired(sites, elsewhere, count, name):
    scene = scene_of(name, elsewhere)
    expected = undisturbed(sites.fresh(), scene)
    site = sites.fresh()
    scene.lay(site)
    for point in writing_points(site, "-toss", *scene.options, log=LONG):
        site = sites.fresh()
        scene.lay(site)
        kill_at(site, "-toss", point, *scene.options)
        left = repair(site)
        assert_as_undisturbed(site, scene, left, expected, point)
        count.one()
        count.undecided += bool(left)


def telling_points(points: list[Point]) -> list[Point]:
    """In the short form, one call of each kind on each file; the first leaves only an empty lock."""
    return points[1:] if LONG else points[2::5]


@pytest.mark.parametrize("name", [*NAMES, TWINS.name] if LONG else ["a new conference", "processed on another disk"])
def test_a_killed_repair_of_a_toss_is_finished_by_the_next(sites, elsewhere, count, name):
    scene = scene_of(name, elsewhere)
    expected = undisturbed(sites.fresh(), scene)
    site = sites.fresh()
    scene.lay(site)
    for point in telling_points(writing_points(site, "-toss", *scene.options, log=False)):
        site = sites.fresh()
        scene.lay(site)
        kill_at(site, "-toss", point, *scene.options)
        for nested in repair_points(site):
            site = sites.fresh()
            scene.lay(site)
            kill_at(site, "-toss", point, *scene.options)
            kill_the_repair(site, nested)
            left = repair(site)
            assert len(backups(site)) <= 1, f"a second backup after {point} and {nested}"
            assert_as_undisturbed(site, scene, left, expected, (str(point), str(nested)))
            count.one()
            count.undecided += bool(left)

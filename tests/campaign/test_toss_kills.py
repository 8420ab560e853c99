"""A toss that is killed before each of its calls that write: what it leaves, and how the mail arrives nevertheless."""

import shutil
import tempfile
from pathlib import Path

import pytest

from harness.site import LOCK, Site
from tools.count import LONG, Count
from tools.kills import Point, kill_at, needs_strace, writing_points
from tools.promises import assert_nothing_damaged
from tools.sites import Sites
from tools.toss_rerun import (
    REFUSED,
    assert_check,
    assert_held_up,
    assert_refused_until_mended,
    copies,
    expected_copies,
    free_the_lock,
    toss_again,
)
from tools.toss_scene import SAVING, State, TossScene, observed, toss_states
from tools.toss_scenes import scenes

pytestmark = needs_strace


def other_disk(site_directory: Path) -> Path | None:
    """A directory on another file system."""
    shared = Path("/dev/shm")
    if not shared.is_dir() or shared.stat().st_dev == site_directory.stat().st_dev:
        return None
    return Path(tempfile.mkdtemp(prefix="cvtoss32-", dir=shared))


@pytest.fixture
def elsewhere(tmp_path):
    directory = other_disk(tmp_path)
    yield directory
    if directory:
        shutil.rmtree(directory, ignore_errors=True)


NAMES = [scene.name for scene in scenes(Path())]


def find(name: str, elsewhere: Path | None) -> TossScene:
    found = [scene for scene in scenes(elsewhere) if scene.name == name]
    if not found:
        pytest.skip("needs a second file system at /dev/shm")
    return found[0]


def assert_recovers(site: Site, scene: TossScene, state: State, by_age: bool) -> None:
    assert_check(site, scene, state)
    stale = LOCK in state.files
    if stale:
        assert_held_up(site)
        free_the_lock(site, by_age)
    if state.kind in REFUSED:
        assert_refused_until_mended(site, scene)
        stale, by_age = False, False
    if state.kind == SAVING:
        for path in site.path("IN/badmsgs").iterdir():
            path.unlink()
    toss_again(site, scene, state, stale and by_age)
    assert copies(site, scene) == expected_copies(scene, state)


def kill_everywhere(sites: Sites, scene: TossScene, points: list[Point], count: Count) -> None:
    states: list[State] = []
    reached = 0
    for number, point in enumerate(points):
        site = sites.fresh()
        scene.lay(site)
        before = observed(site)
        states = toss_states(scene, before)
        kill_at(site, "-toss", point, *scene.options)
        found = observed(site, scene.elsewhere)
        while found != states[reached].files:
            reached += 1
            assert reached < len(states), f"killed at {point}: not a state that a toss may pass through"
        assert_nothing_damaged(before, found)
        assert_recovers(site, scene, states[reached], by_age=(number + len(scene.name)) % 2 == 0)
        count.one()
    assert reached == len(states) - 2, "only the last call takes the lock away"


@pytest.mark.parametrize("name", NAMES)
def test_a_toss_killed_anywhere_loses_nothing(sites, elsewhere, count, name):
    scene = find(name, elsewhere)
    site = sites.fresh()
    scene.lay(site)
    states = toss_states(scene, observed(site))
    points = writing_points(site, "-toss", *scene.options, log=LONG)
    assert observed(site, scene.elsewhere) == states[-1].files
    kill_everywhere(sites, scene, points, count)

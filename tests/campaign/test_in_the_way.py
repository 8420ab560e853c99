"""Directories in place of files, and files and directories that may not be written."""

import pytest

from harness.limits import permissions_count
from harness.site import LOCK
from harness.target import posix_only
from tools.faulty import FaultyScan, FaultyToss, Scene, run, try_once
from tools.scan_scene import PACKET
from tools.toss_scene import PROCESSED, SOURCE

pytestmark = posix_only("permissions and the errors of this system")

TOSS, SCAN = FaultyToss(), FaultyScan()

NEW_FILES = [
    (TOSS, LOCK),
    (TOSS, "MSG/CVMSG02.DAT"),
    (TOSS, "MSG/CVMSG02.IDX"),
    (TOSS, "MSG/CVMSG02.PTR"),
    (TOSS, "MSG/CVMSG02.SIG"),
    (TOSS, f"{PROCESSED}/{SOURCE}"),
    (SCAN, LOCK),
    (SCAN, "MSG/CVMSG02.SIG"),
    (SCAN, "MSG/CVOUTBOUND.SEQ"),
    (SCAN, PACKET),
]
READ_ONLY = [
    (TOSS, "MSG/CVMSG01.DAT"),
    (TOSS, "MSG/CVMSG01.IDX"),
    (TOSS, "MSG/CVMSG01.PTR"),
    (TOSS, "MSG/CVMSG01.SIG"),
    (TOSS, "MSG"),
    (TOSS, "IN"),
    (SCAN, "MSG/CVMSG01.PTR"),
    (SCAN, "MSG/CVMSG02.PTR"),
    (SCAN, "MSG/CVMSG01.SIG"),
    (SCAN, "MSG"),
    (SCAN, "OUT"),
]


UNCERTAIN = {"MSG/CVMSG01.DAT", "MSG/CVMSG01.IDX", "MSG/CVMSG01.PTR", "MSG/CVMSG01.SIG", "MSG/CVMSG02.SIG"}
"""A toss that cannot open one of these cannot verify its size either: it asks for an inspection."""


def is_critical(scene: Scene, path: str) -> bool:
    return scene is TOSS and path in UNCERTAIN


def names(cases: list[tuple[Scene, str]]) -> list[str]:
    return [f"{scene.mode[1:]} {path}" for scene, path in cases]


@pytest.mark.parametrize("scene, path", NEW_FILES, ids=names(NEW_FILES))
def test_a_directory_where_a_file_belongs_fails_what_needs_the_file(sites, count, scene, path):
    site = sites.fresh()
    scene.lay(site)
    before = site.snapshot()
    site.path(path).mkdir(parents=True)
    faulty = run(site, scene)
    assert faulty.status == 1
    site.path(path).rmdir()
    scene.assert_kept(site, before, faulty, is_critical(scene, path))
    scene.assert_finished(site)
    count.one()


@pytest.mark.parametrize("scene, path", READ_ONLY, ids=names(READ_ONLY))
def test_what_may_not_be_written_stays_and_the_next_run_does_the_rest(sites, count, scene, path):
    site = sites.fresh()
    scene.lay(site)
    standing = site.path(path)
    mode = standing.stat().st_mode

    def forbid() -> dict:
        standing.chmod(0o555 if standing.is_dir() else 0o444)
        return {"preexec_fn": permissions_count}

    critical = is_critical(scene, path)
    assert try_once(site, scene, forbid, lambda: standing.chmod(mode), critical).status == 1
    count.one()

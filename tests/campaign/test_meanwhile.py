"""Files that others delete, create or lengthen during a run."""

import pytest

from harness.damage import assert_sig_lines
from harness.site import LOCK, Site
from tools.faulty import FaultyScan, FaultyToss, Scene, assert_holds_whole_messages
from tools.halts import calls, run_with_halt
from tools.kills import Point, needs_strace
from tools.promises import assert_nothing_damaged
from tools.scan_scene import PACKET, bundles, unsent
from tools.sites import Sites
from tools.toss_scene import PROCESSED, SOURCE

pytestmark = needs_strace

TOSS, SCAN = FaultyToss(), FaultyScan()
STORED = ("pwrite64", "MSG/CVMSG02.SIG")
SOMEBODY_ELSES = b"a bundle of somebody else's"


def fresh(sites: Sites, scene: Scene) -> Site:
    site = sites.fresh()
    scene.lay(site)
    return site


def after_first(sites: Sites, scene: Scene, call: str, path: str) -> Point:
    return calls(fresh(sites, scene), scene.mode, call, path)[0]


def after_last(sites: Sites, scene: Scene, call: str, path: str) -> Point:
    return calls(fresh(sites, scene), scene.mode, call, path)[-1]


def stored(site: Site) -> list[bytes]:
    return sorted(TOSS.bodies(site))


ALL_STORED = sorted([b"earlier mail\x01", *[mail.body for mail in TOSS.mails]])


def test_a_source_deleted_meanwhile_is_reported_as_missing(sites):
    point = after_last(sites, TOSS, *STORED)
    site = fresh(sites, TOSS)
    run = run_with_halt(site, "-toss", point, site.path(f"IN/{SOURCE}").unlink)
    assert f"  ERROR: processed but could not move to {PROCESSED}/{SOURCE}; source remains inbound" in run.lines
    assert run.status == 1
    assert stored(site) == ALL_STORED


def test_a_file_that_takes_the_name_of_a_source_meanwhile_stays_inbound(sites):
    point = after_last(sites, TOSS, *STORED)
    site = fresh(sites, TOSS)
    run = run_with_halt(site, "-toss", point, lambda: site.inbound(SOURCE, b"the next mail"))
    assert f"  ERROR: processed but could not move to {PROCESSED}/{SOURCE}; source remains inbound" in run.lines
    assert run.status == 1
    assert site.read(f"IN/{SOURCE}") == b"the next mail"
    assert stored(site) == ALL_STORED


def test_a_lock_deleted_meanwhile_does_not_disturb_its_owner(sites):
    point = after_last(sites, TOSS, "write", LOCK)
    site = fresh(sites, TOSS)
    run = run_with_halt(site, "-toss", point, site.path(LOCK).unlink)
    assert run.status == 0
    assert stored(site) == ALL_STORED


def test_messages_that_the_bbs_adds_between_two_of_ours_are_not_written_over(sites):
    """The sizes are read again for each message."""
    point = after_first(sites, TOSS, "pwrite64", "MSG/CVMSG01.SIG")
    site = fresh(sites, TOSS)

    def write_on_the_bbs() -> None:
        base = site.message_base(1)
        base.add(b"written by a caller\x01", sent=0)
        site.put(base)

    run = run_with_halt(site, "-toss", point, write_on_the_bbs)
    assert run.status == 0
    assert stored(site) == sorted([*ALL_STORED, b"written by a caller\x01"])
    base = site.message_base(1)
    assert [record.number for record in base.ptr] == list(range(1, len(base.ptr) + 1))
    assert_sig_lines(base)
    assert_holds_whole_messages(site.message_base(2))


def test_a_bundle_of_that_name_made_meanwhile_is_not_replaced(sites):
    point = after_last(sites, SCAN, "write", "OUT/#.tmp")
    site = fresh(sites, SCAN)
    before = site.snapshot()
    names: list[str] = []

    def take_the_name() -> None:
        (temporary,) = site.path("OUT").iterdir()
        names.append(temporary.stem)
        temporary.with_suffix("").write_bytes(SOMEBODY_ELSES)

    run = run_with_halt(site, "-scan", point, take_the_name)
    assert run.lines[-1] == f"ERROR: could not atomically publish bundle OUT/{names[0]}"
    assert run.status == 1
    assert [path.read_bytes() for path in site.path("OUT").iterdir()] == [SOMEBODY_ELSES]
    site.path(f"OUT/{names[0]}").unlink()
    SCAN.assert_kept(site, before, run)
    SCAN.assert_finished(site)


@pytest.mark.parametrize("call, path, error", [
    ("write", PACKET, "ERROR: could not read back complete temp packet"),
    ("write", "OUT/#.tmp", "ERROR: could not atomically publish bundle"),
])
def test_a_temporary_file_deleted_meanwhile_leaves_everything_unsent(sites, call, path, error):
    point = after_last(sites, SCAN, call, path)
    site = fresh(sites, SCAN)
    before = site.snapshot()

    def delete() -> None:
        for found in site.path(path).parent.glob("*.tmp" if "#" in path else path.split("/")[1]):
            found.unlink()

    run = run_with_halt(site, "-scan", point, delete)
    assert run.lines[-1].startswith(error)
    assert bundles(site) == []
    SCAN.assert_kept(site, before, run)
    SCAN.assert_finished(site)


def test_headers_that_disappear_after_the_bundle_is_published_leave_no_sig_line(sites):
    point = after_last(sites, SCAN, "renameat2", "OUT/#")
    site = fresh(sites, SCAN)
    before = site.snapshot()
    ptr, aside = site.path("MSG/CVMSG02.PTR"), site.path("aside")
    run = run_with_halt(site, "-scan", point, lambda: ptr.rename(aside))
    aside.rename(ptr)
    assert sum("its SIG append was rolled back" in line for line in run.lines) == len(SCAN.texts) // 2
    assert not site.path("MSG/CVMSG02.SIG").exists()
    assert unsent([site.message_base(1)]) == []
    assert_nothing_damaged(before, site.snapshot())
    SCAN.assert_kept(site, before, run)
    SCAN.assert_finished(site)

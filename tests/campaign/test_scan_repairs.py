"""A scan that is killed anywhere, repaired, and run again has sent every message once; so has one whose repair was
killed."""

import re
from collections import Counter

import pytest

from formats.message_base import message_files
from harness.site import LOCK, Site
from test_scan_kills import SCENES, assert_sent
from tools.count import LONG
from tools.kills import Point, kill_at, needs_strace, writing_points
from tools.repairs import backups, kill_the_repair, repair, repair_points, without_backups
from tools.scan_scene import LateScan, ScanScene, bundles, outbound_body, unsent
from tools.sites import Sites

pytestmark = needs_strace


NEIGHBOURS = {"IN/mail.pkt": b"waits", "IN/processed/old.pkt": b"tossed", "OUT/notes.txt": b"of the operator"}
"""Files that neither a scan nor its repair uses."""
BUNDLE = re.compile(r"OUT/[0-9a-f]{8}\.[a-z]{2}[0-9a-z]")


def killed(sites: Sites, scene: ScanScene, point: Point) -> tuple[Site, LateScan]:
    site = sites.fresh()
    scan = scene.lay(site)
    kill_at(site, "-scan", point, *scene.options)
    for path, content in NEIGHBOURS.items():
        site.write(path, content)
    return site, scan


def points_of(sites: Sites, scene: ScanScene) -> list[Point]:
    site = sites.fresh()
    scene.lay(site)
    refused = {name for name in ("renameat2", "link") if f"inject={name}:" in " ".join(scene.options)}
    return [point for point in writing_points(site, "-scan", *scene.options, log=False) if point.call not in refused]


def published(site: Site) -> set[bytes]:
    """Returns the MSGIDs in the bundles."""
    return {re.search(rb"\x01MSGID: ([^\r]*)", m.text).group(1) for packet in bundles(site) for m in packet.messages}


def assert_as_undisturbed(site: Site, scan: LateScan) -> None:
    """Each message in exactly one bundle, marked sent, with the one SIG line that names it; nothing half done; all that
    a scan does not write as before."""
    assert site.run("-scan").status == 0
    expected: Counter[bytes] = Counter()
    for base, record in unsent(scan.bases):
        expected[outbound_body(base, record)] += 1
        numbers = [line.split(b"\t")[1] for line in site.message_base(base.conference).sig.splitlines()]
        assert numbers.count(b"%d" % record.number) == 1
    assert unsent([site.message_base(base.conference) for base in scan.bases]) == []
    assert_sent(site, expected)
    lines = [line for base in scan.bases for line in (site.message_base(base.conference).sig or b"").splitlines()]
    assert published(site) <= {line.split(b"\t")[0] for line in lines}
    found = without_backups(site.snapshot())
    around = ("IN/", "OUT/", "MSG/CVOUTBOUND.PKT", LOCK)
    others = {path: data for path, data in found.items() if path.startswith(around) and not path.endswith("/")}
    assert {path: data for path, data in others.items() if not BUNDLE.fullmatch(path)} == NEIGHBOURS
    before = {path: data for base in scan.bases for path, data in message_files(base).items()}
    changed = {path for path in found.keys() | before.keys() if path in before and found.get(path) != before[path]}
    assert {path[-3:] for path in changed} <= {"PTR", "SIG"}


@pytest.mark.parametrize("scene", SCENES, ids=[scene.name for scene in SCENES])
def test_a_killed_scan_is_repaired(sites, count, scene):
    for point in points_of(sites, scene):
        site, scan = killed(sites, scene, point)
        assert repair(site) == [], str(point)
        assert_as_undisturbed(site, scan)
        count.one()


@pytest.mark.parametrize("scene", SCENES if LONG else SCENES[1:2], ids=lambda scene: scene.name)
def test_a_killed_repair_of_a_scan_is_finished_by_the_next(sites, count, scene):
    points = points_of(sites, scene)
    for point in points[1:] if LONG else points[-4:-1]:
        site, _ = killed(sites, scene, point)
        for nested in repair_points(site):
            site, scan = killed(sites, scene, point)
            kill_the_repair(site, nested)
            assert repair(site) == [], (str(point), str(nested))
            assert len(backups(site)) <= 1, f"a second backup after {point} and {nested}"
            assert_as_undisturbed(site, scan)
            count.one()


def test_a_bundle_that_was_fetched_before_the_marks_is_reported(sites, count):
    """Its unsent messages are sent again, under new MSGIDs."""
    scene = SCENES[1]
    for point in points_of(sites, scene):
        site, scan = killed(sites, scene, point)
        fetched = [path for path in site.path("OUT").iterdir() if BUNDLE.fullmatch(f"OUT/{path.name}")]
        if not fetched:
            continue
        first = published(site)
        fetched[0].unlink()
        left = [finding["code"] for finding in repair(site)]
        waiting = unsent([site.message_base(base.conference) for base in scan.bases])
        assert left == ["bundle-fetched"] * bool(waiting), str(point)
        assert site.run("-scan").status == 0
        again = published(site)
        assert not first & again and len(again) == len(waiting), str(point)
        assert repair(site) == []
        count.one()
        count.undecided += bool(left)
    assert count.undecided > 0

"""A scan that is killed before each of its calls that write: what it leaves, and what the next scan sends."""

import re
from collections import Counter

import pytest

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase
from harness.compare import GONE
from harness.site import LOCK, Site
from tools.count import LONG, Count
from tools.kills import NO_RENAME, Point, kill_at, needs_strace, writing_points
from tools.promises import assert_nothing_damaged
from tools.scan_scene import (
    LARGEST_SERIAL,
    PACKET,
    LateScan,
    ScanScene,
    State,
    bundles,
    look,
    outbound_body,
    scan_states,
    unsent,
    untouched,
)
from tools.sites import Sites
from tools.toss_rerun import free_the_lock

pytestmark = needs_strace

OLD_NAME = "5fffffff.we0.tmp"


def one_conference(bases: list[MessageBase]) -> None:
    (base,) = bases
    base.add(b"sent\x01")
    base.add(b"first text\x01", sent=0)
    base.add(b"deleted\x01", sent=0, deleted=1)
    base.add(b"second text\x01" * 30, sent=0, private=1)
    base.add_sig("1:2/3 sent", 1)


def several_conferences(bases: list[MessageBase]) -> None:
    tech, mail, fido = bases
    tech.add(b"parent\x01")
    tech.add_sig("1:2/3 parent", 1)
    tech.add(b"a reply\x01", sent=0, is_reply=1, is_root=0, thread=1)
    mail.add(b"a letter\x01", to="Bob@2:5/6", netmail=1, sent=0)
    fido.add(b"an announcement\x01", sent=0)


THREE = [echo("TECH"), netmail_conference(), echo("FIDO")]
SCENES = [
    ScanScene("one conference", [echo("FIDO")], one_conference, serial=9),
    ScanScene("several conferences", THREE, several_conferences),
    ScanScene("the last serial of all", [echo("FIDO")], one_conference, serial=LARGEST_SERIAL),
    ScanScene("publishing by a link", [echo("FIDO")], one_conference, serial=9, options=NO_RENAME, linked=True),
    ScanScene("publishing by a plain rename", [echo("FIDO")], one_conference, serial=9,
              options=(*NO_RENAME, "-e", "inject=linkat:error=EPERM")),
]


def assert_check_sees_the_lock_only(site: Site, locked: bool) -> None:
    before = site.snapshot()
    run = site.run("-check")
    errors = [line for line in run.lines if line.startswith("ERROR")]
    assert [line.startswith("ERROR: an CVTOSS.BSY lock already exists") for line in errors] == [True] * locked
    assert run.status == int(locked)
    assert site.snapshot() == before


def assert_held_up(site: Site) -> None:
    """Asserts that the next scan ends at once while the lock is fresh."""
    before = site.snapshot()
    run = site.run("-scan")
    assert run.lines[-1] == (
        "Aborting: another cvtoss32 -toss/-scan instance appears to be running (MSG/CVTOSS.BSY)"
    )
    assert run.status == 1
    assert site.snapshot() == before


def let_time_pass(site: Site) -> None:
    """Waits for another second, so that the next scan uses other names."""
    for path in site.path("OUT").glob("*.tmp"):
        path.rename(path.with_name(OLD_NAME))


def assert_next_scan_sends_the_rest(site: Site, scene: ScanScene, by_age: bool) -> None:
    changes: dict[str, object] = {PACKET: GONE} if site.path(PACKET).exists() else {}
    scan = LateScan.of_what_stands(site, *scene.conferences)
    scan.stale = by_age
    scan.run(changes | ({LOCK: GONE} if by_age else {}))
    assert unsent([site.message_base(base.conference) for base in scan.bases]) == []


def assert_sent(site: Site, expected: Counter[bytes]) -> None:
    """Asserts how often each text was published, and that no MSGID was used twice."""
    messages = [message for packet in bundles(site) for message in packet.messages]
    msgids = [re.search(rb"\x01MSGID: ([^\r]*)", message.text).group(1) for message in messages]
    assert len(set(msgids)) == len(msgids)
    assert Counter(body for message in messages for body in expected if body in message.text) == expected


def expected_exports(scan: LateScan, state: State) -> Counter[bytes]:
    """Once for each text; twice for those published but not marked sent."""
    expected: Counter[bytes] = Counter()
    for base, record in unsent(scan.bases):
        marked = state.seen.sent[base.conference - 1][base.ptr.index(record)]
        expected[outbound_body(base, record)] = 2 if state.seen.bundles and not marked else 1
    return expected


def kill_everywhere(sites: Sites, scene: ScanScene, points: list[Point], count: Count) -> None:
    states: list[State] = []
    reached = 0
    for number, point in enumerate(points):
        site = sites.fresh()
        scan = scene.lay(site)
        states = scan_states(scene, scan)
        before = site.snapshot()
        kill_at(site, "-scan", point, *scene.options)
        seen = look(site, len(scene.conferences))
        while seen != states[reached].seen:
            reached += 1
            assert reached < len(states), f"killed at {point}: not a state that a scan may pass through"
        after = site.snapshot()
        assert untouched(after) == untouched(before)
        assert_nothing_damaged(before, after)

        locked, by_age = LOCK in after, (number + len(scene.name)) % 2 == 0
        assert_check_sees_the_lock_only(site, locked)
        if locked:
            assert_held_up(site)
            free_the_lock(site, by_age)
        let_time_pass(site)
        assert_next_scan_sends_the_rest(site, scene, locked and by_age)
        assert_sent(site, expected_exports(scan, states[reached]))
        count.one()
    assert reached == len(states) - 2, "only the last call takes the lock away"


@pytest.mark.parametrize("scene", SCENES, ids=[scene.name for scene in SCENES])
def test_a_scan_killed_anywhere_loses_nothing(sites, count, scene):
    site = sites.fresh()
    states = scan_states(scene, scene.lay(site))
    points = writing_points(site, "-scan", *scene.options, log=LONG)
    assert look(site, len(scene.conferences)) == states[-1].seen
    # What is refused in this scene moves nothing.
    refused = {name for name in ("renameat2", "linkat") if f"inject={name}:" in " ".join(scene.options)}
    made = [point for point in points if point.call not in refused]
    kill_everywhere(sites, scene, made, count)

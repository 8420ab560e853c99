"""A kill during a write: the system ends a long write at a page of the file, never within a page.

No test can hit that moment. The program is killed before the write, and the test then writes the possible part.
"""

import pytest

from formats.conference_table import echo
from harness.site import LOCK, Site
from tools.count import Count
from tools.kills import Point, kill_at, needs_strace, writing_points
from tools.promises import assert_nothing_damaged
from tools.sites import Sites
from tools.toss_rerun import REFUSED, assert_refused_until_mended, copies, expected_copies, free_the_lock, toss_again
from tools.toss_scene import FIRST_TEXT, LOOSE_TEXT, UNSIGNED, State, TossScene, echo_mail, observed, toss_states
from tools.toss_scenes import earlier_mail, packet

pytestmark = needs_strace

PAGE = 4096
LONG_MSGID = "1:2/3 " + "m" * 100
SIGNED = [echo_mail(1, "FIDO", "one", LONG_MSGID)]
LONG_TEXT = [echo_mail(1, "FIDO", "long " * 16, "1:2/3 a", times=160)]
EXISTING = TossScene("existing", [echo("FIDO")], LONG_TEXT, packet, earlier_mail)
NEW = TossScene("new", [echo("FIDO")], LONG_TEXT, packet)
LONG_LINE = TossScene("a long line", [echo("FIDO")], SIGNED, packet, earlier_mail)


def first_write(sites: Sites, scene: TossScene, path: str) -> Point:
    site = sites.fresh()
    scene.lay(site)
    points = writing_points(site, "-toss", log=False)
    return next(point for point in points if (point.call, point.path) == ("pwrite64", path))


def torn(sites: Sites, scene: TossScene, point: Point, added: int) -> tuple[Site, State]:
    """A site in which that write ended after that many bytes, and the state after the whole write."""
    site = sites.fresh()
    scene.lay(site)
    before = observed(site)
    states = toss_states(scene, before)
    kill_at(site, "-toss", point)
    found = observed(site)
    (after,) = [states[n + 1] for n, state in enumerate(states) if state.files == found]
    old, new = found[point.path], after.files[point.path]
    site.write(point.path, new[: len(old) + added])
    assert 0 < added < len(new) - len(old), "not torn"
    assert_nothing_damaged(before, observed(site))
    return site, after


@pytest.mark.parametrize("scene, kind", [(EXISTING, LOOSE_TEXT), (NEW, FIRST_TEXT)], ids=["existing", "new"])
def test_half_a_text_is_left_behind_like_a_whole_one(sites, count: Count, scene, kind):
    point = first_write(sites, scene, "MSG/CVMSG01.DAT")
    for page in (1, 2):
        standing = len(scene.bases()[0].dat)
        site, state = torn(sites, scene, point, page * PAGE - standing % PAGE)
        assert state.kind == kind
        free_the_lock(site, by_age=False)
        if kind in REFUSED:
            assert_refused_until_mended(site, scene)
        toss_again(site, scene, state, stale=False)
        assert copies(site, scene) == expected_copies(scene, state)
        count.one()


def test_half_a_sig_line_is_removed_by_the_operator_and_then_as_if_it_had_never_been_begun(sites, count: Count):
    point = first_write(sites, LONG_LINE, "MSG/CVMSG01.SIG")
    whole = len(f"{LONG_MSGID}\t4\n")
    for added in (1, len(LONG_MSGID) - 1, len(LONG_MSGID), len(LONG_MSGID) + 1, whole - 1):
        site, _ = torn(sites, LONG_LINE, point, added)
        lines = site.read("MSG/CVMSG01.SIG")
        site.write("MSG/CVMSG01.SIG", lines[: lines.rfind(b"\n") + 1])
        site.path(LOCK).unlink()
        state = State(UNSIGNED, observed(site), stored=1)
        toss_again(site, LONG_LINE, state, stale=False)
        assert copies(site, LONG_LINE) == expected_copies(LONG_LINE, state)
        count.one()

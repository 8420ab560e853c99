"""After a toss was killed: what the check says, what the next toss does, what the operator must do."""

import os
import re
import time
from collections import Counter

from formats.message_base import IDX_SIZE, PTR_SIZE, MessageBase, message_body, message_files, read_message_base
from formats.text import raw, shown
from harness.compare import bad_areas
from harness.site import LOCK, Site, Snapshot
from harness.start_up import BAD_BASES, locked
from tools.toss_scene import (
    ELSEWHERE,
    FIRST_TEXT,
    LOOSE_INDEX,
    PROCESSED,
    SOURCE,
    UNSIGNED,
    State,
    TossScene,
    observed,
)

HALF_AN_HOUR = 1802  # the clock of whole seconds steps a little behind the one of this interpreter
REFUSED = (FIRST_TEXT, LOOSE_INDEX)
"""The states that every run refuses until the operator has cut files back."""


def assert_check(site: Site, scene: TossScene, state: State) -> None:
    """Asserts that the check reports just the lock and what the runs will refuse, and changes nothing."""
    before = site.snapshot()
    run = site.run("-check")
    issues = []
    if state.kind in REFUSED:
        issues += [refusal(site, scene)]
    if LOCK in state.files:
        owner = shown(site.read(LOCK)).removesuffix("\n")
        issues += ["ERROR: an CVTOSS.BSY lock already exists" + (f": {owner}" if owner else "")]
    assert [line for line in run.lines if line.startswith(("ERROR", "FATAL", "NOT SAFE"))] == issues
    verdict = f"FAILED: {len(issues)} issue(s) require attention" if issues else "PASSED: configuration and FTN"
    assert run.lines[-1].startswith(f"=== cvtoss32 -check {verdict}")
    assert run.status == int(bool(issues))
    assert site.snapshot() == before


def refusal(site: Site, scene: TossScene) -> str:
    """The line about the conference whose files do not agree."""
    for number in range(1, len(scene.conferences) + 1):
        sizes = {kind: file_size(site, number, kind) for kind in ("PTR", "IDX", "DAT")}
        headers, entries = sizes["PTR"] // PTR_SIZE, sizes["IDX"] // IDX_SIZE
        if headers == 0 and (sizes["IDX"] or sizes["DAT"]):
            return f"ERROR: conference {number} has IDX/DAT data but no PTR records"
        if entries > headers:
            return f"ERROR: conference {number} IDX has {entries} records but PTR has only {headers}"
    raise AssertionError("the files of every conference fit together")


def file_size(site: Site, conference: int, kind: str) -> int:
    path = site.path(f"MSG/CVMSG{conference:02d}.{kind}")
    return path.stat().st_size if path.exists() else 0


def assert_held_up(site: Site) -> None:
    """Asserts that the next toss ends at once while the lock is fresh."""
    before = site.snapshot()
    owner = shown(site.read(LOCK)).removesuffix("\n")
    run = site.toss()
    assert run.lines[3:] == [*([f"Lock owner: {owner}"] if owner else []), locked()]
    assert run.status == 1
    assert site.snapshot() == before


def free_the_lock(site: Site, by_age: bool) -> None:
    """Makes the lock half an hour old, or deletes it as the operator may."""
    path = site.path(LOCK)
    if by_age:
        then = time.time() - HALF_AN_HOUR
        os.utime(path, (then, then))
    else:
        path.unlink()


def assert_refused_until_mended(site: Site, scene: TossScene) -> None:
    """Asserts that the next toss reports what does not agree and changes nothing; then repairs as the operator."""
    before = observed_without_lock(site)
    line = refusal(site, scene)
    run = site.toss()
    assert run.lines[-2:] == [line, BAD_BASES]
    assert run.status == 1
    assert observed_without_lock(site) == before
    mend(site, int(re.search(r"conference (\d+)", line).group(1)))


def observed_without_lock(site: Site) -> Snapshot:
    return {path: data for path, data in observed(site).items() if path != LOCK}


def mend(site: Site, conference: int) -> None:
    """Deletes texts and index if there are no headers; otherwise cuts the index to one entry for each header."""
    headers = file_size(site, conference, "PTR") // PTR_SIZE
    if headers == 0:
        for kind in ("DAT", "IDX"):
            site.path(f"MSG/CVMSG{conference:02d}.{kind}").unlink()
    else:
        os.truncate(site.path(f"MSG/CVMSG{conference:02d}.IDX"), headers * IDX_SIZE)


def toss_again(site: Site, scene: TossScene, state: State, stale: bool) -> None:
    """The next toss: its lines about messages, and every file afterwards."""
    bases = [read_message_base(site.path("MSG"), number) for number in range(1, len(scene.conferences) + 1)]
    inbound = f"IN/{SOURCE}" in state.files
    expected = observed_without_lock(site) | ({f"{PROCESSED}/": None} if scene.kept and not scene.elsewhere else {})
    lines: list[str] = []
    if inbound:
        lines = store_all(scene, bases)
        expected |= message_files(*bases) | disposal(scene, expected)
        del expected[f"IN/{SOURCE}"]
    run = site.toss()
    assert ("Found a stale lock file (30 minutes old) -- clearing it" in run.lines) == stale
    assert [line for line in run.lines if line.startswith(("  -> wrote", "  msg "))] == lines
    assert run.status == 0
    assert observed(site, scene.elsewhere) == expected | elsewhere_before(scene, state, inbound)


def elsewhere_before(scene: TossScene, state: State, inbound: bool) -> Snapshot:
    if not scene.elsewhere:
        return {}
    target = f"{ELSEWHERE}/{SOURCE}"
    return {target: scene.source()} if inbound or target in state.files else {}


def store_all(scene: TossScene, bases: list[MessageBase]) -> list[str]:
    lines = []
    for n, mail in enumerate(scene.mails, 1):
        n = 1 if scene.packets else n
        base = bases[mail.conference - 1]
        if mail.unknown_area:
            lines.append(
                f"  msg {n}: AREA:{mail.area} has no matching conference"
                f" -- parked in catch-all conf {mail.conference} (see BADAREAS.LST)"
            )
        known = [line.split(b"\t")[0] for line in (base.sig or b"").splitlines()]
        if raw(mail.msgid) in known:
            lines.append(f"  msg {n}: duplicate (MSGID {mail.msgid} already seen in conf {mail.conference}) -- SKIPPED")
        else:
            lines.append(mail.store(base))
    return lines


def disposal(scene: TossScene, standing: Snapshot) -> Snapshot:
    made: Snapshot = {}
    if scene.kept and not scene.elsewhere:
        made[f"{PROCESSED}/{SOURCE}"] = scene.source()
    if scene.fault:
        made |= {"IN/badmsgs/": None, "IN/badmsgs/BAD_#.PKT": scene.source()}
    areas = [mail.area for mail in scene.mails if mail.unknown_area]
    if areas:
        made["MSG/BADAREAS.LST"] = (standing.get("MSG/BADAREAS.LST") or b"") + bad_areas(*areas)
    return made


def copies(site: Site, scene: TossScene) -> Counter[bytes]:
    """How often each text of the source is in the message base."""
    texts = [mail.body for mail in scene.mails]
    bases = [site.message_base(number) for number in range(1, len(scene.conferences) + 1)]
    bodies = [message_body(base, record) for base in bases for record in base.ptr]
    return Counter(body for body in bodies if body in texts)


def expected_copies(scene: TossScene, state: State) -> Counter[bytes]:
    """Once for each; twice where the toss cannot know that the message is already stored."""
    expected = Counter(mail.body for mail in scene.mails)
    if f"IN/{SOURCE}" not in state.files:
        return expected
    for n, mail in enumerate(scene.mails[: state.stored], 1):
        if not mail.msgid or (state.kind == UNSIGNED and n == state.stored):
            expected[mail.body] += 1
    return expected

"""After a run was killed: after one call of cvkit the same run ends as if it had never been killed."""

import os
import re
import time

from harness.kit import Kit
from harness.site import LOCK, Site, Snapshot
from harness.target import KIT
from tools.kills import Point, kill_at, writing_points
from tools.toss_rerun import HALF_AN_HOUR

REPAIR = (str(KIT), "verify", "--repair")
BACKUP = re.compile(r"MSG/cvkit-backup-[^/]*/")


def age_an_empty_lock(site: Site) -> None:
    """Only its age shows that a lock without an owner belongs to a run that was killed."""
    path = site.path(LOCK)
    if path.exists() and not path.read_bytes():
        then = time.time() - HALF_AN_HOUR
        os.utime(path, (then, then))


def repair(site: Site) -> list[dict]:
    """Repairs the site; returns what is left."""
    age_an_empty_lock(site)
    answer = Kit(site)("verify", "--repair", "--json", status=None)
    assert answer.status in (0, 1), answer.errors
    left = [finding for finding in answer.json["findings"] if finding["severity"] != "note"]
    assert answer.status == int(bool(left))
    assert not site.path(LOCK).exists()
    return left


def kill_the_repair(site: Site, point: Point) -> None:
    age_an_empty_lock(site)
    kill_at(site, REPAIR, point)


def repair_points(site: Site) -> list[Point]:
    """Every call by which the repair of this site writes to it; the site is repaired by that."""
    age_an_empty_lock(site)
    return writing_points(site, REPAIR)


def backups(site: Site) -> set[str]:
    return {match.group() for path in site.snapshot("MSG") if (match := BACKUP.match(path))}


def without_backups(snapshot: Snapshot) -> Snapshot:
    return {path: data for path, data in snapshot.items() if not BACKUP.match(path)}

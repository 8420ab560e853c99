"""Run lock: of runs that start at the same moment exactly one proceeds, and none removes its lock."""

import os
import shutil
import subprocess
import time

import pytest

from formats.conference_table import echo
from harness.run import unstamp
from harness.site import LOCK, LOG, Site
from harness.start_up import locked
from harness.target import PROGRAM, WINDOWS, to_line_feeds
from harness.waiting import BUSY, kill, owner_line, owner_process, waits

ROUNDS = 25


class Racer:
    """A copy of the program in a directory of its own, so that it has a log of its own."""

    def __init__(self, site: Site, name: str):
        self.site = site
        self.program = site.path(name) / PROGRAM.name
        self.program.parent.mkdir()
        shutil.copy2(PROGRAM, self.program)
        self.log = self.program.parent / LOG

    def start(self) -> None:
        self.log.unlink(missing_ok=True)
        self.process: subprocess.Popen[bytes] = self.site.start("-toss", program=self.program)

    def holds(self) -> bool:
        return self.log.exists() and waits().encode() in self.log.read_bytes()

    def lost(self) -> bool:
        return self.process.poll() is not None


def assert_one_proceeds(site: Site, racers: list[Racer]) -> None:
    for racer in racers:
        racer.start()
    site.wait_for(lambda: all(racer.holds() or racer.lost() for racer in racers))
    (winner,) = [racer for racer in racers if racer.holds()]
    assert not winner.lost()
    line = owner_line(site)
    if not WINDOWS:  # Wine numbers its processes itself
        assert owner_process(line) == winner.process.pid
    for loser in racers:
        if loser is winner:
            continue
        _, lines = unstamp(to_line_feeds(loser.log.read_bytes()))
        assert loser.process.returncode == 1
        assert lines[-1] == locked()
        assert [owner for owner in lines if owner.startswith("Lock owner: ")] in ([f"Lock owner: {line}"], [])
        loser.process.communicate(timeout=60)
    kill(winner.process)


@pytest.fixture
def racers(site):
    site.conferences(echo("FIDO"))
    site.nodes(BUSY)
    made = [Racer(site, name) for name in ("one", "two")]
    yield made
    for racer in made:
        racer.program.unlink()


def test_of_two_runs_that_start_together_exactly_one_proceeds(site, racers):
    for _ in range(ROUNDS):
        assert_one_proceeds(site, racers)
        site.path(LOCK).unlink()


def test_of_two_runs_that_find_the_same_stale_lock_exactly_one_proceeds(site, racers):
    for _ in range(ROUNDS):
        site.write(LOCK, "died long ago\n")
        then = time.time() - 3600
        os.utime(site.path(LOCK), (then, then))
        assert_one_proceeds(site, racers)

"""Two and eight programs on one site at once: never two at work, never a lock left, never a message twice."""

import random
import re
from collections import Counter

import pytest

from formats.message_base import assert_whole, message_body
from harness.site import LOCK, Site
from harness.target import posix_only
from harness.waiting import BUSY
from tools.count import Count, rounds
from tools.faulty import FaultyScan, FaultyToss
from tools.racing import LOCKS, LeftLock, Racers
from tools.scan_scene import bundles, unsent
from tools.toss_scene import PROCESSED, SOURCE

pytestmark = posix_only("runs of this many programs; one race of two is run on Windows as well")

LONGEST_DELAY = 0.012
"""Seconds; about as long as eight programs take to start."""


@pytest.mark.parametrize("programs", [2, 8])
@pytest.mark.parametrize("lock", LOCKS)
def test_never_are_two_at_work(sites, count, programs, lock):
    site = sites.fresh()
    FaultyScan().lay(site)
    site.nodes(BUSY)
    racers = Racers(site, (["-toss", "-scan"] * programs)[:programs])
    for _ in range(rounds(10, 250)):
        left = LeftLock(site, lock, random.uniform(0, LONGEST_DELAY))
        racers.start()
        try:
            at_work = racers.at_work()
        finally:
            left.settle()
            racers.end()
        assert at_work <= 1
        assert at_work == 1 or lock in ("fresh", "vanishing")
        assert at_work == 0 or lock != "fresh"
        count.one()


@pytest.mark.parametrize("programs", [2, 8])
@pytest.mark.parametrize("lock", LOCKS)
def test_mail_is_stored_and_sent_once_whichever_run_is_first(sites, count, programs, lock):
    for _ in range(rounds(6, 100)):
        race_for_the_mail(sites.fresh(), programs, lock, count)


def race_for_the_mail(site: Site, programs: int, lock: str, count: Count) -> None:
    toss, scan = FaultyToss(), FaultyScan()
    scan.lay(site)
    local = {number: len(site.message_base(number).ptr) for number in (1, 2)}  # stood there before
    site.inbound(SOURCE, toss.source)
    racers = Racers(site, (["-toss", "-scan"] * programs)[:programs])
    left = LeftLock(site, lock, random.uniform(0, LONGEST_DELAY))
    racers.start()
    runs = racers.ended()
    left.settle()

    assert site.path(LOCK).exists() == (lock == "fresh")
    for run in runs:
        refused = any(line.startswith("Aborting: another") for line in run.lines)
        assert run.status == int(refused)
        assert not any(line.startswith(("ERROR", "CRITICAL", "WARNING", "FATAL")) for line in run.lines)
    site.path(LOCK).unlink(missing_ok=True)
    assert site.toss().status == 0
    assert site.run("-scan").status == 0

    bases = [site.message_base(number) for number in (1, 2)]
    stored = [message_body(base, record) for base in bases for record in base.ptr[local[base.conference] :]]
    assert Counter(stored) == Counter(mail.body for mail in toss.mails)
    assert site.read(f"{PROCESSED}/{SOURCE}") == toss.source
    assert unsent(bases) == []
    sent = [message.text for packet in bundles(site) for message in packet.messages]
    assert Counter(re.search(rb"message \d+", text).group() for text in sent) == Counter(scan.texts)
    for base in bases:
        assert_whole(base)
        assert len(base.idx) == len(base.ptr)
        signed = [int(line.split(b"\t")[1]) for line in base.sig.splitlines()]
        assert sorted(signed) == [record.number for record in base.ptr]
    count.one()

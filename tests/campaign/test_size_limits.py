"""Limits on the size of a file, as set by a shell or a service manager: many sizes up to what the run needs."""

import pytest

from harness.limits import file_size
from harness.target import posix_only
from tools.count import rounds
from tools.faulty import FaultyScan, FaultyToss, Scene, try_once

pytestmark = posix_only("limits of a process")


@pytest.mark.parametrize("scene, short_step", [(FaultyToss(), 97), (FaultyScan(), 389)], ids=["toss", "scan"])
def test_a_size_limit_fails_what_it_cuts_and_nothing_else(sites, count, scene: Scene, short_step: int):
    step = rounds(short_step, 17)
    limit, status = 0, 1
    while status != 0:
        site = sites.fresh()
        scene.lay(site)
        status = try_once(site, scene, lambda: {"preexec_fn": file_size(limit)}, lambda: None).status
        limit += step
        count.one()
        assert limit < 100_000, "no limit was enough"
    assert count.points > 10, "every limit was enough"

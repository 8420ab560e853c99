"""Stops the program right after one of its system calls, while something else happens."""

import os
import re
import signal
from typing import Callable

from harness.run import Run, unstamp
from harness.site import LOG, Site
from tools.kills import LIMIT, Point, strace, trace_file, writing_points

STOPPED = re.compile(r"^(\d+) +--- stopped by SIGSTOP ---$", re.MULTILINE)


def calls(site: Site, mode: str, call: str, path: str) -> list[Point]:
    """The calls of that kind on that path, found by a run of their own; the site cannot be used again."""
    points = [point for point in writing_points(site, mode) if (point.call, point.path) == (call, path)]
    assert points, f"no {call} on {path}"
    return points


def run_with_halt(site: Site, mode: str, point: Point, meanwhile: Callable[[], None], *options: str) -> Run:
    """Runs to the end of that call, then calls `meanwhile`, then lets the run continue to its end."""
    trace_file(site).write_text("")
    process = strace(site, mode, *options, "-e", f"inject={point.call}:signal=STOP:when={point.nth}")
    try:
        site.wait_for(lambda: STOPPED.search(trace_file(site).read_text(encoding="latin-1")) is not None, process)
        program = int(STOPPED.search(trace_file(site).read_text(encoding="latin-1")).group(1))
        meanwhile()
        os.kill(program, signal.SIGCONT)
        _, errors = process.communicate(timeout=LIMIT)
    except BaseException:
        process.kill()
        process.communicate()
        raise
    assert errors == b""
    stamps, lines = unstamp(site.read(LOG))
    return Run(process.returncode, "", stamps, lines)

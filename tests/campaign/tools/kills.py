"""Stops the program at one system call: it is killed or halted just before the call is made.

A run under strace shows which calls write, in order; a second run of the same scene is then stopped at one of them.
strace counts the calls of each kind separately: the Nth openat, the Nth pwrite64, ...
"""

import os
import re
import shutil
import signal
import subprocess
from dataclasses import dataclass

import pytest

from harness.site import LOG, Site
from harness.target import RUNNER, environment

WRITING = "openat,write,pwrite64,ftruncate,unlink,unlinkat,rename,renameat2,link,linkat,mkdir,fsync"
TIMED = re.compile(r"BAD_\d+|(?<=cvkit-backup-)\d+-\d+|[0-9a-f]{8}\.[a-z]{2}[0-9a-z](?=$|\.tmp)")
CALL = re.compile(r"(?:\d+ +)?(\w+)\((.*)\) += (.*)|(?:\d+ +)?(\w+)\((.*)\) += \?")
LIMIT = 60
NO_RENAME = ("-e", "inject=renameat2:error=EINVAL")
"""A file system that cannot rename without replacing."""


def can_trace() -> bool:
    """Some containers forbid it."""
    if RUNNER or shutil.which("strace") is None:
        return False
    tried = subprocess.run(["strace", "-qq", "-o", "/dev/null", "true"], capture_output=True, check=False)
    return tried.returncode == 0


needs_strace = pytest.mark.skipif(not can_trace(), reason="Linux only: strace stops the program at a system call")


@dataclass(frozen=True)
class Point:
    """The Nth call of a kind, and its file; "#" replaces the part of the name that depends on the time."""

    call: str
    nth: int
    path: str

    def __str__(self) -> str:
        return f"{self.call} {self.nth} ({self.path})"


Mode = str | tuple[str, ...]
"""What to run: cvtoss32 in that mode, or a program with its arguments."""


def strace(site: Site, mode: Mode, *options: str) -> subprocess.Popen[bytes]:
    """Starts a run under strace; the calls that may write go to trace.txt in the site's parent directory."""
    run = (str(site.program), mode) if isinstance(mode, str) else mode
    command = ["strace", "-f", "-qq", "-y", "-s", "0", "-o", str(trace_file(site)), "-e", f"trace={WRITING}", *options]
    return subprocess.Popen(
        [*command, *run],
        cwd=site.root,
        env=environment(),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    )


def trace_file(site: Site):
    return site.root.parent / "trace.txt"


def writing_points(site: Site, mode: Mode, *options: str, log: bool = True) -> list[Point]:
    """Every call of a run that writes to the site, in order; with `log` off, without those on the run log."""
    process = strace(site, mode, *options)
    _, errors = process.communicate(timeout=LIMIT)
    assert process.returncode in (0, 1), errors.decode()
    points = [point for point in traced(site) if point is not None]
    return [point for point in points if log or point.path != LOG]


def traced(site: Site) -> list[Point | None]:
    """The calls of the last trace; None for one that does not write to the site."""
    seen: dict[str, int] = {}
    found = []
    for line in trace_file(site).read_text(encoding="latin-1").splitlines():
        match = CALL.match(line)
        if not match:
            continue
        call, arguments = match.group(1) or match.group(4), match.group(2) or match.group(5)
        seen[call] = seen.get(call, 0) + 1
        path = written_path(site, call, arguments or "")
        found.append(None if path is None else Point(call, seen[call], path))
    return found


def written_path(site: Site, call: str, arguments: str) -> str | None:
    if call == "openat" and "O_CREAT" not in arguments:
        return None
    if call in ("write", "pwrite64", "ftruncate", "fsync"):
        path = re.match(r"\d+<(.*?)>", arguments).group(1)
        if not path.startswith("/") or path.startswith("/dev/null"):  # the console
            return None
    else:
        directory, path = re.findall(r'(?:\d+<([^>]*)>, )?"([^"]*)"', arguments)[-1]
        path = os.path.join(directory, path)
    path = os.path.join(site.root, TIMED.sub("#", path))
    return os.path.relpath(path, site.root) if path.startswith(f"{site.root}/") else path


def kill_at(site: Site, mode: Mode, point: Point, *options: str) -> None:
    """Runs until that call is about to be made, and kills the program there."""
    inject = f"inject={point.call}:signal=KILL:when={point.nth}"
    process = strace(site, mode, *options, "-e", inject)
    _, errors = process.communicate(timeout=LIMIT)
    assert process.returncode in (-signal.SIGKILL, 128 + signal.SIGKILL), errors.decode()
    assert traced(site)[-1] == point, f"died elsewhere than at {point}"


def fail_at(site: Site, mode: Mode, point: Point, later: bool) -> tuple[int, str]:
    """Makes that call fail as on a full disk, and with `later` all later ones of its kind. Returns the exit status and
    the standard error."""
    process = strace(site, mode, "-e", f"inject={point.call}:error=ENOSPC:when={point.nth}{'+' * later}")
    _, errors = process.communicate(timeout=LIMIT)
    return process.returncode, errors.decode()

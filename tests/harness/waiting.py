"""Programs that wait for a busy node, holding the lock, until the test ends the wait."""

import re
import signal
import subprocess
import time

from formats.conference_table import echo
from formats.node_status import Node
from formats.text import shown
from harness.site import LOCK, Site

BUSY = Node(user=5, mode=0x0A)
OWNER = re.compile(r"cvtoss32 1\.05 Beta 5 mode=(-toss|-scan) pid=(\d+) started=(\d+)")


def waits(node: int = 1, user: int = 5, mode: int = 0x0A) -> str:
    """The log line of a run that finds a node busy."""
    return (
        f"Node {node} is in use by UserNo {user} (Mode=0x{mode:02X})"
        " -- waiting 10 seconds and rechecking CVWHOSON.DAT..."
    )


def start_waiting(site: Site, mode: str = "-toss", **options) -> subprocess.Popen[bytes]:
    """Starts a run in a site whose only node is busy; returns when the run holds the lock and waits."""
    site.conferences(echo("FIDO"))
    site.nodes(BUSY)
    process = site.start(mode, **options)
    site.wait_for_log(waits(), process)
    return process


def kill(process: subprocess.Popen[bytes]) -> None:
    """Kills a program."""
    process.send_signal(signal.SIGKILL)
    process.communicate(timeout=60)


def owner_line(site: Site) -> str:
    """Returns the line in the lock, which must be as a run writes it."""
    line = shown(site.read(LOCK))
    match = OWNER.fullmatch(line.removesuffix("\n"))
    assert match and line.endswith("\n"), f"not the line of a lock: {line!r}"
    assert abs(time.time() - int(match.group(3))) < 3600
    return line.removesuffix("\n")


def owner_process(line: str) -> int:
    return int(OWNER.fullmatch(line).group(2))

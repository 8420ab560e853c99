"""Programs that wait for a busy node: they hold the lock until the test lets go of them."""

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
    """The line of a run that finds a node busy."""
    return (
        f"Node {node} is in use by UserNo {user} (Mode=0x{mode:02X})"
        " -- waiting 10 seconds and rechecking CVWHOSON.DAT..."
    )


def start_waiting(site: Site, mode: str = "-toss", **options) -> subprocess.Popen[bytes]:
    """Starts a run in a site whose one node is busy; returns when it waits, the lock held."""
    site.conferences(echo("FIDO"))
    site.nodes(BUSY)
    process = site.start(mode, **options)
    site.wait_for_log(waits(), process)
    return process


def kill(process: subprocess.Popen[bytes]) -> None:
    """Ends a program in the middle of whatever it does."""
    process.send_signal(signal.SIGKILL)
    process.communicate(timeout=60)


def owner_line(site: Site) -> str:
    """The one line of the lock, which has to be as a run writes it."""
    line = shown(site.read(LOCK))
    match = OWNER.fullmatch(line.removesuffix("\n"))
    assert match and line.endswith("\n"), f"not the line of a lock: {line!r}"
    assert abs(time.time() - int(match.group(3))) < 3600
    return line.removesuffix("\n")


def owner_process(line: str) -> int:
    return int(OWNER.fullmatch(line).group(2))

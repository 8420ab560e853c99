"""Running programs: time and memory, pairs of runs, and counts of system calls."""

import os
import re
import subprocess
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from statistics import median


@dataclass
class Run:
    elapsed: float  # seconds
    processor: float  # seconds, the system's work for the process counted
    memory: int  # the largest resident set, in bytes


class Measure:
    """The measuring tool of the build."""

    def __init__(self, tool: Path):
        self.tool = tool

    def run(self, command: list[str], preload: str = "") -> Run:
        """Runs a command; `preload` names a library whose functions take the place of the system's."""
        output = subprocess.run([str(self.tool), *command], stdout=subprocess.PIPE, check=True, text=True,
                                env=os.environ | {"LD_PRELOAD": preload}).stdout
        status, elapsed, processor, memory = (int(word) for word in output.split())
        assert status == 0, f"{command[0]} ended with status {status}"
        return Run(elapsed / 1e6, processor / 1e6, memory * 1024)


@dataclass
class Pairs:
    """Times of two programs that did the same work in turns."""

    ours: list[Run]
    theirs: list[Run]

    def ratio(self, kind: str = "elapsed") -> float:
        return median(self.ratios(kind))

    def best(self, kind: str = "elapsed") -> float:
        """The fastest run against the fastest: what is left when the machine had other things to do."""
        return min(getattr(run, kind) for run in self.ours) / min(getattr(run, kind) for run in self.theirs)

    def ratios(self, kind: str = "elapsed") -> list[float]:
        return sorted(getattr(a, kind) / getattr(b, kind) for a, b in zip(self.ours, self.theirs))


def run_pairs(count: int, ours: Callable[[], Run], theirs: Callable[[], Run]) -> Pairs:
    """Runs both `count` times, the one first and the other first by turns, after a run of each that warms the caches.

    Neighbouring runs see the same machine: what else it does at the time falls out of their ratio.
    """
    ours(), theirs()
    pairs = Pairs([], [])
    for turn in range(count):
        if turn % 2 == 0:
            pairs.ours.append(ours())
            pairs.theirs.append(theirs())
        else:
            pairs.theirs.append(theirs())
            pairs.ours.append(ours())
    return pairs


def count_calls(command: list[str], report: Path) -> dict[str, int]:
    """The system calls of a run, by name."""
    subprocess.run(["strace", "-f", "-c", "-o", str(report), *command], stdout=subprocess.DEVNULL, check=True)
    rows = re.findall(r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", report.read_text(), re.MULTILINE)
    return {name: int(calls) for calls, name in rows if name != "total"}

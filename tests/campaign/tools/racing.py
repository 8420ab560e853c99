"""Several programs that start at the same moment on one site, each with a directory and a log of its own."""

import os
import shutil
import subprocess
import threading
import time
from pathlib import Path

from harness.run import Run, unstamp
from harness.site import LOCK, LOG, Site
from harness.target import PROGRAM
from harness.waiting import kill, waits

AN_HOUR = 3600
LEFTOVER = b"cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=1\n"
LOCKS = ("no", "stale", "fresh", "vanishing")


class Racers:
    def __init__(self, site: Site, modes: list[str]):
        self.site = site
        self.modes = modes
        self.programs = [self._program(number) for number in range(len(modes))]
        self.processes: list[subprocess.Popen[bytes]] = []

    def _program(self, number: int) -> Path:
        program = self.site.root.parent / f"racer{number}" / PROGRAM.name
        program.parent.mkdir()
        shutil.copy2(PROGRAM, program)
        return program

    def start(self) -> None:
        for program in self.programs:
            (program.parent / LOG).unlink(missing_ok=True)
        self.processes = [
            self.site.start(mode, program=program, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for mode, program in zip(self.modes, self.programs)
        ]

    def logs(self) -> list[bytes]:
        paths = [program.parent / LOG for program in self.programs]
        return [path.read_bytes() if path.exists() else b"" for path in paths]

    def ended(self) -> list[Run]:
        """Waits until all of them have ended; returns their runs."""
        for process in self.processes:
            process.wait(60)
        return [
            Run(process.returncode, "", *unstamp(log)) for process, log in zip(self.processes, self.logs())
        ]

    def at_work(self) -> int:
        """How many hold the lock and wait for the busy node, once all others have ended."""

        def settled() -> bool:
            return all(waits().encode() in log or process.poll() is not None
                       for process, log in zip(self.processes, self.logs()))

        self.site.wait_for(settled)
        return sum(process.poll() is None for process in self.processes)

    def end(self) -> None:
        for process in self.processes:
            if process.poll() is None:
                kill(process)


class LeftLock:
    """The lock at the start: none, a stale one, a fresh one, or one whose owner is just ending."""

    def __init__(self, site: Site, kind: str, delay: float):
        self.path = site.path(LOCK)
        self.thread: threading.Thread | None = None
        self.path.unlink(missing_ok=True)
        if kind != "no":
            self.path.write_bytes(LEFTOVER)
        if kind == "stale":
            then = time.time() - AN_HOUR
            os.utime(self.path, (then, then))
        if kind == "vanishing":
            self.thread = threading.Thread(target=self._vanish, args=(delay,))
            self.thread.start()

    def _vanish(self, delay: float) -> None:
        time.sleep(delay)
        self.path.unlink()

    def settle(self) -> None:
        if self.thread:
            self.thread.join()

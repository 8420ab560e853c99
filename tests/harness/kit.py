"""Calls cvkit as its users do."""

import contextlib
import itertools
import json
import os
import re
import subprocess
import threading
import time
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from harness.site import RUN_LIMIT, Site
from harness.target import KIT, RUNNER, environment, to_line_feeds

CONTROL = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f]")
OPTION = re.compile(r"(?m)^  +(?:-\w,)?(--[a-z-]+)")


@dataclass
class Answer:
    """The result of one call; neither text contains control characters except line feeds."""

    status: int
    text: str
    errors: str

    @property
    def json(self) -> dict:
        return json.loads(self.text)


class Kit:
    """The program, called in the directory of a site, or anywhere."""

    def __init__(self, site: Site | None = None):
        self.site = site

    def __call__(self, *arguments: object, status: int | None = 0, **changes: str) -> Answer:
        """Calls the program; it has to end with `status`, unless that is None."""
        done = subprocess.run([*RUNNER, str(KIT), *map(str, arguments)], cwd=self.site and self.site.root,
                              env=environment(**changes), stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=RUN_LIMIT, check=False)
        answer = Answer(done.returncode, *(to_line_feeds(text).decode("utf-8") for text in (done.stdout, done.stderr)))
        assert not CONTROL.search(answer.text + answer.errors), "a control character is shown"
        assert status is None or answer.status == status, (answer.status, answer.text, answer.errors)
        return answer

    def json(self, *arguments: object, status: int | None = 0) -> dict:
        """The program's output with --json."""
        return self(*arguments, "--json", status=status).json

    def errors_on_terminal(self, *arguments: object) -> str:
        """What the program shows on standard error when that is a terminal."""
        import pty  # pylint: disable=import-outside-toplevel

        terminal, theirs = pty.openpty()
        process = subprocess.Popen([*RUNNER, str(KIT), *map(str, arguments)], cwd=self.site and self.site.root,
                                   env=environment(), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=theirs)
        os.close(theirs)
        shown = b""
        with contextlib.suppress(OSError), contextlib.closing(os.fdopen(terminal, "rb", buffering=0)) as read:
            while piece := read.read(4096):
                shown += piece
        process.wait(RUN_LIMIT)
        return shown.decode()


@contextlib.contextmanager
def changing(path: Path, seconds: float = 60) -> Iterator[None]:
    """Changes a file again and again, for so long at most: another time, and another size by whole lines of a log."""
    done = threading.Event()

    def change():
        end = time.monotonic() + seconds
        for when in itertools.count():
            if done.wait(0.001) or time.monotonic() > end:
                return
            if path.suffix == ".LOG":
                with path.open("ab") as log:
                    log.write(b"[2020-01-01 00:00:00] x\n")
            else:
                os.utime(path, (when, when))

    thread = threading.Thread(target=change)
    thread.start()
    try:
        yield
    finally:
        done.set()
        thread.join()


def commands_of(kit: Kit) -> list[str]:
    """The commands according to the program's help."""
    _, _, listed = kit("--help").text.partition("Subcommands:\n")
    return re.findall(r"(?m)^  (\w+)", listed.partition("\n\n")[0])


def options_of(kit: Kit, *command: str) -> list[str]:
    """The long options of the program or of a command according to its help."""
    return OPTION.findall(kit(*command, "--help").text)


def found(kit: Kit, status: int | None = 1) -> list[tuple]:
    """Code, severity, file and record of each finding."""
    return [(f["code"], f["severity"], f["file"].replace("\\", "/"), f["record"])
            for f in kit.json("verify", status=status)["findings"]]

"""A site: one directory with a copy of the program, its configuration, and the BBS's directories and files.

The program runs with the site as its current directory, and the configuration names directories relative to it, so
that the program prints the same on every platform.
"""

import os
import shutil
import subprocess
import time
import warnings
from pathlib import Path
from typing import Callable

from formats.conference_table import Conference, conference_file
from formats.message_base import MessageBase, read_message_base
from formats.node_status import Node, node_file
from formats.packet import Packet
from formats.text import Text, raw, shown
from harness.run import Run, unstamp
from harness.target import PROGRAM, RUNNER, environment, to_line_feeds

RUN_LIMIT = 60
DIRECTORIES = ("IN", "CONF/WORK", "MSG", "OUT")
CONFIG = "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\n"
LOG = "TOSSER.LOG"
LOCK = "MSG/CVTOSS.BSY"

Snapshot = dict[str, bytes | None]
"""Every path below the site: a file's bytes, or None for a directory (whose path ends with "/")."""


def contents(path: Path) -> bytes:
    """The bytes of a file, or a text in place of them when it cannot be read."""
    if not path.is_file():
        return b"(not a regular file)"
    try:
        return path.read_bytes()
    except OSError:
        return b"(cannot be read)"


class Site:
    """The site of one test: directories, a configuration and one idle node. The test adds the conferences."""

    def __init__(self, root: Path):
        self.root = root
        self.program = root / PROGRAM.name
        for directory in DIRECTORIES:
            (root / directory).mkdir(parents=True)
        assert PROGRAM.is_file(), f"no program to test: {PROGRAM}"
        shutil.copy2(PROGRAM, self.program)
        self.config(CONFIG)
        self.nodes(Node())

    # The content of the site.

    def path(self, name: str) -> Path:
        return self.root / name

    def write(self, name: str, data: Text) -> Path:
        path = self.path(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(raw(data))
        return path

    def read(self, name: str) -> bytes:
        return self.path(name).read_bytes()

    def config(self, text: Text, name: str = "CVTOSS32.CFG") -> None:
        """Writes a configuration file with exactly this content."""
        self.write(name, text)

    def add_config(self, text: Text) -> None:
        """Adds lines to the usual configuration."""
        self.config(raw(CONFIG) + raw(text))

    def nodes(self, *nodes: Node) -> None:
        self.write("CONF/WORK/CVWHOSON.DAT", node_file(list(nodes)))

    def conferences(self, *conferences: Conference) -> None:
        self.write("CONF/CVMCONF.DAT", conference_file(list(conferences)))

    def inbound(self, name: str, content: Packet | bytes) -> bytes:
        """Puts a file in the inbound directory; returns its bytes."""
        data = content.pack() if isinstance(content, Packet) else content
        self.write(f"IN/{name}", data)
        return data

    def put(self, base: MessageBase) -> None:
        """Writes a conference's message base."""
        for name, content in base.files().items():
            self.write(f"MSG/{name}", content)

    def message_base(self, conference: int) -> MessageBase:
        return read_message_base(self.path("MSG"), conference)

    # Running.

    def start(self, *arguments: str, program: Path | None = None, **options) -> subprocess.Popen[bytes]:
        """Starts the program and returns the process, its output piped."""
        defaults = {
            "cwd": self.root,
            "env": environment(),
            "stdin": subprocess.DEVNULL,
            "stdout": subprocess.PIPE,
            "stderr": subprocess.PIPE,
        }
        return subprocess.Popen([*RUNNER, str(program or self.program), *arguments], **(defaults | options))

    def finish(self, process: subprocess.Popen[bytes], log: Path | None, log_before: bytes) -> Run:
        """Waits for the program to end; compares its console output with the lines that it added to the log."""
        console, errors = process.communicate(timeout=RUN_LIMIT)
        console = to_line_feeds(console)
        if log:
            logged = log.read_bytes() if log.exists() else b""
            assert logged.startswith(log_before), "the log was not only added to"
            assert console == to_line_feeds(logged[len(log_before) :]), "console and log differ"
        stamps, lines = unstamp(console)
        return Run(process.returncode, shown(to_line_feeds(errors)), stamps, lines)

    def run(self, *arguments: str, program: Path | None = None, log: bool = True, **options) -> Run:
        """Runs the program to its end. With `log` off the log is not compared with the console."""
        path = (program or self.program).parent / LOG
        before = path.read_bytes() if log and path.exists() else b""

        def once() -> Run:
            return self.finish(self.start(*arguments, program=program, **options), path if log else None, before)

        done = once()
        if RUNNER and not options and not done.raw_lines and not done.stderr:
            # Every run prints at least one line. On a loaded machine Wine sometimes ends before it starts the program.
            warnings.warn(f"{RUNNER[0]} ended with status {done.status} before the first line: run again", stacklevel=2)
            done = once()
        return done

    def toss(self, **options) -> Run:
        return self.run("-toss", **options)

    # Afterwards.

    def snapshot(self, *parts: str) -> Snapshot:
        """The current content of the site (or of those parts of it), without the program and its log."""
        found: Snapshot = {}
        for part in parts or (".",):
            for directory, names, files in os.walk(self.path(part)):
                here = Path(directory).relative_to(self.root).as_posix()
                prefix = "" if here == "." else here + "/"
                for name in names:
                    path = Path(directory, name)
                    found[prefix + name + "/"] = os.readlink(path).encode() if path.is_symlink() else None
                for name in files:
                    path = Path(directory, name)
                    if path in (self.program, self.program.parent / LOG):
                        continue
                    found[prefix + name] = contents(path)
        return found

    def wait_for(self, condition: Callable[[], bool], process: subprocess.Popen[bytes] | None = None) -> None:
        """Waits until the condition holds, at most 20 seconds; the process must not end meanwhile."""
        deadline = time.monotonic() + 20
        while not condition():
            assert process is None or process.poll() is None, "the program ended early"
            assert time.monotonic() < deadline, "waited in vain"
            time.sleep(0.01)

    def wait_for_log(self, text: str, process: subprocess.Popen[bytes], log: Path | None = None) -> None:
        """Waits until the log holds a text."""
        path = log or self.path(LOG)
        self.wait_for(lambda: path.exists() and raw(text) in path.read_bytes(), process)


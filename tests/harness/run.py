"""The result of one run of the program."""

import re
from dataclasses import dataclass
from datetime import datetime

from formats.text import shown

STAMPED = re.compile(r"\[(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\] (.*)", re.DOTALL)
FIRST_OF_TAIL = ("Ignored ", "=== ")


def unstamp(text: bytes) -> tuple[list[str], list[str]]:
    """Returns the time stamps and the lines of a log text. Each line must begin with a stamp and end with LF."""
    stamps, lines = [], []
    assert not text or text.endswith(b"\n"), "the last line has no end"
    for line in shown(text).split("\n")[:-1]:
        match = STAMPED.fullmatch(line)
        assert match, f"not a stamped line: {line!r}"
        datetime.strptime(match.group(1), "%Y-%m-%d %H:%M:%S")
        stamps.append(match.group(1))
        lines.append(match.group(2))
    return stamps, lines


def mask_seconds(line: str) -> str:
    """Masks the time in the name of a saved bad packet."""
    return re.sub(r"BAD_\d+\.PKT", "BAD_#.PKT", line)


@dataclass
class Run:
    """A finished run, whose console output has been compared with the lines that it added to its log."""

    status: int
    stderr: str
    stamps: list[str]
    raw_lines: list[str]

    @property
    def lines(self) -> list[str]:
        """The logged lines in order, without time stamps."""
        return [mask_seconds(line) for line in self.raw_lines]

    def head(self) -> list[str]:
        """The lines before the first file of a toss, from the banner to the node check."""
        return self.lines[: self._first_block()]

    def tail(self) -> list[str]:
        """The lines after the last file of a toss."""
        return self.lines[self._tail() :]

    def blocks(self) -> dict[str, list[str]]:
        """The lines of each inbound file by its name, "Found:" left out.

        Tests with several files compare their blocks, so that they do not depend on the order of the files.
        """
        return {name: lines for name, lines in self.blocks_in_order()}

    def blocks_in_order(self) -> list[tuple[str, list[str]]]:
        blocks: list[tuple[str, list[str]]] = []
        for line in self.lines[self._first_block() : self._tail()]:
            if line.startswith("Found: "):
                blocks.append((line.removeprefix("Found: "), []))
            else:
                blocks[-1][1].append(line)
        assert len({name for name, _ in blocks}) == len(blocks), "a file was found twice"
        return blocks

    def _first_block(self) -> int:
        found = [index for index, line in enumerate(self.lines) if line.startswith("Found: ")]
        return found[0] if found else self._tail()

    def _tail(self) -> int:
        at = len(self.lines)
        while at > 1 and self.lines[at - 1].startswith(FIRST_OF_TAIL):
            at -= 1
        return at

"""Damaged sources: how a test damages them, and what must be true of a site whatever came in."""

import re
from typing import Iterable, Iterator

from formats.message_base import MessageBase, assert_whole
from harness.run import Run
from harness.site import Site

WROTE = re.compile(r"  -> wrote conf (\d+) msg #(\d+)  .*", re.DOTALL)


def saved_names(run: Run) -> Iterator[str]:
    """The names under which bad packets were saved, in order; within one second they are the same."""
    return iter([line.split("/badmsgs/")[1].split()[0] for line in run.raw_lines if line.startswith("  saved ")])


def saved_files(site: Site) -> dict[str, bytes]:
    directory = site.path("IN/badmsgs")
    return {path.name: path.read_bytes() for path in directory.iterdir()} if directory.exists() else {}


def assert_sources(site: Site, sources: dict[str, bytes], processed: set[str]) -> None:
    """Asserts that each source is unchanged, in the processed directory or still inbound."""
    for name, data in sources.items():
        place = "IN/processed" if name in processed else "IN"
        assert site.read(f"{place}/{name}") == data
    left = {path.name for path in site.path("IN").iterdir() if path.is_file()}
    assert left == set(sources) - processed
    assert {path.name for path in site.path("IN/processed").iterdir()} == processed


def flip(data: bytes, bit: int) -> bytes:
    flipped = bytearray(data)
    flipped[bit // 8] ^= 1 << bit % 8
    return bytes(flipped)


def is_header(data: bytes) -> bool:
    """Whether bytes are a packet header, by the limits of its fields."""
    word = [int.from_bytes(data[at : at + 2], "little") for at in range(0, 60, 2)]
    kind, year, month, day, first = word[9], word[2], word[3], word[4], word[29]
    return len(data) >= 60 and kind == 2 and 1990 <= year <= 2100 and month <= 11 and 1 <= day <= 31 and first in (0, 2)


def assert_base_holds(site: Site, run: Run, conferences: Iterable[int]) -> None:
    """Every message that the log says was stored is there with its text, and no other; SIG lines name them only."""
    logged: dict[int, list[int]] = {conference: [] for conference in conferences}
    for line in run.lines:
        match = WROTE.fullmatch(line)
        if match:
            logged[int(match.group(1))].append(int(match.group(2)))
    for conference, numbers in logged.items():
        base = site.message_base(conference)
        assert_whole(base)
        assert len(base.idx) == len(base.ptr)
        assert [record.number for record in base.ptr] == numbers == list(range(1, len(numbers) + 1))
        where = 0
        for record in base.ptr:
            assert (record.where, record.deleted, record.sent) == (where, 0, 1)
            where += record.records
        assert where == base.dat_count()
        assert_sig_lines(base)


def assert_sig_lines(base: MessageBase) -> None:
    known = [record.number for record in base.ptr]
    lines = (base.sig or b"").split(b"\n")
    assert lines.pop() == b""
    numbers = []
    for line in lines:
        msgid, number = line.rsplit(b"\t", 1)
        assert 1 <= len(msgid) <= 127
        numbers.append(int(number))
    assert numbers == sorted(set(numbers))
    assert set(numbers) <= set(known)

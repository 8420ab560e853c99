"""Compares whole outcomes: every line, every file."""

import re

from formats.text import reported
from harness.run import Run
from harness.site import Site, Snapshot
from harness.target import LINE_END

GONE = object()
"""Stands for a path that a run has to remove."""

BAD_AREA_LINE = re.compile(rb"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)  ([^\r\n]*)")

BANNER = "=== cvtoss32 v1.05 Beta 5 -toss run starting ==="
DIRECTORIES = "Inbound dir: IN   Config dir: CONF   Work dir: CONF\\WORK   Message dir: MSG"
KEPT = "Processed files: kept (archived)"
DELETED = "Processed files: deleted after processing"
ALL_IDLE = "Node check: 1 node record(s), all idle"
RETAINED = "  retaining packet in inbound because a message-base append failed"
REFUSED = "  ERROR: could not allocate/clean message body; source packet will be retained"


def banner(kept: bool = True, directories: str = DIRECTORIES) -> list[str]:
    """The first three lines of a toss."""
    return [BANNER, directories, KEPT if kept else DELETED]


def head(conferences: int, kept: bool = True) -> list[str]:
    """The lines of a toss in the usual site before its first file."""
    return banner(kept) + [f"Loaded {conferences} conference(s) from CVMCONF.DAT", ALL_IDLE]


def tail(processed: int, ignored: int = 0) -> list[str]:
    """The lines of a toss after its last file."""
    lines = [f"=== cvtoss32 -toss run complete: {processed} file(s) processed ==="]
    if ignored:
        lines.insert(0, f"Ignored {ignored} unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets).")
    return lines


def moved(name: str, directory: str = "IN/processed") -> str:
    return f"  moved to {directory}/{reported(name)}"


def parsed(count: int) -> str:
    return f"  {count} message(s) parsed from this packet"


def not_appended(message: int) -> str:
    """The last line of a message that could not be stored."""
    return f"  msg {message}: message-base append failed; source packet will be retained"


def saved(reason: str) -> str:
    """The line of a packet that was saved for review."""
    return f"  saved unprocessable packet data to IN/badmsgs/BAD_#.PKT for review ({reason})"


def without_header_lines(lines: list[str]) -> list[str]:
    """A file's lines without those of its packet header."""
    return [line for line in lines if not line.startswith("  packet: ")]


def masked(snapshot: Snapshot) -> Snapshot:
    """A snapshot in which no name or content depends on the time of the run."""
    result: Snapshot = {}
    for path, content in snapshot.items():
        path = re.sub(r"BAD_\d+\.PKT", "BAD_#.PKT", path)
        if path.endswith("BADAREAS.LST") and content:
            content = mask_bad_areas(content)
        result[path] = content
    return result


def mask_bad_areas(content: bytes) -> bytes:
    """BADAREAS.LST with its time stamps masked; each of its lines is checked for its form and its line end."""
    assert content.endswith(LINE_END)
    lines = []
    for line in content.split(LINE_END)[:-1]:
        match = BAD_AREA_LINE.fullmatch(line)
        assert match, f"not a line of BADAREAS.LST: {line!r}"
        lines.append(b"*  " + match.group(2) + LINE_END)
    return b"".join(lines)


def bad_areas(*tags: str) -> bytes:
    """BADAREAS.LST as `mask_bad_areas` leaves it."""
    return b"".join(b"*  " + tag.encode("latin-1") + LINE_END for tag in tags)


def assert_changes(site: Site, before: Snapshot, changes: dict[str, object]) -> None:
    """Asserts that nothing changed except `changes`: path to bytes, to None (a directory) or to GONE."""
    expected: Snapshot = dict(masked(before))
    for path, content in changes.items():
        if content is GONE:
            assert path in expected, f"{path} was not there"
            del expected[path]
        else:
            expected[path] = content  # type: ignore[assignment]
    found = masked(site.snapshot())
    assert sorted(found) == sorted(expected)
    for path, content in expected.items():
        assert found[path] == content, f"{path} is not as expected"


def assert_unchanged(site: Site, before: Snapshot) -> None:
    assert_changes(site, before, {})


def assert_run(run: Run, status: int, lines: list[str]) -> None:
    """Compares the exit status and every line in order; standard error must be empty."""
    assert run.stderr == ""
    assert run.lines == lines
    assert run.status == status


def assert_refused(run: Run, *errors: str) -> None:
    """Asserts that the run ended before it opened its log: status 1 and these lines on standard error."""
    assert run.stderr.split("\n") == [*errors, ""]
    assert run.lines == []
    assert run.status == 1


def assert_blocks(
    run: Run, status: int, blocks: dict[str, list[str]], conferences: int, processed: int, ignored: int = 0
) -> None:
    """Compares a toss of several files: the lines before, those of each file without packet header lines, and after."""
    assert run.stderr == ""
    assert run.head() == head(conferences)
    found = {name: without_header_lines(lines) for name, lines in run.blocks().items()}
    for name, lines in blocks.items():
        assert found.get(name) == lines, f"lines of {name}"
    assert sorted(found) == sorted(blocks)
    assert run.tail() == tail(processed, ignored)
    assert run.status == status

"""The operator's guide explains every line that needs attention, and only lines that the program prints."""

import re

from source_tree import ROOT, SRC, fail_on, files_under

GUIDE = ROOT / "docs" / "operators-guide.md"
LITERAL = re.compile(r'(?:LogLine\(\s*|StartupMessage\(\s*|Have\w+, )"((?:[^"\\]|\\.)*)"')
PLACE = re.compile(r"%[-+ 0#]*\d*(?:\.\d+)?(?:z|l|ll)?[a-zA-Z]")
ORDINARY = re.compile(
    r"Usage: |  -(toss|scan|check) |With no config-file-path|…$|=== .*( starting | complete: | PASSED: ).*==="
    r"|(Config|Inbound) dir: |Processed files: |(Our|Local FTN|Hub FTN) address: |Origin system name: |Loaded "
    r"|Node (check|status): |  conf …: '…'  AREA=|  conf … message base: .* OK$|Found: |  ZIP entry: |  packet: orig "
    r"|  -> wrote |  … message\(s\) parsed |  moved to |  deleted |  queued |Published complete bundle: ")
ROW = re.compile(r"(?m)^\| `([^`]+)` \| (.*) \|$")
SENDS_ELSEWHERE = re.compile(r"likewise|the above|as it says|the same for")
LINES_SECTION = "# Lines that ask for your attention"


def printed_lines():
    """Every text that the program prints as a line, with an ellipsis for each variable part."""
    for path in files_under(SRC.relative_to(ROOT)):
        for literal in LITERAL.findall(path.read_text(encoding="utf-8")):
            text = literal.removesuffix("\\n").replace('\\"', '"').replace("%%", "\0")
            yield PLACE.sub("…", text).replace("\0", "%")


def rows():
    """(line, what to do) of each row of the guide's table."""
    guide = GUIDE.read_text(encoding="utf-8")
    return ROW.findall(guide[guide.index(LINES_SECTION):])


def explained_lines():
    return [line for line, _ in rows()]


def pattern(line):
    return re.compile(".*".join(re.escape(part) for part in line.split("…")))


def test_every_line_that_is_not_ordinary_is_explained():
    explained = [pattern(line) for line in explained_lines()]
    asking = {line for line in printed_lines() if not ORDINARY.match(line)}
    assert len(asking) > 100, "the lines were not found in the source"
    fail_on([f"not in the guide: {line!r}" for line in sorted(asking)
             if not any(one.fullmatch(line) for one in explained)])


def test_no_line_is_explained_that_is_never_printed():
    printed = list(printed_lines())
    fail_on([f"never printed: {line!r}" for line in explained_lines()
             if not any(pattern(line).fullmatch(one) for one in printed)])


def test_a_line_is_found_by_searching_for_its_longest_fixed_piece():
    """A reader knows which parts of a line are names and numbers, and searches for the rest."""
    explained = explained_lines()
    for line in printed_lines():
        its_rows = [row for row in explained if pattern(row).fullmatch(line)]
        piece = max(line.split("…"), key=len)
        assert not its_rows or any(piece in row for row in its_rows), f"{piece!r} is not found in the guide"


def test_each_row_contains_what_to_do():
    fail_on([f"sends the reader to another row: {line!r}" for line, what in rows() if SENDS_ELSEWHERE.search(what)])

#!/usr/bin/env python3
"""Reads what llvm-cov exported: a table of the files, and the lines that no test reaches.

    report.py COVERAGE.JSON

A line that no test reaches has to stand in unreached.txt, "file: the line's text", below a reason.
"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNREACHED = pathlib.Path(__file__).with_name("unreached.txt")
LEAST_LINES, LEAST_BRANCHES = 98.0, 95.0
# Fields of a segment in the export.
LINE, COLUMN, COUNT, HAS_COUNT, IS_ENTRY, IS_GAP = range(6)


def text_between(source, here, following):
    """(line number, text) of each line between the places where two segments begin."""
    for number in range(here[LINE], following[LINE] + 1):
        line = source[number - 1] if number <= len(source) else ""
        start = here[COLUMN] - 1 if number == here[LINE] else 0
        end = following[COLUMN] - 1 if number == following[LINE] else len(line)
        yield number, line[start:end].strip()


def unreached_lines(segments, source):
    """The numbers of the lines with text of regions that were never run, and of none that was."""
    reached, missed = set(), set()
    for here, following in zip(segments, segments[1:]):
        if here[HAS_COUNT] and not here[IS_GAP]:
            lines = {number for number, text in text_between(source, here, following) if text.strip("{};")}
            (reached if here[COUNT] else missed).update(lines)
    return sorted(missed - reached)


def explained():
    lines = UNREACHED.read_text(encoding="utf-8").splitlines()
    return {line for line in lines if line and not line.startswith("#")}


def share(summary):
    return f"{summary['percent']:6.1f}% of {summary['count']:4}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    data = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["data"][0]
    reasons, found = explained(), set()
    unexplained = []
    print(f"{'':40} {'lines':>15} {'branches':>16}")
    for file in sorted(data["files"], key=lambda file: file["filename"]):
        path = pathlib.Path(file["filename"])
        name = path.relative_to(ROOT).as_posix()
        print(f"{name:40} {share(file['summary']['lines'])} {share(file['summary']['branches'])}")
        source = path.read_text(encoding="utf-8").splitlines()
        for number in unreached_lines(file["segments"], source):
            text = source[number - 1].strip()
            found.add(f"{name}: {text}")
            if f"{name}: {text}" not in reasons:
                unexplained.append(f"{name}:{number}: {text}")
    totals = data["totals"]
    print(f"{'all of src/':40} {share(totals['lines'])} {share(totals['branches'])}")
    if unexplained:
        print("\nReached by no test, and without a reason in tests/coverage/unreached.txt:\n" + "\n".join(unexplained))
    stale = sorted(reasons - found)
    if stale:
        print("\nGiven a reason, but reached or gone:\n" + "\n".join(stale))
    enough = totals["lines"]["percent"] >= LEAST_LINES and totals["branches"]["percent"] >= LEAST_BRANCHES
    if not enough:
        print(f"\nLess than {LEAST_LINES}% of lines or {LEAST_BRANCHES}% of branches.")
    sys.exit(0 if enough and not unexplained and not stale else 1)


if __name__ == "__main__":
    main()

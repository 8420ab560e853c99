#!/usr/bin/env python3
"""Makes the tables of docs/campaigns.md from what script/reliability has run.

    reliability_matrix.py matrix RESULTS_DIRECTORY [DOCUMENT]
    reliability_matrix.py breakages TABLE DOCUMENT

Shows the matrix; replaces what stands in the document between the markers of that name, unless the matrix is no proof:
then it says why. Exits with 1 when the matrix lacks a campaign, or holds a violation or a scenario that tried nothing.
"""

import datetime
import pathlib
import re
import sys
import xml.etree.ElementTree
from dataclasses import dataclass

CAMPAIGNS = {
    "faults": "Each call of the system fails in turn (tests/fault)",
    "power": "The power is cut before each call, every file and name kept or lost (tests/fault, on a disk in memory)",
    "campaigns": "The real program, killed, starved, hindered and raced (tests/campaign)",
    "seeds": "Seeds of the fuzz targets, made and found (tests/fuzz)",
}

REPAIRED = "then cvkit verify --repair, and the same run again"
"""The row of the points that a test of the suite has also repaired."""


@dataclass
class Row:
    scenes: int = 0
    points: int = 0
    violations: int = 0
    skipped: int = 0
    undecided: int = 0
    """How many of the points ended with a repair that had to leave something, and said so."""


def words(name):
    """A test's name as words."""
    name = re.sub(r"\[.*\]$|/\d+$", "", name).removeprefix("test_")
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=A)(?=[A-Z][a-z])", " ", name).replace("_", " ").lower()


def figure_of(case, name):
    """The counts that a test recorded; a test without them has tried nothing."""
    given = [int(found.get("value")) for found in case.iter("property") if found.get("name") == name]
    given += [int(case.get(name))] if case.get(name) else []
    return given[0] if given else 0


def rows_of(path):
    """The scenarios of one campaign in their order."""
    rows = {}
    for case in xml.etree.ElementTree.parse(path).getroot().iter("testcase"):
        if case.get("status") == "notrun" or case.get("classname", "").endswith("test_document"):
            continue
        suite = "" if path.stem not in ("faults", "power") else words(case.get("classname")) + ": "
        row = rows.setdefault(suite + words(case.get("name")), Row())
        row.scenes += 1
        if case.find("skipped") is not None:
            row.skipped += 1
            continue
        row.points += figure_of(case, "fault_points")
        repaired = figure_of(case, "repaired")
        if repaired:
            mended = rows.setdefault(suite + REPAIRED, Row())
            mended.scenes += 1
            mended.points += repaired
        (mended if repaired else row).undecided += figure_of(case, "undecided")
        row.violations += case.find("failure") is not None or case.find("error") is not None
    return rows


def matrix(results):
    """The text of the matrix, its errors, and what was left out."""
    lines = [f"Run of {datetime.date.today().isoformat()}.", ""]
    total, wrong = Row(), []
    for campaign, title in CAMPAIGNS.items():
        try:
            rows = rows_of(results / f"{campaign}.xml")
        except (OSError, xml.etree.ElementTree.ParseError):
            rows = {}
        if not rows:
            wrong.append(f"there are no results of {campaign}")
        lines += [f"**{title}**", "", "| scenario | scenes | points tried | violations |", "|---|---:|---:|---:|"]
        for name, row in rows.items():
            remark = f" ({row.skipped} left out)" if row.skipped else ""
            left = f" ({row.undecided} left undecided)" if row.undecided else ""
            lines.append(f"| {name} | {row.scenes}{remark} | {row.points}{left} | {row.violations} |")
            if row.points == 0 and row.skipped < row.scenes:
                wrong.append(f"'{name}' tried nothing")
            total.points += row.points
            total.violations += row.violations
            total.skipped += row.skipped
            total.undecided += row.undecided
        lines.append("")
    if total.violations:
        wrong.append(f"violations: {total.violations}")
    left_out = [f"scenes left out: {total.skipped}"] if total.skipped else []
    lines.append(f"In all: {total.points} points tried, {total.violations} violations. At {total.undecided} points a "
                 "repair had to leave something undecided, and said so.")
    return "\n".join(lines) + "\n", wrong, left_out


def replace_section(document, name, text):
    """Replaces the text between the markers of that name."""
    begin, end = f"<!-- {name}: made by script/reliability -->\n", f"<!-- end of {name} -->\n"
    old = document.read_text(encoding="utf-8")
    before, rest = old.split(begin)
    _, after = rest.split(end)
    document.write_text(before + begin + "\n" + text + "\n" + end + after, encoding="utf-8")


def main():
    kind, source = sys.argv[1], pathlib.Path(sys.argv[2])
    if kind == "matrix":
        text, wrong, left_out = matrix(source)
        print("\n" + text)
    else:
        wrong, left_out = [], []
        text = f"Run of {datetime.date.today().isoformat()}.\n\n{source.read_text(encoding='utf-8')}"
    document = sys.argv[3] if len(sys.argv) > 3 else None
    if wrong or left_out:
        stays = f"{document} stays as it was: " if document else ""
        print(stays + "; ".join(wrong + left_out), file=sys.stderr)
    elif document:
        replace_section(pathlib.Path(document), kind, text)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())

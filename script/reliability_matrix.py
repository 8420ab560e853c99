#!/usr/bin/env python3
"""Makes the tables of docs/reliability.md from what script/reliability has run.

    reliability_matrix.py matrix RESULTS_DIRECTORY [DOCUMENT]
    reliability_matrix.py breakages TABLE DOCUMENT

Shows the matrix; with a document it replaces what stands there between the markers of that name. Exits with 1 when the
matrix holds a violation or a scenario that tried nothing.
"""

import datetime
import pathlib
import re
import sys
import xml.etree.ElementTree
from dataclasses import dataclass

CORPUS = pathlib.Path(__file__).resolve().parents[1] / "tests/fuzz/corpus"
CAMPAIGNS = {
    "faults": "Each call of the system fails in turn (tests/fault)",
    "campaigns": "The real program, killed, starved, hindered and raced (tests/campaign)",
    "seeds": "Inputs that fuzzing has found worth keeping (tests/fuzz)",
}


@dataclass
class Row:
    scenes: int = 0
    points: int = 0
    violations: int = 0
    skipped: int = 0


def words(name):
    """A test's name as words."""
    name = re.sub(r"\[.*\]$|/\d+$", "", name).removeprefix("test_")
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=A)(?=[A-Z][a-z])", " ", name).replace("_", " ").lower()


def points_of(case, campaign):
    """What a test says it has tried; one thing when it says nothing."""
    given = [int(found.get("value")) for found in case.iter("property") if found.get("name") == "fault_points"]
    given += [int(case.get("fault_points"))] if case.get("fault_points") else []
    if campaign == "seeds":
        given = [sum(1 for _ in (CORPUS / case.get("name")).glob("*"))]
    return given[0] if given else 1


def rows_of(path):
    """The scenarios of one campaign in their order."""
    rows = {}
    for case in xml.etree.ElementTree.parse(path).getroot().iter("testcase"):
        if case.get("status") == "notrun" or case.get("classname", "").endswith("test_document"):
            continue
        suite = "" if path.stem != "faults" else words(case.get("classname")) + ": "
        row = rows.setdefault(suite + words(case.get("name")), Row())
        row.scenes += 1
        if case.find("skipped") is not None:
            row.skipped += 1
            continue
        row.points += points_of(case, path.stem)
        row.violations += case.find("failure") is not None or case.find("error") is not None
    return rows


def matrix(results):
    """The text of the matrix, and whether all is well."""
    lines = [f"Run of {datetime.date.today().isoformat()}.", ""]
    total, good = Row(), True
    for campaign, title in CAMPAIGNS.items():
        path = results / f"{campaign}.xml"
        if not path.exists():
            continue
        lines += [f"**{title}**", "", "| scenario | scenes | points tried | violations |", "|---|---:|---:|---:|"]
        rows = rows_of(path)
        for name, row in rows.items():
            remark = f" ({row.skipped} left out)" if row.skipped else ""
            lines.append(f"| {name} | {row.scenes}{remark} | {row.points} | {row.violations} |")
            good = good and row.violations == 0 and (row.points > 0 or row.skipped == row.scenes)
            total.points += row.points
            total.violations += row.violations
        good = good and bool(rows)
        lines.append("")
    lines.append(f"In all: {total.points} points tried, {total.violations} violations.")
    return "\n".join(lines) + "\n", good and total.points > 0


def replace_section(document, name, text):
    """Puts the text between the markers of that name."""
    begin, end = f"<!-- {name}: made by script/reliability -->\n", f"<!-- end of {name} -->\n"
    old = document.read_text(encoding="utf-8")
    before, rest = old.split(begin)
    _, after = rest.split(end)
    document.write_text(before + begin + "\n" + text + "\n" + end + after, encoding="utf-8")


def main():
    kind, source = sys.argv[1], pathlib.Path(sys.argv[2])
    text, good = matrix(source) if kind == "matrix" else (source.read_text(encoding="utf-8"), True)
    if kind == "matrix":
        print("\n" + text)
    else:
        text = f"Run of {datetime.date.today().isoformat()}.\n\n{text}"
    if len(sys.argv) > 3:
        replace_section(pathlib.Path(sys.argv[3]), kind, text)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())

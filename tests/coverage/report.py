#!/usr/bin/env python3
"""Reads what llvm-cov exported: a table of the files, and the lines that no test reaches.

    report.py CVTOSS32.JSON CVKIT.JSON

A line of cvtoss32 that no test reaches must be in unreached.txt, "file: function: the line's text", below a reason; as
often as the function has such a line. Of cvkit, with those files of src/platform that only cvkit uses, only the total
counts; its lines that no test reaches are shown.
"""

import json
import pathlib
import re
import subprocess
import sys
from collections import Counter

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNREACHED = pathlib.Path(__file__).with_name("unreached.txt")
LEAST_LINES, LEAST_BRANCHES = 99.0, 96.0
LEAST_KIT_LINES = 95.0
KIT = re.compile(r"src/(kit/|platform/os_posix_(companion|rights)\.cc)")
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


def plain_names(symbols):
    """The names of functions as their source has them, without arguments and enclosing namespaces."""
    names = [symbol.split(":")[-1] for symbol in symbols]  # those of one file only have it before them
    given = "\n".join(names) + "\n"
    done = subprocess.run(["llvm-cxxfilt"], input=given, stdout=subprocess.PIPE, text=True, check=True)
    shown = [name.replace("(anonymous namespace)::", "") for name in done.stdout.splitlines()]
    return [re.split(r"[\s:]", name.split("(")[0])[-1] for name in shown]


def functions_by_file(exported):
    """(first line, last line, name) of each function, by the file that it stands in."""
    functions = {}
    for function, name in zip(exported, plain_names([function["name"] for function in exported])):
        first, _, last = function["regions"][0][:3]
        functions.setdefault(function["filenames"][0], []).append((first, last, name))
    return functions


def function_at(functions, number):
    """The name of the innermost function around a line."""
    around = [(last - first, name) for first, last, name in functions if first <= number <= last]
    return min(around, default=(0, "no function"))[1]


def explained():
    lines = UNREACHED.read_text(encoding="utf-8").splitlines()
    return Counter(line for line in lines if line and not line.startswith("#"))


def percent(summary):
    return 100.0 * summary["covered"] / summary["count"] if summary["count"] else 100.0


def share(summary):
    return f"{percent(summary):6.1f}% of {summary['count']:4}"


def name_of(file):
    return pathlib.Path(file["filename"]).resolve().relative_to(ROOT).as_posix()


def shown(path, title, counts):
    """Prints the table of those files in an export that `counts` names. Returns the totals, and (number, line as in
    unreached.txt) of each line that no test reaches."""
    data = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))["data"][0]
    functions = functions_by_file(data["functions"])
    totals = {kind: {"covered": 0, "count": 0} for kind in ("lines", "branches")}
    unreached = []
    print(f"{'':40} {'lines':>15} {'branches':>16}")
    for file in sorted(filter(lambda file: counts(name_of(file)), data["files"]), key=name_of):
        path, name = pathlib.Path(file["filename"]), name_of(file)
        for kind, total in totals.items():
            for key in total:
                total[key] += file["summary"][kind][key]
        print(f"{name:40} {share(file['summary']['lines'])} {share(file['summary']['branches'])}")
        source = path.read_text(encoding="utf-8").splitlines()
        for number in unreached_lines(file["segments"], source):
            line = f"{name}: {function_at(functions[file['filename']], number)}: {source[number - 1].strip()}"
            unreached.append((number, line))
    print(f"{title:40} {share(totals['lines'])} {share(totals['branches'])}\n")
    return totals, unreached


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    reasons, found = explained(), Counter()
    unexplained = []
    kit, kit_unreached = shown(sys.argv[2], "all of src/kit", KIT.match)
    totals, unreached = shown(sys.argv[1], "all of cvtoss32",
                              lambda name: name.startswith("src/") and not KIT.match(name))
    for number, line in unreached:
        found[line] += 1
        if found[line] > reasons[line]:
            unexplained.append(f"line {number} of {line}")
    if kit_unreached:
        print("Reached by no test of cvkit:", *(f"line {number} of {line}" for number, line in kit_unreached), sep="\n")
    if unexplained:
        print("\nReached by no test, and without a reason in tests/coverage/unreached.txt:\n" + "\n".join(unexplained))
    stale = sorted((reasons - found).elements())
    if stale:
        print("\nGiven a reason, but reached or gone:\n" + "\n".join(stale))
    enough = percent(totals["lines"]) >= LEAST_LINES and percent(totals["branches"]) >= LEAST_BRANCHES
    if not enough:
        print(f"\ncvtoss32: less than {LEAST_LINES}% of lines or {LEAST_BRANCHES}% of branches.")
    kit_enough = percent(kit["lines"]) >= LEAST_KIT_LINES
    if not kit_enough:
        print(f"\nsrc/kit: less than {LEAST_KIT_LINES}% of lines.")
    sys.exit(0 if enough and kit_enough and not unexplained and not stale else 1)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Keeps the results of script/test: counts a suite's JUnit XML, prints the table and the closing line.

    test_results.py note RESULTS_DIRECTORY NAME EXIT_STATUS SECONDS RESULT_XML    ("": a step, not a suite)
    test_results.py table RESULTS_DIRECTORY

Both exit with 1 when something failed. A suite that ended badly without a failed test (a crash, a time limit, a
broken build) counts as one failure, and so does one that ran no test.
"""

import json
import pathlib
import sys
import xml.etree.ElementTree


def count(xml_path):
    """(passed, failed, skipped) of a JUnit XML file, all 0 when there is none."""
    try:
        root = xml.etree.ElementTree.parse(xml_path).getroot()
    except (OSError, xml.etree.ElementTree.ParseError):
        return 0, 0, 0
    passed = failed = skipped = 0
    for case in root.iter("testcase"):
        if case.get("status") == "notrun":
            continue
        if case.find("failure") is not None or case.find("error") is not None:
            failed += 1
        elif case.find("skipped") is not None:
            skipped += 1
        else:
            passed += 1
    return passed, failed, skipped


def note(results, name, status, seconds, xml_path):
    passed, failed, skipped = count(xml_path)
    remark = ""
    if status != "0" and failed == 0:
        failed = 1
        remark = "ran out of time" if status == "124" else f"ended with status {status}"
    elif passed + failed == 0:
        failed = 1
        remark = "ran no test"
    row = {"name": name, "passed": passed, "failed": failed, "skipped": skipped, "seconds": int(seconds),
           "remark": remark}
    with open(results / "suites.jsonl", "a", encoding="utf-8") as file:
        file.write(json.dumps(row) + "\n")
    if xml_path:
        print(f"{passed} passed, {failed} failed, {skipped} skipped in {seconds} s {remark}".rstrip(), flush=True)
    return failed == 0


def table(results):
    rows = [json.loads(line) for line in (results / "suites.jsonl").read_text(encoding="utf-8").splitlines()]
    columns = ("passed", "failed", "skipped", "seconds")
    total = {column: sum(row[column] for row in rows) for column in columns}
    print(f"\n{'suite':<28}" + "".join(f"{column:>9}" for column in columns))
    for row in rows:
        print(f"{row['name']:<28}" + "".join(f"{row[column]:>9}" for column in columns) +
              (f"  {row['remark']}" if row["remark"] else ""))
    closing = f"{total['passed']} passed, {total['failed']} failed"
    if total["skipped"]:
        closing += f", {total['skipped']} skipped"
    print("\n" + closing, flush=True)
    return total["failed"] == 0 and total["passed"] > 0


def main():
    results = pathlib.Path(sys.argv[2])
    good = note(results, *sys.argv[3:7]) if sys.argv[1] == "note" else table(results)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())

"""tests/coverage/report.py requires a reason for each line that no test reaches, not for each text."""

import json
import sys

import pytest
import report

SOURCE = """\
int First(int a) {
  if (a > 0) return 1;
  return -1;
}

int Second(int a) {
  if (a == 1) {
    return -1;
  }
  if (a == 2) {
    return -1;
  }
  return 0;
}
"""
FUNCTIONS = [("_Z5Firsti", 1, 4), ("one.cc:_ZN12_GLOBAL__N_16SecondEi", 6, 14)]


@pytest.fixture(autouse=True)
def sources(tmp_path, monkeypatch):
    monkeypatch.setattr(report, "ROOT", tmp_path)
    monkeypatch.setattr(report, "UNREACHED", tmp_path / "unreached.txt")


def export(path, missed, lines=100.0, branches=100.0):
    """What llvm-cov would export of SOURCE, had no test reached these lines."""
    segments = []
    for number, line in enumerate(SOURCE.splitlines(), start=1):
        segments.append([number, 1, 0 if number in missed else 1, True, True, False])
        segments.append([number, len(line) + 1, 0, False, False, False])
    summary = {kind: {"covered": round(10 * percent), "count": 1000}
               for kind, percent in (("lines", lines), ("branches", branches))}
    functions = [{"name": name, "filenames": [str(path)], "regions": [[first, 1, last, 2, 1, 0, 0, 0]]}
                 for name, first, last in FUNCTIONS]
    file = {"filename": str(path), "segments": segments, "summary": summary}
    return {"data": [{"files": [file], "functions": functions}]}


def outcome(tmp_path, monkeypatch, reasons, missed, kit_lines=100.0, **shares):
    source, kit_source = tmp_path / "src/base/one.cc", tmp_path / "src/kit/two.cc"
    for path in (source, kit_source):
        path.parent.mkdir(parents=True)
        path.write_text(SOURCE)
    exported, kit = tmp_path / "cvtoss32.json", tmp_path / "cvkit.json"
    exported.write_text(json.dumps(export(source, missed, **shares)))
    kit.write_text(json.dumps(export(kit_source, [3], lines=kit_lines, branches=0.0)))
    lines = "".join(f"src/base/one.cc: {line}\n" for line in reasons)
    (tmp_path / "unreached.txt").write_text("# a reason\n" + lines)
    monkeypatch.setattr(sys, "argv", ["report.py", str(exported), str(kit)])
    with pytest.raises(SystemExit) as ended:
        report.main()
    return ended.value.code


FIRST, SECOND = "First: return -1;", "Second: return -1;"
CASES = [
    ("each has its reason", [FIRST, SECOND, SECOND], [3, 8, 11], 0),
    ("the same text in another function", [FIRST], [3, 8], 1),
    ("the same text once more in the function", [FIRST, SECOND], [3, 8, 11], 1),
    ("another function's reason", [FIRST], [8], 1),
    ("a reason too many", [FIRST, SECOND, SECOND], [3, 8], 1),
    ("everything is reached", [], [], 0),
]


@pytest.mark.parametrize("reasons, missed, status", [case[1:] for case in CASES], ids=[case[0] for case in CASES])
def test_each_line_needs_its_own_reason(tmp_path, monkeypatch, reasons, missed, status):
    assert outcome(tmp_path, monkeypatch, reasons, missed) == status


@pytest.mark.parametrize("shares, status", [
    ({"lines": 99.0, "branches": 96.0, "kit_lines": 95.0}, 0),
    ({"lines": 98.9}, 1), ({"branches": 95.9}, 1), ({"kit_lines": 94.9}, 1),
], ids=["just enough", "lines", "branches", "lines of cvkit"])
def test_the_totals_have_to_be_high_enough(tmp_path, monkeypatch, shares, status):
    assert outcome(tmp_path, monkeypatch, [], [], **shares) == status

"""docs/reliability.md has one row for each kind of state that a kill may leave, and for no other."""

import re
from pathlib import Path

import pytest

from tools import scan_scene, toss_scene

DOCUMENT = Path(__file__).resolve().parents[2] / "docs/reliability.md"
ROW = re.compile(r"(?m)^\| \**(.+?)\** \|")
NO_KINDS = {"SOURCE", "PROCESSED", "ELSEWHERE", "PACKET", "STALE", "LOCK", "SERIAL_FILE"}


def kinds(module) -> set[str]:
    values = {name: value for name, value in vars(module).items() if name.isupper() and isinstance(value, str)}
    return {value for name, value in values.items() if name not in NO_KINDS}


SECTIONS = [(toss_scene, "A toss that is killed"), (scan_scene, "A scan that is killed")]


@pytest.mark.parametrize("module, title", SECTIONS, ids=["toss", "scan"])
def test_every_state_has_its_row(module, title):
    section = DOCUMENT.read_text(encoding="utf-8").split(f"\n## {title}\n")[1].split("\n## ")[0]
    rows = [row for row in ROW.findall(section) if row not in ("the kill leaves", "---")]
    assert sorted(rows) == sorted(kinds(module))

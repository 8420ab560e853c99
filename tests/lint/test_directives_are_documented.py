"""Each directive of the configuration, and no other, is documented wherever an operator may look for it."""

import re

import pytest
from source_tree import ROOT, SRC

CONFIG = (SRC / "app" / "config.cc").read_text(encoding="utf-8")
DIRECTIVES = set(re.findall(r'\{"([A-Z]+)", config->|strcmp\(keyword, "([A-Z]+)"\)', CONFIG))
KNOWN = {left or right for left, right in DIRECTIVES}

PLACES = {
    "README.md": re.compile(r"(?m)^\| `([A-Z]+)` \|"),
    "docs/cvtoss32.cfg.5": re.compile(r"(?m)^\.B[IR]+ ([A-Z]{3,}) "),
    "examples/CVTOSS32.CFG": re.compile(r"(?m)^;?([A-Z]{3,})  +\S"),
}


def test_the_directives_are_found_in_the_source():
    assert len(KNOWN) == 11 and {"CONFDIR", "ADDRESS", "HUB", "KEEPPROCESSED"} <= KNOWN


@pytest.mark.parametrize("place", PLACES)
def test_every_directive_has_its_line_and_no_other_has(place):
    assert set(PLACES[place].findall((ROOT / place).read_text(encoding="utf-8"))) == KNOWN


def test_the_guide_has_something_to_consider_for_each():
    guide = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")
    table = guide[guide.index("## Directives"):guide.index("## Conferences")]
    told = {name for row in re.findall(r"(?m)^\| (`.*?`) \|", table) for name in re.findall(r"`([A-Z]+)`", row)}
    assert told == KNOWN

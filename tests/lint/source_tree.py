"""The source tree for the lint tests: files, their lines and their #include directives."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
SRC = ROOT / "src"

INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


def files_under(*folders, suffixes=(".cc", ".h")):
    """Every file with one of the suffixes in the folders that exist, in a fixed order."""
    found = []
    for folder in folders:
        found += (path for path in (ROOT / folder).rglob("*") if path.suffix in suffixes and path.is_file())
    return sorted(found)


def shown(path):
    return path.relative_to(ROOT).as_posix()


def lines_of(path):
    """(number, line) of every line of a file."""
    return enumerate(path.read_text(encoding="utf-8").splitlines(), start=1)


def includes_of(path):
    """(number, quoted name or None, bracketed name or None) of every #include of a file."""
    for number, line in lines_of(path):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def fail_on(complaints):
    assert not complaints, "\n" + "\n".join(complaints)

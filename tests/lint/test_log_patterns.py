"""The patterns by which cvkit reads TOSSER.LOG are the literals with which the program writes it."""

import re

from source_tree import SRC, fail_on, files_under
from test_operators_guide import LITERAL

PATTERN = re.compile(r'\{LogEvent::k\w+,\s*"((?:[^"\\]|\\.)*)"\}')
MATTERS = re.compile(r"===|Found:|FATAL: could not open inbound|Aborting|Loaded|ERROR: lost|  (?:->|msg %d:|queued)")
"""The lines about runs and messages that are printed outside a toss."""

DETAILS = {
    "Inbound dir: ", "Processed files: ",  # directives
    "ERROR: inbound ",  # the line behind it tells that the message was refused
    "ERROR: conference %d failed message-base preflight; refusing to append",
    "  parent MSGID resolved to",  # the line behind it tells where it was stored
    "  ERROR: truncated ZIP filename/extra field",  # the line behind them tells that the file stays
    "  ERROR: ZIP entry claims more",
    "  ERROR: ZIP contained no",
}
"""The beginnings of those lines of a toss that add nothing about a file or message to the other lines."""


def literals(*folders):
    return {literal for folder in folders for path in files_under(f"src/{folder}")
            for literal in LITERAL.findall(path.read_text(encoding="utf-8"))}


PRINTED = literals("app", "base", "bbs", "check", "ftn", "platform", "scan", "toss")
READ = PATTERN.findall((SRC / "kit" / "log_patterns.cc").read_text(encoding="utf-8"))


def complaints(read, printed, of_a_toss):
    unread = {line for line in printed
              if MATTERS.match(line) or (line in of_a_toss and not line.startswith(tuple(DETAILS)))}
    return ([f"no line of the program: {line!r}" for line in read if line not in printed]
            + [f"cvkit has no pattern for {line!r}" for line in sorted(unread - set(read))])


def test_each_pattern_is_a_literal_of_the_program_and_each_that_matters_has_one():
    of_a_toss = literals("toss")
    assert len(READ) == len(set(READ)) > 40 and len(of_a_toss) > 40, "the patterns or the lines were not found"
    fail_on(complaints(READ, PRINTED, of_a_toss))


def test_a_literal_that_changes_is_noticed():
    for line in READ:
        found = complaints(READ, PRINTED - {line} | {line + "!"}, {line + "!"})
        assert f"no line of the program: {line!r}" in found
        assert f"cvkit has no pattern for {line + '!'!r}" in found


def test_what_is_called_a_detail_is_printed():
    fail_on([f"never printed: {begin!r}" for begin in DETAILS
             if not any(line.startswith(begin) for line in literals("toss"))])

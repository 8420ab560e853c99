"""cvkit explain: every line in the operator's guide is found when it has real values, and no other line is."""

import gzip
import os
import re

import pytest
from formats.conference_table import echo
from formats.packet import Packet, echomail
from formats.text import raw
from harness.kit import Kit
from harness.target import LINE_END, ROOT, platform_text

GUIDE = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")
ROWS = re.findall(r"(?m)^\| `([^`]+)` \| (.*) \|$", GUIDE.partition("\n## Lines that ask for your attention")[2])
BANNER = "[2026-11-22 03:10:00] === cvtoss32 v1.05 Beta 5 -toss run starting ===\n"
VALUES = ["7", "IN/some file.pkt", "", "ERROR: DAT write failed while appending conf 3", "x" * 300]
kit_alone = Kit()


def real_line(row: str, value: str) -> str:
    """A row's line with values; a value at its start is one word."""
    return re.sub("^  …", "  URGENT", row).replace("…", value)


def log(site, *lines: str, name: str = "TOSSER.LOG") -> None:
    text = "".join(f"[2026-11-22 03:10:01] {line}\n" for line in lines)
    site.write(name, platform_text(raw(BANNER + text)))


@pytest.mark.parametrize("value", VALUES, ids=range(len(VALUES)))
def test_every_row_of_the_guide_is_found_by_its_line(site, kit, value):
    log(site, *(real_line(row, value) for row, _ in ROWS))
    answer = kit.json("explain", status=1)
    assert [one["entry"] for one in answer["lines"]] == [row for row, _ in ROWS]
    assert all(one["count"] == 1 for one in answer["lines"])
    assert not [one["remedy"] for one in answer["lines"] if re.search(r"[`\[\]]|\(#", one["remedy"])], "has Markdown"


def test_a_line_is_found_as_it_is_pasted():
    line = "  msg 3: AREA:NEWS has no matching conference -- parked in catch-all conf 4 (see BADAREAS.LST)"
    remedy = "    create the area, or unlink it at the hub. Status stays 0"
    for pasted in (line, line.strip(), f"[2026-11-22 03:10:01] {line}", f"{line}  \r\n"):
        assert kit_alone("explain", pasted, status=1).text.splitlines() == [line.strip(), remedy]


def test_of_several_matching_rows_the_one_with_the_longest_text_is_used():
    for line in ("ERROR: could not open MSG/CVMSG01.PTR for preflight", "Could not open config file: a for preflight"):
        (found,) = kit_alone.json("explain", line, status=1)["lines"]
        assert found["entry"] == re.sub("MSG/CVMSG01.PTR|a for preflight", "…", line)


def test_a_piece_of_a_line_finds_its_rows():
    found = kit_alone.json("explain", "safety limit", status=1)["lines"]
    assert [one["entry"] for one in found] == ["ERROR: inbound logical line is … bytes; safety limit is …"]


def test_links_of_the_guide_are_shown_as_their_headings():
    lines = {"ERROR: conference 7 has IDX/DAT data but no PTR records":
             'By hand: see "Texts without headers" in the operator\'s guide',
             "  retaining ZIP in inbound because at least one entry failed":
             'tried again by each run: see "A retained bundle" in the operator\'s guide',
             "CRITICAL: could not mark conf 3 msg #4 sent and could not remove its newly-added SIG entry; manual "
             "review required":
             'else remove the last line ("The last line of a SIG file" in the operator\'s guide) of that'}
    for line, told in lines.items():
        assert told in kit_alone("explain", line, status=1).text


def test_a_line_without_a_problem_has_status_0(kit):
    line = "  msg 1: duplicate (MSGID 1:2/3 4 already seen in conf 5) -- SKIPPED"
    assert kit.json("explain", line)["ok"] is True


@pytest.mark.parametrize("line", ["", " ", "Found: mail.pkt", "never heard of", "[2026-11-22 03:10:01] "])
def test_a_line_that_is_not_in_the_guide_has_no_answer(line):
    assert kit_alone("explain", line, status=2).errors == (
        "cvkit: the operator's guide has no such line: it asks for nothing\n")


def test_only_the_lines_of_the_last_run_are_listed_and_counted(site, kit):
    full = "ERROR: checked message-base append failed for conf {}"
    log(site, "ERROR: could not seek MSG/x", *["Found: x"] * 20000, name="before")
    log(site, full.format(1), "  -> wrote conf 1 msg #5  From='" + full.format(9) + "' To='x' Subj='y' (1 records)",
        *["Found: y"] * 20000, full.format(2), name="last")
    site.write("TOSSER.LOG", site.read("before") + site.read("last") + raw("[2026-11-22 03:10:02] ERROR: could no"))
    answer = kit.json("explain", status=1)
    assert answer["run"] == BANNER.rstrip()
    assert [(one["line"], one["count"]) for one in answer["lines"]] == [(full.format(1), 2)]
    assert "(and 1 line like it)" in kit("explain", status=1).text


@pytest.mark.parametrize("name, pack", [("TOSSER.LOG.1", bytes), ("TOSSER.LOG-20261122.gz", gzip.compress)])
def test_the_last_run_is_found_in_a_log_that_was_rotated(site, kit, name, pack):
    line = "ERROR: could not seek MSG/x"
    log(site, line)
    whole = site.read("TOSSER.LOG")
    site.write(name, pack(whole))
    for left, count in ((None, 1), (b"", 1), (whole.partition(LINE_END)[2], 2)):
        site.path("TOSSER.LOG").unlink(missing_ok=True)
        if left is not None:
            site.write("TOSSER.LOG", left)
        assert [(one["line"], one["count"]) for one in kit.json("explain", status=1)["lines"]] == [(line, count)]


def test_a_line_that_the_program_has_cut_is_found(kit):
    line = "ERROR: CONFDIR does not exist or is not a directory: " + "x" * 2000
    cut = "  msg 1: duplicate (MSGID " + "x" * 1000
    assert kit.json("explain", line, status=1)["lines"][0]["entry"].startswith("ERROR: CONFDIR does not")
    assert kit.json("explain", cut)["lines"][0]["entry"].startswith("  msg …: duplicate")


def test_a_run_whose_first_line_lies_across_two_reads_is_found(site, kit):
    """The log is read backwards in pieces of 256 KB."""
    for back in range(0, len(BANNER) + 2, 7):
        rest = b"x" * (256 * 1024 - back - len(LINE_END)) + LINE_END
        site.write("TOSSER.LOG", platform_text(raw(BANNER.replace("toss ", "scan "))) + rest)
        assert kit.json("explain")["run"] == BANNER.replace("toss ", "scan ").rstrip()


def test_after_a_real_toss(site, kit):
    site.conferences(echo("FIDO"))
    site.inbound("mail.pkt", Packet([echomail("FIDO", "text", msgid="1:2/3 1"), echomail("\xe9\xe9", "text")]))
    assert site.toss().status == 0
    found = kit.json("explain", status=1)["lines"]
    assert [one["line"] for one in found] == [
        "msg 2: AREA:ΘΘ has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)"]
    assert site.run("-check").status == 0
    assert kit("explain").text.endswith("===\nNothing asks for your attention.\n")


def test_control_bytes_of_a_log_are_shown_escaped(site, kit):
    log(site, "ERROR: could not seek \x1b[31m\x07\xe9")
    assert r"seek \x1B[31m\x07Θ" in kit("explain", status=1).text
    assert kit.json("explain", status=1)["lines"][0]["line"] == "ERROR: could not seek \x1b[31m\x07Θ"


def test_another_log_and_one_beside_the_configuration(site, kit):
    log(site, "ERROR: could not seek x", name="OTHER.LOG")
    assert kit("explain", "--log", "OTHER.LOG", status=1).text
    log(site, "ERROR: could not seek x", name="sub/TOSSER.LOG")
    assert kit("explain", "--config", "sub/CVTOSS32.CFG", status=1).text


@pytest.mark.parametrize("content, why", [
    (None, "there is no log TOSSER.LOG (--log names another)"), (b"", "the log TOSSER.LOG has no run")])
def test_without_a_run_there_is_no_answer(site, kit, content, why):
    if content is not None:
        site.write("TOSSER.LOG", content)
    assert kit("explain", status=2).errors == f"cvkit: {why}\n"


def test_a_log_that_cannot_be_read(site, kit):
    os.mkdir(site.path("TOSSER.LOG"))
    assert kit("explain", status=2).errors == "cvkit: the log TOSSER.LOG cannot be read\n"

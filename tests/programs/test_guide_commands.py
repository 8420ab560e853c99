"""The operator's guide's commands for Linux do to the files what the guide says."""

import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")
PROGRAM = ROOT / "build" / "release" / "cvtoss32"


def do(heading, directory, which=0, **replaced):
    """Runs one of the indented blocks of a section in the site. Returns its output."""
    section = re.split(r"(?m)^##", GUIDE[GUIDE.index(f"# {heading}\n") + 2:])[0]
    # A blank line within a block is not indented.
    blocks = re.findall(r"(?:^ {4,}\S.*\n(?:\n(?= {4}))?)+", section, re.MULTILINE)
    command = blocks[which]
    for old, new in replaced.values():
        assert old in command
        command = command.replace(old, new)
    return subprocess.run(["sh", "-ec", command], cwd=directory, stdout=subprocess.PIPE, text=True, check=True).stdout


def test_the_quick_start_leads_to_an_exchange(tmp_path):
    """The four steps of README.md, with options for what a sysop is asked."""
    steps = (ROOT / "README.md").read_text(encoding="utf-8").partition("in four steps:")[2].partition("\n## ")[0]
    assert re.findall(r"(?m)^\d\. \*\*(.*?)\.\*\*", steps) == ["Build or install", "Set up", "Examine", "Schedule"]
    set_up, examine, exchange = re.findall(r"(?m)^ {7}(\S.*)$", steps)
    site = tmp_path / "site"
    subprocess.run([sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", site], check=True)
    (site / "CVTOSS32.CFG").unlink()
    shutil.copy2(ROOT / "packaging" / "cvtoss32-exchange", site)
    told = (" --yes --copy --confdir . --msgdir MSGS --inbound FTN/INBOUND --outdir FTN/OUTBOUND --address 2:999/42"
            " --hub 2:999/1 --system Here")
    path = f"{PROGRAM.parent}:{os.environ['PATH']}"
    for command, shown in ((set_up + told, "PASSED"), (examine, ""), (exchange, "run complete")):
        done = subprocess.run(["sh", "-c", command], cwd=site, env=os.environ | {"PATH": path},
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, check=False)
        assert done.returncode == 0 and shown in done.stdout, done.stdout
    assert {path.name for path in site.glob("cv*")} == {"cvtoss32", "cvkit", "cvtoss32-exchange"}


def headers(*messages):
    """PTR records of (number, sent, deleted)."""
    made = b""
    for number, sent, deleted in messages:
        record = bytearray(256)
        record[153], record[158] = sent, deleted
        struct.pack_into("<i", record, 166, number)
        made += bytes(record)
    return made


def test_unsent_messages_are_counted_and_the_old_ones_never_sent(tmp_path):
    site = tmp_path / "site"
    subprocess.run([sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", site], check=True)
    kit = {"kit": ("cvkit ", f"{PROGRAM.with_name('cvkit')} ")}
    assert do("The first scan", site, **kit).count("\n") == 7
    assert "2 unsent messages of before 2026-12-01 marked sent." in do("The first scan", site, 1, **kit)
    shutil.copy2(PROGRAM, site)
    scan = subprocess.run([site / "cvtoss32", "-scan"], cwd=site, stdout=subprocess.PIPE, check=True)
    assert b"Nothing to export" in scan.stdout


def test_numbers_are_taken_out_of_a_sig_file(tmp_path):
    (tmp_path / "CVMSG07.SIG").write_bytes(b"1:2/3 \xe9\t17\n2:999/42 0000000c\t18\r\n")
    do("After packing, renumbering or restoring the message base", tmp_path)
    assert (tmp_path / "CVMSG07.SIG").read_bytes().split(b"\n") == [b"1:2/3 \xe9", b"2:999/42 0000000c", b""]


def test_names_are_turned_into_capitals(tmp_path):
    for name in ("cvmsg07.Ptr", "CVMSG08.PTR", "two words.dat"):
        (tmp_path / name).write_text(name)
    do("Moving from Windows to Linux and back", tmp_path)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["CVMSG07.PTR", "CVMSG08.PTR", "TWO WORDS.DAT"]


def test_an_index_is_cut_to_its_headers(tmp_path):
    (tmp_path / "CVMSG07.PTR").write_bytes(bytes(512))
    (tmp_path / "CVMSG07.IDX").write_bytes(b"a" * 16 + b"b" * 16 + b"c" * 16)
    do("An index that is longer than the headers", tmp_path)
    assert (tmp_path / "CVMSG07.IDX").read_bytes() == b"a" * 16 + b"b" * 16


def test_files_are_cut_to_whole_records(tmp_path):
    for suffix, size in (("PTR", 511), ("IDX", 33), ("DAT", 256)):
        (tmp_path / f"CVMSG07.{suffix}").write_bytes(bytes(size))
    do("A file that does not end with a whole record", tmp_path)
    assert [(tmp_path / f"CVMSG07.{suffix}").stat().st_size for suffix in ("PTR", "IDX", "DAT")] == [256, 32, 256]


@pytest.mark.parametrize("last", [b"1:2/3 00", b"1:2/3 00000002\t9\r\n"])
def test_the_last_line_of_a_sig_file_is_removed(tmp_path, last):
    kept = b"1:2/3 \xff0000001\t7\n1:2/3 00000001\t8\r\n"
    (tmp_path / "CVMSG07.SIG").write_bytes(kept + last)
    assert do("The last line of a SIG file", tmp_path).endswith("$\n") == last.endswith(b"\n")
    assert (tmp_path / "CVMSG07.SIG").read_bytes() == kept


def test_sig_lines_beyond_the_highest_header_are_removed(tmp_path):
    (tmp_path / "CVMSG07.PTR").write_bytes(headers((70000, 1, 1), (3, 1, 0)))
    (tmp_path / "CVMSG07.SIG").write_bytes(b"a\t70000\nb\t70001\r\n\xe9\t3\r\nno number\nc\t70002\n")
    do("SIG lines of messages that were never stored", tmp_path)
    assert (tmp_path / "CVMSG07.SIG").read_bytes() == b"a\t70000\n\xe9\t3\r\nno number\n"


def test_a_conference_is_cut_behind_a_message_and_a_short_index_stays_short(tmp_path):
    (tmp_path / "CVMSG07.PTR").write_bytes(headers(*((number, 1, 0) for number in range(1, 415))) + bytes(9))
    (tmp_path / "CVMSG07.IDX").write_bytes(bytes(410 * 16))
    (tmp_path / "CVMSG07.DAT").write_bytes(bytes(129))
    assert "412 412\n413 413\n414 414\n" in do("A conference whose rollback failed", tmp_path)
    assert [(tmp_path / f"CVMSG07.{suffix}").stat().st_size for suffix in ("PTR", "IDX", "DAT")] == [
        412 * 256, 410 * 16, 128]


def test_a_serial_file_is_written_again(tmp_path):
    (tmp_path / "TOSSER.LOG").write_text(
        "[2026-11-15 00:31:24]   queued conf 1 msg #7  From='A' To='B' Subj='C'  MSGID=2:999/42 0000012c\n")
    shown = do("A serial file that is damaged or too old", tmp_path, place=("/srv/bbs/ftn", str(tmp_path)))
    assert shown == "MSGID=2:999/42 0000012c\n"
    assert (tmp_path / "CVOUTBOUND.SEQ").read_text() == "300\n"

"""What stands in packaging/ does what the operator's guide says of it."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = ROOT / "packaging"
PROGRAM = ROOT / "build" / "release" / "cvtoss32"
WINDOWS_PROGRAM = ROOT / "build" / "windows" / "cvtoss32.exe"
BUNDLE = re.compile(r"[0-9a-f]{8}\.(su|mo|tu|we|th|fr|sa)0")


@pytest.fixture
def site(tmp_path):
    made = tmp_path / "site"
    subprocess.run([sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", made], check=True)
    return made


def names_in(directory):
    return sorted(path.name for path in directory.iterdir())


def exchange(site, *arguments):
    shutil.copy2(PROGRAM, site)
    return subprocess.run([PACKAGING / "cvtoss32-exchange", *arguments], cwd=site, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, check=False)


def test_an_exchange_tosses_scans_and_hands_the_bundle_to_the_mailer(site):
    box = site / "BOX"
    box.mkdir()
    done = exchange(site, site, site / "FTN" / "OUTBOUND", box)
    assert (done.returncode, done.stderr) == (0, b"")
    assert names_in(site / "FTN" / "OUTBOUND") == []
    assert len(names_in(box)) == 1 and BUNDLE.fullmatch(names_in(box)[0])
    assert len(names_in(site / "FTN" / "INBOUND" / "processed")) == 4


def test_without_a_box_the_bundle_stays_where_it_was_published(site):
    assert exchange(site).returncode == 0
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1


def test_an_exchange_scans_even_when_the_toss_failed_and_says_so(site):
    shutil.rmtree(site / "FTN" / "INBOUND")
    assert exchange(site).returncode == 1
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1


def test_a_bundle_that_cannot_be_handed_over_stays_and_counts_as_a_failure(site):
    done = exchange(site, site, site / "FTN" / "OUTBOUND", site / "no-such-box")
    assert done.returncode == 1
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1


def windows_exchange(site, *arguments):
    shutil.copy2(WINDOWS_PROGRAM, site)
    shutil.copy2(PACKAGING / "cvtoss32-exchange.cmd", site)
    return subprocess.run(["wine", "cmd", "/c", "cvtoss32-exchange.cmd", *arguments], cwd=site,
                          env=os.environ | {"WINEDEBUG": "-all"}, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          check=False)


def test_the_windows_exchange_tosses_and_scans(site):
    done = windows_exchange(site)
    assert done.returncode == 0
    assert done.stdout.count(b"run complete") == 2
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1

    shutil.rmtree(site / "FTN" / "INBOUND")
    assert windows_exchange(site).returncode == 1


def test_the_windows_exchange_hands_finished_bundles_to_the_mailer_and_nothing_else(site):
    box = site / "MY BOX"
    box.mkdir()
    outbound = site / "FTN" / "OUTBOUND"
    for name in ("6917f02c.tmp", "6917f02c.su0.tmp", "notes.txt"):
        (outbound / name).write_text(name)
    (outbound / "6917f02d.mo3").write_text("of an earlier run")
    done = windows_exchange(site, "FTN\\OUTBOUND", "MY BOX")
    assert done.returncode == 0
    assert names_in(outbound) == ["6917f02c.su0.tmp", "6917f02c.tmp", "notes.txt"]
    handed_over = names_in(box)
    assert len(handed_over) == 2 and all(re.fullmatch(r"[0-9a-f]{8}\.[a-z]{2}[03]", name) for name in handed_over)


def test_the_windows_exchange_replaces_no_bundle_in_the_box_and_says_what_it_could_not_hand_over(site):
    box = site / "BOX"
    box.mkdir()
    outbound = site / "FTN" / "OUTBOUND"
    (outbound / "6917f02d.mo3").write_text("new")
    (box / "6917f02d.mo3").write_text("waiting")
    assert windows_exchange(site, "FTN\\OUTBOUND", "BOX").returncode == 1
    assert (outbound / "6917f02d.mo3").read_text() == "new"
    assert (box / "6917f02d.mo3").read_text() == "waiting"

    (box / "6917f02d.mo3").unlink()
    assert windows_exchange(site, "FTN\\OUTBOUND", "NO BOX").returncode == 1
    assert (outbound / "6917f02d.mo3").read_text() == "new"


def test_the_command_file_has_the_line_ends_that_windows_wants():
    data = (PACKAGING / "cvtoss32-exchange.cmd").read_bytes()
    assert data.isascii() and data.count(b"\n") == data.count(b"\r\n") > 0


def test_the_scheduled_task_is_well_formed_and_starts_the_command_file():
    namespace = {"t": "http://schemas.microsoft.com/windows/2004/02/mit/task"}
    task = ElementTree.parse(PACKAGING / "cvtoss32-task.xml").getroot()
    command = task.find("t:Actions/t:Exec/t:Command", namespace)
    assert command is not None and command.text.endswith("\\cvtoss32-exchange.cmd")
    policy = task.find("t:Settings/t:MultipleInstancesPolicy", namespace)
    assert policy is not None and policy.text == "IgnoreNew"

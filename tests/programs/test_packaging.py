"""The files in packaging/ do what the operator's guide says about them."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = ROOT / "packaging"
PROGRAM = ROOT / "build" / "release" / "cvtoss32"
KIT = PROGRAM.with_name("cvkit")
WINDOWS_PROGRAM = ROOT / "build" / "windows" / "cvtoss32.exe"
WINDOWS_KIT = WINDOWS_PROGRAM.with_name("cvkit.exe")
TIME = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d ")
BUNDLE = re.compile(r"[0-9a-f]{8}\.(su|mo|tu|we|th|fr|sa)0")


@pytest.fixture
def site(tmp_path):
    made = tmp_path / "site"
    subprocess.run([sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", made], check=True)
    return made


def names_in(directory):
    return sorted(path.name for path in directory.iterdir())


def exchange(site, *arguments, program=PROGRAM):
    if program is not None:
        shutil.copy2(program, site)
    return subprocess.run([PACKAGING / "cvtoss32-exchange", *arguments], cwd=site, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)


def stub(directory, repair="exit 0", **commands):
    """Puts programs there that note their mode in `calls` and then do what is given for the mode."""
    cases = "".join(f"-{mode}) {command} ;;\n" for mode, command in commands.items())
    for name, script in (("cvtoss32", f'echo "$1" >>calls\ncase $1 in\n{cases}esac'),
                         ("cvkit", f'echo "$2" >>calls\n{repair}')):
        (directory / name).write_text(f"#!/bin/sh\n{script}\n")
        (directory / name).chmod(0o755)


def calls(directory):
    return (directory / "calls").read_text().split() if (directory / "calls").exists() else []


def failures(directory):
    """The lines of exchange.log without their times."""
    if not (directory / "exchange.log").exists():
        return []
    lines = (directory / "exchange.log").read_text().splitlines()
    assert all(TIME.match(line) for line in lines), lines
    return [TIME.sub("", line) for line in lines]


def runs_logged(site):
    return re.findall(r"=== cvtoss32 v\S+ Beta 5 (-\w+) run starting", (site / "TOSSER.LOG").read_text())


def test_an_exchange_scans_tosses_and_hands_the_bundle_to_the_mailer(site):
    box = site / "BOX"
    box.mkdir()
    done = exchange(site, site, site / "FTN" / "OUTBOUND", box)
    assert (done.returncode, done.stderr) == (0, b"")
    assert runs_logged(site) == ["-scan", "-toss"], "an inbound file may keep outbound mail waiting"
    assert names_in(site / "FTN" / "OUTBOUND") == []
    assert len(names_in(box)) == 1 and BUNDLE.fullmatch(names_in(box)[0])
    assert len(names_in(site / "FTN" / "INBOUND" / "processed")) == 4
    assert failures(site) == []


def test_without_a_box_the_bundle_stays_where_it_was_published(site):
    assert exchange(site).returncode == 0
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1


def test_a_failed_run_does_not_keep_the_other_from_its_work_and_has_its_line(site):
    shutil.rmtree(site / "FTN" / "OUTBOUND")
    assert exchange(site).returncode == 1
    assert len(names_in(site / "FTN" / "INBOUND" / "processed")) == 4
    assert failures(site) == ["cvtoss32 -scan failed (status 1); TOSSER.LOG says why"]


def test_what_the_program_says_on_standard_error_is_kept(site):
    configuration = site / "CVTOSS32.CFG"
    text = configuration.read_text()
    configuration.unlink()
    assert exchange(site).returncode == 1
    cause = "Could not open config file: CVTOSS32.CFG"
    assert failures(site) == [f"cvtoss32 -scan: {cause}", f"cvtoss32 -toss: {cause}"]

    (site / "exchange.log").unlink()
    configuration.write_text(text + "COLOUR blue\n")
    shutil.rmtree(site / "FTN" / "INBOUND")
    assert exchange(site).returncode == 1
    warning = "Warning: unrecognized config directive 'COLOUR' -- ignored"
    assert failures(site) == [f"cvtoss32 -scan: {warning}", f"cvtoss32 -toss: {warning}",
                              "cvtoss32 -toss failed (status 1); TOSSER.LOG says why"]


@pytest.mark.parametrize("name", ["OUT", "BOX"])
def test_a_directory_that_is_missing_for_the_hand_over_has_its_line(tmp_path, name):
    for other in {"OUT", "BOX"} - {name}:
        (tmp_path / other).mkdir()
    stub(tmp_path)
    assert exchange(tmp_path, tmp_path, "OUT", "BOX", program=None).returncode == 1
    assert failures(tmp_path) == [f"cannot hand bundles over: {name} is not a directory"]


def test_a_bundle_does_not_replace_one_that_waits_in_the_box(tmp_path):
    bundle, waiting = tmp_path / "OUT" / "6917f02c.su0", tmp_path / "BOX" / "6917f02c.su0"
    for path in (bundle, waiting):
        path.parent.mkdir()
        path.write_text(str(path))
    stub(tmp_path)
    assert exchange(tmp_path, tmp_path, "OUT", "BOX", program=None).returncode == 1
    assert (bundle.read_text(), waiting.read_text()) == (str(bundle), str(waiting))
    assert failures(tmp_path) == ["could not move OUT/6917f02c.su0 to BOX: there is a file of that name"]


@pytest.mark.parametrize("mode", ["scan", "toss"])
def test_after_a_run_that_was_killed_nothing_is_handed_over(tmp_path, mode):
    bundle = tmp_path / "OUT" / "6917f02c.su0"
    for directory in (bundle.parent, tmp_path / "BOX"):
        directory.mkdir()
    bundle.write_text("mail")
    stub(tmp_path, **{mode: "kill -KILL $$"})
    assert exchange(tmp_path, tmp_path, "OUT", "BOX", program=None).returncode == 1
    assert bundle.exists() and calls(tmp_path) == ["-scan", "-toss"]
    assert failures(tmp_path) == [f"cvtoss32 -{mode} was killed (status 137); this exchange hands no bundle over"]

    begun = (tmp_path / "exchange.mark").read_text().strip()
    stub(tmp_path)
    assert exchange(tmp_path, tmp_path, "OUT", "BOX", program=None).returncode == 1
    assert not bundle.exists() and calls(tmp_path)[2:] == ["--repair", "-scan", "-toss"]
    assert failures(tmp_path)[1:] == [f"the exchange of {begun} did not end"]


def test_an_exchange_that_did_not_end_is_reported_once_and_one_at_work_is_left_alone(tmp_path):
    stub(tmp_path, scan="echo ready; sleep 20")
    with subprocess.Popen([PACKAGING / "cvtoss32-exchange"], cwd=tmp_path, stdout=subprocess.PIPE,
                          start_new_session=True) as first:
        assert first.stdout.readline() == b"ready\n"
        begun = (tmp_path / "exchange.mark").read_text().strip()
        assert exchange(tmp_path, program=None).returncode == 1
        assert failures(tmp_path) == [f"the exchange of {begun} is still at work; this one does nothing"]
        # The program outlives a script that was killed alone, and still counts as the exchange at work.
        first.kill()
        first.wait()
        assert exchange(tmp_path, program=None).returncode == 1
        os.killpg(first.pid, signal.SIGKILL)
        subprocess.run(["flock", tmp_path / "exchange.mark", "true"], check=True)  # the last of them is gone

    (tmp_path / "exchange.log").unlink()
    (tmp_path / "calls").unlink()
    stub(tmp_path)
    assert exchange(tmp_path, program=None).returncode == 1
    assert failures(tmp_path) == [f"the exchange of {begun} did not end"]
    assert calls(tmp_path) == ["--repair", "-scan", "-toss"]
    assert exchange(tmp_path, program=None).returncode == 0
    assert len(failures(tmp_path)) == 1 and calls(tmp_path)[3:] == ["-scan", "-toss"]


UNFINISHED = "2026-11-21 23:05:00"


def test_what_an_exchange_that_did_not_end_has_left_is_repaired_before_the_first_run(site):
    shutil.copy2(KIT, site)
    (site / "exchange.mark").write_text(f"{UNFINISHED}\n")
    left = site / "FTN" / "OUTBOUND" / "6917f02c.su0.tmp"
    left.write_bytes(b"PK")
    assert exchange(site).returncode == 1
    said = failures(site)
    assert said[0] == f"the exchange of {UNFINISHED} did not end"
    assert re.fullmatch(r"cvkit: repaired \S+6917f02c\.su0\.tmp: moved to the backup", said[1])
    assert said[-1] == "cvkit: The message base is sound."
    assert not left.exists() and runs_logged(site) == ["-scan", "-toss"]
    assert exchange(site).returncode == 0 and failures(site) == said


@pytest.mark.parametrize("status, calls_then, line", [
    (1, ["--repair", "-scan", "-toss"], []),
    (2, ["--repair"], ["cvkit verify --repair failed (status 2); no run is started until it works"]),
])
def test_while_a_repair_cannot_be_made_no_run_is_started(tmp_path, status, calls_then, line):
    (tmp_path / "exchange.mark").write_text(f"{UNFINISHED}\n")
    stub(tmp_path, repair=f"echo cvkit: why >&2; exit {status}")
    assert exchange(tmp_path, program=None).returncode == 1
    assert calls(tmp_path) == calls_then
    assert failures(tmp_path) == [f"the exchange of {UNFINISHED} did not end", "cvkit: why", *line]
    assert bool((tmp_path / "exchange.mark").read_text()) == (status == 2)


def test_without_cvkit_the_runs_do_what_they_can(tmp_path):
    (tmp_path / "exchange.mark").write_text(f"{UNFINISHED}\n")
    stub(tmp_path)
    (tmp_path / "cvkit").unlink()
    assert exchange(tmp_path, program=None).returncode == 1
    assert calls(tmp_path) == ["-scan", "-toss"]
    assert failures(tmp_path)[1:] == ["there is no cvkit here: what that exchange left is not repaired"]


def test_what_cannot_be_written_beside_the_log_goes_to_standard_error(tmp_path):
    for name in ("exchange.log", "exchange.mark"):
        (tmp_path / name).mkdir()
    stub(tmp_path, toss="exit 1")
    done = exchange(tmp_path, program=None)
    assert done.returncode == 1 and calls(tmp_path) == ["-scan", "-toss"]
    assert [TIME.sub("", line) for line in done.stderr.decode().splitlines()] == [
        "cannot write exchange.mark", "cvtoss32 -toss failed (status 1); TOSSER.LOG says why"]


def test_the_ready_crontab_and_that_of_the_manual_never_work_in_the_home_directory(tmp_path):
    line = re.compile(r"(?m)^5-59/15 \* \* \* \* (?:bbs )?(.*)$")
    command, = line.findall((PACKAGING / "cvtoss32.cron").read_text())
    assert line.findall((ROOT / "docs" / "cvtoss32.1").read_text().replace("\\-", "-")) == [command]

    stub(tmp_path)
    script, directory = PACKAGING / "cvtoss32-exchange", tmp_path / "no-such-directory"
    command = command.replace("/srv/bbs/ftn/cvtoss32-exchange", str(script)).replace("/srv/bbs/ftn", str(directory))
    done = subprocess.run(command, shell=True, cwd=tmp_path, stderr=subprocess.PIPE, check=False)
    assert done.returncode == 1 and b"no-such-directory" in done.stderr
    assert calls(tmp_path) == []


def test_systemd_finds_nothing_to_say_about_the_units(tmp_path):
    for name in ("cvtoss32.service", "cvtoss32.timer", "cvkit-metrics.service", "cvkit-metrics.timer"):
        (tmp_path / name).write_text((PACKAGING / name).read_text().replace("/srv/bbs/ftn/", f"{PACKAGING}/"))
    done = subprocess.run(["systemd-analyze", "verify", *sorted(tmp_path.iterdir())], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False)
    assert (done.returncode, done.stdout) == (0, b"")


def test_no_schedule_ends_an_exchange_by_time_and_systemd_ends_it_with_sigterm_first():
    service = (PACKAGING / "cvtoss32.service").read_text()
    assert "\nTimeoutStartSec=infinity\n" in service and "\nKillSignal=SIGTERM\n" in service
    assert "RuntimeMaxSec" not in service
    assert "timeout " not in (PACKAGING / "cvtoss32.cron").read_text()
    assert task_text("Settings/ExecutionTimeLimit") == "PT0S"


def test_the_logs_are_rotated_by_size_and_a_run_begins_a_new_one(site):
    user = subprocess.run(["id", "-un"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    group = subprocess.run(["id", "-gn"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    rules = (PACKAGING / "cvtoss32.logrotate").read_text()
    (site / "rules").write_text(rules.replace("/srv/bbs/ftn", str(site)).replace("su bbs bbs", f"su {user} {group}"))
    (site / "exchange.log").write_text("an older line\n")
    with (site / "TOSSER.LOG").open("wb") as log:
        log.truncate(21 << 20)
    rotate = ["logrotate", "--state", site / "state", site / "rules"]
    subprocess.run(rotate, check=True)
    assert (site / "TOSSER.LOG.1").stat().st_size == 21 << 20 and not (site / "TOSSER.LOG").exists()
    assert (site / "exchange.log").exists(), "rotated though it is small and new"
    assert exchange(site).returncode == 0
    assert runs_logged(site) == ["-scan", "-toss"]


def windows_exchange(site, *arguments, program=WINDOWS_PROGRAM):
    shutil.copy2(program, site / "cvtoss32.exe")
    shutil.copy2(PACKAGING / "cvtoss32-exchange.cmd", site)
    return subprocess.run(["wine", "cmd", "/c", "cvtoss32-exchange.cmd", *arguments], cwd=site,
                          env=os.environ | {"WINEDEBUG": "-all"}, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          check=False)


def windows_failures(site):
    """The lines of exchange.log, each without its time, whose form is the system's."""
    lines = (site / "exchange.log").read_text().splitlines()
    stamps = [re.match(r"\S+ +\d+:\d\d\S*( [AP]M)? ", line) for line in lines]
    assert all(stamps), lines
    return [line[stamp.end():] for line, stamp in zip(lines, stamps)]


def test_the_windows_exchange_scans_and_tosses(site):
    done = windows_exchange(site)
    assert done.returncode == 0
    assert runs_logged(site) == ["-scan", "-toss"]
    assert len(names_in(site / "FTN" / "OUTBOUND")) == 1
    assert not {"exchange.log", "exchange.mark", "exchange.err"} & set(names_in(site))

    shutil.rmtree(site / "FTN" / "INBOUND")
    assert windows_exchange(site).returncode == 1
    assert windows_failures(site) == ["cvtoss32 -toss failed (status 1); TOSSER.LOG says why"]


def test_the_windows_exchange_keeps_what_the_program_says_on_standard_error(site):
    (site / "CVTOSS32.CFG").unlink()
    (site / "exchange.mark").write_text("11/21/2026 11:05 PM\n")
    assert windows_exchange(site).returncode == 1
    cause = "Could not open config file: CVTOSS32.CFG"
    assert windows_failures(site) == ["the exchange of 11/21/2026 11:05 PM did not end",
                                      "there is no cvkit.exe here: what that exchange left is not repaired",
                                      f"cvtoss32 -scan: {cause}", f"cvtoss32 -toss: {cause}"]
    assert "exchange.mark" not in names_in(site)


def test_the_windows_exchange_repairs_what_one_that_did_not_end_has_left(site):
    shutil.copy2(WINDOWS_KIT, site)
    (site / "exchange.mark").write_text("11/21/2026 11:05 PM\n")
    left = site / "FTN" / "OUTBOUND" / "6917f02c.su0.tmp"
    left.write_bytes(b"PK")
    assert windows_exchange(site).returncode == 1
    said = windows_failures(site)
    assert "moved to the backup" in said[1] and said[-1] == "cvkit: The message base is sound."
    assert not left.exists() and runs_logged(site) == ["-scan", "-toss"]
    assert not {"exchange.mark", "exchange.err"} & set(names_in(site))

    (site / "exchange.log").unlink()
    (site / "exchange.mark").write_text("11/21/2026 11:05 PM\n")
    (site / "CVTOSS32.CFG").unlink()
    assert windows_exchange(site).returncode == 1
    said = windows_failures(site)
    assert said[-2].startswith("cvkit: ") and said[-2].count("cvkit: ") == 1
    assert said[-1:] == [
        "cvkit verify --repair failed (status 2); no run is started until it works"]
    assert "exchange.mark" in names_in(site) and len(runs_logged(site)) == 2


def test_the_windows_exchange_hands_nothing_over_after_a_run_that_was_killed(tmp_path):
    for name in ("OUT", "BOX"):
        (tmp_path / name).mkdir()
    (tmp_path / "OUT" / "6917f02d.mo3").write_text("mail")
    (tmp_path / "stub.cc").write_text("int main(int, char** word) { return word[1][1] == 's' ? -1073741510 : 0; }\n")
    subprocess.run(["x86_64-w64-mingw32-g++-posix", "-static", tmp_path / "stub.cc", "-o", tmp_path / "stub.exe"],
                   check=True)
    assert windows_exchange(tmp_path, "OUT", "BOX", program=tmp_path / "stub.exe").returncode == 1
    assert names_in(tmp_path / "OUT") == ["6917f02d.mo3"]
    assert "exchange.mark" in names_in(tmp_path)
    assert windows_failures(tmp_path) == [
        "cvtoss32 -scan was killed (status -1073741510); this exchange hands no bundle over"]


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
    assert len(windows_failures(site)) == 1
    assert re.fullmatch(r"could not move 6917f02d.mo3 to \S+BOX: there is a file of that name",
                        windows_failures(site)[0])

    (box / "6917f02d.mo3").unlink()
    assert windows_exchange(site, "FTN\\OUTBOUND", "NO BOX").returncode == 1
    assert (outbound / "6917f02d.mo3").read_text() == "new"
    assert re.fullmatch(r"cannot hand bundles over: \S+NO BOX is not a directory", windows_failures(site)[1])


def test_the_command_file_has_the_line_ends_that_windows_wants():
    data = (PACKAGING / "cvtoss32-exchange.cmd").read_bytes()
    assert data.isascii() and data.count(b"\n") == data.count(b"\r\n") > 0


def task_text(path):
    """The text of an element of the scheduled task."""
    namespace = {"t": "http://schemas.microsoft.com/windows/2004/02/mit/task"}
    task = ElementTree.parse(PACKAGING / "cvtoss32-task.xml").getroot()
    return task.find("/".join(f"t:{name}" for name in path.split("/")), namespace).text


def test_the_scheduled_task_starts_the_command_file_once_at_a_time():
    assert task_text("Actions/Exec/Command").endswith("\\cvtoss32-exchange.cmd")
    assert task_text("Settings/MultipleInstancesPolicy") == "IgnoreNew"

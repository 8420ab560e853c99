#!/usr/bin/env python3
"""Breaks the program in one place at a time and checks that a test fails.

    self_test.py WORK_DIRECTORY [BREAKAGE]...

A copy of the source tree is built in the work directory, once as it is and once with each patch of breakages/. Ends
with a line for each, and with status 1 when a suite fails on the unbroken program, a patch does not apply, or a
breakage is not noticed. The lines also go to WORK_DIRECTORY/breakages.md.
"""

import os
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PATCHES = Path(__file__).resolve().parent / "breakages"
COPIED = ("CMakeLists.txt", "CMakePresets.json", "cmake", "docs/operators-guide.md", "src", "tests")
PROCESSORS = str(os.cpu_count() or 1)
FAILED = 1
SECONDS_FOR_A_SUITE = 300


@dataclass(frozen=True)
class Breakage:
    name: str
    suite: str
    """A file of tests/campaign, or a filter of the unit tests."""
    what: str

    def is_unit(self) -> bool:
        return not self.suite.startswith("test_")


BREAKAGES = [
    Breakage("rollback-skips-sig", "TossFaults.*", "the rollback of an append leaves the SIG file as it is"),
    Breakage("append-ignores-close", "*AppendFailure*", "an append takes a file for stored that did not close"),
    Breakage("no-rollback", "test_size_limits.py", "a failed append is reported as taken back, and is not"),
    Breakage("headers-first", "test_toss_kills.py", "the header is written before its text"),
    Breakage("sizes-not-taken-anew", "test_meanwhile.py", "an append goes where the first one found the end"),
    Breakage("index-not-compared", "test_toss_kills.py", "the preflight takes an index longer than the headers"),
    Breakage("duplicates-not-looked-up", "test_toss_kills.py", "a MSGID that was seen before is stored again"),
    Breakage("source-gone-despite-failure", "test_size_limits.py", "a packet is disposed of though messages failed"),
    Breakage("size-limit-kills", "test_size_limits.py", "the signal of a size limit ends the run"),
    Breakage("temporary-file-left", "test_size_limits.py", "a file that could not be written whole is left"),
    Breakage("rename-may-replace", "test_meanwhile.py", "publishing a bundle replaces another of that name"),
    Breakage("bundle-under-its-final-name", "test_scan_kills.py", "a bundle is written under its final name"),
    Breakage("commit-before-publish", "test_scan_kills.py", "messages are marked sent before there is a bundle"),
    Breakage("sent-before-sig-line", "test_scan_kills.py", "MsgSent is set before the SIG line is there"),
    Breakage("commit-keeps-sig-line", "test_meanwhile.py", "the SIG line of a message that stays unsent is kept"),
    Breakage("serial-file-emptied-first", "test_scan_kills.py", "the serial file is emptied before it is written"),
    Breakage("serial-used-unsaved", "MsgidSerial*:ScanFaults.*", "a serial is used though it could not be saved"),
    Breakage("sync-left-out", "TossPowerCuts.*", "a source goes before what was stored of it is on the disk"),
    Breakage("one-conference-synced", "*PowerCuts.*", "only the first conference with mail of a source is synced"),
    Breakage("rename-before-sync", "ScanPowerCuts.*", "a bundle gets its name before it is on the disk"),
    Breakage("bundle-name-not-synced", "ScanPowerCuts.*", "messages are marked while their bundle's name may be lost"),
    Breakage("lock-registered-early", "RunLock*:LockFaults.*", "the lock is registered before it is complete"),
    Breakage("lock-not-exclusive", "test_races.py", "the lock is taken although there is one"),
    Breakage("link-followed", "test_attacks.py", "processed is followed as a link of whoever may write in INBOUND"),
    Breakage("lock-not-refreshed", "RunLock*", "a run at work looks at its lock and does not keep it fresh"),
    Breakage("lock-left-behind", "test_size_limits.py", "a toss that failed leaves its lock"),
    Breakage("repair-before-its-list", "test_repair_faults.py", "a repair changes files before its list is complete"),
    Breakage("undo-changes-foreign-files", "test_repair_faults.py", "undoing a repair takes back what others wrote"),
    Breakage("repair-adds-no-line", "test_toss_repairs.py", "a repair leaves a message without its SIG line"),
    Breakage("repair-marks-nothing", "test_scan_repairs.py", "a repair does not mark the messages of a bundle sent"),
    Breakage("repair-keeps-lost-lines", "test_damaged_bases.py", "a repair keeps the SIG lines of lost messages"),
]


class Workshop:
    """The copy of the source tree and its build."""

    def __init__(self, directory: Path):
        self.source = directory / "source"
        self.build = directory / "build"

    def restore(self) -> None:
        """Makes the copy equal to the tree. Equal files keep their time, so that little is built again."""
        listed = subprocess.run(
            ["git", "ls-files", "--cached", "--others", "--exclude-standard", *COPIED],
            cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True,
        )
        names = {name for name in listed.stdout.splitlines() if (ROOT / name).is_file()}
        for name in names:
            data, target = (ROOT / name).read_bytes(), self.source / name
            if not target.exists() or target.read_bytes() != data:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(data)
        for path in self.source.rglob("*"):
            if path.is_file() and path.relative_to(self.source).as_posix() not in names:
                path.unlink()

    def apply(self, name: str) -> bool:
        alone = os.environ | {"GIT_CEILING_DIRECTORIES": str(self.source.parent)}  # the copy is not a work tree
        patch = str(PATCHES / f"{name}.patch")
        return subprocess.run(["git", "apply", patch], cwd=self.source, env=alone, check=False).returncode == 0

    def make(self, unit: bool) -> bool:
        configured = ["cmake", "-S", str(self.source), "-B", str(self.build), "--preset", "release"]
        targets = ["cvtoss32", "cvkit", *(["unit_tests"] if unit else [])]
        built = ["cmake", "--build", str(self.build), "-j", PROCESSORS, "--target", *targets]
        return all(quiet(command, cwd=self.source) == 0 for command in (configured, built))

    def run(self, breakage: Breakage) -> int:
        """The exit status of the suite: 1 when a test failed."""
        if breakage.is_unit():
            return quiet([str(self.build / "tests/unit_tests"), f"--gtest_filter={breakage.suite}", "--gtest_brief=1"])
        pytest = ["/usr/bin/python3", "-B", "-m", "pytest", "-q", "-x", "-p", "no:cacheprovider"]
        environment = os.environ | {"CVTOSS32_PROGRAM": str(self.build / "cvtoss32"), "CVTOSS_CAMPAIGN": ""}
        return quiet([*pytest, str(self.source / "tests/campaign" / breakage.suite)], env=environment)


def quiet(command: list[str], **options) -> int:
    try:
        done = subprocess.run(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
            timeout=SECONDS_FOR_A_SUITE * 4 if command[0] == "cmake" else SECONDS_FOR_A_SUITE, **options,
        )
    except subprocess.TimeoutExpired:
        return 124
    if done.returncode != 0 and command[0] == "cmake":
        sys.stderr.buffer.write(done.stdout)
    return done.returncode


def unbroken(workshop: Workshop, breakages: list[Breakage]) -> bool:
    """Whether each suite passes on the unbroken program."""
    workshop.restore()
    if not workshop.make(any(breakage.is_unit() for breakage in breakages)):
        print("the program does not build")
        return False
    good = True
    for breakage in {breakage.suite: breakage for breakage in breakages}.values():
        if workshop.run(breakage) != 0:
            print(f"{breakage.suite} fails on the unbroken program")
            good = False
    return good


def verdict(workshop: Workshop, breakage: Breakage) -> str:
    workshop.restore()
    if not workshop.apply(breakage.name):
        return "PATCH DOES NOT APPLY"
    if not workshop.make(breakage.is_unit()):
        return "DOES NOT BUILD"
    return "caught" if workshop.run(breakage) == FAILED else "NOT CAUGHT"


def main() -> int:
    workshop = Workshop(Path(sys.argv[1]).resolve())
    wanted = [breakage for breakage in BREAKAGES if not sys.argv[2:] or breakage.name in sys.argv[2:]]
    listed = {breakage.name for breakage in BREAKAGES}
    assert {path.stem for path in PATCHES.glob("*.patch")} == listed, "patches and table differ"
    if not wanted or not unbroken(workshop, wanted):
        return 1
    rows, caught = [], 0
    for breakage in wanted:
        start = time.monotonic()
        found = verdict(workshop, breakage)
        caught += found == "caught"
        suite = f"unit tests {breakage.suite}" if breakage.is_unit() else f"tests/campaign/{breakage.suite}"
        rows.append(f"| {breakage.what} | `{suite}` | {found} |")
        print(f"{found:<12} {breakage.name:<30} {suite}  ({time.monotonic() - start:.0f} s)", flush=True)
    workshop.restore()
    table = ["| the breakage | the suite that has to notice | noticed |", "|---|---|---|", *rows]
    (workshop.source.parent / "breakages.md").write_text("\n".join(table) + "\n", encoding="utf-8")
    print(f"{caught} of {len(wanted)} breakages caught")
    return 0 if caught == len(wanted) else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Runs the fuzz targets of a build.

    run_targets.py replay PROGRAMS [--runner COMMAND] [--xml FILE] [TARGET...]
        each target once over each of its seeds, and over every damage of those called whole*
    run_targets.py fuzz PROGRAMS --seconds N --findings DIRECTORY [--afresh] [--xml FILE] [TARGET...]
        each target for N seconds, as many at a time as there are processors; the inputs of a finding and the corpus
        that has grown stay in DIRECTORY/TARGET/; afresh: a corpus that has grown is neither used nor kept

Ends with a line for each target, and with status 1 when one has found something.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from xml.sax.saxutils import escape, quoteattr

CORPUS = pathlib.Path(__file__).resolve().parent / "corpus"
MEMORY_MB = 2048
SECONDS_FOR_ONE_INPUT = 20
SECONDS_TO_REPLAY = 120


@dataclass
class Outcome:
    """The result of one target."""

    target: str
    summary: str
    trouble: str = ""
    """The end of the program's output if it found something."""
    replayed: int = 0


def programs_in(directory: pathlib.Path) -> dict[str, pathlib.Path]:
    """The program of each target."""
    return {path.stem.removeprefix("fuzz_"): path for path in sorted(directory.glob("fuzz_*"))
            if path.is_file() and path.suffix in ("", ".exe") and os.access(path, os.X_OK)}


def run(command: list, seconds: float) -> tuple[int, str]:
    """Exit status and output; a program that does not end in time has failed."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                              timeout=seconds, check=False)
    except subprocess.TimeoutExpired as late:
        return 124, (late.stdout or b"").decode("utf-8", "replace") + f"\ndid not end within {seconds:.0f} s\n"
    return done.returncode, done.stdout.decode("utf-8", "replace")


def end_of(output: str) -> str:
    """The last lines, printable."""
    lines = [line for line in output.splitlines() if not line.startswith(("#", '"'))]
    return re.sub(r"[^\n -~]", "?", "\n".join(lines[-40:]))


def replay(command: list, target: str) -> Outcome:
    """Runs a target over its seeds."""
    seeds = sorted((CORPUS / target).glob("*.seed"))
    if not seeds:
        return Outcome(target, "has no seeds", f"{CORPUS / target} holds no *.seed")
    status, output = run([*command, "--replay", *seeds], SECONDS_TO_REPLAY)
    ran = output.count("Running: ")
    damages = len(re.findall(r"(?m)^  (?:cut at|bit \d of byte) \d+\r?$", output))
    points = ran + damages
    if status == 0 and ran == len(seeds) and damages == sum(9 * path.stat().st_size for path in seeds
                                                            if path.name.startswith("whole")):
        return Outcome(target, f"{ran} seeds, {damages} damaged", replayed=points)
    trouble = f"status {status}\n{end_of(output)}"
    return Outcome(target, f"failed at seed {ran} of {len(seeds)}", trouble, replayed=points)


def fuzz(command: list, target: str, seconds: int, kept: pathlib.Path, grown: pathlib.Path) -> Outcome:
    """Lets a target look for new inputs."""
    for directory in (kept, grown):
        directory.mkdir(parents=True, exist_ok=True)
    before = set(kept.iterdir())
    options = [f"-max_total_time={seconds}", f"-timeout={SECONDS_FOR_ONE_INPUT}", f"-rss_limit_mb={MEMORY_MB}",
               f"-artifact_prefix={kept}/", "-print_final_stats=1"]
    status, output = run([*command, *options, grown, CORPUS / target], seconds + 60)
    stats = dict(re.findall(r"stat::(\w+):\s+(\d+)", output))
    found = sorted(path.name for path in set(kept.iterdir()) - before)
    runs, a_second = (stats.get(name, "0") for name in ("number_of_executed_units", "average_exec_per_sec"))
    summary = f"{runs:>10} runs {a_second:>8} exec/s {len(found):>3} findings"
    if status == 0 and not found:
        return Outcome(target, summary)
    return Outcome(target, summary, f"status {status}, kept in {kept}: {' '.join(found)}\n{end_of(output)}")


def write_xml(path: pathlib.Path, outcomes: list[Outcome]) -> None:
    xml = ["<testsuite name='fuzz'>"]
    for outcome in outcomes:
        points = f" fault_points='{outcome.replayed}'" if outcome.replayed else ""
        xml.append(f"<testcase name={quoteattr(outcome.target)}{points}>")
        if outcome.trouble:
            xml.append(f"<failure message={quoteattr(outcome.summary)}>{escape(outcome.trouble)}</failure>")
        xml.append("</testcase>")
    path.write_text("\n".join([*xml, "</testsuite>\n"]), encoding="utf-8")


def main() -> int:
    parser = argparse.ArgumentParser(description="Runs the fuzz targets of a build.")
    parser.add_argument("mode", choices=("replay", "fuzz"))
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("target", nargs="*")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--findings", type=pathlib.Path, default=pathlib.Path("build/fuzz"))
    parser.add_argument("--afresh", action="store_true")
    parser.add_argument("--runner")
    parser.add_argument("--xml", type=pathlib.Path)
    given = parser.parse_intermixed_args()

    there = programs_in(given.programs)
    unknown = [target for target in given.target if target not in there]
    if unknown or not there:
        print(f"no target {' '.join(unknown)} in {given.programs}; there are: {' '.join(there)}", file=sys.stderr)
        return 2
    at_a_time = len(os.sched_getaffinity(0))
    with tempfile.TemporaryDirectory() as passing, concurrent.futures.ThreadPoolExecutor(at_a_time) as pool:

        def play(target: str) -> Outcome:
            command = [*(given.runner or "").split(), there[target]]
            if given.mode == "replay":
                return replay(command, target)
            kept = given.findings / target
            grown = pathlib.Path(passing) / target if given.afresh else kept / "corpus"
            return fuzz(command, target, given.seconds, kept, grown)

        outcomes = list(pool.map(play, given.target or there))
    for outcome in outcomes:
        if outcome.trouble:
            print(f"--- {outcome.target}: {outcome.trouble}")
    for outcome in outcomes:
        print(f"{outcome.target:<18} {outcome.summary}")
    if given.xml:
        write_xml(given.xml, outcomes)
    return 1 if any(outcome.trouble for outcome in outcomes) else 0


if __name__ == "__main__":
    sys.exit(main())

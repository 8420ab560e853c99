#!/usr/bin/env python3
"""Measures `cvkit verify` and `cvkit packet`: kit_time.py DIRECTORY-OF-THE-PROGRAMS (with PYTHONPATH=tests)

verify: 100 conferences of 5,000 messages of 1.2 kB, against reading their files. packet: a bundle of 2 MB for 100
conferences of 500 messages. The files are in the cache. Times are by the processor, the best of some runs; memory is
the largest resident set.
"""

import os
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

from bench_site import DAT_SIZE, Site, headers, sig_lines
from workload import Workload, make_mail

CONFERENCES, RECORDS = 100, 10  # records of 127 bytes of text
VERIFIED, FORECAST = 5000, 500  # messages of a conference
MAIL = Workload(messages=1550, conferences=CONFERENCES, held=FORECAST, size=1200, deflated=False, bundles=1)
MOST_TIMES, MOST_SECONDS = 3, 0.5
RUNS = 5


@dataclass
class Best:
    seconds: float  # of the processor
    memory: int  # bytes
    output: bytes


def best(command: list[str], cwd: Path) -> Best:
    """The fastest run, and the most memory of any."""
    runs = []
    for _ in range(RUNS):
        with subprocess.Popen(command, cwd=cwd, stdout=subprocess.PIPE) as process:
            output = process.stdout.read()
            _, status, used = os.wait4(process.pid, 0)
            took = used.ru_utime + used.ru_stime
            process.returncode = os.waitstatus_to_exitcode(status)
        assert process.returncode == 0, output.decode("latin-1")
        runs.append(Best(took, used.ru_maxrss * 1024, output))
    return Best(min(run.seconds for run in runs), max(run.memory for run in runs), runs[0].output)


def made(root: Path, programs: Path, messages: int) -> Site:
    """A site whose conferences hold so many messages, with their texts."""
    site = Site(root, programs / "cvtoss32", CONFERENCES)
    text = (b"\x7f" + b"x" * (DAT_SIZE - 1)) * (messages * RECORDS)
    for conference in range(1, CONFERENCES + 1):
        site.hold(conference, headers(conference, messages, RECORDS), 0, sig_lines(conference, messages))
        site.file(conference, "DAT").write_bytes(text)
    return site


def verdict(met: bool) -> str:
    return "met" if met else "MISSED"


def measure_verify(root: Path, programs: Path) -> None:
    site = made(root, programs, VERIFIED)
    read = best(["sh", "-c", "cat msgs/* >/dev/null"], site.root)
    took = best([str(programs / "cvkit"), "verify"], site.root)
    assert took.output == b"The message base is sound.\n", took.output
    bound = site.largest("DAT") + site.largest("DAT") // DAT_SIZE + 2 * site.largest("PTR") + 2 * site.largest("SIG")
    times = took.seconds / read.seconds
    print(f"verify {took.seconds:.2f} s, reading the files {read.seconds:.2f} s: {times:.1f} times, "
          f"{verdict(times <= MOST_TIMES)} (at most {MOST_TIMES}); {took.memory / 1e6:.1f} MB, of which the files of a "
          f"conference explain {bound / 1e6:.1f} MB")
    site.remove()


def measure_packet(root: Path, programs: Path) -> None:
    site = made(root, programs, FORECAST)
    (data,) = make_mail(MAIL).bundles
    bundle = site.inbound / "00000000.mo0"
    bundle.write_bytes(data)
    took = best([str(programs / "cvkit"), "packet", str(bundle)], site.root)
    print(f"packet {took.seconds:.2f} s for a bundle of {len(data) / 1e6:.1f} MB, "
          f"{verdict(took.seconds < MOST_SECONDS)} (less than {MOST_SECONDS} s); {took.memory / 1e6:.1f} MB")
    site.remove()


def main() -> None:
    programs = Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as directory:
        measure_verify(Path(directory) / "site", programs)
        measure_packet(Path(directory) / "site", programs)


if __name__ == "__main__":
    main()

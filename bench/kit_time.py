#!/usr/bin/env python3
"""Measures `cvkit verify` and `cvkit packet`: kit_time.py BUILD (of the preset "bench", with PYTHONPATH=tests)

verify: 100 conferences of 5,000 messages of 1.2 kB, against reading their files. packet: a bundle of 2 MB for 100
conferences of 500 messages. The files are in the cache. Times are by the processor, the best of some runs; memory is
the largest resident set.
"""

import os
import sys
import tempfile
from pathlib import Path

from bench_site import DAT_SIZE, Site, headers, sig_lines
from measuring import Measure, Run
from workload import Workload, make_mail

CONFERENCES, RECORDS = 100, 10  # records of 127 bytes of text
VERIFIED, FORECAST = 5000, 500  # messages of a conference
MAIL = Workload(messages=1550, conferences=CONFERENCES, held=FORECAST, size=1200, deflated=False, bundles=1)
MOST_TIMES, MOST_SECONDS = 3, 0.5
RUNS = 5


def best(build: Path, command: list[str]) -> Run:
    measure = Measure(build / "bench" / "measure")
    return min((measure.run(command) for _ in range(RUNS)), key=lambda run: run.processor)


def made(root: Path, build: Path, messages: int) -> Site:
    """A site whose conferences hold so many messages, with their texts."""
    site = Site(root, build / "cvtoss32", CONFERENCES)
    text = (b"\x7f" + b"x" * (DAT_SIZE - 1)) * (messages * RECORDS)
    for conference in range(1, CONFERENCES + 1):
        site.hold(conference, headers(conference, messages, RECORDS), 0, sig_lines(conference, messages))
        site.file(conference, "DAT").write_bytes(text)
    return site


def verdict(met: bool) -> str:
    return "met" if met else "MISSED"


def measure_verify(root: Path, build: Path) -> None:
    site = made(root, build, VERIFIED)
    os.chdir(site.root)
    files = [str(path) for path in sorted(site.file(1, "DAT").parent.iterdir())]
    read = best(build, [str(build / "bench" / "read_files"), "1", *files])
    took = best(build, [str(build / "cvkit"), "verify"])
    bound = site.largest("DAT") + 2 * site.largest("PTR") + 2 * site.largest("SIG")
    times = took.processor / read.processor
    print(f"verify {took.processor:.2f} s, reading the files {read.processor:.2f} s: {times:.1f} times, "
          f"{verdict(times <= MOST_TIMES)} (at most {MOST_TIMES}); {took.memory / 1e6:.1f} MB, of which the files of a "
          f"conference explain {bound / 1e6:.1f} MB")
    site.remove()


def measure_packet(root: Path, build: Path) -> None:
    site = made(root, build, FORECAST)
    os.chdir(site.root)
    (data,) = make_mail(MAIL).bundles
    bundle = site.inbound / "00000000.mo0"
    bundle.write_bytes(data)
    took = best(build, [str(build / "cvkit"), "packet", str(bundle)])
    print(f"packet {took.processor:.2f} s for a bundle of {len(data) / 1e6:.1f} MB, "
          f"{verdict(took.processor < MOST_SECONDS)} (less than {MOST_SECONDS} s); {took.memory / 1e6:.1f} MB")
    os.chdir("/")
    site.remove()


def main() -> None:
    build = Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as directory:
        measure_verify(Path(directory) / "site", build)
        measure_packet(Path(directory) / "site", build)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Measures `cvkit verify` and `cvkit packet`: kit_time.py BUILD (of the preset "bench", with PYTHONPATH=tests)

verify: 100 conferences of 5,000 messages of 1.2 kB, against reading their files. packet: a bundle of 2 MB for 100
conferences of 500 messages, and 20 of them. The files are in the cache. Times are by the processor, the best of some
runs; memory is the largest resident set, less that of `cvkit --version`.
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
MANY = 20  # bundles
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


def judged_memory(run: Run, build: Path, bound: int, what: str) -> str:
    """The memory for the work itself, which may be no more than `bound` bytes."""
    taken = run.memory - best(build, [str(build / "cvkit"), "--version"]).memory
    return f"{taken / 1e6:.1f} MB of memory, {verdict(taken <= bound)} ({what}: {bound / 1e6:.1f} MB)"


def measure_verify(root: Path, build: Path) -> None:
    site = made(root, build, VERIFIED)
    os.chdir(site.root)
    files = [str(path) for path in sorted(site.file(1, "DAT").parent.iterdir())]
    read = best(build, [str(build / "bench" / "read_files"), "1", *files])
    took = best(build, [str(build / "cvkit"), "verify"])
    times = took.processor / read.processor
    bound = site.largest("DAT") + site.largest("PTR") + site.largest("SIG")
    print(f"verify {took.processor:.2f} s, reading the files {read.processor:.2f} s: {times:.2f} times, "
          f"{verdict(times <= MOST_TIMES)} (at most {MOST_TIMES}); "
          + judged_memory(took, build, bound, "the files of a conference"))
    site.remove()


def measure_packet(root: Path, build: Path) -> None:
    site = made(root, build, FORECAST)
    os.chdir(site.root)
    (data,) = make_mail(MAIL).bundles
    bundles = [site.inbound / f"{number:08x}.mo0" for number in range(MANY)]
    for bundle in bundles:
        bundle.write_bytes(data)
    headers_and_lines = CONFERENCES * site.largest("SIG") + site.largest("PTR")
    for names in (bundles[:1], bundles):
        took = best(build, [str(build / "cvkit"), "packet", "--json", *map(str, names)])
        seconds = took.processor / len(names)
        print(f"packet {seconds:.2f} s for each of {len(names)} bundles of {len(data) / 1e6:.1f} MB, "
              f"{verdict(seconds < MOST_SECONDS)} (less than {MOST_SECONDS} s); "
              + judged_memory(took, build, 4 * len(data) + headers_and_lines, "four times a bundle, and SIG lines"))
    os.chdir("/")
    site.remove()


def main() -> None:
    build = Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as directory:
        measure_verify(Path(directory) / "site", build)
        measure_packet(Path(directory) / "site", build)


if __name__ == "__main__":
    main()

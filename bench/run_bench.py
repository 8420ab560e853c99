#!/usr/bin/env python3
"""Measures whole runs of the program against the file work that they cannot do without.

    run_bench.py BUILD_DIRECTORY full|quick

docs/benchmarks.md says what each figure means.
"""

import os
import sys
from dataclasses import replace
from pathlib import Path

from bench_site import ScanSite, TossSite
from measuring import Measure, Pairs, Run, count_calls, run_pairs
from workload import Workload, make_mail

MOST_CALLS = 34  # system calls a stored message
MOST_RATIO = 1.5  # to the bare loop, for TARGET
MOST_SCAN_RATIO = 1.2  # to the bare scan
TARGET = Workload(10_000, 100, size=1200)
MIXED = [Workload(messages, conferences, held) for messages in (1_000, 10_000) for conferences in (10, 100)
         for held in (0, 5_000)]
SLACK = 512 * 1024  # of memory: the piece that PTR files are read through, the text of one message


def verdict(met: bool) -> str:
    return "met" if met else "MISSED"


class Bench:
    def __init__(self, build: Path, quick: bool):
        self.program, self.tools, self.quick = build / "cvtoss32", build / "bench", quick
        self.measure = Measure(self.tools / "measure")
        self.work = build / "work"
        self.no_waits = str(self.tools / "libno_waits.so")
        self.verdicts: list[str] = []

    def claim(self, text: str, met: bool) -> None:
        self.verdicts.append(f"{verdict(met):8}{text}")

    def toss(self, site: TossSite, waits: bool = True) -> Run:
        """A toss that finds nothing to be written by others."""
        site.restore()
        os.sync()
        run = self.measure.run(site.toss_command(), preload="" if waits else self.no_waits)
        site.check()
        return run

    def bare(self, site: TossSite) -> Run:
        site.restore()
        run = self.measure.run(site.bare_command(self.tools / "bare_loop"))
        site.check()
        return run

    def show_pairs(self, pairs: Pairs) -> None:
        wall, processor = pairs.ratios(), pairs.ratios("processor")
        print(f"  elapsed   {pairs.ratio():.2f} (of {len(wall)} pairs: {wall[0]:.2f} to {wall[-1]:.2f}; "
              f"fastest to fastest {pairs.best():.2f})")
        print(f"  processor {pairs.ratio('processor'):.2f} ({processor[0]:.2f} to {processor[-1]:.2f}; "
              f"{pairs.best('processor'):.2f})")

    def show_calls(self, calls: dict[str, int], messages: int, top: int = 14) -> float:
        total = sum(calls.values())
        shown = sorted(calls.items(), key=lambda item: -item[1])[:top]
        print(f"  system calls a message {total / messages:.2f}")
        for start in range(0, len(shown), 5):
            print("   " + "".join(f" {name} {count / messages:.2f} " for name, count in shown[start : start + 5]))
        return total / messages

    def toss_times(self) -> None:
        print("\nTOSS without its waits for the disk, against the bare loop, which has none\n")
        for workload in [TARGET] if self.quick else [TARGET, replace(TARGET, deflated=False), *MIXED]:
            site = TossSite(self.work, self.program, workload, make_mail(workload))
            long_run = workload.messages * workload.held > 10_000_000
            count = 9 if self.quick or long_run else 15
            print(workload.name, flush=True)
            pairs = run_pairs(count, lambda s=site: self.toss(s, waits=False), lambda s=site: self.bare(s))
            self.show_pairs(pairs)
            if workload is TARGET:
                ratio = pairs.ratio("processor")
                self.claim(f"{workload.name}: {ratio:.2f} times the bare loop (at most {MOST_RATIO})",
                           ratio <= MOST_RATIO)
            site.remove()

    def disk_waits(self) -> None:
        print("\nTOSS on the disk of the build directory, against the same program without its waits for the disk\n")
        spreads = [(10, 10, 1), (1_000, 10, 1), (1_000, 100, 1), (10_000, 100, 20)]
        if not self.quick:
            spreads += [(10, 100, 1), (10, 10, 10), (1_000, 10, 20), (1_000, 100, 20), (10_000, 10, 1),
                        (10_000, 100, 1), (10_000, 10, 20)]
        for messages, conferences, bundles in spreads:
            workload = Workload(messages, conferences, bundles=bundles)
            site = TossSite(self.work, self.program, workload, make_mail(workload))
            print(workload.name, flush=True)
            pairs = run_pairs(7, lambda s=site: self.toss(s), lambda s=site: self.toss(s, waits=False))
            self.show_pairs(pairs)
            if (messages, bundles) in ((1_000, 1), (10_000, 20)):
                self.claim(f"{workload.name}: {pairs.ratio():.2f} times the run without waits (at most {MOST_RATIO})",
                           pairs.ratio() <= MOST_RATIO)
            site.remove()

    def toss_calls(self) -> None:
        print("\nTOSS, system calls (strace -f -c)\n")
        most = 0.0
        for workload in [w for w in MIXED if w.messages == 1_000][: 1 if self.quick else None]:
            site = TossSite(self.work, self.program, workload, make_mail(workload))
            site.restore()
            print(workload.name, flush=True)
            calls = count_calls(site.toss_command(), self.work / "calls")
            site.check()
            most = max(most, self.show_calls(calls, workload.messages))
            site.restore()
            bare = count_calls(site.bare_command(self.tools / "bare_loop"), self.work / "calls")
            print(f"  the bare loop          {sum(bare.values()) / workload.messages:.2f}")
            site.remove()
        self.claim(f"{most:.2f} system calls a stored message (at most {MOST_CALLS})", most <= MOST_CALLS)

    def toss_memory(self) -> None:
        print("\nTOSS, memory (largest resident set)\n")
        worst = -float("inf")
        for workload in self.memory_cases():
            mail = make_mail(workload)
            site = TossSite(self.work, self.program, workload, mail)
            arrived = max(len(content) for content in mail.bundles)
            run = self.toss(site)
            parts = [arrived, mail.largest_entry, site.largest("PTR"), site.largest("SIG")]
            for path in list(site.arrivals.iterdir()):
                path.unlink()
            site.restore()
            idle = self.measure.run(site.toss_command())
            grown = run.memory - idle.memory
            worst = max(worst, grown - sum(parts))
            shown = " + ".join(f"{part / 1024:,.0f}" for part in parts)
            print(f"{workload.name}\n  {grown / 1024:,.0f} kB more than a run without mail; file + entry + PTR + SIG "
                  f"= {shown} = {sum(parts) / 1024:,.0f} kB; ratio {grown / sum(parts):.2f}", flush=True)
            site.remove()
        self.claim(f"memory beyond file, entry, PTR and SIG: {max(worst, 0) / 1024:,.0f} kB "
                   f"(at most {SLACK // 1024} kB whatever the load)", worst <= SLACK)

    def memory_cases(self) -> list[Workload]:
        many = Workload(10_000, 100, 5_000)
        few = Workload(1_000, 10, 5_000)
        large = Workload(400, 10, size=50_000, packet_size=10_000_000)
        return [few] if self.quick else [few, many, large, replace(large, deflated=False)]

    def scan_times(self) -> None:
        conferences = 30 if self.quick else 100
        print(f"\nSCAN of {conferences} conferences of 10,000 sent messages and one unsent each\n", flush=True)
        site = ScanSite(self.work, self.program, conferences, 10_000, [7_321], replies=False)

        def scan() -> Run:
            return self.scan(site, site.scan_command())

        for passes, words in ((2, "read twice, as the run does (preflight, then scan)"), (1, "read once")):
            command = site.read_command(self.tools / "read_files", passes)
            pairs = run_pairs(5 if self.quick else 11, scan, lambda c=command: self.measure.run(c))
            print(f"against the same files {words}")
            self.show_pairs(pairs)
            if passes == 2:
                ratio = pairs.ratio("processor")
                self.claim(f"scan: {ratio:.2f} times the reading of the files (at most {MOST_RATIO})",
                           ratio <= MOST_RATIO)
            if self.quick:
                break
        site.remove()

    def scan(self, site: ScanSite, command: list[str]) -> Run:
        """A scan, or its yardstick, while nothing else is to be written to the disk."""
        site.restore()
        os.sync()
        run = self.measure.run(command)
        site.check()
        return run

    def scan_exports(self) -> None:
        conferences, each = 10, 100 if self.quick else 1_000
        messages = conferences * each
        print(f"\nSCAN of {messages:,} unsent messages in {conferences} conferences\n", flush=True)
        for replies in (False, True):
            site = ScanSite(self.work, self.program, conferences, 1_000, list(range(1_000, 1_000 + each)), replies)
            print("three in five are replies" if replies else "none is a reply")
            bare = site.bare_command(self.tools / "bare_scan")
            if not replies:
                pairs = run_pairs(9, lambda s=site: self.scan(s, s.scan_command()), lambda s=site: self.scan(s, bare))
                print("  against the bare scan, both with their waits for the disk")
                self.show_pairs(pairs)
                ratio = pairs.ratio("processor")
                self.claim(f"scan of {messages:,} unsent messages: {ratio:.2f} times the bare scan "
                           f"(at most {MOST_SCAN_RATIO})", ratio <= MOST_SCAN_RATIO)
            site.restore()
            self.show_calls(count_calls(site.scan_command(), self.work / "calls"), messages)
            site.check()
            site.restore()
            print(f"  the bare scan          {sum(count_calls(bare, self.work / 'calls').values()) / messages:.2f}")
            site.remove()

    def run(self) -> None:
        self.toss_times()
        self.disk_waits()
        self.toss_calls()
        self.toss_memory()
        self.scan_times()
        self.scan_exports()
        print("\nTARGETS\n")
        for line in self.verdicts:
            print(line)


def main() -> int:
    if len(sys.argv) != 3 or sys.argv[2] not in ("full", "quick"):
        print(__doc__, file=sys.stderr)
        return 2
    Bench(Path(sys.argv[1]).resolve(), sys.argv[2] == "quick").run()
    return 0


if __name__ == "__main__":
    sys.exit(main())

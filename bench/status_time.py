"""How long `cvkit status` takes: status_time.py DIRECTORY-OF-THE-PROGRAMS (with PYTHONPATH=tests)

A site of 100 conferences of 500 messages and a log of 10 MB, whose last scan lies at its beginning. The best of 20.
"""

import subprocess
import sys
import tempfile
import time
from pathlib import Path

from bench_site import Site, headers, sig_lines

CONFERENCES, MESSAGES, RECORDS, LOG_SIZE, CALLS = 100, 500, 8, 10 << 20, 20
MOST = 0.3  # seconds


def log_text() -> str:
    stamp = time.strftime("[%Y-%m-%d %H:%M:%S] ")
    banner = "=== cvtoss32 v1.05 Beta 5 -{} run starting ===\n" + stamp + "Loaded 100 conference(s) from CVMCONF.DAT\n"
    end = "=== cvtoss32 -{} run complete: {} ===\n"
    scan = stamp + banner.format("scan") + stamp + end.format("scan", "0 message(s) exported")
    line = stamp + "  -> wrote conf 7 msg #1234  From='Ann Sender' To='All' Subj='Greetings' (8 records)\n"
    toss = stamp + banner.format("toss") + line * 1000 + stamp + end.format("toss", "5 file(s) processed")
    return scan + toss * (LOG_SIZE // len(toss) + 1)


def seconds(command: list[str], cwd: Path) -> float:
    begun = time.perf_counter()
    done = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, text=True, check=False)
    assert done.stdout.startswith("OK "), done.stdout
    return time.perf_counter() - begun


def main() -> None:
    programs = Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as directory:
        site = Site(Path(directory) / "site", programs / "cvtoss32", CONFERENCES)
        for conference in range(1, CONFERENCES + 1):
            site.hold(conference, headers(conference, MESSAGES, RECORDS), MESSAGES * RECORDS,
                      sig_lines(conference, MESSAGES))
        site.log.write_text(log_text())
        times = [seconds([str(programs / "cvkit"), "status"], site.root) for _ in range(CALLS)]
        best = min(times)
        print(f"cvkit status: {best:.3f} s (best of {CALLS}), {'met' if best <= MOST else 'MISSED'} (at most {MOST})")


if __name__ == "__main__":
    main()

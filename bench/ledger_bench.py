#!/usr/bin/env python3
"""Measures "cvkit ledger" over a year: 10,000 processed bundles and a log of 200 MB.

    ledger_bench.py CVKIT DIRECTORY      (with PYTHONPATH=tests)

The yardstick is "unzip -p" of the same bundles and one reading of the log; both are taken by the processor, so that
what else the machine does matters little. DIRECTORY is made, and left for a second look.
"""

import random
import resource
import subprocess
import sys
from datetime import datetime, timedelta
from pathlib import Path

from formats.conference_table import conference_file, echo
from formats.message_base import PtrRecord
from formats.packet import Packet, echomail
from formats.zip_bundle import DEFLATED, Entry, bundle

FILES, MESSAGES, CONFERENCES = 10_000, 20, 100
LOG_SIZE = 200_000_000
MOST = 5  # times the yardstick
WORDS = [word.strip() for word in "the a mail of and BBS node hub packet to is in that it was for on are as".split()]


def text(chance: random.Random) -> str:
    return " ".join(chance.choices(WORDS, k=14)) + f" {chance.random()}"


class Year:
    """A site with a year behind it."""

    def __init__(self, root: Path):
        self.root = root
        self.processed = root / "IN" / "processed"
        self.log = root / "TOSSER.LOG"
        for name in ("IN/processed", "CONF/WORK", "MSG", "OUT"):
            (root / name).mkdir(parents=True)
        (root / "CVTOSS32.CFG").write_text("INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\n")
        conferences = [echo(f"AREA{number}") for number in range(1, CONFERENCES + 1)]
        (root / "CONF/CVMCONF.DAT").write_bytes(conference_file(conferences))
        self.chance = random.Random(3)
        self.ptr = [bytearray() for _ in conferences]
        self.sig = [bytearray() for _ in conferences]
        self.stored = [0] * CONFERENCES
        self.serial = 0

    def message(self, lines: list[str]):
        self.serial += 1
        at = self.chance.randrange(CONFERENCES)
        self.stored[at] += 1
        number = self.stored[at]
        msgid = f"2:250/1 {self.serial:08x}"
        made = echomail(f"AREA{at + 1}", *[text(self.chance) for _ in range(8)], msgid=msgid)
        self.ptr[at] += PtrRecord(conference=at + 1, number=number, thread=number, origin="22/11").pack()
        self.sig[at] += f"{msgid}\t{number}\n".encode()
        lines.append(f"  -> wrote conf {at + 1} msg #{number}  From='Ann Sender' To='All' Subj='Greetings' (6 records)")
        return made

    def toss(self, name: str, lines: list[str]) -> None:
        own: list[str] = []
        packet = Packet([self.message(own) for _ in range(MESSAGES)]).pack()
        entry = Entry("1.pkt", packet, DEFLATED)
        data = bundle(entry, after=b"")
        (self.processed / name).write_bytes(with_directory(entry, data))
        lines += [f"Found: {name}", entry.log_line(),
                  "  packet: orig 3:250/1.5 -> dest 4:251/2.6  (month field is 0-based; 2025-01-05)", *own,
                  f"  {MESSAGES} message(s) parsed from this packet", f"  moved to IN/processed/{name}"]

    def make(self) -> None:
        start = datetime(2025, 11, 1)
        filler = [f"  conf {n}: 'Conference'  AREA=AREA{n}  route=yes  netmail=no  public-only=no"
                  for n in range(1, 60)]
        with open(self.log, "w", encoding="ascii") as log:
            for index in range(FILES):
                lines = ["=== cvtoss32 v1.05 Beta 5 -toss run starting ===",
                         f"Loaded {CONFERENCES} conference(s) from CVMCONF.DAT"]
                self.toss(f"{index:08x}.su0", lines)
                lines.append("=== cvtoss32 -toss run complete: 1 file(s) processed ===")
                stamp = f"[{start + timedelta(minutes=50 * index):%Y-%m-%d %H:%M:%S}] "
                while sum(map(len, lines)) + len(lines) * 23 < LOG_SIZE // FILES:
                    lines += filler
                log.write("".join(f"{stamp}{line}\n" for line in lines))
        for at in range(CONFERENCES):
            (self.root / f"MSG/CVMSG{at + 1:02d}.PTR").write_bytes(self.ptr[at])
            (self.root / f"MSG/CVMSG{at + 1:02d}.SIG").write_bytes(self.sig[at])


def with_directory(entry: Entry, local: bytes) -> bytes:
    """What unzip needs behind the one entry."""
    head = b"PK\x01\x02\x14\0" + local[4:30] + bytes(14) + entry.name.encode()
    return local + head + b"PK\x05\x06" + bytes(4) + b"\1\0\1\0" + len(head).to_bytes(4, "little") + len(
        local).to_bytes(4, "little") + bytes(2)


def processor(command: list[str], root: Path) -> tuple[float, str]:
    """Seconds of the processor that a command takes, and what it prints at its end."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    output = subprocess.run(command, cwd=root, stdout=subprocess.PIPE, check=False).stdout[-200:].decode("latin-1")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, output


def main() -> None:
    kit, root = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    if not root.exists():
        Year(root).make()
    unpacked, _ = processor(["sh", "-c", "unzip -p 'IN/processed/*.su0' >/dev/null"], root)
    read, _ = processor(["sh", "-c", "cat TOSSER.LOG >/dev/null"], root)
    took, output = processor([str(kit), "ledger", "--sum"], root)
    assert f"stored {FILES * MESSAGES:,} " in output and "unaccounted 0" in output, output
    ratio = took / (unpacked + read)
    print(f"ledger {took:.1f} s, unzip -p {unpacked:.1f} s, one reading of the log {read:.2f} s: "
          f"{ratio:.2f} times, {'met' if ratio <= MOST else 'MISSED'} (at most {MOST})")


if __name__ == "__main__":
    main()

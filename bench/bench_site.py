"""A site to measure on: it can be restored after every run without copying its message base."""

import os
import shutil
import struct
from array import array
from pathlib import Path

from formats.conference_table import conference_file, echo
from formats.message_base import DAT_SIZE, IDX_SIZE, PTR_SIZE, PtrRecord, idx_record
from formats.node_status import Node, node_file
from workload import Mail, Workload, area_tag, msgid_of

HELD_RECORDS = 8  # DAT records of each held message: 5,000 of them leave room for what is tossed
KINDS = ("PTR", "IDX", "DAT", "SIG")


def spread(width: int, values: list[int]) -> list[bytes]:
    """Little-endian numbers as planes: all lowest bytes, then all second ones, and so on."""
    return [bytes(value >> 8 * place & 255 for value in values) for place in range(width)]


def fill(records: bytearray, size: int, at: int, width: int, values: list[int]) -> None:
    """Sets a field of every record of a file."""
    for place, plane in enumerate(spread(width, values)):
        records[at + place :: size] = plane


def headers(conference: int, count: int, records: int) -> bytearray:
    """A PTR file of `count` sent messages of `records` DAT records each."""
    ptr = bytearray(PtrRecord(conference=conference, records=records, origin="250/10").pack() * count)
    numbers = list(range(1, count + 1))
    fill(ptr, PTR_SIZE, 160, 2, [(number - 1) * records for number in numbers])
    fill(ptr, PTR_SIZE, 166, 4, numbers)
    fill(ptr, PTR_SIZE, 170, 4, numbers)
    return ptr


def index(ptr: bytearray) -> bytearray:
    """The IDX file that goes with headers of one sender and one recipient."""
    count = len(ptr) // PTR_SIZE
    idx = bytearray(idx_record("Ann Sender", "All", 1, 1) * count)
    for place in range(4):
        idx[8 + place :: IDX_SIZE] = ptr[166 + place :: PTR_SIZE]
        idx[12 + place :: IDX_SIZE] = ptr[170 + place :: PTR_SIZE]
    return idx


def sig_lines(conference: int, count: int) -> bytes:
    return "".join(f"{msgid_of(conference, n)}\t{n}\n" for n in range(1, count + 1)).encode()


class Site:
    """Directories, configuration, conference table and an idle node, with the program beside its log."""

    def __init__(self, root: Path, program: Path, conferences: int):
        self.root, self.conferences = root, conferences
        shutil.rmtree(root, ignore_errors=True)
        self.msgs, self.inbound, self.out = root / "msgs", root / "inbound", root / "outbound"
        self.processed, self.arrivals = root / "processed", root / "arrivals"
        for folder in (self.msgs, self.inbound, self.out, self.processed, self.arrivals, root / "work"):
            folder.mkdir(parents=True)
        self.program = root / program.name
        shutil.copy2(program, self.program)
        settings = {"INBOUND": self.inbound, "CONFDIR": root, "WORKDIR": root / "work", "MSGDIR": self.msgs,
                    "OUTDIR": self.out, "PROCESSEDDIR": self.processed, "ADDRESS": "2:999/42", "HUB": "2:999/1",
                    "SYSTEM": "Bench"}
        self.log = root / "TOSSER.LOG"
        self.config = root / "CVTOSS32.CFG"
        self.config.write_text("".join(f"{keyword} {value}\n" for keyword, value in settings.items()))
        table = [echo(area_tag(c), f"Conference {c}") for c in range(1, conferences + 1)]
        (root / "CVMCONF.DAT").write_bytes(conference_file(table))
        (root / "work" / "CVWHOSON.DAT").write_bytes(node_file([Node()]))
        self.sizes: dict[Path, int] = {}

    def file(self, conference: int, kind: str) -> Path:
        return self.msgs / f"CVMSG{conference:02d}.{kind}"

    def hold(self, conference: int, ptr: bytearray, dat_records: int, sig: bytes) -> None:
        """Writes a conference. Its DAT file is a hole: the text of messages that were sent is never read."""
        self.file(conference, "PTR").write_bytes(ptr)
        self.file(conference, "IDX").write_bytes(index(ptr))
        self.file(conference, "SIG").write_bytes(sig)
        with open(self.file(conference, "DAT"), "wb") as dat:
            dat.truncate(dat_records * DAT_SIZE)

    def remember(self) -> None:
        """Remembers the size of every file of the message base; restore() cuts it back to that."""
        self.sizes = {path: path.stat().st_size for path in self.msgs.iterdir()}

    def restore(self) -> None:
        for path in list(self.msgs.iterdir()):
            if path not in self.sizes:
                path.unlink()
            elif path.stat().st_size != self.sizes[path]:
                os.truncate(path, self.sizes[path])
        for folder in (self.inbound, self.processed, self.out):
            for path in list(folder.iterdir()):
                path.unlink()
        for path in self.arrivals.iterdir():
            os.link(path, self.inbound / path.name)
        self.log.unlink(missing_ok=True)

    def measured(self) -> dict[str, int]:
        """The bytes of all files of each kind."""
        return {kind: sum(path.stat().st_size for path in self.msgs.glob(f"*.{kind}")) for kind in KINDS}

    def largest(self, kind: str) -> int:
        return max((path.stat().st_size for path in self.msgs.glob(f"*.{kind}")), default=0)

    def remove(self) -> None:
        shutil.rmtree(self.root)


class TossSite(Site):
    """A site with mail waiting."""

    def __init__(self, root: Path, program: Path, workload: Workload, mail: Mail):
        super().__init__(root, program, workload.conferences)
        self.plan = root / "plan"
        if workload.held:
            for c in range(1, workload.conferences + 1):
                ptr = headers(c, workload.held, HELD_RECORDS)
                self.hold(c, ptr, workload.held * HELD_RECORDS, sig_lines(c, workload.held))
        self.remember()
        for number, content in enumerate(mail.bundles):
            (self.arrivals / f"{number:08x}.mo0").write_bytes(content)
        self.plan.write_bytes(array("I", [value for step in mail.plan for value in step]).tobytes())
        added = {"PTR": PTR_SIZE * len(mail.plan), "IDX": IDX_SIZE * len(mail.plan),
                 "DAT": DAT_SIZE * sum(records for _, records, _ in mail.plan),
                 "SIG": sum(length for _, _, length in mail.plan)}
        self.expected = {kind: size + added[kind] for kind, size in self.measured().items()}

    def toss_command(self) -> list[str]:
        return [str(self.program), "-toss", str(self.config)]

    def bare_command(self, bare_loop: Path) -> list[str]:
        return [str(bare_loop), str(self.msgs), str(self.inbound), str(self.processed), str(self.conferences),
                str(self.plan), str(self.log)]

    def check(self) -> None:
        """Program and yardstick must have added the same sizes and left nothing in the inbound directory."""
        assert self.measured() == self.expected, (self.measured(), self.expected)
        assert not any(self.inbound.iterdir()), "mail was left in the inbound directory"


class ScanSite(Site):
    """Conferences of sent messages, some of them with unsent ones among or after these."""

    BODY_RECORDS = 9

    def __init__(self, root: Path, program: Path, conferences: int, sent: int, unsent: list[int], replies: bool):
        """`unsent` lists ordinals at or among the sent ones; with `replies` three in five name an earlier message."""
        super().__init__(root, program, conferences)
        self.unsent = unsent
        count = max(sent, max(unsent) + 1)
        text = (b"A line of a message that somebody wrote here, and it goes on\x01" * 30)[: 127 * self.BODY_RECORDS]
        body = b"".join(b"\x7f" + text[at : at + 127] for at in range(0, len(text), 127))
        records = 6 if count > sent else 1
        for c in range(1, conferences + 1):
            ptr = headers(c, count, records)
            end = count * records
            for place, ordinal in enumerate(unsent):
                ptr[ordinal * PTR_SIZE + 153] = 0
                struct.pack_into("<HH", ptr, ordinal * PTR_SIZE + 160, end, self.BODY_RECORDS)
                if replies and place % 5 < 3:
                    ptr[ordinal * PTR_SIZE + 155] = 1
                    struct.pack_into("<i", ptr, ordinal * PTR_SIZE + 170, place + 1)
            self.hold(c, ptr, end, sig_lines(c, sent))
            with open(self.file(c, "DAT"), "ab") as dat:
                dat.write(body)
        self.remember()

    def restore(self) -> None:
        super().restore()
        for c in range(1, self.conferences + 1):
            with open(self.file(c, "PTR"), "r+b", buffering=0) as ptr:
                for ordinal in self.unsent:
                    os.pwrite(ptr.fileno(), b"\0", ordinal * PTR_SIZE + 153)

    def scan_command(self) -> list[str]:
        return [str(self.program), "-scan", str(self.config)]

    def bare_command(self, bare_scan: Path) -> list[str]:
        return [str(bare_scan), str(self.msgs), str(self.out), str(self.conferences), str(self.log)]

    def read_command(self, read_files: Path, passes: int) -> list[str]:
        return [str(read_files), str(passes)] + [str(self.file(c, "PTR")) for c in range(1, self.conferences + 1)]

    def check(self) -> None:
        """Every unsent message must have its SIG line, and one bundle must be published."""
        lines = sum(path.read_bytes().count(b"\r\n") for path in self.msgs.glob("*.SIG"))
        assert lines == self.conferences * len(self.unsent), f"{lines} messages were committed"
        assert len(list(self.out.iterdir())) == 1, "no bundle was published"

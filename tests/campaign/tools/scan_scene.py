"""Scans that are killed: what must be exported, and every state of the site during the scan.

The states follow from the order of the scan alone: the serials, one for each message; the packet under its temporary
name, read back and removed; the bundle under its temporary name; the rename; then SIG line and MsgSent of each message.
"""

import zipfile
from dataclasses import dataclass, field, replace
from typing import Callable

from formats.conference_table import Conference
from formats.message_base import MessageBase, PtrRecord, message_body
from formats.packet import Packet, ReadPacket, read_packet
from formats.published_bundle import CENTRAL_SIZE, END_SIZE, ENTRY_NAME_SIZE, LOCAL_SIZE, stored_packet
from formats.text import raw, shown
from harness.run import Run
from harness.scan import SERIAL_FILE, Scan, msgid
from harness.site import LOCK, Site, Snapshot

PACKET = "MSG/CVOUTBOUND.PKT"
LARGEST_SERIAL = 4294967295
STALE = "Found a stale lock file (30 minutes old) -- clearing it"

# The kinds of state. docs/reliability.md has a row for each.
BEFORE = "nothing yet"
EMPTY_LOCK = "an empty lock"
LOCKED = "the lock"
NO_NUMBER = "an empty serial file"
NUMBERED = "a serial that no message will have"
PACKET_LEFT = "the packet, whole or in part"
BUNDLE_LEFT = "the bundle under its temporary name, whole or in part"
PUBLISHED = "a published bundle of unsent messages"
LINKED = "a published bundle with its temporary name"
EMPTY_SIG = "an empty SIG file"
SIGNED = "a SIG line of an unsent message"
AFTER = "the lock released"


@dataclass
class ScanScene:
    name: str
    conferences: list[Conference]
    fill: Callable[[list[MessageBase]], None]
    serial: int | None = None
    """The content of the serial file; None when it does not exist."""
    options: tuple[str, ...] = ()
    """Of strace."""
    linked: bool = False
    """The bundle is published by a link because the file system cannot rename without replacing."""

    def lay(self, site: Site) -> "LateScan":
        scan = LateScan(site, *self.conferences)
        self.fill(scan.bases)
        scan.put()
        if self.serial is not None:
            site.write(SERIAL_FILE, f"{self.serial}\n")
            scan.serial = self.serial
        scan.expect_all()
        return scan


class LateScan(Scan):
    """A scan of the current message base, after a run that may have been killed and left its lock."""

    stale = False

    @classmethod
    def of_what_stands(cls, site: Site, *conferences: Conference) -> "LateScan":
        scan = cls(site, *conferences)
        scan.bases = [site.message_base(base.conference) for base in scan.bases]
        text = site.read(SERIAL_FILE) if site.path(SERIAL_FILE).exists() else b""
        scan.serial = int(text.split()[0]) if text.split() else 0
        scan.expect_all()
        return scan

    def expect_all(self) -> None:
        """Everything that is neither sent nor deleted is exported."""
        for base, record in unsent(self.bases):
            if self.serial == LARGEST_SERIAL:
                self.serial = 0
            body, reply = outbound_body(base, record), parent_msgid(base, record)
            if record.netmail:
                name, address = shown(raw(record.to)).rsplit("@", 1)
                self.netmail(base, record, name, address, body, reply)
            else:
                self.echomail(base, record, body, reply)

    def _timed(self, **options) -> tuple[int, Run, int]:
        first, run, last = super()._timed(**options)
        assert (STALE in run.raw_lines) == self.stale
        if self.stale:
            run.raw_lines.remove(STALE)
        return first, run, last


def unsent(bases: list[MessageBase]) -> list[tuple[MessageBase, PtrRecord]]:
    return [(base, record) for base in bases for record in base.ptr if not record.sent and not record.deleted]


def outbound_body(base: MessageBase, record: PtrRecord) -> bytes:
    return message_body(base, record).replace(b"\x01", b"\r").rstrip(b"\r\n")


def parent_msgid(base: MessageBase, record: PtrRecord) -> bytes:
    """The MSGID in the first SIG line of the parent; nothing when there is none."""
    for line in (base.sig or b"").splitlines() if record.is_reply else []:
        parent, number = line.split(b"\t")
        if int(number) == record.thread:
            return parent
    return b""


@dataclass
class Seen:
    """The files that a scan changes; only the size where the bytes depend on the time."""

    lock: bool | None = None
    """None: not there; False: empty."""
    serial: bytes | None = None
    packet: int | None = None
    temporary: int | None = None
    bundles: int = 0
    sigs: list[bytes | None] = field(default_factory=list)
    sent: list[list[int]] = field(default_factory=list)


@dataclass
class State:
    kind: str
    seen: Seen


def scan_states(scene: ScanScene, scan: Scan) -> list[State]:
    bases = [base.copy() for base in scan.bases]
    states = [State(BEFORE, Seen(serial=serial_line(scene.serial), **message_state(bases)))]

    def add(kind: str, **changes) -> None:
        states.append(State(kind, replace(states[-1].seen, **changes)))

    add(EMPTY_LOCK, lock=False)
    add(LOCKED, lock=True)
    if scene.serial is None:
        add(NO_NUMBER, serial=b"")
    serials = first_serials(scene.serial, len(scan.messages))
    for serial in serials:
        for text in overwritten(states[-1].seen.serial or b"", serial_line(serial)):
            add(NUMBERED, serial=text)
    packet = len(Packet(scan.messages).pack())
    for size in (0, 58, packet - 2, packet):
        add(PACKET_LEFT, packet=size)
    add(NUMBERED, packet=None)
    for size in bundle_sizes(packet):
        add(BUNDLE_LEFT, temporary=size)
    if scene.linked:
        add(LINKED, bundles=1)
    add(PUBLISHED, bundles=1, temporary=None)
    for (base, record), serial in zip(unsent(bases), serials):
        if base.sig is None:
            base.sig = b""
            add(EMPTY_SIG, **message_state(bases))
        base.add_sig(msgid(serial), record.number, b"\r\n")
        add(SIGNED, **message_state(bases))
        record.sent = 1
        add(PUBLISHED, **message_state(bases))
    add(AFTER, lock=None)
    return states


def serial_line(serial: int | None) -> bytes | None:
    return None if serial is None else b"%d\n" % serial


def first_serials(last: int | None, count: int) -> list[int]:
    serials = []
    for _ in range(count):
        last = 1 if last in (None, LARGEST_SERIAL) else last + 1
        serials.append(last)
    return serials


def overwritten(old: bytes, new: bytes) -> list[bytes]:
    """A serial is written over the last one; the rest of a longer one is then cut off."""
    return [new] if len(old) <= len(new) else [new + old[len(new) :], new]


def bundle_sizes(packet: int) -> list[int]:
    sizes = [0]
    for part in (LOCAL_SIZE, ENTRY_NAME_SIZE, packet, CENTRAL_SIZE, ENTRY_NAME_SIZE, END_SIZE):
        sizes.append(sizes[-1] + part)
    return sizes


def message_state(bases: list[MessageBase]) -> dict[str, list]:
    return {"sigs": [base.sig for base in bases], "sent": [[record.sent for record in base.ptr] for base in bases]}


def look(site: Site, conferences: int) -> Seen:
    """What a killed scan has left. Fails unless a bundle under its own name is whole."""
    bases = [site.message_base(number) for number in range(1, conferences + 1)]
    temporaries = [path.stat().st_size for path in site.path("OUT").iterdir() if path.suffix == ".tmp"]
    assert len(temporaries) <= 1
    return Seen(
        lock=site.read(LOCK) != b"" if site.path(LOCK).exists() else None,
        serial=site.read(SERIAL_FILE) if site.path(SERIAL_FILE).exists() else None,
        packet=site.path(PACKET).stat().st_size if site.path(PACKET).exists() else None,
        temporary=temporaries[0] if temporaries else None,
        bundles=len(bundles(site)),
        **message_state(bases),
    )


def bundles(site: Site) -> list[ReadPacket]:
    """The packets of all published bundles, read by Python's ZIP reader."""
    packets = []
    for path in sorted(site.path("OUT").iterdir()):
        if path.suffix in (".tmp", ".txt") or path.is_dir():
            continue
        with zipfile.ZipFile(path) as archive:
            assert archive.testzip() is None and len(archive.infolist()) == 1
            packet = archive.read(archive.infolist()[0])
        assert packet == stored_packet(path.read_bytes())
        packets.append(read_packet(packet))
    return packets


def untouched(snapshot: Snapshot) -> Snapshot:
    """The files that no scan changes."""
    ours = (LOCK, SERIAL_FILE, PACKET, "OUT/")
    return {
        path: data
        for path, data in snapshot.items()
        if not path.startswith(ours) and not path.endswith((".SIG", ".PTR"))
    }

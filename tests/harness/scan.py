"""Scans: what a test puts into the message base, and what the run must then export.

A `Scan` holds the message bases of a site. A test adds messages to them, states what must become of each unsent one in
the order of the scan, and runs it: every line, every byte of the packet and of its bundle, and every file of the site
are compared. Values that depend on the clock must lie within the seconds of the run.
"""

import re
import time
from dataclasses import dataclass, replace
from datetime import datetime

from formats.conference_table import Conference
from formats.message_base import MessageBase, PtrRecord, message_files
from formats.packet import PackedMessage, Packet, read_packet
from formats.published_bundle import entry_name, published_bundle, stored_packet
from formats.text import Text, raw, reported, shown
from harness.compare import ALL_IDLE, assert_changes, assert_run
from harness.run import Run
from harness.site import Site
from harness.target import platform_text

OURS = (2, 250, 10, 3)
HUB = (3, 251, 20, 4)
SYSTEM = "Our System"
CONFIG = "ADDRESS 2:250/10.3\nHUB 3:251/20.4\nSYSTEM Our System\n"
BANNER = "=== cvtoss32 v1.05 Beta 5 -scan run starting ==="
DIRECTORIES = "Config dir: CONF   Work dir: CONF\\WORK   Message dir: MSG   Outbound dir: OUT"
NOTHING = [
    "Nothing to export -- no unsent messages found in any routed conference.",
    "=== cvtoss32 -scan run complete: 0 message(s) exported ===",
]
COMMIT_ERRORS = (
    "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ==="
)
NO_SERIAL = "ERROR: could not allocate/persist the next outbound MSGID serial"
SERIAL_FILE = "MSG/CVOUTBOUND.SEQ"
WEEKDAYS = ("mo", "tu", "we", "th", "fr", "sa", "su")
TEAR = b"--- cvtoss32 1.05\r"
ORIGIN = b" * Origin: Our System (2:250/10)\r"
SEEN_BY_AND_PATH = b"SEEN-BY: 250/10 20\r\x01PATH: 250/10\r"


def banner(password: bool = False) -> list[str]:
    """The first three lines."""
    packet = "password-protected" if password else "no password set"
    addresses = f"Our address: 2:250/10   Hub address: 3:251/20   System name: Our System   Packet: {packet}"
    return [BANNER, DIRECTORIES, addresses]


def head(conferences: int, password: bool = False) -> list[str]:
    """The lines before those of the first message."""
    return [*banner(password), f"Loaded {conferences} conference(s) from CVMCONF.DAT", ALL_IDLE]


def complete(messages: int) -> str:
    return f"=== cvtoss32 -scan run complete: {messages} message(s) exported and committed ==="


def serial_text(serial: int) -> bytes:
    """The serial file after this serial was used."""
    return platform_text(b"%d\n" % serial)


def mask_names(line: str) -> str:
    """Masks the names of bundles except their sequence characters: the rest depends on the time."""
    return re.sub(r"OUT/[0-9a-f]{8}\.[a-z]{2}([0-9a-z])(?![0-9a-z])", r"OUT/#\1", line)


def tzutc() -> bytes:
    """The current offset of this machine's local time, in the form of the kludge."""
    minutes = time.localtime().tm_gmtoff // 60
    return b"%c%02d%02d" % (ord("-" if minutes < 0 else "+"), abs(minutes) // 60, abs(minutes) % 60)


def msgid(serial: int) -> bytes:
    return b"2:250/10 %08x" % serial


def kludges(serial: int, reply: Text = "") -> bytes:
    lines = b"\x01MSGID: " + msgid(serial) + b"\r\x01TZUTC: " + tzutc() + b"\r"
    return lines + (b"\x01REPLY: " + raw(reply) + b"\r" if reply else b"")


def echomail_text(tag: Text, serial: int, body: bytes, reply: Text = "") -> bytes:
    """The whole text of an echomail message; `body` is stripped and trimmed already."""
    trailer = TEAR + ORIGIN + SEEN_BY_AND_PATH
    return b"AREA:" + raw(tag) + b"\r" + kludges(serial, reply) + body + b"\r\r\r" + trailer


def netmail_text(serial: int, body: bytes, reply: Text = "") -> bytes:
    return kludges(serial, reply) + body + b"\r\r\r" + TEAR + ORIGIN


def unreadable(base: MessageBase, record: PtrRecord) -> str:
    return f"  msg #{record.number} in conf {base.conference}: could not read body records -- skipping"


def unaddressed(base: MessageBase, record: PtrRecord) -> str:
    return (
        f"  msg #{record.number} in conf {base.conference}: netmail To: '{reported(record.to)}' has no parseable"
        " @address -- skipping (left unsent). Address it as 'Name@zone:net/node'."
    )


@dataclass
class Published:
    """A published bundle whose names and bytes have been checked."""

    path: str
    data: bytes
    entry: str
    packet: bytes

    def log_line(self, messages: int) -> str:
        about = f"{len(self.packet)} byte packet, entry '{self.entry}', {messages} message(s)"
        return f"Published complete bundle: {self.path}  ({about})"


class Scan:
    """The expectations of successive scans in one site."""

    def __init__(self, site: Site, *conferences: Conference):
        self.site = site
        self.tags = [raw(conference.tag) for conference in conferences]
        self.bases = [MessageBase(number) for number in range(1, len(conferences) + 1)]
        self.serial = 0
        self.set_password(b"")
        site.conferences(*conferences)
        self._forget()

    def set_password(self, password: bytes) -> None:
        self.password = password
        self.site.add_config(CONFIG.encode() + (b"PKTPW " + password + b"\n" if password else b""))

    def base(self, conference: int = 1) -> MessageBase:
        return self.bases[conference - 1]

    def put(self) -> None:
        """Writes the message bases; `run` does so, too."""
        for base in self.bases:
            self.site.put(base)

    # What must become of the unsent messages, in the order of the scan.

    def line(self, text: str) -> None:
        self.lines.append(text)

    def echomail(self, base: MessageBase, record: PtrRecord, body: bytes = b"", reply: Text = "") -> None:
        """The message is exported with this body, stripped and trimmed."""
        self.echomail_as(base, record, echomail_text(self._tag(base), self.serial + 1, body, reply), bool(reply))

    def echomail_as(self, base: MessageBase, record: PtrRecord, text: bytes, threaded: bool = False) -> None:
        """The message is exported with this whole text."""
        end = self._queue(base, record, text, record.to, HUB, threaded)
        self.line(
            f"  queued conf {base.conference} msg #{record.number}  From='{reported(record.sender)}'"
            f" To='{reported(record.to)}' Subj='{reported(record.subject)}'  {end}"
        )

    def netmail(
        self, base: MessageBase, record: PtrRecord, name: Text, address: str, body: bytes = b"", reply: Text = ""
    ) -> None:
        """The message is exported to `name` at zone:net/node."""
        self.netmail_as(base, record, name, address, netmail_text(self.serial + 1, body, reply), bool(reply))

    def netmail_as(
        self, base: MessageBase, record: PtrRecord, name: Text, address: str, text: bytes, threaded: bool = False
    ) -> None:
        zone, net, node = (int(number) for number in re.split("[:/]", address))
        end = self._queue(base, record, text, name, (zone, net, node, 0), threaded)
        self.line(
            f"  queued conf {base.conference} msg #{record.number} (NETMAIL)  From='{reported(record.sender)}'"
            f" To='{reported(name)}'  Dest={address}  Subj='{reported(record.subject)}'  {end}"
        )

    # Running.

    def uncommitted(self, base: MessageBase, record: PtrRecord, line: str) -> None:
        """The message is exported, but its commit fails with this line, formatted with conference and number."""
        self.commits = [commit for commit in self.commits if commit[1] is not record]
        self.commit_errors.append(line % (base.conference, record.number))

    def run(self, changes: dict[str, object] | None = None, **options) -> Published | None:
        """Runs a scan that must publish everything; returns the bundle, or None when there was nothing to export."""
        self.put()
        before = self.site.snapshot()
        first, run, last = self._timed(**options)
        published = self._published(set(before), run, first, last)
        lines = [*head(len(self.bases), bool(self.password)), *self.lines]
        if published:
            lines += [published.log_line(len(self.messages)), *self.commit_errors]
            lines += [COMMIT_ERRORS] if self.commit_errors else [complete(len(self.messages))]
        else:
            lines += NOTHING
        assert_run(run, int(self.commit_errors != []), lines)
        assert_changes(self.site, before, self._changes(published) | (changes or {}))
        self._forget()
        return published

    def fail(self, *tail: str, changes: dict[str, object] | None = None, **options) -> None:
        """Runs a scan that must fail after the messages' lines with `tail`, and change only what is given."""
        self.put()
        before = self.site.snapshot()
        _, run, _ = self._timed(**options)
        run.raw_lines = [mask_names(line) for line in run.raw_lines]
        assert_run(run, 1, [*head(len(self.bases), bool(self.password)), *self.lines, *tail])
        assert_changes(self.site, before, changes or {})
        self._forget()

    # Within.

    def _forget(self) -> None:
        self.lines: list[str] = []
        self.messages: list[PackedMessage] = []
        self.commits: list[tuple[MessageBase, PtrRecord, bytes]] = []
        self.commit_errors: list[str] = []

    def _tag(self, base: MessageBase) -> bytes:
        return self.tags[base.conference - 1]

    def _queue(
        self, base: MessageBase, record: PtrRecord, text: bytes, to: Text, dest: tuple[int, ...], threaded: bool
    ) -> str:
        self.serial += 1
        self.messages.append(
            PackedMessage(
                text=text,
                sender=raw(record.sender),
                to=raw(to),
                subject=raw(record.subject),
                orig_node=OURS[2],
                orig_net=OURS[1],
                dest_node=dest[2] & 0xFFFF,
                dest_net=dest[1] & 0xFFFF,
                attribute=int(record.private != 0),
            )
        )
        self.commits.append((base, record, msgid(self.serial)))
        return f"MSGID={shown(msgid(self.serial))}" + ("  (threaded reply)" if threaded else "")

    def _timed(self, **options) -> tuple[int, Run, int]:
        # The clock with whole seconds is a little behind the one with fractions.
        first = int(time.time() - 0.05)
        run = self.site.run("-scan", **options)
        return first, run, int(time.time())

    def _published(self, before: set[str], run: Run, first: int, last: int) -> Published | None:
        new = [path for path in self.site.snapshot("OUT") if path not in before]
        if not self.messages:
            assert new == []
            return None
        assert len(new) == 1, f"not one new bundle: {new}, {run.lines}"
        data = self.site.read(new[0])
        published = Published(new[0], data, entry_name(data), stored_packet(data))
        check_names(published, first, last)
        assert published.packet == self._packet(published.packet, first, last)
        assert data in [
            published_bundle(published.entry, published.packet, datetime.fromtimestamp(second))
            for second in range(first, last + 1)
        ]
        return published

    def _packet(self, found: bytes, first: int, last: int) -> bytes:
        """The expected packet; its times are those of the packet found, which must lie within the run."""
        read = read_packet(found)
        written = datetime(*(read.header[name] + (name == "month") for name in TIME_FIELDS))
        assert first <= written.timestamp() <= last, f"packet header of {written}"
        assert len(read.messages) == len(self.messages)
        messages = []
        for message, seen in zip(self.messages, read.messages):
            assert seen.date in fts_dates(first, last), f"message date {seen.date!r}"
            messages.append(replace(message, date=seen.date))
        return Packet(
            messages,
            year=written.year,
            month=written.month - 1,
            day=written.day,
            hour=written.hour,
            minute=written.minute,
            second=written.second,
            **header_fields(self.password),
        ).pack()

    def _changes(self, published: Published | None) -> dict[str, object]:
        if not published:
            return {}
        for base, record, used in self.commits:
            record.sent = 1
            base.add_sig(used, record.number, b"\r\n")
        return {published.path: published.data, SERIAL_FILE: serial_text(self.serial), **message_files(*self.bases)}


TIME_FIELDS = ("year", "month", "day", "hour", "minute", "second")


def header_fields(password: bytes) -> dict[str, int | bytes]:
    """The fields of a packet header that do not depend on the time."""
    return {
        "orig_node": OURS[2],
        "dest_node": HUB[2],
        "baud": 0,
        "packet_type": 2,
        "orig_net": OURS[1],
        "dest_net": HUB[1],
        "product_lo": 0,
        "revision_major": 0,
        "password": password.ljust(8, b"\0"),
        "q_orig_zone": OURS[0],
        "q_dest_zone": HUB[0],
        "aux_net": 0,
        "cap_word_copy": 0x0100,
        "product_hi": 0,
        "revision_minor": 0,
        "cap_word": 1,
        "orig_zone": OURS[0],
        "dest_zone": HUB[0],
        "orig_point": OURS[3],
        "dest_point": HUB[3],
        "product_data": b"\0\0\0\0",
    }


def fts_dates(first: int, last: int) -> list[bytes]:
    """The date texts of these seconds in local time, two blanks before the hour."""
    months = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split()
    whens = [datetime.fromtimestamp(second) for second in range(first, last + 1)]
    return [f"{w.day:02d} {months[w.month - 1]} {w.year % 100:02d}  {w:%H:%M:%S}".encode() for w in whens]


def check_names(published: Published, first: int, last: int) -> None:
    """Checks that the names of bundle and entry are from a second of the run, and the bundle's day of the week."""
    match = re.fullmatch(r"OUT/([0-9a-f]{8})\.([a-z]{2})[0-9a-z]", published.path)
    assert match, f"not a bundle's name: {published.path}"
    second = int(match.group(1), 16)
    assert first <= second <= last
    assert match.group(2) == WEEKDAYS[datetime.fromtimestamp(second).weekday()]
    match = re.fullmatch(r"([0-9a-f]{8})\.pkt", published.entry)
    assert match, f"not an entry's name: {published.entry}"
    assert second <= int(match.group(1), 16) <= last

"""A toss and a scan with failing calls: what must be true after the run, and after the next one without failures.

All messages have a MSGID, so that each must be stored or sent exactly once in the end.
"""

import re
from collections import Counter
from typing import Callable, Protocol

from formats.conference_table import echo
from formats.message_base import MessageBase, assert_whole, message_body
from harness.damage import assert_sig_lines
from harness.ledger import sums
from harness.run import Run
from harness.site import LOCK, LOG, Site, Snapshot
from tools.promises import assert_nothing_damaged
from tools.scan_scene import PACKET, LateScan, bundles, unsent
from tools.toss_scene import PROCESSED, SOURCE, Mail, echo_mail
from tools.toss_scenes import packet

CONFERENCES = [echo("FIDO"), echo("TECH")]
TROUBLE = ("ERROR", "CRITICAL", "FATAL", "Aborting", "  ERROR")
WROTE = re.compile(rb"  -> wrote conf \d+ msg #\d+  From='.*\n")
HALF_LINE = "ERROR: bundle exists, but could not append SIG"


class Scene(Protocol):
    mode: str

    def lay(self, site: Site) -> None: ...

    def assert_kept(self, site: Site, before: Snapshot, run: Run, critical: bool = False) -> None: ...

    def assert_finished(self, site: Site) -> None: ...


def run(site: Site, scene: Scene, **options) -> Run:
    """A run whose log, which is on the same disk, may be incomplete."""
    return site.run(scene.mode, log=False, **options)


def try_once(
    site: Site, scene: Scene, fail: Callable[[], dict], mend: Callable[[], None], critical: bool = False
) -> Run:
    """One run with the failures that `fail` prepares or returns as options, the promises, and the run after `mend`."""
    before = site.snapshot()
    faulty = run(site, scene, **fail())
    mend()
    scene.assert_kept(site, before, faulty, critical)
    scene.assert_finished(site)
    return faulty


def has_trouble(run: Run) -> bool:
    return any(line.startswith(TROUBLE) for line in run.lines)


def assert_ended_cleanly(site: Site, run: Run, critical: bool) -> None:
    """Asserts that the run left no temporary files, reported its failures, and has the right exit status."""
    assert run.status == int(has_trouble(run))
    assert any(line.startswith("CRITICAL") for line in run.lines) == critical
    assert not site.path(LOCK).exists()
    assert not site.path(PACKET).exists()
    assert not list(site.path("OUT").glob("*.tmp"))


class FaultyToss:
    """One packet of many messages for two conferences, of which one has mail already."""

    mode = "-toss"

    def __init__(self, messages: int = 12, size: int = 6):
        areas = ("FIDO", "TECH")
        self.mails: list[Mail] = [
            echo_mail(1 + n % 2, areas[n % 2], f"message {n:03d}", f"1:2/3 {n:08x}", times=1 + n * size)
            for n in range(messages)
        ]
        self.source = packet([mail.packed for mail in self.mails])

    def lay(self, site: Site) -> None:
        site.conferences(*CONFERENCES)
        base = MessageBase(1)
        base.add(b"earlier mail\x01")
        base.add_sig("1:2/3 earlier", 1)
        site.put(base)
        site.inbound(SOURCE, self.source)

    def bodies(self, site: Site) -> list[bytes]:
        bases = [site.message_base(number) for number in (1, 2)]
        return [message_body(base, record) for base in bases for record in base.ptr]

    def assert_kept(self, site: Site, before: Snapshot, run: Run, critical: bool = False) -> None:
        assert_nothing_damaged(before, site.snapshot())
        assert_ended_cleanly(site, run, critical)
        for number in (1, 2):
            assert_holds_whole_messages(site.message_base(number))
        stored = Counter(self.bodies(site)) - Counter([b"earlier mail\x01"])
        assert all(stored[mail.body] <= 1 for mail in self.mails)
        assert stored.total() == sum(line.startswith("  -> wrote") for line in run.lines)
        if site.path(f"IN/{SOURCE}").exists():
            assert site.read(f"IN/{SOURCE}") == self.source
            assert run.status == 1
        else:
            assert stored.total() == len(self.mails), "the source went before its messages were stored"
            assert site.read(f"{PROCESSED}/{SOURCE}") == self.source

    def assert_accounted_for(self, site: Site) -> None:
        """The ledger finds each message, unless the log had no room for all of its lines."""
        stored = len(self.bodies(site)) - 1
        if len(WROTE.findall(site.read(LOG))) == stored:
            expected = {"stored": stored, "waiting": len(self.mails) - stored}
            assert sums(site) == {fate: count for fate, count in expected.items() if count}

    def assert_finished(self, site: Site) -> None:
        self.assert_accounted_for(site)
        assert run(site, self).status == 0
        self.assert_accounted_for(site)
        assert Counter(self.bodies(site)) == Counter([b"earlier mail\x01", *[mail.body for mail in self.mails]])
        assert not site.path(f"IN/{SOURCE}").exists()


def assert_holds_whole_messages(base: MessageBase) -> None:
    assert_whole(base)
    assert len(base.idx) == len(base.ptr)
    assert sum(record.records for record in base.ptr) == base.dat_count()
    assert_sig_lines(base)
    assert len((base.sig or b"").splitlines()) == len(base.ptr)


class FaultyScan:
    """Unsent messages in two conferences, of which one has a SIG file."""

    mode = "-scan"

    def __init__(self, messages: int = 8, size: int = 30):
        self.texts = [b"message %03d" % n for n in range(messages)]
        self.size = size

    def lay(self, site: Site) -> None:
        scan = LateScan(site, *CONFERENCES)
        scan.base(1).add(b"earlier mail\x01")
        scan.base(1).add_sig("1:2/3 earlier", 1)
        for n, text in enumerate(self.texts):
            scan.base(1 + n % 2).add((text + b"\x01") * (1 + n * self.size), sent=0)
        scan.put()

    def assert_kept(self, site: Site, before: Snapshot, run: Run, critical: bool = False) -> None:
        after = site.snapshot()
        assert_nothing_damaged(before, after)
        self.cut_half_lines(site, run)
        assert_ended_cleanly(site, run, critical)
        published = bundles(site)
        assert len(published) <= 1
        assert [len(packet.messages) for packet in published] in ([], [len(self.texts)])
        for base in self.bases(site):
            assert_sent_messages_have_their_line(base, published != [])
        assert (unsent(self.bases(site)) != []) == (run.status == 1)

    @staticmethod
    def cut_half_lines(site: Site, run: Run) -> None:
        """Removes the half lines of failed appends, as the operator does; there is none without its error line."""
        for path in site.path("MSG").glob("*.SIG"):
            lines = path.read_bytes()
            whole = lines[: lines.rfind(b"\n") + 1]
            assert whole == lines or any(line.startswith(HALF_LINE) for line in run.lines)
            path.write_bytes(whole)

    @staticmethod
    def bases(site: Site) -> list[MessageBase]:
        return [site.message_base(number) for number in (1, 2)]

    def assert_finished(self, site: Site) -> None:
        assert run(site, self).status == 0
        assert unsent(self.bases(site)) == []
        packets = bundles(site)
        msgids = [message.text.split(b"MSGID: ")[1].split(b"\r")[0] for p in packets for message in p.messages]
        assert len(set(msgids)) == len(msgids), "a serial was used twice"
        sent = [text for text in self.texts for p in packets for message in p.messages if text in message.text]
        assert set(sent) == set(self.texts)


def assert_sent_messages_have_their_line(base: MessageBase, published: bool) -> None:
    """Asserts that messages marked sent are in a bundle and have a SIG line. The first came from the network."""
    numbers = [int(line.split(b"\t")[1]) for line in (base.sig or b"").splitlines()]
    for record in base.ptr:
        text = message_body(base, record)
        if record.sent and text != b"earlier mail\x01":
            assert published, "sent without a bundle"
            assert record.number in numbers

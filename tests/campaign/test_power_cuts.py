"""A power cut: what a file system keeps of a run that has ended, and of one that has not."""

import random
import signal
import subprocess
import time

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase
from harness.site import LOCK, Site
from tools.count import Count, rounds
from tools.faulty import FaultyScan, assert_holds_whole_messages
from tools.power import Disk, can_mount, wait_for_what_is_not_waited_for
from tools.toss_scene import PROCESSED, echo_mail
from tools.toss_scenes import packet


@pytest.fixture
def disk(tmp_path):
    if not can_mount(tmp_path):
        pytest.skip("needs root, a loop device and ext4: the power is that of a disk in a file")
    return Disk(tmp_path)


class Mailing:
    """Packets of mail for many conferences, of which the first has mail already."""

    def __init__(self, conferences: int, packets: int, messages: int):
        self.conferences = conferences
        numbers = range(packets * messages)
        mails = [self.mail(n, 1 + n % conferences) for n in numbers]
        self.sources = {f"{n:04d}.pkt": mails[n * messages : (n + 1) * messages] for n in range(packets)}

    @staticmethod
    def mail(number: int, conference: int):
        return echo_mail(conference, f"AREA{conference}", f"message {number:05d}.", f"1:2/3 {number:08x}")

    def lay(self, site: Site, kept: bool) -> None:
        site.conferences(*[echo(f"AREA{n}") for n in range(1, self.conferences + 1)])
        site.add_config("" if kept else "KEEPPROCESSED no\n")
        base = MessageBase(1)
        base.add(b"earlier mail\x01")
        base.add_sig("1:2/3 earlier", 1)
        site.put(base)
        for name, mails in self.sources.items():
            site.inbound(name, packet([mail.packed for mail in mails]))

    def inbound(self, site: Site) -> list[str]:
        return [name for name in self.sources if site.path(f"IN/{name}").exists()]

    def assert_stored(self, site: Site, names) -> None:
        """Asserts that each message of those sources is stored once, with its SIG line; more may follow."""
        for mail in [mail for name in names for mail in self.sources[name]]:
            stem = f"MSG/CVMSG{mail.conference:02d}"
            assert site.read(f"{stem}.DAT").count(mail.body) == 1
            lines = [line.split(b"\t") for line in site.read(f"{stem}.SIG").split(b"\n")]
            [number] = [int(line[1]) for line in lines if line[0] == mail.msgid.encode()]
            ptr = site.read(f"{stem}.PTR")
            assert [ptr[at + 166 : at + 170] for at in range(0, len(ptr), 256)].count(number.to_bytes(4, "little")) == 1

    def assert_finished(self, site: Site) -> None:
        """Asserts that the next run, with the lock removed, refuses nothing, and that all mail is then stored once."""
        site.path(LOCK).unlink(missing_ok=True)
        assert site.run("-check").status == 0
        assert site.toss().status == 0
        assert not self.inbound(site)
        self.assert_stored(site, self.sources)
        for number in range(1, self.conferences + 1):
            assert_holds_whole_messages(site.message_base(number))


@pytest.mark.parametrize("kept", [True, False], ids=["kept", "deleted"])
@pytest.mark.parametrize("conferences", [3, 100])
def test_what_a_toss_has_stored_when_it_ends_survives_a_cut(disk, conferences, kept):
    mailing = Mailing(conferences, packets=2, messages=conferences)
    with disk.in_use() as site:
        mailing.lay(site, kept)
        disk.settle()
        assert site.toss().status == 0
        wait_for_what_is_not_waited_for()
        with disk.after_a_cut() as restarted:
            mailing.assert_stored(restarted, mailing.sources)
            mailing.assert_finished(restarted)


def test_what_a_scan_has_sent_when_it_ends_survives_a_cut(disk):
    scene = FaultyScan()
    with disk.in_use() as site:
        scene.lay(site)
        disk.settle()
        before = site.snapshot()
        run = site.run("-scan")
        assert run.status == 0
        wait_for_what_is_not_waited_for()
        with disk.after_a_cut() as restarted:
            restarted.path(LOCK).unlink(missing_ok=True)
            scene.assert_kept(restarted, before, run)
            scene.assert_finished(restarted)


def test_a_cut_during_a_toss_loses_nothing_of_the_sources_that_are_gone(disk, count: Count):
    mailing = Mailing(20, packets=rounds(60, 200), messages=20)
    chance = random.Random(1)
    with disk.in_use() as site:
        mailing.lay(site, kept=True)
        disk.settle()
        process = site.start("-toss", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        while count.points < rounds(8, 60) and process.poll() is None:
            time.sleep(chance.uniform(0.002, 0.05))
            process.send_signal(signal.SIGSTOP)
            with disk.after_a_cut() as restarted:
                mailing.assert_stored(restarted, set(mailing.sources) - set(mailing.inbound(restarted)))
                mailing.assert_finished(restarted)
            count.one()
            process.send_signal(signal.SIGCONT)
        assert process.wait(60) == 0
        assert len(list(site.path(PROCESSED).iterdir())) == len(mailing.sources)
    assert count.points, "the run was never cut"


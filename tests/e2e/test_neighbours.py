"""The mailer's user may write in INBOUND, but is not trusted with anything else."""

import os
import shutil
import tempfile
import time
from pathlib import Path

import pytest

from formats.conference_table import echo
from formats.packet import Packet
from harness.compare import moved
from harness.site import Site
from harness.target import RUNNER

pytestmark = pytest.mark.skipif(
    bool(RUNNER) or os.geteuid() != 0, reason="needs root, to act as several users; POSIX only"
)

PROGRAM_USER, MAILER, ROOT = 1, 65534, 0
SOUND, BROKEN = Packet(), Packet(closing=b"\x02\x00")
NOT_MOVED = "  ERROR: processed but could not move to IN/processed/a.pkt; source remains inbound"
NOT_SAVED = "  ERROR: could not save bad packet for review (tried IN/badmsgs/BAD_#.PKT)"
STAYS = "  ERROR: could not make stored mail durable; source remains inbound"


class SharedSite(Site):
    """A site whose INBOUND the mailer's group may write in; the program runs as the owner of the site."""

    def __init__(self, root: Path):
        super().__init__(root)
        self.conferences(echo("FIDO"))
        self.write("store/secret", "of the program's user")
        for path in (root, *root.rglob("*")):
            os.lchown(path, PROGRAM_USER, PROGRAM_USER)
        os.chown(self.path("IN"), PROGRAM_USER, MAILER)
        self.path("IN").chmod(0o770)

    def link(self, name: str, target: str, owner: int) -> None:
        self.path(name).symlink_to(target)
        os.lchown(self.path(name), owner, owner)

    def last_lines(self, packet: Packet, status: int) -> list[str]:
        """Tosses the packet as a.pkt; returns the lines after the two about its content."""
        self.inbound("a.pkt", packet)
        os.chown(self.path("IN/a.pkt"), MAILER, PROGRAM_USER)
        run = self.toss(user=PROGRAM_USER, group=PROGRAM_USER, extra_groups=[])
        assert run.status == status
        assert self.path("IN/a.pkt").exists() == (status == 1)
        assert self.read("store/secret") == b"of the program's user"
        return run.blocks()["a.pkt"][2:]


@pytest.fixture
def shared():
    """A site outside the directory of the tests, which only root can enter."""
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o755)
        yield SharedSite(Path(directory) / "site")


def test_a_processed_directory_of_either_user_is_used(shared):
    for owner in (PROGRAM_USER, MAILER):
        shared.path("IN/processed").mkdir()
        os.chown(shared.path("IN/processed"), owner, PROGRAM_USER)
        shared.path("IN/processed").chmod(0o770)
        assert shared.last_lines(SOUND, 0) == [moved("a.pkt")]
        assert shared.read("IN/processed/a.pkt") == SOUND.pack()
        shutil.rmtree(shared.path("IN/processed"))


@pytest.mark.parametrize("owner, mode, followed", [
    (MAILER, 0o770, False), (MAILER, 0o757, False), (MAILER, 0o755, True), (PROGRAM_USER, 0o770, True),
    (ROOT, 0o770, True),
])
def test_processed_is_followed_as_a_link_of_an_owner_or_where_nobody_else_writes(shared, owner, mode, followed):
    shared.link("IN/processed", "../store", owner)
    shared.path("IN").chmod(mode)
    assert shared.last_lines(SOUND, 0 if followed else 1) == [moved("a.pkt") if followed else NOT_MOVED]
    assert shared.path("store/a.pkt").exists() == followed


def test_processed_is_followed_nowhere_in_an_inbound_of_another(shared):
    os.chown(shared.path("IN"), MAILER, PROGRAM_USER)
    shared.path("IN").chmod(0o750)
    shared.link("IN/processed", "../store", MAILER)
    shared.inbound("a.pkt", SOUND)
    shared.path("IN/a.pkt").chmod(0o644)
    run = shared.toss(user=PROGRAM_USER, group=PROGRAM_USER, extra_groups=[])
    assert (run.status, run.blocks()["a.pkt"][-1]) == (1, NOT_MOVED)
    assert sorted(path.name for path in shared.path("store").iterdir()) == ["secret"]


def test_processeddir_is_followed_wherever_it_leads(shared):
    shared.link("IN/elsewhere", "../store", MAILER)
    shared.add_config("PROCESSEDDIR IN/elsewhere\n")
    assert shared.last_lines(SOUND, 0) == [moved("a.pkt", "IN\\elsewhere")]
    assert shared.read("store/a.pkt") == SOUND.pack()


def test_an_inbound_that_is_a_link_is_judged_by_where_it_leads(shared):
    shared.path("IN").rename(shared.path("real"))
    shared.link("IN", "real", MAILER)
    shared.link("real/processed", "../store", MAILER)
    assert shared.last_lines(SOUND, 1) == [NOT_MOVED]
    shared.path("real").chmod(0o700)
    assert shared.last_lines(SOUND, 0) == [moved("a.pkt")]
    assert shared.read("store/a.pkt") == SOUND.pack()


def test_badmsgs_is_not_followed_as_a_link_of_the_mailer(shared):
    shared.link("IN/badmsgs", "../store", MAILER)
    assert shared.last_lines(BROKEN, 0) == [NOT_SAVED, moved("a.pkt")]
    shared.add_config("KEEPPROCESSED no\n")
    assert shared.last_lines(BROKEN, 1) == [NOT_SAVED, STAYS]
    assert sorted(path.name for path in shared.path("store").iterdir()) == ["secret"]


def test_a_saved_packet_replaces_a_link_of_its_name(shared):
    shared.path("IN/badmsgs").mkdir()
    os.chown(shared.path("IN/badmsgs"), MAILER, PROGRAM_USER)
    shared.path("IN/badmsgs").chmod(0o770)
    now = int(time.time())
    for seconds in range(now - 1, now + 60):
        shared.link(f"IN/badmsgs/BAD_{seconds}.PKT", "../../store/secret", MAILER)
    assert shared.last_lines(BROKEN, 0)[-1] == moved("a.pkt")
    (saved,) = [path for path in shared.path("IN/badmsgs").iterdir() if not path.is_symlink()]
    assert saved.read_bytes() == BROKEN.pack()


def test_names_that_look_like_ways_out_are_names(shared):
    for name in ("..pkt", "...", "-a", "n" * 255):
        shared.inbound(name, SOUND)
        os.chown(shared.path(f"IN/{name}"), MAILER, PROGRAM_USER)
    assert shared.last_lines(SOUND, 0) == [moved("a.pkt")]
    processed = sorted(path.name for path in shared.path("IN/processed").iterdir())
    assert processed == sorted(["..pkt", "...", "-a", "n" * 255, "a.pkt"])

"""Disposal: a tossed file is moved or deleted, or stays when that fails; it is never lost."""

import os
import tempfile
from pathlib import Path

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import GONE, assert_changes, assert_run, banner, head, moved, parsed, tail
from harness.site import Site
from harness.target import WINDOWS, posix_only
from harness.undeletable import undeletable

EMPTY = Packet()
EMPTY_LINES = [EMPTY.log_line(), parsed(0)]


def not_moved(name: str, directory: str = "IN/processed") -> str:
    return f"  ERROR: processed but could not move to {directory}/{name}; source remains inbound"


@pytest.fixture
def ready(ready):
    """The same site with one empty packet."""
    ready.inbound("a.pkt", EMPTY)
    return ready


def assert_moved(site: Site, directory: str, shown: str, created: bool = True) -> None:
    before = site.snapshot()
    assert_run(site.toss(), 0, [*head(1), "Found: a.pkt", *EMPTY_LINES, moved("a.pkt", shown), *tail(1)])
    changes: dict[str, object] = {"IN/a.pkt": GONE, f"{directory}/a.pkt": EMPTY.pack()}
    assert_changes(site, before, changes | ({f"{directory}/": None} if created else {}))


def assert_stays(site: Site, end: str, kept: bool = True, created: bool = False, ignored: int = 0) -> None:
    """The packet is tossed, its disposal fails with this line, and it is still there."""
    before = site.snapshot()
    run = site.toss()
    assert run.blocks() == {"a.pkt": [*EMPTY_LINES, end]}
    assert (run.head(), run.tail(), run.status) == (head(1, kept), tail(0, ignored), 1)
    assert run.stderr == ""
    assert_changes(site, before, {"IN/processed/": None} if created else {})
    assert site.read("IN/a.pkt") == EMPTY.pack()


# Where to.


@pytest.mark.parametrize(("given", "shown"), [("done", "done"), ("IN/done", "IN\\done"), ("OUT\\x", "OUT\\x")])
def test_processeddir_is_where_files_go_and_is_made_when_it_is_not_there(ready, given, shown):
    ready.add_config(f"PROCESSEDDIR {given}\n")
    assert_moved(ready, given.replace("\\", "/"), shown)
    ready.inbound("a.pkt", EMPTY)
    before = ready.snapshot()
    assert ready.toss().status == 0
    assert_changes(ready, before, {"IN/a.pkt": GONE})  # an older one was there already


def test_processeddir_may_be_any_directory_that_is_there(ready):
    ready.add_config("PROCESSEDDIR MSG\n")
    assert_moved(ready, "MSG", "MSG", created=False)


def test_only_the_last_part_of_processeddir_is_made(ready):
    ready.add_config("PROCESSEDDIR not/there\n")
    assert_stays(ready, not_moved("a.pkt", "not\\there"))


@posix_only("Windows takes no path of that length")
def test_a_processeddir_of_255_characters_is_used_whole(ready):
    directory = "OUT/" + "p" * 251
    ready.add_config(f"PROCESSEDDIR {directory}\n")
    assert_moved(ready, directory, directory.replace("/", "\\"))


@posix_only("Wine has one volume for all of the host's files")
def test_a_processeddir_on_another_file_system_gets_the_whole_file(ready):
    if os.stat("/dev/shm").st_dev == os.stat(ready.root).st_dev:
        pytest.skip("there is only one file system here")
    data = ready.inbound("b.pkt", Packet().pack() + bytes(range(256)) * 5000)
    before = ready.snapshot()
    with tempfile.TemporaryDirectory(dir="/dev/shm") as elsewhere:
        ready.add_config(f"PROCESSEDDIR {elsewhere}\n")
        before["CVTOSS32.CFG"] = ready.read("CVTOSS32.CFG")
        run = ready.toss()
        shown = elsewhere.replace("/", "\\")
        ends = {name: lines[-1] for name, lines in run.blocks().items()}
        assert ends == {name: moved(name, shown) for name in ("a.pkt", "b.pkt")}
        assert (run.tail(), run.status) == (tail(2), 0)
        assert_changes(ready, before, {"IN/a.pkt": GONE, "IN/b.pkt": GONE})
        found = {path.name: path.read_bytes() for path in Path(elsewhere).iterdir()}
        assert found == {"a.pkt": EMPTY.pack(), "b.pkt": data}


# Moves that fail.


@pytest.mark.parametrize("filled", [False, True])
def test_a_directory_in_the_way_makes_the_move_fail_and_the_file_stays(ready, filled):
    ready.path("IN/processed/a.pkt").mkdir(parents=True)
    if filled:
        ready.write("IN/processed/a.pkt/x", "x")
    assert_stays(ready, not_moved("a.pkt"))


def test_a_file_in_the_place_of_the_processed_directory_makes_every_move_fail(ready):
    ready.write("IN/processed", "no directory")
    assert_stays(ready, not_moved("a.pkt"), ignored=1)


def test_an_older_file_that_cannot_be_removed_makes_the_move_fail_and_both_stay(ready):
    older = ready.write("IN/processed/a.pkt", "the older one")
    with undeletable(older):
        assert_stays(ready, not_moved("a.pkt"))


SPELLINGS = ["IN", "IN/", "IN\\", "./IN", "IN/.", "IN//", "IN/../IN", "MSG/../IN", "IN/processed/.."]


@pytest.mark.parametrize("spelling", SPELLINGS + (["in", "iN"] if WINDOWS else ["link", "link/."]))
def test_a_processeddir_that_is_the_inbound_directory_fails_and_keeps_the_file(ready, spelling):
    if "link" in spelling:
        ready.path("link").symlink_to("IN")
    ready.path("IN/processed").mkdir()
    ready.add_config(f"PROCESSEDDIR {spelling}\n")
    assert_stays(ready, not_moved("a.pkt", spelling.replace("/", "\\")))


def test_a_processeddir_that_is_the_inbound_directory_by_its_whole_path_fails_and_keeps_the_file(ready):
    whole = str(ready.path("IN"))
    ready.add_config(f"PROCESSEDDIR {whole}\n")
    assert_stays(ready, not_moved("a.pkt", whole.replace("/", "\\")))


@posix_only("links need a privilege on Windows")
@pytest.mark.parametrize("older", ["../../store/mail", "../../other", "nowhere", "../a.pkt"])
def test_a_link_is_moved_over_an_older_link_of_its_name(ready, older):
    """Removing a link to make room loses nothing, even if it leads to the same file."""
    mail = ready.write("store/mail", EMPTY.pack())
    ready.write("other", b"x")
    ready.path("IN/a.pkt").unlink()
    ready.path("IN/a.pkt").symlink_to("../store/mail")
    ready.path("IN/processed").mkdir()
    ready.path("IN/processed/a.pkt").symlink_to(older)
    assert_run(ready.toss(), 0, [*head(1), "Found: a.pkt", *EMPTY_LINES, moved("a.pkt"), *tail(1)])
    assert not ready.path("IN/a.pkt").is_symlink()
    assert os.readlink(ready.path("IN/processed/a.pkt")) == "../store/mail"
    assert mail.read_bytes() == EMPTY.pack()


def test_a_move_that_fails_keeps_no_other_file_back(ready):
    for number in range(5):
        ready.inbound(f"{number}.pkt", EMPTY)
    ready.path("IN/processed/2.pkt").mkdir(parents=True)
    run = ready.toss()
    ends = {name: lines[-1] for name, lines in run.blocks().items()}
    names = ["0.pkt", "1.pkt", "3.pkt", "4.pkt", "a.pkt"]
    assert ends == {name: moved(name) for name in names} | {"2.pkt": not_moved("2.pkt")}
    assert (run.tail(), run.status) == (tail(5), 1)
    assert ready.path("IN/2.pkt").is_file()


def test_what_could_not_be_moved_is_tossed_again_and_its_messages_are_duplicates_then(site):
    site.conferences(echo("FIDO"))
    message = echomail("FIDO", "text", msgid="1:2/3 abc")
    packet = Packet([message])
    data = site.inbound("a.pkt", packet)
    site.path("IN/processed/a.pkt").mkdir(parents=True)
    before = site.snapshot()
    base = MessageBase(1)
    wrote = base.store(message, body_lines("text"), msgid="1:2/3 abc")
    lines = ["Found: a.pkt", packet.log_line(), wrote, parsed(1), not_moved("a.pkt")]
    assert_run(site.toss(), 1, [*head(1), *lines, *tail(0)])
    assert_changes(site, before, message_files(base))

    site.path("IN/processed/a.pkt").rmdir()
    dropped = "  msg 1: duplicate (MSGID 1:2/3 abc already seen in conf 1) -- SKIPPED"
    lines = ["Found: a.pkt", packet.log_line(), dropped, parsed(1), moved("a.pkt")]
    assert_run(site.toss(), 0, [*head(1), *lines, *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/a.pkt/": GONE, "IN/processed/a.pkt": data}
    assert_changes(site, before, {**changes, **message_files(base)})


# Deletion.


def test_a_file_that_cannot_be_deleted_stays_and_sets_the_status(ready):
    ready.add_config("KEEPPROCESSED no\n")
    with undeletable(ready.path("IN/a.pkt")):
        assert_stays(ready, "  ERROR: processed but could not delete IN/a.pkt", kept=False)
    before = ready.snapshot()
    lines = ["Found: a.pkt", *EMPTY_LINES, "  deleted (KEEPPROCESSED no)", *tail(1)]
    assert_run(ready.toss(), 0, [*banner(kept=False), *head(1)[3:], *lines])
    assert_changes(ready, before, {"IN/a.pkt": GONE})

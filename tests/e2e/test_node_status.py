"""Node status: what counts as idle, what ends a run immediately, and one real wait of ten seconds."""

import os
import time

import pytest

from formats.conference_table import echo
from formats.message_base import read_message_base
from formats.node_status import Node
from formats.packet import Packet, echomail
from harness.compare import assert_run, assert_unchanged, banner, moved, parsed, tail
from harness.run import Run, unstamp
from harness.site import LOCK, LOG, Site
from harness.start_up import NODES_UNKNOWN, assert_aborted, loaded, locked
from harness.target import to_line_feeds
from harness.waiting import kill, waits

FILE = "CONF/WORK/CVWHOSON.DAT"
SHOWN = "CONF\\WORK/CVWHOSON.DAT"
NOT_OPEN = f"ERROR: could not open {SHOWN} to verify that all Corvane nodes are free"
INVALID_SIZE = f"ERROR: {SHOWN} has an invalid size or could not be read"
RELEASE_FAILED = f"WARNING: could not remove lock file {LOCK}"


def all_idle(count: int) -> str:
    return f"Node check: {count} node record(s), all idle"


@pytest.mark.parametrize("count", [1, 1000])
def test_a_run_goes_on_when_every_node_is_idle(ready, count):
    ready.nodes(*[Node()] * count)
    assert_run(ready.toss(), 0, [*banner(), loaded(1), all_idle(count), *tail(0)])


@pytest.mark.parametrize("size", [0, 5, 13])
def test_the_file_is_at_least_one_record_and_only_whole_ones(ready, size):
    ready.write(FILE, b"\xff" * size)
    assert_aborted(ready, loaded(1), INVALID_SIZE, NODES_UNKNOWN)


def test_a_missing_file_ends_the_run_at_once(ready):
    ready.path(FILE).unlink()
    assert_aborted(ready, loaded(1), NOT_OPEN, NODES_UNKNOWN)
    ready.path(FILE).mkdir()
    assert_aborted(ready, loaded(1), NOT_OPEN, NODES_UNKNOWN)


def test_the_file_is_looked_for_in_workdir(ready):
    ready.add_config("WORKDIR other/place\n")
    before = ready.snapshot()
    run = ready.toss()
    directories = "Inbound dir: IN   Config dir: CONF   Work dir: other\\place   Message dir: MSG"
    error = "ERROR: could not open other\\place/CVWHOSON.DAT to verify that all Corvane nodes are free"
    assert_run(run, 1, [*banner(directories=directories), loaded(1), error, NODES_UNKNOWN])
    assert_unchanged(ready, before)


@pytest.mark.parametrize(
    ("nodes", "line"),
    [
        ([Node(user=0)], waits(1, 0, 0)),
        ([Node(), Node(user=1, mode=0xFF), Node(user=2, mode=3), Node()], waits(2, 1, 0xFF)),
        ([Node(user=65534, mode=0xBC)], waits(1, -2, 0xBC)),
    ],
    ids=lambda value: value[:40] if isinstance(value, str) else "",
)
def test_the_first_busy_node_is_named_and_waited_for(ready, nodes, line):
    ready.nodes(*nodes)
    process = ready.start("-toss")
    ready.wait_for_log(line, process)
    kill(process)
    assert ready.path(LOCK).is_file()
    assert not ready.path("IN/processed").exists()


# One real wait. Each of these sites has busy nodes at first; all wait the same ten seconds.

FIRST = [Node(), Node(user=5, mode=0x0A)]
MESSAGE = echomail("FIDO", "Hello")
OTHER_OWNER = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"


def becomes_idle(site: Site) -> None:
    site.nodes(Node(), Node())


def stays_busy_elsewhere(site: Site) -> None:
    """Its lock is made old meanwhile, as after a much longer wait."""
    os.utime(site.path(LOCK), (time.time() - 1700, time.time() - 1700))
    site.nodes(Node(user=65534, mode=0xF0), Node(user=5, mode=0x0A))


def loses_its_file(site: Site) -> None:
    site.path(FILE).unlink()


def grows_by_a_byte(site: Site) -> None:
    site.write(FILE, site.read(FILE) + b"\xff")


def loses_its_lock(site: Site) -> None:
    becomes_idle(site)
    site.path(LOCK).unlink()
    site.path(LOCK).mkdir()


def gets_another_message_base(site: Site) -> None:
    """As after a restore from a backup: MSGDIR is now another directory, without the lock."""
    becomes_idle(site)
    site.path("MSG").rename(site.path("OLD"))
    site.path("MSG").mkdir()
    site.inbound("b.pkt", Packet([MESSAGE]))


def finds_another_run(site: Site) -> None:
    becomes_idle(site)
    site.write(LOCK, OTHER_OWNER.encode() + b"\n")


CHANGES = (
    becomes_idle,
    stays_busy_elsewhere,
    loses_its_file,
    grows_by_a_byte,
    loses_its_lock,
    gets_another_message_base,
    finds_another_run,
)


@pytest.fixture(scope="module")
def waited(tmp_path_factory):
    """By the name of each change: the site, and the run that noticed the change at its second look."""
    sites = {change: Site(tmp_path_factory.mktemp(change.__name__) / "site") for change in CHANGES}
    processes = {}
    for change, site in sites.items():
        site.conferences(echo("FIDO"))
        site.nodes(*FIRST)
        site.inbound("a.pkt", Packet())
        processes[change] = site.start("-toss")
    for change, site in sites.items():
        site.wait_for_log(waits(2), processes[change])
        change(site)
    results: dict[str, tuple[Site, Run]] = {}
    for change, site in sites.items():
        if change is not stays_busy_elsewhere:
            results[change.__name__] = (site, site.finish(processes[change], site.path(LOG), b""))
    site, process = sites[stays_busy_elsewhere], processes[stays_busy_elsewhere]
    site.wait_for_log(waits(1, -2, 0xF0), process)
    kill(process)
    results["stays_busy_elsewhere"] = (site, Run(process.returncode, "", *unstamp(to_line_feeds(site.read(LOG)))))
    yield results
    for site in sites.values():
        site.program.unlink()


TOSSED = ["Found: a.pkt", Packet().log_line(), parsed(0), moved("a.pkt"), *tail(1)]


def test_a_node_that_becomes_idle_lets_the_run_go_on_at_the_next_look(waited):
    site, run = waited["becomes_idle"]
    assert_run(run, 0, [*banner(), loaded(1), waits(2), all_idle(2), *TOSSED])
    assert site.path("IN/processed/a.pkt").is_file()
    assert not site.path(LOCK).exists()


def test_the_lock_stays_fresh_during_the_wait(waited):
    site, _ = waited["stays_busy_elsewhere"]
    assert time.time() - site.path(LOCK).stat().st_mtime < 600


def test_the_message_base_is_opened_after_the_wait(waited):
    site, run = waited["gets_another_message_base"]
    assert run.status == 0
    assert len(read_message_base(site.path("MSG"), 1).ptr) == 1
    assert sorted(path.name for path in site.path("OLD").iterdir()) == ["CVTOSS.BSY"]
    assert not site.path(LOCK).exists()


def test_another_runs_lock_after_the_wait_ends_the_run_as_at_its_start(waited):
    site, run = waited["finds_another_run"]
    assert_run(run, 1, [*banner(), loaded(1), waits(2), f"Lock owner: {OTHER_OWNER}", locked()])
    assert site.read(LOCK) == OTHER_OWNER.encode() + b"\n"
    assert site.path("IN/a.pkt").is_file()


def test_each_reading_starts_from_the_first_node(waited):
    site, run = waited["stays_busy_elsewhere"]
    assert run.lines == [*banner(), loaded(1), waits(2), waits(1, -2, 0xF0)]
    assert site.path("IN/a.pkt").is_file()


@pytest.mark.parametrize(("change", "error"), [("loses_its_file", NOT_OPEN), ("grows_by_a_byte", INVALID_SIZE)])
def test_a_file_that_cannot_be_read_any_more_ends_the_wait(waited, change, error):
    site, run = waited[change]
    assert_run(run, 1, [*banner(), loaded(1), waits(2), error, NODES_UNKNOWN])
    assert site.path("IN/a.pkt").is_file()
    assert not site.path(LOCK).exists()


def test_a_lock_that_cannot_be_removed_is_warned_of_at_the_end(waited):
    site, run = waited["loses_its_lock"]
    assert_run(run, 0, [*banner(), loaded(1), waits(2), all_idle(2), *TOSSED, RELEASE_FAILED])
    assert site.path(LOCK).is_dir()

"""Attacks by a user who may write only in INBOUND, at the moments at which they could succeed."""

import os
import re
import tempfile
import time
from pathlib import Path

import pytest

from formats.packet import Packet
from harness.site import Site
from harness.target import RUNNER
from tools.faulty import FaultyToss
from tools.halts import calls, run_with_halt
from tools.kills import LIMIT, Point, needs_strace, strace, trace_file
from tools.sites import Sites
from tools.toss_scene import PROCESSED, SOURCE

pytestmark = needs_strace

TOSS = FaultyToss()
NOT_MOVED = "  ERROR: processed but could not move to {}; source remains inbound"
SCRIPT = b"#!/bin/sh\n"
NEIGHBOUR = 65534
needs_root = pytest.mark.skipif(bool(RUNNER) or os.geteuid() != 0, reason="needs root, to give a link to another user")


def shared(sites: Sites) -> Site:
    """A site in whose INBOUND everybody may write."""
    site = sites.fresh()
    TOSS.lay(site)
    site.write("bin/cvtoss32-exchange", SCRIPT)
    site.path("IN").chmod(0o777)
    return site


def assert_kept(site: Site) -> None:
    assert site.read("bin/cvtoss32-exchange") == SCRIPT
    assert [path.name for path in site.path("bin").iterdir()] == ["cvtoss32-exchange"]


@needs_root
@pytest.mark.parametrize("call, path", [("mkdir", PROCESSED), ("pwrite64", "MSG/CVMSG02.SIG")])
def test_a_neighbour_who_turns_processed_into_a_link_gets_no_file_where_it_leads(sites, call, path):
    point = calls(shared(sites), "-toss", call, path)[-1]
    site = shared(sites)
    script = site.path("IN/cvtoss32-exchange")
    site.path(f"IN/{SOURCE}").rename(script)

    def turn() -> None:
        site.path(PROCESSED).rename(site.path("IN/aside"))
        site.path(PROCESSED).symlink_to("../bin")
        os.lchown(site.path(PROCESSED), NEIGHBOUR, NEIGHBOUR)

    run = run_with_halt(site, "-toss", point, turn)
    assert run.status == 1
    assert NOT_MOVED.format(f"{PROCESSED}/{script.name}") in run.lines
    assert script.read_bytes() == TOSS.source
    assert_kept(site)


def test_a_neighbour_who_puts_links_where_bad_packets_are_saved_overwrites_nothing(sites):
    site = shared(sites)
    packet = site.inbound(SOURCE, Packet(closing=b"\x02\x00"))
    site.path("IN/badmsgs").mkdir()
    now = int(time.time())
    for seconds in range(now - 1, now + 60):
        site.path(f"IN/badmsgs/BAD_{seconds}.PKT").symlink_to("../../bin/cvtoss32-exchange")
    assert site.toss().status == 0
    (saved,) = [path for path in site.path("IN/badmsgs").iterdir() if not path.is_symlink()]
    assert saved.read_bytes() == packet
    assert_kept(site)


def test_a_neighbour_who_puts_a_pipe_in_place_of_a_source_does_not_hang_its_move_to_another_disk(sites):
    point = calls(shared(sites), "-toss", "pwrite64", "MSG/CVMSG02.SIG")[-1]
    site = shared(sites)
    source = site.path(f"IN/{SOURCE}")
    if os.stat("/dev/shm").st_dev == os.stat(site.root).st_dev:
        pytest.skip("there is only one file system here")

    def put_pipe() -> None:
        source.unlink()
        os.mkfifo(source)

    with tempfile.TemporaryDirectory(dir="/dev/shm") as elsewhere:
        site.add_config(f"PROCESSEDDIR {elsewhere}\n")
        run = run_with_halt(site, "-toss", point, put_pipe)
        assert list(Path(elsewhere).iterdir()) == []
    assert run.status == 1
    assert source.is_fifo()


LOOKS = ("-e", "trace=newfstatat,renameat2")


def last_look(site: Site) -> Point:
    """The call that looks at the source just before it is renamed; the site cannot be used again."""
    looks = 0
    strace(site, "-toss", *LOOKS).communicate(timeout=LIMIT)
    for line in trace_file(site).read_text(encoding="latin-1").splitlines():
        looks += re.match(r"\d+ +newfstatat\(", line) is not None
        if "renameat2(" in line:
            return Point("newfstatat", looks, f"IN/{SOURCE}")
    raise AssertionError("nothing was renamed")


def test_a_neighbour_who_takes_the_name_of_a_source_between_look_and_rename_gets_his_file_back(sites):
    point = last_look(shared(sites))
    site = shared(sites)
    site.write("next", b"the next mail")
    swap = lambda: site.path("next").rename(site.path(f"IN/{SOURCE}"))
    run = run_with_halt(site, "-toss", point, swap, *LOOKS)
    assert trace_file(site).read_text(encoding="latin-1").count("renameat2(") == 2, "not renamed and put back"
    assert NOT_MOVED.format(f"{PROCESSED}/{SOURCE}") in run.lines
    assert run.status == 1
    assert site.read(f"IN/{SOURCE}") == b"the next mail"
    assert list(site.path(PROCESSED).iterdir()) == []

"""cvkit verify: what tosses, scans and the BBS write is sound, and while they are at work the answer is unsettled."""

import os
import threading
import time

import pytest
from formats.conference_table import echo
from formats.message_base import DAT_SIZE, MessageBase
from formats.node_status import Node
from formats.packet import Packet, echomail
from formats.zip_bundle import Entry, bundle
from harness.kit import found
from harness.site import LOCK
from harness.target import posix_only
from smallest_bases import A, B, DAT, NOTE, base_of, cut, loose_text
from smallest_sites import bundle_left, packet_left, scanned


def test_what_tosses_and_scans_write_is_sound(site, kit):
    scanned(site)
    site.inbound("1.pkt", Packet([A, B, echomail("FIDO", "", msgid="1:2/3 empty"),
                                  echomail("FIDO", "text", msgid="1:2/3 names", sender="S" * 40, to="T" * 30)]))
    site.inbound("2.zip", bundle(*[Entry(f"{n}.pkt", Packet([echomail("FIDO", "long " * 12, *["line"] * n,
                                                                     msgid=f"1:2/3 {n:08x}")]).pack())
                                   for n in range(300)]))
    assert site.toss().status == 0
    assert kit.json("verify") == {"sound": True, "unsettled": None, "findings": [], "repaired": [], "backup": None,
                                  "backups": []}
    assert kit("verify").text == "The message base is sound.\n"


@pytest.mark.parametrize("seed", range(3))
def test_a_generated_site_of_any_size_is_sound(site, kit, seed):
    sizes = [0, 1, 7, 400][seed:]
    site.conferences(*[echo(f"AREA{n}") for n in range(len(sizes))])
    for conference, size in enumerate(sizes, 1):
        base = MessageBase(conference)
        for n in range(size):
            base.add(b"x" * (n * 37 % 700), sender=f"Sender {n}", deleted=int(n % 7 == 3),
                     is_reply=int(n % 3 == 2), thread=n - 1 if n % 3 == 2 else n + 1)
            base.add_sig(f"1:2/3 {n:08x}", n + 1)
        site.put(base)
    assert found(kit, 0) == []


@pytest.mark.parametrize("renumbered", [False, True])
def test_packing_and_renumbering_leave_notes_only(ready, kit, renumbered):
    """Messages 1, 3 and 5 are packed away; the last reply was to one of them."""
    old, base = base_of(), MessageBase(1)
    for n in range(1, 6):
        old.add_sig(f"1:2/3 {n}", n)
    for number in (2, 4):
        base.add(b"text\x01", number=number // 2 if renumbered else number, is_reply=1, thread=5)
    base.sig = old.sig
    ready.put(base)
    assert {severity for _, severity, _, _ in found(kit, 0)} == {NOTE}


@posix_only("the lock's owner has to be a process of this system")
def test_files_of_a_run_at_work_are_no_leftovers(ready, kit):
    ready.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-scan pid={os.getpid()} started={int(time.time())}\n")
    packet_left(ready)
    bundle_left(ready)
    answer = kit.json("verify")
    assert (answer["unsettled"], answer["findings"]) == ("a run is at work", [])
    assert "Unsettled: a run is at work." in kit("verify").text


def test_a_fresh_lock_without_an_owner_may_belong_to_a_run_at_work(ready, kit):
    ready.write(LOCK, b"")
    assert kit.json("verify")["unsettled"] == "a run is at work"


def test_with_a_caller_on_the_answer_is_unsettled(ready, kit):
    ready.nodes(Node(), Node(user=5))
    loose_text(ready)
    answer = kit.json("verify", status=1)
    assert (answer["unsettled"], [f["code"] for f in answer["findings"]]) == ("a caller is on the BBS", ["loose-text"])


def test_what_a_caller_finishes_meanwhile_is_no_finding(ready, kit):
    ready.nodes(Node(user=5))
    loose_text(ready)
    timer = threading.Timer(0.3, lambda: cut(ready, DAT, 2 * DAT_SIZE))
    timer.start()
    assert found(kit, 0) == []
    timer.join()


@posix_only("a pseudo-terminal")
def test_a_terminal_shows_the_progress(site, kit):
    site.conferences(echo("FIDO"), echo("TECH"))
    shown = kit.errors_on_terminal("verify")
    assert "\rjudging [" + "#" * 15 + "-" * 15 + "]  50%" in shown and shown.endswith(" \r")
    assert kit("verify").errors == ""

"""cvkit ledger: the sums are those that the test computed when it generated the mail."""

import gzip
import os
import random
import re
from collections import Counter

import pytest
from formats.conference_table import Conference, echo, netmail
from formats.packet import PackedMessage, Packet
from formats.packet import netmail as packed_netmail
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, Entry, bundle
from harness.kit import changing
from harness.ledger import CUT, edit_log, fates, ledger, mail, states, tossed
from harness.site import LOCK, LOG
from harness.target import WINDOWS, posix_only

@pytest.fixture
def post(site):
    """A site with FIDO, TECH, a conference for netmail, and no catch-all."""
    site.conferences(echo("FIDO"), echo("TECH"), netmail())
    return site


def test_a_site_without_mail_has_nothing_to_account_for(post, kit):
    ledger(kit)
    assert "There is no TOSSER.LOG." in kit("ledger").text
    assert post.toss().status == 0
    ledger(kit)


def test_every_fate_that_a_toss_knows(post, kit):
    tossed(post, mail(1), mail(2, "TECH"), mail(1), mail(3, "NOWHERE"), packed_netmail("x", msgid="n"),
           mail(4, msgid=False))
    messages = ledger(kit, stored=4, duplicate=1, dropped=1)
    told = [(one["file"], one["entry"], one["number"], one["fate"], one["conference"], one["message_number"])
            for one in messages]
    assert told == [("a.pkt", None, 1, "stored", 1, 1), ("a.pkt", None, 2, "stored", 2, 1),
                    ("a.pkt", None, 3, "duplicate", 1, 1), ("a.pkt", None, 4, "dropped", None, None),
                    ("a.pkt", None, 5, "stored", 3, 1), ("a.pkt", None, 6, "stored", 1, 2)]
    assert [one["msgid"] for one in messages] == ["2:250/1 00000001", "2:250/1 00000002", "2:250/1 00000001",
                                                  "2:250/1 00000003", "n", None]
    assert states(kit) == {"a.pkt": "processed"}
    text = kit("ledger").text
    assert "conf 1 #2" in text and "no conference carries its area" in text


def test_mail_in_the_catch_all_is_parked_and_mail_without_netmail_conference_dropped(site, kit):
    site.conferences(echo("FIDO"), echo("*"))
    tossed(site, mail(1, "NOWHERE"), packed_netmail("x"), mail(2, "NOWHERE", subject="Re: x"))
    messages = ledger(kit, stored=2, dropped=1)
    assert [(one["conference"], one["parked"]) for one in messages] == [(2, True), (None, False), (2, True)]
    text = kit("ledger").text
    assert "(parked in the catch-all)" in text and "no conference takes netmail" in text


def test_a_deleted_message_is_stored(post, kit):
    tossed(post, mail(1))
    base = post.message_base(1)
    base.ptr[0].deleted = 1
    post.put(base)
    assert [one["deleted"] for one in ledger(kit, stored=1)] == [True]
    assert "(deleted)" in kit("ledger").text


def test_messages_with_cut_names_and_invalid_dates_are_recognised(post, kit):
    tossed(post, mail(1, sender="S" * 62, to="T" * 31, subject="U" * 90, date="no date", attribute=1),
           mail(2, sender="\x84" * 30, subject="", orig_net=65535, orig_node=65535))
    ledger(kit, stored=2)


def test_waiting_mail_and_files_that_are_no_mail(post, kit):
    post.inbound("b.pkt", Packet([mail(1), mail(2)]))
    post.inbound("c.su0", bundle(Entry("1.pkt", Packet([mail(3)]).pack(), DEFLATED), Entry("x", b"no packet")))
    post.inbound("picture.jpg", b"\xff\xd8 no mail")
    post.inbound(LOG, b"no log of ours")
    post.inbound("short.zip", b"PK\x03\x04")
    messages = ledger(kit, waiting=3)
    assert [(one["file"], one["entry"]) for one in messages] == [("b.pkt", None), ("b.pkt", None), ("c.su0", "1.pkt")]
    assert states(kit) == {"b.pkt": "waiting", "c.su0": "waiting", "short.zip": "waiting"}


def test_a_retained_packet_waits_from_the_refused_message_on(post, kit):
    bad = mail(2)
    bad.text = b"AREA:\r" + bad.text
    tossed(post, mail(1), bad, mail(3), status=1)
    for _ in range(2):
        assert fates(ledger(kit, stored=1, waiting=2)) == ["stored", "waiting", "waiting"]
        assert states(kit) == {"a.pkt": "retained"}
        assert post.toss().status == 1  # the first is a duplicate now, of itself
    post.path("IN/a.pkt").unlink()
    assert fates(ledger(kit, unknown=2)) == ["unknown"] * 2
    assert states(kit) == {"a.pkt": "gone"}


def test_mail_without_msgid_that_was_stored_by_each_toss_counts_once(post, kit):
    unreadable = Entry("2.pkt", Packet([mail(2)]).pack(), DATA_DESCRIPTOR)
    unreadable.flags = DATA_DESCRIPTOR
    post.inbound("a.su0", bundle(Entry("1.pkt", Packet([mail(1, msgid=False)]).pack()), unreadable))
    for _ in range(3):
        assert post.toss().status == 1
    assert [one["message_number"] for one in ledger(kit, stored=1)] == [3]
    assert states(kit) == {"a.su0": "retained"}


def test_a_message_that_a_killed_toss_stored_without_its_line_is_stored(post, kit):
    tossed(post, mail(1))
    assert edit_log(post, "-> wrote|parsed from|moved to|complete") == 4
    tossed(post, mail(1))
    message, = ledger(kit, stored=1)
    assert (message["message_number"], message["reason"]) == (1, "by a toss that ended before it said so")


def test_a_message_that_another_file_brought_before_a_killed_toss_is_a_duplicate(post, kit):
    tossed(post, mail(1), name="first.pkt")
    tossed(post, mail(1))
    assert edit_log(post, "already seen|processed/a") == 2
    tossed(post, mail(1))
    messages = ledger(kit, stored=1, duplicate=1)
    assert {one["file"]: one["fate"] for one in messages} == {"first.pkt": "stored", "a.pkt": "duplicate"}


@pytest.mark.parametrize("keep", ["yes", "no"])
def test_damaged_messages_are_in_the_saved_packet(post, kit, keep):
    post.add_config(f"KEEPPROCESSED {keep}\n")
    tossed(post, mail(1), mail(2), closing=CUT)
    messages = ledger(kit, stored=2, damaged=1)
    saved, = post.path("IN/badmsgs").iterdir()
    assert messages[2]["reason"].endswith(saved.name)
    assert states(kit) == {"a.pkt": "bad"}
    saved.unlink()
    ledger(kit, **({"stored": 2, "damaged": 1} if keep == "yes" else {"unknown": 2}))


def test_a_damaged_packet_that_could_not_be_saved_says_so(post, kit):
    post.write("IN/badmsgs", b"in the way")
    tossed(post, mail(1), closing=CUT)
    assert ledger(kit, stored=1, damaged=1)[1]["reason"] == "its packet could not be saved"


def test_the_mail_of_deleted_sources_is_known_from_the_log(post, kit):
    post.add_config("KEEPPROCESSED no\n")
    post.inbound("b.su0", bundle(Entry("1.pkt", Packet([mail(1), mail(2)]).pack())))
    tossed(post, mail(1), mail(3, "NOWHERE"))
    messages = ledger(kit, unknown=4)
    assert [(one["entry"], one["number"], one["conference"], one["message_number"]) for one in messages] == [
        (None, 1, 1, 1), (None, 2, None, None), ("1.pkt", 1, 1, None), ("1.pkt", 2, 1, 2)]
    assert states(kit) == {"a.pkt": "gone", "b.su0": "gone"}


# Questions about some of the mail.

@pytest.fixture
def two_days(post):
    """Mail of two days; the log of the first day is rotated and compressed."""
    for serial, day in ((1, "2025-11-20"), (2, "2025-11-21")):
        tossed(post, mail(serial), name=f"{serial}.pkt")
        part = re.sub(rb"(?m)^\[[-\d]{10}", b"[" + day.encode(), post.read(LOG))
        post.write(f"{LOG}.{3 - serial}.gz", gzip.compress(part))
        post.path(LOG).unlink()
    post.write(LOG, b"")
    return post


@pytest.mark.parametrize("arguments, serials", [
    ((), [1, 2]), (("--since", "2025-11-21"), [2]), (("--until", "2025-11-20"), [1]),
    (("--since", "2025-11-20T00:00", "--until", "2025-11-20 23:59:59"), [1]), (("--since", "today"), []),
    (("--since", "yesterday"), []), (("--until", "2d"), [1, 2]), (("1.pkt",), [1]),
    (("1.pkt", "IN/processed/2.pkt"), [1, 2]),
    (("--msgid", "2:250/1 00000002"), [2]),
])
def test_the_ledger_of_a_period_a_file_or_a_msgid(two_days, kit, arguments, serials):
    messages = ledger(kit, *arguments, **({"stored": len(serials)} if serials else {}))
    assert [one["file"] for one in messages] == [f"{serial}.pkt" for serial in serials]


def test_unaccounted_mail_needs_attention(two_days, kit):
    for question in (("3.pkt",), ("--msgid", "2:250/1 3")):
        assert "Neither the log nor any file" in kit("ledger", *question, status=1).text
    two_days.path("IN/processed/1.pkt").unlink()
    message, = ledger(kit, "--msgid", "2:250/1 00000001", unknown=1)
    assert (message["conference"], message["message_number"]) == (1, 1)


@pytest.mark.parametrize("date", ["", "x", "2026-11", "2026-11-2x", "-1d", "5 days", "2026-11-22T0:00"])
def test_an_invalid_date_is_refused(post, kit, date):
    if date:
        assert "this is no date: " in kit("ledger", f"--since={date}", status=2).errors


def test_a_log_in_another_place_can_be_named(two_days, kit):
    two_days.path("LOGS").mkdir()
    for part in two_days.root.glob(f"{LOG}*"):
        part.rename(two_days.path(f"LOGS/{part.name}"))
    ledger(kit, status=1, unaccounted=2)
    ledger(kit, "--log", f"LOGS/{LOG}", stored=2)


@pytest.mark.parametrize("damaged", [b"", b"no gzip", gzip.compress(b"x" * 5000)[:-9]])
def test_a_log_that_cannot_be_read_completely_gives_no_answer(post, kit, damaged):
    post.write(f"{LOG}.2.gz", damaged)
    assert kit("ledger", status=2).errors == f"cvkit: the log ./{LOG}.2.gz cannot be read to its end\n"


def test_a_base_that_cannot_be_read_gives_no_answer(post, kit):
    tossed(post, mail(1))
    post.path("MSG/CVMSG01.PTR").unlink()
    post.path("MSG/CVMSG01.PTR").mkdir()
    assert kit("ledger", status=2).errors == "cvkit: MSG/CVMSG01.PTR cannot be read\n"


@posix_only("modes are of POSIX systems")
@pytest.mark.skipif(not hasattr(os, "getuid") or os.getuid() == 0, reason="root reads everything")
def test_a_source_that_cannot_be_read_gives_no_answer(post, kit):
    tossed(post, mail(1))
    post.path("IN/processed/a.pkt").chmod(0)
    assert "a.pkt cannot be read" in kit("ledger", status=2).errors


def test_while_a_run_is_at_work_the_answer_says_that_it_may_change(post, kit):
    post.write(LOCK, b"")
    assert kit.json("ledger")["unsettled"] == "a run is at work"
    assert "Unsettled: a run is at work." in kit("ledger").text


@pytest.mark.parametrize("command", [("ledger",), ("tidy", "--older", "0d"), ("report",)], ids=" ".join)
@pytest.mark.parametrize("name", ["MSG/CVMSG01.PTR", LOG])
def test_files_that_change_while_they_are_read_make_the_answer_unsettled(post, kit, command, name):
    tossed(post, mail(1))
    post.write(f"{LOG}.1", b"[2020-01-01 00:00:00] a long time to read\n" * 200_000)
    assert kit.json(*command, status=None)["unsettled"] is None
    with changing(post.path(name)):
        assert kit.json(*command, status=None)["unsettled"] == "files change while they are read"


@posix_only("needs a pseudo-terminal")
@pytest.mark.parametrize("bar, command", [
    ("accounting", ("ledger", "--sum")), ("judging", ("tidy", "--older", "0d")),
    ("accounting", ("tidy", "--older", "0d")), ("repairing", ("verify", "--repair"))])
def test_a_progress_bar_is_shown_on_a_terminal_only(post, kit, bar, command):
    tossed(post, mail(1))
    shown = kit.errors_on_terminal(*command)
    assert f"\r{bar} [{'#' * 30}] 100%" in shown and shown.endswith(" \r")
    assert kit(*command, status=None).errors == ""


# A month; under Wine, where a toss takes long, ten days.

DAYS = 10 if WINDOWS else 30

def test_a_month_of_mail_is_accounted_for_to_the_last_message(site, kit):
    """Two exchanges a day for a month, of bundles and packets: the test computes the fate of every message."""
    site.conferences(echo("FIDO"), echo("TECH"), netmail(), Conference())
    chance = random.Random(12)
    expected: Counter = Counter()
    known: set[tuple[str, int]] = set()
    serial = 0

    def some_mail() -> PackedMessage:
        nonlocal serial
        area = chance.choice(["FIDO", "FIDO", "tech", "NOWHERE", ""])
        again = sorted(number for where, number in known if where == area.upper())
        serial += 1
        number = chance.choice(again) if again and chance.random() < 0.2 else serial
        with_msgid = chance.random() < 0.9 or number != serial
        if area == "NOWHERE":
            expected["dropped"] += 1
        elif (area.upper(), number) in known:
            expected["duplicate"] += 1
        else:
            expected["stored"] += 1
            if with_msgid:
                known.add((area.upper(), number))
        return mail(number, area, with_msgid) if area else packed_netmail(
            f"text {number}", msgid=f"2:250/1 {number:08x}" if with_msgid else "")

    def some_packet() -> bytes:
        packet = Packet([some_mail() for _ in range(chance.randrange(6))])
        if chance.random() < 0.04:
            packet.closing = CUT
            expected["damaged"] += 1
        return packet.pack()

    for day in range(DAYS):
        for part in range(2):
            for index in range(chance.randrange(3)):
                name = f"{day:02}{part}{index}"
                if chance.random() < 0.5:
                    site.inbound(f"{name}.pkt", some_packet())
                else:
                    site.inbound(f"{name}.su0", bundle(*(Entry(f"{n}.pkt", some_packet(), DEFLATED)
                                                         for n in range(1, chance.randrange(2, 5)))))
            assert site.toss().status == 0
    for index in range(2):
        site.inbound(f"last{index}.pkt", Packet([mail(9000 + index), mail(9100 + index)]))
    expected["waiting"] = 4
    before = site.snapshot()
    assert min(expected.values()) > 0 and len(expected) == 5
    messages = ledger(kit, **expected)
    stored = {(one["conference"], one["message_number"]) for one in messages if one["fate"] == "stored"}
    assert stored == {(number, record.number) for number in (1, 2, 3) for record in site.message_base(number).ptr}
    assert site.snapshot() == before

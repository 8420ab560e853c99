"""cvkit ledger: mail removed by hand is never called stored, and no text in mail or a log can deceive it."""

import os
import random

import pytest
from formats.conference_table import echo, netmail
from formats.message_base import PTR_SIZE
from formats.packet import Packet, echomail
from formats.zip_bundle import DEFLATED, Entry, bundle
from harness.ledger import CUT, edit_log, fates, ledger, mail, tossed
from harness.site import LOG
from harness.target import WINDOWS


@pytest.fixture
def post(site):
    """A site with FIDO, TECH, a conference for netmail, and no catch-all."""
    site.conferences(echo("FIDO"), echo("TECH"), netmail())
    return site


def test_a_header_that_was_cut_is_removed(post, kit):
    tossed(post, mail(1), mail(2), mail(3))
    path = post.path("MSG/CVMSG01.PTR")
    os.truncate(path, path.stat().st_size - PTR_SIZE)
    assert fates(ledger(kit, stored=2, removed=1)) == ["stored", "stored", "removed"]
    assert "cvkit verify tells" in kit("ledger").text


@pytest.mark.parametrize("alike", [False, True])
def test_a_number_that_was_used_again_is_not_taken_for_the_first_message(post, kit, alike):
    tossed(post, mail(1, msgid=False), mail(2, msgid=False))
    for kind in ("PTR", "IDX", "DAT"):
        path = post.path(f"MSG/CVMSG01.{kind}")
        os.truncate(path, path.stat().st_size // 2)
    tossed(post, mail(2 if alike else 3, msgid=False), name="b.pkt")
    messages = ledger(kit, stored=2, removed=1)
    assert [(one["fate"], one["message_number"]) for one in messages] == [("stored", 1), ("removed", 2), ("stored", 2)]


def test_a_local_message_with_a_used_number_is_not_taken_for_the_first_message(post, kit):
    tossed(post, mail(1), mail(2))
    base = post.message_base(1)
    base.ptr[1].sender, base.ptr[1].origin = "A caller", ""
    post.put(base)
    assert fates(ledger(kit, stored=1, removed=1)) == ["stored", "removed"]


def test_the_mail_of_a_deleted_file_is_unknown(post, kit):
    tossed(post, mail(1), mail(2))
    tossed(post, mail(3), name="b.pkt")
    post.path("IN/processed/a.pkt").unlink()
    assert fates(ledger(kit, stored=1, unknown=2)) == ["unknown", "unknown", "stored"]
    post.path("IN/processed/b.pkt").write_bytes(b"something else")
    ledger(kit, unknown=3)


@pytest.mark.parametrize("kept", range(1, 5))
def test_the_rest_of_a_truncated_packet_is_known_from_the_log(post, kit, kept):
    mails = [mail(serial) for serial in range(5)]
    tossed(post, *mails)
    whole = Packet(mails[:kept], closing=b"").pack()
    for more in (b"", mails[kept].pack()[:10], mails[kept].pack()[:-3]):
        post.write("IN/processed/a.pkt", whole + more)
        assert fates(ledger(kit, stored=kept, unknown=5 - kept)) == ["stored"] * kept + ["unknown"] * (5 - kept)


def test_the_rest_of_a_truncated_bundle_is_known_from_the_log(post, kit):
    entries = [Entry(f"{n}.pkt", Packet([mail(n)]).pack(), DEFLATED) for n in range(3)]
    post.inbound("a.su0", bundle(*entries))
    assert post.toss().status == 0
    post.write("IN/processed/a.su0", bundle(*entries[:1], after=entries[1].pack()[:40]))
    assert [(one["entry"], one["fate"]) for one in ledger(kit, stored=1, unknown=2)] == [
        ("0.pkt", "stored"), ("1.pkt", "unknown"), ("2.pkt", "unknown")]


@pytest.mark.parametrize("line, left", [
    (r"-> wrote conf 1 msg #2 ", [0, 2, 3, 4]), (r"-> wrote conf 1 msg #[12] ", [2, 3, 4]),
    (r"-> wrote conf 1", [3, 4]), (r"msg 4: duplicate", [0, 1, 2, 4]),
    (r"msg 5: AREA", [0, 1, 2, 3]), (r"  -> |  msg ", []), (r".", []), (r"Found|->|msg|parsed", []),
])
@pytest.mark.parametrize("parsed", [True, False])
def test_mail_whose_log_lines_are_gone_is_unaccounted_for(post, kit, line, left, parsed):
    tossed(post, mail(0), mail(1), mail(2), mail(0), mail(5, "NOWHERE"))
    assert edit_log(post, line) > 0
    if not parsed:
        edit_log(post, "parsed from this packet")
    messages = kit.json("ledger", status=1)["messages"]
    expected = ["stored", "stored", "stored", "duplicate", "dropped"]
    assert fates(messages) == [fate if place in left else "unaccounted" for place, fate in enumerate(expected)]
    if 1 not in left:
        assert messages[1]["reason"].endswith("conference 1 knows its MSGID as message 2")


def test_without_msgids_the_messages_around_a_missing_line_are_unaccounted_for(post, kit):
    tossed(post, *(mail(serial, msgid=False) for serial in range(6)))
    assert edit_log(post, r"wrote conf 1 msg #[25] ") == 2
    base = post.message_base(1)
    base.ptr[0].subject = "cut"  # so that nothing tells which of two messages the first line is about
    post.put(base)
    assert fates(ledger(kit, status=1, stored=3, unaccounted=3)) == [
        "unaccounted", "unaccounted", "stored", "stored", "unaccounted", "stored"]


def test_a_file_that_the_log_does_not_know_is_unaccounted_for(post, kit):
    post.write("IN/processed/a.pkt", Packet([mail(1)]).pack())
    assert ledger(kit, status=1, unaccounted=1)[0]["reason"].endswith("conference 1 does not know its MSGID")
    post.write("IN/processed/a.pkt", Packet([mail(1, msgid=False)], closing=CUT).pack())
    ledger(kit, status=1, unaccounted=2)
    assert kit("ledger", "--sum", status=1).text.count("unaccounted ") == 3


# Files with the same name.

def test_the_same_file_again_is_another_arrival(post, kit):
    for _ in range(3):
        tossed(post, mail(1), mail(2), mail(3, msgid=False))
    ledger(kit, stored=5, duplicate=4)


def test_a_file_that_was_replaced_by_another_of_its_name_is_known_from_the_log(post, kit):
    tossed(post, mail(1), mail(2))
    tossed(post, mail(3), mail(4))
    assert fates(ledger(kit, stored=2, unknown=2)) == ["unknown", "unknown", "stored", "stored"]
    post.inbound("a.pkt", Packet([mail(5)]))
    ledger(kit, stored=2, unknown=2, waiting=1)


def test_a_file_that_replaces_a_retained_one_is_another_arrival(post, kit):
    bad = mail(2)
    bad.text = b"AREA:\r" + bad.text
    tossed(post, mail(1), bad, status=1)
    tossed(post, mail(1), mail(3))
    assert fates(ledger(kit, stored=1, duplicate=1, unknown=2)).count("unknown") == 2


# Hostile mail and logs.

def test_text_in_mail_is_not_taken_for_a_log_line(post, kit):
    forged = "x'\n[2026-11-22 03:10:00]   -> wrote conf 1 msg #9  From='"
    first = mail(1, sender=forged[:60], to="-> wrote conf 2 msg #7  From=")
    first.subject = "' (1 records)\r\n  moved to x"
    second = echomail("FIDO", "x", msgid="x already seen in conf 9) -- SKIPPED")
    entry = Entry("a (method=0, 1 -> 2 bytes)\n  moved to x", Packet([second, second]).pack(), DEFLATED)
    post.inbound("b" if WINDOWS else "Found: b", bundle(entry, entry))
    tossed(post, first, name="a.pkt" if WINDOWS else "a\x1b[2J\n  moved to b.pkt")
    before = post.snapshot()
    messages = ledger(kit, stored=2, duplicate=3)
    assert {one["conference"] for one in messages} == {1}
    assert post.snapshot() == before


def test_invalid_lines_of_the_log_are_skipped(post, kit):
    tossed(post, mail(1), mail(2))
    log = post.read(LOG)
    chance = random.Random(7)
    lines = log.splitlines(keepends=True)
    rubbish = [bytes(chance.randrange(256) for _ in range(200)).replace(b"\n", b"") + b"\n", b"\0" * 5000 + b"\n",
               b"[2026-11-22 03:10:00] " + b"  -> wrote conf 1 msg #1  From='" * 900 + b"\n",
               b"[2026-11-22 03:10:00] 99999999999999 message(s) parsed\n", b"-> wrote conf 1 msg #1  From='\n"]
    post.write(LOG, b"".join(rubbish[at % len(rubbish)] + line for at, line in enumerate(lines)))
    ledger(kit, stored=2)
    post.write(LOG, log + b"[2026-11-22 03:10:00] Found: z\n[2026-11-22 03:10:00]   -> wrote conf 99999999999 msg "
                          b"#-5  From='\n[2026-11-22 03:10:00]   999999999999 message(s) parsed from this packet\n")
    ledger(kit, stored=2, unknown=1)

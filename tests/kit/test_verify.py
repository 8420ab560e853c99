"""cvkit verify: every kind of finding in the smallest site that shows it, and no finding in a sound site."""

import os
import re
import subprocess
import threading
import time
from pathlib import Path
from typing import Callable

import pytest
from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import DAT_SIZE, PTR_SIZE, MessageBase
from formats.node_status import Node
from formats.packet import Packet, echomail
from formats.zip_bundle import Entry, bundle
from harness.scan import SERIAL_FILE, Scan
from harness.site import LOCK, Site
from harness.target import posix_only

ROOT = Path(__file__).resolve().parents[2]
PTR, IDX, DAT, SIG = (f"MSG/CVMSG01.{kind}" for kind in ("PTR", "IDX", "DAT", "SIG"))
ADDRESS = "ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM Ours\n"
A, B = (echomail("FIDO", text, msgid=f"1:2/3 {text}") for text in ("one", "two"))


def base_of(*mails, conference: int = 1) -> MessageBase:
    base = MessageBase(conference)
    for mail in mails:
        store(base, mail)
    return base


def store(base: MessageBase, mail, **options) -> None:
    """Stores a message of one line, with the MSGID of its text unless another is given."""
    lines = mail.text.decode().split("\r")
    base.store(mail, lines[-2].encode() + b"\x01", **({"msgid": lines[1].removeprefix("\x01MSGID: ")} | options))


def put(site: Site, base: MessageBase, **files: bytes) -> None:
    """Writes a base, with some of its files as given."""
    site.put(base)
    for kind, data in files.items():
        site.write(f"MSG/{base.name(kind)}", data)


def cut(site: Site, path: str, by: int) -> None:
    os.truncate(site.path(path), site.path(path).stat().st_size - by)


def found(kit, status: int | None = 1) -> list[tuple]:
    """Code, severity, file and record of each finding."""
    return [(f["code"], f["severity"], f["file"].replace("\\", "/"), f["record"])
            for f in kit.json("verify", status=status)["findings"]]


# The smallest sites.

def odd_ptr(site):
    put(site, base_of(A), PTR=base_of(A).ptr[0].pack() + b"x" * 9)


def odd_idx(site):
    put(site, base_of(A), IDX=base_of(A).idx[0] + b"x")


def odd_dat(site):
    put(site, base_of(A), DAT=base_of(A).dat + b"x" * 127)


def no_headers(site):
    put(site, MessageBase(1, dat=bytes(DAT_SIZE)))


def index_without_headers(site):
    put(site, MessageBase(1, idx=base_of(A).idx))


def long_index(site):
    put(site, base_of(A), IDX=b"".join(base_of(A, B).idx))


def short_index(site):
    put(site, base_of(A, B), IDX=base_of(A).idx[0])


def gap_in_index(site):
    put(site, base_of(A, B), IDX=base_of(A, B).idx[1])


def other_number(site):
    base = base_of(A, B)
    put(site, base, IDX=base.idx[0][:8] + b"\x02" + base.idx[0][9:] + base.idx[1])


def other_sender(site):
    base = base_of(A)
    put(site, base, IDX=b"\xff" + base.idx[0][1:])


def other_recipient(site):
    base = base_of(A)
    put(site, base, IDX=base.idx[0][:4] + b"\xff" + base.idx[0][5:])


def other_thread(site):
    base = base_of(A)
    put(site, base, IDX=base.idx[0][:12] + bytes(4))


def header_with_a_hole(site):
    base = base_of(A)
    header = base.ptr[0].pack()
    put(site, base, PTR=header[:115] + b"\0" + header[116:])  # within the subject


def torn_message(site):
    base = base_of(A, B)
    put(site, base, DAT=base.dat[: DAT_SIZE + 3] + bytes(DAT_SIZE - 3))
    site.inbound("mail.pkt", Packet([A, B]))


def header_without_text(site):
    base = base_of(A)
    base.ptr[0].records = 0
    base.dat = b""
    site.put(base)


def text_lost(site):
    put(site, base_of(A, B))
    cut(site, DAT, DAT_SIZE)


def zero_header(site):
    put(site, base_of(A), PTR=base_of(A).ptr[0].pack() + bytes(PTR_SIZE))


def zero_text(site):
    base = MessageBase(1)
    base.add(b"x" * 300)
    base.dat = base.dat[:DAT_SIZE] + bytes(2 * DAT_SIZE)
    site.put(base)


def number_zero(site):
    base = MessageBase(1)
    base.add(number=0)
    site.put(base)


def same_number(site):
    base = MessageBase(1)
    base.add(b"one")
    base.add(b"two", number=1)
    site.put(base)


def out_of_order(site):
    base = MessageBase(1)
    base.add(b"one", number=2)
    base.add(b"two", number=1)
    site.put(base)


def loose_text(site):
    base = base_of(A)
    put(site, base, DAT=base.dat + bytes(2 * DAT_SIZE))


def text_between(site):
    base = base_of(A)
    base.dat += bytes(DAT_SIZE)
    store(base, B)
    site.put(base)


def same_text(site):
    base = MessageBase(1)
    base.add(b"x" * 300)
    base.add(where=2)
    base.dat = base.dat[: 3 * DAT_SIZE]
    site.put(base)


def too_many_texts(site):
    base = base_of(A)
    put(site, base, DAT=base.dat + bytes(65536 * DAT_SIZE))


def reply_to_nothing(site):
    base = MessageBase(1)
    base.add(is_reply=1, is_root=0, number=7, thread=3)
    site.put(base)


def half_line(site):
    base = base_of(A)
    put(site, base, SIG=base.sig + b"1:2/3 tw")


def zeros_for_many_lines(site):
    """A power cut left the size of many lines and none of their bytes: more than a piece of a line."""
    base = base_of(A)
    put(site, base, SIG=base.sig + bytes(1500))


def line_without_number(site):
    base = base_of(A)
    put(site, base, SIG=b"1:2/3 old\n" + base.sig)


def line_of_nothing(site):
    base = base_of(A)
    put(site, base, SIG=b"1:2/3 old\t77\n" + base.sig)


def msgid_twice(site):
    base = base_of(A)
    put(site, base, SIG=base.sig + base.sig)


def number_named_twice(site):
    base = base_of(A)
    put(site, base, SIG=base.sig + b"1:2/3 other\t1\n")


def mail_without_line(site):
    put(site, base_of(A), SIG=b"")


def line_of_lost_mail(site):
    put(site, base_of(A), SIG=base_of(A, B).sig)
    site.inbound("mail.pkt", Packet([A, B]))


def stored_without_line(site):
    put(site, base_of(A, B), SIG=base_of(A).sig)
    site.inbound("mail.zip", bundle(Entry("1.pkt", Packet([A, B]).pack())))


def twins_without_line(site):
    base = base_of(A)
    store(base, B, msgid="")
    store(base, B, msgid="")
    site.put(base)
    site.inbound("mail.pkt", Packet([A, B]))


def stored_without_msgid(site):
    mail = echomail("FIDO", "no name")
    base = MessageBase(1)
    base.store(mail, b"no name\x01")
    site.put(base)
    site.inbound("mail.pkt", Packet([mail]))


def own_message(site, line: bytes) -> None:
    site.add_config(ADDRESS)
    base = MessageBase(1)
    base.add(b"ours\x01")
    put(site, base, SIG=line)


def serial_of_old(site):
    own_message(site, b"2:250/10 0000000a\t1\r\n")
    site.write(SERIAL_FILE, "9\n")


def serial_lost(site):
    own_message(site, b"2:250/10 0000000a\t1\r\n")


def serial_claimed_by_mail(site):
    site.add_config(ADDRESS)
    mail = echomail("FIDO", "text", msgid="2:250/10 7000000a")
    put(site, base_of(mail))


def serial_of_letters(site):
    site.write(SERIAL_FILE, "many\n")


def lock_of_the_dead(site):
    process = subprocess.Popen(["true"])
    process.wait()
    site.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-toss pid={process.pid} started={int(time.time())}\n")


def lock_of_an_earlier_start(site):
    site.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-toss pid={os.getpid()} started=1000\n")


def old_empty_lock(site):
    then = time.time() - 1802
    os.utime(site.write(LOCK, b""), (then, then))


def bundle_fetched(site):
    """A scan that was killed while it marked, and one that found its lock."""
    base = base_of(A)
    base.add(b"text\x01", sent=0)
    site.put(base)
    lines = ("=== cvtoss32 v1.05 Beta 5 -scan run starting ===",
             "Published complete bundle: OUT\\6917f02c.su0  (300 byte packet, entry '6917f02c.pkt', 1 message(s))",
             "=== cvtoss32 v1.05 Beta 5 -scan run starting ===")
    site.write("TOSSER.LOG", "".join(f"[2026-11-22 01:45:00] {line}\n" for line in lines))


def packet_left(site):
    site.write("MSG/CVOUTBOUND.PKT", b"")


def bundle_left(site):
    site.write("OUT/6917f02c.su0.tmp", b"PK")
    site.write("OUT/notes.tmp", b"not ours")


def half_processed(site):
    data = site.inbound("mail.pkt", Packet([A]))
    site.write("IN/processed/mail.pkt", data[:-1])


def half_saved(site):
    data = site.inbound("mail.pkt", Packet([A]))
    for name, size in (("BAD_1", 0), ("BAD_2", 60), ("BAD_3", len(data))):
        site.write(f"IN/badmsgs/{name}.PKT", data[:size])


def notes_of_another(site):
    base = base_of(A)
    base.ptr[0].sent = 0
    base.ptr[0].origin = ""
    site.put(base)


DAMAGE, LEFTOVER, NOTE = "damage", "leftover", "note"
SITES: list[tuple[Callable, list[tuple]]] = [
    (odd_ptr, [("odd-size", DAMAGE, PTR, 1)]),
    (odd_idx, [("odd-size", DAMAGE, IDX, 1)]),
    (odd_dat, [("odd-size", DAMAGE, DAT, 1)]),
    (no_headers, [("no-headers", DAMAGE, PTR, None)]),
    (index_without_headers, [("no-headers", DAMAGE, PTR, None)]),
    (long_index, [("index-loose", DAMAGE, IDX, 1)]),
    (short_index, [("index-short", NOTE, IDX, None)]),
    (gap_in_index, [("index-short", NOTE, IDX, None)]),
    (other_number, [("index-differs", DAMAGE, IDX, 1)]),
    (other_sender, [("index-differs", DAMAGE, IDX, 0)]),
    (other_recipient, [("index-differs", DAMAGE, IDX, 0)]),
    (other_thread, [("index-differs", DAMAGE, IDX, 0)]),
    (header_with_a_hole, [("holed-header", DAMAGE, PTR, 0)]),
    (torn_message, [("blank-text", DAMAGE, PTR, 1), ("torn", DAMAGE, PTR, 1)]),
    (header_without_text, [("no-text", DAMAGE, PTR, 0)]),
    (text_lost, [("past-text", DAMAGE, PTR, 1)]),
    (zero_header, [("index-short", NOTE, IDX, None), ("blank-header", DAMAGE, PTR, 1)]),
    (zero_text, [("blank-text", DAMAGE, PTR, 0)]),
    (number_zero, [("number-range", DAMAGE, PTR, 0)]),
    (same_number, [("number-twice", DAMAGE, PTR, 1)]),
    (out_of_order, [("number-order", DAMAGE, PTR, 1)]),
    (loose_text, [("loose-text", LEFTOVER, DAT, 1)]),
    (text_between, [("text-gap", NOTE, DAT, 1)]),
    (same_text, [("overlap", DAMAGE, PTR, 1)]),
    (too_many_texts, [("loose-text", LEFTOVER, DAT, 1), ("too-many-texts", DAMAGE, DAT, 65536)]),
    (reply_to_nothing, [("thread-nowhere", NOTE, PTR, 0)]),
    (half_line, [("sig-cut", DAMAGE, SIG, 1)]),
    (zeros_for_many_lines, [("sig-cut", DAMAGE, SIG, 1)]),
    (line_without_number, [("sig-no-tab", NOTE, SIG, 0)]),
    (line_of_nothing, [("sig-no-header", NOTE, SIG, 0)]),
    (msgid_twice, [("sig-twice", NOTE, SIG, 1)]),
    (number_named_twice, [("sig-twice", NOTE, SIG, 1)]),
    (mail_without_line, [("sig-none", NOTE, PTR, 0)]),
    (line_of_lost_mail, [("sig-beyond", DAMAGE, SIG, 1)]),
    (stored_without_line, [("sig-missing", DAMAGE, PTR, 1)]),
    (twins_without_line, [("sig-missing-twins", DAMAGE, PTR, 1), ("sig-missing-twins", DAMAGE, PTR, 2)]),
    (stored_without_msgid, [("stored-again", DAMAGE, PTR, 0)]),
    (serial_of_old, [("serial-behind", DAMAGE, SERIAL_FILE, None)]),
    (serial_claimed_by_mail, []),
    (serial_lost, [("serial-behind", DAMAGE, SERIAL_FILE, None)]),
    (serial_of_letters, [("serial-damaged", DAMAGE, SERIAL_FILE, None)]),
    (lock_of_the_dead, [("lock-abandoned", LEFTOVER, LOCK, None)]),
    (lock_of_an_earlier_start, [("lock-abandoned", LEFTOVER, LOCK, None)]),
    (old_empty_lock, [("lock-abandoned", LEFTOVER, LOCK, None)]),
    (bundle_fetched, [("bundle-fetched", DAMAGE, "OUT/6917f02c.su0", None)]),
    (packet_left, [("outbound-packet", LEFTOVER, "MSG/CVOUTBOUND.PKT", None)]),
    (bundle_left, [("bundle-temporary", LEFTOVER, "OUT/6917f02c.su0.tmp", None)]),
    (half_processed, [("half-copy", LEFTOVER, "IN/processed/mail.pkt", None)]),
    (half_saved, [("half-saved", LEFTOVER, f"IN/badmsgs/BAD_{n}.PKT", None) for n in (1, 2)]),
    (notes_of_another, []),
]


@pytest.mark.parametrize("lay, findings", SITES, ids=[lay.__name__ for lay, _ in SITES])
def test_each_kind_of_finding_in_the_smallest_site(ready, kit, lay, findings):
    lay(ready)
    before = ready.snapshot()
    attention = any(severity != NOTE for _, severity, _, _ in findings)
    assert found(kit, int(attention)) == findings
    text = kit("verify", status=int(attention)).text
    assert all(f"({code})" in text for code, _, _, _ in findings)
    damaged = any(severity == DAMAGE for _, severity, _, _ in findings)
    assert text.splitlines()[-1] == f"The message base is {'damaged' if damaged else 'sound'}."
    assert ready.snapshot() == before


def test_every_code_has_its_smallest_site_and_stands_in_the_manual():
    manual = (ROOT / "docs/cvkit.1").read_text(encoding="utf-8").split('.SS "verify')[1].split(".B \\-\\-repair\n")[0]
    listed = {code.replace("\\-", "-") for code in re.findall(r"(?m)^\.IR ([a-z\\-]+) [,.]$", manual)}
    judges = ("verify_base", "verify_sig", "verify_site", "serial_judge", "leftovers")
    sources = "".join((ROOT / f"src/kit/{name}.cc").read_text(encoding="utf-8") for name in judges)
    assert set(re.findall(r'"([a-z]+(?:-[a-z]+)+)"', sources)) <= listed
    assert listed == {code for _, findings in SITES for code, *_ in findings} | {"bundle-unsent"}


def scanned(site: Site) -> Scan:
    """A scan that has sent two messages of the same text, one of another, and netmail."""
    scan = Scan(site, echo("FIDO"), netmail_conference())
    fido, mail = scan.bases
    store(fido, A)
    for text in (b"same\x01", b"same\x01", b"with \xe9 and \x01\x01"):
        fido.add(text, sent=0)
        scan.echomail(fido, fido.ptr[-1], text.replace(b"\x01", b"\r").replace(b"\xe9", b"").rstrip(b"\r"))
    mail.add(b"letter\x01", sent=0, netmail=1, to="Bob@2:5/6")
    scan.netmail(mail, mail.ptr[-1], "Bob", "2:5/6", b"letter")
    scan.run()
    return scan


def mark_unsent(site: Site, base: MessageBase, *places: int) -> None:
    for place in places:
        base.ptr[place].sent = 0
    site.put(base)


def test_a_bundle_of_unsent_messages_is_found_by_each_of_its_conferences(site, kit):
    scan = scanned(site)
    path = site.snapshot("OUT").popitem()[0]
    assert found(kit, 0) == []
    fido, mail = scan.bases
    lines = fido.sig.splitlines(keepends=True)
    fido.sig = b"".join(lines[:3])  # killed with the second line written and its message not marked
    mark_unsent(site, fido, 2, 3)
    mail.sig = b""
    mark_unsent(site, mail, 0)
    assert found(kit) == [("bundle-unsent", DAMAGE, path, None)] * 2
    texts = [finding["text"] for finding in kit.json("verify", status=1)["findings"]]
    assert [text.split(" of ")[0] for text in texts] == ["2 messages", "1 message"]


def test_a_message_written_after_the_bundle_is_not_taken_for_one_in_it(site, kit):
    fido = scanned(site).bases[0]
    fido.add(b"same\x01", sent=0)
    site.put(fido)
    assert found(kit, 0) == []


@pytest.mark.parametrize("then", ["=== cvtoss32 -scan run complete: 1 message(s) exported and committed ===", None])
def test_a_bundle_that_was_marked_or_is_there_was_not_fetched(ready, kit, then):
    bundle_fetched(ready)
    if then:
        ready.write("TOSSER.LOG", ready.read("TOSSER.LOG") + f"[2026-11-22 01:45:00] {then}\n".encode())
    else:
        ready.write("OUT/6917f02c.su0", b"")
    assert found(kit, 0) == []


def test_a_message_is_not_taken_for_an_earlier_one_whose_line_is_lost(site, kit):
    """The bundle may be of either; the one that is unsent would never be sent."""
    fido = scanned(site).bases[0]
    fido.add(b"same\x01", sent=0)
    fido.sig = b""
    site.put(fido)
    assert [code for code, severity, _, _ in found(kit, 0)] == ["sig-none"]


def test_what_tosses_and_scans_make_is_sound(site, kit):
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
def test_while_a_run_is_at_work_its_files_are_its_own(ready, kit):
    ready.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-scan pid={os.getpid()} started={int(time.time())}\n")
    packet_left(ready)
    bundle_left(ready)
    answer = kit.json("verify")
    assert (answer["unsettled"], answer["findings"]) == ("a run is at work", [])
    assert "Unsettled: a run is at work." in kit("verify").text


def test_a_fresh_lock_without_an_owner_may_be_of_a_run_at_work(ready, kit):
    ready.write(LOCK, b"")
    assert kit.json("verify")["unsettled"] == "a run is at work"


def test_a_caller_unsettles_what_is_seen(ready, kit):
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


def test_texts_of_mail_are_shown_without_control_bytes(ready, kit):
    base = base_of(A)
    put(ready, base, SIG=base.sig + b"\x1b[31m\x07\xe9")
    answer = kit("verify", status=1)
    assert r"'\x1B[31m\x07Θ'" in answer.text
    assert r"'\x1B[31m\x07Θ'" in kit.json("verify", status=1)["findings"][0]["text"]


def test_a_site_without_conferences_cannot_be_judged(site, kit):
    assert kit("verify", status=2).errors.endswith("CVMCONF.DAT cannot be read\n")


def test_a_file_that_cannot_be_read_is_no_judgement(ready, kit):
    ready.path(PTR).mkdir()
    assert kit("verify", status=2).errors == "cvkit: MSG/CVMSG01.PTR cannot be read\n"

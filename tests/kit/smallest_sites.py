"""The smallest site for each finding, and the list of all of them with their findings."""

import os
import subprocess
import time
from typing import Callable

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase
from formats.packet import Packet, echomail
from formats.zip_bundle import Entry, bundle
from harness.scan import SERIAL_FILE, Scan
from harness.site import LOCK, Site
from smallest_bases import A, B, BASES, DAMAGE, IDX, LEFTOVER, NOTE, PTR, SIG, base_of, cut, put, store

ADDRESS = "ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM Ours\n"


def half_line(site):
    base = base_of(A)
    put(site, base, SIG=base.sig + b"1:2/3 tw")


def zeros_for_many_lines(site):
    """After a power cut the file has the size of many lines but none of their bytes: more than a piece of a line."""
    base = base_of(A)
    put(site, base, SIG=base.sig + bytes(1500))


def zeros_before_a_line(site):
    put(site, base_of(A, B), SIG=bytes(11) + b"1:2/3 two\t2\n")


def index_of_mail_cut(site):
    put(site, base_of(A, B), IDX=base_of(A).idx[0])
    site.inbound("mail.pkt", Packet([B]))


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
    """A scan that was killed while it marked messages sent, and one that found its lock."""
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


SITES: list[tuple[Callable, list[tuple]]] = BASES + [
    (half_line, [("sig-cut", DAMAGE, SIG, 1)]),
    (zeros_for_many_lines, [("sig-cut", DAMAGE, SIG, 1)]),
    (zeros_before_a_line, [("sig-zeros", DAMAGE, SIG, 0), ("sig-none", NOTE, PTR, 0)]),
    (index_of_mail_cut, [("index-cut", DAMAGE, IDX, 1)]),
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

"""The smallest message base for each finding about PTR, IDX and DAT files."""

import os
from typing import Callable

from formats.message_base import DAT_SIZE, PTR_SIZE, MessageBase
from formats.packet import Packet, echomail
from harness.site import Site

PTR, IDX, DAT, SIG = (f"MSG/CVMSG01.{kind}" for kind in ("PTR", "IDX", "DAT", "SIG"))
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


DAMAGE, LEFTOVER, NOTE = "damage", "leftover", "note"
BASES: list[tuple[Callable, list[tuple]]] = [
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
]

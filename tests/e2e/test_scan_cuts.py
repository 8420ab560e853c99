"""A scan of PTR files with each single bit flipped: each message is exported by the changed header, or not at all."""

import re
import struct
from dataclasses import dataclass

from formats.conference_table import echo
from formats.message_base import DAT_SIZE, PTR_SIZE, MessageBase, PtrRecord, body_lines, message_body, read_ptr_record
from formats.text import raw
from harness.damage import flip
from harness.scan import Scan, unaddressed
from harness.target import WINDOWS

CONFERENCES = 200
READ = [18, 19, 20, 49, *range(50, 60), 111, 112, 113, *range(152, 174)]
"""Lengths and first bytes of the texts, the whole recipient, flags and numbers."""
MSGIDS = {1: b"1:2/3 a", 3: b"1:2/3 b"}
NUMBER = rb"[ \t\n\v\f\r]*([+-]?[0-9]+)"
ADDRESS = re.compile(rb"%b:%b/%b" % (NUMBER, NUMBER, NUMBER))


def sample(conference: int) -> MessageBase:
    """An old message, an unsent reply to it, addressed so that it could be netmail, and a deleted one without text."""
    base = MessageBase(conference)
    base.add(body_lines("one"), sender="Bo", to="Cy", subject="Tea")
    fields = {"sent": 0, "is_reply": 1, "is_root": 0, "thread": 1, "number": 3}
    base.add(body_lines("two " * 40), sender="Bo", to="Cy@1:2/3", subject="Tea", **fields)
    base.add(number=4, deleted=1, records=0)
    base.dat = base.dat[:-DAT_SIZE]
    for number, msgid in MSGIDS.items():
        base.add_sig(msgid, number)
    return base


@dataclass
class FoundRecord(PtrRecord):
    """A record read from a file: every byte is kept, and its texts end at a NUL."""

    found: bytes = b""

    def pack(self) -> bytes:
        return self.found[:153] + bytes([self.sent]) + self.found[154:]


def found_record(data: bytes) -> FoundRecord:
    record = FoundRecord(**vars(read_ptr_record(data)), found=data)
    record.sender, record.to, record.subject = (
        raw(text).split(b"\0")[0] for text in (record.sender, record.to, record.subject)
    )
    return record


def is_sound(ptr: bytes, dat_count: int) -> bool:
    spans = [struct.unpack_from("<HH", ptr, at + 160) for at in range(0, len(ptr), PTR_SIZE) if not ptr[at + 158]]
    return all(records and where + records <= dat_count for where, records in spans)


def export(scan: Scan, base: MessageBase) -> None:
    """Adds what a scan must do with every message of the base."""
    for record in base.ptr:
        if record.sent or record.deleted:
            continue
        text = message_body(base, record).replace(b"\x01", b"\r")
        body = bytes(c for c in text if c < 0x80).rstrip(b"\r\n")
        wants_reply = record.is_reply and record.thread != record.number
        reply = MSGIDS.get(record.thread, b"") if wants_reply else b""
        name, at_sign, behind = raw(record.to).rpartition(b"@")
        address = ADDRESS.match(behind) if at_sign else None
        if not record.netmail:
            scan.echomail(base, record, body, reply)
        elif address is None:
            scan.line(unaddressed(base, record))
        else:
            scan.netmail(base, record, name, "%d:%d/%d" % tuple(int(n) for n in address.groups()), body, reply)


def test_a_scan_exports_what_a_damaged_header_says(site):
    """Each damaged file is that of another conference; a run has two hundred of them."""
    whole = sample(1).files()["CVMSG01.PTR"]
    # One bit of the old and the deleted message's bytes, every bit of the unsent one's.
    bits = [8 * byte + byte % 8 for byte in (*range(PTR_SIZE), *range(2 * PTR_SIZE, 3 * PTR_SIZE))]
    bits += [8 * (PTR_SIZE + byte) + bit for byte in READ for bit in range(8)]
    damaged = [flip(whole, bit) for bit in bits]
    damaged = [ptr for ptr in damaged if is_sound(ptr, sample(1).dat_count())]
    batches = [damaged[at : at + CONFERENCES] for at in range(0, len(damaged), CONFERENCES)]
    for batch in batches[::3] if WINDOWS else batches:
        scan = Scan(site, *(echo(f"AREA{number}") for number in range(1, len(batch) + 1)))
        for number, ptr in enumerate(batch, 1):
            base = sample(number)
            base.ptr = [found_record(ptr[at : at + PTR_SIZE]) for at in range(0, len(ptr), PTR_SIZE)]
            scan.bases[number - 1] = base
            export(scan, base)
        scan.run()
        for path in site.path("MSG").iterdir():
            path.unlink()

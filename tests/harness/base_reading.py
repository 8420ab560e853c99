"""What a message base means to a run, worked out from the bytes of its files by the rules of their records alone."""

import struct
from dataclasses import dataclass

from formats.message_base import (
    DAT_LIMIT,
    DAT_SIZE,
    IDX_SIZE,
    PTR_SIZE,
    MessageBase,
    PtrRecord,
    body_lines,
    message_body,
    read_ptr_record,
)
from formats.packet import PackedMessage
from formats.text import Text, raw, reported
from harness.compare import not_appended
from harness.ftn_address import read_address
from harness.scan import Scan, unaddressed
from harness.sig_reading import has_msgid, msgid_of, number_of

LAST_NUMBER = 2**31 - 1
GONE_PARENT = (
    "  parent MSGID resolved to MsgNumber %d via .SIG tracking, but that message no longer exists (or is marked"
    " Deleted) in the current message base -- storing as non-threaded (safe fallback)"
)


@dataclass
class FoundRecord(PtrRecord):
    """A record as it stands in a file: every byte of it is kept, its texts end at a NUL."""

    found: bytes = b""

    def pack(self) -> bytes:
        return self.found[:153] + bytes([self.sent]) + self.found[154:]


def found_record(data: bytes) -> FoundRecord:
    record = FoundRecord(**vars(read_ptr_record(data)), found=data)
    record.sender, record.to, record.subject = (
        raw(text).split(b"\0")[0] for text in (record.sender, record.to, record.subject)
    )
    return record


def found_records(ptr: bytes) -> list[PtrRecord]:
    return [found_record(ptr[at : at + PTR_SIZE]) for at in range(0, len(ptr), PTR_SIZE)]


def preflight(conference: int, ptr: bytes, idx: bytes, dat: bytes) -> tuple[bool, list[str]]:
    """Whether the message base is usable, and what a check says of it; fewer than 80% of a full DAT file."""
    ptr_count, idx_count, dat_count = len(ptr) // PTR_SIZE, len(idx) // IDX_SIZE, len(dat) // DAT_SIZE
    assert dat_count < DAT_LIMIT * 8 // 10
    about = f"ERROR: conference {conference}"
    if len(ptr) % PTR_SIZE or len(idx) % IDX_SIZE or len(dat) % DAT_SIZE:
        return False, [f"{about} has a non-record-aligned PTR, IDX, or DAT file"]
    if not ptr and (idx or dat):
        return False, [f"{about} has IDX/DAT data but no PTR records"]
    if idx_count > ptr_count:
        return False, [f"{about} IDX has {idx_count} records but PTR has only {ptr_count}"]
    lines = []
    if ptr_count > idx_count:
        lines.append(
            f"WARNING: conference {conference} IDX trails PTR by {ptr_count - idx_count} record(s);"
            " this can be a Corvane-native quirk, but should be monitored"
        )
    for at in range(0, len(ptr), PTR_SIZE):
        where, records, _, number = struct.unpack_from("<HHHi", ptr, at + 160)
        if ptr[at + 158]:
            continue
        if not records:
            return False, [*lines, f"{about} message #{number} has zero body records"]
        if where + records > dat_count:
            beyond = f"(Where={where}, Records={records}, DAT records={dat_count})"
            return False, [*lines, f"{about} message #{number} points past DAT {beyond}"]
    sizes = f"PTR={ptr_count} IDX={idx_count} DAT={dat_count} record(s)"
    return True, [*lines, f"  conf {conference} message base: {sizes} -- OK"]


def toss(base: MessageBase, count: int, message: PackedMessage, body: Text, msgid: bytes, reply: bytes) -> list[str]:
    """Brings one message with that number in its packet into a sound base; returns its lines."""
    conference, sig = base.conference, base.sig or b""
    if msgid and has_msgid(sig, msgid):
        return [f"  msg {count}: duplicate (MSGID {reported(msgid)} already seen in conf {conference}) -- SKIPPED"]
    lines = []
    parent = number_of(sig, reply) if reply else 0
    if parent is None or parent < 0:
        lines.append(
            f"  msg {count}: reply to MSGID {reported(reply)}, but parent not found locally in conf {conference}"
            " -- storing as non-threaded (safe fallback)"
        )
        parent = 0
    live = any(record.number == parent and not record.deleted for record in base.ptr)
    if parent and not live:
        lines.append(GONE_PARENT % parent)
    if base.highest() == LAST_NUMBER:
        return [*lines, f"ERROR: conf {conference} has reached the signed 32-bit MsgNumber limit", not_appended(count)]
    threaded = parent != 0 and live and parent != base.highest() + 1
    return [*lines, base.store(message, body_lines(body), msgid=msgid, parent=parent if threaded else None)]


def export(scan: Scan, base: MessageBase) -> None:
    """Foretells what a scan makes of every message of the base."""
    sig = base.sig or b""  # what the scan itself adds comes after all lookups
    for record in base.ptr:
        if record.sent or record.deleted:
            continue
        text = message_body(base, record).replace(b"\x01", b"\r")
        body = bytes(c for c in text if c < 0x80).rstrip(b"\r\n")
        wants_reply = record.is_reply and record.thread != record.number
        reply = (msgid_of(sig, record.thread) if wants_reply else None) or b""
        if not record.netmail:
            scan.echomail(base, record, body, reply)
            continue
        name, _, at = raw(record.to).rpartition(b"@")
        address = read_address(at) if b"@" in raw(record.to) else None
        if address is None:
            scan.line(unaddressed(base, record))
        else:
            scan.netmail(base, record, name, "%d:%d/%d" % address[:3], body, reply)

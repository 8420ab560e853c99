"""FTS-0001 type-2 packets: a 58-byte header, packed messages one after another, a closing 16-bit word 0.

Header (all 16-bit little-endian but where a size is given):

     0 origNode   2 destNode   4 year   6 month (0-based)   8 day   10 hour   12 minute   14 second   16 baud
    18 packetType (2)   20 origNet   22 destNet   24 productCodeLo (1)   25 revisionMajor (1)   26 password (8)
    34 qOrigZone   36 qDestZone   38 auxNet   40 capWordCopy   42 productCodeHi (1)   43 revisionMinor (1)
    44 capWord   46 origZone   48 destZone   50 origPoint   52 destPoint   54 productData (4)

Packed message: 0 messageType (2)   2 origNode   4 destNode   6 origNet   8 destNet   10 attribute   12 cost,
then dateTime, toUserName, fromUserName, subject and the text, each ended by a NUL.
"""

import struct
from dataclasses import dataclass, field

from formats.text import Text, raw, shown

HEADER_SIZE = 58
MESSAGE_HEAD_SIZE = 14
CLOSING_WORD = b"\0\0"

DATE = "05 Jan 25  00:07:59"


@dataclass
class PackedMessage:
    text: Text = b""
    sender: Text = "Ann Sender"
    to: Text = "All"
    subject: Text = "Greetings"
    date: Text = DATE
    orig_node: int = 11
    orig_net: int = 22
    dest_node: int = 33
    dest_net: int = 44
    attribute: int = 0
    cost: int = 0
    message_type: int = 2

    def pack(self) -> bytes:
        head = struct.pack(
            "<7H",
            self.message_type,
            self.orig_node,
            self.dest_node,
            self.orig_net,
            self.dest_net,
            self.attribute,
            self.cost,
        )
        strings = (self.date, self.to, self.sender, self.subject, self.text)
        return head + b"".join(raw(string) + b"\0" for string in strings)


@dataclass
class Packet:
    messages: list[PackedMessage] = field(default_factory=list)
    orig_node: int = 1
    dest_node: int = 2
    year: int = 2025
    month: int = 0
    day: int = 5
    hour: int = 12
    minute: int = 34
    second: int = 56
    baud: int = 9600
    packet_type: int = 2
    orig_net: int = 250
    dest_net: int = 251
    product_lo: int = 0xEE
    revision_major: int = 0xEE
    password: bytes = b"SECRET"
    q_orig_zone: int = 77
    q_dest_zone: int = 78
    aux_net: int = 79
    cap_word_copy: int = 0x0100
    product_hi: int = 0xEE
    revision_minor: int = 0xEE
    cap_word: int = 0x0001
    orig_zone: int = 3
    dest_zone: int = 4
    orig_point: int = 5
    dest_point: int = 6
    product_data: bytes = b"\xee\xee\xee\xee"
    closing: bytes = CLOSING_WORD

    def header(self) -> bytes:
        header = struct.pack(
            "<12HBB8s4H",
            self.orig_node,
            self.dest_node,
            self.year,
            self.month,
            self.day,
            self.hour,
            self.minute,
            self.second,
            self.baud,
            self.packet_type,
            self.orig_net,
            self.dest_net,
            self.product_lo,
            self.revision_major,
            self.password,
            self.q_orig_zone,
            self.q_dest_zone,
            self.aux_net,
            self.cap_word_copy,
        )
        header += struct.pack(
            "<BB5H4s",
            self.product_hi,
            self.revision_minor,
            self.cap_word,
            self.orig_zone,
            self.dest_zone,
            self.orig_point,
            self.dest_point,
            self.product_data,
        )
        assert len(header) == HEADER_SIZE
        return header

    def pack(self) -> bytes:
        return self.header() + b"".join(message.pack() for message in self.messages) + self.closing

    def log_line(self) -> str:
        """The log line with a packet's addresses and date."""
        return (
            f"  packet: orig {self.orig_zone}:{self.orig_net}/{self.orig_node}.{self.orig_point}"
            f" -> dest {self.dest_zone}:{self.dest_net}/{self.dest_node}.{self.dest_point}"
            f"  (month field is 0-based; {self.year:04d}-{self.month + 1:02d}-{self.day:02d})"
        )


def text_lines(*lines: Text) -> bytes:
    """A message text: every line ended by CR."""
    return b"".join(raw(line) + b"\r" for line in lines)


def echomail(area: Text, *lines: Text, msgid: Text = "", reply: Text = "", **fields) -> PackedMessage:
    """A message for an area: the AREA line, the kludges wanted, then the lines."""
    return PackedMessage(text=text_lines(b"AREA:" + raw(area), *_kludges(msgid, reply), *lines), **fields)


def netmail(*lines: Text, msgid: Text = "", reply: Text = "", **fields) -> PackedMessage:
    """A message without an AREA line."""
    return PackedMessage(text=text_lines(*_kludges(msgid, reply), *lines), **fields)


def _kludges(msgid: Text, reply: Text) -> list[bytes]:
    kludges = []
    if msgid:
        kludges.append(b"\x01MSGID: " + raw(msgid))
    if reply:
        kludges.append(b"\x01REPLY: " + raw(reply))
    return kludges


@dataclass
class ReadPacket:
    """A parsed packet: its header's fields by name, and its messages."""

    header: dict[str, int | bytes]
    messages: list[PackedMessage]
    rest: bytes
    """The bytes after the closing word."""


HEADER_FIELDS = (
    ("orig_node", 0, "H"),
    ("dest_node", 2, "H"),
    ("year", 4, "H"),
    ("month", 6, "H"),
    ("day", 8, "H"),
    ("hour", 10, "H"),
    ("minute", 12, "H"),
    ("second", 14, "H"),
    ("baud", 16, "H"),
    ("packet_type", 18, "H"),
    ("orig_net", 20, "H"),
    ("dest_net", 22, "H"),
    ("product_lo", 24, "B"),
    ("revision_major", 25, "B"),
    ("password", 26, "8s"),
    ("q_orig_zone", 34, "H"),
    ("q_dest_zone", 36, "H"),
    ("aux_net", 38, "H"),
    ("cap_word_copy", 40, "H"),
    ("product_hi", 42, "B"),
    ("revision_minor", 43, "B"),
    ("cap_word", 44, "H"),
    ("orig_zone", 46, "H"),
    ("dest_zone", 48, "H"),
    ("orig_point", 50, "H"),
    ("dest_point", 52, "H"),
    ("product_data", 54, "4s"),
)


def read_packet(data: bytes) -> ReadPacket:
    """Parses a complete, well-formed packet, with texts as bytes; raises when it is not one."""
    header = {name: struct.unpack_from("<" + code, data, offset)[0] for name, offset, code in HEADER_FIELDS}
    messages = []
    at = HEADER_SIZE
    while data[at : at + 2] == b"\x02\x00":
        kind, orig_node, dest_node, orig_net, dest_net, attribute, cost = struct.unpack_from("<7H", data, at)
        at += MESSAGE_HEAD_SIZE
        strings = []
        for _ in range(5):
            end = data.index(b"\0", at)
            strings.append(data[at:end])
            at = end + 1
        date, to, sender, subject, text = strings
        messages.append(
            PackedMessage(
                text, sender, to, subject, date, orig_node, orig_net, dest_node, dest_net, attribute, cost, kind
            )
        )
    assert data[at : at + 2] == CLOSING_WORD, f"no closing word at {at}: {shown(data[at:at + 16])!r}"
    return ReadPacket(header, messages, data[at + 2 :])

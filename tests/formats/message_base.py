"""A conference's message base: CVMSGnn.PTR (256-byte headers), .IDX (16), .DAT (128) and the .SIG text file.

PTR record:

      0 18  MsgDate, string[17]       157  1  Private
     18 31  From, string[30]          158  1  Deleted
     49 31  To, string[30]            159  1  reserved, 1
     80 31  ToCopy, string[30]        160  2  Where
    111 41  Subj, string[40]          162  2  Records
    152  1  NetMail                   164  2  ConfNumber
    153  1  MsgSent                   166  4  MsgNumber, signed
    154  1  reserved, 0               170  4  ThreadRef, signed
    155  1  IsReply                   174 41  reserved, zero
    156  1  IsRoot                    215 17  OrigNetNode, string[16]
                                      232 24  reserved, zero

IDX record: 0 FromCrc, 4 ToCrc, 8 MsgNumber, 12 ThreadRef, 32 bits each. DAT record: a length byte (0 to 127) and 127
bytes of text, zero-filled. SIG line: MSGID, TAB, MsgNumber, LF.
"""

import struct
import zlib
from dataclasses import dataclass, field, replace
from pathlib import Path

from formats.packet import PackedMessage
from formats.text import Text, length_prefixed, raw, read_length_prefixed, reported

PTR_SIZE = 256
IDX_SIZE = 16
DAT_SIZE = 128
DAT_TEXT = 127
DAT_LIMIT = 65536
LINE_END = b"\x01"
STORED_DATE = "01/05/25 12:07am"
"""packet.DATE as it is stored in the message base."""


@dataclass
class PtrRecord:
    date: Text = STORED_DATE
    sender: Text = "Ann Sender"
    to: Text = "All"
    to_copy: Text | None = None
    subject: Text = "Greetings"
    netmail: int = 0
    sent: int = 1
    reserved_154: int = 0
    is_reply: int = 0
    is_root: int = 1
    private: int = 0
    deleted: int = 0
    reserved_159: int = 1
    where: int = 0
    records: int = 1
    conference: int = 1
    number: int = 1
    thread: int = 1
    origin: Text = ""

    def pack(self) -> bytes:
        record = b"".join(
            (
                length_prefixed(self.date, 17),
                length_prefixed(self.sender, 30),
                length_prefixed(self.to, 30),
                length_prefixed(self.to if self.to_copy is None else self.to_copy, 30),
                length_prefixed(self.subject, 40),
                bytes((self.netmail, self.sent, self.reserved_154, self.is_reply, self.is_root)),
                bytes((self.private, self.deleted, self.reserved_159)),
                struct.pack("<HHHii", self.where, self.records, self.conference, self.number, self.thread),
                bytes(41),
                length_prefixed(self.origin, 16),
                bytes(24),
            )
        )
        assert len(record) == PTR_SIZE
        return record


def read_ptr_record(record: bytes) -> PtrRecord:
    assert len(record) == PTR_SIZE
    where, records, conference, number, thread = struct.unpack_from("<HHHii", record, 160)
    flags = record[152:160]
    return PtrRecord(
        date=read_length_prefixed(record, 0, 17),
        sender=read_length_prefixed(record, 18, 30),
        to=read_length_prefixed(record, 49, 30),
        to_copy=read_length_prefixed(record, 80, 30),
        subject=read_length_prefixed(record, 111, 40),
        netmail=flags[0],
        sent=flags[1],
        reserved_154=flags[2],
        is_reply=flags[3],
        is_root=flags[4],
        private=flags[5],
        deleted=flags[6],
        reserved_159=flags[7],
        where=where,
        records=records,
        conference=conference,
        number=number,
        thread=thread,
        origin=read_length_prefixed(record, 215, 16),
    )


def name_crc(name: Text) -> int:
    """CRC-32 of a whole name, case and blanks unchanged; 0 for an empty one."""
    return zlib.crc32(raw(name))


def idx_record(sender: Text, to: Text, number: int, thread: int) -> bytes:
    return struct.pack("<IIii", name_crc(sender), name_crc(to), number, thread)


def dat_records(body: bytes) -> bytes:
    """A body as DAT records, all full except the last; an empty body is one record of length 0."""
    pieces = [body[at : at + DAT_TEXT] for at in range(0, len(body), DAT_TEXT)] or [b""]
    return b"".join(length_prefixed(piece, DAT_TEXT) for piece in pieces)


def sig_filler(size: int) -> bytes:
    """Whole SIG lines of other messages, `size` bytes in all."""
    line = b"1:2/3 filler\t1\n"
    first = size % len(line)
    return (b"z" * (first - 1) + b"\n" if first else b"") + line * (size // len(line))


def body_lines(*lines: Text) -> bytes:
    """A stored body: every line ended by the byte 0x01."""
    return b"".join(raw(line) + LINE_END for line in lines)


@dataclass
class MessageBase:
    """The expected content of the four files of one conference.

    `add` adds a message as it may exist before a run; `store` adds one as a run must store it and returns the line that
    the run must log. A list or text that is None stands for an absent file.
    """

    conference: int
    ptr: list[PtrRecord] = field(default_factory=list)
    idx: list[bytes] = field(default_factory=list)
    dat: bytes = b""
    sig: bytes | None = None

    def name(self, kind: str) -> str:
        return f"CVMSG{self.conference:02d}.{kind}"

    def dat_count(self) -> int:
        return len(self.dat) // DAT_SIZE

    def highest(self) -> int:
        return max([0] + [record.number for record in self.ptr])

    def add(self, body: bytes = b"", index: bool = True, **fields) -> PtrRecord:
        """Adds a message; the fields of the PtrRecord are those given, and number, thread, where and records."""
        data = dat_records(body)
        number = fields.pop("number", self.highest() + 1)
        values = {
            "conference": self.conference,
            "number": number,
            "thread": number,
            "where": self.dat_count(),
            "records": len(data) // DAT_SIZE,
        }
        record = PtrRecord(**(values | fields))
        self.dat += data
        self.ptr.append(record)
        if index:
            self.idx.append(idx_record(record.sender, record.to, record.number, record.thread))
        return record

    def add_sig(self, msgid: Text, number: int | str, line_end: bytes = b"\n") -> None:
        self.sig = (self.sig or b"") + raw(msgid) + b"\t" + str(number).encode() + line_end

    def store(
        self,
        message: PackedMessage,
        body: bytes,
        *,
        date: Text = STORED_DATE,
        msgid: Text = "",
        netmail: int = 0,
        parent: int | None = None,
    ) -> str:
        """Adds a message as a toss stores it and returns its "wrote" line.

        The record holds the names cut to its fields; the name checksums and the log line have them as received,
        which is the first 63 bytes of a name and the first 127 of a subject.
        """
        sender, to, subject = raw(message.sender)[:63], raw(message.to)[:63], raw(message.subject)[:127]
        number = self.highest() + 1
        thread = number if parent is None else parent
        data = dat_records(body)
        record = PtrRecord(
            date=date,
            sender=sender,
            to=to,
            subject=subject,
            netmail=netmail,
            sent=1,
            is_reply=int(parent is not None),
            is_root=int(parent is None),
            private=message.attribute & 1,
            deleted=0,
            where=self.dat_count(),
            records=len(data) // DAT_SIZE,
            conference=self.conference,
            number=number,
            thread=thread,
            origin=f"{message.orig_net}/{message.orig_node}",
        )
        self.ptr.append(record)
        self.idx.append(idx_record(sender, to, number, thread))
        self.dat += data
        if msgid:
            self.add_sig(msgid, number)
        return (
            f"  -> wrote conf {self.conference} msg #{number}  From='{reported(sender)}' To='{reported(to)}'"
            f" Subj='{reported(subject)}' ({record.records} records)"
        )

    def files(self) -> dict[str, bytes]:
        """Name and content of each existing file. PTR, IDX and DAT do not exist while they are empty."""
        contents = {
            "PTR": b"".join(record.pack() for record in self.ptr),
            "IDX": b"".join(self.idx),
            "DAT": self.dat,
        }
        files = {self.name(kind): content for kind, content in contents.items() if content}
        if self.sig is not None:
            files[self.name("SIG")] = self.sig
        return files

    def copy(self) -> "MessageBase":
        return replace(self, ptr=[replace(record) for record in self.ptr], idx=list(self.idx))


def message_files(*bases: MessageBase, directory: str = "MSG") -> dict[str, bytes]:
    """The files of message bases by their path."""
    return {f"{directory}/{name}": content for base in bases for name, content in base.files().items()}


def read_message_base(directory: Path, conference: int) -> MessageBase:
    """Reads a conference's files; raises when one of them does not consist of whole records."""
    base = MessageBase(conference)

    def content(kind: str) -> bytes | None:
        path = directory / base.name(kind)
        return path.read_bytes() if path.exists() else None

    ptr, idx = content("PTR") or b"", content("IDX") or b""
    base.dat, base.sig = content("DAT") or b"", content("SIG")
    assert len(ptr) % PTR_SIZE == 0 and len(idx) % IDX_SIZE == 0 and len(base.dat) % DAT_SIZE == 0
    base.ptr = [read_ptr_record(ptr[at : at + PTR_SIZE]) for at in range(0, len(ptr), PTR_SIZE)]
    base.idx = [idx[at : at + IDX_SIZE] for at in range(0, len(idx), IDX_SIZE)]
    return base


def message_body(base: MessageBase, record: PtrRecord) -> bytes:
    """A message's text from its DAT records (with 0x01 as line end)."""
    body = b""
    for index in range(record.where, record.where + record.records):
        piece = base.dat[index * DAT_SIZE : (index + 1) * DAT_SIZE]
        assert len(piece) == DAT_SIZE, f"record {index} lies outside the DAT file"
        body += piece[1 : 1 + min(piece[0], DAT_TEXT)]
    return body


def assert_whole(base: MessageBase) -> None:
    """Asserts what is true of a sound message base after any run: every index entry and text belongs to its header."""
    assert len(base.idx) <= len(base.ptr)
    assert base.dat_count() <= DAT_LIMIT
    for record, index in zip(base.ptr, base.idx):
        number, thread = struct.unpack_from("<ii", index, 8)
        assert (number, thread) == (record.number, record.thread)
    for record in base.ptr:
        if not record.deleted:
            assert record.records >= 1
            assert record.where + record.records <= base.dat_count()

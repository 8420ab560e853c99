"""Sites, message bases and inbound mail generated from a seed: sound and damaged, usual and unusual."""

import random

from formats.conference_table import Conference, echo, netmail
from formats.message_base import DAT_SIZE, MessageBase
from formats.packet import PackedMessage, Packet, text_lines
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, Entry, bundle
from harness.damage import flip

MSGIDS = [f"2:250/{node} {serial:08x}" for node in (1, 2) for serial in (1, 2, 3, 4, 5)]
AREAS = ["FIDO", "fido", "LINUX", "BIG", "NOWHERE", "EMPTY", ""]
ODD_SIG = [b"2:250/1 00000001\n", b"\t7\n", b"2:250/2 00000002\tnone\r\n", b"2:250/1 00000003\t-4\n", b"2:250/1 0000"]


def conferences(chance: random.Random) -> list[Conference]:
    made = [echo("FIDO"), echo("LINUX"), echo("BIG"), Conference()]
    if chance.random() < 0.7:
        made.append(netmail())
    if chance.random() < 0.5:
        made.append(echo("*"))
    if chance.random() < 0.06:
        made.append(chance.choice([echo("FIDO"), echo(""), netmail()]))
    chance.shuffle(made)
    return made


def message_base(chance: random.Random, conference: int, unsent: float = 0) -> MessageBase:
    """A message base; each message is unsent with the probability `unsent`."""
    base = MessageBase(conference)
    for _ in range(chance.choice([0, 0, 1, 3, 6])):
        record = base.add(b"x" * chance.choice([0, 5, 200]), deleted=chance.choice([0, 0, 1]),
                          sent=int(not unsent or chance.random() >= unsent))
        if chance.random() < 0.7:
            base.add_sig(chance.choice(MSGIDS), record.number, chance.choice([b"\n", b"\r\n"]))
    if base.ptr and chance.random() < 0.08:
        base.ptr[-1].number = base.ptr[-1].thread = 2**31 - chance.choice([1, 2, 3])
        base.idx.pop()
    if base.ptr and chance.random() < 0.08:
        base.dat += bytes((65536 - chance.choice([0, 1, 2, 4])) * DAT_SIZE - len(base.dat))
    if chance.random() < 0.15:
        base.sig = (base.sig or b"") + chance.choice(ODD_SIG)
    if base.ptr and chance.random() < 0.02:
        base.dat = base.dat[:-1]
    return base


def message(chance: random.Random) -> PackedMessage:
    lines = []
    area = chance.choice(AREAS)
    if area:
        lines.append("AREA:" + ("" if area == "EMPTY" and chance.random() < 0.3 else area))
    if chance.random() < 0.7:
        lines.append("\x01MSGID: " + (chance.choice(MSGIDS) if chance.random() < 0.98 else "x" * 200))
    if chance.random() < 0.4:
        lines.append("\x01REPLY: " + chance.choice(MSGIDS))
    if chance.random() < 0.2:
        lines.append(chance.choice(["\x01CHRS: UTF-8 4", "\x01PID: x", "SEEN-BY: 250/1", "\x01"]))
    lines += ["y" * chance.choice([0, 10, 126, 300]) for _ in range(chance.randrange(3))]
    if chance.random() < 0.01:
        lines.append("z" * 65537)
    return PackedMessage(text_lines(*lines), subject=chance.choice(["Greetings", "Re: Greetings", "x" * 90, ""]),
                         sender=chance.choice(["Ann Sender", "B\x9arge" * 9]), attribute=chance.choice([0, 1, 0x105]),
                         date=chance.choice(["05 Jan 25  00:07:59", "no date"]))


def packet(chance: random.Random) -> bytes:
    data = Packet([message(chance) for _ in range(chance.choice([0, 1, 2, 4, 8]))]).pack()
    damage = chance.random()
    if damage < 0.08:
        return data[: chance.randrange(len(data))]
    if damage < 0.16:
        return flip(data, chance.randrange(len(data) * 8))
    if damage < 0.2:
        return data[:-2] + chance.choice([b"", b"\0", b"\x03\0", b"\x02\0junk"])
    return data


def entry(chance: random.Random) -> Entry:
    made = Entry(chance.choice(["a.pkt", "..\\b.pkt", "c\x1b[2J.pkt"]), packet(chance), chance.choice([0, DEFLATED]))
    if chance.random() < 0.06:
        made.flags = DATA_DESCRIPTOR
    if chance.random() < 0.06:
        made.method = 9
    if chance.random() < 0.06:
        made.uncompressed = chance.choice([0, len(made.content) + 1, 64 * 1024 * 1024 + 1])
    if chance.random() < 0.03:
        made.content = b"no packet"
    return made


def inbound_file(chance: random.Random) -> bytes:
    kind = chance.random()
    if kind < 0.6:
        return packet(chance)
    if kind < 0.66:
        return chance.choice([b"", b"PK\x03\x04 short", b"some text" * 20])
    data = bundle(*(entry(chance) for _ in range(chance.choice([0, 1, 1, 2, 3]))))
    return data if chance.random() < 0.9 else data[: chance.randrange(len(data))]

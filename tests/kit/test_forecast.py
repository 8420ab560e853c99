"""What "cvkit packet" says of inbound files is what a toss of them then does, message by message and file by file.

Sites, message bases and inbound files are generated from fixed seeds: sound ones, cut and flipped ones, duplicates
within and between files, areas that nobody carries, full conferences, replies within a packet.
"""

import random
import re

import pytest
from formats.conference_table import Conference, echo, netmail
from formats.message_base import DAT_SIZE, MessageBase
from formats.packet import PackedMessage, Packet, text_lines
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, Entry, bundle
from harness.damage import flip
from harness.target import WINDOWS

GROUPS = 4
SITES = 8 if WINDOWS else 80
MSGIDS = [f"2:250/{node} {serial:08x}" for node in (1, 2) for serial in (1, 2, 3, 4, 5)]
AREAS = ["FIDO", "fido", "LINUX", "BIG", "NOWHERE", "EMPTY", ""]
ODD_SIG = [b"2:250/1 00000001\n", b"\t7\n", b"2:250/2 00000002\tnone\r\n", b"2:250/1 00000003\t-4\n", b"2:250/1 0000"]

EVENTS = (
    ("stored", re.compile(r"  -> wrote conf (\d+) msg #(\d+) ")),
    ("parked", re.compile(r"  msg (\d+): AREA:.* -- parked in catch-all conf (\d+) ")),
    ("duplicate", re.compile(r"  msg (\d+): duplicate \(MSGID .* already seen in conf (\d+)\) -- SKIPPED")),
    ("dropped", re.compile(r"  msg (\d+): .* -- SKIPPED")),
    ("refused", re.compile(r"  msg (\d+): message-base append failed")),
    ("stopped", re.compile(r"  ERROR: could not allocate/clean message body")),
    ("saved", re.compile(r"  saved unprocessable packet data ")),
)


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


def message_base(chance: random.Random, conference: int) -> MessageBase:
    base = MessageBase(conference)
    for _ in range(chance.choice([0, 0, 1, 3, 6])):
        record = base.add(b"x" * chance.choice([0, 5, 200]), deleted=chance.choice([0, 0, 1]))
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


def foretold(file: dict) -> list[tuple]:
    """The events that the log must hold, by what cvkit says of a file."""
    events = []
    for one in file["packets"]:
        verdicts = set()
        for told in one["messages"]:
            number, verdict, conference = told["number"], told["verdict"], told["conference"]
            verdicts.add(verdict)
            if verdict == "catch-all":
                events.append(("parked", number, conference))
            if verdict in ("stored", "catch-all"):
                events.append(("stored", conference, told["message_number"]))
            elif verdict == "duplicate":
                events.append(("duplicate", number, conference))
            elif verdict == "dropped":
                events.append(("dropped", number))
            elif verdict == "refused" and conference is not None:
                events.append(("refused", number))
            elif verdict == "refused" and not told["reason"].startswith("not reached"):
                events.append(("stopped",))
        if "damaged" in verdicts:
            events.append(("saved",))
    return events


def happened(lines: list[str]) -> list[tuple]:
    """The events that the lines of a file tell."""
    events = []
    for line in lines:
        for name, pattern in EVENTS:
            match = pattern.match(line)
            if match:
                events.append((name, *map(int, match.groups())))
                break
    return events


def without_parking(events: list[tuple]) -> list[tuple]:
    """A duplicate in the catch-all is called a duplicate, and a refused message refused: that it was parked is not."""
    return [event for event in events if event[0] != "parked"]


def fate(site, name: str, blocks: dict[str, list[str]], status: int) -> str:
    if not site.path(f"IN/{name}").exists():
        return "processed"
    if name not in blocks:
        return "ignored"
    return "retained" if any("retain" in line for line in blocks[name]) else "left"


def compare(site, kit, chance: random.Random) -> set[str]:
    """Generates a site, asks cvkit, tosses, and compares; returns the verdicts and fates that were foretold."""
    table = conferences(chance)
    site.conferences(*table)
    before = {number: message_base(chance, number) for number in range(1, len(table) + 1)}
    for base in before.values():
        site.put(base)
    for index in range(chance.choice([1, 2, 3, 5])):
        site.inbound(f"{index}.in", inbound_file(chance))
    names = sorted(path.name for path in site.path("IN").iterdir())
    stands = site.snapshot()
    told = kit.json("packet", *(f"IN/{name}" for name in names), status=None)
    assert site.snapshot() == stands, "cvkit changed the site"
    assert told["unsettled"] is None

    run = site.toss()
    blocks = run.blocks() if any("run complete" in line for line in run.lines) else None
    if blocks is None:
        kinds = {file["kind"] == "other": file["fate"] for file in told["files"]}
        assert kinds.get(False, "left") == "left" and kinds.get(True, "ignored") == "ignored"
        return set()
    assert {file["path"]: file["fate"] for file in told["files"]} == {
        f"IN/{name}": fate(site, name, blocks, run.status) for name in names}
    for name, file in zip(names, told["files"]):
        seen = happened(blocks.get(name, []))
        assert without_parking(foretold(file)) == without_parking(seen)
        assert {event[1:] for event in foretold(file) if event[0] == "parked"} <= {
            event[1:] for event in seen if event[0] == "parked"}
    messages = [one for file in told["files"] for packet in file["packets"] for one in packet["messages"]]
    compare_bases(site, before, messages)
    return {one["verdict"] for one in messages} | {file["fate"] for file in told["files"]}


def compare_bases(site, before: dict[int, MessageBase], told: list[dict]) -> None:
    """The headers that were added are those that were foretold, with their parents; a duplicate is of what it says."""
    for conference, old in before.items():
        stored = [one for one in told if one["verdict"] in ("stored", "catch-all") and one["conference"] == conference]
        if not stored:
            assert all(site.read(f"MSG/{name}") == content for name, content in old.files().items())
        new = site.message_base(conference) if stored else old
        added = new.ptr[len(old.ptr):]
        assert [(record.number, record.thread) for record in added] == [
            (one["message_number"], one["parent"] or one["message_number"]) for one in stored]
        assert [record.is_reply for record in added] == [int(one["parent"] is not None) for one in stored]
        for one in told:
            if one["verdict"] == "duplicate" and one["conference"] == conference and one["message_number"]:
                line = f"{one['msgid']}\t{one['message_number']}".encode()
                assert line in (new.sig or b"").replace(b"\r", b"").split(b"\n")


@pytest.mark.parametrize("group", range(GROUPS))
def test_the_toss_does_what_was_foretold(site, kit, group):
    seen = set()
    for seed in range(group * SITES, (group + 1) * SITES):
        try:
            seen |= compare(site, kit, random.Random(seed))
        except AssertionError as error:
            raise AssertionError(f"seed {seed}: {error}") from error
        for name in ("IN", "MSG"):
            for path in sorted(site.path(name).rglob("*"), reverse=True):
                path.rmdir() if path.is_dir() else path.unlink()
        site.path("TOSSER.LOG").unlink(missing_ok=True)
    assert WINDOWS or seen == {"stored", "catch-all", "duplicate", "dropped", "refused", "damaged",
                               "processed", "retained", "left", "ignored"}

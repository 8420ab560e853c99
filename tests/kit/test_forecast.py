"""A toss does with inbound files what "cvkit packet" has predicted, message by message and file by file.

Sites, message bases and inbound files are generated from fixed seeds: sound ones, cut and flipped ones, duplicates
within and between files, areas that nobody carries, full conferences, replies within a packet.
"""

import random
import re

import pytest
from formats.message_base import MessageBase
from harness.generated import conferences, inbound_file, message_base
from harness.target import WINDOWS

GROUPS = 4
SITES = 4 if WINDOWS else 24

EVENTS = (
    ("stored", re.compile(r"  -> wrote conf (\d+) msg #(\d+) ")),
    ("parked", re.compile(r"  msg (\d+): AREA:.* -- parked in catch-all conf (\d+) ")),
    ("duplicate", re.compile(r"  msg (\d+): duplicate \(MSGID .* already seen in conf (\d+)\) -- SKIPPED")),
    ("dropped", re.compile(r"  msg (\d+): .* -- SKIPPED")),
    ("refused", re.compile(r"  msg (\d+): message-base append failed")),
    ("stopped", re.compile(r"  ERROR: could not allocate/clean message body")),
    ("saved", re.compile(r"  saved unprocessable packet data ")),
)


def foretold(file: dict) -> list[tuple]:
    """The events that the log must contain according to cvkit."""
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
    """The events in the log lines about a file."""
    events = []
    for line in lines:
        for name, pattern in EVENTS:
            match = pattern.match(line)
            if match:
                events.append((name, *map(int, match.groups())))
                break
    return events


def without_parking(events: list[tuple]) -> list[tuple]:
    """For a duplicate or refused message cvkit does not say that it was parked in the catch-all."""
    return [event for event in events if event[0] != "parked"]


def fate(site, name: str, blocks: dict[str, list[str]], status: int) -> str:
    if not site.path(f"IN/{name}").exists():
        return "processed"
    if name not in blocks:
        return "ignored"
    return "retained" if any("retain" in line for line in blocks[name]) else "left"


def compare(site, kit, chance: random.Random) -> set[str]:
    """Generates a site, calls cvkit, tosses, and compares; returns the predicted verdicts and fates."""
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
    """The added headers and their parents are those predicted, and so are the originals of duplicates."""
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
def test_the_toss_does_what_was_predicted(site, kit, group):
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

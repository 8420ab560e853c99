"""What the tests of "cvkit ledger" have in common."""

import re
from collections import Counter

from formats.packet import PackedMessage, Packet, echomail
from harness.kit import Kit
from harness.site import LOG, Site

FATES = ("stored", "removed", "duplicate", "dropped", "damaged", "waiting", "unknown", "unaccounted")
CUT = b"\x02\x00\x01"
"""Bytes that end a packet within the head of a message."""


def mail(serial: int, area: str = "FIDO", msgid: bool = True, **fields) -> PackedMessage:
    return echomail(area, f"text {serial}", msgid=f"2:250/1 {serial:08x}" if msgid else "",
                    **({"subject": f"Subject {serial}"} | fields))


def ledger(kit: Kit, *arguments, status: int = 0, **expected: int) -> list[dict]:
    """Checks the sums, those not given being 0, in both forms of the output; returns the messages."""
    answer = kit.json("ledger", *arguments, status=status)
    assert {fate: answer[fate] for fate in FATES if answer[fate]} == expected
    assert answer["in"] == sum(expected.values()) == len(answer["messages"])
    assert Counter(message["fate"] for message in answer["messages"]) == Counter(expected)
    of = {fate: f"{expected.get(fate, 0):,}" for fate in FATES}
    assert kit("ledger", *arguments, status=status).text.splitlines()[-1] == (
        f"in {answer['in']:,} = stored {of['stored']} + removed {of['removed']} + duplicates {of['duplicate']} + "
        f"dropped {of['dropped']} + damaged {of['damaged']} + waiting {of['waiting']}; "
        f"unknown {of['unknown']}, unaccounted {of['unaccounted']}")
    return answer["messages"]


def sums(site: Site) -> dict[str, int]:
    """The sums that are not 0. Nothing may be unaccounted for."""
    answer = Kit(site).json("ledger")
    found = {fate: answer[fate] for fate in FATES if answer[fate]}
    assert answer["in"] == sum(found.values())
    return found


def fates(messages: list[dict]) -> list[str]:
    return [message["fate"] for message in messages]


def states(kit: Kit) -> dict[str, str]:
    return {file["file"]: file["state"] for file in kit.json("ledger", status=None)["files"]}


def tossed(site: Site, *messages: PackedMessage, name: str = "a.pkt", status: int = 0, **packet) -> None:
    site.inbound(name, Packet(list(messages), **packet))
    assert site.toss().status == status


def edit_log(site: Site, pattern: str) -> int:
    """Removes the lines that match; returns how many there were."""
    lines = site.read(LOG).splitlines(keepends=True)
    kept = [line for line in lines if not re.search(pattern.encode(), line)]
    site.write(LOG, b"".join(kept))
    return len(lines) - len(kept)

"""Two systems that send each other mail: one is the other's hub."""

import shutil
from pathlib import Path

from formats.conference_table import echo, netmail
from formats.message_base import MessageBase, PtrRecord, assert_whole, body_lines, message_body
from harness.site import Site

ECHO, POST = 1, 2
"""The conferences of both systems."""


class System:
    """A site with an FTN address; `post` does what its BBS does when a user writes a message."""

    def __init__(self, site: Site, address: str, hub: str, name: str):
        self.site = site
        self.address = address.split(".")[0]
        self.name = name
        site.add_config(f"ADDRESS {address}\nHUB {hub}\nSYSTEM {name}\n")
        site.conferences(echo("FIDO.TALK"), netmail())

    def base(self, conference: int) -> MessageBase:
        base = self.site.message_base(conference)
        assert_whole(base)
        return base

    def post(self, conference: int, *lines: str, to: str = "All", parent: int = 0, **fields) -> int:
        """Adds an unsent message; returns its number."""
        base = self.base(conference)
        if parent:
            fields |= {"is_reply": 1, "is_root": 0, "thread": parent}
        record = base.add(body_lines(*lines), sent=0, netmail=int(conference == POST), to=to, **fields)
        self.site.put(base)
        return record.number

    def scan(self) -> list[Path]:
        """Runs a scan, which has to succeed; returns the bundles that wait in OUTDIR."""
        run = self.site.run("-scan")
        assert run.status == 0, run.lines
        return sorted(self.site.path("OUT").iterdir())

    def toss(self) -> list[str]:
        """Runs a toss, which has to succeed; returns its lines."""
        run = self.site.toss()
        assert run.status == 0, run.lines
        return run.lines

    def carry(self, other: "System") -> list[str]:
        """Scans, brings the bundles to the other system, and tosses them there; returns the lines of the toss."""
        bundles = self.scan()
        assert bundles, "nothing was exported"
        for bundle in bundles:
            shutil.move(bundle, other.site.path("IN"))
        return other.toss()

    def threads(self, conference: int) -> list[tuple[int, int]]:
        """Number and ThreadRef of every message."""
        return [(record.number, record.thread) for record in self.base(conference).ptr]

    def newest(self, conference: int) -> tuple[PtrRecord, bytes]:
        """The last header and its text."""
        base = self.base(conference)
        return base.ptr[-1], message_body(base, base.ptr[-1])

    def signed(self, *lines: str) -> bytes:
        """The text of a message with these lines as the other system stores it."""
        return body_lines(*lines, "", "", "--- cvtoss32 1.05", f" * Origin: {self.name} ({self.address})")


def make_network(site: Site, hub_site: Site) -> tuple[System, System]:
    """A system and its hub."""
    ours, hubs = "2:250/10.3", "3:251/20.4"
    return System(site, ours, hubs, "The Lodge"), System(hub_site, hubs, ours, "The Hub")

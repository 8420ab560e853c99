"""Tosses that are killed: the inbound files, and every state of the site during the toss.

The states follow from the order of the toss alone. For one message: DAT, IDX, PTR and SIG are created where they are
missing, then written in this order, each in one call.
"""

import re
import shutil
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

from formats.conference_table import Conference
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import PackedMessage, echomail, netmail
from formats.text import shown
from harness.compare import bad_areas, masked
from harness.site import LOCK, Site, Snapshot
from harness.waiting import OWNER

SOURCE = "mail.in"
PROCESSED = "IN/processed"
ELSEWHERE = "ELSEWHERE"
OWNED = b"(the line of its owner)"

# The kinds of state. docs/reliability.md has a row for each.
BEFORE = "nothing yet"
EMPTY_LOCK = "an empty lock"
LOCKED = "the lock"
EMPTY_FILES = "empty files of a new conference"
LOOSE_TEXT = "a text without header"
LOOSE_INDEX = "an index entry without header"
HIDDEN_INDEX = "an index entry without header, behind a short index"
FIRST_TEXT = "a text in a conference without headers"
UNSIGNED = "a message without its SIG line"
BETWEEN = "whole messages"
AREA_LISTED = "a line in BADAREAS.LST"
SAVING = "half of a saved packet"
SAVED = "a saved packet"
ROOM_MADE = "the older processed file removed"
HALF_MOVED = "half of a copy in the processed directory"
COPIED = "the source and its copy"
DISPOSED = "the source disposed of"
AFTER = "the lock released"


@dataclass
class Mail:
    """A message of the source and where it belongs."""

    packed: PackedMessage
    conference: int
    body: bytes
    msgid: str = ""
    area: str = ""
    unknown_area: bool = False

    def store(self, base: MessageBase) -> str:
        """Adds the message to its base; returns the line of the toss."""
        return base.store(self.packed, self.body, msgid=self.msgid, netmail=int(not self.area))


def echo_mail(conference: int, area: str, line: str, msgid: str = "", unknown: bool = False, times: int = 1) -> Mail:
    lines = [line] * times
    return Mail(echomail(area, *lines, msgid=msgid), conference, body_lines(*lines), msgid, area, unknown)


def net_mail(conference: int, line: str, msgid: str = "") -> Mail:
    return Mail(netmail(line, msgid=msgid), conference, body_lines(line), msgid)


@dataclass
class TossScene:
    name: str
    conferences: list[Conference]
    mails: list[Mail]
    pack: Callable[[list[PackedMessage]], bytes]
    earlier: Callable[[MessageBase], None] = lambda base: None
    packets: bool = False
    """Each message has a packet of its own."""
    fault: bool = False
    """The packet stops at a structural fault after its messages."""
    older: bool = False
    """A file of the source's name is in the processed directory."""
    kept: bool = True
    stored_before: int = 0
    """That many of the messages were stored by an earlier run."""
    elsewhere: Path | None = None
    """The processed directory, on another file system."""
    options: tuple[str, ...] = ()
    """Of strace: what the file system cannot do."""
    linked: bool = False
    """A move is a second link, and then the removal of the first."""

    def bases(self) -> list[MessageBase]:
        bases = [MessageBase(number) for number in range(1, len(self.conferences) + 1)]
        for base in bases:
            self.earlier(base)
        return bases

    def lay(self, site: Site) -> None:
        site.conferences(*self.conferences)
        site.add_config(("" if self.kept else "KEEPPROCESSED no\n") + self._processed_dir())
        for base in self.bases():
            site.put(base)
        site.inbound(SOURCE, self.source())
        if self.older:
            site.write(f"{PROCESSED}/{SOURCE}", "older")

    def _processed_dir(self) -> str:
        if not self.elsewhere:
            return ""
        shutil.rmtree(self.elsewhere, ignore_errors=True)
        self.elsewhere.mkdir()
        return f"PROCESSEDDIR {self.elsewhere}\n"

    def source(self) -> bytes:
        return self.pack([mail.packed for mail in self.mails])


@dataclass
class State:
    kind: str
    files: Snapshot
    stored: int = 0
    """How many messages of the source have a header."""


@dataclass
class States:
    """The states of a toss in order; each is the previous one with a change."""

    scene: TossScene
    states: list[State] = field(default_factory=list)

    def add(self, kind: str, changes: dict[str, bytes | None], gone: tuple[str, ...] = (), stored: int = 0) -> None:
        last = self.states[-1]
        files = {path: data for path, data in last.files.items() if path not in gone} | changes
        self.states.append(State(kind, files, last.stored + stored))

    def between(self) -> str:
        """The kind of a state between two messages."""
        return BETWEEN if self.states[-1].stored > self.scene.stored_before else LOCKED


def toss_states(scene: TossScene, before: Snapshot) -> list[State]:
    states = States(scene, [State(BEFORE, before, scene.stored_before)])
    states.add(EMPTY_LOCK, {LOCK: b""})
    states.add(LOCKED, {LOCK: OWNED})
    if scene.kept and not scene.older and not scene.elsewhere:
        states.add(LOCKED, {f"{PROCESSED}/": None})
    bases = scene.bases()
    listed: list[str] = []
    for mail in scene.mails[scene.stored_before :]:
        if mail.unknown_area:
            listed.append(mail.area)
            add_listing(states, listed)
        add_message(states, bases[mail.conference - 1], mail)
    if scene.fault:
        add_saving(states, scene.source())
    add_disposal(states)
    states.add(AFTER, {}, (LOCK,))
    return states.states


def add_listing(states: States, areas: list[str]) -> None:
    if len(areas) == 1:
        states.add(states.between(), {"MSG/BADAREAS.LST": b""})
    states.add(AREA_LISTED, {"MSG/BADAREAS.LST": bad_areas(*areas)})


def add_message(states: States, base: MessageBase, mail: Mail) -> None:
    kinds = ("DAT", "IDX", "PTR", "SIG") if mail.msgid else ("DAT", "IDX", "PTR")
    old = message_files(base)
    new, short, has_headers = base.copy(), len(base.idx) < len(base.ptr), bool(base.ptr)
    mail.store(new)
    written = message_files(new)
    for kind in kinds:
        path = f"MSG/{base.name(kind)}"
        if path not in old:
            states.add(EMPTY_FILES, {path: b""})
    loose_index = HIDDEN_INDEX if short else LOOSE_INDEX
    partial = {
        "DAT": LOOSE_TEXT if has_headers else FIRST_TEXT,
        "IDX": loose_index if has_headers else FIRST_TEXT,
        "PTR": UNSIGNED if mail.msgid else BETWEEN,
        "SIG": BETWEEN,
    }
    for kind in kinds:
        path = f"MSG/{base.name(kind)}"
        states.add(partial[kind], {path: written[path]}, stored=int(kind == "PTR"))
    base.ptr, base.idx, base.dat, base.sig = new.ptr, new.idx, new.dat, new.sig


def add_saving(states: States, source: bytes) -> None:
    states.add(states.between(), {"IN/badmsgs/": None})
    states.add(SAVING, {"IN/badmsgs/BAD_#.PKT": b""})
    states.add(SAVED, {"IN/badmsgs/BAD_#.PKT": source})


def add_disposal(states: States) -> None:
    target = f"{PROCESSED}/{SOURCE}"
    if states.scene.older:
        states.add(ROOM_MADE, {}, (target,))
    if states.scene.elsewhere:
        target = f"{ELSEWHERE}/{SOURCE}"
        states.add(HALF_MOVED, {target: b""})
        states.add(COPIED, {target: states.scene.source()})
    if states.scene.linked:
        states.add(COPIED, {target: states.scene.source()})
    moved = {target: states.scene.source()} if states.scene.kept else {}
    states.add(DISPOSED, moved, (f"IN/{SOURCE}",))


def observed(site: Site, elsewhere: Path | None = None) -> Snapshot:
    """The site as a state: values that depend on the time of the run are masked after a check of their form."""
    found = masked(site.snapshot())
    if elsewhere:
        found |= {f"{ELSEWHERE}/{path.name}": path.read_bytes() for path in elsewhere.iterdir()}
    line = found.get(LOCK)
    if line:
        assert re.fullmatch(OWNER, shown(line).removesuffix("\n")) and line.endswith(b"\n")
        found[LOCK] = OWNED
    return found

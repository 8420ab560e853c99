"""Many cases in one toss: each in an inbound file of its own and, where it stores mail, in a conference of its own.

No case depends on the order in which the files are tossed. The exit status, every line and every file of the site are
compared at the end.
"""

from formats.conference_table import Conference, echo
from formats.message_base import MessageBase, message_files
from formats.packet import Packet
from harness.compare import GONE, RETAINED, assert_changes, head, moved, parsed, tail
from harness.run import Run
from harness.site import Site


class Cases:
    def __init__(self, site: Site):
        self.site = site
        self.conferences: list[Conference] = []
        self.bases: list[MessageBase] = []
        self.blocks: dict[str, list[str]] = {}
        self.disposed: dict[str, bytes] = {}
        self.ignored = 0

    def conference(self, conference: Conference | None = None) -> MessageBase:
        """Adds a conference, routed under the tag `tag`; returns its message base, which is empty.

        Messages that are added to the base and written with `Site.put` are there before the run; messages that are
        stored in it are expected after the run.
        """
        number = len(self.conferences) + 1
        self.conferences.append(conference or echo(f"CASE{number}"))
        self.bases.append(MessageBase(number))
        return self.bases[-1]

    def stands(self, base: MessageBase, conference: Conference | None = None) -> None:
        """Adds the next conference with a message base that is already in the site, as an earlier toss left it."""
        assert base.conference == len(self.conferences) + 1
        self.conferences.append(conference or echo(self.tag(base)))
        self.bases.append(base)

    @staticmethod
    def tag(base: MessageBase) -> str:
        return f"CASE{base.conference}"

    def packet(self, name: str, packet: Packet, *lines: str) -> None:
        """A sound packet that is tossed completely and moved; `lines` are those of its messages."""
        self.file(name, packet.pack(), packet.log_line(), *lines, parsed(len(packet.messages)), moved(name))

    def retained(self, name: str, packet: Packet, *lines: str) -> None:
        """A packet that stays in the inbound directory; `lines` are those between its header's and the last one."""
        self.file(name, packet.pack(), packet.log_line(), *lines, RETAINED)

    def file(self, name: str, data: bytes, *lines: str) -> None:
        """A file with all the lines after its "Found:" line. It is moved if the last one says so."""
        self.site.inbound(name, data)
        self.blocks[name] = list(lines)
        if lines[-1] == moved(name):
            self.disposed[name] = data

    def unrelated(self, name: str, data: bytes) -> None:
        """A file that is neither a bundle nor a packet: it stays and is only counted."""
        self.site.inbound(name, data)
        self.ignored += 1

    def toss(self, status: int = 0, changes: dict[str, object] | None = None, **options) -> Run:
        """Runs the toss and compares everything; `changes` are expected in addition to those of the cases.

        The options are those of the process.
        """
        self.site.conferences(*self.conferences)
        before = self.site.snapshot()
        run = self.site.toss(**options)
        assert run.stderr == ""
        assert run.head() == head(len(self.conferences))
        found = run.blocks()
        for name, lines in self.blocks.items():
            assert found.get(name) == lines, f"lines of {name}"
        assert sorted(found) == sorted(self.blocks)
        assert run.tail() == tail(len(self.disposed), self.ignored)
        assert run.status == status
        expected: dict[str, object] = {"IN/processed/": None}
        for name, data in self.disposed.items():
            expected |= {f"IN/{name}": GONE, f"IN/processed/{name}": data}
        assert_changes(self.site, before, expected | message_files(*self.bases) | (changes or {}))
        return run

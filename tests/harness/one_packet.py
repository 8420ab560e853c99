"""Many messages in one packet: they are tossed in order, so that each may depend on those before it."""

from formats.conference_table import Conference
from formats.message_base import MessageBase
from formats.packet import PackedMessage, Packet
from harness.cases import Cases
from harness.run import Run
from harness.site import Site


class OnePacket:
    def __init__(self, site: Site):
        self.cases = Cases(site)
        self.messages: list[PackedMessage] = []
        self.lines: list[str] = []

    def conference(self, conference: Conference | None = None) -> MessageBase:
        return self.cases.conference(conference)

    def tag(self, base: MessageBase) -> str:
        return self.cases.tag(base)

    def next(self) -> int:
        """The number, from 1, of the message that is added next."""
        return len(self.messages) + 1

    def add(self, message: PackedMessage, *lines: str) -> None:
        """Adds a message and the lines that the run must log for it."""
        self.messages.append(message)
        self.lines += lines

    def toss(self, changes: dict[str, object] | None = None) -> Run:
        """Tosses the packet, which must then be moved, and compares everything."""
        self.cases.packet("a.pkt", Packet(self.messages), *self.lines)
        return self.cases.toss(changes=changes)

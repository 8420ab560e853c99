"""Mail as a busy hub sends it: messages of realistic sizes and kludges, in deflated bundles of 200 kB packets.

Everything comes from a random generator with a fixed seed: the same workload is the same bytes on every machine.
"""

import random
from dataclasses import dataclass, field

from formats.message_base import DAT_TEXT, LINE_END
from formats.packet import PackedMessage, Packet
from formats.zip_bundle import DEFLATED, STORED, Entry, bundle

SEED = 20250105
MEDIAN_SIZE, LARGEST_SIZE = 1200, 20000  # of a message text, in bytes
SIZE_SPREAD = 0.8  # of the logarithm: a mean of 1.65 kB, one message in 200 beyond 9 kB
REPLIES, UTF8 = 0.6, 0.1  # shares of the messages
PACKET_SIZE, PACKETS_PER_BUNDLE = 200_000, 5
HUB = "1:250/10"


@dataclass
class Workload:
    """How much mail arrives, and where. A size of 0 stands for the realistic mix."""

    messages: int
    conferences: int
    held: int = 0  # messages that each conference holds already
    size: int = 0
    packet_size: int = PACKET_SIZE
    deflated: bool = True
    bundles: int = 0  # 0: as many as five packets each make

    @property
    def name(self) -> str:
        sizes = "mixed sizes" if self.size == 0 else f"{self.size} bytes each"
        bases = "empty" if self.held == 0 else f"{self.held:,} held"
        packets = "" if self.packet_size == PACKET_SIZE else f", packets of {self.packet_size:,} bytes"
        stored = "" if self.deflated else ", stored"
        bundles = f", bundles: {self.bundles}" if self.bundles else ""
        return f"{self.messages:,} messages, {self.conferences} conferences, {bases}, {sizes}{packets}{stored}{bundles}"


@dataclass
class Mail:
    """A workload's files, and what storing them takes: conference, DAT records and SIG line of each message."""

    bundles: list[bytes] = field(default_factory=list)
    plan: list[tuple[int, int, int]] = field(default_factory=list)
    largest_entry: int = 0  # of those that have to be inflated


def area_tag(conference: int) -> str:
    return f"BENCH.{conference:03d}"


def msgid_of(conference: int, number: int) -> str:
    """The MSGID of a conference's message `number`, from one of 97 systems."""
    system = (conference * 7919 + number * 104729) % 97
    return f"2:{5000 + system}/{100 + system * 3} {(conference << 20 | number) * 2654435761 % 2**32:08x}"


class Writer:
    """Writes message texts."""

    def __init__(self, seed: int = SEED):
        self.random = random.Random(seed)
        syllables = [a + b for a in "bdfghklmnprstvw" for b in ("a", "e", "i", "o", "u", "an", "er", "ist", "oll")]
        words = ["".join(self.random.choices(syllables, k=self.random.choice((1, 1, 2, 2, 3)))) for _ in range(3000)]
        self.lines = [self.line(words) for _ in range(6000)]

    def line(self, words: list[str]) -> str:
        text = " ".join(self.random.choices(words, k=14))[: self.random.choice((30, 68, 70, 72, 74, 74))].rstrip()
        return self.random.choice(("", "", " AB> ", "> ")) + text

    def size(self) -> int:
        size = MEDIAN_SIZE * self.random.lognormvariate(0, SIZE_SPREAD)
        return int(min(max(size, 100), LARGEST_SIZE))

    def body(self, size: int, utf8: bool) -> list[str]:
        """Lines of `size` bytes in all, line ends counted."""
        lines, left = [], max(size - (2 if utf8 else 0), 1)
        while left > 0:
            line = self.random.choice(self.lines)[: left - 1]
            lines.append(line)
            left -= len(line) + 1
        if utf8:
            lines[0] = "äöü"[size % 3] + lines[0][1:] + "é"
        return lines

    def message(self, conference: int, msgid: str, reply: str, size: int) -> tuple[PackedMessage, int]:
        """A packed message, and how many bytes its body has in the message base."""
        utf8 = self.random.random() < UTF8
        system = msgid.split()[0]
        kludges = [f"AREA:{area_tag(conference)}", f"\x01MSGID: {msgid}"]
        kludges += [f"\x01REPLY: {reply}"] if reply else []
        kludges += ["\x01PID: BENCH 1.0", f"\x01CHRS: {'UTF-8 4' if utf8 else 'CP437 2'}", "\x01TZUTC: 0100"]
        routing = ["SEEN-BY: 250/10 11 12 5000/100 5001/103 5002/106", "SEEN-BY: 5003/109 5004/112 5005/115",
                   "\x01PATH: 5000/100 250/10"]
        end = ["--- BENCH 1.0", f" * Origin: A system somewhere ({system})"]
        kept = self.body(max(size - sum(len(line) + 1 for line in kludges + end + routing), 2), utf8) + end
        text = "".join(line + "\r" for line in kludges + kept + routing).encode("utf-8" if utf8 else "cp437")
        subject = ("Re: " if reply else "") + self.random.choice(self.lines)[:30]
        packed = PackedMessage(text=text, sender="Bench Sender", to="All", subject=subject, orig_net=250, orig_node=10)
        return packed, sum(len(line) + len(LINE_END) for line in kept)


def parent_of(choice: random.Random, conference: int, held: int, arrived: list[int]) -> str:
    """The MSGID that a reply names: of a message that is there or came earlier in the same bundle, or of none known."""
    known = held + len(arrived)
    if known == 0:
        return "3:999/1 00000000"
    at = choice.randrange(known)
    return msgid_of(conference, at + 1 if at < held else arrived[at - held])


def make_mail(workload: Workload) -> Mail:
    writer, mail = Writer(), Mail()
    choice = writer.random
    counts = [workload.held] * (workload.conferences + 1)
    arrived: list[list[int]] = [[] for _ in counts]  # numbers in the bundle being filled
    packets: list[bytes] = []
    packet, filled = Packet(), 0

    def close_packet() -> None:
        nonlocal packet, filled
        packets.append(packet.pack())
        if workload.deflated:
            mail.largest_entry = max(mail.largest_entry, len(packets[-1]))
        packet, filled = Packet(), 0
        if len(packets) == PACKETS_PER_BUNDLE and not workload.bundles:
            close_bundle()

    def close_bundle() -> None:
        method = DEFLATED if workload.deflated else STORED
        entries = [Entry(f"{len(mail.bundles):04x}{i:04x}.pkt", content, method=method)
                   for i, content in enumerate(packets)]
        mail.bundles.append(bundle(*entries))
        packets.clear()
        for numbers in arrived:
            numbers.clear()

    for _ in range(workload.messages):
        conference = choice.randrange(workload.conferences) + 1
        counts[conference] += 1
        number = counts[conference]
        msgid = msgid_of(conference, number)
        reply = ""
        if choice.random() < REPLIES:
            reply = parent_of(choice, conference, workload.held, arrived[conference])
        message, body_size = writer.message(conference, msgid, reply, workload.size or writer.size())
        arrived[conference].append(number)
        packet.messages.append(message)
        filled += len(message.text) + 100
        mail.plan.append((conference, -(-body_size // DAT_TEXT), len(f"{msgid}\t{number}\n")))
        bundle_is_full = workload.bundles and len(mail.plan) % -(-workload.messages // workload.bundles) == 0
        if filled >= workload.packet_size or bundle_is_full:
            close_packet()
        if bundle_is_full:
            close_bundle()
    if packet.messages:
        close_packet()
    if packets:
        close_bundle()
    return mail

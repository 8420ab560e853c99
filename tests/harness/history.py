"""A site with three months of history: a toss and a scan each night, by the real program under a moved clock."""

import datetime
import random
from collections import Counter, defaultdict
from pathlib import Path

from formats.conference_table import echo, netmail
from formats.message_base import body_lines
from formats.packet import Packet, echomail
from formats.packet import netmail as netmail_message
from formats.zip_bundle import Entry, bundle
from harness.run import Run
from harness.site import Site
from harness.target import environment

TODAY = datetime.date(2026, 11, 22)
DAYS = 90
CONFERENCES = {1: ("Fido Talk", "FIDO"), 2: ("Tech & tools", "TECH"), 3: ("Net radio", "RADIO"),
               4: ("Everything else", "*")}
NETMAIL = 5
CUT = b"\x02\x00\x01"
"""Where a packet ends within the head of a message."""


def clock(moment: str) -> dict[str, str]:
    """What sets the clock of a program to a local time."""
    library = next(Path("/usr/lib").glob("*/faketime/libfaketime.so.1"))
    return {"LD_PRELOAD": str(library), "FAKETIME": f"@{moment}",
            "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"}


class History:
    """The site, and what the page has to say of it: `days` by date, `conferences` by number and "in" or "out"."""

    def __init__(self, site: Site, seed: int = 1):
        self.site = site
        self.chance = random.Random(seed)
        self.days: dict[str, Counter[str]] = defaultdict(Counter)
        self.conferences: Counter[tuple[int, str]] = Counter()
        self.unknown: Counter[str] = Counter()
        self.serial = 0
        self.sent: list = []
        site.add_config("ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM The Lodge\n")
        site.conferences(*(echo(tag, name=name) for name, tag in CONFERENCES.values()), netmail("Netmail"))
        old = site.message_base(2)
        for _ in range(500):
            old.add(b"x" * 127 * 100)
        site.put(old)

    def run(self, day: datetime.date, mode: str, time: str) -> Run:
        return self.site.run(mode, env=environment(**clock(f"{day} {time}")))

    def message(self, day: datetime.date, area: str, lines: int):
        self.serial += 1
        date = day.strftime("%d %b %y  01:02:03")
        make = netmail_message if area == "" else lambda *rest, **fields: echomail(area, *rest, **fields)
        return make(*["A line of the text of a message, as long as such lines are."] * lines,
                    msgid=f"3:251/20 {self.serial:08x}", date=date)

    def take(self, day: datetime.date, messages: list, conference: int, area: str, count: int, lines: int) -> None:
        messages += [self.message(day, area, lines) for _ in range(count)]
        self.days[str(day)]["in"] += count
        self.conferences[conference, "in"] += count

    def inbound(self, day: datetime.date, number: int) -> None:
        """What comes in one night: mail for all conferences, now and then of an unknown area, twice, or damaged."""
        busy = 1 + (day.weekday() >= 5)
        messages: list = []
        for conference, area, most, lines in ((1, "FIDO", 9, 6), (2, "TECH", 5, 22), (3, "RADIO", 2, 4),
                                              (NETMAIL, "", 1, 3)):
            self.take(day, messages, conference, area, self.chance.randint(0, most * busy), lines)
        if number % 9 == 4:
            tag = f"NEW.AREA.{number // 40}"
            self.take(day, messages, 4, tag, 2, 3)
            self.unknown[tag] += 2
        again = self.chance.sample(self.sent, min(len(self.sent), self.chance.choice((0, 0, 0, 1, 4))))
        self.days[str(day)]["duplicates"] += len(again)
        self.sent = [message for message in messages if message.text.startswith(b"AREA:FIDO")]
        packet = Packet(messages + again)
        if number % 30 == 17:
            packet.closing = CUT
            self.days[str(day)]["damaged"] += 1
        self.site.inbound(f"{number:08x}.su0", bundle(Entry("mail.pkt", packet.pack())))

    def post(self, day: datetime.date) -> None:
        """What the users of the BBS write."""
        base = self.site.message_base(1)
        count = self.chance.choice((0, 1, 1, 2, 4))
        for _ in range(count):
            base.add(body_lines("What we say to that"), sent=0, date=day.strftime("%m/%d/%y 09:00pm"))
        if count:
            self.site.put(base)
        self.days[str(day)]["out"] += count
        self.conferences[1, "out"] += count

    def make(self) -> None:
        for number in range(DAYS):
            day = TODAY - datetime.timedelta(DAYS - 1 - number)
            self.post(day)
            self.inbound(day, number)
            assert self.run(day, "-toss", "03:10:00").status == 0
            assert self.run(day, "-scan", "03:10:30").status == 0
            for fetched in self.site.path("OUT").iterdir():
                fetched.unlink()

    def sum(self, what: str) -> int:
        return sum(day[what] for day in self.days.values())

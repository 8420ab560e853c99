"""CVMCONF.DAT: a flat array of 128-byte conference records, conference 1 first, no header.

    offset size
         0    2  not read
         2    1  NetMailConf: nonzero when the conference takes netmail
         3   41  ConfName, string[40]
        44    1  not read
        45    1  PublicMsgConf: nonzero when the conference is public-only
        46    5  not read
        51    2  LineWidth
        53   57  not read
       110    1  Routed: nonzero when the conference is routed to echomail
       111    1  not read
       112   16  NetIDName, string[15]: the AREA tag

Unused bytes are filled with 0xEE, so that a reader which uses them is noticed.
"""

import struct
from dataclasses import dataclass

from formats.text import Text, length_prefixed

RECORD_SIZE = 128


@dataclass
class Conference:
    """One record. `raw_name` and `raw_tag` replace a whole length-prefixed field (41 and 16 bytes)."""

    name: Text = "Talk"
    tag: Text = ""
    routed: int = 0
    netmail: int = 0
    public: int = 0
    line_width: int = 80
    raw_name: bytes | None = None
    raw_tag: bytes | None = None

    def pack(self) -> bytes:
        name = length_prefixed(self.name, 40) if self.raw_name is None else self.raw_name
        tag = length_prefixed(self.tag, 15) if self.raw_tag is None else self.raw_tag
        assert len(name) == 41 and len(tag) == 16
        record = bytearray(b"\xee" * RECORD_SIZE)
        record[2] = self.netmail
        record[3:44] = name
        record[45] = self.public
        record[51:53] = struct.pack("<H", self.line_width)
        record[110] = self.routed
        record[112:128] = tag
        return bytes(record)


def echo(tag: Text, name: Text = "Talk", **fields) -> Conference:
    """A conference routed to echomail under `tag`."""
    return Conference(name=name, tag=tag, routed=1, **fields)


def netmail(name: Text = "Netmail", **fields) -> Conference:
    """A private conference that takes netmail."""
    return Conference(name=name, netmail=1, **fields)


def conference_file(conferences: list[Conference]) -> bytes:
    return b"".join(conference.pack() for conference in conferences)

"""CVWHOSON.DAT: a flat array of 6-byte node records, node 1 first, no header.

    offset size
         0    2  UserNo: 65535 when the node is idle
         2    1  Mode
         3    3  not read (filled with 0xEE here)
"""

import struct
from dataclasses import dataclass

IDLE = 65535


@dataclass
class Node:
    user: int = IDLE
    mode: int = 0

    def pack(self) -> bytes:
        return struct.pack("<HB", self.user, self.mode) + b"\xee\xee\xee"


def node_file(nodes: list[Node]) -> bytes:
    return b"".join(node.pack() for node in nodes)

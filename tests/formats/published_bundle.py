"""The bundle that a scan publishes: a ZIP file with one stored entry, field by field.

    local header    "PK" 3 4, version needed 20, flags 0, method 0, time, date, CRC-32 (4), compressed size (4),
                    uncompressed size (4), name length, extra length 0; the name; the packet
    central header  "PK" 1 2, version made by 20, version needed 20, flags 0, method 0, time, date, CRC-32 (4),
                    compressed size (4), uncompressed size (4), name length, extra length 0, comment length 0, disk 0,
                    internal attributes 0, external attributes 0 (4), offset of the local header 0 (4); the name
    end record      "PK" 5 6, this disk 0, directory's disk 0, entries on this disk 1, entries 1, size of the directory
                    (4), its offset (4), comment length 0
"""

import struct
import zlib
from datetime import datetime

from formats.text import Text, raw

LOCAL_SIZE = 30
CENTRAL_SIZE = 46
END_SIZE = 22
ENTRY_NAME_SIZE = len("0123abcd.pkt")


def dos_stamp(when: datetime) -> tuple[int, int]:
    """Time and date as DOS packs them."""
    time = when.second // 2 | when.minute << 5 | when.hour << 11
    return time, when.day | when.month << 5 | (when.year - 1980) << 9


def published_bundle(entry: Text, packet: bytes, when: datetime) -> bytes:
    """The whole bundle, written at `when` in local time."""
    name = raw(entry)
    about = struct.pack("<HH3I2H", *dos_stamp(when), zlib.crc32(packet), len(packet), len(packet), len(name), 0)
    local = b"PK\x03\x04" + struct.pack("<3H", 20, 0, 0) + about + name
    central = b"PK\x01\x02" + struct.pack("<4H", 20, 20, 0, 0) + about + struct.pack("<3H2I", 0, 0, 0, 0, 0) + name
    end = b"PK\x05\x06" + struct.pack("<4H2IH", 0, 0, 1, 1, len(central), len(local) + len(packet), 0)
    assert len(local) == LOCAL_SIZE + len(name) and len(central) == CENTRAL_SIZE + len(name) and len(end) == END_SIZE
    return local + packet + central + end


def entry_name(bundle: bytes) -> str:
    """The name in the local header."""
    (size,) = struct.unpack_from("<H", bundle, 26)
    return bundle[LOCAL_SIZE : LOCAL_SIZE + size].decode("ascii")


def stored_packet(bundle: bytes) -> bytes:
    """The bytes of the one entry."""
    (size,) = struct.unpack_from("<I", bundle, 22)
    at = LOCAL_SIZE + len(entry_name(bundle))
    return bundle[at : at + size]

"""ZIP bundles made local header by local header, so that each field can be made right or wrong.

Local header, 30 bytes: 0 signature "PK" 3 4 (4), 4 version needed, 6 flags, 8 method, 10 time, 12 date, 14 CRC-32 (4),
18 compressed size (4), 22 uncompressed size (4), 26 name length, 28 extra length; then name, extra field, data.
"""

import struct
import zlib
from dataclasses import dataclass

from formats.text import Text, raw, reported

SIGNATURE = b"PK\x03\x04"
STORED = 0
DEFLATED = 8
DATA_DESCRIPTOR = 0x0008
ENTRY_LIMIT = 64 * 1024 * 1024


def deflate(data: bytes, level: int = 6) -> bytes:
    """Raw deflate data, without a zlib header."""
    stream = zlib.compressobj(level, zlib.DEFLATED, -15)
    return stream.compress(data) + stream.flush()


@dataclass
class Entry:
    """One entry. Fields that are None are computed: the stored bytes from the method, the lengths from the content."""

    name: Text
    content: bytes = b""
    method: int = STORED
    flags: int = 0
    extra: bytes = b""
    data: bytes | None = None
    crc: int | None = None
    compressed: int | None = None
    uncompressed: int | None = None
    name_length: int | None = None
    extra_length: int | None = None

    def stored_data(self) -> bytes:
        if self.data is not None:
            return self.data
        return deflate(self.content) if self.method == DEFLATED else self.content

    def sizes(self) -> tuple[int, int]:
        """The compressed and the uncompressed size in the header."""
        compressed = len(self.stored_data()) if self.compressed is None else self.compressed
        return compressed, len(self.content) if self.uncompressed is None else self.uncompressed

    def pack(self) -> bytes:
        name = raw(self.name)
        header = SIGNATURE + struct.pack(
            "<5HIIIHH",
            20,
            self.flags,
            self.method,
            0x6000,
            0x5A21,
            zlib.crc32(self.content) if self.crc is None else self.crc,
            *self.sizes(),
            len(name) if self.name_length is None else self.name_length,
            len(self.extra) if self.extra_length is None else self.extra_length,
        )
        assert len(header) == 30
        return header + name + self.extra + self.stored_data()

    def log_line(self) -> str:
        compressed, uncompressed = self.sizes()
        name = reported(raw(self.name)[:259])
        return f"  ZIP entry: {name} (method={self.method}, {compressed} -> {uncompressed} bytes)"


def bundle(*entries: Entry, after: bytes = b"PK\x01\x02 what follows the entries is not read") -> bytes:
    """A bundle: its entries, then the bytes that stand for the central directory."""
    return b"".join(entry.pack() for entry in entries) + after

"""What a toss has to say of a bundle, worked out from the bundle's bytes by the rules of its format alone."""

import re
import struct
import zlib
from dataclasses import dataclass, field
from typing import Callable

from formats.packet import HEADER_SIZE
from formats.text import reported
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, ENTRY_LIMIT, SIGNATURE, STORED
from harness.damage import is_header

LOCAL_HEADER = 30
NAME_SHOWN = 259

NO_HEADERS = "  no ZIP local file headers found -- not a ZIP bundle after all?"
CUT_NAME = "  ERROR: truncated ZIP filename/extra field"
CUT_DATA = "  ERROR: ZIP entry claims more compressed data than the file contains"
NOT_A_PACKET = "  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file"
NONE_HANDLED = "  ERROR: ZIP contained no successfully handled FidoNet packet entries"
RETAINING = "  retaining ZIP in inbound because at least one entry failed"


def entry_line(name: str, method: int, compressed: int, uncompressed: int) -> str:
    return f"  ZIP entry: {name} (method={method}, {compressed} -> {uncompressed} bytes)"


def streaming(name: str) -> str:
    return f"  ERROR: streaming/data-descriptor ZIP entry '{name}' is unsupported; retaining bundle"


def expands(name: str, size: int) -> str:
    return f"  ERROR: ZIP entry '{name}' expands to {size} bytes (limit 67108864); retaining bundle"


def not_inflated(name: str, code: int | str, produced: int | str, size: int) -> str:
    return f"  ERROR: inflate failed/incomplete (code {code}, produced {produced}/{size}) for entry '{name}'"


def inconsistent(name: str) -> str:
    return f"  ERROR: stored ZIP entry '{name}' has inconsistent sizes"


def unsupported(method: int, name: str) -> str:
    return f"  ERROR: unsupported ZIP compression method {method} for entry '{name}'"


def masked(lines: list[str]) -> list[str]:
    """Lines without what a message base decides (numbers) or what zlib alone knows (how far it came)."""
    lines = [re.sub(r" msg #\d+ ", " msg #N ", line) for line in lines]
    return [re.sub(r"\(code -?\d+, produced \d+/", "(code C, produced P/", line) for line in lines]


@dataclass
class Walk:
    """The lines of a bundle, masked, and whether it may be disposed of."""

    lines: list[str] = field(default_factory=list)
    handled: int = 0
    failed: int = 0
    disposed: bool = False


def walk(bundle: bytes, packet_lines: Callable[[bytes], list[str]]) -> Walk:
    """Walks the bundle; `packet_lines` tells the lines of a sound packet."""
    result = Walk()
    if len(bundle) < LOCAL_HEADER or bundle[:4] != SIGNATURE:
        result.lines.append(NO_HEADERS)
        return result
    at = 0
    while at + LOCAL_HEADER <= len(bundle) and bundle[at : at + 4] == SIGNATURE:
        flags, method = struct.unpack_from("<HH", bundle, at + 6)
        compressed, uncompressed, name_length, extra_length = struct.unpack_from("<IIHH", bundle, at + 18)
        data_at = at + LOCAL_HEADER + name_length + extra_length
        if data_at > len(bundle):
            result.lines.append(CUT_NAME)
            result.failed += 1
            break
        if data_at + compressed > len(bundle):
            result.lines.append(CUT_DATA)
            result.failed += 1
            break
        name = reported(bundle[at + LOCAL_HEADER :][: min(name_length, NAME_SHOWN)].split(b"\0")[0])
        result.lines.append(entry_line(name, method, compressed, uncompressed))
        data = bundle[data_at : data_at + compressed]
        content = _content(result, name, flags, method, data, uncompressed)
        if content is None:
            result.failed += 1
        elif is_header(content):
            assert len(content) > HEADER_SIZE
            result.lines += packet_lines(content)
            result.handled += 1
        else:
            result.lines.append(NOT_A_PACKET)
            result.failed += 1
        at = data_at + compressed
    if not result.handled:
        result.lines.append(NONE_HANDLED)
    result.disposed = result.failed == 0
    if not result.disposed:
        result.lines.append(RETAINING)
    return result


def _content(result: Walk, name: str, flags: int, method: int, data: bytes, size: int) -> bytes | None:
    """The entry's content, or None after the line that says why there is none."""
    if flags & DATA_DESCRIPTOR:
        result.lines.append(streaming(name))
    elif size > ENTRY_LIMIT:
        result.lines.append(expands(name, size))
    elif method == DEFLATED:
        stream = zlib.decompressobj(-15)
        try:
            content = stream.decompress(data, size + 1)
        except zlib.error:
            content = None
        if content is not None and stream.eof and len(content) == size:
            return content
        result.lines.append(not_inflated(name, "C", "P", size))
    elif method != STORED:
        result.lines.append(unsupported(method, name))
    elif len(data) != size:
        result.lines.append(inconsistent(name))
    else:
        return data
    return None

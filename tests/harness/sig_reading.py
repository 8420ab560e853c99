"""What a SIG file says, read line by line as its rules have it."""

import re

from harness.ftn_address import read_number

LOOKUP_PIECE = 255
REPLY_PIECE = 511
MSGID_SHOWN = 63


def has_msgid(sig: bytes, msgid: bytes) -> bool:
    """Whether the first field of a line is this; a line without a tab is its own first field."""
    return any(piece.split(b"\t")[0] == msgid for piece in _pieces(sig, LOOKUP_PIECE))


def number_of(sig: bytes, msgid: bytes) -> int | None:
    """The number behind the first line with a tab whose first field is this."""
    for field, tab, rest in (piece.partition(b"\t") for piece in _pieces(sig, LOOKUP_PIECE)):
        if tab and field == msgid:
            return _leading_number(rest)
    return None


def msgid_of(sig: bytes, number: int) -> bytes | None:
    """The first field of the first line with this number."""
    for field, tab, rest in (piece.partition(b"\t") for piece in _pieces(sig, REPLY_PIECE)):
        if tab and _leading_number(rest) == number:
            return field[:MSGID_SHOWN]
    return None


def _pieces(sig: bytes, size: int) -> list[bytes]:
    """Lines and pieces of long lines, without line ends; a NUL ends its piece."""
    pieces = []
    for line in re.findall(rb"[^\n]*\n|[^\n]+", sig):
        pieces += [line[at : at + size].split(b"\0")[0].rstrip(b"\r\n") for at in range(0, len(line), size)]
    return pieces


def _leading_number(text: bytes) -> int:
    match = re.match(rb"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    return read_number(match[1]) if match else 0

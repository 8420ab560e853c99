"""An FTN address as the program reads it out of a text."""

import re

_NUMBER = rb"[ \t\n\v\f\r]*([+-]?[0-9]+)"
_ADDRESS = re.compile(rb"%b:%b/%b(?:\.%b)?" % (_NUMBER, _NUMBER, _NUMBER, _NUMBER))


def read_number(digits: bytes) -> int:
    """A number beyond 32 bits stops at the last one."""
    return max(-(2**31), min(2**31 - 1, int(digits)))


def read_address(text: bytes) -> tuple[int, ...] | None:
    """Zone, net, node and point at the front of the text, whatever follows; the point may be missing."""
    match = _ADDRESS.match(text)
    return match and tuple(read_number(number or b"0") for number in match.groups())

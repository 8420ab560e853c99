"""What a configuration says, worked out from its bytes by the rules of its lines alone."""

import re
from dataclasses import dataclass, field

from formats.text import shown
from harness.ftn_address import read_address

BLANKS = b" \t"
BLANKS_AND_LINE_ENDS = b" \t\r\n"
PIECE = 511
KEYWORD = 31
TEXTS = {
    b"INBOUND": 255,
    b"CONFDIR": 255,
    b"WORKDIR": 255,
    b"MSGDIR": 255,
    b"OUTDIR": 255,
    b"SYSTEM": 63,
    b"PKTPW": 8,
    b"PROCESSEDDIR": 255,
}
DIRECTORIES = (b"INBOUND", b"CONFDIR", b"WORKDIR", b"MSGDIR", b"OUTDIR", b"PROCESSEDDIR")
ADDRESSES = (b"ADDRESS", b"HUB")
SWITCH = {b"YES": True, b"Y": True, b"1": True, b"NO": False, b"N": False, b"0": False}
MISSING = {
    "-toss": {b"INBOUND": " (needed for -toss)", b"CONFDIR": "", b"MSGDIR": ""},
    "-scan": {
        b"ADDRESS": " (needed for -scan)",
        b"HUB": " (needed for -scan)",
        b"SYSTEM": " (needed for -scan)",
        b"CONFDIR": "",
        b"MSGDIR": "",
        b"OUTDIR": " (needed for -scan)",
    },
    "-check": {b"CONFDIR": "", b"MSGDIR": ""},
}


@dataclass
class ConfigReading:
    """What was said on standard error, whether the run may go on, and the values by their keyword."""

    messages: list[str] = field(default_factory=list)
    refused: bool = False
    texts: dict[bytes, str] = field(default_factory=dict)
    addresses: dict[bytes, tuple[int, ...]] = field(default_factory=dict)
    keeps: bool = True

    def error(self, message: str) -> None:
        self.messages.append(message)
        self.refused = True


def read_config(data: bytes, mode: str) -> ConfigReading:
    """Reads it for a run in that mode."""
    result = ConfigReading()
    for line in _lines(data.split(b"\x1a")[0]):
        _line(result, line.split(b"\0")[0])
    if result.refused:
        return result
    if b"CONFDIR" in result.texts:
        result.texts.setdefault(b"WORKDIR", result.texts[b"CONFDIR"] + "\\WORK")
    for keyword in DIRECTORIES:
        if keyword in result.texts:
            result.texts[keyword] = result.texts[keyword].replace("/", "\\")
    for keyword, needed in MISSING[mode].items():
        if keyword not in result.texts and keyword not in result.addresses:
            result.error(f"Config missing required {shown(keyword)} directive{needed}")
    return result


def _lines(data: bytes) -> list[bytes]:
    pieces = []
    for line in re.findall(rb"[^\n]*\n|[^\n]+", data):
        pieces += [line[at : at + PIECE] for at in range(0, len(line), PIECE)]
    return pieces


def _line(result: ConfigReading, line: bytes) -> None:
    text = line.lstrip(BLANKS).rstrip(BLANKS_AND_LINE_ENDS)
    if not text or text.startswith(b";"):
        return
    word = re.split(rb"[ \t]", text)[0][:KEYWORD]
    value = text[len(word) :].lstrip(BLANKS)
    _directive(result, word.upper(), value)


def _directive(result: ConfigReading, keyword: bytes, value: bytes) -> None:
    if keyword in TEXTS:
        if not value:
            result.error(f"Config directive {shown(keyword)} has an empty value")
        elif len(value) > TEXTS[keyword]:
            result.error(f"Config directive {shown(keyword)} is too long (maximum {TEXTS[keyword]} characters)")
        else:
            result.texts[keyword] = shown(value)
    elif keyword in ADDRESSES:
        address = read_address(value)
        if address:
            result.addresses[keyword] = address
        else:
            result.error(f"Invalid {shown(keyword)} value: {shown(value)}")
    elif keyword == b"KEEPPROCESSED":
        if value[:15].upper() in SWITCH:
            result.keeps = SWITCH[value[:15].upper()]
        else:
            result.error(f"Invalid KEEPPROCESSED value '{shown(value)}' (use yes or no)")
    else:
        result.messages.append(f"Warning: unrecognized config directive '{shown(keyword)}' -- ignored")

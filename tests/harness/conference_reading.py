"""What a conference table means, worked out from its bytes by the rules of its records alone."""

from dataclasses import dataclass, field

from formats.conference_table import RECORD_SIZE
from formats.text import read_length_prefixed, shown

FILE = "CONF/CVMCONF.DAT"
MOST = 200
SHOWN_NUMBERS = 255
TRIMMED = b"\t\n\r "


@dataclass
class ConferenceReading:
    number: int
    name: bytes
    tag: bytes
    routed: bool
    netmail: bool
    public: bool

    def listing(self) -> str:
        routed, netmail, public = ("yes" if flag else "no" for flag in (self.routed, self.netmail, self.public))
        return (
            f"  conf {self.number}: '{shown(self.name) or '(unnamed)'}'  AREA={shown(self.tag) or '(none)'}"
            f"  route={routed}  netmail={netmail}  public-only={public}"
        )

    def well_formed(self) -> bool:
        return self.tag == b"*" or (self.tag != b"" and all(c > 32 and c not in (ord(":"), 127) for c in self.tag))


@dataclass
class TableReading:
    """`load_error` when the file is refused; else its conferences and what is wrong with their routing."""

    load_error: str = ""
    conferences: list[ConferenceReading] = field(default_factory=list)
    errors: list[str] = field(default_factory=list)
    check_lines: list[str] = field(default_factory=list)
    """The errors and, between them, the listing of a check."""
    warnings: list[str] = field(default_factory=list)
    netmail: int | None = None

    def in_use(self) -> list[ConferenceReading]:
        return [entry for entry in self.conferences if entry.routed or entry.netmail]

    def without_listing(self) -> list[str]:
        """Errors and warnings in order, as a run that does not list the conferences logs them."""
        return [line for line in self.check_lines if not line.startswith("  conf ")]

    def loaded(self) -> str:
        return f"Loaded {len(self.conferences)} conference(s) from CVMCONF.DAT"


def read_table(data: bytes) -> TableReading:
    result = TableReading()
    if len(data) % RECORD_SIZE:
        result.load_error = f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"
    elif not data:
        result.load_error = f"FATAL: {FILE} contains no conference records"
    elif len(data) > MOST * RECORD_SIZE:
        result.load_error = f"FATAL: {FILE} contains {len(data) // RECORD_SIZE} conferences; build limit is {MOST}"
    else:
        for at in range(0, len(data), RECORD_SIZE):
            result.conferences.append(_entry(at // RECORD_SIZE + 1, data[at : at + RECORD_SIZE]))
        _judge_tags(result)
        _choose_netmail(result)
    return result


def _entry(number: int, record: bytes) -> ConferenceReading:
    name, tag = _text(record, 3, 40), _text(record, 112, 15).upper()
    return ConferenceReading(number, name, tag, bool(record[110]), bool(record[2]), bool(record[45]))


def _text(record: bytes, offset: int, width: int) -> bytes:
    """A text ends at a NUL within it as well, but only what stands at the very end is trimmed."""
    return read_length_prefixed(record, offset, width).rstrip(TRIMMED).split(b"\0")[0].lstrip(b" \t")


def _error(result: TableReading, line: str) -> None:
    result.errors.append(line)
    result.check_lines.append(line)


def _judge_tags(result: TableReading) -> None:
    for entry in result.conferences:
        if entry.routed or entry.netmail:
            result.check_lines.append(entry.listing())
        if not entry.routed:
            continue
        if not entry.well_formed():
            name = shown(entry.name)
            _error(
                result,
                f"ERROR: routed conference {entry.number} ('{name}') has an empty or malformed NetIDName/AREA tag",
            )
        for earlier in result.conferences[: entry.number - 1]:
            if earlier.routed and entry.tag and earlier.tag == entry.tag:
                numbers = f"{earlier.number} and {entry.number}"
                _error(result, f"ERROR: duplicate routed AREA tag '{shown(entry.tag)}' in conferences {numbers}")


def _choose_netmail(result: TableReading) -> None:
    takers = [entry.number for entry in result.conferences if entry.netmail]
    private = [entry.number for entry in result.conferences if entry.netmail and not entry.public]
    if len(private) > 1:
        kind = "multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0)"
        _error(result, f"ERROR: {kind}: {_numbers(private)}")
    elif private:
        result.netmail = private[0]
    elif len(takers) > 1:
        kind = "no dedicated private netmail conference and multiple NetMailConf conferences exist"
        _error(result, f"ERROR: netmail routing is ambiguous: {kind}: {_numbers(takers)}")
    elif takers:
        result.netmail = takers[0]
        kind = "no conference has NetMailConf=1 with PublicMsgConf=0"
        line = f"WARNING: {kind}; using conference {takers[0]} as the sole NetMailConf conference"
        result.warnings.append(line)
        result.check_lines.append(line)


def _numbers(numbers: list[int]) -> str:
    return ", ".join(map(str, numbers))[:SHOWN_NUMBERS]

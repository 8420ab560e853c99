"""Configuration: the meaning of a line, what is refused, and the result, seen in the lines of the run's banner."""

from dataclasses import dataclass

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase
from formats.packet import Packet, read_packet
from formats.published_bundle import stored_packet
from formats.text import Text, raw
from harness.compare import BANNER, KEPT, assert_refused, moved
from harness.scan import BANNER as SCAN_BANNER
from harness.site import Site
from harness.start_up import no_lock

TEXT_DIRECTIVES = {
    "INBOUND": 255,
    "CONFDIR": 255,
    "WORKDIR": 255,
    "MSGDIR": 255,
    "OUTDIR": 255,
    "SYSTEM": 63,
    "PKTPW": 8,
    "PROCESSEDDIR": 255,
}


@dataclass
class Directories:
    """The directories in the second line of a toss. The message directory is missing, which ends the run early."""

    inbound: str = "first"
    conf: str = "conf"
    work: str = "conf\\WORK"
    msg: str = "nomsg"

    def line(self) -> str:
        return (
            f"Inbound dir: {self.inbound}   Config dir: {self.conf}   Work dir: {self.work}   Message dir: {self.msg}"
        )


def assert_read(site: Site, config: Text, directories: Directories, *warnings: str, third: str = KEPT) -> None:
    """The configuration loads, with these warnings, and gives a toss these directories."""
    site.config(config)
    run = site.toss()
    assert run.stderr.split("\n") == [*warnings, ""]
    assert run.lines == [BANNER, directories.line(), third, *no_lock(directories.msg)]
    assert run.status == 1


def assert_inbound(site: Site, lines: Text, expected: str, *warnings: str) -> None:
    """Lines after a first INBOUND line, and before the other directories, set the inbound directory to this."""
    config = b"INBOUND first\n" + raw(lines) + b"\nCONFDIR conf\nMSGDIR nomsg\n"
    assert_read(site, config, Directories(inbound=expected), *warnings)


def unrecognized(keyword: str) -> str:
    return f"Warning: unrecognized config directive '{keyword}' -- ignored"


def too_long(directive: str, maximum: int) -> str:
    return f"Config directive {directive} is too long (maximum {maximum} characters)"


# Lines.


@pytest.mark.parametrize(
    ("line", "expected"),
    [
        (b"INBOUND in", "in"),
        (b"inbound  C:/bbs/in  ", "C:\\bbs\\in"),
        (b" \t InBound \t a  b\tc\t ", "a  b\tc"),
        (b"INBOUND in\r", "in"),
        (b"INBOUND Mixed/Case\\Kept/", "Mixed\\Case\\Kept\\"),
        (b"INBOUND x ; y", "x ; y"),
        (b"INBOUND ;x", ";x"),
        (b"INBOUND \x82\xe1\xff%s%n", "\x82\xe1\xff%s%n"),
        (b"INBOUND one\nINBOUND two", "two"),
    ],
)
def test_keywords_have_no_case_blanks_are_trimmed_slashes_are_turned_and_the_last_line_counts(site, line, expected):
    assert_inbound(site, line, expected)


# Values of text directives.


def test_texts_of_the_maximum_length_are_accepted_and_one_character_more_is_rejected(site):
    lines = [f"{keyword} {'x' * (maximum + 1)}" for keyword, maximum in TEXT_DIRECTIVES.items()]
    site.config("\n".join(lines))
    assert_refused(site.toss(), *(too_long(keyword, maximum) for keyword, maximum in TEXT_DIRECTIVES.items()))

    values = {keyword: keyword[0] * maximum for keyword, maximum in TEXT_DIRECTIVES.items()}
    config = "".join(f"{keyword} {value}\n" for keyword, value in values.items())
    longest = Directories(inbound="I" * 255, conf="C" * 255, work="W" * 255)
    assert_read(site, config + "MSGDIR nomsg\n", longest)
    site.config(config + "ADDRESS 1:2/3\nHUB 1:2/4\nINBOUND in\nCONFDIR conf\nWORKDIR work\n")
    scan = site.run("-scan")
    assert scan.stderr == ""
    assert scan.lines[:3] == [
        SCAN_BANNER,
        f"Config dir: conf   Work dir: work   Message dir: {'M' * 255}   Outbound dir: {'O' * 255}",
        f"Our address: 1:2/3   Hub address: 1:2/4   System name: {'S' * 63}   Packet: password-protected",
    ]


def test_slashes_turn_in_directories_and_stay_in_name_and_password(site):
    site.config(
        "INBOUND IN/.\nCONFDIR CONF/.\nWORKDIR CONF/WORK/.\nMSGDIR MSG/.\nOUTDIR OUT/.\nPROCESSEDDIR IN/done\n"
        "SYSTEM here/there\nPKTPW a/b\\c\nADDRESS 1:2/3\nHUB 1:2/4\n"
    )
    site.conferences(echo("FIDO"))
    site.inbound("a.pkt", Packet())
    toss = site.toss()
    directories = Directories("IN\\.", "CONF\\.", "CONF\\WORK\\.", "MSG\\.")
    assert toss.lines[1] == directories.line()
    assert toss.blocks()["a.pkt"][-1] == moved("a.pkt", "IN\\done")
    assert site.path("IN/done/a.pkt").is_file()

    site.put(unsent_message())
    scan = site.run("-scan")
    assert scan.lines[1:3] == [
        "Config dir: CONF\\.   Work dir: CONF\\WORK\\.   Message dir: MSG\\.   Outbound dir: OUT\\.",
        "Our address: 1:2/3   Hub address: 1:2/4   System name: here/there   Packet: password-protected",
    ]
    assert exported_packet(site)["password"] == b"a/b\\c\0\0\0"


# Addresses.


def unsent_message() -> MessageBase:
    base = MessageBase(1)
    base.add(sent=0)
    return base


def exported_packet(site: Site) -> dict[str, int | bytes]:
    """The header of the one packet in the outbound directory."""
    (bundle,) = site.path("OUT").iterdir()
    header = read_packet(stored_packet(bundle.read_bytes())).header
    bundle.unlink()
    return header


@pytest.mark.parametrize(
    ("value", "numbers", "point"),
    [
        ("2:250/1", "2:250/1", 0),
        ("2:250/1.7", "2:250/1", 7),
        ("2:250/1,x", "2:250/1", 0),
        ("2:250/1.x", "2:250/1", 0),
        ("2:250/1.7.8@net", "2:250/1", 7),
        ("+2: -250/\t+1. 007", "2:-250/1", 7),
        ("2147483647:70000/-2147483648.65537", "2147483647:70000/-2147483648", 1),
    ],
)
def test_an_address_has_three_or_four_numbers_of_any_size(site, value, numbers, point):
    site.add_config(f"ADDRESS {value}\nHUB {value}\nSYSTEM s\n")
    site.conferences(echo("FIDO"))
    site.put(unsent_message())
    run = site.run("-scan")
    assert run.lines[2] == f"Our address: {numbers}   Hub address: {numbers}   System name: s   Packet: no password set"
    assert run.status == 0
    header = exported_packet(site)
    assert (header["orig_point"], header["dest_point"]) == (point, point)


# The whole file.


def test_every_bad_line_is_reported_in_one_run_whatever_the_mode(site):
    site.add_config("ADDRESS 2:250\nFOO bar\nKEEPPROCESSED off\nMSGDIR\n")
    errors = [
        "Invalid ADDRESS value: 2:250",
        unrecognized("FOO"),
        "Invalid KEEPPROCESSED value 'off' (use yes or no)",
        "Config directive MSGDIR has an empty value",
    ]
    for mode in ("-toss", "-scan", "-check", "-what"):
        assert_refused(site.run(mode), *errors)
    assert not site.path("TOSSER.LOG").exists()


def test_a_directory_is_no_configuration_file(site):
    assert_refused(site.run("-toss", "CONF"), "Could not open config file: CONF")


# WORKDIR.


def test_without_workdir_it_is_the_directory_work_below_confdir(site):
    for given, conf, work in (
        ("D:/cv", "D:\\cv", "D:\\cv\\WORK"),
        ("cv/", "cv\\", "cv\\\\WORK"),
        ("c" * 250, "c" * 250, "c" * 250 + "\\WORK"),
    ):
        config = f"INBOUND first\nCONFDIR {given}\nMSGDIR nomsg\n"
        assert_read(site, config, Directories(conf=conf, work=work))


def test_without_confdir_no_workdir_is_derived_and_the_missing_confdir_is_reported(site):
    site.config("INBOUND IN\nMSGDIR MSG\n")
    assert_refused(site.toss(), "Config missing required CONFDIR directive")

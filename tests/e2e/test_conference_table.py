"""Conference table: which tables are refused and why, and what the bytes of a record mean for a toss."""

import pytest

from formats.conference_table import Conference, echo, netmail
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from formats.packet import netmail as letter
from formats.text import Text, raw, shown
from harness.compare import ALL_IDLE, GONE, assert_changes, assert_run, banner, moved, parsed, tail
from harness.site import Site
from harness.start_up import BAD_CONFERENCES, assert_aborted, loaded

FILE = "CONF/CVMCONF.DAT"
SKIPPED = "  msg 1: netmail with no NetMailConf=1 conference configured -- SKIPPED"


def malformed(number: int, name: Text = "Talk") -> str:
    return (
        f"ERROR: routed conference {number} ('{shown(raw(name))}') has an empty or malformed NetIDName/AREA tag"
    )


def duplicate(tag: str, earlier: int, later: int) -> str:
    return f"ERROR: duplicate routed AREA tag '{tag}' in conferences {earlier} and {later}"


def ambiguous(numbers: str) -> str:
    return (
        "ERROR: netmail routing is ambiguous: no dedicated private netmail conference and multiple NetMailConf"
        f" conferences exist: {numbers}"
    )


def several(numbers: str) -> str:
    return (
        "ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0):"
        f" {numbers}"
    )


def sole(number: int) -> str:
    return (
        "WARNING: no conference has NetMailConf=1 with PublicMsgConf=0; using conference"
        f" {number} as the sole NetMailConf conference"
    )


def assert_refused(site: Site, conferences: list[Conference], *errors: str) -> None:
    """The table loads, and its routing is refused with these errors."""
    site.conferences(*conferences)
    assert_aborted(site, loaded(len(conferences)), *errors, BAD_CONFERENCES)


# The file.


@pytest.mark.parametrize(
    ("size", "line"),
    [
        (0, f"FATAL: {FILE} contains no conference records"),
        (1, f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"),
        (127, f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"),
        (130, f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"),
        (201 * 128 - 1, f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"),
        (201 * 128, f"FATAL: {FILE} contains 201 conferences; build limit is 200"),
        (201 * 128 + 1, f"FATAL: {FILE} is not aligned to 128-byte MsgSystem records"),
        (10000 * 128, f"FATAL: {FILE} contains 10000 conferences; build limit is 200"),
    ],
)
def test_the_table_is_1_to_200_whole_records(site, size, line):
    site.write(FILE, bytes(size))
    assert_aborted(site, line, BAD_CONFERENCES)


def test_a_table_that_cannot_be_opened_ends_the_run(site):
    assert_aborted(site, f"FATAL: could not open {FILE}", BAD_CONFERENCES)
    site.path(FILE).mkdir()
    assert_aborted(site, f"FATAL: could not open {FILE}", BAD_CONFERENCES)


def test_conferences_are_numbered_from_1_to_200_in_file_order(site):
    site.conferences(*(echo(f"TAG{number}") for number in range(1, 201)))
    bases = [MessageBase(number) for number in (1, 99, 100, 200)]
    messages = [echomail(f"TAG{base.conference}", "text") for base in bases]
    data = site.inbound("a.pkt", Packet(messages))
    before = site.snapshot()
    wrote = [base.store(message, body_lines("text")) for base, message in zip(bases, messages)]

    run = site.toss()

    lines = ["Found: a.pkt", Packet().log_line(), *wrote, parsed(4), moved("a.pkt"), *tail(1)]
    assert_run(run, 0, [*banner(), loaded(200), ALL_IDLE, *lines])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data, **message_files(*bases)}
    assert_changes(site, before, changes)
    assert site.path("MSG/CVMSG200.PTR").exists()


# Names and tags.


def test_a_tag_stored_in_lower_case_takes_mail_in_any_case(site):
    site.conferences(echo("  echo.net\r"))
    base = MessageBase(1)
    messages = [echomail(area, "text") for area in ("ECHO.NET", "echo.net", "Echo.Net")]
    site.inbound("a.pkt", Packet(messages))
    wrote = [base.store(message, body_lines("text")) for message in messages]
    run = site.toss()
    assert run.blocks()["a.pkt"] == [Packet().log_line(), *wrote, parsed(3), moved("a.pkt")]


# Duplicate tags.


def test_a_tag_of_three_routed_conferences_is_reported_once_for_the_second_and_twice_for_the_third(site):
    conferences = [echo("FIDO"), echo("*"), echo("fido"), echo("OTHER"), echo(" Fido"), echo("*")]
    errors = [duplicate("FIDO", 1, 3), duplicate("FIDO", 1, 5), duplicate("FIDO", 3, 5), duplicate("*", 2, 6)]
    assert_refused(site, conferences, *errors)


# The netmail conference.


def assert_letter(site: Site, conferences: list[Conference], goes_to: int | None, *warnings: str) -> None:
    """Netmail goes to that conference."""
    site.conferences(*conferences)
    message = letter("text")
    data = site.inbound("a.pkt", Packet([message]))
    before = site.snapshot()
    line, stored = SKIPPED, {}
    if goes_to:
        base = MessageBase(goes_to)
        line = base.store(message, body_lines("text"), netmail=1)
        stored = message_files(base)
    run = site.toss()
    lines = ["Found: a.pkt", Packet().log_line(), line, parsed(1), moved("a.pkt"), *tail(1)]
    assert_run(run, 0, [*banner(), loaded(len(conferences)), *warnings, ALL_IDLE, *lines])
    assert_changes(site, before, {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data, **stored})


def test_the_one_private_netmail_conference_is_chosen_silently(site):
    plain = Conference()
    assert_letter(site, [plain, plain, netmail(public=1), plain, plain, plain, netmail(), netmail(public=1)], 7)


def test_a_routed_conference_may_be_the_netmail_conference(site):
    assert_letter(site, [echo("A"), echo("B", netmail=1)], 2)


def test_a_sole_public_netmail_conference_is_chosen_with_a_warning(site):
    assert_letter(site, [Conference(), netmail(public=1), echo("A")], 2, sole(2))


def test_without_a_netmail_conference_there_is_no_line_until_netmail_comes(site):
    assert_letter(site, [echo("A"), Conference(public=1)], None)


def test_two_private_netmail_conferences_are_an_error_that_names_only_the_private_ones(site):
    assert_refused(site, [netmail(public=1), netmail(), netmail(public=1), netmail()], several("2, 4"))


def test_a_netmail_error_comes_after_the_errors_of_every_tag(site):
    conferences = [netmail(), echo(""), netmail(), echo("A"), echo("A")]
    assert_refused(site, conferences, malformed(2), duplicate("A", 4, 5), several("1, 3"))

"""Conference table: which tables are refused and why, and what a record's bytes mean to a toss."""

import pytest

from formats.conference_table import Conference, echo, netmail
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from formats.packet import netmail as letter
from formats.text import Text, length_prefixed, raw, shown
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


def assert_accepted(site: Site, conferences: list[Conference], *warnings: str) -> None:
    """The table loads and its routing is taken; no message is tossed."""
    site.conferences(*conferences)
    assert_run(site.toss(), 0, [*banner(), loaded(len(conferences)), *warnings, ALL_IDLE, *tail(0)])


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


def test_names_are_cut_to_their_field_and_trimmed(site):
    names = [
        ("Sysop's  corner", "Sysop's  corner"),
        (" \t Talk", "Talk"),
        ("Talk \t\r\n ", "Talk"),
        ("\r Talk", "\r Talk"),  # at the front only blanks and tabs go
        (" \t\r\n", ""),
        ("", ""),
        ("n" * 40, "n" * 40),
        ("\x9cble %s", "\x9cble %s"),
        ("Talk\0after", "Talk"),
        ("Talk \0", "Talk "),  # the NUL is what the trimming stops at
        ("Talk\0  ", "Talk"),
    ]
    conferences = [echo("", name) for name, _ in names]
    for length in (41, 200, 255):
        names.append(("", "N" * 40))
        conferences.append(echo("", raw_name=bytes([length]) + b"N" * 40))
    errors = [malformed(number, kept) for number, (_, kept) in enumerate(names, 1)]
    assert_refused(site, conferences, *errors)


def test_a_tag_is_cut_to_its_field_trimmed_and_upper_cased(site):
    tags = [
        ("  echo.net\r", "ECHO.NET"),
        ("\t a-z_{|} \t\r\n", "A-Z_{|}"),
        ("fifteen-letters", "FIFTEEN-LETTERS"),
        ("\xe4\xf6\xfc", "\xe4\xf6\xfc"),  # only ASCII has a case
        ("nul\0after", "NUL"),
    ]
    errors = []
    conferences = []
    for tag, kept in tags:
        conferences += [echo(kept), echo(tag)]
        errors.append(duplicate(kept, len(conferences) - 1, len(conferences)))
    for length in (16, 200, 255):
        tag = f"{length}".ljust(15, "X")
        conferences += [echo(tag), echo("", raw_tag=bytes([length]) + raw(tag))]
        errors.append(duplicate(tag, len(conferences) - 1, len(conferences)))
    assert_refused(site, conferences, *errors)


def test_a_tag_stored_in_lower_case_takes_mail_in_any_case(site):
    site.conferences(echo("  echo.net\r"))
    base = MessageBase(1)
    messages = [echomail(area, "text") for area in ("ECHO.NET", "echo.net", "Echo.Net")]
    site.inbound("a.pkt", Packet(messages))
    wrote = [base.store(message, body_lines("text")) for message in messages]
    run = site.toss()
    assert run.blocks()["a.pkt"] == [Packet().log_line(), *wrote, parsed(3), moved("a.pkt")]


def test_a_routed_conference_needs_a_tag_of_visible_characters_without_a_colon(site):
    bad = ["", "   ", " \t\r\n", "MY AREA", "A:", ":", "A\x7f", "\x01A", "A\x1fB", "A\tB", "\x0bA", "* *", "\0"]
    conferences = [echo(tag) for tag in bad]
    assert_refused(site, conferences, *(malformed(number) for number in range(1, len(bad) + 1)))
    good = ["!", "~", "9", ";", "A/B", "**", "*A", "\x80", "\xff", "*", "\xe4", "\xc4", "'%s%n'"]
    assert_accepted(site, [echo(tag) for tag in good])


def test_any_byte_but_0_sets_a_flag(site):
    flags = (1, 2, 128, 255)
    assert_refused(site, [Conference(routed=flag) for flag in flags], *(malformed(number) for number in (1, 2, 3, 4)))
    assert_refused(site, [netmail(public=flag) for flag in flags], ambiguous("1, 2, 3, 4"))
    private = [Conference(netmail=flag) for flag in flags]
    assert_refused(site, private, several("1, 2, 3, 4"))
    assert_accepted(site, [Conference(), Conference(tag="a b"), Conference(public=1)])


# Duplicate tags.


def test_a_tag_of_three_routed_conferences_is_reported_once_for_the_second_and_twice_for_the_third(site):
    conferences = [echo("FIDO"), echo("*"), echo("fido"), echo("OTHER"), echo(" Fido"), echo("*")]
    errors = [duplicate("FIDO", 1, 3), duplicate("FIDO", 1, 5), duplicate("FIDO", 3, 5), duplicate("*", 2, 6)]
    assert_refused(site, conferences, *errors)


def test_a_malformed_tag_may_be_a_duplicate_as_well_but_an_empty_one_is_not(site):
    conferences = [echo("MY AREA"), echo(""), echo("my area"), echo("")]
    errors = [malformed(1), malformed(2), malformed(3), duplicate("MY AREA", 1, 3), malformed(4)]
    assert_refused(site, conferences, *errors)


def test_a_conference_that_is_not_routed_may_have_any_tag(site):
    others = [Conference(tag="FIDO"), Conference(tag="my area"), Conference(tag=":"), netmail()]
    others[-1].tag = "FIDO"
    assert_accepted(site, [others[0], echo("FIDO"), *others[1:]])


# The netmail conference.


def assert_letter(site: Site, conferences: list[Conference], goes_to: int | None, *warnings: str) -> None:
    """A letter without an area goes to that conference."""
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


def test_without_a_netmail_conference_nothing_is_said_until_netmail_comes(site):
    assert_letter(site, [echo("A"), Conference(public=1)], None)


def test_two_public_netmail_conferences_are_ambiguous(site):
    plain = Conference()
    conferences = [plain, plain, netmail(public=1), plain, netmail(public=1)]
    assert_refused(site, conferences, ambiguous("3, 5"))


def test_two_private_netmail_conferences_are_an_error_that_names_only_the_private_ones(site):
    assert_refused(site, [netmail(public=1), netmail(), netmail(public=1), netmail()], several("2, 4"))


def test_a_netmail_error_comes_after_the_errors_of_every_tag(site):
    conferences = [netmail(), echo(""), netmail(), echo("A"), echo("A")]
    assert_refused(site, conferences, malformed(2), duplicate("A", 4, 5), several("1, 3"))


def test_a_netmail_warning_comes_after_the_errors_of_every_tag(site):
    assert_refused(site, [netmail(public=1), echo("")], malformed(2), sole(1))


def test_a_list_of_netmail_conferences_is_cut_at_255_characters(site):
    numbers = ", ".join(str(number) for number in range(1, 201))
    assert len(numbers) > 255
    assert_refused(site, [netmail(public=1)] * 200, ambiguous(numbers[:255]))
    assert_refused(site, [netmail()] * 200, several(numbers[:255]))


# What is not used.


def test_the_line_width_changes_nothing(site):
    widths = (0, 1, 79, 80, 126, 127, 128, 200, 65535)
    site.conferences(*(echo(f"TAG{width}", line_width=width) for width in widths))
    messages = [echomail(f"TAG{width}", "a" * 300) for width in widths]
    site.inbound("a.pkt", Packet(messages))
    bases = [MessageBase(number) for number in range(1, len(widths) + 1)]
    wrote = [base.store(message, body_lines("a" * 300)) for base, message in zip(bases, messages)]
    run = site.toss()
    assert run.blocks()["a.pkt"] == [Packet().log_line(), *wrote, parsed(len(widths)), moved("a.pkt")]
    for path, content in message_files(*bases).items():
        assert site.read(path) == content


def test_bytes_that_are_not_read_may_be_anything(site):
    for filling in (0x00, 0xFF):
        record = bytearray(bytes([filling]) * 128)
        record[2] = record[45] = 0
        record[3:44] = length_prefixed("Talk", 40)
        record[110] = 1
        record[112:128] = length_prefixed("FIDO", 15)
        site.write(FILE, bytes(record))
        assert_run(site.toss(), 0, [*banner(), loaded(1), ALL_IDLE, *tail(0)])

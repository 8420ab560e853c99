"""Preflight: a toss does not begin unless the message base of every conference that it may write is sound."""

import pytest

from formats.conference_table import Conference, echo, netmail
from formats.message_base import DAT_LIMIT, DAT_SIZE, IDX_SIZE, PTR_SIZE, MessageBase, PtrRecord
from formats.packet import Packet, echomail
from harness.compare import ALL_IDLE, assert_changes, assert_run, head, tail
from harness.site import Site
from harness.start_up import BAD_BASES, assert_aborted, loaded

PTR, IDX, DAT = "CVMSG01.PTR", "CVMSG01.IDX", "CVMSG01.DAT"
UNALIGNED = "ERROR: conference {} has a non-record-aligned PTR, IDX, or DAT file"
NO_PTR = "ERROR: conference {} has IDX/DAT data but no PTR records"


def one_message(conference: int = 1, **fields) -> MessageBase:
    """A message base with one sound message, or one whose header has these fields."""
    base = MessageBase(conference)
    base.add(b"text", **fields)
    return base


def past_dat(number: int, where: int, records: int, count: int, conference: int = 1) -> str:
    return (
        f"ERROR: conference {conference} message #{number} points past DAT"
        f" (Where={where}, Records={records}, DAT records={count})"
    )


def assert_sound(site: Site, *conferences: Conference) -> None:
    """Asserts that a toss without mail succeeds and does not change the message bases."""
    conferences = conferences or (echo("FIDO"),)
    site.conferences(*conferences)
    before = site.snapshot()
    assert_run(site.toss(), 0, head(len(conferences)) + tail(0))
    assert_changes(site, before, {"IN/processed/": None})
    site.path("IN/processed").rmdir()


def assert_unsound(site: Site, *errors: str, conferences: tuple[Conference, ...] = (echo("FIDO"),)) -> None:
    """Asserts that a toss ends with these errors before it reads its inbound files."""
    site.conferences(*conferences)
    site.inbound("a.pkt", Packet())
    assert_aborted(site, loaded(len(conferences)), ALL_IDLE, *errors, BAD_BASES)
    site.path("IN/a.pkt").unlink()


def sizes(site: Site, ptr: int | None, idx: int | None, dat: int | None, conference: int = 1) -> None:
    """Files of these sizes, zero except for live headers of one record each; None for no file."""
    for kind, size in (("PTR", ptr), ("IDX", idx), ("DAT", dat)):
        path = site.path(f"MSG/CVMSG{conference:02d}.{kind}")
        path.unlink(missing_ok=True)
        if size is None:
            continue
        content = bytes(size)
        if kind == "PTR":
            count = size // PTR_SIZE
            content = PtrRecord(conference=conference).pack() * count + bytes(size % PTR_SIZE)
        path.write_bytes(content)


# Sizes.


def test_a_new_conference_has_no_files_at_all(site):
    assert_sound(site, echo("FIDO"), netmail())


@pytest.mark.parametrize(
    ("ptr", "idx", "dat"),
    [
        (PTR_SIZE, IDX_SIZE, DAT_SIZE),
        (2 * PTR_SIZE, IDX_SIZE, DAT_SIZE),  # the BBS itself leaves the index short at times
        (3 * PTR_SIZE, None, DAT_SIZE),
    ],
)
def test_the_index_may_be_shorter_than_the_headers_without_a_line(site, ptr, idx, dat):
    sizes(site, ptr, idx, dat)
    assert_sound(site)


@pytest.mark.parametrize(
    ("ptr", "idx", "dat"),
    [
        (PTR_SIZE - 1, 0, 0),
        (PTR_SIZE, IDX_SIZE + 1, DAT_SIZE),
        (None, None, 1),
        (PTR_SIZE + 1, IDX_SIZE * 2, DAT_SIZE * (DAT_LIMIT + 1)),  # the first of several faults is named
    ],
)
def test_every_file_is_made_of_whole_records(site, ptr, idx, dat):
    sizes(site, ptr, idx, dat)
    assert_unsound(site, UNALIGNED.format(1))


@pytest.mark.parametrize(
    ("ptr", "idx", "dat"), [(None, IDX_SIZE, None), (None, None, DAT_SIZE), (0, IDX_SIZE, DAT_SIZE)]
)
def test_index_or_text_without_headers_is_refused(site, ptr, idx, dat):
    sizes(site, ptr, idx, dat)
    assert_unsound(site, NO_PTR.format(1))


def test_an_index_longer_than_the_headers_is_refused(site):
    sizes(site, 3 * PTR_SIZE, 4 * IDX_SIZE, DAT_SIZE)
    assert_unsound(site, "ERROR: conference 1 IDX has 4 records but PTR has only 3")


# Headers.


def test_a_live_message_has_at_least_one_text_record(site):
    site.put(one_message(records=0, number=7))
    assert_unsound(site, "ERROR: conference 1 message #7 has zero body records")


@pytest.mark.parametrize(
    ("where", "records", "count"),
    [
        (0, 2, 1),
        (65535, 65535, 4),  # their sum does not fit 16 bits
        (65535, 2, 65536),
    ],
)
def test_a_live_message_lies_within_the_text_file(site, where, records, count):
    base = one_message(where=where, records=records, number=-3)
    base.dat = bytes(count * DAT_SIZE)
    site.put(base)
    assert_unsound(site, past_dat(-3, where, records, count))
    base.dat = bytes(min(where + records, DAT_LIMIT) * DAT_SIZE)
    site.put(base)
    if where + records <= DAT_LIMIT:
        assert_sound(site)
    else:
        assert_unsound(site, past_dat(-3, where, records, DAT_LIMIT))


def test_only_the_first_bad_message_of_a_conference_is_named(site):
    base = one_message()
    for number in (5, 3, 2147483647):
        base.add(b"", number=number, records=0)
    site.put(base)
    assert_unsound(site, "ERROR: conference 1 message #5 has zero body records")


@pytest.mark.parametrize("position", [511, 512, 1499])
def test_a_bad_message_is_found_anywhere_in_a_long_file(site, position):
    base = MessageBase(1)
    base.dat = bytes(DAT_SIZE)
    base.ptr = [PtrRecord(number=number + 1) for number in range(1500)]
    base.ptr[position].where = 1
    site.put(base)
    assert_unsound(site, past_dat(position + 1, 1, 1, 1))


# Which conferences.


def test_every_routed_or_netmail_conference_is_checked_and_no_other(site):
    conferences = [Conference(tag="A"), echo("B"), netmail(), Conference(public=1), echo("E", netmail=1, public=1)]
    for number in range(1, 6):
        sizes(site, 1, None, None, conference=number)
    errors = [UNALIGNED.format(number) for number in (2, 3, 5)]
    assert_unsound(site, *errors, conferences=tuple(conferences))
    sizes(site, None, None, None, conference=3)
    assert_unsound(site, UNALIGNED.format(2), UNALIGNED.format(5), conferences=tuple(conferences))
    for number in (2, 5):
        sizes(site, None, None, None, conference=number)
    assert_sound(site, *conferences)


# Files that cannot be read.


@pytest.mark.parametrize("name", [PTR, IDX, DAT])
def test_a_directory_in_the_place_of_a_file_takes_no_message_and_loses_none(site, name):
    """The size of a directory depends on the platform: either the run ends at once, or the packet stays."""
    site.conferences(echo("FIDO"))
    if name != PTR:
        site.put(one_message())
        site.path(f"MSG/{name}").unlink()
    site.path(f"MSG/{name}").mkdir()
    site.inbound("a.pkt", Packet([echomail("FIDO", "text")]))
    before = site.snapshot("MSG", "IN")
    run = site.toss()
    assert run.status == 1
    after = site.snapshot("MSG", "IN")
    after.pop("IN/processed/", None)
    assert after == before

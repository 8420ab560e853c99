"""Appends that fail: everything is restored, the packet stays, and the next run stores the message."""

import os
import resource
import signal
import stat

import pytest

from formats.conference_table import echo
from formats.message_base import DAT_SIZE, PTR_SIZE, MessageBase, body_lines
from formats.packet import Packet, echomail
from harness.cases import Cases
from harness.compare import not_appended, parsed
from harness.start_up import BAD_BASES
from harness.target import posix_only

NOT_OPENED = "ERROR: could not open all conf {} message-base files for a checked append"
DAT_FAILED = "ERROR: DAT write failed while appending conf {}"
FAILED = "ERROR: checked message-base append failed for conf {}"
RESTORED = "  conf {} append failed; DAT/IDX/PTR/SIG restored to their original sizes"
NOT_RESTORED = (
    "CRITICAL: conf {} append failed and at least one rollback also failed; message base requires inspection"
)
NO_NUMBER = "ERROR: conf {} has reached the signed 32-bit MsgNumber limit"
MSGID = "1:2/3 x"
LIMIT = 65536
"""A file size that the message base reaches in these tests, but the run log does not."""


def files_limited(size: int):
    """Options for a process whose files cannot grow beyond that size; a longer write is cut there and fails."""

    def limit() -> None:
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))

    return {"preexec_fn": limit}


def failing(conference: int, message: int, line: str, rollback: str | None = RESTORED) -> list[str]:
    rolled_back = [rollback.format(conference)] if rollback else []
    return [line.format(conference), *rolled_back, not_appended(message)]


def assert_only_the_second_fails(cases: Cases, message, line: str, rollback: str | None = RESTORED, **options) -> None:
    """Tosses the message to conference 1 between two messages to conference 2, which must be stored."""
    other = cases.conference()
    around = echomail(cases.tag(other), "Fine", msgid="")
    lines = [other.store(around, body_lines("Fine"))]
    lines += failing(1, 2, line, rollback)
    lines.append(other.store(around, body_lines("Fine")))
    cases.retained("a.pkt", Packet([around, message, around]), *lines, parsed(3))
    cases.toss(status=1, **options)


@posix_only("limits the size of files")
def test_a_new_conference_is_left_without_any_file(site):
    cases = Cases(site)
    cases.conference()
    message = echomail("CASE1", "x" * 60000, "y" * 60000, msgid=MSGID)
    assert_only_the_second_fails(cases, message, DAT_FAILED, **files_limited(LIMIT))
    assert list(site.path("MSG").glob("CVMSG01.*")) == []


@posix_only("limits the size of files")
@pytest.mark.parametrize("room", [0, 1, 127, 129, 255])
def test_a_text_written_in_part_is_cut_off_again(site, room):
    cases = Cases(site)
    base = cases.conference()
    base.add(b"x" * 127 * (LIMIT // DAT_SIZE))
    base.add_sig("1:2/3 old", 1)
    site.put(base)
    message = echomail("CASE1", "x" * 200, msgid=MSGID)
    assert_only_the_second_fails(cases, message, DAT_FAILED, **files_limited(LIMIT + room))


@posix_only("limits the size of files")
@pytest.mark.parametrize("room", [0, 1, 255])
def test_a_header_written_in_part_is_cut_off_with_text_and_index_record(site, room):
    cases = Cases(site)
    base = cases.conference()
    for number in range(1, LIMIT // PTR_SIZE + 1):
        base.add(b"x", number=number)
    base.add_sig("1:2/3 old", 1)
    site.put(base)
    message = echomail("CASE1", "Hi", msgid=MSGID)
    assert_only_the_second_fails(cases, message, FAILED, **files_limited(LIMIT + room))


@posix_only("limits the size of files")
@pytest.mark.parametrize("room", [0, 1, len(MSGID + "\t2")])
def test_a_sig_line_written_in_part_is_cut_off_with_the_three_records(site, room):
    cases = Cases(site)
    base = cases.conference()
    base.add(b"x")
    base.sig = b"1:2/3 old\t1\r\n".rjust(LIMIT, b"\n")
    site.put(base)
    message = echomail("CASE1", "Hi", msgid=MSGID)
    assert_only_the_second_fails(cases, message, FAILED, **files_limited(LIMIT + room))


@posix_only("limits the size of files")
def test_a_sig_file_that_takes_no_more_is_no_matter_to_a_message_without_msgid_or_with_just_the_room(site):
    cases = Cases(site)
    base = cases.conference()
    base.sig = b"1:2/3 old\t1\r\n".rjust(LIMIT, b"\n")
    site.put(base)
    bare, fitting = echomail("CASE1", "Hi"), echomail("CASE1", "Hi", msgid=MSGID)
    wrote = [base.store(bare, body_lines("Hi")), base.store(fitting, body_lines("Hi"), msgid=MSGID)]
    cases.packet("a.pkt", Packet([bare, fitting]), *wrote)
    cases.toss(**files_limited(LIMIT + len(MSGID + "\t2\n")))


@posix_only("a socket stands in the place of a file")
@pytest.mark.parametrize("kind", ["DAT", "IDX", "PTR", "SIG"])
def test_a_file_that_does_not_open_leaves_none_of_those_created_before_it(site, kind):
    cases = Cases(site)
    base = cases.conference()
    os.mknod(site.path(f"MSG/{base.name(kind)}"), 0o600 | stat.S_IFSOCK)
    message = echomail("CASE1", "Hi", msgid=MSGID)
    assert_only_the_second_fails(cases, message, NOT_OPENED, NOT_RESTORED)


@posix_only("links that lead nowhere")
@pytest.mark.parametrize("kind", ["DAT", "IDX", "PTR"])
def test_a_link_to_a_disk_that_is_not_there_is_no_missing_file(site, kind):
    """A new message base in its place would hide the one on that disk."""
    site.conferences(echo("CASE1"))
    site.path(f"MSG/{MessageBase(1).name(kind)}").symlink_to("no such directory/file")
    site.inbound("a.pkt", Packet([echomail("CASE1", "Hi", msgid=MSGID)]).pack())
    before = site.snapshot()
    run = site.toss()
    assert run.lines[-2:] == ["ERROR: could not inspect message-base files for conference 1", BAD_BASES]
    assert run.status == 1
    assert site.snapshot() == before


@posix_only("links that lead nowhere")
def test_a_sig_link_to_a_disk_that_is_not_there_refuses_the_message(site):
    cases = Cases(site)
    base = cases.conference()
    site.path(f"MSG/{base.name('SIG')}").symlink_to("no such directory/file")
    message = echomail("CASE1", "Hi", msgid=MSGID)
    assert_only_the_second_fails(cases, message, "ERROR: could not inspect SIG file for conf {}", rollback=None)


@posix_only("a device that takes no byte stands in the place of a file")
@pytest.mark.parametrize("kind, line", [("DAT", DAT_FAILED), ("IDX", FAILED), ("PTR", FAILED)])
def test_a_file_that_can_be_neither_written_nor_set_back_is_critical(site, kind, line):
    cases = Cases(site)
    base = cases.conference()
    site.path(f"MSG/{base.name(kind)}").symlink_to("/dev/full")
    message = echomail("CASE1", "Hi", msgid=MSGID)
    assert_only_the_second_fails(cases, message, line, NOT_RESTORED)


@posix_only("limits the size of files")
def test_both_of_two_messages_that_fail_are_reported_and_leave_nothing(site):
    cases = Cases(site)
    cases.conference()
    base = cases.conference()
    long_text = ("x" * 60000, "y" * 60000)
    stored = echomail("CASE2", "Hi", msgid=MSGID)
    packet = Packet([echomail("CASE1", *long_text), echomail("CASE2", *long_text), stored])
    lines = failing(1, 1, DAT_FAILED) + failing(2, 2, DAT_FAILED)
    lines.append(base.store(stored, body_lines("Hi"), msgid=MSGID))
    cases.retained("a.pkt", packet, *lines, parsed(3))
    cases.toss(status=1, **files_limited(LIMIT))


def test_a_retained_packet_that_comes_back_stores_the_rest_and_what_has_no_msgid_a_second_time(site):
    full, base = MessageBase(1), MessageBase(2)
    full.add(b"x", number=2147483647)
    site.put(full)
    known = echomail("CASE2", "Known", msgid="1:2/3 known")
    lost = echomail("CASE1", "Lost", msgid="1:2/3 lost")
    bare = echomail("CASE2", "Bare")
    reply = echomail("CASE2", "Reply", msgid="1:2/3 reply", reply="1:2/3 known")
    packet = Packet([known, lost, bare, reply])

    first = Cases(site)
    first.stands(full)
    first.stands(base)
    wrote = [
        base.store(known, body_lines("Known"), msgid="1:2/3 known"),
        NO_NUMBER.format(1),
        not_appended(2),
        base.store(bare, body_lines("Bare")),
        base.store(reply, body_lines("Reply"), msgid="1:2/3 reply", parent=1),
    ]
    first.retained("a.pkt", packet, *wrote, parsed(4))
    first.toss(status=1)

    packed = MessageBase(1)
    packed.add(b"x", number=41)
    site.put(packed)
    again = Cases(site)
    again.stands(packed)
    again.stands(base)
    lines = [
        "  msg 1: duplicate (MSGID 1:2/3 known already seen in conf 2) -- SKIPPED",
        packed.store(lost, body_lines("Lost"), msgid="1:2/3 lost"),
        base.store(bare, body_lines("Bare")),
        "  msg 4: duplicate (MSGID 1:2/3 reply already seen in conf 2) -- SKIPPED",
    ]
    again.packet("a.pkt", packet, *lines)
    again.toss()
    assert [record.number for record in packed.ptr] == [41, 42]

"""Threading: finding the parent of a REPLY by the SIG file and a live header."""

from dataclasses import dataclass, field

from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase, body_lines
from formats.packet import echomail, netmail
from formats.text import Text, raw, reported
from harness.one_packet import OnePacket

X = "1:2/3 0a1b2c3d"
LIVE, DELETED = 0, 1


def not_found(message: int, reply: Text, conference: int) -> str:
    return (
        f"  msg {message}: reply to MSGID {reported(reply)}, but parent not found locally in conf {conference}"
        " -- storing as non-threaded (safe fallback)"
    )


def gone(number: int) -> str:
    return (
        f"  parent MSGID resolved to MsgNumber {number} via .SIG tracking, but that message no longer exists"
        " (or is marked Deleted) in the current message base -- storing as non-threaded (safe fallback)"
    )


def looks_like_reply(message: int) -> str:
    return (
        f"  msg {message}: subject looks like a reply but no REPLY: kludge present"
        " -- storing as non-threaded (safe fallback)"
    )


def fill(base: MessageBase, *headers: tuple[int, int]) -> None:
    """Adds messages as (number, deleted)."""
    for number, deleted in headers:
        base.add(b"x\x01", number=number, deleted=deleted)


NOT_FOUND, SILENT = "not found", "silent"


@dataclass
class Link:
    """A SIG file, the headers of the conference, a REPLY to X, and the parent that must be found.

    `gone` is the number of a parent that no longer exists; `unthreaded` is the reason why there is no number.
    """

    sig: Text
    headers: list[tuple[int, int]] = field(default_factory=lambda: [(17, LIVE), (18, LIVE)])
    parent: int | None = None
    gone: int | None = None
    unthreaded: str = ""
    reply: Text = X


def assert_links(site, *links: Link) -> None:
    """Each in a conference of its own, all in one packet."""
    packet = OnePacket(site)
    for link in links:
        base = packet.conference()
        base.sig = raw(link.sig)
        fill(base, *link.headers)
        site.put(base)
        message = echomail(packet.tag(base), "Hi", reply=link.reply, subject="Re: x")
        lines = []
        if link.gone is not None:
            lines.append(gone(link.gone))
        elif link.unthreaded == NOT_FOUND:
            lines.append(not_found(packet.next(), link.reply, base.conference))
        else:
            assert (link.parent is None) == (link.unthreaded == SILENT)
        packet.add(message, *lines, base.store(message, body_lines("Hi"), parent=link.parent))
    packet.toss()


def test_a_reply_to_a_live_message_is_threaded_in_header_and_index(site):
    assert_links(site, Link(f"{X}\t17\n", parent=17), Link(f"{X}\t18\n", parent=18))
    record = site.read("MSG/CVMSG01.PTR")[2 * 256 :]
    assert record[155:157] == b"\x01\x00"
    assert record[166:174] == (19).to_bytes(4, "little") + (17).to_bytes(4, "little")
    assert site.read("MSG/CVMSG01.IDX")[2 * 16 + 8 :] == record[166:174]


def test_a_message_that_is_no_reply_is_a_root_that_refers_to_itself(site):
    packet = OnePacket(site)
    base = packet.conference()
    fill(base, (17, LIVE))
    site.put(base)
    message = echomail("CASE1", "Hi", msgid=X)
    packet.add(message, base.store(message, body_lines("Hi"), msgid=X))
    packet.toss()
    record = site.read("MSG/CVMSG01.PTR")[256:]
    assert record[155:157] == b"\x00\x01"
    assert record[166:174] == (18).to_bytes(4, "little") * 2


def test_a_reply_finds_its_parent_in_the_same_packet(site):
    packet = OnePacket(site)
    base, other = packet.conference(), packet.conference()
    first = echomail("CASE1", "One", msgid=X)
    packet.add(first, base.store(first, body_lines("One"), msgid=X))
    second = echomail("CASE1", "Two", msgid=X + "2", reply=X)
    packet.add(second, base.store(second, body_lines("Two"), msgid=X + "2", parent=1))
    third = echomail("CASE1", "Three", reply=X + "2")
    packet.add(third, base.store(third, body_lines("Three"), parent=2))
    elsewhere = echomail("CASE2", "Four", reply=X)
    packet.add(elsewhere, not_found(4, X, 2), other.store(elsewhere, body_lines("Four")))
    packet.toss()


def test_a_parent_that_is_missing_or_deleted_is_named_and_not_linked(site):
    assert_links(
        site,
        Link(f"{X}\t7\n", [(7, DELETED)], gone=7),
        Link(f"{X}\t7\n", [(6, LIVE), (8, LIVE)], gone=7),
        Link(f"{X}\t7\n", [], gone=7),
        Link(f"{X}\t65543\n", [(7, LIVE)], gone=65543),
        Link(f"{X}\t-17\n", [(17, LIVE), (-17, LIVE)], unthreaded=NOT_FOUND),
        Link(f"{X}\tx17\n", unthreaded=SILENT),
    )


def test_a_message_is_never_its_own_parent(site):
    """The SIG file has the number that the message is about to get, or gets its MSGID only when it is stored."""
    packet = OnePacket(site)
    base = packet.conference()
    fill(base, (17, LIVE))
    base.sig = raw(f"{X}\t18\n")
    site.put(base)
    message = echomail("CASE1", "Hi", reply=X)
    packet.add(message, gone(18), base.store(message, body_lines("Hi")))
    itself = echomail("CASE1", "Hi", msgid=X + "2", reply=X + "2")
    packet.add(itself, not_found(2, X + "2", 1), base.store(itself, body_lines("Hi"), msgid=X + "2"))
    packet.toss()


def test_subjects_that_look_like_a_reply_are_told_when_there_is_no_reply_kludge(site):
    packet = OnePacket(site)
    base = packet.conference()
    for subject in ("Re: x", "RE:x"):
        message = echomail("CASE1", "Hi", subject=subject)
        packet.add(message, looks_like_reply(packet.next()), base.store(message, body_lines("Hi")))
    for subject in ("", "Re^2: x", "Fwd: Re: x"):
        message = echomail("CASE1", "Hi", subject=subject)
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_a_reply_kludge_silences_what_the_subject_looks_like(site):
    packet = OnePacket(site)
    base = packet.conference()
    message = echomail("CASE1", "Hi", subject="Re: x", reply=X)
    packet.add(message, not_found(1, X, 1), base.store(message, body_lines("Hi")))
    packet.toss()


def test_netmail_is_threaded_in_the_netmail_conference(site):
    packet = OnePacket(site)
    private = packet.conference(netmail_conference())
    first = netmail("One", msgid=X)
    packet.add(first, private.store(first, body_lines("One"), msgid=X, netmail=1))
    reply = netmail("Two", reply=X, subject="Re: x")
    packet.add(reply, private.store(reply, body_lines("Two"), netmail=1, parent=1))
    bare = netmail("Three", subject="Re: x")
    packet.add(bare, looks_like_reply(3), private.store(bare, body_lines("Three"), netmail=1))
    packet.toss()

"""Threading: the parent that a REPLY names, through the SIG file to a live header, or none."""

from dataclasses import dataclass, field

from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase, body_lines, sig_filler
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
    """A SIG file, the headers that stand in the conference, a REPLY for X, and the parent it is to find.

    `gone` is the number of a parent that no longer lives; `unthreaded` tells why there is no number at all.
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


def test_a_parent_is_looked_for_exactly(site):
    line = f"{X}\t17\n"
    near = [X.upper(), X.replace(" ", "  "), X + " ", X + "0", X[:-1], X[1:], "17"]
    links = [Link(line, reply=reply, unthreaded=NOT_FOUND) for reply in near]
    assert_links(site, *links, Link("", unthreaded=NOT_FOUND), Link(line, parent=17))


def test_no_sig_file_means_no_parent(site):
    packet = OnePacket(site)
    base = packet.conference()
    fill(base, (17, LIVE))
    site.put(base)
    message = echomail("CASE1", "Hi", reply=X)
    packet.add(message, not_found(1, X, 1), base.store(message, body_lines("Hi")))
    packet.toss()


def test_lines_that_end_in_lf_cr_lf_or_not_at_all_are_read_alike(site):
    assert_links(
        site,
        Link(f"a\t1\r\n{X}\t17\r\nb\t2\r\n", parent=17),
        Link(f"a\t1\n{X}\t17\nb\t2\n", parent=17),
        Link(f"a\t1\r\n{X}\t17", parent=17),
    )


def test_the_first_line_with_the_msgid_and_a_tab_counts_even_when_it_is_of_no_use(site):
    assert_links(
        site,
        Link(f"{X}\t17\n{X}\t18\n", parent=17),
        Link(f"{X}\t18\n{X}\t17\n", parent=18),
        Link(f"{X}\n{X}\t17\n", parent=17),
        Link(f"{X}\t-1\n{X}\t17\n", unthreaded=NOT_FOUND),
        Link(f"{X}\t0\n{X}\t17\n", unthreaded=SILENT),
        Link(f"{X}\t99\n{X}\t17\n", gone=99),
    )


def test_a_line_without_a_tab_makes_a_duplicate_but_never_a_parent(site):
    packet = OnePacket(site)
    base = packet.conference()
    fill(base, (17, LIVE))
    base.sig = raw(X + "\n")
    site.put(base)
    message = echomail("CASE1", "Hi", reply=X)
    packet.add(message, not_found(1, X, 1), base.store(message, body_lines("Hi")))
    repeated = f"  msg 2: duplicate (MSGID {X} already seen in conf 1) -- SKIPPED"
    packet.add(echomail("CASE1", "Hi", msgid=X, reply=X), repeated)
    packet.toss()


def test_the_number_is_read_as_far_as_it_is_one(site):
    assert_links(
        site,
        *(Link(f"{X}\t{text}\n", parent=17) for text in ("17", "+17", " 17", "  +17", "017", "17abc", "17 18", "17.9")),
        Link(f"{X}\t17\t18\n", parent=17),
        Link(f"{X}\t\t17\n", parent=17),
        Link(f"{X}\t\v\f\r 17\n", parent=17),
        Link(f"{X}\t17-1\n", parent=17),
    )


def test_a_number_that_is_none_reads_as_zero_and_gives_no_parent_without_a_word(site):
    texts = ("", " ", "0", "-0", "+0", "000", "abc", "x17", "- 17", "+ 17", "+-17", "--17", ",17", "0x11")
    assert_links(site, *(Link(f"{X}\t{text}\n", unthreaded=SILENT) for text in texts))


def test_a_negative_number_counts_as_not_found(site):
    texts = ("-1", "-17", " -17", "-2147483648", "-0017x")
    headers = [(17, LIVE), (-1, LIVE), (-17, LIVE)]
    assert_links(site, *(Link(f"{X}\t{text}\n", headers, unthreaded=NOT_FOUND) for text in texts))


def test_numbers_beyond_32_bits_are_taken_as_the_nearest_limit(site):
    assert_links(
        site,
        Link(f"{X}\t2147483646\n", [(2147483646, LIVE)], parent=2147483646),
        Link(f"{X}\t2147483647\n", gone=2147483647),
        Link(f"{X}\t2147483648\n", gone=2147483647),
        Link(f"{X}\t4294967313\n", gone=2147483647),
        Link(f"{X}\t99999999999999999999999999\n", gone=2147483647),
        Link(f"{X}\t-99999999999999999999999999\n", unthreaded=NOT_FOUND),
        Link(f"{X}\t-4294967279\n", unthreaded=NOT_FOUND),
    )


def test_a_parent_that_is_missing_or_deleted_is_named_and_not_linked(site):
    assert_links(
        site,
        Link(f"{X}\t7\n", [(7, DELETED)], gone=7),
        Link(f"{X}\t7\n", [(6, LIVE), (8, LIVE)], gone=7),
        Link(f"{X}\t7\n", [], gone=7),
        Link(f"{X}\t7\n", [(7, 255), (8, LIVE)], gone=7),
        Link(f"{X}\t263\n", [(7, LIVE)], gone=263),
        Link(f"{X}\t65543\n", [(7, LIVE)], gone=65543),
        Link(f"{X}\t7\n", [(65543, LIVE)], gone=7),
    )


def test_of_several_headers_with_the_number_one_live_one_is_enough(site):
    assert_links(
        site,
        Link(f"{X}\t7\n", [(7, LIVE), (7, DELETED)], parent=7),
        Link(f"{X}\t7\n", [(7, DELETED), (7, LIVE)], parent=7),
        Link(f"{X}\t7\n", [(7, DELETED), (7, LIVE), (9, LIVE), (7, DELETED)], parent=7),
        Link(f"{X}\t7\n", [(7, DELETED), (7, DELETED), (9, LIVE)], gone=7),
    )


def test_headers_out_of_order_are_all_looked_at(site):
    assert_links(
        site,
        Link(f"{X}\t1\n", [(9, LIVE), (5, LIVE), (1, LIVE)], parent=1),
        Link(f"{X}\t9\n", [(9, LIVE), (5, LIVE), (1, LIVE)], parent=9),
        Link(f"{X}\t1\n", [(1, LIVE), (-5, LIVE), (0, LIVE)], parent=1),
    )


def test_a_message_is_never_its_own_parent(site):
    """The SIG file names the number that the message is about to get, or gets its MSGID only when it is stored."""
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


def test_parents_all_over_a_long_header_file_are_found(site):
    """A reader takes the file in pieces: numbers around the ends of the likely ones, and the highest one first."""
    packet = OnePacket(site)
    base = packet.conference()
    count = 4200
    fill(base, (10000, LIVE))
    fill(base, *((number, DELETED if number % 100 == 0 else LIVE) for number in range(2, count + 1)))
    replies = [2, *(edge + step for edge in (256, 512, 1024, 2048, 4096) for step in (-1, 0, 1, 2)), count, 10000]
    for number in (*replies, 100, 4100):
        base.add_sig(f"{X}.{number}", number)
    site.put(base)
    for number in replies:
        deleted = number % 100 == 0 and number != 10000
        message = echomail("CASE1", "Hi", reply=f"{X}.{number}")
        lines = [gone(number)] if deleted else []
        parent = None if deleted else number
        packet.add(message, *lines, base.store(message, body_lines("Hi"), parent=parent))
    packet.toss()


def test_a_line_of_more_than_255_bytes_is_read_in_pieces_for_parents_too(site):
    number_cut = f"{X}\t".ljust(254) + "17\n"
    assert number_cut.index("17") == 254
    headers = [(1, LIVE), (17, LIVE), (18, LIVE)]
    assert_links(
        site,
        Link("y" * 254 + f"{X}\t17\n", unthreaded=NOT_FOUND),
        Link("y" * 255 + f"{X}\t17\n", parent=17),
        Link("y" * 510 + f"{X}\t17\n", parent=17),
        Link("y" * 511 + f"{X}\t17\n", unthreaded=NOT_FOUND),
        Link(number_cut, headers, parent=1),
        Link(f"{X}\t".ljust(253) + "17\n", headers, parent=17),
        Link(f"{X}\t".ljust(255) + "17\n", headers, unthreaded=SILENT),
        Link(f"{X}\t17 ".ljust(1000, "9") + "\n", headers, parent=17),
    )


def test_a_parent_is_found_wherever_a_reader_of_blocks_may_cut_a_large_file(site):
    line = raw(f"{X}\t17\n")
    links = []
    for block in (4096, 65536, 131072, 262144):
        links += [Link(sig_filler(block - back) + line, parent=17) for back in range(len(line) + 1)]
        links.append(Link(raw(f"{X}\t18\n") + sig_filler(block) + line, parent=18))
        links.append(Link(raw(f"{X}\t-1\n") + sig_filler(block) + line, unthreaded=NOT_FOUND))
    assert_links(site, *links)


def test_a_duplicate_in_a_large_file_is_one_even_behind_the_parent_it_names(site):
    packet = OnePacket(site)
    base = packet.conference()
    fill(base, (17, LIVE), (18, LIVE))
    base.sig = raw(f"{X}\t17\n") + sig_filler(300000) + raw(f"{X}2\t18\n")
    site.put(base)
    repeated = f"  msg 1: duplicate (MSGID {X}2 already seen in conf 1) -- SKIPPED"
    packet.add(echomail("CASE1", "Hi", msgid=X + "2", reply=X), repeated)
    message = echomail("CASE1", "Hi", msgid=X + "3", reply=X)
    packet.add(message, base.store(message, body_lines("Hi"), msgid=X + "3", parent=17))
    packet.toss()


def test_subjects_that_look_like_a_reply_are_told_when_there_is_no_reply_kludge(site):
    packet = OnePacket(site)
    base = packet.conference()
    for subject in ("Re: x", "RE:x", "re:", "rE: Re: x", "Re:" + "x" * 200):
        message = echomail("CASE1", "Hi", subject=subject)
        packet.add(message, looks_like_reply(packet.next()), base.store(message, body_lines("Hi")))
    others = ("", "R", "Re", "re x", "Re^2: x", "Re : x", " Re: x", "\tRe: x", "Fwd: Re: x", "Reply: x", "R:", "e:")
    for subject in others:
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

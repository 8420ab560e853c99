"""Duplicates: a MSGID that is already in the conference's SIG file."""

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import body_lines
from formats.packet import Packet, echomail, netmail
from formats.text import Text, raw, reported
from harness.cases import Cases
from harness.compare import bad_areas, not_appended
from harness.one_packet import OnePacket

X = "1:2/3 0a1b2c3d"


def duplicate(message: int, msgid: Text, conference: int) -> str:
    return f"  msg {message}: duplicate (MSGID {reported(msgid)} already seen in conf {conference}) -- SKIPPED"


def assert_judged(site, rows: list[tuple[Text, Text, bool]]) -> None:
    """Each row is for a conference of its own: its SIG file, an arriving MSGID, and whether that is a duplicate."""
    packet = OnePacket(site)
    for sig, msgid, known in rows:
        base = packet.conference()
        base.sig = raw(sig)
        site.put(base)
        message = echomail(packet.tag(base), "Hi", msgid=msgid)
        if known:
            packet.add(message, duplicate(packet.next(), msgid, base.conference))
        else:
            packet.add(message, base.store(message, body_lines("Hi"), msgid=msgid))
    packet.toss()


def test_a_first_field_that_equals_the_msgid_makes_a_duplicate_wherever_its_line_stands(site):
    others = "".join(f"1:2/3 {number:08x}\t{number}\n" for number in range(1000))
    assert_judged(
        site,
        [
            (f"{X}\t17\n", X, True),
            (f"{X}\t17\n{others}", X, True),
            (f"{others}{X}\t17\n", X, True),
            (f"{others}{X}\t17\n{others}", X, True),
            (f"{others}{X}\t17", X, True),
            (others, X, False),
            ("", X, False),
        ],
    )


def test_a_repetition_in_the_same_packet_is_a_duplicate_and_its_text_is_not_looked_at(site):
    packet = OnePacket(site)
    base = packet.conference()
    first = echomail("CASE1", "One", msgid=X)
    packet.add(first, base.store(first, body_lines("One"), msgid=X))
    packet.add(echomail("CASE1", "Two", msgid=X, reply="no such", subject="Re: x", sender="Other"), duplicate(2, X, 1))
    second = echomail("CASE1", "Three", msgid=X.upper())
    packet.add(second, base.store(second, body_lines("Three"), msgid=X.upper()))
    packet.toss()


def test_the_same_msgid_in_another_conference_is_no_duplicate(site):
    packet = OnePacket(site)
    bases = [packet.conference() for _ in range(3)]
    private = packet.conference(netmail_conference())
    for base in bases:
        message = echomail(packet.tag(base), "Hi", msgid=X)
        packet.add(message, base.store(message, body_lines("Hi"), msgid=X))
    message = netmail("Hi", msgid=X)
    packet.add(message, private.store(message, body_lines("Hi"), msgid=X, netmail=1))
    for base in bases:
        packet.add(echomail(packet.tag(base), "Hi", msgid=X), duplicate(packet.next(), X, base.conference))
    packet.add(netmail("Hi", msgid=X), duplicate(packet.next(), X, 4))
    packet.toss()


def test_a_message_without_msgid_is_never_a_duplicate_and_leaves_the_file_alone(site):
    packet = OnePacket(site)
    base, other = packet.conference(), packet.conference()
    base.sig = b"\n\t5\n\r\n" + raw(X) + b"\t1"
    site.put(base)
    for _ in range(3):
        message = echomail("CASE1", "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
        message = echomail("CASE2", "Hi")
        packet.add(message, other.store(message, body_lines("Hi")))
    packet.toss()
    assert not site.path("MSG/CVMSG02.SIG").exists()


def test_a_parked_message_is_known_in_the_catch_all_only(site):
    packet = OnePacket(site)
    new = packet.conference(echo("OTHER"))
    catch_all = packet.conference(echo("*"))
    parked = "  msg {}: AREA:{} has no matching conference -- parked in catch-all conf 2 (see BADAREAS.LST)"
    message = echomail("NEW", "Hi", msgid=X)
    packet.add(message, parked.format(1, "NEW"), catch_all.store(message, body_lines("Hi"), msgid=X))
    packet.add(message, parked.format(2, "NEW"), duplicate(2, X, 2))
    packet.add(echomail("NEWER", "Hi", msgid=X), parked.format(3, "NEWER"), duplicate(3, X, 2))
    message = echomail("OTHER", "Hi", msgid=X)
    packet.add(message, new.store(message, body_lines("Hi"), msgid=X))
    packet.toss(changes={"MSG/BADAREAS.LST": bad_areas("NEW", "NEW", "NEWER")})


def test_a_second_toss_of_the_same_packet_stores_only_what_has_no_msgid(site):
    messages = [echomail("CASE1", "Hi", msgid=X), echomail("CASE1", "Hi"), echomail("CASE1", "Hi", msgid=X + "2")]
    first = OnePacket(site)
    base = first.conference()
    for message, msgid in zip(messages, (X, "", X + "2")):
        first.add(message, base.store(message, body_lines("Hi"), msgid=msgid))
    first.toss()
    again = OnePacket(site)
    again.cases.stands(base)
    again.add(messages[0], duplicate(1, X, 1))
    again.add(messages[1], base.store(messages[1], body_lines("Hi")))
    again.add(messages[2], duplicate(3, X + "2", 1))
    again.toss()


def test_a_sig_file_that_cannot_be_read_counts_as_empty(site):
    """A directory in its place: no duplicate and no parent is found; then it can neither be written nor restored."""
    cases = Cases(site)
    base = cases.conference()
    base.add(b"x")
    site.put(base)
    site.path("MSG/CVMSG01.SIG").mkdir()
    message = echomail("CASE1", "Hi", msgid=X, reply=X)
    bare = echomail("CASE1", "Hi", reply=X)
    lost = (
        f"  msg {{}}: reply to MSGID {X}, but parent not found locally in conf 1"
        " -- storing as non-threaded (safe fallback)"
    )
    cases.retained(
        "a.pkt",
        Packet([message, bare]),
        lost.format(1),
        "ERROR: could not open all conf 1 message-base files for a checked append",
        "CRITICAL: conf 1 append failed and at least one rollback also failed; message base requires inspection",
        not_appended(1),
        lost.format(2),
        base.store(bare, body_lines("Hi")),
        "  2 message(s) parsed from this packet",
    )
    cases.toss(status=1)

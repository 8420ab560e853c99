"""Routing: which conference a message goes to, and the list of areas that have none."""

import os

import pytest

from formats.conference_table import Conference, conference_file, echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase, body_lines
from formats.packet import Packet, echomail, netmail
from formats.text import shown
from harness.cases import Cases
from harness.compare import assert_run, assert_unchanged, bad_areas, banner, not_appended
from harness.one_packet import OnePacket
from harness.target import LINE_END

LIST = "MSG/BADAREAS.LST"
SKIPPED_NETMAIL = "  msg {}: netmail with no NetMailConf=1 conference configured -- SKIPPED"


def skipped(message: int, tag: str) -> str:
    return (
        f"  msg {message}: AREA:{tag} has no matching conference and no catch-all configured"
        " -- SKIPPED (logged to BADAREAS.LST)"
    )


def parked(message: int, tag: str, conference: int) -> str:
    return (
        f"  msg {message}: AREA:{tag} has no matching conference"
        f" -- parked in catch-all conf {conference} (see BADAREAS.LST)"
    )


def test_tags_match_without_regard_to_case_on_either_side(site):
    packet = OnePacket(site)
    base = packet.conference(echo("Fido_Tech"))
    for tag in ("fido_tech", "FIDO_TECH", "Fido_Tech", "fIDO_tECH"):
        message = echomail(tag, "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_only_a_tag_that_is_equal_as_a_whole_matches(site):
    packet = OnePacket(site)
    base = packet.conference(echo("ABCDEFGHIJKLMNO"))
    unknown = ["ABCDEFGHIJKLMNOP", "ABCDEFGHIJKLMN", "ABCDEFGHIJKLMNO" * 2, "ABCDEFGHIJKLMNO.", "BCDEFGHIJKLMNO"]
    for tag in unknown:
        packet.add(echomail(tag, "Hi"), skipped(packet.next(), tag))
    message = echomail("abcdefghijklmno", "Hi")
    packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss(changes={LIST: bad_areas(*unknown)})


def test_letters_beyond_ascii_are_matched_byte_for_byte(site):
    packet = OnePacket(site)
    lower, upper = packet.conference(echo("CAF\xe9")), packet.conference(echo("CAF\xc9"))
    for tag, base in (("caf\xe9", lower), ("caf\xc9", upper)):
        message = echomail(tag, "Hi")
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.add(echomail("caf\x82", "Hi"), skipped(3, "caf\x82"))
    packet.toss(changes={LIST: bad_areas("caf\x82")})


def test_a_conference_that_is_not_routed_is_invisible_whatever_its_tag(site):
    packet = OnePacket(site)
    packet.conference(Conference(tag="FIDO"))
    packet.conference(netmail_conference(tag="POST"))
    for tag in ("FIDO", "POST"):
        packet.add(echomail(tag, "Hi"), skipped(packet.next(), tag))
    packet.toss(changes={LIST: bad_areas("FIDO", "POST")})


def test_a_routed_conference_is_found_behind_an_unrouted_one_with_the_same_tag(site):
    packet = OnePacket(site)
    packet.conference(Conference(tag="FIDO"))
    base = packet.conference(echo("FIDO"))
    message = echomail("FIDO", "Hi")
    packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_an_unknown_tag_without_catch_all_is_listed_as_received_and_skipped(site):
    packet = OnePacket(site)
    packet.conference(echo("FIDO"))
    tags = ["Unknown", "unknown", "\xff!", "A" * 31]
    for tag in tags:
        packet.add(echomail(tag, "Hi", msgid="1:2/3 same"), skipped(packet.next(), tag))
    packet.toss(changes={LIST: bad_areas(*tags)})


def test_an_unknown_tag_with_catch_all_is_listed_as_received_and_parked(site):
    packet = OnePacket(site)
    packet.conference(echo("FIDO"))
    base = packet.conference(echo("*"))
    tags = ["Unknown", "unknown", "\xff!", "A" * 31, "**"]
    for tag in tags:
        message = echomail(tag, "Hi", msgid="1:2/3 " + tag)
        packet.add(message, parked(packet.next(), tag, 2), base.store(message, body_lines("Hi"), msgid="1:2/3 " + tag))
    packet.toss(changes={LIST: bad_areas(*tags)})


def test_the_list_is_added_to_one_line_a_message(site):
    packet = OnePacket(site)
    packet.conference(echo("FIDO"))
    older = b"2001-02-03 04:05:06  OLD" + LINE_END
    site.write(LIST, older)
    for _ in range(3):
        packet.add(echomail("New", "Hi"), skipped(packet.next(), "New"))
    packet.toss(changes={LIST: bad_areas("OLD", "New", "New", "New")})
    assert site.read(LIST).startswith(older)


def test_the_time_in_the_list_is_the_local_time_of_the_run(site):
    site.conferences(echo("FIDO"))
    site.inbound("a.pkt", Packet([echomail("NEW", "Hi")]))
    run = site.toss()
    listed = shown(site.read(LIST)[:19])
    assert run.stamps[0] <= listed <= run.stamps[-1]


@pytest.mark.parametrize("catch_all", [False, True], ids=["skipped", "parked"])
def test_a_list_that_cannot_be_opened_is_passed_over_in_silence(site, catch_all):
    packet = OnePacket(site)
    packet.conference(echo("FIDO"))
    site.path(LIST).mkdir()
    message = echomail("NEW", "Hi")
    if catch_all:
        base = packet.conference(echo("*"))
        packet.add(message, parked(1, "NEW", 2), base.store(message, body_lines("Hi")))
    else:
        packet.add(message, skipped(1, "NEW"))
    packet.toss()


def test_the_star_tag_goes_to_the_catch_all_without_being_listed_or_parked(site):
    packet = OnePacket(site)
    base = packet.conference(echo("*"))
    message = echomail("*", "Hi")
    packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_the_star_tag_without_a_catch_all_is_unknown(site):
    packet = OnePacket(site)
    packet.conference(Conference(tag="*"))
    packet.add(echomail("*", "Hi"), skipped(1, "*"))
    packet.toss(changes={LIST: bad_areas("*")})


def test_the_catch_all_is_the_first_routed_star_and_an_unrouted_one_before_it_does_not_count(site):
    packet = OnePacket(site)
    packet.conference(Conference(tag="*"))
    packet.conference(netmail_conference(tag="*"))
    base = packet.conference(echo("*"))
    message = echomail("NEW", "Hi")
    packet.add(message, parked(1, "NEW", 3), base.store(message, body_lines("Hi")))
    packet.toss(changes={LIST: bad_areas("NEW")})


def test_two_routed_stars_end_the_run_before_anything_is_tossed(site):
    site.write("CONF/CVMCONF.DAT", conference_file([echo("*"), echo("*")]))
    site.inbound("a.pkt", Packet([echomail("NEW", "Hi")]))
    before = site.snapshot()
    run = site.toss()
    errors = [
        "Loaded 2 conference(s) from CVMCONF.DAT",
        "ERROR: duplicate routed AREA tag '*' in conferences 1 and 2",
        "Aborting: conference configuration validation failed",
    ]
    assert_run(run, 1, banner() + errors)
    assert_unchanged(site, before)


def test_netmail_goes_to_the_netmail_conference_and_echomail_beside_it_is_none(site):
    packet = OnePacket(site)
    private = packet.conference(netmail_conference(tag="POST", routed=1))
    message = netmail("Hi", attribute=1)
    packet.add(message, private.store(message, body_lines("Hi"), netmail=1))
    message = netmail("Hi", attribute=0)
    packet.add(message, private.store(message, body_lines("Hi"), netmail=1))
    message = echomail("POST", "Hi", attribute=1)
    packet.add(message, private.store(message, body_lines("Hi"), netmail=0))
    packet.toss()


def test_netmail_goes_to_the_private_one_of_two_netmail_conferences(site):
    packet = OnePacket(site)
    packet.conference(netmail_conference(public=1))
    private = packet.conference(netmail_conference())
    message = netmail("Hi")
    packet.add(message, private.store(message, body_lines("Hi"), netmail=1))
    packet.toss()


def test_netmail_without_a_netmail_conference_is_skipped_and_never_parked(site):
    packet = OnePacket(site)
    packet.conference(echo("FIDO"))
    packet.conference(echo("*"))
    packet.add(netmail("Hi", msgid="1:2/3 x"), SKIPPED_NETMAIL.format(1))
    packet.add(netmail("AREA"), SKIPPED_NETMAIL.format(2))
    packet.add(netmail("", "AREA:FIDO"), SKIPPED_NETMAIL.format(3))
    packet.toss()


def test_an_unknown_area_is_listed_again_when_a_retained_packet_comes_back_even_for_a_duplicate(site):
    full, catch_all = MessageBase(1), MessageBase(2)
    unknown, refused = echomail("NEW", "Hi", msgid="1:2/3 x"), echomail("CASE1", "Hi")
    full.add(number=2147483647)
    site.put(full)
    packet = Packet([unknown, refused])
    limit = "ERROR: conf 1 has reached the signed 32-bit MsgNumber limit"
    stored = catch_all.store(unknown, body_lines("Hi"), msgid="1:2/3 x")
    duplicate = "  msg 1: duplicate (MSGID 1:2/3 x already seen in conf 2) -- SKIPPED"
    for second, listed in ((stored, ["NEW"]), (duplicate, ["NEW", "NEW"]), (duplicate, ["NEW", "NEW", "NEW"])):
        cases = Cases(site)
        cases.stands(full)
        cases.stands(catch_all, echo("*"))
        lines = (parked(1, "NEW", 2), second, limit, not_appended(2), "  2 message(s) parsed from this packet")
        cases.retained("a.pkt", packet, *lines)
        cases.toss(status=1, changes={LIST: bad_areas(*listed)})


def test_a_message_base_that_fails_its_check_in_mid_run_takes_no_message(site):
    """Two conferences share one header file by a hard link: a message in the first damages the second."""
    cases = Cases(site)
    one, two, three = cases.conference(), cases.conference(), cases.conference()
    one.add(b"x")
    two.add(b"y")
    site.put(one)
    site.put(two)
    site.path("MSG/CVMSG02.PTR").unlink()
    os.link(site.path("MSG/CVMSG01.PTR"), site.path("MSG/CVMSG02.PTR"))
    messages = [echomail(cases.tag(base), "Hi", msgid="1:2/3 x") for base in (one, two, three)]
    stored = [one.store(messages[0], body_lines("Hi"), msgid="1:2/3 x")]
    stored.append(three.store(messages[2], body_lines("Hi"), msgid="1:2/3 x"))
    two.ptr = one.ptr
    cases.retained(
        "a.pkt",
        Packet(messages),
        stored[0],
        "ERROR: conference 2 message #2 points past DAT (Where=1, Records=1, DAT records=1)",
        "ERROR: conference 2 failed message-base preflight; refusing to append",
        not_appended(2),
        stored[1],
        "  3 message(s) parsed from this packet",
    )
    cases.toss(status=1)

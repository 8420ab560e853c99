"""Mail between two systems in both directions: one stores what the other exports, and replies find their parents."""

import shutil

from harness.network import ECHO, POST, make_network


def test_an_echomail_message_arrives_as_it_was_written(site, hub_site):
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Hello hub,", "", "how are you?", sender="Ann", to="Bob", subject="Question", private=1)
    ours.carry(hub)
    record, body = hub.newest(ECHO)
    assert (record.sender, record.to, record.subject) == (b"Ann", b"Bob", b"Question")
    assert (record.number, record.thread, record.is_reply, record.is_root) == (1, 1, 0, 1)
    assert (record.netmail, record.sent, record.private, record.deleted) == (0, 1, 1, 0)
    assert record.origin == b"250/10"
    assert body == ours.signed("Hello hub,", "", "how are you?")
    assert hub.base(ECHO).sig == b"2:250/10 00000001\t1\n"
    assert ours.base(ECHO).sig == b"2:250/10 00000001\t1\r\n"


def test_a_netmail_message_arrives_under_the_name_without_its_address(site, hub_site):
    ours, hub = make_network(site, hub_site)
    ours.post(POST, "Dear Bob", sender="Ann", to="Bob@3:251/20.4", subject="Private", private=1)
    ours.carry(hub)
    record, body = hub.newest(POST)
    assert (record.sender, record.to, record.subject) == (b"Ann", b"Bob", b"Private")
    assert (record.netmail, record.sent, record.private) == (1, 1, 1)
    assert body == ours.signed("Dear Bob")
    assert hub.base(ECHO).ptr == []


def test_replies_are_threaded_on_both_sides_under_numbers_of_their_own(site, hub_site):
    ours, hub = make_network(site, hub_site)
    for _ in range(3):
        hub.post(ECHO, "only local so far", deleted=1)  # so that numbers differ
    question = ours.post(ECHO, "Question?", subject="Talk")
    ours.carry(hub)
    assert hub.threads(ECHO)[-1] == (4, 4)

    answer = hub.post(ECHO, "Answer.", subject="Re: Talk", parent=4)
    hub.carry(ours)
    assert ours.threads(ECHO) == [(question, question), (2, question)]

    ours.post(ECHO, "Thanks.", subject="Re: Talk", parent=2)
    ours.carry(hub)
    assert hub.threads(ECHO)[-3:] == [(4, 4), (answer, 4), (6, answer)]
    record, body = hub.newest(ECHO)
    assert (record.is_reply, record.is_root) == (1, 0)
    assert body == ours.signed("Thanks.")


def test_replies_to_netmail_are_threaded_on_both_sides(site, hub_site):
    ours, hub = make_network(site, hub_site)
    ours.post(POST, "Dear Bob", sender="Ann", to="Bob@3:251/20")
    ours.carry(hub)
    hub.post(POST, "Dear Ann", sender="Bob", to="Ann@2:250/10", parent=1)
    hub.carry(ours)
    ours.post(POST, "Dear Bob again", sender="Ann", to="Bob@3:251/20", parent=2)
    ours.carry(hub)
    assert ours.threads(POST) == hub.threads(POST) == [(1, 1), (2, 1), (3, 2)]
    assert [record.to for record in hub.base(POST).ptr] == [b"Bob", b"Ann@2:250/10", b"Bob"]


def test_a_message_that_came_in_is_never_sent_on_or_back(site, hub_site):
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Hello")
    ours.post(POST, "Hello", to="Bob@3:251/20")
    ours.carry(hub)
    assert hub.scan() == []
    assert ours.scan() == []


def test_the_same_message_is_never_stored_twice(site, hub_site):
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Hello", to="All")
    ours.post(POST, "Hello", to="Bob@3:251/20")
    (bundle,) = ours.scan()
    shutil.copy(bundle, hub_site.path("IN/first.zip"))
    hub.toss()
    stored = hub_site.snapshot("MSG")

    for target, name in ((hub, "again.zip"), (ours, "home.zip")):  # once more, and back to where it came from
        before = target.site.snapshot("MSG")
        shutil.copy(bundle, target.site.path(f"IN/{name}"))
        lines = target.toss()
        assert "  msg 1: duplicate (MSGID 2:250/10 00000001 already seen in conf 1) -- SKIPPED" in lines
        assert "  msg 2: duplicate (MSGID 2:250/10 00000002 already seen in conf 2) -- SKIPPED" in lines
        assert target.site.snapshot("MSG") == before
    assert hub_site.snapshot("MSG") == stored


def test_a_message_exported_twice_after_a_failed_commit_arrives_under_two_msgids(site, hub_site):
    """A published bundle is not taken back: the message arrives twice rather than never."""
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Hello")
    site.path("MSG/CVMSG01.SIG").mkdir()
    assert site.run("-scan").status == 1
    site.path("MSG/CVMSG01.SIG").rmdir()
    (bundle,) = site.path("OUT").iterdir()
    shutil.move(bundle, hub_site.path("IN"))
    hub.toss()
    ours.carry(hub)
    assert len(hub.base(ECHO).ptr) == 2
    assert hub.base(ECHO).sig == b"2:250/10 00000001\t1\n2:250/10 00000002\t2\n"


def test_a_hundred_messages_each_way_arrive_in_order(site, hub_site):
    ours, hub = make_network(site, hub_site)
    for index in range(100):
        ours.post(ECHO, f"ours {index}", "x" * index)
        hub.post(ECHO, f"the hub's {index}", "y" * (100 - index))
    bundles = [(ours.scan(), hub), (hub.scan(), ours)]
    for (bundle,), receiver in bundles:
        shutil.move(bundle, receiver.site.path("IN"))
        receiver.toss()
    for receiver, sender, text, letter in ((hub, ours, "ours", "x"), (ours, hub, "the hub's", "y")):
        base = receiver.base(ECHO)
        assert [record.number for record in base.ptr] == list(range(1, 201))
        assert [record.sent for record in base.ptr] == [1] * 200
        last = receiver.newest(ECHO)[1]
        assert last == sender.signed(f"{text} 99", letter * (99 if letter == "x" else 1))

"""cvkit messages: the content of the message base as lists, threads, texts and exports."""

import email.policy
import json
import mailbox
import os
import pty
import random
import subprocess

import pytest
from formats.conference_table import Conference, echo, netmail
from formats.message_base import MessageBase, body_lines, read_message_base
from harness.target import KIT, posix_only


@pytest.fixture
def talk(site):
    """Three conferences; in the first a thread of three, a deleted and an unsent message, and a reply to nothing."""
    site.conferences(echo("FIDO", name="T\x84lk"), netmail(), Conference(name="Local"))
    base = MessageBase(1)
    base.add(body_lines("Hello \x1b[2J \x84", "From here"), sender="Ann\x07", subject="Gr\x81\xe1e", origin="250/10")
    base.add(body_lines("Answer"), sender="Bob", to="Ann", is_reply=1, is_root=0, thread=1, date="03/07/24 09:05pm")
    base.add(b"", deleted=1, subject="Gone")
    base.add(body_lines("Mine"), sender="Sysop", sent=0, subject="New")
    base.add(body_lines("Deeper"), sender="Cy", is_reply=1, is_root=0, thread=2, private=1)
    base.add(body_lines("x" * 1200), is_reply=1, is_root=0, thread=99, date="no date")
    base.add_sig("2:250/1 0000001", 1)
    base.add_sig("2:250/1 again", 1)
    base.add_sig("2:250/2 0000002", 2, b"\r\n")
    site.put(base)
    return site


def numbers(kit, *arguments, **changes) -> list[int]:
    return [one["number"] for one in kit.json("messages", *arguments, **changes)["messages"]]


def test_every_conference_is_counted(talk, kit):
    first, *others = kit.json("messages")["conferences"]
    assert first == {"number": 1, "name": "Tälk", "tag": "FIDO", "messages": 5, "deleted": 1, "unsent": 1,
                     "dat_records": 15, "newest": "no date"}
    assert [(one["number"], one["tag"], one["messages"], one["newest"]) for one in others] == [
        (2, None, 0, None), (3, None, 0, None)]
    lines = kit("messages").text.splitlines()
    assert lines[1].split() == ["1", "5", "1", "1", "15", "no", "date", "FIDO", "Tälk"] and len(lines) == 4


def test_a_conference_is_listed_by_number_or_tag(talk, kit):
    listed = kit.json("messages", "1")["messages"]
    assert listed[1] == {"conference": 1, "number": 2, "from": "Bob", "to": "Ann", "subject": "Greetings",
                         "date": "2024-03-07T21:05", "msgid": "2:250/2 0000002", "parent": 1, "deleted": False,
                         "sent": True, "private": False, "netmail": False}
    assert (listed[0]["msgid"], listed[0]["subject"], listed[0]["from"]) == ("2:250/1 0000001", "Grüße", "Ann\x07")
    assert kit.json("messages", "fido")["messages"] == listed
    assert "#1  2025-01-05 00:07  Ann\\x07 -> All: Grüße\n" in kit("messages", "1").text
    for mark in ("Gone [deleted]", "New [unsent]", "Greetings [private]"):
        assert mark + "\n" in kit("messages", "1").text


def test_threads_show_replies_below_what_they_reply_to(talk, kit):
    assert numbers(kit, "1", "--threads") == [1, 2, 5, 3, 4, 6]
    lines = kit("messages", "1", "--threads").text.splitlines()
    columns = [line.index(name) for line, name in zip(lines, ("Ann", "Bob", "Cy"))]
    assert columns == [columns[0], columns[0] + 2, columns[0] + 4]


def test_cycles_of_replies_end_and_no_message_is_left_out(site, kit):
    chance = random.Random(1)
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    for _ in range(300):
        base.add(is_reply=1, thread=chance.randrange(1, 301))
    site.put(base)
    assert sorted(numbers(kit, "1", "--threads")) == list(range(1, 301))


def test_one_message_is_read_with_its_msgid_and_text(talk, kit):
    text = kit("messages", "1", "--number", "1").text
    assert "2:250/1 0000001\n" in text and text.endswith("\n\nHello \\x1B[2J ä\nFrom here\n")
    one, = kit.json("messages", "1", "--number", "1")["messages"]
    assert one["text"] == "Hello \x1b[2J ä\nFrom here\n"
    assert [told["text"] for told in kit.json("messages", "1", "--text")["messages"]][3] == "Mine\n"


@pytest.mark.parametrize("arguments, found", [
    (("--search", "hELLO"), [1]),
    pytest.param(("--search", "grüß"), [1], marks=posix_only("arguments are UTF-8")),
    (("--search", "0000002"), [2]),
    (("--search", "bob"), [2]), (("--search", "nothing"), []), (("--unsent",), [4]), (("--from", "SYS"), [4]),
    (("--to", "ann"), [2]), (("--since", "2025-01-05"), [1, 3, 4, 5]), (("--since", "2025-01-06"), []),
    (("--since", "2024-01-01", "--from", "bob"), [2]),
])
def test_messages_are_found(talk, kit, arguments, found):
    assert numbers(kit, *arguments) == found
    assert numbers(kit, "1", *arguments) == found


@pytest.mark.parametrize("arguments", [
    ("9",), ("NOWHERE",), ("1", "--number", "7"), ("--number", "1"), ("--since", "tomorrow"),
    ("--export", "zip", "AWAY"), ("--export", "mbox", "MSG/x"), ("--export", "mbox", "AWAY"), ("--config", "none"),
    ("--mark-sent",), ("--before", "2025-01-05"), ("--apply",), ("--mark-sent", "--before", "x"),
])
def test_when_there_is_no_answer_the_reason_is_shown(talk, kit, arguments):
    talk.write("AWAY", "")
    before = talk.snapshot()
    assert kit("messages", *arguments, status=2).errors
    assert talk.snapshot() == before


def test_a_text_that_cannot_be_read_is_reported(site, kit):
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(b"x")
    base.ptr[0].where = 7
    site.put(base)
    assert "cannot be read" in kit("messages", "1", "--number", "1", status=1).text
    assert "1 message" in kit("messages", "--export", "json", "out.json", status=1).errors


def test_an_mbox_is_read_back_as_mail(talk, kit):
    assert kit("messages", "--export", "mbox", "out.mbox").text == "out.mbox: 5 messages\n"
    data = talk.read("out.mbox")
    assert b"\n>From here\n" in data and b"\x1b" not in data and b"\r" not in data
    box = mailbox.mbox(talk.path("out.mbox"), factory=lambda file: email.message_from_binary_file(
        file, policy=email.policy.default))
    first, answer, mine, deeper, last = box
    assert (first["Subject"], first["From"].addresses[0].display_name) == ("Grüße", "Ann\\x07")
    assert first["Date"].datetime.strftime("%Y-%m-%d %H:%M %a") == "2025-01-05 00:07 Sun"
    assert first.get_content() == "Hello \\x1B[2J ä\n>From here\n"
    assert (first["Message-ID"], first["X-MSGID"], first["In-Reply-To"], first["X-Origin"]) == (
        "<2%3A250/1%200000001@msgid.invalid>", "2:250/1 0000001", None, "250/10")
    assert answer["In-Reply-To"] == answer["References"] == first["Message-ID"]
    assert deeper["In-Reply-To"] == answer["Message-ID"]
    assert (mine["Message-ID"], mine["X-Area"], mine["X-Message-Number"]) == ("<1.4@base.invalid>", "FIDO", "4")
    assert last.get_content() == "x" * 1200 + "\n" and max(map(len, data.split(b"\n"))) <= 998
    assert (last["In-Reply-To"], last["Date"].datetime.year) == ("<1.99@base.invalid>", 1970)


@pytest.mark.parametrize("date", ["13/05/25 12:07am", "02/30/24 01:00am", "01/05/25 13:07pm", "01/05/25 11:60pm",
                                  "2025-13-01T00:00", "2025-01-01T24:00", "\x1b" * 17])
def test_an_invalid_date_does_no_harm(site, kit, date):
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(b"x", date=date)
    site.put(base)
    assert [one["date"] for one in kit.json("messages", "1")["messages"]] == [date]
    kit("messages", "--export", "mbox", "out.mbox")
    assert site.read("out.mbox").startswith(b"From unknown@base.invalid Thu Jan  1 00:00:00 1970\n")


def test_only_messages_that_a_scan_would_send_are_unsent(site, kit):
    site.conferences(echo("FIDO"), netmail(), Conference(name="Local"))
    for number in (1, 2, 3):
        base = MessageBase(number)
        base.add(sent=0)
        base.add(sent=0, deleted=1)
        site.put(base)
    assert [one["unsent"] for one in kit.json("messages")["conferences"]] == [1, 1, 0]
    assert [one["conference"] for one in kit.json("messages", "--unsent")["messages"]] == [1, 2]


def test_an_export_as_json_is_one_object_with_the_texts(talk, kit):
    kit("messages", "--export", "json", "out.json", "--from", "bob")
    one, = json.loads(talk.read("out.json"))["messages"]
    assert (one["number"], one["text"]) == (2, "Answer\n")
    kit("messages", "--export", "json", "out.json", status=2)
    kit("messages", "--export", "json", "out.json", "--force")
    assert len(json.loads(talk.read("out.json"))["messages"]) == 5


def test_a_missing_base_is_empty(site, kit):
    site.conferences(echo("FIDO"))
    assert kit("messages", "1").text == "" and kit.json("messages", "1") == {"messages": [], "unsettled": None}


def test_beside_a_run_the_answer_is_unsettled(talk, kit):
    talk.write("MSG/CVTOSS.BSY", "")
    assert kit("messages").text.endswith("\nUnsettled: a run is at work.\n")
    assert kit.json("messages")["unsettled"] == "a run is at work"


@pytest.fixture
def history(site):
    """Unsent messages of four dates in an echo and a local conference."""
    site.conferences(echo("FIDO"), Conference(name="Local"))
    for number in (1, 2):
        base = MessageBase(number)
        for date in ("12/31/99 11:59pm", "01/04/25 11:59pm", "01/05/25 12:00am", "no date"):
            base.add(b"x", sent=0, date=date)
        base.add(sent=0, deleted=1, date="12/31/99 11:59pm")
        site.put(base)
    return site


def sent(site, number):
    return [record.sent for record in read_message_base(site.path("MSG"), number).ptr]


OLD = ("messages", "--mark-sent", "--before", "2025-01-05")


def test_without_apply_old_messages_are_only_counted(history, kit):
    before = history.snapshot()
    assert kit.json(*OLD) == {"conferences": [{"number": 1, "messages": 2, "undated": 1}], "messages": 2,
                              "applied": False, "backup": None, "unsettled": None}
    assert kit(*OLD).text == ("conf 1: 2 messages\nconf 1: 1 message without a date, unsent as before\n"
                              "2 unsent messages of before 2025-01-05: --apply marks them sent.\n")
    assert kit.json(*OLD, "--apply", "2")["messages"] == 0
    assert history.snapshot() == before


def test_old_messages_are_marked_sent_and_the_marks_are_undone(history, kit):
    before = history.snapshot()
    backup = kit.json(*OLD, "--apply", "fido")["backup"]
    assert (sent(history, 1), sent(history, 2)) == ([1, 1, 0, 0, 0], [0] * 5)
    changed = {name for name, content in before.items() if history.snapshot()[name] != content}
    assert changed == {"MSG/CVMSG01.PTR"}
    assert kit.json(*OLD, "--apply")["backup"] is None
    kit("verify", "--undo", backup, status=None)
    assert sent(history, 1) == [0] * 5


def test_beside_a_run_nothing_is_marked(history, kit):
    history.write("MSG/CVTOSS.BSY", "")
    before = history.snapshot()
    assert "another run is at work" in kit(*OLD, "--apply", status=2).errors
    assert history.snapshot() == before


@posix_only("a pseudo-terminal")
def test_a_terminal_shows_the_progress(site, kit):
    site.conferences(echo("FIDO"), netmail())
    shown = kit.errors_on_terminal("messages", "--json")
    assert "\rmessages [" + "#" * 15 + "-" * 15 + "]  50%" in shown and shown.endswith(" \r")


@posix_only("a pseudo-terminal")
@pytest.mark.parametrize("no_color, colours", [("", 1), ("1", 0)])
def test_colours_are_for_terminals_that_want_them(talk, no_color, colours):
    terminal, theirs = pty.openpty()
    subprocess.run([KIT, "messages", "1"], cwd=talk.root, stdout=theirs, env={"NO_COLOR": no_color}, check=True)
    assert os.read(terminal, 4096).count(b"\x1b[33m [unsent]\x1b[0m") == colours

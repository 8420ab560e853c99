"""Names with control characters: unchanged in JSON, escaped in text, so that nothing controls a terminal."""

import pytest
from formats.packet import Packet, echomail
from formats.zip_bundle import Entry, bundle
from harness.target import posix_only

NAME = "a\x1b\x7f\x9b\u202eb.pkt"
IN_JSON = r"a\u001b\u007f\u009b\u202eb.pkt"
IN_TEXT = r"a\x1B\x7F\xC2\x9B\xE2\x80\xAEb.pkt"


@posix_only("control characters in a name")
@pytest.mark.parametrize("command", [
    ("packet", f"IN/{NAME}"), ("ledger",), ("status", "-v"), ("tidy", "--older", "0d"),
    ("tidy", "--rotate", "0M", "--log", f"LOGS/{NAME}"), ("verify",), ("rehearse", "toss"),
    ("messages", "--export", "mbox", f"LOGS/{NAME}.mbox", "--force")], ids=lambda command: command[0])
def test_names_are_unchanged_in_json_and_escaped_in_text(ready, kit, command):
    mail = ready.inbound(NAME, Packet([echomail("FIDO", "Hello", msgid="1")]))
    ready.write(f"IN/processed/{NAME}", mail[:-9])  # a copy that was begun
    ready.write(f"LOGS/{NAME}", b"[2020-01-01 00:00:00] x\n")
    told = kit(*command, "--json", status=None)
    assert told.json and IN_JSON in told.text and "\\x1B" not in told.text
    assert IN_TEXT in kit(*command, status=None).text


@posix_only("control characters in a name")
def test_names_of_what_is_made_are_unchanged_in_json(ready, kit):
    ready.inbound(NAME, bundle(Entry("b.pkt", Packet([echomail("FIDO", "Hello")]).pack())))
    assert kit.json("packet", f"IN/{NAME}", "--extract", "NEW")["extracted"][0]["path"] == f"IN/{NAME}"
    directories = ("--confdir", "CONF", "--msgdir", "MSG", "--inbound", "IN", "--outdir", "OUT")
    assert kit.json("setup", "--yes", "--config", NAME, *directories, status=None)["config"] == NAME

"""Mail cannot forge a log line: the five bytes that could do so are shown as "?", and stored unchanged."""

import os

from formats.conference_table import echo, netmail as post
from formats.message_base import body_lines
from formats.packet import Packet, echomail
from formats.text import reported
from formats.zip_bundle import DEFLATED, Entry, bundle
from harness.bundle_lines import NONE_HANDLED, RETAINING, inconsistent, not_inflated, unsupported
from harness.cases import Cases
from harness.compare import GONE, REFUSED, assert_changes, assert_run, head, moved, parsed, tail
from harness.scan import Scan, unaddressed
from harness.target import posix_only

FORGED = "a\bb\x1bc\x1ad\r\n[2026-11-22 00:00:00] e"
SHOWN = "a?b?c?d??[2026-11-22 00:00:00] e"
IN_A_LINE = "1:2/3 a\bb\x1bc\x1ad"


def test_the_five_bytes_and_no_others(site):
    every = "".join(chr(byte) for byte in range(1, 256))
    expected = "".join("?" if char in "\b\n\r\x1a\x1b" else char for char in every)
    assert reported(every) == expected
    assert reported(FORGED) == SHOWN
    cases = Cases(site)
    base = cases.conference()
    names = [every[at : at + 60] for at in range(0, 255, 60)]
    messages = [echomail("CASE1", "Hi", sender=name, to=name[::-1], subject=name * 2) for name in names]
    cases.packet("a.pkt", Packet(messages), *[base.store(message, body_lines("Hi")) for message in messages])
    cases.toss()


def test_names_subjects_msgids_and_replies_of_inbound_mail(site):
    cases = Cases(site)
    base = cases.conference()
    first = echomail("CASE1", "Hi", msgid=IN_A_LINE, sender=FORGED, to=FORGED, subject=FORGED)
    wrote = base.store(first, body_lines("Hi"), msgid=IN_A_LINE)
    assert f"From='{SHOWN}' To='{SHOWN}' Subj='{SHOWN}'" in wrote
    duplicate = f"  msg 2: duplicate (MSGID {reported(IN_A_LINE)} already seen in conf 1) -- SKIPPED"
    orphan = echomail("CASE1", "Hi", reply=IN_A_LINE + "?")
    not_found = (
        f"  msg 3: reply to MSGID {reported(IN_A_LINE)}?, but parent not found locally in conf 1"
        " -- storing as non-threaded (safe fallback)"
    )
    stored = base.store(orphan, body_lines("Hi"))
    cases.packet("a.pkt", Packet([first, first, orphan]), wrote, duplicate, not_found, stored)
    cases.toss()


def test_an_area_tag_that_is_refused(site):
    cases = Cases(site)
    cases.conference()
    tag = "B\b\x1b\x1aD"
    refusal = "ERROR: inbound AREA tag is empty, malformed, or too long: 'B???D'"
    cases.retained("a.pkt", Packet([echomail(tag, "Hi")]), refusal, REFUSED)
    cases.toss(status=1)


def test_names_of_bundle_entries(site):
    cases = Cases(site)
    cases.conference()
    empty = Packet()
    good = Entry(FORGED, empty.pack())
    assert f"ZIP entry: {SHOWN} (" in good.log_line()
    cases.file("good", bundle(good), good.log_line(), empty.log_line(), parsed(0), moved("good"))
    bad = [
        (Entry(FORGED, b"x", method=1), unsupported(1, SHOWN)),
        (Entry(FORGED, b"x", uncompressed=2), inconsistent(SHOWN)),
        (Entry(FORGED, b"", method=DEFLATED, data=b"\7"), not_inflated(SHOWN, -3, 0, 0)),
    ]
    lines = [line for entry, why in bad for line in (entry.log_line(), why)]
    cases.file("bad", bundle(*[entry for entry, _ in bad]), *lines, NONE_HANDLED, RETAINING)
    cases.toss(status=1)


@posix_only("no file name holds these bytes there")
def test_names_of_inbound_files(site):
    site.conferences(echo("FIDO"))
    data = site.inbound(FORGED, Packet())
    before = site.snapshot()
    lines = [*head(1), f"Found: {SHOWN}", Packet().log_line(), parsed(0), f"  moved to IN/processed/{SHOWN}", *tail(1)]
    assert_run(site.toss(), 0, lines)
    assert_changes(site, before, {"IN/processed/": None, f"IN/{FORGED}": GONE, f"IN/processed/{FORGED}": data})


@posix_only("no file name holds these bytes there")
def test_the_name_of_a_file_that_is_too_large_to_be_read(site):
    site.conferences(echo("FIDO"))
    site.inbound(FORGED, Packet())
    os.truncate(site.path(f"IN/{FORGED}"), 2**31)
    assert_run(site.toss(), 0, [*head(1), f"Could not read inbound file {SHOWN}; skipping", *tail(0)])


def test_names_and_subjects_of_local_messages(site):
    scan = Scan(site, echo("FIDO"), post())
    fields = {"sender": "a\bb\nc\rd\x1ae\x1bf", "subject": "1\b2\n3\r4\x1a5\x1b6", "sent": 0}
    shown = "From='a?b?c?d?e?f' To='a?b?c?d?e?f'"
    base = scan.base(1)
    scan.echomail(base, base.add(body_lines("Hi"), to=fields["sender"], **fields), b"Hi")
    assert shown in scan.lines[0] and "Subj='1?2?3?4?5?6'" in scan.lines[0]
    base = scan.base(2)
    to = fields["sender"] + "@1:2/3"
    record = base.add(body_lines("Hi"), to=to, netmail=1, **fields)
    scan.netmail(base, record, fields["sender"], "1:2/3", b"Hi")
    assert shown in scan.lines[1]
    astray = base.add(body_lines("Hi"), to=fields["sender"], netmail=1, **fields)
    scan.line(unaddressed(base, astray))
    assert "netmail To: 'a?b?c?d?e?f' has" in scan.lines[2]
    scan.run()

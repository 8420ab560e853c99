"""Which files have the line ends of the platform, and which have the same ones everywhere."""

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines
from formats.packet import Packet, echomail
from harness.scan import CONFIG, SERIAL_FILE
from harness.site import LOG, Site
from harness.target import WINDOWS
from harness.waiting import kill, start_waiting


def assert_platform_text(data: bytes) -> None:
    """Every line, including the last one, has the line end of the platform."""
    assert data.endswith(b"\n")
    assert data.count(b"\r") == data.count(b"\r\n") == (data.count(b"\n") if WINDOWS else 0)


def console(site: Site, mode: str) -> tuple[bytes, bytes]:
    """The standard output and the standard error of a run."""
    return site.start(mode).communicate(timeout=60)


def test_console_log_serial_file_and_list_of_bad_areas_are_text_of_the_platform(site):
    site.add_config(CONFIG)
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(body_lines("mail"), sent=0)
    site.put(base)
    site.inbound("a.pkt", Packet([echomail("NONE", "text"), echomail("FIDO", "text")]))
    shown = b"".join(out + errors for out, errors in (console(site, mode) for mode in ("-toss", "-scan", "-check")))
    assert shown.count(b"\n") > 20
    assert_platform_text(shown)
    assert site.read(LOG) == shown
    assert_platform_text(site.read("MSG/BADAREAS.LST"))
    assert site.read(SERIAL_FILE) == (b"1\r\n" if WINDOWS else b"1\n")


def test_usage_and_messages_of_the_start_up_are_text_of_the_platform(site):
    out, usage = site.start().communicate(timeout=60)
    assert (out, usage.count(b"\n")) == (b"", 5)
    assert_platform_text(usage)
    site.config("ADDRESS x\r\nNONSENSE\nMSGDIR\n")
    out, errors = console(site, "-toss")
    assert (out, errors.count(b"\n")) == (b"", 3)
    assert_platform_text(errors)


def test_the_line_of_the_lock_ends_in_lf_everywhere(ready):
    process = start_waiting(ready)
    lock = ready.read("MSG/CVTOSS.BSY")
    kill(process)
    assert lock.endswith(b"\n") and b"\r" not in lock


def test_sig_lines_of_a_toss_end_in_lf_and_those_of_a_scan_in_cr_lf_everywhere(site):
    site.add_config(CONFIG)
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(body_lines("mail"), sent=0)
    site.put(base)
    for name, msgid in (("a.pkt", "1:2/3 a"), ("b.pkt", "1:2/3 b")):
        site.inbound(name, Packet([echomail("FIDO", "text", msgid=msgid)]))
        assert site.toss().status == 0
        if name == "a.pkt":
            assert site.run("-scan").status == 0
    assert site.read("MSG/CVMSG01.SIG") == b"1:2/3 a\t2\n2:250/10 00000001\t1\r\n1:2/3 b\t3\n"


def test_text_in_records_and_saved_packets_is_never_translated(site):
    """A message with every kind of line end, stored; a damaged packet with the same text, saved and moved."""
    site.conferences(echo("FIDO"))
    text = b"AREA:FIDO\r" + b"a\nb\r\nc\n\rd\x1ae\r\r"
    whole = Packet([echomail("FIDO")])
    whole.messages[0].text = text
    damaged = whole.pack()[:-2] + b"\n\r"
    site.inbound("bad.pkt", damaged)
    assert site.toss().status == 0
    base = MessageBase(1)
    base.store(whole.messages[0], body_lines("a", "b", "c", "d\x1ae", ""))
    assert {name: site.read(f"MSG/{name}") for name in base.files()} == base.files()
    (saved,) = site.path("IN/badmsgs").iterdir()
    assert saved.read_bytes() == site.read("IN/processed/bad.pkt") == damaged


def test_a_configuration_may_have_either_line_end(site):
    site.conferences(echo("FIDO"))
    lines = ("INBOUND IN", "CONFDIR CONF", "MSGDIR MSG", "KEEPPROCESSED no", "SYSTEM Us", "")
    runs = []
    for end in ("\n", "\r\n", "\r\r\n"):
        site.config(end.join(lines))
        runs.append(site.toss())
        assert (runs[-1].stderr, runs[-1].status) == ("", 0)
    assert runs[0].lines == runs[1].lines == runs[2].lines

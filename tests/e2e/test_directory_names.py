"""The forms of directory names in a configuration: drives, whole paths, other machines, either separator."""

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import ALL_IDLE, KEPT, assert_run, moved, parsed, tail
from harness.compare import BANNER as TOSS_BANNER
from harness.scan import CONFIG, complete
from harness.site import Site
from harness.start_up import loaded
from harness.target import WINDOWS

DRIVES = ("Z:", "z:")
"""Wine's names for the root directory; elsewhere these are ordinary names, here links to the site."""


def whole(site: Site) -> str:
    return site.root.as_posix()


def on_drive(site: Site, drive: str) -> str:
    return drive + (whole(site) if WINDOWS else "")


FORMS = {
    "a drive and a whole path": lambda site: on_drive(site, "Z:"),
    "a small letter": lambda site: on_drive(site, "z:"),
    "a drive and a path from where it stands": lambda site: "Z:." if WINDOWS else "Z:/.",
    "backslashes": lambda site: on_drive(site, "Z:").replace("/", "\\") + "\\.",
    "a whole path without a drive": whole,
    "separators at the end": lambda site: f"{whole(site)}//",
    "a way there and back": lambda site: "IN/../CONF\\..",
}


@pytest.mark.parametrize("form", FORMS)
def test_a_toss_and_a_scan_find_their_directories_and_name_them_as_configured(site, form):
    root = FORMS[form](site)
    if not WINDOWS:
        for drive in DRIVES:
            site.path(drive).symlink_to(".")
    inbound, conf, msg, out, done = (f"{root}/{name}" for name in ("IN", "CONF", "MSG", "OUT", "DONE"))
    config = f"INBOUND {inbound}\nCONFDIR {conf}\nMSGDIR {msg}\nOUTDIR {out}\nPROCESSEDDIR {done}\n"
    site.config(config + CONFIG)
    inbound, conf, msg, out, done = (name.replace("/", "\\") for name in (inbound, conf, msg, out, done))
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(body_lines("mail"), sent=0)
    site.put(base)
    packet = Packet([echomail("FIDO", "text")])
    data = site.inbound("a.pkt", packet)

    wrote = base.store(packet.messages[0], body_lines("text"))
    directories = f"Inbound dir: {inbound}   Config dir: {conf}   Work dir: {conf}\\WORK   Message dir: {msg}"
    lines = ["Found: a.pkt", packet.log_line(), wrote, parsed(1), moved("a.pkt", done), *tail(1)]
    assert_run(site.toss(), 0, [TOSS_BANNER, directories, KEPT, loaded(1), ALL_IDLE, *lines])
    assert site.read("DONE/a.pkt") == data
    assert {f"MSG/{path.name}": path.read_bytes() for path in site.path("MSG").iterdir()} == message_files(base)

    scan = site.run("-scan")
    assert (scan.status, scan.lines[-1]) == (0, complete(1))
    (published,) = site.path("OUT").iterdir()
    assert scan.lines[-2].startswith(f"Published complete bundle: {out}/{published.name}  (")
    assert site.run("-check").status == 0


def test_names_of_another_machine_are_kept_as_they_are_and_lead_nowhere(ready):
    """On Windows a name with two slashes in front is on another machine."""
    ready.config("INBOUND //nobody/in\nCONFDIR \\\\nobody\\conf\nMSGDIR MSG\n")
    run = ready.run("-check")
    assert run.lines[1:4] == [
        "Config dir: \\\\nobody\\conf   Work dir: \\\\nobody\\conf\\WORK   Message dir: MSG",
        "ERROR: CONFDIR does not exist or is not a directory: \\\\nobody\\conf",
        "ERROR: WORKDIR does not exist or is not a directory: \\\\nobody\\conf\\WORK",
    ]
    assert run.lines[4] == "ERROR: INBOUND does not exist or is not a directory: \\\\nobody\\in"
    assert run.status == 1

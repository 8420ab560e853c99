"""Long names: inbound files with 255 bytes, and directories of the greatest length that can be configured."""

import pytest

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from formats.zip_bundle import Entry, bundle
from harness.compare import GONE, assert_changes, assert_run, head, moved, parsed, saved, tail
from harness.scan import complete
from harness.site import Site
from harness.target import WINDOWS, posix_only

LONGEST_NAME = 255
MOVED_EVERYWHERE = 259 - len("IN/processed/")
LONGEST_DIRECTORY = 255
PACKET = Packet([echomail("FIDO", "text")])
whole_paths = posix_only("Windows takes no path of that length")


def directory_of(length: int, letter: str) -> str:
    """A relative path with that many characters, in parts that every file system accepts."""
    parts = [letter * 99] * (length // 100)
    path = "/".join([*parts, letter * (length - 100 * len(parts))])
    assert len(path) == length
    return path


@pytest.mark.parametrize("length", [MOVED_EVERYWHERE, LONGEST_NAME - 1, LONGEST_NAME])
def test_a_file_with_the_longest_name_is_tossed_and_moved_or_stays(site, length):
    """Windows moves nothing to a path of more than 259 characters."""
    site.conferences(echo("FIDO"))
    name = "n" * (length - 4) + ".pkt"
    data = site.inbound(name, PACKET)
    before = site.snapshot()
    base = MessageBase(1)
    wrote = base.store(PACKET.messages[0], body_lines("text"))
    lines = [*head(1), f"Found: {name}", PACKET.log_line(), wrote, parsed(1)]
    changes: dict[str, object] = {"IN/processed/": None, **message_files(base)}
    if WINDOWS and length > MOVED_EVERYWHERE:
        stays = f"  ERROR: processed but could not move to IN/processed/{name}; source remains inbound"
        assert_run(site.toss(), 1, [*lines, stays, *tail(0)])
    else:
        assert_run(site.toss(), 0, [*lines, moved(name), *tail(1)])
        changes |= {f"IN/{name}": GONE, f"IN/processed/{name}": data}
    assert_changes(site, before, changes)


def test_a_bundle_with_the_longest_name_is_tossed_and_deleted(site):
    site.add_config("KEEPPROCESSED no\n")
    site.conferences(echo("FIDO"))
    name = "z" * LONGEST_NAME
    site.inbound(name, bundle(Entry("a.pkt", PACKET.pack())))
    run = site.toss()
    assert run.lines[5] == f"Found: {name}"
    assert run.lines[-2:] == ["  deleted (KEEPPROCESSED no)", *tail(1)]
    assert not site.path(f"IN/{name}").exists()


def lay_long(site: Site, inbound: str) -> None:
    site.path(inbound).mkdir(parents=True)
    site.conferences(echo("FIDO"))


@whole_paths
@pytest.mark.parametrize("length", [LONGEST_DIRECTORY - 1, LONGEST_DIRECTORY])
def test_the_longest_inbound_and_processed_directories_take_files_of_the_longest_name(site, length):
    inbound, processed, name = directory_of(length, "i"), directory_of(length, "p"), "n" * LONGEST_NAME
    lay_long(site, inbound)
    site.config(f"INBOUND {inbound}\nCONFDIR CONF\nMSGDIR MSG\nPROCESSEDDIR {processed}\n")
    site.path(processed).mkdir(parents=True)
    site.write(f"{inbound}/{name}", PACKET.pack())
    run = site.toss()
    assert run.lines[-2:] == [moved(name, processed.replace("/", "\\")), *tail(1)]
    assert run.status == 0
    assert site.read(f"{processed}/{name}") == PACKET.pack()


@whole_paths
def test_a_bad_packet_is_saved_below_the_longest_inbound_directory(site):
    inbound = directory_of(LONGEST_DIRECTORY, "i")
    lay_long(site, inbound)
    site.config(f"INBOUND {inbound}\nCONFDIR CONF\nMSGDIR MSG\n")
    data = PACKET.pack()[:-3]
    site.write(f"{inbound}/bad.pkt", data)
    run = site.toss()
    shown = inbound.replace("/", "\\")
    line = saved("truncated message text").replace("IN/", f"{shown}/")
    assert run.lines[-3:-1] == [line, moved("bad.pkt", f"{shown}/processed")]
    assert [path.read_bytes() for path in site.path(f"{inbound}/badmsgs").iterdir()] == [data]


@whole_paths
def test_a_scan_publishes_in_the_longest_outbound_directory(site):
    out = directory_of(LONGEST_DIRECTORY, "o")
    site.path(out).mkdir(parents=True)
    site.config(f"CONFDIR CONF\nMSGDIR MSG\nOUTDIR {out}\nADDRESS 2:250/10\nHUB 2:250/1\nSYSTEM Us\n")
    site.conferences(echo("FIDO"))
    base = MessageBase(1)
    base.add(b"x", sent=0)
    site.put(base)
    run = site.run("-scan")
    assert (run.status, run.lines[-1]) == (0, complete(1))
    (published,) = site.path(out).iterdir()
    assert run.lines[-2].startswith("Published complete bundle: " + out.replace("/", "\\") + f"/{published.name}  (")


def test_a_directory_that_is_too_long_by_one_is_refused(site):
    site.config(f"INBOUND {directory_of(LONGEST_DIRECTORY + 1, 'i')}\nCONFDIR CONF\nMSGDIR MSG\n")
    run = site.toss()
    assert run.stderr == "Config directive INBOUND is too long (maximum 255 characters)\n"
    assert (run.lines, run.status) == ([], 1)

"""Line feeds, carriage returns and DOS end marks in binary records: a scan reads and writes them unchanged."""

import time
import zlib
from datetime import datetime

import pytest

from formats.conference_table import echo, netmail
from formats.message_base import DAT_SIZE, DAT_TEXT, MessageBase, body_lines, name_crc
from formats.packet import Packet, echomail, read_packet
from formats.published_bundle import entry_name, published_bundle, stored_packet
from formats.text import shown
from harness.one_packet import OnePacket
from harness.scan import SERIAL_FILE, Scan, echomail_text, serial_text

BYTES = (0x0A, 0x0D, 0x1A)
VALUES = (*BYTES, 2570, 2573, 3338, 6682)
"""The bytes alone, then pairs of them: 0A 0A, 0A 0D, 0D 0A, 1A 1A."""


def test_numbers_places_counts_and_lengths_of_those_bytes_are_read_as_they_are(site):
    """In conferences 10, 13 and 26 and all before them."""
    scan = Scan(site, *(echo(f"AREA{number}") for number in range(1, 27)))
    for base in scan.bases:
        value = VALUES[base.conference % len(VALUES)]
        base.dat = b"\n\r\x1a\n" * (value * DAT_SIZE // 4)
        base.add_sig("\x1a parent", value, b"\r\n")
        lines = [b"\x1a" * (DAT_TEXT - 1)] * value
        long = base.add(body_lines(*lines), number=value, sent=0)
        assert (long.number, long.where, long.records) == (value, value, value)
        scan.echomail(base, long, b"\r".join(lines))
        for length in BYTES:
            text = b"\n\r\x1a" * length
            reply = base.add(text[: length - 1] + b"x", thread=value, is_reply=1, is_root=0, sent=0)
            scan.echomail(base, reply, text[: length - 1] + b"x", reply="\x1a parent")
    scan.run()


@pytest.mark.parametrize("value", VALUES)
def test_numbers_of_four_such_bytes_go_through_header_sig_file_and_commit(site, value):
    scan = Scan(site, echo("FIDO"), netmail())
    number = value << 16 | value
    for base in scan.bases:
        base.add(b"old", number=number)
        base.add_sig("1:2/3 old", number)
    ours, post = scan.bases
    fields = {"sent": 0, "is_reply": 1, "is_root": 0, "thread": number}
    scan.echomail(ours, ours.add(b"new", **fields), b"new", reply="1:2/3 old")
    scan.netmail(post, post.add(b"new", netmail=1, to="Bob@1:2/3", **fields), "Bob", "1:2/3", b"new", reply="1:2/3 old")
    scan.run()


@pytest.mark.parametrize("size", VALUES[3:])
def test_a_packet_whose_length_is_made_of_those_bytes_is_published_whole(site, size):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    others = {"sender": "Bo", "to": "Cy", "subject": "Tea"}
    empty = Packet([echomail("", **others)])
    empty.messages[0].text = echomail_text("FIDO", 1, b"")
    body = b"b" * (size - len(empty.pack()))
    scan.echomail(base, base.add(body, sent=0, **others), body)
    published = scan.run()
    assert len(published.packet) == size
    # Twice in the local header, twice in the central one.
    assert published.data.count(size.to_bytes(4, "little")) >= 4


def packed_address(numbers: tuple[int, int, int, int]) -> str:
    return "{}:{}/{}.{}".format(*numbers)


@pytest.mark.parametrize("turn", range(4))
def test_packet_and_messages_have_the_addresses(site, turn):
    """Zone, net, node and point of both systems, and the net and node of netmail."""
    ours = tuple(VALUES[(turn + place) % len(VALUES)] for place in range(4))
    hub = tuple(VALUES[(turn + place + 4) % len(VALUES)] for place in range(4))
    site.add_config(f"ADDRESS {packed_address(ours)}\nHUB {packed_address(hub)}\nSYSTEM Us\n")
    site.conferences(netmail())
    base = MessageBase(1)
    for value in VALUES:
        base.add(b"x", sent=0, netmail=1, to=f"Bo@1:{value}/{value}")
    site.put(base)
    before = int(time.time() - 0.05)
    assert site.run("-scan").status == 0
    (path,) = site.path("OUT").iterdir()
    data = path.read_bytes()
    read = read_packet(stored_packet(data))
    names = ("zone", "net", "node", "point")
    assert tuple(read.header[f"orig_{name}"] for name in names) == ours
    assert tuple(read.header[f"dest_{name}"] for name in names) == hub
    assert [(m.orig_net, m.orig_node) for m in read.messages] == [ours[1:3]] * len(VALUES)
    assert [(m.dest_net, m.dest_node) for m in read.messages] == [(value, value) for value in VALUES]
    seconds = range(before, int(time.time()) + 1)
    bundles = [published_bundle(entry_name(data), stored_packet(data), datetime.fromtimestamp(at)) for at in seconds]
    assert data in bundles


def name_with_checksum(wanted: bytes) -> str:
    """The first name whose checksum contains these bytes in a row."""
    number = 0
    while wanted not in zlib.crc32(b"Ann %d" % number).to_bytes(4, "little"):
        number += 1
    return f"Ann {number}"


def test_name_checksums_of_those_bytes_are_written_as_they_are(site):
    packet = OnePacket(site)
    base = packet.conference()
    for wanted in (b"\n", b"\r", b"\x1a", b"\r\n", b"\n\r", b"\x1a\n"):
        name = name_with_checksum(wanted)
        message = echomail(packet.tag(base), "text", sender=name, to=name)
        packet.add(message, base.store(message, body_lines("text")))
        assert base.idx[-1][:8] == name_crc(name).to_bytes(4, "little") * 2
    packet.toss()
    index = site.read("MSG/CVMSG01.IDX")
    assert len(index) == 6 * 16 and b"\r\n" in index


@pytest.mark.parametrize("serial", [*VALUES, 0x0A0D1A0A])
def test_serials_of_those_bytes_are_numbers_like_any_other(site, serial):
    scan = Scan(site, echo("FIDO"))
    site.write(SERIAL_FILE, serial_text(serial - 1))
    scan.serial = serial - 1
    base = scan.base()
    scan.echomail(base, base.add(b"x", sent=0), b"x")
    scan.run()
    assert shown(site.read("MSG/CVMSG01.SIG")) == f"2:250/10 {serial:08x}\t1\r\n"

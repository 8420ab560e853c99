"""One packet with one message, from the inbound directory to the message base."""

from formats.conference_table import echo
from formats.message_base import MessageBase, body_lines, message_files
from formats.packet import Packet, echomail
from harness.compare import GONE, assert_changes, assert_run, head, moved, parsed, tail


def test_a_packet_is_tossed_and_moved(site):
    site.conferences(echo("FIDO"))
    message = echomail("fido", "Hello", msgid="1:2/3 abc")
    packet = Packet([message])
    data = site.inbound("a.pkt", packet)
    before = site.snapshot()
    base = MessageBase(1)
    wrote = base.store(message, body_lines("Hello"), msgid="1:2/3 abc")

    run = site.toss()

    assert_run(run, 0, [*head(1), "Found: a.pkt", packet.log_line(), wrote, parsed(1), moved("a.pkt"), *tail(1)])
    changes = {"IN/a.pkt": GONE, "IN/processed/": None, "IN/processed/a.pkt": data, **message_files(base)}
    assert_changes(site, before, changes)


def test_the_stored_bytes_are_those_of_the_layout(site):
    """The same with the header record written out, as a test of the builders' layout."""
    site.conferences(echo("FIDO"))
    site.inbound("a.pkt", Packet([echomail("FIDO", "Hi", sender="123456789", to="a", subject="S", attribute=1)]))

    assert site.toss().status == 0

    ptr = bytearray(256)
    ptr[0:17] = b"\x10" + b"01/05/25 12:07am"
    ptr[18:28] = b"\x09123456789"
    ptr[49:51] = b"\x01a"
    ptr[80:82] = b"\x01a"
    ptr[111:113] = b"\x01S"
    ptr[153] = 1  # MsgSent
    ptr[156] = 1  # IsRoot
    ptr[157] = 1  # Private
    ptr[159] = 1
    ptr[162] = 1  # Records
    ptr[164] = 1  # ConfNumber
    ptr[166] = 1  # MsgNumber
    ptr[170] = 1  # ThreadRef
    ptr[215:221] = b"\x0522/11"
    assert site.read("MSG/CVMSG01.PTR") == bytes(ptr)
    assert site.read("MSG/CVMSG01.DAT") == b"\x03Hi\x01" + bytes(124)
    # The published CRC-32 check values of "123456789" and of "a".
    assert site.read("MSG/CVMSG01.IDX") == bytes.fromhex("2639f4cb 43beb7e8 01000000 01000000")
    assert not site.path("MSG/CVMSG01.SIG").exists()

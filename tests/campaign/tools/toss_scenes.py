"""The scenes of the tosses that are killed."""

from pathlib import Path

from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase
from formats.packet import PackedMessage, Packet
from formats.zip_bundle import DEFLATED, STORED, Entry, bundle
from tools.kills import NO_RENAME
from tools.toss_scene import TossScene, echo_mail, net_mail

FIDO = echo("FIDO")
TECH = echo("TECH")
NETMAIL = netmail_conference()


def packet(messages: list[PackedMessage]) -> bytes:
    return Packet(messages).pack()


def cut_packet(messages: list[PackedMessage]) -> bytes:
    """A packet that is cut within the head of the message after these."""
    return Packet(messages, closing=b"\x02\x00\x01").pack()


def packets_in_a_bundle(messages: list[PackedMessage]) -> bytes:
    methods = (STORED, DEFLATED)
    return bundle(*[Entry(f"{n}.pkt", packet([m]), method=methods[n % 2]) for n, m in enumerate(messages)])


def earlier_mail(base: MessageBase) -> None:
    """Three messages, one of them deleted, one of them ours and unsent."""
    base.add(b"first\x01", sender="Bob")
    base.add(b"second\x01" * 40, deleted=1)
    base.add(b"third\x01", sent=0)
    base.add_sig("1:2/3 first", 1)


def short_index(base: MessageBase) -> None:
    """The BBS has left out an index entry."""
    base.add(b"first\x01")
    base.add(b"second\x01", index=False)
    base.add_sig("1:2/3 first", 1)


def stored_in_part(base: MessageBase) -> None:
    """An earlier toss of this source has stored its first message and then failed."""
    if base.conference == 1:
        TWO[0].store(base)


TWO = [echo_mail(1, "FIDO", "one", "1:2/3 a"), echo_mail(1, "FIDO", "two", "1:2/3 b")]
THREE = [
    echo_mail(1, "FIDO", "one", "1:2/3 a"),
    echo_mail(2, "TECH", "two", "1:2/3 b"),
    net_mail(3, "three", "1:2/3 c"),
]
WITHOUT_MSGIDS = [echo_mail(1, "FIDO", "one"), net_mail(2, "two")]
LONG_TEXT = [echo_mail(1, "FIDO", "long " * 16, "1:2/3 a", times=80)]
PARKED = [echo_mail(1, "NOWHERE", "one", "1:2/3 a", unknown=True), echo_mail(1, "NOWHERE", "two", unknown=True)]


def scenes(elsewhere: Path | None) -> list[TossScene]:
    ours = [
        TossScene("a new conference", [FIDO], TWO, packet),
        TossScene("existing conferences", [FIDO, TECH, NETMAIL], THREE, packet, earlier_mail),
        TossScene("without MSGIDs", [FIDO, NETMAIL], WITHOUT_MSGIDS, packet, earlier_mail),
        TossScene("a text of many records", [FIDO], LONG_TEXT, packet, earlier_mail),
        TossScene("a bundle of three packets", [FIDO, TECH, NETMAIL], THREE, packets_in_a_bundle, packets=True),
        TossScene("a packet with a structural fault", [FIDO], TWO, cut_packet, earlier_mail, fault=True),
        TossScene("sources deleted", [FIDO], TWO, packet, earlier_mail, kept=False),
        TossScene("an older processed file", [FIDO], TWO, packet, earlier_mail, older=True),
        TossScene("an index shorter than the headers", [FIDO], TWO, packet, short_index),
        TossScene("unknown areas", [echo("*")], PARKED, packet, earlier_mail),
        TossScene("moved by a link", [FIDO], TWO, packet, earlier_mail, options=NO_RENAME, linked=True),
        TossScene("a retained packet tossed again", [FIDO], TWO, packet, stored_in_part, stored_before=1),
    ]
    if elsewhere:
        ours.append(TossScene("processed on another disk", [FIDO], TWO, packet, earlier_mail, elsewhere=elsewhere))
    return ours

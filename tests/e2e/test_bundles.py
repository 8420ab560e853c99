"""The published bundle: packet header, sizes, ZIP structure, names, and failures to publish it."""

import io
import shutil
import struct
import subprocess
import time
import zipfile
from datetime import datetime

import pytest

from formats.conference_table import echo, netmail
from harness.compare import GONE
from harness.limits import file_size, permissions_count
from harness.scan import SERIAL_FILE, WEEKDAYS, Scan, serial_text
from harness.target import posix_only

UNSENT = {"sent": 0}
SEQUENCE = "0123456789abcdefghijklmnopqrstuvwxyz"
NO_PACKET = "ERROR: could not write temp packet file MSG/CVOUTBOUND.PKT"
NO_BUNDLE = "ERROR: could not write temporary bundle OUT/#0.tmp"
NOT_PUBLISHED = "ERROR: could not atomically publish bundle OUT/#9"


def one_message(site, body: bytes = b"x") -> Scan:
    """A scan that must export one message."""
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    scan.echomail(base, base.add(body, **UNSENT), body)
    return scan


def candidates(sequence: str) -> list[str]:
    """The bundle names with these sequence characters for the next half minute."""
    now = int(time.time() - 0.05)  # a clock of whole seconds steps a little behind this one
    names = []
    for second in range(now, now + 30):
        weekday = WEEKDAYS[datetime.fromtimestamp(second).weekday()]
        names += [f"OUT/{second:08x}.{weekday}{character}" for character in sequence]
    return names


def test_the_packet_header_is_addressed_to_the_hub_as_one_of_type_2_plus(site):
    packet = one_message(site).run().packet
    assert packet[:4] == bytes.fromhex("0a00 1400")
    # The time is between them.
    assert packet[16:58] == bytes.fromhex(
        "0000 0200 fa00 fb00 00 00 0000000000000000 0200 0300 0000 0001 00 00 0100 0200 0300 0300 0400 00000000"
    )


def test_a_netmail_packet_is_addressed_to_the_hub_and_its_message_to_its_own_destination(site):
    scan = Scan(site, netmail())
    base = scan.base()
    scan.netmail(base, base.add(b"x", sent=0, netmail=1, private=1, to="Bob@9:8/7.6"), "Bob", "9:8/7", b"x")
    packet = scan.run().packet
    assert packet[2:4] + packet[22:24] == bytes.fromhex("1400 fb00")
    assert packet[58:72] == bytes.fromhex("0200 0a00 0700 fa00 0800 0100 0000")


def test_an_echomail_message_is_addressed_to_the_hub(site):
    packet = one_message(site).run().packet
    assert packet[58:72] == bytes.fromhex("0200 0a00 1400 fa00 fb00 0000 0000")


def test_the_password_fills_its_eight_bytes_and_the_rest_is_zero(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    passwords = {
        b"p": b"p\0\0\0\0\0\0\0",
        b"seven77": b"seven77\0",
        b"eight888": b"eight888",
        b"a; %s\xe9": b"a; %s\xe9\0\0",
    }
    for password, field in passwords.items():
        scan.set_password(password)
        scan.echomail(base, base.add(b"x", **UNSENT), b"x")
        assert scan.run().packet[26:34] == field


def test_packet_and_bundle_have_the_sizes_that_their_texts_make(site):
    """Of each packed message 14 bytes of numbers, 20 of date, three names with a NUL each, the text with a NUL."""
    for count in (1, 2, 7):
        scan = Scan(site, echo("FIDO"))
        base = scan.base()
        for index in range(count):
            names = {"sender": "S" * index, "to": "T" * 2 * index, "subject": "U" * 3 * index}
            scan.echomail(base, base.add(b"x" * index, **UNSENT, **names), b"x" * index)
        texts = sum(len(message.text) for message in scan.messages)
        published = scan.run()
        size = 58 + count * (14 + 20 + 3 + 1) + 6 * sum(range(count)) + texts + 2
        assert len(published.packet) == size
        assert len(published.data) == 30 + 12 + size + 46 + 12 + 22
        for path in site.path("MSG").iterdir():
            path.unlink()


def test_the_directory_of_the_bundle_follows_the_packet(site):
    published = one_message(site, b"x" * 5000).run()
    data, size = published.data, len(published.packet)
    assert data[:4] == b"PK\x03\x04"
    assert data[42 + size : 46 + size] == b"PK\x01\x02"
    assert data[42 + size + 42 : 42 + size + 46] == bytes(4)  # the local header is at the start
    assert data[-22:-18] == b"PK\x05\x06"
    assert struct.unpack("<II", data[-10:-2]) == (46 + 12, 42 + size)


def test_zip_readers_accept_every_bundle(site):
    scan = Scan(site, echo("FIDO"), netmail())
    for size in (0, 1, 4096, 300_000):
        scan.echomail(scan.base(1), scan.base(1).add(b"x" * size, **UNSENT), b"x" * size)
        published = scan.run()
        with zipfile.ZipFile(io.BytesIO(published.data)) as bundle:
            assert bundle.testzip() is None
            (entry,) = bundle.infolist()
            assert entry.filename == published.entry
            assert entry.compress_type == zipfile.ZIP_STORED
            assert bundle.read(entry) == published.packet
        if shutil.which("unzip"):
            test = subprocess.run(["unzip", "-t", site.path(published.path)], capture_output=True, check=False)
            assert test.returncode == 0, test.stdout
            assert b"No errors detected" in test.stdout


def test_a_second_bundle_does_not_take_the_name_of_the_first(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    for _ in range(12):  # within one second or more
        scan.echomail(base, base.add(b"x", **UNSENT), b"x")
        scan.run()
    assert len(site.snapshot("OUT")) == 12


@pytest.mark.parametrize(("taken", "expected"), [("0", "1"), ("0123456789", "a"), (SEQUENCE[:-1], "z"), ("1z", "0")])
def test_the_first_sequence_character_that_is_free_is_taken(site, taken, expected):
    scan = one_message(site)
    for name in candidates(taken):
        site.write(name, "taken")
    assert scan.run().path[-1] == expected


def test_names_of_directories_are_taken_as_well(site):
    scan = one_message(site)
    for name in candidates("0"):
        site.path(name).mkdir()
    assert scan.run().path[-1] == "1"


def test_when_all_36_names_are_taken_nothing_is_replaced_published_marked_or_left_behind(site):
    scan = one_message(site)
    for name in candidates(SEQUENCE):
        site.write(name, "taken")
    scan.fail(NOT_PUBLISHED, changes={SERIAL_FILE: serial_text(1)})


def test_without_outdir_no_bundle_can_be_written_and_the_next_run_exports_everything(site):
    scan = one_message(site)
    site.path("OUT").rmdir()
    scan.fail(NO_BUNDLE, changes={SERIAL_FILE: serial_text(1)})
    site.write("OUT", "a file")
    base = scan.base()
    scan.echomail(base, base.ptr[0], b"x")
    scan.fail(NO_BUNDLE, changes={SERIAL_FILE: serial_text(2)})
    site.path("OUT").unlink()
    site.path("OUT").mkdir()
    scan.echomail(base, base.ptr[0], b"x")
    scan.run()


def test_a_left_over_packet_file_is_replaced_and_removed(site):
    scan = one_message(site)
    site.write("MSG/CVOUTBOUND.PKT", b"left over" * 1000)
    scan.run(changes={"MSG/CVOUTBOUND.PKT": GONE})


def test_a_directory_in_the_place_of_the_packet_file_ends_the_run(site):
    scan = one_message(site)
    site.path("MSG/CVOUTBOUND.PKT").mkdir(parents=True)
    scan.fail(NO_PACKET, changes={SERIAL_FILE: serial_text(1)})


@posix_only("a limit on the size of files")
def test_a_full_disk_leaves_neither_packet_nor_bundle_nor_a_message_marked_sent(site):
    scan = one_message(site, b"x" * 20_000)
    size = 58 + 14 + 20 + len("Ann Sender" + "All" + "Greetings") + 3 + len(scan.messages[0].text) + 1 + 2
    scan.fail(NO_PACKET, changes={SERIAL_FILE: serial_text(1)}, preexec_fn=file_size(size - 1))
    base = scan.base()
    # The packet fits, and all of the bundle but its last byte.
    scan.echomail(base, base.ptr[0], b"x" * 20_000)
    limit = file_size(size + 30 + 12 + 46 + 12 + 22 - 1)
    scan.fail(NO_BUNDLE, changes={SERIAL_FILE: serial_text(2)}, preexec_fn=limit)
    scan.echomail(base, base.ptr[0], b"x" * 20_000)
    assert len(scan.run(preexec_fn=file_size(size + 30 + 12 + 46 + 12 + 22)).packet) == size


@posix_only("permission bits")
def test_an_outdir_that_is_not_writable_ends_the_run(site):
    scan = one_message(site)
    site.path("OUT").chmod(0o555)
    scan.fail(NO_BUNDLE, changes={SERIAL_FILE: serial_text(1)}, preexec_fn=permissions_count)

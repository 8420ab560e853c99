"""The serial file cut at every length and with every bit flipped: the next number, or a run that ends before it."""

import re

import pytest

from formats.conference_table import echo
from harness.scan import NO_SERIAL, SERIAL_FILE, Scan, msgid, serial_text
from harness.shrinking import damages, some_under_wine
from harness.site import LOG

LARGEST = 2**32 - 1
SAMPLES = [b"4711\r\n", b"+90\n", b"  13\r\n26\r\n", b"4294967290\n", b"4294967295\r\n", b"-10\n", b"\r\n", b"0\x1a"]
NUMBER = re.compile(rb"[ \t\n\v\f\r]*([+-]?)([0-9]+)")


def next_serial(data: bytes) -> int | None:
    """The serial after the one in the file, or None when there is none to go on from."""
    match = NUMBER.match(data)
    if match:
        # Beyond 32 bits a number stays at the last; a sign turns it round within them.
        last = min(int(match[2]), LARGEST)
        if match[1] == b"-" and int(match[2]) <= LARGEST:
            last = -last & LARGEST
    elif data.strip(b" \t\n\v\f\r") == b"":
        last = 0
    else:
        return None
    return 1 if last == LARGEST else last + 1


def test_the_reading_of_the_samples():
    assert [next_serial(data) for data in SAMPLES] == [4712, 91, 14, 4294967291, 1, 4294967287, 1, 1]
    assert [next_serial(data) for data in (b"", b"x", b"-", b"4294967296", b"\x1a")] == [1, None, None, 1, None]


@pytest.mark.parametrize("sample", SAMPLES, ids=lambda sample: sample.decode().encode("unicode_escape").decode())
def test_a_damaged_serial_file_gives_the_number_that_it_then_holds_plus_1(site, sample):
    for name, data in some_under_wine(damages(sample), 12):
        scan = Scan(site, echo("FIDO"))
        base = scan.base()
        record = base.add(b"x", sent=0)
        site.write(SERIAL_FILE, data)
        site.path(LOG).unlink(missing_ok=True)
        for bundle in site.path("OUT").iterdir():
            bundle.unlink()
        for left in site.path("MSG").glob("*.SIG"):
            left.unlink()
        serial = next_serial(data)
        if serial is None:
            scan.fail(NO_SERIAL)
            continue
        scan.serial = serial - 1
        scan.echomail(base, record, b"x")
        scan.run()
        assert site.read("MSG/CVMSG01.SIG") == msgid(serial) + b"\t1\r\n", name
        assert site.read(SERIAL_FILE) == serial_text(serial), name

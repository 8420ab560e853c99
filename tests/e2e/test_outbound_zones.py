"""The offset from UTC in the TZUTC kludge, and local time in dates and names, east and west of Greenwich.

At any time, either the zone 13 hours east or the one 11 hours west has another date than UTC.
"""

import time

import pytest

from formats.conference_table import echo
from harness.scan import Scan, tzutc
from harness.target import posix_only

# The variable counts hours west of Greenwich.
ZONES = {
    "UTC0": b"+0000",
    "AAA-1": b"+0100",
    "AAA-5:30": b"+0530",
    "AAA-5:45": b"+0545",
    "AAA-13": b"+1300",
    "AAA-14": b"+1400",
    "AAA-23:59": b"+2359",
    "AAA+0:30": b"-0030",
    "AAA+3:30": b"-0330",
    "AAA+5": b"-0500",
    "AAA+11": b"-1100",
    "AAA+12": b"-1200",
    "AAA+23:59": b"-2359",
}


@pytest.fixture
def in_zone(monkeypatch):
    """Sets the time zone of the test and of the program that it starts."""

    def set_zone(zone: str) -> None:
        monkeypatch.setenv("TZ", zone)
        time.tzset()

    yield set_zone
    monkeypatch.undo()
    time.tzset()


def check_zone(site, offset: bytes) -> None:
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    assert tzutc() == offset
    scan.echomail(base, base.add(b"x", sent=0), b"x")
    scan.run()


@pytest.mark.parametrize("zone", ZONES)
def test_tzutc_is_the_offset_of_local_time_and_dates_are_local(site, in_zone, zone):
    in_zone(zone)
    check_zone(site, ZONES[zone])


@posix_only("on Windows the variable cannot say when summer begins")
def test_summer_time_counts(site, in_zone):
    in_zone("AAA+5BBB+4,0/0,J365/25")  # summer all the year
    check_zone(site, b"-0400")

"""The serial file: every MSGID gets a number that has never been used."""

import pytest

from formats.conference_table import echo, netmail
from harness.scan import NO_SERIAL, SERIAL_FILE, Scan, serial_text, unaddressed

UNSENT = {"sent": 0}


def test_without_serial_file_the_first_message_gets_1_and_the_file_holds_it(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    scan.echomail(base, base.add(b"x", **UNSENT), b"x")
    scan.run()
    assert site.read(SERIAL_FILE) == serial_text(1)


def test_serials_go_on_over_messages_conferences_and_runs_as_eight_hexadecimal_digits(site):
    scan = Scan(site, echo("ONE"), netmail())
    for first in (9, 254, 65535, 4294967290):
        site.write(SERIAL_FILE, serial_text(first))
        scan.serial = first
        for _ in range(3):
            scan.echomail(scan.base(1), scan.base(1).add(b"x", **UNSENT), b"x")
        letter = scan.base(2).add(b"x", sent=0, netmail=1, to="Bob@1:2/3")
        scan.netmail(scan.base(2), letter, "Bob", "1:2/3", b"x")
        scan.run()


NO_NUMBERS = [b"x", b"x41\n", b"-\n", b"- 1\n", b"\x00", b"\x0041", b"\xff\xfe", b" \n."]
TOO_LARGE = [b"4294967296\n", b"99999999999999999999\n", b"-4294967296\n"]


@pytest.mark.parametrize("content", NO_NUMBERS + TOO_LARGE)
def test_a_file_that_holds_no_number_of_32_bits_fails_the_run_and_stays_as_it_is(site, content):
    scan = Scan(site, echo("FIDO"))
    site.write(SERIAL_FILE, content)
    scan.base().add(b"x", **UNSENT)
    scan.fail(NO_SERIAL)


def test_a_directory_in_the_place_of_the_file_fails_the_run(site):
    scan = Scan(site, echo("FIDO"))
    site.path(SERIAL_FILE).mkdir(parents=True)
    scan.base().add(b"x", **UNSENT)
    scan.fail(NO_SERIAL)


def test_the_serial_file_is_not_touched_when_nothing_is_exported(site):
    scan = Scan(site, netmail())
    site.write(SERIAL_FILE, b"nonsense")
    base = scan.base()
    scan.line(unaddressed(base, base.add(b"x", sent=0, netmail=1, to="nobody")))
    assert scan.run() is None


def test_serials_of_a_failed_run_are_not_used_again(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    records = [base.add(b"x", **UNSENT) for _ in range(3)]
    site.path("OUT").rmdir()
    for record in records:
        scan.echomail(base, record, b"x")
    scan.fail("ERROR: could not write temporary bundle OUT/#0.tmp", changes={SERIAL_FILE: serial_text(3)})
    site.path("OUT").mkdir()
    for record in records:
        scan.echomail(base, record, b"x")
    scan.run()
    assert site.read(SERIAL_FILE) == serial_text(6)


def test_a_damaged_serial_file_ends_the_run_at_the_first_message_of_any_conference(site):
    scan = Scan(site, echo("ONE"), echo("TWO"))
    site.write(SERIAL_FILE, b"x")
    for number in (1, 2):
        scan.base(number).add(b"x", **UNSENT)
    scan.fail(NO_SERIAL)
    site.path(SERIAL_FILE).unlink()
    for number in (1, 2):
        scan.echomail(scan.base(number), scan.base(number).ptr[0], b"x")
    scan.run()

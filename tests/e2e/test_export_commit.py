"""Recording the export of each message, its SIG line and MsgSent byte, after the bundle is published."""

import pytest

from formats.conference_table import echo, netmail
from harness.limits import file_size, permissions_count
from harness.scan import NO_SERIAL, SERIAL_FILE, Scan
from harness.target import posix_only

UNSENT = {"sent": 0}
NOT_APPENDED = "ERROR: bundle exists, but could not append SIG for conf %d msg #%d; leaving it unsent for safe retry"
NOT_MARKED = (
    "ERROR: bundle exists, but could not mark conf %d msg #%d sent;"
    " its SIG append was rolled back and it remains safe to retry"
)


def export_all(scan: Scan) -> None:
    for base in scan.bases:
        for record in base.ptr:
            if not record.sent:
                scan.echomail(base, record, b"x")


def test_a_commit_adds_one_sig_line_and_changes_one_byte_of_the_header(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    base.add(b"x", sent=1, number=40)
    base.add(b"x", **UNSENT, number=41)
    before = base.files()["CVMSG01.PTR"]
    export_all(scan)
    scan.run()
    assert site.read("MSG/CVMSG01.SIG") == b"2:250/10 00000001\t41\r\n"
    after = site.read("MSG/CVMSG01.PTR")
    assert [at for at in range(512) if before[at] != after[at]] == [256 + 153]
    assert after[256 + 153] == 1


def test_three_messages_make_three_lines_behind_those_that_were_there(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    base.sig = b"1:2/3 old\t7\n"
    for number in (12, -3, 2147483647):
        base.add(b"x", **UNSENT, number=number)
    export_all(scan)
    scan.run()
    added = b"2:250/10 00000001\t12\r\n2:250/10 00000002\t-3\r\n2:250/10 00000003\t2147483647\r\n"
    assert site.read("MSG/CVMSG01.SIG") == b"1:2/3 old\t7\n" + added


def test_every_conference_has_a_sig_file_of_its_own_netmail_included(site):
    scan = Scan(site, echo("ONE"), netmail(), *[echo(f"AREA{number}") for number in range(3, 101)])
    scan.base(1).add(b"x", **UNSENT)
    scan.base(2).add(b"x", **UNSENT, netmail=1, to="Bob@1:2/3")
    scan.base(99).add(b"x", **UNSENT)
    scan.base(100).add(b"x", **UNSENT)
    for number in (1, 2, 99, 100):
        base = scan.base(number)
        if number == 2:
            scan.netmail(base, base.ptr[0], "Bob", "1:2/3", b"x")
        else:
            scan.echomail(base, base.ptr[0], b"x")
    scan.run()
    names = {path.name for path in site.path("MSG").glob("*.SIG")}
    assert names == {"CVMSG01.SIG", "CVMSG02.SIG", "CVMSG99.SIG", "CVMSG100.SIG"}


def test_a_sig_file_that_cannot_be_appended_to_keeps_its_conference_unsent_and_no_other(site):
    scan = Scan(site, echo("ONE"), echo("TWO"), echo("THREE"))
    for number in (1, 2, 3):
        for _ in range(2):
            scan.base(number).add(b"x", **UNSENT)
    site.path("MSG/CVMSG02.SIG").mkdir(parents=True)
    export_all(scan)
    for record in scan.base(2).ptr:
        scan.uncommitted(scan.base(2), record, NOT_APPENDED)
    scan.run()
    site.path("MSG/CVMSG02.SIG").rmdir()
    export_all(scan)
    assert len(scan.messages) == 2
    scan.run()


@posix_only("permission bits")
@pytest.mark.parametrize("sig", [None, b"1:2/3 " + b"m" * 109 + b"\t77\r\n"])
def test_a_ptr_file_that_is_not_writable_keeps_its_conference_unsent_with_its_sig_file_as_it_was(site, sig):
    """The SIG file, absent or of 120 bytes, is unchanged after the rollback."""
    scan = Scan(site, echo("ONE"), echo("TWO"))
    for number in (1, 2):
        for _ in range(3):
            scan.base(number).add(b"x", **UNSENT)
    scan.base(1).sig = sig
    assert sig is None or len(sig) == 120
    scan.put()
    site.path("MSG/CVMSG01.PTR").chmod(0o444)
    export_all(scan)
    for record in scan.base(1).ptr:
        scan.uncommitted(scan.base(1), record, NOT_MARKED)
    scan.run(preexec_fn=permissions_count)
    site.path("MSG/CVMSG01.PTR").chmod(0o644)
    export_all(scan)
    assert len(scan.messages) == 3
    scan.run()


@posix_only("a limit on the size of files")
def test_a_sig_file_on_a_full_disk_is_reported_and_what_was_written_of_the_line_stays(site):
    scan = Scan(site, echo("ONE"), echo("TWO"))
    full, other = scan.bases
    full.sig = b"1:2/3 old\t7\r\n" * 400
    full.add(b"x", **UNSENT)
    other.add(b"x", **UNSENT)
    export_all(scan)
    scan.uncommitted(full, full.ptr[0], NOT_APPENDED)
    scan.run(changes={"MSG/CVMSG01.SIG": full.sig + b"2:250/10 "}, preexec_fn=file_size(len(full.sig) + 9))


@posix_only("permission bits")
def test_a_serial_file_that_is_not_writable_ends_the_run(site):
    scan = Scan(site, echo("FIDO"))
    scan.base().add(b"x", **UNSENT)
    site.write(SERIAL_FILE, "41\n").chmod(0o444)
    scan.fail(NO_SERIAL, preexec_fn=permissions_count)

"""The scan from its first line to its last: which messages are exported, and in which order."""

from formats.conference_table import Conference, echo, netmail
from formats.message_base import body_lines, dat_records
from harness.compare import assert_run, assert_unchanged
from harness.scan import NOTHING, Scan, banner, head, unaddressed

UNSENT = {"sent": 0}
UNSENT_NETMAIL = {"sent": 0, "netmail": 1}


def test_one_message_is_exported_and_everything_else_stays_as_it_was(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    scan.echomail(base, base.add(body_lines("Hello"), **UNSENT), b"Hello")
    scan.run()
    scan.run()  # it is sent now


def test_a_message_is_exported_whether_or_not_it_is_private_and_only_when_neither_sent_nor_deleted(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    base.add(sent=1)
    open_one = base.add(sent=0, subject="open")
    base.add(sent=0, deleted=1)
    private = base.add(sent=0, private=1, subject="private")
    base.add(sent=1, deleted=1)
    base.add(sent=255)
    base.add(sent=0, deleted=255)
    odd = base.add(sent=0, private=2, subject="a private byte that is not 1")
    for record in (open_one, private, odd):
        scan.echomail(base, record)
    scan.run()


def test_neither_date_nor_names_nor_subject_keep_a_message_back(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    for fields in ({"date": ""}, {"sender": ""}, {"to": ""}, {"subject": ""}, {"number": -5}, {"is_root": 0}):
        scan.echomail(base, base.add(**UNSENT, **fields))
    scan.run()


def test_conferences_are_scanned_in_table_order_and_messages_in_file_order(site):
    scan = Scan(site, echo("ONE"), Conference(tag="LOCAL"), netmail(), echo("FOUR"), Conference())
    for number in (5, 4, 3, 2, 1):
        base = scan.base(number)
        base.add(**UNSENT, number=9, subject=f"first in {number}", to="Bob@1:2/3")
        base.add(**UNSENT, number=4, subject=f"second in {number}", to="Bob@1:2/3")
    for number in (1, 3, 4):
        for record in scan.base(number).ptr:
            scan.echomail(scan.base(number), record)
    scan.run()
    assert [record.sent for record in site.message_base(2).ptr] == [0, 0]  # neither routed nor for netmail


def test_a_message_is_netmail_by_its_own_flag_and_not_by_its_conference(site):
    scan = Scan(site, echo("FIDO"), netmail())
    routed, private = scan.base(1), scan.base(2)
    letter = routed.add(**UNSENT_NETMAIL, to="Bob@1:2/3")
    odd = routed.add(sent=0, netmail=128, to="Ann@1:2/4")
    post = private.add(**UNSENT, to="Bob@1:2/3")
    scan.netmail(routed, letter, "Bob", "1:2/3")
    scan.netmail(routed, odd, "Ann", "1:2/4")
    scan.echomail(private, post)  # under the conference's tag, which is empty
    scan.run()


def test_a_conference_without_ptr_file_contributes_nothing_and_has_no_line(site):
    scan = Scan(site, echo("ONE"), echo("TWO"), echo("THREE"))
    base = scan.base(3)
    scan.echomail(base, base.add(**UNSENT))
    scan.run()


def test_nothing_to_export_ends_well_and_writes_no_file(site):
    scan = Scan(site, echo("ONE"), netmail(), Conference(tag="LOCAL"))
    assert scan.run() is None  # no message base at all
    scan.base(1).add(sent=1)
    scan.base(2).add(sent=0, deleted=1)
    scan.base(3).add(sent=0)
    assert scan.run() is None


def test_the_name_before_the_last_at_sign_and_the_address_behind_it_address_netmail(site):
    scan = Scan(site, netmail())
    base = scan.base()
    cases = [
        ("Sysop@1:2/3", "Sysop", "1:2/3"),
        ("Sysop@1:2/3.4", "Sysop", "1:2/3"),
        ("a@b@1:2/3", "a@b", "1:2/3"),
        ("@1:2/3", "", "1:2/3"),
        ("Two Words @ 1:2/3", "Two Words ", "1:2/3"),
        ("Sysop@1:2/3.", "Sysop", "1:2/3"),
        ("Sysop@1:2/3.x", "Sysop", "1:2/3"),
        ("Sysop@1:2/3, Oslo", "Sysop", "1:2/3"),
        ("Sysop@01:002/0003", "Sysop", "1:2/3"),
        ("Sysop@+1:+2/+3", "Sysop", "1:2/3"),
        ("Sysop@1: 2/ 3", "Sysop", "1:2/3"),
        ("Sysop@0:0/0", "Sysop", "0:0/0"),
        ("Sysop@-1:-2/-3", "Sysop", "-1:-2/-3"),  # net and node keep their low 16 bits in the packet
        ("Sysop@1:65535/65535", "Sysop", "1:65535/65535"),
        ("Sysop@1:65536/70000", "Sysop", "1:65536/70000"),
        ("N" * 24 + "@1:2/3", "N" * 24, "1:2/3"),  # the whole field
        (b"J\x81rg@1:2/3", b"J\x81rg", "1:2/3"),
    ]
    for to, name, address in cases:
        scan.netmail(base, base.add(**UNSENT_NETMAIL, to=to), name, address)
    scan.run()


def test_netmail_without_a_usable_address_is_skipped_and_stays_unsent(site):
    scan = Scan(site, netmail())
    base = scan.base()
    unusable = ["", "Sysop", "1:2/3", "Sysop@1:2/3@", "Sysop@1:2/3@here", "%s%n@%d:%n"]
    for address in ("", "1:2", "1:2/", "1/2", ":2/3", "1:/3", "x:2/3", "1 :2/3", "1:2 /3", "1.2.3"):
        unusable.append(f"Sysop@{address}")
    first = base.add(**UNSENT_NETMAIL, to="First@1:2/3")
    skipped = [base.add(**UNSENT_NETMAIL, to=to) for to in unusable]
    last = base.add(**UNSENT_NETMAIL, to="Last@1:2/3")
    scan.netmail(base, first, "First", "1:2/3")
    for record in skipped:
        scan.line(unaddressed(base, record))
    scan.netmail(base, last, "Last", "1:2/3")
    scan.run()
    for record in skipped:  # they are found again
        scan.line(unaddressed(base, record))
    scan.run()


def test_netmail_is_addressed_before_its_body_is_read(site):
    scan = Scan(site, netmail())
    base = scan.base()
    record = base.add(**UNSENT_NETMAIL, to="nobody")
    scan.put()
    site.path("MSG/CVMSG01.DAT").write_bytes(b"")
    site.path("MSG/CVMSG01.PTR").write_bytes(base.ptr[0].pack())
    run = site.run("-scan")
    points_past = "ERROR: conference 1 message #1 points past DAT (Where=0, Records=1, DAT records=0)"
    aborted = "Aborting: one or more FTN conference message bases failed preflight"
    assert_run(run, 1, [*head(1), points_past, aborted])  # a body that is missing never gets past the preflight
    base.dat = dat_records(b"x")
    scan.line(unaddressed(base, record))
    scan.run()


def test_a_ptr_file_with_a_tail_shorter_than_a_record_fails_the_preflight(site):
    scan = Scan(site, echo("FIDO"))
    scan.base().add(**UNSENT)
    scan.put()
    path = site.path("MSG/CVMSG01.PTR")
    for tail in (1, 255):
        path.write_bytes(scan.base().ptr[0].pack() + b"\0" * tail)
        before = site.snapshot()
        run = site.run("-scan")
        unaligned = "ERROR: conference 1 has a non-record-aligned PTR, IDX, or DAT file"
        assert_run(run, 1, [*head(1), unaligned, "Aborting: one or more FTN conference message bases failed preflight"])
        assert_unchanged(site, before)


def test_all_conferences_are_preflighted_before_a_failure_ends_the_run(site):
    scan = Scan(site, echo("ONE"), echo("TWO"), Conference(tag="LOCAL"), netmail(), echo("FIVE"))
    scan.base(2).add(b"x", sent=0)
    scan.base(5).add(b"x", sent=0)
    for name in ("CVMSG01.PTR", "CVMSG03.PTR", "CVMSG04.IDX", "CVMSG05.DAT"):
        site.write(f"MSG/{name}", b"1")
    site.put(scan.base(2))
    site.path("MSG/CVMSG05.PTR").write_bytes(b"")
    before = site.snapshot()
    run = site.run("-scan")
    errors = [f"ERROR: conference {number} has a non-record-aligned PTR, IDX, or DAT file" for number in (1, 4)]
    last = "ERROR: conference 5 has a non-record-aligned PTR, IDX, or DAT file"
    aborted = "Aborting: one or more FTN conference message bases failed preflight"
    assert_run(run, 1, [*head(5), *errors, last, aborted])
    assert_unchanged(site, before)


def test_the_preflight_of_a_scan_does_not_mention_a_trailing_index(site):
    scan = Scan(site, echo("FIDO"))
    base = scan.base()
    scan.echomail(base, base.add(b"x", index=False, **UNSENT), b"x")
    scan.run()


def test_the_third_line_says_whether_there_is_a_packet_password(site):
    scan = Scan(site, echo("FIDO"))
    scan.set_password(b"secret")
    base = scan.base()
    assert scan.run() is None
    scan.echomail(base, base.add(b"x", **UNSENT), b"x")
    scan.run()


def test_a_fresh_lock_ends_the_run_and_stays(site):
    scan = Scan(site, echo("FIDO"))
    scan.base().add(b"x", **UNSENT)
    scan.put()
    site.write("MSG/CVTOSS.BSY", "cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=2\n")
    before = site.snapshot()
    running = "Aborting: another cvtoss32 -toss/-scan instance appears to be running (MSG/CVTOSS.BSY)"
    owner = "Lock owner: cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=2"
    assert_run(site.run("-scan"), 1, [*banner(), owner, running])
    assert_unchanged(site, before)


def test_a_conference_table_that_is_not_sound_ends_the_run_and_the_lock_goes(site):
    Scan(site, echo("FIDO"))
    invalid = "Aborting: conference configuration validation failed"
    site.conferences()
    before = site.snapshot()
    empty = "FATAL: CONF/CVMCONF.DAT contains no conference records"
    assert_run(site.run("-scan"), 1, [*banner(), empty, invalid])
    assert_unchanged(site, before)
    site.conferences(echo("FIDO"), echo("FIDO"))
    before = site.snapshot()
    twice = "ERROR: duplicate routed AREA tag 'FIDO' in conferences 1 and 2"
    assert_run(site.run("-scan"), 1, [*banner(), "Loaded 2 conference(s) from CVMCONF.DAT", twice, invalid])
    assert_unchanged(site, before)


def test_a_node_file_that_cannot_be_read_ends_the_run_and_the_lock_goes(site):
    Scan(site, echo("FIDO"))
    site.path("CONF/WORK/CVWHOSON.DAT").unlink()
    before = site.snapshot()
    missing = "ERROR: could not open CONF\\WORK/CVWHOSON.DAT to verify that all Corvane nodes are free"
    unsure = "Aborting: unable to verify that Corvane nodes are free"
    loaded = "Loaded 1 conference(s) from CVMCONF.DAT"
    assert_run(site.run("-scan"), 1, [*banner(), loaded, missing, unsure])
    assert_unchanged(site, before)


def test_forty_conferences_and_a_thousand_messages_make_one_bundle(site):
    conferences = 40
    scan = Scan(site, *[echo(f"AREA{number}") for number in range(1, conferences + 1)])
    for number in range(1, conferences + 1):
        for index in range(25):
            body = b"%d.%d" % (number, index)
            scan.echomail(scan.base(number), scan.base(number).add(body, **UNSENT), body)
    scan.run()


def test_head_lines_are_in_order_before_nothing_to_export(site):
    Scan(site, echo("FIDO"))
    assert_run(site.run("-scan"), 0, head(1) + NOTHING)

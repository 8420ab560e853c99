"""The check: every line, one issue for each thing that is wrong, and nothing changed but the log."""

import os
import time

import pytest

from formats.conference_table import Conference, echo, netmail
from formats.message_base import DAT_LIMIT
from formats.node_status import Node
from harness.compare import assert_run, assert_unchanged
from harness.run import Run
from harness.site import LOCK, Site
from harness.target import posix_only

BANNER = "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ==="
PASSED = "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ==="
IDLE = "Node status: 1 record(s), all idle"
MESSAGE_BASE_SIZES = "  conf %d message base: PTR=%d IDX=%d DAT=%d record(s) -- OK"


def directories(conf: str = "CONF", work: str = "CONF\\WORK", msg: str = "MSG") -> str:
    return f"Config dir: {conf}   Work dir: {work}   Message dir: {msg}"


HEAD = [BANNER, directories()]


def loaded(conferences: int) -> str:
    return f"Loaded {conferences} conference(s) from CVMCONF.DAT"


def listed(number: int, name: str, tag: str, route: str = "yes", post: str = "no", public: str = "no") -> str:
    return f"  conf {number}: '{name}'  AREA={tag}  route={route}  netmail={post}  public-only={public}"


def sizes(number: int, ptr: int = 0, idx: int = 0, dat: int = 0) -> str:
    return MESSAGE_BASE_SIZES % (number, ptr, idx, dat)


def failed(issues: int) -> str:
    return f"=== cvtoss32 -check FAILED: {issues} issue(s) require attention ==="


def no_directory(directive: str, path: str) -> str:
    return f"ERROR: {directive} does not exist or is not a directory: {path}"


def check(site: Site, *lines: str, head: list[str] | None = None, issues: int = 0) -> Run:
    """Runs a check that must find this many issues, log these lines and change nothing."""
    before = site.snapshot()
    run = site.run("-check")
    verdict = failed(issues) if issues else PASSED
    assert_run(run, 1 if issues else 0, [*(head or HEAD), *lines, verdict])
    assert_unchanged(site, before)
    return run


def sound(site: Site) -> list[str]:
    """One sound conference; the lines of its stage."""
    site.conferences(echo("FIDO"))
    return [loaded(1), listed(1, "Talk", "FIDO"), sizes(1)]


def test_everything_fine_passes(site):
    check(site, *sound(site), IDLE)


def test_addresses_and_system_name_are_shown_only_when_configured(site):
    stage = sound(site)
    site.add_config("ADDRESS 2:250/10.3\n")
    check(site, *stage, IDLE, "Local FTN address: 2:250/10.3")
    site.add_config("HUB 3:251/20\n")
    check(site, *stage, IDLE, "Hub FTN address: 3:251/20.0")
    site.add_config("SYSTEM %s of Oslo\n")
    check(site, *stage, IDLE, "Origin system name: %s of Oslo")
    site.add_config("SYSTEM x\nHUB -1:2/3\nADDRESS 0:0/0\n")
    shown = ["Local FTN address: 0:0/0.0", "Hub FTN address: -1:2/3.0", "Origin system name: x"]
    check(site, *stage, IDLE, *shown)


def test_each_bad_directory_is_an_issue_and_the_conference_stage_is_left_out(site):
    sound(site)
    missing = "CONFDIR no-conf\nWORKDIR no-work\nMSGDIR no-msg\nINBOUND no-in\nOUTDIR no/out\n"
    site.config(missing)
    nodes = "ERROR: could not open no-work/CVWHOSON.DAT to verify that all Corvane nodes are free"
    lines = [
        no_directory("CONFDIR", "no-conf"),
        no_directory("WORKDIR", "no-work"),
        no_directory("MSGDIR", "no-msg"),
        no_directory("INBOUND", "no-in"),
        no_directory("OUTDIR", "no\\out"),
        nodes,
    ]
    check(site, *lines, head=[BANNER, directories("no-conf", "no-work", "no-msg")], issues=6)


@pytest.mark.parametrize("directive", ["CONFDIR", "WORKDIR", "MSGDIR", "INBOUND", "OUTDIR"])
def test_a_file_in_the_place_of_a_directory_is_an_issue(site, directive):
    sound(site)
    site.write("file", "")
    site.write(LOCK, "owner\n")
    site.config(f"CONFDIR CONF\nWORKDIR CONF/WORK\nMSGDIR MSG\nINBOUND IN\nOUTDIR OUT\n{directive} file\n")
    places = {"CONFDIR": "CONF", "WORKDIR": "CONF\\WORK", "MSGDIR": "MSG"}
    head = [BANNER, directories(*[("file" if name == directive else place) for name, place in places.items()])]
    errors = [no_directory(directive, "file")]
    if directive != "MSGDIR":
        errors.append("ERROR: an CVTOSS.BSY lock already exists: owner")
    if directive == "WORKDIR":
        errors.append("ERROR: could not open file/CVWHOSON.DAT to verify that all Corvane nodes are free")
        check(site, *errors, head=head, issues=3)
    else:
        check(site, *errors, IDLE, head=head, issues=len(errors))


def test_a_missing_workdir_still_lets_lock_and_nodes_be_reported(site):
    sound(site)
    site.path("CONF/WORK/CVWHOSON.DAT").unlink()
    site.path("CONF/WORK").rmdir()
    site.write(LOCK, "cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=2\n")
    check(
        site,
        no_directory("WORKDIR", "CONF\\WORK"),
        "ERROR: an CVTOSS.BSY lock already exists: cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=2",
        "ERROR: could not open CONF\\WORK/CVWHOSON.DAT to verify that all Corvane nodes are free",
        issues=3,
    )


def test_inbound_and_outdir_are_not_checked_unless_configured(site):
    stage = sound(site)
    site.config("CONFDIR CONF\nMSGDIR MSG\n")
    site.path("IN").rmdir()
    site.path("OUT").rmdir()
    check(site, *stage, IDLE)


def test_a_conference_table_that_does_not_load_is_one_issue_and_nothing_is_preflighted(site):
    site.write("MSG/CVMSG01.PTR", "x")
    missing = "FATAL: could not open CONF/CVMCONF.DAT"
    check(site, missing, IDLE, issues=1)
    site.conferences()
    check(site, "FATAL: CONF/CVMCONF.DAT contains no conference records", IDLE, issues=1)
    site.write("CONF/CVMCONF.DAT", bytes(130))
    check(site, "FATAL: CONF/CVMCONF.DAT is not aligned to 128-byte MsgSystem records", IDLE, issues=1)


def test_the_listing_names_routed_and_netmail_conferences_and_all_of_them_are_preflighted(site):
    """Runs also write to a netmail conference that is not routed."""
    conferences = [echo("ONE", public=1), Conference(tag="LOCAL"), netmail("Post"), netmail("", public=1, tag="X")]
    conferences += [echo("*", name="")]
    site.conferences(*conferences)
    site.write("MSG/CVMSG02.PTR", "x")  # of no interest
    lines = [
        loaded(5),
        listed(1, "Talk", "ONE", public="yes"),
        listed(3, "Post", "(none)", "no", "yes"),
        listed(4, "(unnamed)", "X", "no", "yes", "yes"),
        listed(5, "(unnamed)", "*"),
        *[sizes(number) for number in (1, 3, 4, 5)],
    ]
    check(site, *lines, IDLE)
    site.write("MSG/CVMSG03.DAT", bytes(128))
    lines[-3] = "ERROR: conference 3 has IDX/DAT data but no PTR records"
    check(site, *lines, IDLE, issues=1)


def test_a_failed_validation_is_one_issue_however_much_it_finds(site):
    site.conferences(echo("A B"), echo(""), echo("SAME"), echo("SAME"))
    lines = [
        loaded(4),
        listed(1, "Talk", "A B"),
        "ERROR: routed conference 1 ('Talk') has an empty or malformed NetIDName/AREA tag",
        listed(2, "Talk", "(none)"),
        "ERROR: routed conference 2 ('Talk') has an empty or malformed NetIDName/AREA tag",
        listed(3, "Talk", "SAME"),
        listed(4, "Talk", "SAME"),
        "ERROR: duplicate routed AREA tag 'SAME' in conferences 3 and 4",
        *[sizes(number) for number in (1, 2, 3, 4)],
    ]
    check(site, *lines, IDLE, issues=1)


def test_preflights_that_fail_are_one_issue_together_and_one_more_beside_a_failed_validation(site):
    site.conferences(echo("ONE"), echo("TWO"), echo("THREE"), echo("FOUR"))
    unaligned = "ERROR: conference %d has a non-record-aligned PTR, IDX, or DAT file"
    for number, kind in ((1, "PTR"), (2, "IDX"), (3, "DAT")):
        site.write(f"MSG/CVMSG{number:02d}.{kind}", "x")
    found = [unaligned % number for number in (1, 2, 3)] + [sizes(4)]
    tags = ["ONE", "TWO", "THREE", "FOUR"]
    listing = [listed(index + 1, "Talk", tag) for index, tag in enumerate(tags)]
    check(site, loaded(4), *listing, *found, IDLE, issues=1)
    site.conferences(echo("ONE"), echo("TWO"), echo("THREE"), echo("ONE"))
    listing[3] = listed(4, "Talk", "ONE")
    twice = "ERROR: duplicate routed AREA tag 'ONE' in conferences 1 and 4"
    check(site, loaded(4), *listing, twice, *found, IDLE, issues=2)


def test_an_ambiguous_netmail_conference_is_an_issue_and_a_public_one_alone_is_none(site):
    site.conferences(netmail("A"), netmail("B"))
    listing = [loaded(2), listed(1, "A", "(none)", "no", "yes"), listed(2, "B", "(none)", "no", "yes")]
    several = (
        "ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0): 1, 2"
    )
    check(site, *listing, several, sizes(1), sizes(2), IDLE, issues=1)
    site.conferences(netmail("A", public=1))
    sole = (
        "WARNING: no conference has NetMailConf=1 with PublicMsgConf=0;"
        " using conference 1 as the sole NetMailConf conference"
    )
    check(site, loaded(1), listed(1, "A", "(none)", "no", "yes", "yes"), sole, sizes(1), IDLE)


def test_a_trailing_index_is_a_warning_and_no_issue(site):
    sound(site)
    base = site.message_base(1)
    for index in range(3):
        base.add(b"x", index=index == 0)
    site.put(base)
    warning = (
        "WARNING: conference 1 IDX trails PTR by 2 record(s);"
        " this can be a Corvane-native quirk, but should be monitored"
    )
    check(site, loaded(1), listed(1, "Talk", "FIDO"), warning, sizes(1, 3, 1, 3), IDLE)


CAPACITIES = [
    (52428, None, "", ""),
    (52429, "NOTICE", "80.0", "plan to pack this conference soon"),
    (58982, "NOTICE", "90.0", "plan to pack this conference soon"),
    (58983, "WARNING", "90.0", "packing is strongly recommended"),
    (62259, "WARNING", "95.0", "packing is strongly recommended"),
    (62260, "URGENT", "95.0", "pack this conference as soon as possible"),
    (65535, "URGENT", "100.0", "pack this conference as soon as possible"),
    (65536, "FULL", "100.0", "no further inbound message can be appended"),
]


def test_a_dat_file_four_fifths_full_or_more_is_noticed_and_no_issue(site):
    """Both sides of the boundary; the percentage is rounded half up to tenths."""
    site.conferences(*[echo(f"AREA{index}") for index in range(len(CAPACITIES))])
    lines = [loaded(len(CAPACITIES))]
    lines += [listed(index + 1, "Talk", f"AREA{index}") for index in range(len(CAPACITIES))]
    for index, (count, level, percent, advice) in enumerate(CAPACITIES):
        number = index + 1
        base = site.message_base(number)
        base.add(b"x")
        site.put(base)
        os.truncate(site.path(f"MSG/CVMSG{number:02d}.DAT"), count * 128)
        lines.append(sizes(number, 1, 1, count))
        if level:
            lines.append(f"  {level}: conf {number} DAT capacity is {count}/{DAT_LIMIT} records ({percent}%); {advice}")
            lines.append(
                "          Back up the message directory, then run CVPCKMSG"
                f" /CONF{number} to reclaim deleted/purged DAT records."
            )
    check(site, *lines, IDLE)


def test_a_dat_file_beyond_its_range_is_an_issue(site):
    sound(site)
    base = site.message_base(1)
    base.add(b"x")
    site.put(base)
    os.truncate(site.path("MSG/CVMSG01.DAT"), 65537 * 128)
    beyond = "ERROR: conference 1 DAT has 65537 records, beyond Corvane's 16-bit addressable range"
    check(site, loaded(1), listed(1, "Talk", "FIDO"), beyond, IDLE, issues=1)


@pytest.mark.parametrize(
    ("content", "shown"),
    [
        (b"", ""),
        (b"\r\n", ""),
        (b"\nsecond line\n", ""),
        (b"the owner\n", ": the owner"),
        (b"the owner\r\nmore\r\n", ": the owner"),
        (b"the owner", ": the owner"),
        (b"%s%n\n", ": %s%n"),
        (b"o" * 190 + b"\n", ": " + "o" * 190),
        (b"o" * 191 + b"\n", ": " + "o" * 191),
        (b"o" * 192 + b"\n", ": " + "o" * 191),
        (b"o" * 5000, ": " + "o" * 191),
    ],
)
def test_a_lock_is_an_issue_with_its_first_line(site, content, shown):
    stage = sound(site)
    site.write(LOCK, content)
    check(site, *stage, "ERROR: an CVTOSS.BSY lock already exists" + shown, IDLE, issues=1)


def test_a_lock_is_an_issue_whatever_its_age_and_is_not_removed(site):
    stage = sound(site)
    lock = site.write(LOCK, "old\n")
    for age in (0, 1799, 1800, 7200, 10_000_000):
        os.utime(lock, (time.time() - age,) * 2)
        check(site, *stage, "ERROR: an CVTOSS.BSY lock already exists: old", IDLE, issues=1)
        assert abs(time.time() - lock.stat().st_mtime - age) < 60


def test_a_directory_in_the_place_of_the_lock_is_an_issue_without_owner(site):
    stage = sound(site)
    site.path(LOCK).mkdir()
    check(site, *stage, "ERROR: an CVTOSS.BSY lock already exists", IDLE, issues=1)


@posix_only("links need a privilege on Windows")
@pytest.mark.parametrize("target", ["nowhere", "CVTOSS.BSY", "FILE/below"])
def test_a_link_to_nowhere_in_the_place_of_the_lock_is_an_issue_for_no_run_gets_past_it(site, target):
    stage = sound(site)
    site.write("MSG/FILE", "")
    site.path(LOCK).symlink_to(target)
    check(site, *stage, "ERROR: an CVTOSS.BSY lock already exists", IDLE, issues=1)
    assert site.toss().status == 1


def test_a_busy_node_is_an_issue_at_once_the_first_one_named_and_its_user_shown_signed(site):
    stage = sound(site)
    busy = "NOT SAFE TO TOSS/SCAN: node %d is occupied by UserNo %d (Mode=0x%02X)"
    for nodes, shown in (
        ([Node(5, 0x0A)], (1, 5, 0x0A)),
        ([Node(), Node(65534, 0xFF), Node(7, 1)], (2, -2, 0xFF)),
        ([Node(), Node(), Node(0, 0)], (3, 0, 0)),
        ([Node(32767, 1)], (1, 32767, 1)),
        ([Node(32768, 1)], (1, -32768, 1)),
    ):
        site.nodes(*nodes)
        check(site, *stage, busy % shown, issues=1)
    site.nodes(Node(), Node(), Node())
    check(site, *stage, "Node status: 3 record(s), all idle")


def test_a_node_file_that_cannot_be_judged_is_an_issue(site):
    stage = sound(site)
    invalid = "ERROR: CONF\\WORK/CVWHOSON.DAT has an invalid size or could not be read"
    for size in (0, 5, 13):
        site.write("CONF/WORK/CVWHOSON.DAT", b"\xff" * size)
        check(site, *stage, invalid, issues=1)


def test_every_kind_of_issue_is_counted(site):
    site.conferences(echo("SAME"), echo("SAME"))
    site.write("MSG/CVMSG02.PTR", "x")
    site.write(LOCK, "owner\n")
    site.nodes(Node(1, 1))
    check(
        site,
        loaded(2),
        listed(1, "Talk", "SAME"),
        listed(2, "Talk", "SAME"),
        "ERROR: duplicate routed AREA tag 'SAME' in conferences 1 and 2",
        sizes(1),
        "ERROR: conference 2 has a non-record-aligned PTR, IDX, or DAT file",
        "ERROR: an CVTOSS.BSY lock already exists: owner",
        "NOT SAFE TO TOSS/SCAN: node 1 is occupied by UserNo 1 (Mode=0x01)",
        issues=4,
    )


def test_unsent_mail_serial_file_and_inbound_packets_are_none_of_its_business(site):
    stage = sound(site)
    base = site.message_base(1)
    base.add(b"x", sent=0)
    site.put(base)
    site.write("MSG/CVOUTBOUND.SEQ", "nonsense")
    site.write("IN/file.pkt", b"x")
    stage[-1] = sizes(1, 1, 1, 1)
    check(site, *stage, IDLE)

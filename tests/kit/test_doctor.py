"""cvkit doctor: each finding in a site that shows it, and none in sites that almost do."""

import gzip
import os
import shutil
import subprocess
import time
from pathlib import Path

import pytest
from formats.conference_table import Conference, echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase
from formats.packet import Packet
from formats.zip_bundle import Entry, bundle
from harness.kit import changing
from harness.site import CONFIG, LOCK, Site
from harness.target import KIT, ROOT, posix_only
from harness.undeletable import undeletable

OUR, HUB = {"zone": 2, "net": 250, "node": 10, "point": 0}, {"zone": 3, "net": 251, "node": 20, "point": 0}
ADDRESSES = "ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM Ours\n"
NEW = time.strftime("%m/%d/%y 12:00am")
GUIDE = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")


def packet(orig: dict, dest: dict) -> Packet:
    return Packet(**{f"orig_{name}": value for name, value in orig.items()},
                  **{f"dest_{name}": value for name, value in dest.items()})


@pytest.fixture
def well(site) -> Site:
    """A site that is set up right."""
    site.conferences(echo("FIDO"), echo("*"), netmail_conference())
    site.add_config(ADDRESSES)
    site.put(base(3))
    site.inbound("mail.pkt", packet(HUB, OUR))
    site.inbound("mail.su0", bundle(Entry("1.pkt", packet(HUB, OUR).pack())))
    site.write("OUT/6917f02c.su0", bundle(Entry("1.pkt", packet(OUR, HUB).pack())))
    site.write("OUT/notes.txt", "not mail")
    return site


def base(messages: int, lines: int | None = None, conference: int = 1, **fields) -> MessageBase:
    """Messages from the network, the first ones of them with a SIG line."""
    made = MessageBase(conference, sig=b"")
    for number in range(1, messages + 1):
        made.add(b"text\x01", origin="251/20", **fields)
    for number in range(1, (messages if lines is None else lines) + 1):
        made.add_sig(f"1:2/3 {number}", number)
    return made


def configured(site: Site, **directives: str) -> None:
    site.add_config(ADDRESSES + "".join(f"{name} {value}\n" for name, value in directives.items()))


def found(kit, *arguments) -> list[tuple[str, str]]:
    answer = kit.json("doctor", *arguments, status=None)
    assert answer["ok"] == (answer["attention"] == [])
    for one in answer["attention"]:
        assert f"\n| `{one['code']}` | " in GUIDE and one["remedy"]
    return [(one["code"], one["text"].replace("\\", "/")) for one in answer["attention"]]


def byte_order_mark(site):
    site.config(b"\xef\xbb\xbf; a comment\n" + (CONFIG + ADDRESSES).encode())


def wide_characters(site):
    site.config(b"\xff\xfe" + (CONFIG + ADDRESSES).encode("utf-16-le"))


def quotes(site):
    configured(site, SYSTEM='"Ours"', PKTPW="'x'")


def one_inbound_and_outdir(site):
    site.path("OUT/6917f02c.su0").unlink()
    configured(site, OUTDIR="IN/../IN")


def processed_in_inbound(site):
    configured(site, PROCESSEDDIR="IN")


def base_in_confdir(site):
    site.config((CONFIG + ADDRESSES).replace("CONFDIR CONF", "CONFDIR MSG").replace("MSGDIR MSG", "MSGDIR CONF")
                + "WORKDIR CONF/WORK\n")
    site.write("MSG/CVMCONF.DAT", site.read("CONF/CVMCONF.DAT"))


def base_beside_the_list(site):
    for path in site.path("MSG").iterdir():
        path.rename(site.path("CONF") / path.name)
    configured(site, MSGDIR="CONF")


def mail_in_outdir(site):
    site.write("OUT/mail.su0", bundle(Entry("1.pkt", packet(HUB, OUR).pack())))


def same_address(site):
    configured(site, HUB="2:250/10.0")


def swapped_address(site):
    site.path("OUT/6917f02c.su0").unlink()
    configured(site, ADDRESS="3:251/20", HUB="2:250/10")


def processed_without_parent(site):
    configured(site, PROCESSEDDIR="nowhere/at/all")


def processed_is_a_file(site):
    site.write("IN/processed", "")


def odd_number(site):
    site.write("MSG/CVMSG7.PTR", "")


def no_netmail(site):
    site.conferences(echo("FIDO"), echo("*"))


def no_catch_all(site):
    site.conferences(echo("FIDO"), netmail_conference())


def restored_without_sig(site):
    made = base(3)
    made.add_sig("1:2/3 4", 4)
    made.add_sig("1:2/3 5", 5)
    site.put(made)


def older_sig(site):
    site.put(base(9, lines=4))


def serial_behind(site):
    made = base(1)
    made.add(b"ours\x01")
    made.add_sig("2:250/10 0000000a", 2, b"\r\n")
    site.put(made)
    site.write("MSG/CVOUTBOUND.SEQ", "9\n")


def serial_damaged(site):
    site.write("MSG/CVOUTBOUND.SEQ", "many\n")


def damaged(site):
    site.put(base(2))
    os.truncate(site.path("MSG/CVMSG01.DAT"), 128)


def unsent_for_years(site, conference=3):
    made = base(2, conference=conference)
    for record, date in zip(made.ptr, ("01/05/95 12:07am", NEW)):
        record.sent, record.origin, record.date = 0, "", date
    site.put(made)


SITES = [
    (byte_order_mark, [("config-bom", "CVTOSS32.CFG begins with a byte order mark, which spoils its first line")]),
    (wide_characters, [("config-bom", "CVTOSS32.CFG begins with a byte order mark, which spoils its first line")]),
    (quotes, [("config-quotes", 'SYSTEM has quotes around its value, which belong to it: "Ours"'),
              ("config-quotes", "PKTPW has quotes around its value, which belong to it: 'x'")]),
    (one_inbound_and_outdir, [("swapped-directories", "OUTDIR holds mail for us: mail.pkt; INBOUND and OUTDIR look "
                                                      "swapped"),
                              ("same-directory", "INBOUND and OUTDIR are one directory: IN")]),
    (processed_in_inbound, [("same-directory", "INBOUND and PROCESSEDDIR are one directory: IN")]),
    (base_in_confdir, [("swapped-directories", "MSGDIR holds no message base, and CONFDIR does: they look swapped")]),
    (base_beside_the_list, [("same-directory", "CONFDIR and MSGDIR are one directory: CONF")]),
    (mail_in_outdir, [("swapped-directories", "OUTDIR holds mail for us: mail.su0; INBOUND and OUTDIR look swapped")]),
    (same_address, [("address-is-hub", "ADDRESS and HUB are one address")]),
    (swapped_address, [("address-swapped", "by mail.pkt in INBOUND, ADDRESS and HUB are swapped")]),
    (processed_without_parent, [("processed-dir", "nowhere/at/all cannot be made: the directory above it does not "
                                                  "exist")]),
    (processed_is_a_file, [("processed-dir", "IN/processed cannot be made: something else has its name")]),
    (odd_number, [("base-spelling", "CVMSG7.PTR in MSGDIR is never looked at: the program looks for CVMSG07.PTR")]),
    (no_netmail, [("no-netmail", "no conference takes netmail: inbound netmail is dropped")]),
    (no_catch_all, [("no-catch-all", "no conference is the catch-all: mail of areas that are not set up is dropped")]),
    (restored_without_sig, [("sig-ahead", "2 lines of MSG/CVMSG01.SIG name messages beyond the last one, #3")]),
    (older_sig, [("sig-behind", "the last 5 messages from the network in conference 1 have no line in "
                                "MSG/CVMSG01.SIG")]),
    (serial_behind, [("serial-behind", "the last serial is 9, and 10 is in use: serials would be used again")]),
    (serial_damaged, [("serial-damaged", "the serial file holds no number: no scan can work")]),
    (damaged, [("base-damaged", "the message base is damaged: cvkit verify has 1 finding")]),
    (unsent_for_years, [("unsent-old", "1 message of conference 3 is unsent, from before "
                         f"{int(time.strftime('%Y')) - 1}{time.strftime('-%m-%d')}")]),
]


@pytest.mark.parametrize("lay, findings", SITES, ids=[lay.__name__ for lay, _ in SITES])
def test_what_a_site_shows_is_found(well, kit, lay, findings):
    lay(well)
    before = well.snapshot()
    assert found(kit) == findings
    text = kit("doctor", status=1).text
    assert all(f"({code})\n    " in text for code, _ in findings)
    assert well.snapshot() == before


def test_a_site_that_is_set_up_right_has_no_finding(well, kit):
    assert found(kit) == []
    assert kit("doctor").text == "Everything is set up right.\n"


def nothing_but_the_names(site):
    site.config("; \"quoted\"\nCONFDIR CONF\nMSGDIR MSG\nSYSTEM The \"Inn\"\nPKTPW '\n \nPKTPW\t\"x\n")


def without_processed(site):
    configured(site, KEEPPROCESSED="no", PROCESSEDDIR="nowhere/at/all")


def processed_to_be_made(site):
    site.path("done").mkdir()
    configured(site, PROCESSEDDIR="done/here")


def one_directory_of_the_bbs(site):
    site.write("CONF/CVWHOSON.DAT", site.read("CONF/WORK/CVWHOSON.DAT"))
    configured(site, WORKDIR="CONF")


def others_mail(site):
    other = {"zone": 9, "net": 9, "node": 9, "point": 9}
    site.inbound("other.pkt", packet(other, HUB))
    site.inbound("own.pkt", packet(OUR, OUR))
    site.write("OUT/other.pkt", packet(OUR, other).pack())


def other_files_in_msgdir(site):
    for name in ("CVMSG07.BAK", "CVMSG.PTR", "CVMSGxx.PTR", "CVMSG000.PTR", "CVMSG07PTR", "badareas.lst"):
        site.write(f"MSG/{name}", "")


def four_without_msgid(site):
    made = base(9, lines=4)
    made.ptr[8].deleted = 1
    site.put(made)


def serial_in_use(site):
    serial_behind(site)
    site.write("MSG/CVOUTBOUND.SEQ", "10\n")


def local_conference(site):
    """Conference 4 is not networked: its unsent messages are never sent."""
    site.conferences(echo("FIDO"), echo("*"), netmail_conference(), Conference())
    unsent_for_years(site, conference=4)


def date_that_is_none(site):
    made = base(1, conference=3)
    made.ptr[0].sent, made.ptr[0].origin, made.ptr[0].date = 0, "", "long ago"
    site.put(made)


NEAR = [nothing_but_the_names, without_processed, processed_to_be_made, one_directory_of_the_bbs, others_mail,
        other_files_in_msgdir, four_without_msgid, serial_in_use, local_conference, date_that_is_none]


@pytest.mark.parametrize("lay", NEAR, ids=[lay.__name__ for lay in NEAR])
def test_what_only_looks_like_a_finding_is_none(well, kit, lay):
    lay(well)
    assert found(kit) == []


@posix_only("case matters")
def test_names_in_another_spelling(well, kit):
    for kind in ("PTR", "IDX"):
        well.path(f"MSG/CVMSG01.{kind}").rename(well.path(f"MSG/cvmsg01.{kind.lower()}"))
    well.write("MSG/Cvoutbound.seq", "1\n")
    well.write("MSG/CVOUTBOUND.SEQ", "1\n")
    assert ("base-spelling", "Cvoutbound.seq in MSGDIR (and 2 more) is never looked at: the program looks for "
                             "CVOUTBOUND.SEQ") in found(kit)


def test_messages_that_the_last_scan_has_left(well, kit):
    made = base(1, conference=3)
    made.ptr[0].sent, made.ptr[0].origin, made.ptr[0].date = 0, "", NEW
    well.put(made)
    scan = "[{0} 12:00:00] === cvtoss32 v1.05 Beta 5 -scan run starting ===\n"
    end = "[{0} 12:00:09] === cvtoss32 -scan {1} ===\n"
    today, tomorrow = time.strftime("%Y-%m-%d"), time.strftime("%Y-%m-%d", time.localtime(time.time() + 86400))
    old = scan.format("2020-01-01") + end.format("2020-01-01", "run complete: 0 message(s) exported")
    for last, count in ((old, 0), (old + scan.format(tomorrow), 0), (scan.format(tomorrow), 0),
                        (old + scan.format(today) + end.format(today, "run complete: 1 message(s) exported"), 1),
                        (scan.format(today) + end.format(today, "completed with COMMIT ERRORS: x"), 1)):
        well.write("TOSSER.LOG", last)
        assert [code for code, _ in found(kit)] == ["unsent-old"] * count
    well.write("TOSSER.LOG.1.gz", gzip.compress(well.read("TOSSER.LOG")))
    well.path("TOSSER.LOG").unlink()
    assert [code for code, _ in found(kit)] == ["unsent-old"]


def test_read_only_files(well, kit):
    well.write("MSG/CVOUTBOUND.SEQ", "1\n")
    with undeletable(well.path("MSG/CVMSG01.PTR")), undeletable(well.path("MSG/CVMSG01.SIG")):
        assert found(kit) == [("read-only-file", "MSG/CVMSG01.PTR (and 1 more) cannot be written")]


GUEST = 65534


@posix_only("rights are those of POSIX users")
def test_what_the_programs_user_may_not_do(well, kit):
    """Root calls cvkit as another user; other users remove their own rights."""
    is_root = os.geteuid() == 0
    other = {"user": GUEST, "group": GUEST, "extra_groups": []} if is_root else {}
    shutil.copy2(KIT, well.path("cvkit"))
    well.path("IN/processed").mkdir()
    well.write("TOSSER.LOG", "")
    writable = {path: path.stat().st_mode for path in [well.root, *well.root.rglob("*")]}

    def answer() -> list[str]:
        for path in writable:
            if path.exists():
                path.chmod(0o555 if path.is_dir() or path.name == "cvkit" else 0o444)
        well.path("IN/mail.pkt").chmod(0)
        if is_root:
            well.path("OUT").chmod(0o1777)  # everybody writes there, and nobody removes files of others
        done = subprocess.run(["./cvkit", "doctor"], cwd=well.root, capture_output=True, check=False, text=True,
                              **other)
        for path, mode in writable.items():
            if path.exists():
                path.chmod(mode)
        assert done.returncode == 1, done.stderr
        return [line for line in done.stdout.splitlines() if not line.startswith("    ")]

    may_not = "this user may not "
    assert answer() == [
        may_not + "make and remove files in MSGDIR: MSG (not-writable)",
        may_not + "make and remove files in INBOUND: IN (not-writable)",
        may_not + "make and remove files in OUTDIR: OUT (not-writable)",
        may_not + "write the log TOSSER.LOG (not-writable)",
        "MSG/CVMSG01.PTR (and 3 more) cannot be written (read-only-file)",
        "IN/mail.pkt cannot be read by this user (not-readable)",
        may_not + "make and remove files in the directory of processed files: IN/processed (not-writable)"]
    well.path("IN/processed").rmdir()
    well.path("TOSSER.LOG").unlink()
    assert answer()[3::3] == [may_not + "write the log TOSSER.LOG (not-writable)",
                              "IN/processed cannot be made: this user may not make it (processed-dir)"]


@posix_only("another file system")
def test_a_box_to_which_bundles_cannot_be_renamed(well, kit):
    other = next((path for path in map(Path, ("/dev/shm", "/proc")) if path.is_dir()
                  and path.stat().st_dev != well.root.stat().st_dev), None)
    assert found(kit, "--box", other) == [
        ("box", f"OUTDIR and the mailer's box {other} are on different file systems")]


def test_a_suitable_box_has_no_finding_and_another_has_one(well, kit):
    well.path("hub").mkdir()
    assert found(kit, "--box", "hub") == []
    assert found(kit, "--box", "nowhere") == [("box", "the mailer's box is no directory: nowhere")]


def test_names_and_values_are_shown_without_control_bytes(well, kit):
    configured(well, SYSTEM="'\x1b[31m\xe9'")
    assert r"'\x1B[31m\xE9'" in kit("doctor", status=1).text


@pytest.mark.parametrize("config", ["", "MSGDIR", "MSGDIR MSG\n"])
def test_a_configuration_is_needed(well, kit, config):
    well.config(config)
    assert kit("doctor", status=2).errors.startswith(("cvkit: ", "Config directive"))


def test_a_log_that_cannot_be_written(well, kit):
    os.mkdir(well.path("TOSSER.LOG"))
    assert found(kit) == [("log-blocked", "TOSSER.LOG is not a file: no run can write its log")]
    for command in ("ledger", "status", "report", "tidy"):
        assert kit(command, status=2).errors.endswith(("TOSSER.LOG is not a file\n", "TOSSER.LOG cannot be read\n"))


@posix_only("the lock's owner has to be a process of this system")
def test_what_a_run_at_work_explains_is_not_reported(well, kit):
    restored_without_sig(well)
    assert kit.json("doctor", status=1)["unsettled"] is None
    well.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-toss pid={os.getpid()} started={int(time.time())}\n")
    assert kit.json("doctor") == {"ok": True, "attention": [], "unsettled": "a run is at work"}
    assert kit("doctor").text.startswith("Unsettled: a run is at work.\n")


@pytest.mark.parametrize("seconds, unsettled", [(0.3, None), (60, "files change while they are read")])
def test_a_conference_that_changes_is_read_again(well, kit, seconds, unsettled):
    restored_without_sig(well)
    well.write("MSG/CVMSG01.SIG", b"a long time to read\n" * 400_000 + well.read("MSG/CVMSG01.SIG"))
    with changing(well.path("MSG/CVMSG01.PTR"), seconds):
        answer = kit.json("doctor", status=None)
    assert answer["unsettled"] == unsettled
    assert [one["code"] for one in answer["attention"]] == ([] if unsettled else ["sig-ahead"])

"""cvkit status: its one line, and which states of a site need attention."""

import os
import re
import shlex
import shutil
import subprocess
import time

import pytest
from formats.conference_table import echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import MessageBase
from formats.node_status import Node
from formats.packet import Packet, echomail
from harness.site import LOCK, Site
from harness.target import KIT, PROGRAM, ROOT, posix_only

DAY = 86400
GUIDE = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")
NOW = time.time()
MAIL = Packet([echomail("FIDO", "text", msgid="1:2/3 1")])


def stamp(ago: int = 60) -> str:
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(NOW - ago))


def toss(*lines: str, ago: int = 60, end: str = "=== cvtoss32 -toss run complete: 1 file(s) processed ===") -> str:
    begin = ["=== cvtoss32 v1.05 Beta 5 -toss run starting ===", "Loaded 3 conference(s) from CVMCONF.DAT"]
    return "".join(f"[{stamp(ago)}] {line}\n" for line in [*begin, *lines, end] if line)


@pytest.fixture
def well(site) -> Site:
    """A site where everything is all right: it has tossed a moment ago."""
    site.conferences(echo("FIDO", name='"Fido\\Talk"'), netmail_conference())
    site.add_config("ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM Ours\n")
    site.inbound("mail.pkt", MAIL)
    assert site.toss().status == 0 and site.run("-scan").status == 0
    return site


def attention(kit) -> dict[str, str]:
    answer = kit.json("status", status=None)
    assert answer["ok"] == (answer["attention"] == [])
    for one in answer["attention"]:
        assert f"\n| `{one['code']}` | " in GUIDE and one["remedy"]
    return {one["code"]: one["text"] for one in answer["attention"]}


def test_a_site_that_is_all_right(well, kit):
    before = well.snapshot()
    line = kit("status").text
    assert re.fullmatch(r"OK toss [-\d]+ [:\d]+: 1 file, 1 stored; scan [-\d]+ [:\d]+: 0 sent; "
                        r"fullest conference 1 at 0%\n", line)
    facts = kit.json("status")
    assert (facts["ok"], facts["attention"], facts["inbound"], facts["bundles"]) == (True, [], [], 0)
    assert (facts["toss"]["result"], facts["toss"]["stored"]) == ("complete", 1)
    assert (facts["fullest"]["conference"], facts["fullest"]["dat_records"]) == (1, 1)
    assert (facts["lock"], facts["caller"]) == ("none", False)
    assert well.snapshot() == before


def no_toss_for_a_day(site):
    site.write("TOSSER.LOG", toss(ago=DAY + 9))


def no_log(site):
    site.path("TOSSER.LOG").unlink()


def toss_that_failed(site):
    site.write("TOSSER.LOG", toss("Found: x", "  retaining ZIP in inbound because at least one entry failed"))


def toss_that_was_aborted(site):
    site.write("TOSSER.LOG", toss(end="Aborting: conference configuration validation failed"))


def toss_that_was_killed(site):
    site.write("TOSSER.LOG", toss(end=""))


def scan_with_errors(site):
    end = "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ==="
    site.write("TOSSER.LOG", toss() + toss(end=end).replace("-toss run starting", "-scan run starting"))


def abandoned_lock(site):
    site.write(LOCK, "cvtoss32 1.05 Beta 5 mode=-toss pid=1 started=1000\n")


def retained_file(site):
    os.utime(site.write("IN/again.pkt", MAIL.pack()), (NOW - 7200,) * 2)
    site.write("TOSSER.LOG", toss("Found: again.pkt"))


def old_bundle(site):
    path = site.write("OUT/6917f02c.su0", MAIL.pack())
    os.utime(path, (NOW - 2 * DAY,) * 2)


def new_area(site):
    site.write("MSG/BADAREAS.LST", f"{stamp(30 * DAY)}  OLD\n{stamp(DAY)}  OLD\n{stamp(DAY)}  N\x1bW\xe9\r\n")


def unsound_base(site):
    site.write("MSG/CVMSG01.PTR", b"x" * 99)


def base_of(records: int, messages: int, date: str) -> MessageBase:
    base = MessageBase(1)
    for _ in range(messages):
        base.add(b"x" * 127 * (records // messages), date=date)
    return base


def full_conference(site):
    site.put(base_of(59392, 512, "01/05/95 12:07am"))


def growing_conference(site):
    """All its mail came within 90 days; at that rate the rest is full in less than a month."""
    site.put(base_of(51200, 512, time.strftime("%m/%d/%y 12:07am", time.localtime(NOW - DAY))))


SITES = [
    (no_toss_for_a_day, "no-toss", f"no toss since {stamp(DAY + 9)}"),
    (no_log, "no-toss", "the log has no toss"),
    (toss_that_failed, "run-failed", f"the toss of {stamp()} ended with errors"),
    (toss_that_was_aborted, "run-failed", f"the toss of {stamp()} ended with errors"),
    (toss_that_was_killed, "run-killed", f"the toss of {stamp()} did not end"),
    (scan_with_errors, "run-failed", f"the scan of {stamp()} ended with errors"),
    (abandoned_lock, "lock-abandoned", "the lock of a run that did not end is there"),
    (retained_file, "inbound-retained",
     f"1 file that the last toss left in INBOUND: again.pkt, since {stamp(7200)[:16]}"),
    (old_bundle, "bundle-waiting", f"1 bundle in OUTDIR, the oldest of {stamp(2 * DAY)[:10]}: nobody fetches"),
    (new_area, "areas-new", r"1 new unknown area: N\x1BWΘ"),
    (unsound_base, "base-damaged", "every run refuses the message base of conference 1"),
    (full_conference, "conference-full", "conference 1 is 90% full"),
    (growing_conference, "conference-full", "conference 1 is 78% full, and will be full on "
     # 14,336 records are left, and 51,200 came in 90 days
     + time.strftime("%Y-%m-%d", time.localtime(NOW + 14336 * 90 // 51200 * DAY))),
]


@pytest.mark.parametrize("lay, code, text", SITES, ids=[lay.__name__ for lay, _, _ in SITES])
def test_what_needs_attention(well, kit, lay, code, text):
    lay(well)
    assert attention(kit) == {code: text}
    assert kit("status", status=1).text == f"ATTENTION {text}\n"
    remedy = kit.json("status", status=1)["attention"][0]["remedy"]
    assert f"{text} ({code})\n    {remedy}\n" in kit("status", "-v", status=1).text
    assert f'\ncvtoss_attention{{code="{code}"}} 1\n' in kit("status", "--prometheus", status=1).text


def a_caller(site):
    site.nodes(Node(user=5))


def a_toss_that_waited_in_vain(site):
    site.write("TOSSER.LOG", toss(end="Aborting: node 1 remained in use by UserNo 5 (Mode=0x02) for 5 minutes"))


def a_refused_toss(site):
    refused = toss("Lock owner: cvtoss32", end="Aborting: another instance appears to already be running (x exists "
                   "and looks fresh). If you're sure nothing else is running, it'll auto-clear after 30 minutes, or "
                   "delete it manually.").replace("Loaded 3", "Lost 3")
    site.write("TOSSER.LOG", toss() + refused)


def mail_that_has_just_come(site):
    os.utime(site.write("IN/new.pkt", MAIL.pack()), (NOW - 9 * DAY,) * 2)
    site.write("IN/picture.gif", "GIF89a")


def a_fresh_bundle(site):
    site.write("OUT/6917f02c.su0", MAIL.pack())
    os.utime(site.write("OUT/6917f02c.su0.tmp", MAIL.pack()), (NOW - 9 * DAY,) * 2)


def an_old_area(site):
    site.write("MSG/BADAREAS.LST", f"{stamp(30 * DAY)}  OLD\n{stamp()}  OLD\nshort\n")


def a_slowly_filling_conference(site):
    site.put(base_of(512, 512, time.strftime("%m/%d/%y 12:07am")))


WELL = [a_caller, a_toss_that_waited_in_vain, a_refused_toss, mail_that_has_just_come, a_fresh_bundle, an_old_area,
        a_slowly_filling_conference]


@pytest.mark.parametrize("lay", WELL, ids=[lay.__name__ for lay in WELL])
def test_what_needs_no_attention(well, kit, lay):
    lay(well)
    assert attention(kit) == {}
    assert kit("status", "-v").text.startswith("OK ")


def test_a_copy_of_the_program_that_is_not_the_installed_one(well, kit):
    for command in ("status", "doctor"):
        assert "copy-outdated" not in kit(command, status=None).text
    well.program.write_bytes(well.program.read_bytes() + b"older")
    text = attention(kit)["copy-outdated"]
    assert text.startswith(f"{PROGRAM.name} is not the program that is installed, ") and text.endswith(PROGRAM.name)
    assert f"{text} (copy-outdated)\n    'cvkit setup --update' there renews the copies" in kit("doctor", status=1).text


@posix_only("the lock's owner has to be a process of this system")
def test_a_run_at_work_is_not_killed(well, kit):
    toss_that_was_killed(well)
    well.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-toss pid={os.getpid()} started={int(NOW)}\n")
    assert attention(kit) == {}
    assert kit.json("status")["unsettled"] == "a run is at work"
    assert "lock: at work" in kit("status", "-v").text


def test_the_last_runs_are_found_at_the_end_of_a_long_log(well, kit):
    late = toss("  -> wrote conf 1 msg #2  From='a' To='b' Subj='c' (1 records)")
    well.write("TOSSER.LOG", well.read("TOSSER.LOG") + toss(*["Found: x"] * 30000).encode() + late.encode())
    facts = kit.json("status")
    assert (facts["toss"]["stored"], facts["scan"]["result"]) == (1, "complete")


def test_the_last_runs_are_found_in_a_log_that_was_just_rotated(well, kit):
    well.path("TOSSER.LOG").rename(well.path("TOSSER.LOG.1"))
    assert attention(kit) == {}
    well.write("TOSSER.LOG", toss("  -> wrote conf 1 msg #2  From='a' To='b' Subj='c' (1 records)", "", ago=1))
    facts = kit.json("status")
    assert (facts["toss"]["stored"], facts["scan"]["result"]) == (1, "complete")


def test_the_details(well, kit):
    retained_file(well)
    well.nodes(Node(user=5))
    text = kit("status", "-v", status=1).text
    for line in ("INBOUND: 1 file, 1 retained", f"    again.pkt  since {stamp(7200)}, retained\n", "OUTDIR: 0 bundles",
                 "lock: none; a caller is on", "; unsettled: a caller is on the BBS\n"):
        assert line in text


def test_waiting_mail_is_shown_with_its_time(well, kit):
    mail_that_has_just_come(well)
    since = stamp(9 * DAY)
    assert kit("status").text.endswith(f"; 1 file in INBOUND waits for a toss since {since[:16]}\n")
    assert kit.json("status")["inbound"] == [{"file": "new.pkt", "retained": False, "since": since.replace(" ", "T")}]
    metrics = kit("status", "--prometheus").text
    assert f"\ncvtoss_inbound_oldest_timestamp_seconds {int(NOW - 9 * DAY)}\n" in metrics
    site_file = well.write("IN/older.pkt", MAIL.pack())
    os.utime(site_file, (NOW - 10 * DAY,) * 2)
    told = f"; 2 files in INBOUND wait for a toss the oldest since {stamp(10 * DAY)[:16]}\n"
    assert kit("status").text.endswith(told)


def test_names_are_decoded_in_json_and_escaped_in_text(well, kit):
    well.conferences(echo("FIDO", name="F\x1b\xe9"), netmail_conference())
    new_area(well)
    facts = kit.json("status", status=1)
    assert (facts["fullest"]["name"], facts["new_areas"]) == ("F\x1bΘ", ["N\x1bWΘ"])
    report = kit.json("report", status=1)
    assert (report["conferences"][0]["name"], report["unknown_areas"][0]["tag"]) == ("F\x1bΘ", "N\x1bWΘ")
    assert r'name="F\\x1BΘ"' in kit("status", "--prometheus", status=1).text


LABEL = r'[a-zA-Z_][a-zA-Z0-9_]*="(?:[^"\\\n]|\\[\\"n])*"'
METRIC = re.compile(rf"([a-zA-Z_:][a-zA-Z0-9_:]*)(\{{{LABEL}(?:,{LABEL})*\}})? (-?[0-9.e+-]+)")


@pytest.mark.parametrize("lay", [retained_file, old_bundle, no_log, unsound_base])
def test_the_metrics_keep_to_their_format(well, kit, lay):
    """HELP and TYPE once before the samples of a name, which stand together; each sample once; whole lines."""
    lay(well)
    text = kit("status", "--prometheus", status=None).text
    assert text.endswith("\n")
    known, samples = [], []
    for line in text.splitlines():
        if line.startswith("# HELP "):
            known.append(line.split(" ", 3)[2])
            assert line.split(" ", 3)[3]
        elif line.startswith("# TYPE "):
            assert line.split(" ") == ["#", "TYPE", known[-1], "gauge"]
        else:
            name, labels, value = METRIC.fullmatch(line).groups()
            assert name == known[-1]
            samples.append((name, labels))
            float(value)
    assert len(set(known)) == len(known) and len(set(samples)) == len(samples)
    assert {name for name, _ in samples} == set(known)


def test_the_name_of_a_conference_is_escaped(well, kit):
    text = kit("status", "--prometheus").text
    assert r'cvtoss_fullest_conference_ratio{conference="1",name="\"Fido\\Talk\""} 1.52587890625e-05' in text
    assert "\ncvtoss_ok 1\n" in text
    assert '\ncvtoss_last_run_messages{mode="toss"} 1\n' in text


@posix_only("systemd")
def test_the_ready_service_replaces_the_metrics_as_a_whole(well, kit):
    service = (ROOT / "packaging" / "cvkit-metrics.service").read_text(encoding="ascii")
    command = shlex.split(re.search("(?m)^ExecStart=(.*)$", service).group(1).replace("$$", "$"))
    command[-1] = "cvtoss.prom"
    shutil.copy2(KIT, well.path("cvkit"))
    old_bundle(well)
    subprocess.run(command, cwd=well.root, check=True)
    assert well.read("cvtoss.prom").decode() == kit("status", "--prometheus", status=1).text
    well.path("CONF/CVMCONF.DAT").unlink()
    before = well.read("cvtoss.prom")
    assert subprocess.run(command, cwd=well.root, check=False, capture_output=True).returncode == 1
    assert well.read("cvtoss.prom") == before


@posix_only("a shell's command line")
@pytest.mark.parametrize("lay, status, answer", [
    (lambda site: None, 0, "OK "), (old_bundle, 1, "ATTENTION 1 bundle in OUTDIR"),
    (lambda site: site.path("CONF/CVMCONF.DAT").unlink(), 2, "cvkit: the conference table")])
def test_the_ready_command_line_of_a_monitoring_agent(well, lay, status, answer):
    ready = (ROOT / "packaging" / "cvkit-monitoring.cfg").read_text(encoding="ascii")
    command = re.search(r"(?m)^command\[check_cvtoss\]=(.*)$", ready).group(1).replace("/srv/bbs/ftn", str(well.root))
    shutil.copy2(KIT, well.path("cvkit"))
    lay(well)
    done = subprocess.run(command, shell=True, cwd="/", stdout=subprocess.PIPE, text=True, check=False)
    assert done.returncode == status and done.stdout.startswith(answer) and done.stdout.count("\n") == 1, done


def test_a_site_without_conferences_is_not_answered(well, kit):
    well.path("CONF/CVMCONF.DAT").unlink()
    assert "cannot be read" in kit("status", status=2).errors

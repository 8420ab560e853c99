"""cvkit tidy: old files are removed only with --apply, and only when no mail is lost with them."""

import os
import re
import shutil
import signal
import subprocess
import time

import pytest
from formats.conference_table import echo
from formats.node_status import Node
from formats.packet import PackedMessage, Packet, text_lines
from harness.limits import permissions_count
from harness.target import KIT, RUNNER, environment, posix_only

DAY = 86400
CALLS = "openat,write,pwrite64,ftruncate,unlink,unlinkat,rename,renameat2,mkdir,fsync"


def mail(number: int) -> bytes:
    text = text_lines("AREA:FIDO", f"\x01MSGID: 2:250/1 {number:08x}", "Hello")
    return Packet([PackedMessage(text)]).pack()


def age(site, name: str, days: float) -> None:
    when = time.time() - days * DAY
    os.utime(site.path(name), (when, when))


@pytest.fixture
def used(ready):
    """A site with processed files, a saved packet and logs of all ages, of real runs and of others."""
    ready.inbound("old.pkt", mail(1))
    ready.inbound("new.pkt", mail(2))
    ready.inbound("broken.pkt", mail(3)[:-8])
    assert ready.toss().status == 0
    ready.write("IN/processed/lost.pkt", mail(4))
    ready.write("IN/processed/notes.txt", b"not mail")
    ready.write("TOSSER.LOG.1", b"[2020-01-01 00:00:00] x\n")
    ready.write("TOSSER.LOG.2", b"[2020-01-02 00:00:00] x\n")
    saved, = (path.name for path in ready.path("IN/badmsgs").iterdir())
    for name in ("IN/processed/old.pkt", "IN/processed/lost.pkt", "IN/processed/notes.txt", "IN/processed/broken.pkt",
                 f"IN/badmsgs/{saved}", "TOSSER.LOG.1"):
        age(ready, name, 100)
    ready.saved = saved
    return ready


def gone(site) -> list[str]:
    """The files that may be removed after 90 days."""
    return ["IN/processed/old.pkt", f"IN/badmsgs/{site.saved}", "TOSSER.LOG.1"]


def test_it_shows_what_would_be_removed_and_changes_nothing(used, kit):
    before = used.snapshot()
    told = kit.json("tidy")
    assert used.snapshot() == before and not told["applied"] and told["rotated"] is None
    assert {one["path"].replace("\\", "/").rpartition("/")[2]: one["kept"] for one in told["items"]} == {
        "old.pkt": None, used.saved: None, "TOSSER.LOG.1": None,
        "lost.pkt": "holds mail that the message base does not know", "notes.txt": "is no mail",
        "broken.pkt": "is damaged: cvkit packet shows where"}
    assert {one["days"] for one in told["items"]} == {100}
    text = kit("tidy").text
    assert "would be removed: --apply does it." in text and "stays: it is no mail" in text
    assert {one["path"] for one in kit.json("tidy", "--older", "0d")["items"] if not one["kept"]} >= {
        "IN/processed/new.pkt"}


def test_with_apply_it_removes_and_rotates(used, kit):
    before = used.snapshot()
    log = used.read("TOSSER.LOG")
    assert "3 files of" in kit("tidy", "--apply").text
    after = used.snapshot()
    assert {name for name in before if name not in after} == set(gone(used)) and set(after) <= set(before)
    told = kit.json("tidy", "--apply", "--rotate", "0M")
    assert re.fullmatch(r"(.*[/\\])?TOSSER\.LOG\.\d{8}", told["rotated"]["to"])
    assert not used.path("TOSSER.LOG").exists()
    used.write("TOSSER.LOG", b"[2020-01-03 00:00:00] x\n")
    assert kit.json("tidy", "--rotate", "36500d")["rotated"] is None
    second = kit.json("tidy", "--apply", "--rotate", "30d")["rotated"]["to"]
    assert second.endswith("TOSSER.LOG.1")
    assert sorted(log_parts(used).values()) == sorted([log, b"[2020-01-02 00:00:00] x\n", b"[2020-01-03 00:00:00] x\n"])
    assert not used.path("MSG/CVTOSS.BSY").exists()


def test_what_the_ledger_does_not_account_for_stays(used, kit):
    """The base has the message, but the log was cut, so that nothing shows that it came in this file."""
    may_go = {one["path"] for one in kit.json("tidy", "--older", "0d")["items"] if not one["kept"]}
    unaccounted = {one["file"] for one in kit.json("ledger", status=1)["messages"] if one["fate"] == "unaccounted"}
    assert unaccounted == {"lost.pkt"} and not unaccounted & {re.split(r"[/\\]", path)[-1] for path in may_go}
    lines = rb"(?s)\[[^[]*Found: old.pkt.*?  moved to [^\n]*\n"
    used.write("TOSSER.LOG", re.sub(lines, b"", used.read("TOSSER.LOG")))
    assert {one["path"]: one["kept"] for one in kit.json("tidy")["items"]}[gone(used)[0]] == (
        "holds mail that the ledger does not account for")


def test_a_part_of_the_log_stays_as_long_as_the_mail_in_its_lines(ready, kit):
    ready.inbound("some.pkt", mail(1))
    assert ready.toss().status == 0
    age(ready, "IN/processed/some.pkt", 1)
    ready.path("TOSSER.LOG").rename(ready.path("TOSSER.LOG.1"))
    age(ready, "TOSSER.LOG.1", 100)
    part, = kit.json("tidy", "--apply")["items"]
    assert part["kept"] == "tells what became of files that stay"
    assert kit.json("ledger")["unaccounted"] == 0
    age(ready, "IN/processed/some.pkt", 100)
    assert [one["kept"] for one in kit.json("tidy", "--apply")["items"]] == [None, None]
    assert log_parts(ready) == {} and list(ready.path("IN/processed").iterdir()) == []


def log_parts(site) -> dict[str, bytes]:
    return {path.name: path.read_bytes() for path in site.root.glob("TOSSER.LOG*")}


def test_nothing_is_removed_while_a_run_is_at_work(used, kit):
    used.write("MSG/CVTOSS.BSY", "")
    before = used.snapshot()
    assert "another run is at work" in kit("tidy", "--apply", status=2).errors
    assert used.snapshot() == before


@pytest.mark.parametrize("arguments, why", [
    (["--older", "90"], "--older takes days"),
    (["--older", "d"], "--older takes days"),
    (["--older", "x1d"], "--older takes days"),
    (["--rotate", "20"], "--rotate takes megabytes or days"),
    (["--config", "nothing"], "cannot be used"),
])
def test_no_answer(ready, kit, arguments, why):
    assert why in kit("tidy", *arguments, status=2).errors


def test_other_directories_are_never_tidied(ready, kit):
    ready.add_config("PROCESSEDDIR ./OUT\n")
    assert "PROCESSEDDIR is a directory of other files too" in kit("tidy", "--apply", status=2).errors
    ready.config("CONFDIR CONF\nMSGDIR MSG\nKEEPPROCESSED no\n")
    assert kit.json("tidy")["items"] == []


@posix_only("rights are tried as a user without privileges")
def test_what_cannot_be_removed_is_reported(used):
    used.path("IN/processed").chmod(0o555)
    done = subprocess.run([KIT, "tidy", "--apply"], cwd=used.root, env=environment(), stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False, preexec_fn=permissions_count)
    used.path("IN/processed").chmod(0o755)
    assert done.returncode == 1 and "IN/processed/old.pkt could not be removed" in done.stdout


@pytest.mark.skipif(bool(RUNNER) or shutil.which("strace") is None, reason="Linux only: strace stops the program")
def test_killed_anywhere_it_loses_nothing_that_it_should_keep(used, kit):
    trace = used.root.parent / "trace.txt"
    model = used.root.parent / "model"
    shutil.copytree(used.root, model)

    def start(*options: str) -> int:
        command = ["strace", "-qq", "-o", str(trace), "-e", f"trace={CALLS}", *options, str(KIT), "tidy", "--apply",
                   "--rotate", "0M"]
        return subprocess.run(command, cwd=used.root, env=environment(), capture_output=True, check=False).returncode

    if start() != 0:
        pytest.skip("strace may not trace here")
    end = used.snapshot()
    points, seen = [], {}
    for call, rest in re.findall(r"(?m)^(\w+)\((.*)", trace.read_text()):
        seen[call] = seen.get(call, 0) + 1
        if call != "openat" or "O_CREAT" in rest:
            points.append((call, seen[call]))
    assert len(points) > 5
    kept = {name: content for name, content in end.items() if "TOSSER.LOG" not in name}
    logs = None
    for call, nth in points:
        shutil.rmtree(used.root)
        shutil.copytree(model, used.root)
        logs = sorted(log_parts(used).values())
        assert start("-e", f"inject={call}:signal=KILL:when={nth}") in (-signal.SIGKILL, 128 + signal.SIGKILL)
        now = used.snapshot()
        assert {name: now.get(name) for name in kept} == kept, (call, nth)
        assert [part for part in logs if b"2020-01-01" not in part] == sorted(
            part for part in log_parts(used).values() if b"2020-01-01" not in part), (call, nth)
        used.path("MSG/CVTOSS.BSY").unlink(missing_ok=True)

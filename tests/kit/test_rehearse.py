"""The real run does what "cvkit rehearse" has predicted, and a rehearsal does not change the site."""

import contextlib
import os
import random
import re
import shutil
import signal
import subprocess
from pathlib import Path

import pytest
from formats.conference_table import echo
from formats.message_base import PTR_SIZE, MessageBase, PtrRecord, read_ptr_record
from formats.node_status import Node
from formats.packet import PackedMessage, Packet, read_packet, text_lines
from formats.published_bundle import stored_packet
from harness.generated import conferences, inbound_file, message_base
from harness.run import mask_seconds
from harness.scan import CONFIG as SCAN_CONFIG
from harness.scan import mask_names
from harness.target import KIT, RUNNER, WINDOWS, environment, posix_only, to_line_feeds

GROUPS = 4
SITES = 2 if WINDOWS else 15
DIRECTORIES = ("IN/processed", "IN/badmsgs", ".dir")
KILLS = 20
LEFT = re.compile(r"cvkit-(rehearsal|kept)-.*")
CALLS = "openat,write,mkdir,unlink,rmdir,chmod,ftruncate,rename,clone,clone3"


@pytest.fixture
def temporary(tmp_path, monkeypatch):
    """The directory for temporary files."""
    directory = tmp_path / "temporary"
    directory.mkdir()
    for name in ("TMP", "TEMP") if WINDOWS else ("TMPDIR",):  # a TMPDIR would make Wine start services of its own
        monkeypatch.setenv(name, f"Z:{directory}" if WINDOWS else str(directory))
    return directory


def left_in(directory: Path) -> list[str]:
    return [path.name for path in directory.iterdir() if LEFT.match(path.name)]


def decoded(line: str) -> str:
    """A line of the run, given as Latin-1, as cvkit shows it."""
    try:
        return line.encode("latin-1").decode("utf-8")
    except UnicodeDecodeError:
        return line.encode("latin-1").decode("cp437")


def masked(line: str) -> str:
    line = re.sub(r"^\[[-0-9 :]{19}\] ", "", line)
    line = re.sub(r"entry '[0-9a-f]{8}\.pkt'", "entry '#.pkt'", line)
    return mask_names(mask_seconds(line))


OLD = 10**18
"""An access time in nanoseconds, so early that reading the file would replace it."""


def stamps(paths: list[Path]) -> list[tuple]:
    found = [path.stat() for path in paths]
    if WINDOWS:  # without a time that no program can set back
        return [(one.st_size, one.st_mtime_ns, path.is_file() and one.st_size < 10**6 and path.read_bytes())
                for one, path in zip(found, paths)]
    return [(one.st_size, one.st_mtime_ns, one.st_ctime_ns, one.st_atime_ns) for one in found]


@contextlib.contextmanager
def unchanged(site):
    """Asserts that nothing in the site changes meanwhile, not even the time of the last access."""
    paths = sorted(site.root.rglob("*"))
    if not WINDOWS:
        for path in paths:
            os.utime(path, ns=(OLD, path.stat().st_mtime_ns))
    before = stamps(paths)
    yield
    assert stamps(paths) == before and sorted(site.root.rglob("*")) == paths, "the site was changed"


def rehearse(site, kit, mode: str, *options) -> dict:
    with unchanged(site):
        return kit.json("rehearse", mode, *options, status=None)


def compare(site, kit, mode: str) -> dict:
    """Rehearses, runs, and compares line by line, file by file and message by message."""
    before, areas = state(site), unknown_areas(site)
    old = {number: headers(site, number) for number in numbers(site)}
    told = rehearse(site, kit, mode)
    run = site.run(f"-{mode}")
    assert told["status"] == run.status
    assert [masked(line) for line in told["lines"]] == [masked(decoded(line)) for line in run.raw_lines]
    after = state(site)
    for number in numbers(site):
        compare_conference(old[number], headers(site, number),
                           next((one for one in told["conferences"] if one["number"] == number), None))
    assert told["unknown_areas"] == unknown_areas(site)[len(areas):]
    if mode == "toss":
        compare_files(before, after, told)
    bundles = [site.read(name) for name in after if name.startswith("OUT/") and name not in before]
    assert [one["size"] for one in told["bundles"]] == [len(bundle) for bundle in bundles]
    assert [one["messages"] for one in told["bundles"]] == [exported(bundle) for bundle in bundles]
    serial = site.path("MSG/CVOUTBOUND.SEQ")
    assert told["serial"]["after"] == (serial.read_text().split()[0] if serial.exists() else None)
    return told


def state(site) -> dict[str, int]:
    """The size of each file."""
    return {path.relative_to(site.root).as_posix(): path.stat().st_size
            for part in ("IN", "MSG", "OUT") for path in sorted(site.path(part).rglob("*"))}


def unknown_areas(site) -> list[str]:
    """The areas in BADAREAS.LST, without their times."""
    path = site.path("MSG/BADAREAS.LST")
    lines = to_line_feeds(path.read_bytes()).decode("cp437").splitlines() if path.exists() else []
    return [line[len("2026-11-22 03:00:00  "):] for line in lines]


def exported(bundle: bytes) -> list[dict]:
    """The messages of a bundle as they have to be predicted."""
    def line(message: PackedMessage, pattern: bytes) -> str | None:
        found = re.search(pattern, message.text)
        return found and found.group(1).decode("cp437")

    return [{"from": message.sender.decode("cp437"), "to": message.to.decode("cp437"),
             "subject": message.subject.decode("cp437"), "area": line(message, rb"^AREA:([^\r]*)\r"),
             "msgid": line(message, rb"\x01MSGID: ([^\r]*)\r")}
            for message in read_packet(stored_packet(bundle)).messages]


def numbers(site) -> range:
    return range(1, len(site.read("CONF/CVMCONF.DAT")) // 128 + 1)


def headers(site, number: int) -> list[PtrRecord]:
    path = site.path(f"MSG/CVMSG{number:02}.PTR")
    content = path.read_bytes() if path.exists() else b""
    return [read_ptr_record(content[at:at + PTR_SIZE]) for at in range(0, len(content), PTR_SIZE)]


def as_told(record: PtrRecord) -> dict:
    return {"message_number": record.number, "from": record.sender.decode("cp437"), "to": record.to.decode("cp437"),
            "subject": record.subject.decode("cp437"), "parent": record.thread if record.is_reply else None}


def compare_conference(old: list[PtrRecord], new: list[PtrRecord], told: dict | None) -> None:
    stored = [as_told(one) for one in new[len(old):]]
    sent = [as_told(now) for was, now in zip(old, new) if now.sent and not was.sent]
    if not stored and not sent:
        assert told is None
        return
    assert (told["before"], told["after"]) == (len(old), len(new))
    assert (told["stored"], told["sent"]) == (stored, sent)


def compare_files(before: dict[str, int], after: dict[str, int], told: dict) -> None:
    files = [name for name in before if re.fullmatch(r"IN/[^/\\]+", name) and not name.endswith(DIRECTORIES)]
    assert {one["path"]: one["fate"] for one in told["files"]} == {
        name: "stays" if name in after else "moved" if name.replace("/", "/processed/") in after else "deleted"
        for name in files}
    assert all(one["to"] in after for one in told["files"] if one["fate"] == "moved")
    saved = [size for name, size in sorted(after.items()) if "/BAD_" in name and name not in before]
    assert sorted(told["saved"]) == sorted(saved)


@pytest.mark.parametrize("group", range(GROUPS))
@pytest.mark.parametrize("mode", ["toss", "scan"])
def test_the_run_does_what_was_predicted(site, kit, temporary, mode, group):
    changed = 0
    for seed in range(group * SITES, (group + 1) * SITES):
        chance = random.Random(seed)
        table = conferences(chance)
        site.conferences(*table)
        for number in range(1, len(table) + 1):
            site.put(message_base(chance, number, 0.5))
        for index in range(chance.choice([1, 2, 3])):
            site.inbound(f"{index}.in", inbound_file(chance))
        site.add_config(f"{SCAN_CONFIG}KEEPPROCESSED {chance.choice(['yes', 'yes', 'no'])}\n")
        try:
            changed += bool(compare(site, kit, mode)["conferences"])
        except AssertionError as error:
            raise AssertionError(f"seed {seed}: {error}") from error
        for name in ("IN", "MSG", "OUT"):
            shutil.rmtree(site.path(name))
            site.path(name).mkdir()
    assert changed and left_in(temporary) == []


def a_packet() -> bytes:
    return Packet([PackedMessage(text_lines("AREA:FIDO", "Hello"), subject="Evil \x1b[2J")]).pack()


@pytest.mark.parametrize("directories", [
    "INBOUND SAME\nCONFDIR SAME\nWORKDIR SAME\nMSGDIR ./SAME\nOUTDIR SAME/../SAME\n",
    "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\nPROCESSEDDIR IN\n",
    "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\nPROCESSEDDIR NO/SUCH\n",
    "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\nPROCESSEDDIR DONE\n",
    "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR NONE\nKEEPPROCESSED no\n",
    "INBOUND NONE\nCONFDIR CONF\nMSGDIR MSG\n",
    "CONFDIR CONF\nMSGDIR MSG\n",
])
def test_directories_that_coincide_or_are_missing(site, kit, temporary, directories):
    site.config(directories + SCAN_CONFIG)
    places = ("SAME", "SAME", "SAME") if "SAME" in directories else ("IN", "CONF", "CONF/WORK")
    site.conferences(echo("FIDO"))
    for name, target in (("CONF/CVMCONF.DAT", places[1]), ("CONF/WORK/CVWHOSON.DAT", places[2])):
        content = site.read(name)
        site.write(f"{target}/{Path(name).name}", content)
    site.write(f"{places[0]}/1.pkt", a_packet())
    site.write("IN/processed/1.pkt", "an older one")
    for mode in ("toss", "scan"):
        told = rehearse(site, kit, mode)
        run = site.run(f"-{mode}", log=False)
        lines = [masked(line) for line in told["lines"]]
        assert lines == ([masked(decoded(line)) for line in run.raw_lines] or run.stderr.splitlines())
        assert told["status"] == run.status


def test_what_a_run_cannot_read_or_address(ready, kit, temporary):
    with ready.path("IN/1.big").open("wb") as file:
        file.truncate(2**31)
    if not WINDOWS:
        ready.write("IN/a\\b", "no path holds it")
    ready.path("IN/2.dir").mkdir()
    compare(ready, kit, "toss")


def test_a_caller_or_a_lock_is_reported(ready, kit, temporary):
    ready.inbound("1.pkt", a_packet())
    ready.nodes(Node(), Node(user=7))
    told = rehearse(ready, kit, "toss")
    assert told["unsettled"] == ["a caller is on the BBS"] and told["status"] == 0 and told["hindrance"] is None
    assert any("2 node record(s), all idle" in line for line in told["lines"])
    ready.nodes(Node())
    ready.write("MSG/CVTOSS.BSY", "cvtoss32 1.05 Beta 5 mode=-toss pid=4194304 started=4000000000\n")
    answer = kit("rehearse", "toss", status=1)
    assert "But the lock of a run that did not end keeps runs away" in answer.text
    ready.path("MSG/CVTOSS.BSY").unlink()
    ready.write("CONF/WORK/CVWHOSON.DAT", "odd")
    assert rehearse(ready, kit, "toss")["status"] == 1


def test_the_text_has_the_same_facts(ready, kit, temporary):
    ready.add_config(SCAN_CONFIG)
    base = MessageBase(1)
    base.add(b"Hello\x01", sent=0, subject="Out")
    ready.put(base)
    ready.inbound("1.pkt", a_packet())
    ready.inbound("2.txt", b"no mail")
    text = kit("rehearse", "toss").text
    assert "  conference 1 Talk: 1 -> 2 messages\n" in text and "All: Evil \\x1B[2J" in text
    assert "  IN/1.pkt: moved to IN/processed/1.pkt\n" in text and "  IN/2.txt: stays\n" in text
    text = kit("rehearse", "scan").text
    assert "    1 message marked sent:\n" in text and "  OUT: a bundle of " in text and "last serial:  -> 1\n" in text
    ready.path("IN/1.pkt").unlink()
    assert "Nothing would change.\n" in kit("rehearse", "toss").text


@posix_only("a pseudo-terminal")
def test_a_terminal_shows_progress_bars(ready, kit, temporary):
    ready.inbound("1.pkt", a_packet())
    shown = kit.errors_on_terminal("rehearse", "toss")
    for bar in ("copying", "running"):
        assert f"\r{bar} [{'#' * 30}] 100%\r" in shown
    assert shown.endswith(" \r")


def test_a_copy_is_kept_on_request(ready, kit, temporary):
    ready.inbound("1.pkt", a_packet())
    kept = kit.json("rehearse", "toss", "--keep")["kept"]
    name = Path(kept.replace("\\", "/")).name
    assert re.fullmatch(r"cvkit-kept-\d+-\d+", name)
    assert WINDOWS or left_in(temporary) == [name]  # Wine has a directory of its own for temporary files
    assert "kept in" in kit("rehearse", "toss", "--keep").text
    kit("rehearse", "toss")
    assert WINDOWS or len(left_in(temporary)) == 2


def test_errors_of_the_call_and_of_its_surroundings(ready, kit, temporary):
    assert "is not there" in kit("rehearse", "toss", "--program", "nothing", status=2).errors
    assert kit("rehearse", "pack", status=2).errors
    ready.write("program", "no program")
    assert "cannot be started" in kit("rehearse", "toss", "--program", "program", status=2).errors
    with ready.path("MSG/CVMSG01.SIG").open("wb") as file:
        file.truncate(2**42)
    assert "the copy needs 41943" in kit("rehearse", "toss", status=2).errors
    assert left_in(temporary) == []


@posix_only("elsewhere the directory is not named by TMPDIR")
def test_an_unusable_temporary_directory(ready, kit, temporary):
    assert "set TMPDIR" in kit("rehearse", "toss", status=2, TMPDIR="/nonexistent").errors
    assert "within the site" in kit("rehearse", "toss", status=2, TMPDIR=str(ready.path("IN"))).errors
    assert left_in(ready.path("IN")) == []


@pytest.mark.skipif(bool(RUNNER) or shutil.which("strace") is None, reason="Linux only: strace stops the program")
def test_killed_anywhere_it_leaves_a_directory_that_the_next_one_removes(ready, kit, temporary):
    ready.inbound("1.pkt", a_packet())
    trace = ready.root.parent / "trace.txt"

    def start(*options: str) -> int:
        command = ["strace", "-qq", "-o", str(trace), "-e", f"trace={CALLS}", *options, str(KIT), "rehearse", "toss"]
        return subprocess.run(command, cwd=ready.root, env=environment(), capture_output=True, check=False).returncode

    if start() != 0:
        pytest.skip("strace may not trace here")
    points, seen = [], {}
    for call in re.findall(r"(?m)^(\w+)\(", trace.read_text()):
        seen[call] = seen.get(call, 0) + 1
        points.append((call, seen[call]))
    leaving = 0
    for call, nth in points[:: max(1, len(points) // KILLS)]:
        with unchanged(ready):
            assert start("-e", f"inject={call}:signal=KILL:when={nth}") in (-signal.SIGKILL, 128 + signal.SIGKILL)
            leaving += bool(left_in(temporary))
            kit("rehearse", "toss")
        assert left_in(temporary) == [], (call, nth)
    assert leaving > KILLS // 3


def is_at_work(process: str) -> bool:
    """Whether a process has not ended, even if nobody has asked for its status yet."""
    with contextlib.suppress(FileNotFoundError):
        return Path(f"/proc/{process}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] not in "ZX"
    return False


@pytest.mark.skipif(WINDOWS or not Path("/proc/self/task").is_dir(), reason="Linux only: /proc tells of processes")
def test_the_run_ends_when_the_rehearsal_is_killed(ready, kit, temporary):
    ready.write("slow", "#!/bin/sh\nexec sleep 100\n")
    with subprocess.Popen([KIT, "rehearse", "toss", "--program", "slow"], cwd=ready.root, env=environment()) as process:
        children = Path(f"/proc/{process.pid}/task/{process.pid}/children")
        ready.wait_for(lambda: "sleep" in [Path(f"/proc/{child}/comm").read_text(encoding="utf-8").strip()
                                           for child in children.read_text(encoding="ascii").split()], process)
        child = children.read_text(encoding="ascii").strip()
        process.kill()
    ready.wait_for(lambda: not is_at_work(child))
    kit("rehearse", "toss")
    assert left_in(temporary) == []


@posix_only("others cannot make a directory there")
def test_only_abandoned_copies_of_this_user_are_removed(ready, kit, temporary):
    (temporary / "cvkit-rehearsal-4194304-1000000000").mkdir()
    (temporary / "cvkit-rehearsal-4194304-1000000000" / "file").touch()
    elsewhere = temporary / "elsewhere"
    elsewhere.mkdir()
    (elsewhere / "file").touch()
    (temporary / "cvkit-rehearsal-4194304-1000000001").symlink_to(elsewhere)
    kept = [f"cvkit-rehearsal-{os.getpid()}-{10**10}", "cvkit-rehearsal-1x", "cvkit-rehearsal-4194304-1000000000-x"]
    for name in kept:
        (temporary / name).mkdir()
    kit("rehearse", "toss")
    assert sorted(left_in(temporary)) == sorted([*kept, "cvkit-rehearsal-4194304-1000000001"])
    assert (elsewhere / "file").exists()

"""The configuration of a site, from options and from typed answers; the copy of the program beside it."""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import time

import pytest
from formats.conference_table import echo
from formats.message_base import MessageBase
from formats.node_status import Node
from harness.limits import permissions_count
from harness.target import KIT, PROGRAM, ROOT, WINDOWS, environment, posix_only
from harness.waiting import kill, start_waiting

DIRECTIVE = re.compile(r"(?m)^([A-Z]+) +(\S.*)$")
EXAMPLE = (ROOT / "examples" / "CVTOSS32.CFG").read_text(encoding="ascii")
NOT_A_TERMINAL = "give it, or call this on a terminal"


def options_for(text: str) -> list[str]:
    """The options that set the directives of a configuration."""
    return [word for name, value in DIRECTIVE.findall(text) for word in (f"--{name.lower()}", value)]


@pytest.fixture
def demo(tmp_path):
    """The demo's site without its configuration, and that configuration."""
    directory = tmp_path / "demo"
    subprocess.run([sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", directory], check=True)
    text = (directory / "CVTOSS32.CFG").read_text(encoding="ascii")
    (directory / "CVTOSS32.CFG").unlink()
    return directory, text


def call_setup(directory, *arguments, **options) -> subprocess.CompletedProcess:
    return subprocess.run([*RUN, *arguments], cwd=directory, env=environment(), stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False, **options)


RUN = [*([] if not WINDOWS else ["wine"]), str(KIT), "setup"]


def test_options_alone_make_the_demos_configuration(demo):
    directory, text = demo
    done = call_setup(directory, "--copy", *options_for(text))
    assert done.returncode == 0, done.stdout + done.stderr
    assert DIRECTIVE.findall((directory / "CVTOSS32.CFG").read_text()) == DIRECTIVE.findall(text)
    assert "PASSED" in done.stdout and "Next: cvkit doctor" in done.stdout
    assert all((directory / program.name).read_bytes() == program.read_bytes() for program in (PROGRAM, KIT))
    assert "PASSED" in (directory / "TOSSER.LOG").read_text()


def test_the_configuration_is_the_example_with_other_values(site, kit):
    site.path("CVTOSS32.CFG").unlink()
    kit("setup", *options_for(EXAMPLE), status=1)  # there is no C:\CVBBS
    assert site.read("CVTOSS32.CFG").decode() == EXAMPLE


def type_answers(directory, answers: list[str], *arguments: str) -> tuple[int, str]:
    """Runs cvkit setup on a terminal; each answer is typed when a question waits."""
    main, side = pty.openpty()
    process = subprocess.Popen([*RUN, *arguments], cwd=directory, env=environment(NO_COLOR="1"), stdin=side,
                               stdout=side, stderr=side)
    os.close(side)
    seen = ""
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline:
        ready, _, _ = select.select([main], [], [], 0.2)
        if ready:
            try:
                piece = os.read(main, 4096).decode()
            except OSError:
                break
            if not piece:
                break
            seen += piece
        elif answers and re.search(r"(\?|\]) $", seen):
            os.write(main, answers.pop(0).encode())
            seen += "\n"
    os.close(main)
    return process.wait(timeout=60), seen


@posix_only("typing needs a pseudo-terminal")
def test_typed_answers_make_the_same_configuration(demo):
    directory, text = demo
    values = dict(DIRECTIVE.findall(text))
    asked = ["CONFDIR", "MSGDIR", "WORKDIR", "ADDRESS", "HUB", "SYSTEM", "PKTPW", "INBOUND", "OUTDIR"]
    status, seen = type_answers(directory, [values.get(name, "") + "\n" for name in asked], "--copy")
    assert status == 0, seen
    assert DIRECTIVE.findall((directory / "CVTOSS32.CFG").read_text()) == DIRECTIVE.findall(text)


@posix_only("typing needs a pseudo-terminal")
def test_proposals_are_taken_with_the_enter_key(demo):
    directory, _ = demo
    (directory / "binkd.cfg").write_text(
        "# mailer\naddress 2:999/42@fidonet\ninbound ./FTN/INBOUND\nbad\n"
        'node 2:999/1@fidonet -nr hub.example.org SECRET i "./FTN/hub box"\nnode 2:999/9@fidonet other\n')
    answers = ["\n", "\n", "\n", "nonsense\n", "\n", "\n", "The Lamplight BBS\n", "too long a one\n", "\n", "\n", "\n"]
    status, seen = type_answers(directory, answers)
    assert status == 0 and "That cannot be used: an address is zone:net/node." in seen, seen
    assert "let cvtoss32-exchange hand finished bundles over" in seen and "./FTN/hub box" in seen
    assert DIRECTIVE.findall((directory / "CVTOSS32.CFG").read_text()) == [
        ("CONFDIR", "."), ("MSGDIR", "./MSGS"), ("ADDRESS", "2:999/42"), ("HUB", "2:999/1"),
        ("SYSTEM", "The Lamplight BBS"), ("INBOUND", "./FTN/INBOUND"), ("OUTDIR", "./FTN/OUTBOUND"),
        ("KEEPPROCESSED", "yes")]


@posix_only("typing needs a pseudo-terminal")
def test_questions_that_nobody_answers_write_nothing(demo):
    directory, _ = demo
    status, seen = type_answers(directory, ["\n", "\x04"])
    assert status == 2 and "nothing was written" in seen and not (directory / "CVTOSS32.CFG").exists()


def test_yes_takes_what_is_proposed(site, kit):
    site.path("CVTOSS32.CFG").unlink()
    site.conferences(echo("FIDO"))
    site.put(with_mail())
    site.path("CONF/WORK").rename(site.path("CONF/NODES"))
    site.write("mailer.conf", "inbound IN\naddress x\n")
    shutil.copytree(site.path("MSG"), site.path("CONF/MESSAGES"))
    told = kit.json("setup", "--yes", "--binkd", "mailer.conf", "--outdir", "OUT")
    assert told["status"] == 0 and "PASSED" in told["check"]
    assert dict(DIRECTIVE.findall(site.read("CVTOSS32.CFG").decode())) == {
        "CONFDIR": "./CONF", "MSGDIR": "./CONF/MESSAGES", "WORKDIR": "./CONF/NODES", "INBOUND": "IN", "OUTDIR": "OUT",
        "KEEPPROCESSED": "yes"}


def with_mail() -> MessageBase:
    base = MessageBase(1)
    base.add(b"Hello\x01")
    return base


@pytest.mark.parametrize("arguments, why", [
    ([], "there is no --confdir: " + NOT_A_TERMINAL),
    (["--confdir", "CONF"], "there is no --msgdir: " + NOT_A_TERMINAL),
    (["--confdir", "CONF", "--msgdir", "x" * 256], "it is longer than 255 characters"),
    (["--confdir", "CONF", "--msgdir", ""], "it is empty, or has blanks around it"),
    (["--address", "here"], "an address is zone:net/node"),
    (["--pktpw", "x" * 9], "it is longer than 8 characters"),
    (["--system", "a\x1bb"], "a\\x1Bb: it holds a control character"),
    (["--keepprocessed", "maybe"], "it is yes or no"),
    (["--binkd", "nothing"], "nothing cannot be read"),
    (["--program", "nothing"], "nothing is not there"),
])
def test_invalid_options_write_no_configuration(site, kit, arguments, why):
    site.path("CVTOSS32.CFG").unlink()
    assert why in kit("setup", *arguments, status=2).errors
    assert not site.path("CVTOSS32.CFG").exists()


def test_a_configuration_is_replaced_only_with_force(ready, kit):
    before = ready.read("CVTOSS32.CFG")
    given = ["--confdir", "CONF", "--msgdir", "MSG"]
    assert "is there already (--force replaces it)" in kit("setup", *given, status=2).errors
    assert ready.read("CVTOSS32.CFG") == before
    kit("setup", *given, "--force")
    assert ready.read("CVTOSS32.CFG") != before and not ready.path("CVTOSS32.CFG.new").exists()
    assert "cannot be written" in kit("setup", *given, "--config", "no/such/file", status=2).errors


@pytest.fixture
def home(tmp_path):
    """A directory in which both programs are installed."""
    directory = tmp_path / "bin"
    directory.mkdir()
    for program in (KIT, PROGRAM):
        shutil.copy2(program, directory)
    return directory


@posix_only("rights are tried as a user without privileges")
@pytest.mark.parametrize("why", ["no right", "on the PATH"])
def test_the_programs_are_copied_where_the_log_cannot_be_kept(ready, home, why):
    ready.program.unlink()
    ready.path("CVTOSS32.CFG").unlink()
    changes = {"PATH": f"/bin:{home}"} if why == "on the PATH" else {}
    home.chmod(0o755 if changes else 0o555)
    done = subprocess.run([home / KIT.name, "setup", "--confdir", "CONF", "--msgdir", "MSG"], cwd=ready.root,
                          env=environment(**changes), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          check=False, preexec_fn=permissions_count)
    home.chmod(0o755)
    assert done.returncode == 0 and "for its log is kept beside it" in done.stdout, done
    for program in (KIT, PROGRAM):
        copy = ready.path(program.name)
        assert copy.read_bytes() == program.read_bytes() and os.access(copy, os.X_OK)
    assert ready.path("TOSSER.LOG").exists() and not (home / "TOSSER.LOG").exists()


@posix_only("a program at work is replaced")
def test_a_copy_of_cvkit_knows_and_copies_the_installed_programs(ready, home):
    def call(*arguments, path=home):
        return subprocess.run(["./cvkit", *arguments], cwd=ready.root, env=environment(PATH=f"{path}"),
                              capture_output=True, text=True, check=False)

    shutil.copy2(KIT, ready.path("cvkit"))
    assert "copy-outdated" not in call("doctor").stdout
    for name in ("cvkit", "cvtoss32"):
        ready.path(name).write_bytes(ready.path(name).read_bytes() + b"older")
        for command in (["doctor"], ["status", "-v"]):
            told = f"{name} is not the program that is installed, {home}/{name} (copy-outdated)\n"
            assert told in call(*command).stdout
    assert "no installed cvtoss32 was found" in call("setup", "--update", path="/nowhere").stderr
    assert call("setup", "--update").stdout == "cvtoss32 is renewed.\ncvkit is renewed.\n"
    assert call("setup", "--update").stdout == ("cvtoss32 is the installed program.\n"
                                                "cvkit is the installed program.\n")


def test_the_copy_is_renewed_between_runs(ready, kit):
    older = PROGRAM.read_bytes() + b"older"
    assert f"cvkit is in {KIT.name}, where the exchange scripts call it" in kit("setup", "--update").text
    assert "is the installed program" in kit("setup", "--update").text
    ready.program.write_bytes(older)
    given = ["--confdir", "CONF", "--msgdir", "MSG", "--config", "OTHER.CFG"]
    assert "renew it with cvkit setup --update" in kit("setup", *given).text
    if not WINDOWS:
        process = start_waiting(ready)
        assert "another run is at work" in kit("setup", "--update", status=2).errors
        assert ready.program.read_bytes() == older
        kill(process)
        ready.nodes(Node())
    assert "is renewed" in kit("setup", "--update").text
    assert ready.program.read_bytes() == PROGRAM.read_bytes() and not ready.path(PROGRAM.name + ".new").exists()
    ready.program.unlink()
    ready.path(KIT.name).unlink()
    assert kit.json("setup", "--update")["done"] == [
        "There is no copy of the programs beside the configuration: nothing to renew."]
    ready.program.write_bytes(older)
    ready.config("MSGDIR\n")
    assert "cannot be used" in kit("setup", "--update", status=2).errors

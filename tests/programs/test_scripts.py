"""The scripts of script/: all show help and refuse arguments in the same way, and report what failed."""

import os
import pathlib
import shutil
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = sorted(path.name for path in (ROOT / "script").iterdir() if path.is_file() and os.access(path, os.X_OK))
TOOLS = ("dpkg-query", "apt-get", "cmake", "ninja", "clang-format", "python3")
DOCUMENT = """# Kept

<!-- matrix: made by script/reliability -->

the last matrix

<!-- end of matrix -->
<!-- breakages: made by script/reliability -->

the last table

<!-- end of breakages -->
"""


class Place:
    """A copy of the scripts in a tree of their own, and an empty directory to call them from.

    Tools that install or build are replaced by ones that record their calls; each except cmake then succeeds.
    """

    def __init__(self, directory):
        self.tree, self.elsewhere, self.tools = directory / "tree", directory / "elsewhere", directory / "tools"
        self.calls = directory / "calls"
        shutil.copytree(ROOT / "script", self.tree / "script")
        self.elsewhere.mkdir()
        self.tools.mkdir()
        for name in TOOLS:
            self.tool(name, "echo installed")

    def tool(self, name, does):
        path = self.tools / name
        path.write_text(f'#!/bin/sh\necho "{name} $*" >>"{self.calls}"\n{does}\n')
        path.chmod(0o755)

    def file(self, name, content):
        path = self.tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content)
        return path

    def call(self, script, *arguments):
        environment = os.environ | {"PATH": f"{self.tools}:{os.environ['PATH']}"}
        return subprocess.run([self.tree / "script" / script, *arguments], cwd=self.elsewhere, env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              encoding="utf-8", check=False)


@pytest.fixture
def place(tmp_path):
    return Place(tmp_path)


def assert_refused(place, done, script, fault):
    first, *rest = done.stderr.splitlines()
    assert (done.returncode, done.stdout) == (2, "")
    assert first == f"script/{script}: {fault}"
    assert rest and all(line.startswith(f"usage: script/{script}") for line in rest)
    assert not place.calls.exists(), "something was installed or built"
    assert not (place.tree / "build").exists()


def test_there_are_scripts():
    assert {"test", "build", "demo", "reliability"} <= set(SCRIPTS)


@pytest.mark.parametrize("option", ["--help", "-h"])
@pytest.mark.parametrize("script", SCRIPTS)
def test_help_is_shown_and_nothing_is_done(place, script, option):
    done = place.call(script, option)
    assert (done.returncode, done.stderr) == (0, "")
    assert f"\n  script/{script}" in done.stdout and "#" not in done.stdout
    assert not place.calls.exists(), "something was installed or built"
    assert not (place.tree / "build").exists()


@pytest.mark.parametrize("script", SCRIPTS)
def test_an_unknown_option_is_refused(place, script):
    assert_refused(place, place.call(script, "--no-such"), script, "unknown option: --no-such")


MISTAKES = [
    ("bench", ["slow"], "unknown argument: 'slow'"),
    ("bench", ["quick", "quick"], "one argument too many: quick"),
    ("bootstrap", ["test", "tests"], "unknown argument: 'tests'"),
    ("build", ["release", "debug"], "unknown argument: 'debug'"),
    ("build", [""], "unknown argument: ''"),
    ("coverage", ["src"], "one argument too many: src"),
    ("demo", ["here", "there"], "one argument too many: there"),
    ("demo", [""], "a directory has a name"),
    ("format", ["gone.cc"], "no such file: gone.cc"),
    ("fuzz", ["packet", "packets", "5"], "no target 'packets'; there are: packet utf8"),
    ("fuzz", ["0"], "nothing is found in no time"),
    ("lint", ["layout", "door"], "one argument too many: door"),
    ("package", ["quick", "fedora"], "unknown argument: 'fedora'"),
    ("release", ["1.0.0"], "one argument too many: 1.0.0"),
    ("reliability", ["quick", "--self-test"], "one argument too many: --self-test"),
    ("test", ["quick", "quick"], "one argument too many: quick"),
    ("test", ["quick --self-test"], "unknown argument: 'quick --self-test'"),
]


@pytest.mark.parametrize("script, arguments, fault", MISTAKES)
def test_a_wrong_argument_is_refused(place, script, arguments, fault):
    for target in ("packet", "utf8"):
        place.file(f"tests/fuzz/targets/{target}.cc", "")
    assert_refused(place, place.call(script, *arguments), script, fault)


def test_every_script_is_tried_with_a_wrong_argument():
    assert {script for script, _, _ in MISTAKES} == set(SCRIPTS)


def test_a_file_to_format_is_named_from_where_the_caller_is(place):
    (place.elsewhere / "one.cc").touch()
    assert place.call("format", "one.cc").returncode == 0
    assert f"clang-format -i --style=file {place.elsewhere}/one.cc\n" in place.calls.read_text()


@pytest.mark.parametrize("script", ["bench", "coverage", "demo", "fuzz", "reliability"])
def test_a_build_that_fails_is_shown(place, script):
    place.tool("cmake", 'case $1 in --build) echo "one.cc:7: error: no such thing"; exit 1;; esac')
    done = place.call(script)
    assert done.returncode == 1
    assert "one.cc:7: error: no such thing\n" in done.stderr
    log = f"build/{script}-build.log"
    assert f"failed; what it said is in {log} too\n" in done.stderr
    assert "one.cc:7: error: no such thing\n" in (place.tree / log).read_text()


@pytest.mark.parametrize("status", [0, 3])
def test_the_suites_under_wine_need_its_prefix(place, status):
    place.tool("cmake", 'case "$*" in *windows*) ;; *) exit 1 ;; esac')  # no other suites
    place.tool("wineserver", "exit 0")
    place.tool("wineboot", f"exit {status}")
    done = place.call("test")
    ran = [line.split("  ")[0] for line in done.stdout.splitlines()]
    assert ("unit (wine)" in ran) == (status == 0)
    step = next(line for line in done.stdout.splitlines() if line.startswith("wine prefix "))
    assert step.split()[2] == ("FAILED" if status else "done")
    assert ("ended with status 3\n" in done.stdout) == (status == 3)


# The document of script/reliability ------------------------------------------------------------------------------

SELF_TEST = """
import pathlib, sys
if {ends}:
    pathlib.Path(sys.argv[1], "breakages.md").write_text("| what | where | {found} |\\n")
sys.exit({status})
"""


@pytest.mark.parametrize("ends, found, status, why", [
    (False, "", 1, "the self-test did not come to its end"),
    (False, "", 0, "the self-test did not come to its end"),
    (True, "NOT CAUGHT", 1, "not every breakage was noticed"),
], ids=["ended early", "ended without a table", "missed one"])
def test_a_self_test_that_proves_nothing_leaves_the_document(place, ends, found, status, why):
    document = place.file("docs/campaigns.md", DOCUMENT)
    place.file("build/self-test/breakages.md", "| an older table |\n")
    place.file("tests/campaign/self_test.py", SELF_TEST.format(ends=ends, found=found, status=status))
    done = place.call("reliability", "--self-test")
    assert done.returncode == 1
    assert done.stderr == f"script/reliability: docs/campaigns.md stays as it was: {why}\n"
    assert document.read_text() == DOCUMENT


def test_a_self_test_that_misses_nothing_gives_its_table(place):
    document = place.file("docs/campaigns.md", DOCUMENT)
    place.file("build/self-test/breakages.md", "| an older table |\n")
    place.file("tests/campaign/self_test.py", SELF_TEST.format(ends=True, found="caught", status=0))
    done = place.call("reliability", "--self-test")
    assert (done.returncode, done.stderr) == (0, "")
    text = document.read_text()
    assert "\n| what | where | caught |\n" in text and "the last table" not in text
    assert "older" not in text and "the last matrix" in text


CASE = '<testsuite><testcase classname="AFaults" name="a_name" fault_points="{points}">{outcome}</testcase></testsuite>'
GOOD = CASE.format(points=3, outcome="")


def results(place, **campaigns):
    """Makes the campaigns succeed with these results, or with good ones where none are given."""
    campaigns = dict.fromkeys(("faults", "power", "campaigns", "seeds"), GOOD) | campaigns
    for name, content in campaigns.items():
        place.file(f"left/{name}.xml", content)
    copy = f"import shutil; shutil.copytree({str(place.tree / 'left')!r}, 'build/reliability', dirs_exist_ok=True)\n"
    place.file("tests/fuzz/run_targets.py", copy)
    place.file("tests/campaign/test_nothing.py", "def test_nothing():\n    pass\n")
    place.file("build/release/tests/unit_tests", "#!/bin/sh\n").chmod(0o755)
    return place.file("docs/campaigns.md", DOCUMENT)


def test_a_run_without_a_violation_gives_its_matrix(place):
    document = results(place)
    done = place.call("reliability")
    assert (done.returncode, done.stderr) == (0, "")
    text = document.read_text()
    assert "In all: 12 points tried, 0 violations." in text and "the last matrix" not in text
    assert "the last table" in text


def test_points_that_were_repaired_as_well_have_a_row_of_their_own(place):
    repaired = CASE.format(points='3" repaired="2" undecided="1', outcome="")
    document = results(place, power=repaired)
    assert place.call("reliability").returncode == 0
    text = document.read_text()
    assert "| a faults: a name | 1 | 3 | 0 |\n" in text
    assert "| a faults: then cvkit verify --repair, and the same run again | 1 | 2 (1 left undecided) | 0 |\n" in text
    assert "In all: 14 points tried, 0 violations. At 1 points" in text


def test_the_short_form_shows_its_matrix_only(place):
    document = results(place)
    done = place.call("reliability", "quick")
    assert (done.returncode, done.stderr) == (0, "")
    assert "In all: 12 points tried, 0 violations." in done.stdout
    assert document.read_text() == DOCUMENT


@pytest.mark.parametrize("content, status, why", [
    (CASE.format(points=3, outcome="<failure/>"), 1, "violations: 1"),
    (CASE.format(points=0, outcome=""), 1, "'a faults: a name' tried nothing"),
    (CASE.format(points=3, outcome="<skipped/>"), 0, "scenes left out: 1"),
    ("<testsuite/>", 1, "there are no results of faults"),
    ("<testsuite>", 1, "there are no results of faults"),
], ids=["violation", "tried nothing", "left out", "no scenario", "half written"])
def test_a_run_that_is_no_proof_leaves_the_document(place, content, status, why):
    document = results(place, faults=content)
    done = place.call("reliability")
    assert done.returncode == status
    assert done.stderr == f"docs/campaigns.md stays as it was: {why}\n"
    assert document.read_text() == DOCUMENT


def test_a_campaign_that_fails_leaves_the_document(place):
    document = results(place)
    (place.tree / "build/release/tests/unit_tests").write_text("#!/bin/sh\nexit 1\n")
    done = place.call("reliability")
    assert done.returncode == 1
    assert done.stderr == "script/reliability: docs/campaigns.md stays as it was: a campaign failed\n"
    assert document.read_text() == DOCUMENT

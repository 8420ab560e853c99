"""The packages contain what they should, and installing and removing them does not change a site.

    CVTOSS_PACKAGES   the directory of the packages to try; when not set they are made by "script/package quick"
"""

import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import zipfile
from xml.etree import ElementTree

import package_facts
import pytest
from formats.node_status import Node, node_file

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = pathlib.Path(os.environ.get("CVTOSS_PACKAGES") or ROOT / "build" / "packages-quick")
VERSION, _ = package_facts.version_and_date()
DOCUMENTS = "usr/share/doc/cvtoss32"
ENVIRONMENT = os.environ | {"WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml,winemenubuilder.exe="}


def call(*command, **options):
    """Runs a command that must succeed; returns its output."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8", errors="replace", check=False, **options)
    assert done.returncode == 0, done.stdout
    return done.stdout


def made(kind):
    if "CVTOSS_PACKAGES" not in os.environ:
        call(ROOT / "script" / "package", "quick", kind)


def wait_until(condition):
    deadline = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < deadline, "waited in vain"
        time.sleep(0.2)


def contents(directory):
    return {str(path.relative_to(directory)): path.read_bytes() for path in directory.rglob("*") if path.is_file()}


def assert_checksums(*names):
    sums = dict(reversed(line.split("  ")) for line in (PACKAGES / "SHA256SUMS").read_text().splitlines())
    for name in names:
        assert sums[name] == hashlib.sha256((PACKAGES / name).read_bytes()).hexdigest(), name


def assert_parts(directory, platform, *runtimes):
    """Checks that the list of parts has the libraries' installed versions, and that their licences are beside it."""
    sbom = json.loads((directory / "sbom.spdx.json").read_text())
    assert sbom["spdxVersion"] == "SPDX-2.3" and sbom["name"] == f"cvtoss32-{VERSION}-{platform}"
    own, *parts = sbom["packages"]
    assert (own["name"], own["versionInfo"], own["licenseDeclared"]) == ("cvtoss32", VERSION, "MIT")
    assert [part["name"] for part in parts] == ["CLI11", "fmt", "nlohmann-json", "zlib", *runtimes]
    for part in parts:
        package, version = re.fullmatch(r"Debian package (\S+) (\S+)", part["sourceInfo"]).groups()
        assert version == call("dpkg-query", "-W", "-f", "${Version}", package)
        assert re.fullmatch(r"[\d.]+\d", part["versionInfo"]) and part["versionInfo"] in version
        assert "icense" in (directory / "licences" / f"{part['name']}.txt").read_text()
    identifiers = {part["SPDXID"] for part in sbom["packages"]}
    related = {item["relatedSpdxElement"]: item["relationshipType"] for item in sbom["relationships"]}
    assert set(related) == identifiers
    assert related["SPDXRef-zlib"] == ("DYNAMIC_LINK" if platform == "linux" else "STATIC_LINK")


# Debian -----------------------------------------------------------------------------------------------------------

@pytest.fixture(scope="session")
def deb():
    made("debian")
    package, = PACKAGES.glob("cvtoss32_*_amd64.deb")
    return package


class System:
    """A directory that dpkg installs into."""

    def __init__(self, root):
        self.root = root
        for name in ("updates", "info"):
            (root / "var/lib/dpkg" / name).mkdir(parents=True)
        (root / "var/lib/dpkg/status").touch()

    def dpkg(self, *arguments):
        user = [] if os.geteuid() == 0 else ["fakeroot"]
        return call(*user, "dpkg", f"--root={self.root}", "--force-not-root,depends", "--log=/dev/null", *arguments)

    def files(self):
        return sorted(str(path.relative_to(self.root)) for path in (self.root / "usr").rglob("*") if path.is_file())


@pytest.fixture
def system(tmp_path):
    return System(tmp_path / "system")


@pytest.fixture
def site(tmp_path):
    call(sys.executable, "-B", ROOT / "examples" / "make_site.py", "site", tmp_path / "site")
    return tmp_path / "site"


def test_debian_lintian_finds_neither_error_nor_warning(deb):
    sources = PACKAGES.glob("*.dsc")
    assert call("lintian", "--no-cfg", "--allow-root", "--fail-on", "error,warning", deb, *sources) == ""


def test_debian_package_holds_all_that_an_operator_needs(deb, system):
    assert_checksums(deb.name)
    system.dpkg("--install", deb)
    manual = [f"usr/share/man/{page}.gz" for page in ("man1/cvtoss32.1", "man1/cvkit.1", "man5/cvtoss32.cfg.5")]
    completions = ["bash-completion/completions/cvkit", "fish/vendor_completions.d/cvkit.fish"]
    ready = ["service", "timer", "cron", "logrotate"]
    wanted = {"usr/bin/cvtoss32", "usr/bin/cvkit", *manual, *(f"usr/share/{name}" for name in completions),
              *(f"{DOCUMENTS}/packaging/cvtoss32.{name}" for name in ready), f"{DOCUMENTS}/examples/CVTOSS32.CFG",
              f"{DOCUMENTS}/README.md", f"{DOCUMENTS}/CHANGELOG.md", f"{DOCUMENTS}/docs/operators-guide.md"}
    assert wanted - set(system.files()) == set()
    for forced in ("etc", "lib", "var/spool"):
        assert not (system.root / forced).exists(), "a service or a schedule is forced on the system"
    assert call(system.root / "usr/bin/cvkit", "--version") == "cvkit 1.05 Beta 5\n"
    assert_parts(system.root / DOCUMENTS, "linux")


def higher(deb, directory, by):
    """The same package with a higher version, and with programs that differ."""
    tree, made_deb = directory / f"tree{by}", directory / f"higher{by}.deb"
    call("dpkg-deb", "--raw-extract", deb, tree)
    control = tree / "DEBIAN/control"
    control.write_text(re.sub(r"(?m)^Version: (.*)$", rf"Version: \1+{by}", control.read_text()))
    for name in ("cvtoss32", "cvkit"):
        with open(tree / "usr/bin" / name, "ab") as program:
            program.write(bytes(by))
    call("dpkg-deb", "--root-owner-group", "--build", tree, made_deb)
    return made_deb


def test_debian_upgrade_and_removal_touch_neither_the_site_nor_a_run_at_work(deb, system, site, tmp_path):
    system.dpkg("--install", deb)
    log = system.root / "usr/bin/TOSSER.LOG"
    readme = (ROOT / "packaging/debian/README.Debian").read_text()
    commands = re.findall(r"(?m)^    (.*)$", readme)
    given = " --force --yes --confdir . --msgdir MSGS --inbound FTN/INBOUND --outdir FTN/OUTBOUND --hub 2:999/1"
    given += " --address 2:999/42 --system Here"
    environment = os.environ | {"PATH": f"{system.root}/usr/bin:{os.environ['PATH']}"}

    def follow(command):
        command = re.sub("setup$", "setup" + given, command)
        return call("sh", "-c", command.replace("/usr/", f"{system.root}/usr/").replace("/srv/bbs/ftn", str(site)),
                    env=environment)

    assert len(commands) == 3
    for command in commands[:2]:
        follow(command)
    system.dpkg("--install", higher(deb, tmp_path, 1))
    assert follow(commands[2]) == "cvtoss32 is renewed.\ncvkit is renewed.\n"
    call(site / "cvtoss32-exchange", site)
    assert len(list((site / "FTN/INBOUND/processed").iterdir())) == 4

    # A run of the installed program, which the upgrade replaces, waits for a caller.
    shutil.copy(site / "FTN/INBOUND/processed/5c3e1b07.pkt", site / "FTN/INBOUND")
    idle = (site / "WORK/CVWHOSON.DAT").read_bytes()
    (site / "WORK/CVWHOSON.DAT").write_bytes(node_file([Node(user=5)]))
    with subprocess.Popen([system.root / "usr/bin/cvtoss32", "-toss"], cwd=site, stdout=subprocess.DEVNULL) as run:
        wait_until(lambda: log.exists() and "in use" in log.read_text())
        before = contents(site)
        assert "MSGS/CVTOSS.BSY" in before
        system.dpkg("--install", higher(deb, tmp_path, 2))
        assert f"Version: {VERSION}+2\n" in system.dpkg("--status", "cvtoss32")
        system.dpkg("--remove", "cvtoss32")
        system.dpkg("--purge", "cvtoss32")
        assert system.files() == ["usr/bin/TOSSER.LOG"], "more is left than the run's own log"
        assert contents(site) == before and run.poll() is None

        (site / "WORK/CVWHOSON.DAT").write_bytes(idle)
        assert run.wait(timeout=60) == 0
    assert not (site / "FTN/INBOUND/5c3e1b07.pkt").exists() and not (site / "MSGS/CVTOSS.BSY").exists()


# Windows ----------------------------------------------------------------------------------------------------------

@pytest.fixture(scope="session")
def windows_packages():
    made("windows")


@pytest.fixture
def unpacked(windows_packages, tmp_path):
    def unpack(bits):
        name = f"cvtoss32-{VERSION}-windows-{bits}"
        assert_checksums(f"{name}.zip")
        with zipfile.ZipFile(PACKAGES / f"{name}.zip") as archive:
            archive.extractall(tmp_path / "unpacked")
        assert [path.name for path in (tmp_path / "unpacked").iterdir()] == [name]
        return tmp_path / "unpacked" / name
    return unpack


@pytest.mark.parametrize("bits", ["x64", "x86"])
def test_windows_zip_holds_all_that_an_operator_needs(unpacked, bits):
    directory = unpacked(bits)
    found = contents(directory)
    ready = {"packaging/cvtoss32-exchange.cmd", "packaging/cvtoss32-task.xml", "examples/CVTOSS32.CFG"}
    documents = {"README.txt", "LICENSE.txt", "CHANGELOG.txt", "docs/operators-guide.txt", "docs/cvtoss32.cfg.txt",
                 "docs/cvtoss32.txt", "docs/cvkit.txt"}
    assert {"cvtoss32.exe", "cvkit.exe", "sbom.spdx.json"} | ready | documents <= set(found)
    for name, data in found.items():
        if not name.endswith(".exe"):
            assert data.count(b"\n") == data.count(b"\r\n") > 0, name
            assert b"\x1b" not in data and b"\b" not in data, f"{name} is for a terminal"
        else:
            shown = data.decode("utf-16-le", "replace")
            assert re.search(f"ProductVersion\0+{re.escape(VERSION.removesuffix('+dev'))}\0", shown)
            assert data.count(b"requestedExecutionLevel") == 1
    links = re.findall(r"\]\(([^)#:]+)[#)]", found["README.txt"].decode() + found["CHANGELOG.txt"].decode())
    assert links and [link for link in links if link not in found] == []
    assert_parts(directory, f"windows-{bits}", "gcc-runtime", "mingw-w64-runtime")


def test_windows_programs_of_the_zip_pass_the_smoke_cases(unpacked):
    environment = ENVIRONMENT | {"CVTOSS32_PROGRAM": str(unpacked("x64") / "cvtoss32.exe"), "CVTOSS32_RUNNER": "wine"}
    smoke = ["tests/e2e/test_first_toss.py", "tests/kit/test_program.py",
             "tests/e2e/test_scan_run.py::test_one_message_is_exported_and_everything_else_stays_as_it_was"]
    report = call(sys.executable, "-B", "-m", "pytest", "-v", *smoke, cwd=ROOT, env=environment)
    assert " passed" in report


def installed_names():
    """The names that the installer installs: the files of either zip."""
    with zipfile.ZipFile(PACKAGES / f"cvtoss32-{VERSION}-windows-x64.zip") as archive:
        return sorted(name.partition("/")[2] for name in archive.namelist() if not name.endswith("/"))


def test_windows_installer_holds_the_files_of_both_zips(windows_packages):
    setup = f"cvtoss32-{VERSION}-windows-setup.exe"
    assert_checksums(setup)
    listed = re.findall(r"(?m)^Path = (.*)$", call("7z", "l", "-slt", PACKAGES / setup))
    assert set(installed_names()) - set(listed) == set()
    assert (listed.count("cvtoss32.exe"), listed.count("cvkit.exe")) == (2, 2), "not for 64 and for 32 bits"


@pytest.fixture
def wine(tmp_path):
    """Runs a Windows program in a prefix of its own."""
    environment = ENVIRONMENT | {"WINEPREFIX": str(tmp_path / "wine"), "WINEARCH": "win64"}
    yield lambda *command: subprocess.run(["wine", *map(str, command)], env=environment, stdin=subprocess.DEVNULL,
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False, timeout=180)
    subprocess.run(["wineserver", "--kill"], env=environment, check=False)


@pytest.fixture(params=["x86", "amd64"])
def installer(request, unpacked, tmp_path, wine):
    """The installer as it is released; and its script's 64-bit form, for a Wine that runs no program of 32 bits."""
    if request.param == "x86":
        if b"cvkit" not in wine(unpacked("x86") / "cvkit.exe", "--version").stdout:
            pytest.skip("this Wine runs no program of 32 bits, and the installer is one")
        return PACKAGES / f"cvtoss32-{VERSION}-windows-setup.exe"
    call("makensis", "-NOCD", "-V2", "-DTARGET=amd64-unicode", f"-DVERSION={VERSION}", "-DNUMBERS=1.0.0.0",
         f"-DFILES={PACKAGES}/work/windows/files.nsh", f"-DOUTPUT={tmp_path}/setup.exe",
         "packaging/windows/installer.nsi", cwd=ROOT)
    return tmp_path / "setup.exe"


def test_windows_installer_installs_schedules_and_leaves_the_site_when_it_goes(installer, wine, site, tmp_path):
    target = tmp_path / "wine/drive_c/cvtoss32"
    there = "/SITE=Z:" + str(site).replace("/", "\\")
    assert wine(installer, "/S", "/TASK", there, "/D=C:\\cvtoss32").returncode == 0
    assert sorted(contents(target)) == sorted([*installed_names(), "uninstall.exe"])
    for name in ("cvtoss32.exe", "cvkit.exe"):
        assert (site / name).read_bytes() == (target / name).read_bytes()
    assert (site / "cvtoss32-exchange.cmd").exists()
    task = tmp_path / "wine/drive_c/windows/system32/tasks/cvtoss32 mail exchange"
    assert task.exists()
    ElementTree.parse(site / "cvtoss32-task.xml")
    definition = (site / "cvtoss32-task.xml").read_text(encoding="utf-16")
    assert there.removeprefix("/SITE=") + "\\cvtoss32-exchange.cmd</Command>" in definition
    assert "<ExecutionTimeLimit>PT0S<" in definition and "CVBBS" not in definition
    (target / "TOSSER.LOG").write_text("of a run of the installed program\n")
    before = contents(site)
    wine(target / "uninstall.exe", "/S")
    wait_until(lambda: sorted(contents(target)) == ["TOSSER.LOG"])
    assert contents(site) == before and not task.exists()


# All of it, again --------------------------------------------------------------------------------------------------

def copy_of_the_tree(directory):
    names = call("git", "-C", ROOT, "ls-files", "--cached", "--others", "--exclude-standard").splitlines()
    for name in filter(lambda name: (ROOT / name).exists(), names):
        (directory / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / name, directory / name)
    return directory


@pytest.mark.slow
def test_two_builds_elsewhere_and_at_another_time_are_the_same_bytes(tmp_path):
    one, other = copy_of_the_tree(tmp_path / "one"), copy_of_the_tree(tmp_path / "elsewhere" / "deeper")
    call("sh", "-c", "umask 022; script/package", cwd=one)
    call("faketime", "-f", "+400d", "sh", "-c", "umask 077; TZ=Asia/Tokyo LC_ALL=C script/package", cwd=other)
    sums = [(tree / "build/packages/SHA256SUMS").read_text() for tree in (one, other)]
    assert len(sums[0].splitlines()) == 6 and sums[0] == sums[1]


@pytest.mark.slow
def test_the_program_that_is_packed_is_the_one_that_the_suites_tried(deb, tmp_path):
    call("dpkg-deb", "--extract", deb, tmp_path)
    for name in ("cvtoss32", "cvkit"):
        tried = tmp_path / f"{name}-tried"
        call("strip", "--remove-section=.comment", "--remove-section=.note", "-o", tried, ROOT / "build/release" / name)
        assert (tmp_path / "usr/bin" / name).read_bytes() == tried.read_bytes()

"""The program builds without a preset and without GoogleTest, and installs to the given directory."""

import pathlib
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "plain"
LINK = re.compile(r"\]\(([^)\s]+)\)")
RUNTIME = {"libc", "libm", "libstdc++", "libgcc_s", "libz"}
HEADING = re.compile(r"(?m)^#+ +(.+?) *$")


def cmake(*arguments):
    done = subprocess.run(["cmake", *arguments], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    assert done.returncode == 0, done.stdout


def libraries_of(program):
    """The shared libraries that a program is linked with, without their versions."""
    dynamic = subprocess.run(["readelf", "-d", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    return {name.partition(".so")[0] for name in re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic)}


def anchors(document):
    """The anchors of the headings of a document."""
    headings = HEADING.findall(re.sub(r"(?ms)^```.*?^```", "", document.read_text(encoding="utf-8")))
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def links_of(directory):
    """(document, link) of each link to a file, in the documents below a directory."""
    for document in sorted(directory.rglob("*.md")):
        for link in LINK.findall(document.read_text(encoding="utf-8")):
            if "://" not in link:
                yield document, link


def leads_somewhere(document, link):
    name, _, anchor = link.partition("#")
    target = document.parent / name if name else document
    return target.exists() and (not anchor or anchor in anchors(target))


def test_plain_build_installs(tmp_path):
    """What of cvkit is installed is told by the test of the package for Debian."""
    shutil.rmtree(BUILD, ignore_errors=True)
    cmake("-B", BUILD, "-DCVTOSS_KIT=OFF", "-DCVTOSS_GTEST_SOURCE=/nonexistent", f"-DCMAKE_INSTALL_PREFIX={tmp_path}")
    assert not (BUILD / "kit_include").exists(), "the tosser alone needs none of the libraries of cvkit"
    assert "CMAKE_BUILD_TYPE:STRING=Release\n" in (BUILD / "CMakeCache.txt").read_text()
    cmake("--build", BUILD, "--parallel", "2")
    assert (BUILD / "cvtoss32").is_file()

    cmake("--install", BUILD)
    assert not (tmp_path / "bin" / "cvkit").exists()
    assert (tmp_path / "share/man/man5/cvtoss32.cfg.5").is_file()
    program = tmp_path / "bin" / "cvtoss32"
    assert program.is_file()
    assert {"libc"} <= libraries_of(program) <= RUNTIME
    done = subprocess.run([program, "-?"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert done.returncode in (0, 1), "the installed program does not start"
    assert re.search(rb"__(?!stack)\w+_chk\0", program.read_bytes()), "the calls that check sizes are not in use"
    assert str(ROOT).encode() not in program.read_bytes(), "the program holds a path of this machine"
    documents = tmp_path / "share" / "doc" / "cvtoss32"
    for name in ("LICENSE", "docs/operators-guide.md", "examples/CVTOSS32.CFG", "packaging/cvtoss32.service"):
        assert (documents / name).is_file(), name
    assert not (documents / "packaging" / "debian").exists() and not (documents / "packaging" / "windows").exists()
    assert (documents / "packaging" / "cvtoss32-exchange").stat().st_mode & 0o111, "the exchange script cannot be run"
    links = list(links_of(documents))
    assert (documents / "README.md", "docs/operators-guide.md") in links
    assert [(document.name, link) for document, link in links if not leads_somewhere(document, link)] == []
    manual = tmp_path / "share" / "man" / "man1" / "cvtoss32.1"
    assert manual.read_text(encoding="ascii").startswith(".TH CVTOSS32 1 ")


def test_a_compiler_that_hardens_by_itself_gives_no_warning(tmp_path):
    hardened = "-DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3"
    cmake("-G", "Ninja", "-B", tmp_path, "-DCVTOSS_WERROR=ON", "-DCMAKE_BUILD_TYPE=Release", hardened)
    cmake("--build", tmp_path, "--target", "CMakeFiles/cvtoss32.dir/src/app/main.cc.o")

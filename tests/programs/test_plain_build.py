"""The program builds without a preset and without GoogleTest, and installs to the given directory."""

import pathlib
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "plain"
LINK = re.compile(r"\]\(([^)\s]+)\)")
HEADING = re.compile(r"(?m)^#+ +(.+?) *$")


def cmake(*arguments):
    done = subprocess.run(["cmake", *arguments], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    assert done.returncode == 0, done.stdout


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
    shutil.rmtree(BUILD, ignore_errors=True)
    cmake("-B", BUILD, "-DCVTOSS_GTEST_SOURCE=/nonexistent", f"-DCMAKE_INSTALL_PREFIX={tmp_path}")
    assert "CMAKE_BUILD_TYPE:STRING=Release\n" in (BUILD / "CMakeCache.txt").read_text()
    cmake("--build", BUILD, "--parallel", "2")
    assert (BUILD / "cvtoss32").is_file()

    cmake("--install", BUILD)
    kit = subprocess.run([tmp_path / "bin" / "cvkit", "--version"], stdout=subprocess.PIPE, text=True, check=True)
    assert kit.stdout == "cvkit 1.05 Beta 5\n"
    for name in ("man/man1/cvkit.1", "man/man5/cvtoss32.cfg.5", "bash-completion/completions/cvkit",
                 "fish/vendor_completions.d/cvkit.fish"):
        assert (tmp_path / "share" / name).is_file(), name
    program = tmp_path / "bin" / "cvtoss32"
    assert program.is_file()
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


def test_the_tosser_alone_needs_none_of_the_libraries_of_cvkit(tmp_path):
    cmake("-B", tmp_path, "-DCVTOSS_KIT=OFF")
    assert not (tmp_path / "kit_include").exists()


def test_a_compiler_that_hardens_by_itself_gives_no_warning(tmp_path):
    hardened = "-DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3"
    cmake("-G", "Ninja", "-B", tmp_path, "-DCVTOSS_WERROR=ON", "-DCMAKE_BUILD_TYPE=Release", hardened)
    cmake("--build", tmp_path, "--target", "CMakeFiles/cvtoss32.dir/src/app/main.cc.o")

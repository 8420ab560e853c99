"""The program alone builds without a preset and without GoogleTest, and installs where it is told to."""

import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "plain"


def cmake(*arguments):
    done = subprocess.run(["cmake", *arguments], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    assert done.returncode == 0, done.stdout


def test_plain_build_installs(tmp_path):
    shutil.rmtree(BUILD, ignore_errors=True)
    cmake("-B", BUILD, "-DCVTOSS_GTEST_SOURCE=/nonexistent", f"-DCMAKE_INSTALL_PREFIX={tmp_path}")
    assert "CMAKE_BUILD_TYPE:STRING=Release\n" in (BUILD / "CMakeCache.txt").read_text()
    cmake("--build", BUILD, "--parallel", "2")
    assert (BUILD / "cvtoss32").is_file()

    cmake("--install", BUILD)
    program = tmp_path / "bin" / "cvtoss32"
    assert program.is_file()
    done = subprocess.run([program, "-?"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert done.returncode in (0, 1), "the installed program does not start"
    assert str(ROOT).encode() not in program.read_bytes(), "the program holds a path of this machine"
    documents = tmp_path / "share" / "doc" / "cvtoss32"
    for name in ("LICENSE", "operators-guide.md", "examples/CVTOSS32.CFG", "packaging/cvtoss32.service"):
        assert (documents / name).is_file(), name
    assert (documents / "packaging" / "cvtoss32-exchange").stat().st_mode & 0o111, "the exchange script cannot be run"
    manual = tmp_path / "share" / "man" / "man1" / "cvtoss32.1"
    assert manual.read_text(encoding="ascii").startswith(".TH CVTOSS32 1 ")

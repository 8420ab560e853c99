"""C++ is formatted with clang-format (script/format does it); other text files follow a few plain rules."""

import os
import shutil
import subprocess

from source_tree import ROOT, fail_on, files_under, shown


def tracked_files():
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "-z"], stdout=subprocess.PIPE, check=False).stdout
    names = [name for name in listed.decode().split("\0") if name]
    if not names:  # an exported tree rather than a checkout
        names = [shown(path) for path in ROOT.rglob("*") if path.is_file() and not shown(path).startswith("build/")]
    return [ROOT / name for name in names if (ROOT / name).is_file()]


def is_text(content):
    return b"\0" not in content


def first_line(path):
    with open(path, "rb") as file:
        return file.readline()


def shell_scripts():
    return [path for path in tracked_files() if first_line(path).startswith(b"#!") and b"bash" in first_line(path)]


def test_cpp_is_formatted():
    sources = files_under("src", "tests", "bench", "examples")
    if sources:
        done = subprocess.run(["clang-format", "--dry-run", "-Werror", "--style=file", *sources], cwd=ROOT,
                              stderr=subprocess.PIPE, text=True, check=False)
        assert done.returncode == 0, "run script/format:\n" + done.stderr


def test_sources_are_plain_text():
    complaints = []
    suffixes = (".cc", ".h", ".py", ".sh", ".cmake", "")
    for path in files_under("src", "tests", "bench", "cmake", "script", suffixes=suffixes):
        content = path.read_bytes()
        if not is_text(content):
            continue
        if b"\r" in content:
            complaints.append(f"{shown(path)}: has a CR")
        if b"\t" in content:
            complaints.append(f"{shown(path)}: has a TAB")
        if content and not content.endswith(b"\n"):
            complaints.append(f"{shown(path)}: its last line has no end")
        for number, line in enumerate(content.split(b"\n"), start=1):
            if line.endswith(b" "):
                complaints.append(f"{shown(path)}:{number}: ends in a blank")
            # clang-format breaks C++ lines where that is possible; an exact text must stay one literal.
            if path.suffix not in (".cc", ".h") and len(line.decode("utf-8", "replace")) > 120:
                complaints.append(f"{shown(path)}:{number}: is longer than 120 characters")
    fail_on(complaints)


def test_shell_scripts_are_sound():
    complaints = []
    for path in shell_scripts():
        if not os.access(path, os.X_OK) and path.parts[-2] == "script":
            complaints.append(f"{shown(path)}: is not executable")
        if b"\nset -euo pipefail\n" not in path.read_bytes():
            complaints.append(f"{shown(path)}: lacks 'set -euo pipefail'")
    fail_on(complaints)
    if shutil.which("shellcheck") and shell_scripts():
        done = subprocess.run(["shellcheck", *shell_scripts()], stdout=subprocess.PIPE, text=True, check=False)
        assert done.returncode == 0, done.stdout

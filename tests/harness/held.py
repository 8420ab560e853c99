"""Files that another process holds open, and files that are read-only."""

import contextlib
import functools
import os
import shutil
import subprocess
import tempfile
from pathlib import Path
from typing import Iterator

import pytest

from harness.limits import permissions_count
from harness.target import RUNNER, WINDOWS, environment

COMPILER = "x86_64-w64-mingw32-gcc"
HOLDER = """
#include <stdio.h>
#include <string.h>
#include <windows.h>

int main(int count, char** words) {
  DWORD share = (strchr(words[1], 'r') ? FILE_SHARE_READ : 0) | (strchr(words[1], 'w') ? FILE_SHARE_WRITE : 0);
  HANDLE file = CreateFileA(words[2], GENERIC_READ, share, NULL, OPEN_EXISTING, 0, NULL);
  puts(count == 3 && file != INVALID_HANDLE_VALUE ? "held" : "failed");
  fflush(stdout);
  return getchar();
}
"""


@functools.cache
def _holder() -> tempfile.TemporaryDirectory[str]:
    """A directory with a Windows program that opens a file, lets others do what it is told, and waits for input."""
    if shutil.which(COMPILER) is None:
        pytest.skip(f"holding a file as another Windows program needs {COMPILER}")
    directory = tempfile.TemporaryDirectory(prefix="holder-")
    Path(directory.name, "hold.c").write_text(HOLDER)
    subprocess.run([COMPILER, "-o", "hold.exe", "hold.c"], cwd=directory.name, check=True)
    return directory


@contextlib.contextmanager
def held(path: Path, share: str = "") -> Iterator[None]:
    """Within the context another process has the file open. On Windows others may then only read ("r") or write ("w").

    On POSIX systems an open file does not restrict others.
    """
    if not WINDOWS:
        with path.open("r+b"):
            yield
        return
    with subprocess.Popen(
        [*RUNNER, f"{_holder().name}/hold.exe", "=" + share, path.name],
        cwd=path.parent,
        env=environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    ) as holder:
        assert holder.stdout.readline().strip() == b"held"
        yield
        holder.stdin.close()
        holder.wait(timeout=60)


@contextlib.contextmanager
def read_only(path: Path, movable: bool = False) -> Iterator[dict]:
    """Within the context the file cannot be opened for writing; yields the options that a run needs for that.

    Wine opens files as the user who started it, and root may write read-only files: there the file is made immutable as
    well, unless it has to stay movable.
    """
    mode = path.stat().st_mode
    path.chmod(0o444)
    fixed = WINDOWS and not movable and os.geteuid() == 0
    try:
        if fixed and subprocess.run(["chattr", "+i", path], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            pytest.skip("this file system knows no immutable files")
        yield {} if WINDOWS else {"preexec_fn": permissions_count}
    finally:
        if fixed:
            subprocess.run(["chattr", "-i", path], stderr=subprocess.DEVNULL, check=False)
        if path.exists():
            path.chmod(mode)

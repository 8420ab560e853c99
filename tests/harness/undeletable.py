"""Files that nobody can remove, not even root."""

import contextlib
import subprocess
from pathlib import Path
from typing import Iterator

import pytest

from harness.target import WINDOWS


@contextlib.contextmanager
def undeletable(path: Path) -> Iterator[None]:
    """Within the context the file cannot be removed or renamed: it is read-only on Windows, immutable on Linux."""
    if WINDOWS:
        mode = path.stat().st_mode
        path.chmod(0o444)
        try:
            yield
        finally:
            path.chmod(mode)
        return
    if subprocess.run(["chattr", "+i", path], stderr=subprocess.DEVNULL, check=False).returncode != 0:
        pytest.skip("this file system, or this user, knows no immutable files")
    try:
        yield
    finally:
        subprocess.run(["chattr", "-i", path], check=True)

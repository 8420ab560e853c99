"""The program under test and the platform it is for.

    CVTOSS32_PROGRAM  the program; build/release/cvtoss32 in the source tree when not set
                      (cvkit is taken from beside it)
    CVTOSS32_RUNNER   what runs it: empty, or "wine" for a Windows program
"""

import os
import shlex
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
PROGRAM = Path(os.environ.get("CVTOSS32_PROGRAM") or ROOT / "build/release/cvtoss32")
RUNNER = shlex.split(os.environ.get("CVTOSS32_RUNNER") or "")
WINDOWS = bool(RUNNER)
LINE_END = b"\r\n" if WINDOWS else b"\n"

if not PROGRAM.is_absolute():
    PROGRAM = ROOT / PROGRAM
KIT = PROGRAM.with_name("cvkit" + PROGRAM.suffix)


def environment(**changes: str) -> dict[str, str]:
    return os.environ | {"WINEDEBUG": "-all"} | changes


def posix_only(reason: str) -> pytest.MarkDecorator:
    return pytest.mark.skipif(WINDOWS, reason=f"POSIX only: {reason}")


def to_line_feeds(data: bytes) -> bytes:
    """Converts the platform's line ends to LF. Every line end must be the platform's."""
    if not WINDOWS:
        return data
    assert data.count(b"\n") == data.count(b"\r\n"), "a line does not end in CR LF"
    return data.replace(b"\r\n", b"\n")


def platform_text(data: bytes) -> bytes:
    """Converts LF to the platform's line ends."""
    return data.replace(b"\n", LINE_END)

"""A disk whose power can be cut: an image with a file system, and copies of that image.

Data that the file system has not written to the image are lost with the power. A copy is the disk after the cut; it is
mounted as by a system that starts again.
"""

import os
import subprocess
import time
from contextlib import contextmanager
from pathlib import Path
from typing import Iterator

from harness.site import Site
from harness.target import PROGRAM, RUNNER

MEGABYTES = 24
SOON = 1
"""Seconds; the system writes data that no program waits for after five at the earliest, mostly after thirty."""


class LaidSite(Site):
    """A site that exists already."""

    def __init__(self, root: Path):
        self.root = root
        self.program = root / PROGRAM.name


def call(*command: object) -> bool:
    return subprocess.run([str(word) for word in command], capture_output=True, check=False).returncode == 0


@contextmanager
def mounted(image: Path, at: Path) -> Iterator[None]:
    at.mkdir(exist_ok=True)
    subprocess.run(["mount", "-t", "ext4", "-o", "loop", image, at], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", at], check=True)


def make_image(image: Path) -> bool:
    with image.open("wb") as file:
        file.truncate(MEGABYTES << 20)
    return call("mkfs.ext4", "-q", "-F", image)


def can_mount(directory: Path) -> bool:
    """Root, on a Linux with loop devices and ext4."""
    if RUNNER or not hasattr(os, "geteuid") or os.geteuid() != 0 or not make_image(directory / "probe"):
        return False
    point = directory / "probe.mounted"
    point.mkdir()
    able = call("mount", "-t", "ext4", "-o", "loop", directory / "probe", point)
    return able and call("umount", point)


class Disk:
    """An image with a site on it, mounted."""

    def __init__(self, directory: Path):
        self.directory = directory
        self.image = directory / "disk"
        self.copies = 0
        assert make_image(self.image)

    @contextmanager
    def in_use(self) -> Iterator[Site]:
        with mounted(self.image, self.directory / "mounted"):
            yield Site(self.directory / "mounted/site")

    def settle(self) -> None:
        """Writes everything to the disk."""
        subprocess.run(["sync", "-f", self.directory / "mounted"], check=True)

    @contextmanager
    def after_a_cut(self) -> Iterator[Site]:
        """The site as it is on the disk now. As copying takes time, two equal copies are required."""
        before, now = b"", self.image.read_bytes()
        while before != now:
            before, now = now, self.image.read_bytes()
        copy = self.directory / "copy"
        copy.write_bytes(now)
        with mounted(copy, self.directory / "restarted"):
            yield LaidSite(self.directory / "restarted/site")


def wait_for_what_is_not_waited_for() -> None:
    time.sleep(SOON)

"""A disk with every free size from nothing to what the run needs, block by block."""

import os
import subprocess
from contextlib import contextmanager
from pathlib import Path
from typing import Iterator

import pytest

from harness.site import LOG, Site
from harness.target import RUNNER
from tools.count import Count, rounds
from tools.faulty import FaultyScan, FaultyToss, Scene, try_once
from tools.sites import Sites

BLOCK = 4096
ROOMY = "size=8m"
MOST_BLOCKS = 300


def can_mount(directory: Path) -> bool:
    if RUNNER or not hasattr(os, "geteuid") or os.geteuid() != 0:
        return False
    made = subprocess.run(["mount", "-t", "tmpfs", "tmpfs", directory], capture_output=True, check=False)
    if made.returncode == 0:
        subprocess.run(["umount", directory], check=True)
    return made.returncode == 0


@pytest.fixture
def mountable(tmp_path):
    if not can_mount(tmp_path):
        pytest.skip("needs the right to mount a small disk")


@contextmanager
def disk(directory: Path) -> Iterator[None]:
    directory.mkdir(exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", ROOMY, "tmpfs", directory], check=True)
    filler = directory / "lost+found/filler"  # a disk of size 0 would be without limits
    filler.parent.mkdir()
    filler.write_bytes(b"x")
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", directory], check=True)


def resize(directory: Path, size: str) -> None:
    subprocess.run(["mount", "-o", f"remount,{size}", directory], check=True)


def leave_free(directory: Path, blocks: int) -> None:
    found = os.statvfs(directory)
    used = (found.f_blocks - found.f_bfree) * found.f_frsize
    resize(directory, f"size={used + blocks * BLOCK}")
    found = os.statvfs(directory)
    assert found.f_bfree * found.f_frsize == blocks * BLOCK


def try_with(site: Site, scene: Scene, directory: Path, free: int) -> bool:
    """Whether that many free blocks were enough for everything, including the log."""

    def fill() -> dict:
        leave_free(directory, free)
        return {}

    faulty = try_once(site, scene, fill, lambda: resize(directory, ROOMY))
    ended = faulty.stamps[-1] + "] " + faulty.raw_lines[-1]
    return faulty.status == 0 and ended.encode("latin-1") in site.read(LOG)


def try_every_free_size(sites: Sites, scene: Scene, part: str, count: Count) -> None:
    enough = False
    for free in range(MOST_BLOCKS):
        if part == ".":
            directory = sites.next_root().parent
            with disk(directory):
                site = sites.fresh()
                scene.lay(site)
                enough = try_with(site, scene, directory, free)
        else:
            site = sites.fresh()
            with disk(site.path(part)):
                scene.lay(site)
                enough = try_with(site, scene, site.path(part), free)
        count.one()
        if enough:
            break
    assert enough and count.points > 1, "the disk was never full, or always"


@pytest.mark.parametrize("part", [".", "MSG"])
def test_a_toss_onto_a_full_disk_stores_whole_messages_or_nothing(mountable, sites, count, part):
    try_every_free_size(sites, FaultyToss(messages=rounds(12, 50)), part, count)


@pytest.mark.parametrize("part", [".", "MSG", "OUT"])
def test_a_scan_onto_a_full_disk_publishes_a_whole_bundle_or_nothing(mountable, sites, count, part):
    try_every_free_size(sites, FaultyScan(messages=rounds(8, 24)), part, count)

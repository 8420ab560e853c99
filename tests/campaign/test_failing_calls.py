"""Single system calls that fail as after a signal, on another file system, on an older kernel or on a dying disk."""

import os
import tempfile
from pathlib import Path

import pytest

from harness.run import Run, unstamp
from harness.site import LOCK, LOG, Site
from tools.faulty import FaultyScan, FaultyToss, Scene, has_trouble
from tools.halts import calls
from tools.kills import LIMIT, needs_strace, strace
from tools.repairs import age_an_empty_lock
from tools.toss_scene import SOURCE

pytestmark = needs_strace

SCENES = {"toss": FaultyToss(), "scan": FaultyScan()}
TOSS = SCENES["toss"]
NO_RENAME = "renameat2:error=EINVAL"


def run(site: Site, scene: Scene, *failures: str) -> Run:
    """A run in which strace makes calls fail: "call:error=NAME:when=N" the Nth one of that kind."""
    inject = [word for failure in failures for word in ("-e", f"inject={failure}")]
    traced = ",".join(failure.split(":")[0] for failure in failures)
    process = strace(site, scene.mode, "-e", f"trace={traced}", *inject)
    _, errors = process.communicate(timeout=LIMIT)
    return Run(process.returncode, errors.decode(), *unstamp(site.read(LOG)))


def assert_promises(site: Site, scene: Scene, *failures: str) -> Run:
    """The promises hold after that run, and the next one finishes what it left."""
    before = site.snapshot()
    faulty = run(site, scene, *failures)
    scene.assert_kept(site, before, faulty)
    scene.assert_finished(site)
    return faulty


@pytest.fixture
def site(sites):
    return sites.fresh()


@pytest.fixture
def other_disk(site):
    with tempfile.TemporaryDirectory(dir="/dev/shm") as directory:
        if os.stat(directory).st_dev == os.stat(site.root).st_dev:
            pytest.skip("there is only one file system here")
        yield Path(directory)


@pytest.mark.parametrize("scene", SCENES)
def test_calls_that_signals_interrupt_are_made_again(sites, scene):
    """Every second call is interrupted, except those that load the program; of those that open files, one is."""
    site = sites.fresh()
    SCENES[scene].lay(site)
    (opened,) = calls(site, SCENES[scene].mode, "openat", LOCK)
    site = sites.fresh()
    SCENES[scene].lay(site)
    failures = [f"{call}:error=EINTR:when=1+2" for call in ("pwrite64", "fdatasync", "fsync")]
    failures += [f"{call}:error=EINTR:when=20+2" for call in ("pread64", "write")]
    failures.append(f"openat:error=EINTR:when={opened.nth}")
    assert not has_trouble(assert_promises(site, SCENES[scene], *failures))


MISSING = [
    *((f"renameat2:error={error}",) for error in ("EINVAL", "ENOSYS", "EPERM")),
    *((NO_RENAME, f"linkat:error={error}") for error in ("EPERM", "EOPNOTSUPP", "ENOSYS", "EMLINK")),
    *((f"fsync:error={error}",) for error in ("EINVAL", "EOPNOTSUPP", "ENOSYS")),
]


@pytest.mark.parametrize("failures", MISSING, ids=" ".join)
@pytest.mark.parametrize("scene", SCENES)
def test_a_run_does_without_calls_that_its_file_system_does_not_have(site, scene, failures):
    SCENES[scene].lay(site)
    assert not has_trouble(assert_promises(site, SCENES[scene], *failures))


def test_a_stale_lock_is_cleared_where_directories_cannot_be_locked(site):
    TOSS.lay(site)
    site.write(LOCK, b"")
    age_an_empty_lock(site)
    assert not has_trouble(assert_promises(site, TOSS, "flock:error=ENOLCK"))


@pytest.mark.parametrize("failures", [
    ("fdatasync:error=EIO:when=1",),
    ("fdatasync:error=EIO:when=7",),
    ("fsync:error=EIO:when=2",),
    (NO_RENAME, "unlinkat:error=EACCES:when=1"),
    ("getdents64:error=EIO:when=1",),
], ids=" ".join)
def test_a_toss_that_meets_a_failure_keeps_its_source(site, failures):
    TOSS.lay(site)
    assert assert_promises(site, TOSS, *failures).status == 1


@pytest.mark.parametrize("failure", [
    "fsync:error=EIO:when=2",
    "fsync:error=EIO:when=3",
    "unlinkat:error=EACCES:when=1",
])
def test_a_source_stays_when_its_copy_on_another_disk_is_not_certain(site, other_disk, failure):
    TOSS.lay(site)
    site.add_config(f"PROCESSEDDIR {other_disk}\n")
    assert assert_promises(site, TOSS, failure).status == 1
    assert [path.name for path in other_disk.iterdir()] == [SOURCE]
    assert (other_disk / SOURCE).read_bytes() == TOSS.source

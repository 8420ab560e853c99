"""What a toss logs between its banner and its first file, and how it ends when it cannot start."""

from harness.compare import assert_run, assert_unchanged, banner
from harness.run import Run
from harness.site import Site

BAD_CONFERENCES = "Aborting: conference configuration validation failed"
BAD_BASES = "Aborting: one or more FTN conference message bases failed preflight"
NODES_UNKNOWN = "Aborting: unable to verify that Corvane nodes are free"
NO_SUCH_FILE = 2
"""The error number, the same in every C library."""


def locked(directory: str = "MSG") -> str:
    """The abort line of a toss that did not get its lock, whatever the reason."""
    return (
        f"Aborting: another instance appears to already be running ({directory}/CVTOSS.BSY exists and looks fresh)."
        " If you're sure nothing else is running, it'll auto-clear after 30 minutes, or delete it manually."
    )


def no_lock(directory: str, error: int = NO_SUCH_FILE) -> list[str]:
    """The lines of a toss whose lock cannot be created."""
    return [f"ERROR: could not create lock {directory}/CVTOSS.BSY: errno={error}", locked(directory)]


def loaded(count: int) -> str:
    return f"Loaded {count} conference(s) from CVMCONF.DAT"


def assert_aborted(site: Site, *lines: str) -> Run:
    """Asserts that the toss ends with status 1 after its banner and these lines, the site unchanged, no lock left."""
    before = site.snapshot()
    run = site.toss()
    assert_run(run, 1, [*banner(), *lines])
    assert_unchanged(site, before)
    return run

"""Fixtures of the suites that run the programs as their users do, in a site of their own."""

import subprocess

import pytest
from formats.conference_table import echo
from harness.site import Site
from harness.target import RUNNER, environment


@pytest.fixture(scope="session", autouse=True)
def wine_session():
    """Keeps a Windows process running between the runs: otherwise Wine starts and stops its services for each of them.

    The services keep the pipes they inherit: they must come from a process whose output nobody reads to its end.
    """
    if not RUNNER:
        yield
        return
    keeper = subprocess.Popen(
        [*RUNNER, "cmd.exe"],
        env=environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )
    assert keeper.stdout.read(1), "Wine does not run"
    yield
    keeper.stdin.close()
    keeper.wait(timeout=60)


@pytest.fixture
def site(tmp_path):
    """A new site. The program is removed after the test, because pytest keeps the directories of past runs."""
    made = Site(tmp_path / "site")
    yield made
    made.program.unlink(missing_ok=True)


@pytest.fixture
def hub_site(tmp_path):
    """The site of another system, for mail between the two."""
    made = Site(tmp_path / "hub")
    yield made
    made.program.unlink(missing_ok=True)


@pytest.fixture
def ready(site):
    """A site with one conference, FIDO, in which a toss would succeed."""
    site.conferences(echo("FIDO"))
    return site

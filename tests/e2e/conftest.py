"""Fixtures of the end-to-end tests: the program, run as its users run it, in a site of its own."""

import shutil
import subprocess

import pytest

pytest.register_assert_rewrite(
    "harness.cases", "harness.compare", "harness.run", "harness.site", "harness.target", "formats.message_base"
)

# Only now, so that their assertions explain themselves.
from harness.site import Site  # noqa: E402
from harness.target import RUNNER, environment  # noqa: E402


@pytest.fixture(scope="session", autouse=True)
def wine_server():
    """Keeps Wine's server between the runs: starting it takes a hundred times as long as a run."""
    if RUNNER and shutil.which("wineserver"):
        # One that already runs stays as it is: the command then fails, which is no matter.
        subprocess.run(["wineserver", "--persistent=30"], env=environment(), stderr=subprocess.DEVNULL, check=False)


@pytest.fixture
def site(tmp_path):
    """A fresh site. Its copy of the program goes at the end of the test: pytest keeps the directories of past runs."""
    made = Site(tmp_path / "site")
    yield made
    made.program.unlink(missing_ok=True)

"""The tests of cvkit run it beside the sites of cvtoss32."""

import pytest
from harness.fixtures import ready, site, wine_session  # noqa: F401
from harness.kit import Kit
from harness.target import PROGRAM


@pytest.fixture
def kit(site):
    """cvkit, called in the directory of the test's site."""
    return Kit(site)


@pytest.fixture(autouse=True)
def no_log_beside_the_programs():
    """`cvkit setup` makes the program check a configuration; the log of that would be taken for the site's."""
    PROGRAM.with_name("TOSSER.LOG").unlink(missing_ok=True)

"""The tests of cvkit run it beside the sites of cvtoss32."""

import pytest
from harness.fixtures import ready, site, wine_session  # noqa: F401
from harness.kit import Kit


@pytest.fixture
def kit(site):
    """cvkit, called in the directory of the test's site."""
    return Kit(site)

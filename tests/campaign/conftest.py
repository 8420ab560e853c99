"""The campaigns: the real program is killed, lacks room or runs in parallel, in the sites of the end-to-end tests."""

import pytest

from tools.count import Count
from tools.sites import Sites


@pytest.fixture
def count(request):
    """Counts the points that a test has tried, for the matrix."""
    counter = Count()
    yield counter
    request.node.user_properties.append(("fault_points", counter.points))
    request.node.user_properties.append(("undecided", counter.undecided))


@pytest.fixture(autouse=True)
def one_scene(request):
    """A test that does not count counts as one point."""
    if "count" not in request.fixturenames:
        request.node.user_properties.append(("fault_points", 1))


@pytest.fixture
def sites(tmp_path):
    """Makes one new site after the other; each is removed when the next one is made."""
    made = Sites(tmp_path)
    yield made
    made.clear()

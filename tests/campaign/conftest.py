"""The campaigns: the real program killed, starved of room and raced, in the sites of the end-to-end tests."""

import pytest

from tools.count import Count
from tools.sites import Sites


@pytest.fixture
def count(request):
    """Counts what a test has tried, for the matrix."""
    counter = Count()
    yield counter
    request.node.user_properties.append(("fault_points", counter.points))
    request.node.user_properties.append(("undecided", counter.undecided))


@pytest.fixture(autouse=True)
def one_scene(request):
    """A test that counts nothing itself tries one thing: its scene."""
    if "count" not in request.fixturenames:
        request.node.user_properties.append(("fault_points", 1))


@pytest.fixture
def sites(tmp_path):
    """Makes one fresh site after the other; each goes when the next one is made."""
    made = Sites(tmp_path)
    yield made
    made.clear()

"""Fixtures of the end-to-end tests: the program, run as its users run it, in a site of its own."""

import pytest

pytest.register_assert_rewrite("harness.compare", "harness.site", "harness.run", "formats.message_base")

from harness.site import Site  # noqa: E402  (only now, so that its assertions explain themselves)


@pytest.fixture
def site(tmp_path):
    """A fresh site. Its copy of the program goes at the end of the test: pytest keeps the directories of past runs."""
    made = Site(tmp_path / "site")
    yield made
    made.program.unlink(missing_ok=True)

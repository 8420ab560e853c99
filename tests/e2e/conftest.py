"""The end-to-end tests run the program in a site of its own."""

from harness.fixtures import hub_site, ready, site, wine_session  # noqa: F401

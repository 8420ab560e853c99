"""What the Python suites share explains its assertions as the tests do."""

import pytest

pytest.register_assert_rewrite("formats", "harness", "tools")

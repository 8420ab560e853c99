"""Many sites in one test, one at a time, each in a directory of its own."""

import shutil
from pathlib import Path

from harness.site import Site


class Sites:
    def __init__(self, root: Path):
        self.root = root
        self.made = 0

    def next_root(self) -> Path:
        """The path of the next site; its parent directory is for that site only."""
        return self._path(self.made + 1)

    def fresh(self) -> Site:
        self.clear()
        self.made += 1
        return Site(self._path(self.made))

    def clear(self) -> None:
        if self.made:
            shutil.rmtree(self._path(self.made).parent, ignore_errors=True)

    def _path(self, number: int) -> Path:
        return self.root / f"disk{number}" / "site"

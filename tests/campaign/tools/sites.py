"""Many sites in one test, one at a time."""

import shutil
from pathlib import Path

from harness.site import Site


class Sites:
    def __init__(self, root: Path):
        self.root = root
        self.made = 0

    def fresh(self) -> Site:
        self.clear()
        self.made += 1
        return Site(self._path())

    def clear(self) -> None:
        if self.made:
            shutil.rmtree(self._path(), ignore_errors=True)

    def _path(self) -> Path:
        return self.root / f"site{self.made}"

"""Makes docs/report.png, the README's picture: the page of "cvkit report" of the tests' three months of history."""

import os
import pathlib
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
os.environ.setdefault("CVTOSS32_PROGRAM", str(ROOT / "build/release/cvtoss32"))
sys.path.insert(0, str(ROOT / "tests"))

from harness.browser import Browser  # noqa: E402
from harness.history import TODAY, History, clock  # noqa: E402
from harness.kit import Kit  # noqa: E402
from harness.site import Site  # noqa: E402

WIDTH = 1100
END = "[...document.querySelectorAll('h2')].find(one => one.textContent === 'Runs').getBoundingClientRect().top"


def main():
    with tempfile.TemporaryDirectory() as directory:
        place = pathlib.Path(directory)
        history = History(Site(place / "site"))
        history.make()
        page = place / "report.html"
        Kit(history.site)("report", "-o", page, status=1, **clock(f"{TODAY} 12:00:00"))
        with Browser(place / "browser") as browser:
            browser.open(page, WIDTH, dark=False)
            (ROOT / "docs" / "report.png").write_bytes(browser.picture(int(browser.evaluate(END)) - 30))


main()

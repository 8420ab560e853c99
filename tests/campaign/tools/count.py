"""How much a campaign tries: everything in the long form, a sample of it in script/test.

    CVTOSS_CAMPAIGN   "long" for the long form
"""

import os

LONG = os.environ.get("CVTOSS_CAMPAIGN") == "long"


class Count:
    def __init__(self) -> None:
        self.points = 0
        self.undecided = 0
        """Of the points: where a repair had to leave something, and said so."""

    def one(self) -> None:
        self.points += 1


def rounds(short: int, long: int) -> int:
    return long if LONG else short

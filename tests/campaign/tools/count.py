"""How many points a campaign tries: all of them in the long form, a sample in script/test.

    CVTOSS_CAMPAIGN   "long" for the long form
"""

import os

LONG = os.environ.get("CVTOSS_CAMPAIGN") == "long"


class Count:
    def __init__(self) -> None:
        self.points = 0
        self.undecided = 0
        """How many of the points ended with a repair that had to leave something, and reported it."""

    def one(self) -> None:
        self.points += 1


def rounds(short: int, long: int) -> int:
    return long if LONG else short

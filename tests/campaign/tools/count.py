"""How much a campaign tries: everything in the long form, a sample of it in script/test.

    CVTOSS_CAMPAIGN   "long" for the long form
"""

import os

LONG = os.environ.get("CVTOSS_CAMPAIGN") == "long"


class Count:
    def __init__(self) -> None:
        self.points = 0

    def one(self) -> None:
        self.points += 1


def rounds(short: int, long: int) -> int:
    return long if LONG else short

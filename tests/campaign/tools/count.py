"""How much a campaign tries: everything in the long form, a sample of it in script/test.

    CVTOSS_CAMPAIGN   "long" for the long form
"""

import os
from typing import Sequence, TypeVar

LONG = os.environ.get("CVTOSS_CAMPAIGN") == "long"

Item = TypeVar("Item")


class Count:
    def __init__(self) -> None:
        self.points = 0

    def one(self) -> None:
        self.points += 1


def rounds(short: int, long: int) -> int:
    return long if LONG else short


def sample(items: Sequence[Item], step: int) -> Sequence[Item]:
    """All of them in the long form, else every `step`th and the last."""
    return items if LONG else [*items[:-1:step], items[-1]]

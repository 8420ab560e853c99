"""Every damage of a file: each shorter length and each single bit flipped."""

from typing import Iterator, Sequence, TypeVar

from harness.damage import flip
from harness.target import WINDOWS

Case = TypeVar("Case")
Damage = tuple[str, bytes]
"""What was done, and the bytes."""


def cuts(data: bytes) -> list[Damage]:
    """The file at every length, its own one as well."""
    return [(f"cut at {length}", data[:length]) for length in range(len(data) + 1)]


def flips(data: bytes, first: int = 0, end: int | None = None) -> list[Damage]:
    """The file with each bit of its bytes first to end flipped, one at a time."""
    last = len(data) if end is None else end
    return [(f"bit {bit % 8} of byte {bit // 8}", flip(data, bit)) for bit in range(8 * first, 8 * last)]


def damages(data: bytes) -> list[Damage]:
    return cuts(data) + flips(data)


def some_under_wine(cases: Sequence[Case], step: int) -> Sequence[Case]:
    """All of them; under Wine, where a process takes ten times as long to start, every `step`th."""
    return cases[::step] if WINDOWS else cases


def batches(cases: Sequence[Case], size: int) -> Iterator[Sequence[Case]]:
    for at in range(0, len(cases), size):
        yield cases[at : at + size]

"""Numbers that describe several runs."""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import TypeVar

T = TypeVar("T")


def quantile(ordered: Sequence[T], share: float) -> T:
    """The lower quantile of an ordered list: always one of its values."""
    return ordered[max(math.ceil(share * len(ordered)) - 1, 0)]


def share_of_clock(
    left: float, jobs: int, runs_left: int, between: float = 0.0
) -> float:
    """Seconds for a run that starts now, so that every run that has not
    started, this one included, gets a share of the remaining time. The time
    between two runs is subtracted, up to half of a share."""
    if runs_left <= jobs:
        return left
    share = left * jobs / runs_left
    return share - min(between, share / 2)

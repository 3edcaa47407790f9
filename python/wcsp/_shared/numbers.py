"""Numbers that describe several runs."""

from __future__ import annotations

import math
from collections.abc import Sequence
from typing import TypeVar

T = TypeVar("T")


def quantile(ordered: Sequence[T], share: float) -> T:
    """The lower quantile of an ordered list: always one of its values."""
    return ordered[max(math.ceil(share * len(ordered)) - 1, 0)]


def share_of_clock(left: float, jobs: int, runs_left: int) -> float:
    """Seconds for a run that starts now, so that each of the runs that have
    not started, itself included, gets a turn in the time that is left."""
    return left * min(jobs / max(runs_left, 1), 1.0)

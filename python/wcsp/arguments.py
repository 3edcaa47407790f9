"""Checks the arguments of Model.solve before a search starts."""

from __future__ import annotations

import os
from collections.abc import Iterable
from fractions import Fraction
from math import floor
from random import Random
from typing import TYPE_CHECKING

from .errors import ModelError
from .helpers import filled
from .numbers import LARGEST, exact_number, whole_number
from .reports import start_text
from .sources import Source, places_of

if TYPE_CHECKING:
    from .model import Model

# Options that solve() sets itself, and the argument for each.
_OWN_OPTIONS = {
    "-inputfile": "the model",
    "-seed": "seeds=",
    "-time": "time=",
    "-target": "target=",
    "-initsolfile": "start=",
    "-logfile": "log=",
}
_MOST_SEEDS = 100000
_LONGEST = 10**9  # seconds


def seeds_of(seeds: int | Iterable[int]) -> list[int]:
    count = whole_number(seeds)
    if isinstance(seeds, Iterable):
        numbers = [(seed, whole_number(seed)) for seed in seeds]
    elif count is not None and count <= _MOST_SEEDS:
        numbers = [(seed, seed) for seed in range(1, count + 1)]
    else:
        raise ModelError(
            f"seeds is a number of seeds up to {_MOST_SEEDS} or a list of "
            f"them, not {seeds!r}"
        )
    distinct: dict[int, None] = {}
    for given, seed in numbers:
        if seed is None or not 0 <= seed <= LARGEST:
            raise ModelError(
                f"a seed is an integer from 0 to {LARGEST}, not {given!r}"
            )
        if seed in distinct:
            raise ModelError(f"seed {seed} is given twice")
        distinct[seed] = None
    if not distinct:
        raise ModelError("at least one seed is needed")
    return list(distinct)


def seconds_of(time: float) -> float:
    exact = exact_number(time)
    if exact is None or exact <= 0:
        raise ModelError(f"time is a number above 0, not {time!r}")
    return float(min(exact, Fraction(_LONGEST)))


def share_of(polish: float) -> float:
    exact = exact_number(polish)
    if exact is None or not 0 <= exact < 1:
        raise ModelError(f"polish is a number from 0 to below 1: {polish!r}")
    return float(exact)


def jobs_of(jobs: int | None) -> int:
    if jobs is None:
        return len(os.sched_getaffinity(0))
    number = whole_number(jobs)
    if number is None or number < 1:
        raise ModelError(f"jobs is an integer above 0, not {jobs!r}")
    return number


def limit_of(target: float | None, scale: Fraction) -> int | None:
    """The target in the units of the text."""
    if target is None:
        return None
    exact = exact_number(target)
    if exact is None:
        raise ModelError(f"target {target!r} is not a number")
    limit = floor(exact * scale)
    if limit > LARGEST:
        raise ModelError(
            f"target {target!r} exceeds {float(LARGEST / scale):.10g}"
        )
    return limit


def options_of(options: Iterable[str]) -> list[str]:
    if isinstance(options, str):
        raise ModelError(f"options is a list of words, not {options!r}")
    words = [str(word) for word in options]
    for word in words:
        if word in _OWN_OPTIONS:
            raise ModelError(f"options: {word} is set by {_OWN_OPTIONS[word]}")
        if "\0" in word:
            raise ModelError(f"options: {word!r} has a zero byte")
    return words


def start_places(model: Model, start: Source) -> dict[int, int]:
    """The value number of each variable in the plan."""
    return filled(model, places_of(model, start, "start"))


def completed(model: Model, places: dict[int, int], seed: int) -> str:
    """The text of a start file. Each missing variable gets value number
    floor(u * n) of its n values, where u is the next Random(seed).random().
    That sequence is the same in every version of Python."""
    draw = Random(seed).random
    model.words.update()
    words = {}
    for x in model.variables:
        position = places.get(x.number)
        if position is None:
            position = int(draw() * len(x.places))
        values = model.words.values(x.number)
        words[model.words.variables[x.number]] = values[position]
    return start_text(words)

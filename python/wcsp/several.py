"""Several good plans that differ."""

from __future__ import annotations

import time as clock
from collections.abc import Callable, Iterator
from typing import TYPE_CHECKING, Any

from .arguments import seconds_of
from .errors import ModelError, SolverError, SolverWarning, warn
from .judging import price
from .numbers import whole_number
from .reports import Report
from .results import Result, penalty_of, weights_of
from .signals import Signalled, Signals
from .sources import Only, chosen, places_of

if TYPE_CHECKING:
    from .model import Model

#: A search of a model for some seconds; the flag is set for the first.
Search = Callable[[Signals, "Model", float, bool], Result]


def several(
    model: Model,
    search: Search,
    time: float,
    plans: int,
    apart: int,
    only: Only,
) -> Result:
    """The best result; its `plans` are that and others, which differ."""
    number, distance = whole_number(plans), whole_number(apart)
    if number is None or number < 1:
        raise ModelError(f"plans is an integer above 0, not {plans!r}")
    if distance is None or distance < 1:
        raise ModelError(f"apart is an integer above 0, not {apart!r}")
    if number == 1:
        with Signals() as signals:
            return search(signals, model, time, True)
    seconds = seconds_of(time)
    end = clock.monotonic() + seconds
    with Signals() as signals:
        best = search(signals, model, seconds / 2, True)
        variables = list(chosen(model, range(len(model.variables)), only))
        others = _Plans(model, best, variables, number, distance)
        for places in _of_runs(model, best):
            others.take(places)
        while not others.is_complete() and signals.first is None:
            left = end - clock.monotonic()
            share = left / (number - len(others.taken))
            if left <= 0 or not others.search(search, signals, share, only):
                break
        best.ended_by = signals.name or best.ended_by
    if not others.is_complete() and not signals.first:
        warn(
            f"{len(others.taken)} of {number} plans found that differ in "
            f"{distance} variables",
            SolverWarning,
        )
    best._others = others.taken[1:]
    return best


class _Plans:
    """Plans that are apart from each other."""

    def __init__(
        self,
        model: Model,
        best: Result,
        variables: list[int],
        number: int,
        distance: int,
    ) -> None:
        self._model, self._variables = model, variables
        self._number, self._distance = number, distance
        self.taken: list[Result] = []
        self._places: list[dict[int, int]] = []
        self._add(best)

    def _add(self, plan: Result) -> None:
        self.taken.append(plan)
        self._places.append(places_of(self._model, plan, "plans"))

    def is_complete(self) -> bool:
        return len(self.taken) >= self._number

    def take(self, places: dict[int, int]) -> bool:
        """Adds the plan if it differs enough from all others."""
        is_apart = all(
            sum(places[v] != other[v] for v in self._variables)
            >= self._distance
            for other in self._places
        )
        if is_apart and not self.is_complete():
            self._add(price(self._model, places, self.taken[0].wcsp))
        return is_apart

    def search(
        self, search: Search, signals: Signals, time: float, only: Only
    ) -> bool:
        """Looks for another plan, with the rule that it is apart."""
        model = self._model.copy()
        try:
            for i, plan in enumerate(self.taken):
                rule = model.changed(plan, only) >= self._distance
                model.add(rule, name=("plan", i + 1))
            found = search(signals, model, time, False)
        except Signalled as signalled:
            if signals.is_first(signalled):
                return False
            raise
        except (ModelError, SolverError):  # there is none, or no time for it
            return False
        is_worse = found.hard > self.taken[0].hard
        return not is_worse and self.take(places_of(model, found, "plans"))


def _of_runs(model: Model, best: Result) -> Iterator[dict[int, int]]:
    """The reports of the runs that are as good in the hard penalty, by
    (hard, soft, seed)."""
    weights = weights_of(model)
    ranked: list[tuple[Any, ...]] = []
    for run in best.runs:
        if run.report is not None and run is not best.run:
            penalty = penalty_of(run.report, weights)
            if penalty[0] <= best.hard:
                ranked.append((*penalty, run.seed, run.report))
    for *_, report in sorted(ranked, key=lambda one: one[:3]):
        yield _places(model, report)


def _places(model: Model, report: Report) -> dict[int, int]:
    return {
        v: model.words.values(v).index(report.assignment[word])
        for v, word in enumerate(model.words.variables)
    }

"""What would be different: the other values of variables in a result, each
with its price, and the changes since an earlier plan."""

from __future__ import annotations

from collections.abc import Hashable, Iterable
from fractions import Fraction
from typing import TYPE_CHECKING, Any, NamedTuple

from .evaluation import stored, touching, violation
from .expressions import Variable
from .helpers import filled
from .numbers import shortest
from .sources import Only, Source, chosen, find, variable_of

if TYPE_CHECKING:
    from .model import Model
    from .results import Result


class Alternative(NamedTuple):
    """Another value of a variable, the penalties with it, and the names of
    the constraints that it breaks or breaks more."""

    name: Hashable
    value: Any
    hard: int
    soft: int | float
    breaks: tuple[Hashable, ...]


class Change(NamedTuple):
    """A variable with another value than in an earlier plan."""

    name: Hashable
    old: Any
    new: Any


def changes(result: Result, plan: Source, only: Only) -> list[Change]:
    """See Result.changes."""
    model = result.model
    found = find(model, plan, "changes")
    old: dict[int, Any] = {
        v: list(model.variables[v].places)[place]
        for v, place in found.places.items()
    }
    old |= found.gone_values
    changed = []
    for v in chosen(model, old, only):
        name = model.variables[v].name
        if v in found.gone_values or old[v] != result[name]:
            changed.append(Change(name, old[v], result[name]))
    return changed


def alternatives(
    result: Result, of: Variable | Hashable | Iterable[Any]
) -> list[Alternative]:
    """See Result.alternatives."""
    model = result.model
    is_one = isinstance(of, (str, tuple, Variable))
    several = [of] if is_one or not isinstance(of, Iterable) else of
    variables = [variable_of(model, x, "alternatives") for x in several]
    prices = _Prices(model, result, variables)
    found = [
        prices.of(x, place, value)
        for x in variables
        for value, place in x.places.items()
        if place != prices.places[x.number]
    ]
    found.sort(key=lambda one: (one[0], one[1]))
    return [alternative for *_, alternative in found]


class _Prices:
    """The penalties of a result with one value changed."""

    def __init__(
        self, model: Model, result: Result, variables: list[Variable]
    ) -> None:
        self._model = model
        self.places = {
            x.number: x.places[result[x.name]] for x in model.variables
        }
        base = filled(model, self.places)
        changed = [v for v in base if base[v] != self.places[v]]
        numbers = {x.number for x in variables}
        self._touching = touching(model, numbers | model.helpers.keys())
        self._on = self._labels(self.places)
        self._penalty: tuple[int, Fraction] = result.penalty
        self._penalty, _ = self._with(base, changed)
        self.places = base
        self._on = self._labels(base)

    def _labels(self, places: dict[int, int]) -> set[int]:
        return {x.first + places[x.number] for x in self._model.variables}

    def _with(
        self, places: dict[int, int], changed: list[int]
    ) -> tuple[tuple[int, Fraction], tuple[Hashable, ...]]:
        """The penalty and what is broken with other values of some."""
        model = self._model
        on = set(self._on)
        for v in changed:
            first = model.variables[v].first
            on.discard(first + self.places[v])
            on.add(first + places[v])
        hard, soft = self._penalty
        breaks: dict[Hashable, None] = {}
        for c in sorted({c for v in changed for c in self._touching[v]}):
            constraint = stored(model, c)
            more = violation(model, constraint, on) - violation(
                model, constraint, self._on
            )
            weight = model.weights[c]
            if weight is None:
                hard += more
            else:
                soft += Fraction(weight) * more
            if more > 0:
                breaks[model.names[c]] = None
        return (hard, soft), tuple(breaks)

    def of(
        self, x: Variable, place: int, value: Any
    ) -> tuple[tuple[int, Fraction], tuple[int, int], Alternative]:
        """A key to sort by, and the alternative."""
        places = self.places | {x.number: place}
        places = filled(self._model, places)
        changed = [v for v in places if places[v] != self.places[v]]
        (hard, soft), breaks = self._with(places, changed)
        return (
            (hard, soft),
            (x.number, place),
            Alternative(x.name, value, hard, shortest(soft), breaks),
        )

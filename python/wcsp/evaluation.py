"""Violations of single constraints, given the value of each variable."""

from __future__ import annotations

from array import array
from collections.abc import Collection, Iterable, Iterator
from typing import TYPE_CHECKING, NamedTuple

if TYPE_CHECKING:
    from .model import Model

#: Kinds of stored constraints: linear, quadratic, all-different.
KINDS = ("l<=", "l>=", "l=", "q<=", "q>=", "q=", "a")


class Stored(NamedTuple):
    """One constraint of a model's arrays."""

    kind: str  # "l", "q" or "a"
    relation: str
    bound: int
    coefficients: array[int]
    first: array[int]  # labels, or the variables of an all-different
    second: array[int]  # the other labels of products

    def terms(self) -> Iterator[tuple[int, tuple[int, ...]]]:
        """Each coefficient with its label or labels."""
        if self.kind == "q":
            for k, i, j in zip(self.coefficients, self.first, self.second):
                yield k, (i, j)
        else:
            for k, i in zip(self.coefficients, self.first):
                yield k, (i,)

    def sum(self, on: Collection[int]) -> int:
        """The sum if these labels are on."""
        return sum(
            k for k, labels in self.terms() if all(i in on for i in labels)
        )


def stored(model: Model, c: int) -> Stored:
    """Constraint number c."""
    kind = KINDS[model.kinds[c]]
    start = model.ends[c - 1] if c else 0
    second = model.second_ends[c - 1] if c else 0
    return Stored(
        kind[0],
        kind[1:],
        model.bounds[c],
        model.coefficients[start : model.ends[c]],
        model.first[start : model.ends[c]],
        model.second[second : model.second_ends[c]],
    )


def violation(model: Model, constraint: Stored, on: Collection[int]) -> int:
    """By how much the constraint is violated if these labels are on."""
    if constraint.kind == "a":
        variables = [model.variables[v] for v in constraint.first]
        places = {
            next(k for k in range(len(x.places)) if x.first + k in on)
            for x in variables
        }
        return len(variables) - len(places)
    beyond = constraint.sum(on) - constraint.bound
    if constraint.relation == "<=":
        return max(beyond, 0)
    return max(-beyond, 0) if constraint.relation == ">=" else abs(beyond)


def touching(model: Model, variables: Iterable[int]) -> dict[int, list[int]]:
    """The constraints with each of the variables."""
    found: dict[int, list[int]] = {v: [] for v in variables}
    for c in range(len(model.names)):
        constraint = stored(model, c)
        if constraint.kind == "a":
            within = set(constraint.first)
        else:
            within = {model.labels_of[i] for i in constraint.first}
            within.update(model.labels_of[i] for i in constraint.second)
        for v in within & found.keys():
            found[v].append(c)
    return found

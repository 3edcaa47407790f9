"""Common rules: constraints and costs made of labels."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from typing import Any

from .errors import ModelError
from .expressions import (
    Constraint,
    Either,
    Expression,
    Operand,
    Variable,
    condition_of,
    integer,
    total,
)
from .forms import NOT_MET
from .numbers import LARGEST


class AllDifferent:
    """Variables that have different values; see all_different()."""

    __slots__ = ("variables",)

    def __init__(self, variables: list[Variable]) -> None:
        self.variables = variables

    def __repr__(self) -> str:
        names = ", ".join(repr(x.name) for x in self.variables[:4])
        return f"all_different({names}{', ...' * (len(self.variables) > 4)})"


def all_different(variables: Iterable[Variable]) -> AllDifferent:
    """A constraint: no two of the variables have the same value.

    Its violation is the number of variables minus that of different values.
    The variables may have different lists of values; the values count, not
    their places in the lists.

    >>> from wcsp import Model
    >>> m = Model()
    >>> x, y = m.variable("x", [1, 2, 3]), m.variable("y", [3, 4])
    >>> m.add(all_different([x, y]), name="apart")
    """
    distinct = list(dict.fromkeys(variables))
    for x in distinct:
        if not isinstance(x, Variable):
            raise ModelError(f"all_different() needs variables, not {x!r}")
    if not distinct:
        raise ModelError("all_different() of no variables")
    return AllDifferent(distinct)


def implies(condition: Expression, consequence: Expression) -> Constraint:
    """A constraint: if the condition counts 1, so does the consequence.

    >>> from wcsp import Model
    >>> m = Model()
    >>> shop = m.variable("shop", ["north", "south"])
    >>> north = m.variable("north", ["open", "closed"])
    >>> m.add(implies(shop == "north", north == "open"))
    """
    cause = condition_of(condition, "implies()")
    effect = condition_of(consequence, "implies()")
    if isinstance(effect, Either):
        effect = total(effect.parts)
    rule = cause <= effect
    rule.form = NOT_MET
    return rule


def exactly(count: int, items: Iterable[Operand]) -> Constraint:
    """Exactly `count` of the items count: total(items) == count."""
    return total(items) == count


def at_most(count: int, items: Iterable[Operand]) -> Constraint:
    """At most `count` of the items count: total(items) <= count."""
    return total(items) <= count


def at_least(count: int, items: Iterable[Operand]) -> Constraint:
    """At least `count` of the items count: total(items) >= count."""
    return total(items) >= count


def table(
    variables: Iterable[Variable], costs: Mapping[Any, int]
) -> Expression:
    """The cost of the combination of values of one or two variables.

    Keys are values, or pairs of values for two variables; missing keys cost
    0. For three or more variables, add a variable whose values are the
    combinations.

    >>> from wcsp import Model
    >>> m = Model()
    >>> car, day = m.variable("car", ["van"]), m.variable("day", ["sat"])
    >>> table([car, day], {("van", "sat"): 40})
    40 (car = 'van')(day = 'sat')
    """
    listed = list(variables)
    if len(listed) == 1:
        return total(
            integer(c, "a cost") * (listed[0] == v) for v, c in costs.items()
        )
    if len(listed) != 2:
        raise ModelError(
            f"table() takes one or two variables, not {len(listed)}; make "
            "the combinations the values of a variable"
        )
    x, y = listed
    return total(
        integer(c, "a cost") * ((x == v) * (y == u))
        for (v, u), c in costs.items()
    )


def ranked(goals: Iterable[Expression]) -> list[int]:
    """Weights for minimize() that rank the goals, the most important first:
    no gain in a later goal outweighs a loss of 1 in an earlier one.

    They follow from the bounds of the goals and must stay below 2147483647.
    Other soft constraints belong into a goal, or they count beside them.

    >>> from wcsp import Model
    >>> m = Model()
    >>> x = [m.variable(i, ["off", "early", "late"]) for i in range(3)]
    >>> late = total(d == "late" for d in x)
    >>> work = total(d != "off" for d in x)
    >>> ranked([late, work])
    [4, 1]
    """
    weights: list[int] = []
    weight = 1
    for goal in reversed(list(goals)):
        if not isinstance(goal, Expression):
            raise ModelError(f"ranked() needs expressions, not {goal!r}")
        expr = goal.sum()
        if weight >= LARGEST:
            raise ModelError(
                f"ranked(): the weight of {goal!r} would be {weight}; goals "
                "with smaller bounds are needed"
            )
        weights.insert(0, weight)
        if expr.model is not None:
            low, high = expr.model.range_of(expr)
            weight += weight * (high - low)
    return weights

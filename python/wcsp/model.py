"""Models: variables, constraints and an objective, kept in compact arrays.

A constraint is a slice of the model's arrays of terms and one entry in each
list of properties. It is checked when it is added, so that an error has its
line, and it becomes text only when the model is written.
"""

from __future__ import annotations

import os
from array import array
from collections.abc import Callable, Hashable, Iterable
from copy import copy, deepcopy
from fractions import Fraction
from typing import Any, NamedTuple, Union

from ._shared.files import write_whole
from .arguments import Start
from .best import with_runs
from .errors import ModelError, Remarks, caller
from .expressions import (
    AllDifferent,
    Constraint,
    Expression,
    Sum,
    Variable,
    describe,
    integer,
    total,
)
from .groups import Group, groups, normal
from .numbers import LARGEST, exact_number
from .programs import judged
from .results import Result
from .solving import Progress, polish, solve
from .text import ModelWords, lines, scale_of, warn_of_rounding


HARD = None
Weight = Union[int, float, Fraction, str, None]


class Objective(NamedTuple):
    """A part of the objective; its cost is weight times sum."""

    sign: int
    weight: Fraction
    sum: Sum
    # Sum of the bounds of its constraints: sum = bound + sign * violation.
    bound: int


class Model:
    """Variables, constraints and objective of one problem.

    >>> m = Model()
    >>> x = {d: m.variable(("Zoë", d), ["off", "day"]) for d in ("Mon", "Tue")}
    >>> m.add(total(x[d] == "day" for d in x) >= 1, name="some work")
    >>> m.add(x["Mon"] == "off", weight=3, name="wish")
    >>> print(m.text(), end="")
    variable Zoe_Mon in {off, day}
    variable Zoe_Tue in {off, day}
    some_work: weight = inf type = linear 1(Zoe_Mon,day) 1(Zoe_Tue,day) >= 1
    wish: weight = 3 type = linear 1(Zoe_Mon,off) = 1
    """

    def __init__(self, comment: str = "", target: int | None = None) -> None:
        self.variables: list[Variable] = []
        #: Comment lines at the head of the text.
        self.comment = comment
        #: The target in the text, in units of the scaled weights, or None.
        self.target = target
        self.objectives: list[Objective] = []
        self._by_name: dict[Hashable, Variable] = {}
        self._domains: dict[Any, dict[Any, int]] = {}
        #: The number of the variable of each label.
        self.labels_of = array("q")
        self._has_fixed = False
        # One entry a constraint.
        self.names: list[Hashable] = []
        self.weights: list[Fraction | int | None] = []
        self.kinds = bytearray()
        self.bounds = array("q")
        self.ends = array("Q")
        self.second_ends = array("Q")
        # The terms: coefficients, labels, and the other labels of products;
        # the variables of an all-different stand among the labels.
        self.coefficients = array("q")
        self.first = array("q")
        self.second = array("q")
        self._pending = ""
        self.variable_sections: dict[int, str] = {}
        self.constraint_sections: dict[int, str] = {}
        self.words = ModelWords(self)
        self._remarks = Remarks()

    def variable(self, name: Hashable, values: Iterable[Hashable]) -> Variable:
        """Adds a variable that takes one of the values.

        Names and values may be any hashable objects. Names must be unique,
        and so must the values of a variable.

        >>> Model().variable(("Anna", 3), ["early", "late"])
        variable ('Anna', 3)
        """
        try:
            if name in self._by_name:
                raise ModelError(f"variable {name!r} already exists")
            listed = tuple(values)
            # Equal values of different types are to be kept apart.
            key = (listed, tuple(map(type, listed)))
            places = self._domains.get(key)
        except TypeError as error:
            raise ModelError(f"variable {name!r}: {error}")
        if places is None:
            places = self._new_domain(name, listed)
            self._domains[key] = places
        x = Variable(
            self, name, len(self.variables), places, len(self.labels_of)
        )
        self.labels_of.extend([x.number] * len(places))
        self._has_fixed |= len(places) == 1
        self.variables.append(x)
        self._by_name[name] = x
        if self._pending:
            self.variable_sections[x.number] = self._pending
            self._pending = ""
        return x

    def _new_domain(
        self, name: Hashable, listed: tuple[Any, ...]
    ) -> dict[Any, int]:
        if not listed:
            raise ModelError(f"variable {name!r} has no values")
        places: dict[Any, int] = {}
        for value in listed:
            if isinstance(value, Variable):
                raise ModelError(f"{value!r} is not a value of {name!r}")
            if value in places:
                raise ModelError(f"variable {name!r} has {value!r} twice")
            places[value] = len(places)
        return places

    def section(self, comment: str) -> None:
        """A comment before the next variable or constraint of the text."""
        self._pending = comment

    def __getitem__(self, name: Hashable) -> Variable:
        """The variable with that name."""
        return self._by_name[name]

    def add(
        self,
        constraint: Any,
        weight: Weight = HARD,
        name: Hashable = None,
    ) -> None:
        """Adds a constraint: hard, or with a weight greater than 0.

        A violated soft constraint costs its weight for each unit of its
        violation. A label alone, or an expression that is 0 or 1, must hold.
        A constraint without a name is named after its line.
        """
        checked = checked_weight(weight)
        if name is None:
            name = self._line_name()
        if isinstance(constraint, tuple):
            for part in constraint:
                self.add(part, weight, name)
        elif isinstance(constraint, AllDifferent):
            self._add_different(constraint, checked, name)
        elif isinstance(constraint, Constraint):
            self._add_comparison(constraint, checked, name)
        elif isinstance(constraint, Expression):
            self._own(constraint.sum(), name)
            if not self.is_condition(constraint.sum()):
                raise ModelError(
                    f"{constraint!r} is a sum, not a constraint: compare it"
                )
            self._add_comparison(constraint == 1, checked, name)
        elif constraint is True:
            self._remarks.add("always holds", name, " and is left out")
        elif constraint is False:
            raise ModelError(f"constraint {name!r} can never hold")
        else:
            raise ModelError(f"{constraint!r} is not a constraint")

    def _line_name(self) -> str:
        frame, _ = caller()
        if frame is None:
            return "constraint"
        file = frame.f_code.co_filename.replace("\\", "/").split("/")[-1]
        return f"{file}:{frame.f_lineno}"

    def _add_comparison(
        self,
        constraint: Constraint,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> None:
        left_side, relation = constraint.left, constraint.relation
        self._own(left_side, name)
        left = normal(left_side, self.labels_of)
        bound = constraint.bound - left_side.constant
        low, high = self.range_of(left)
        _check_size(name, left, low, high, bound)
        if not _can_hold(low, high, relation, bound):
            text = (
                f": {describe(left)} is {low} to {high}, not {relation} "
                f"{bound}"
            )
            if weight is None:
                raise ModelError(f"constraint {name!r} can never hold{text}")
            self._remarks.add("can never hold", name, text)
        elif _must_hold(low, high, relation, bound):
            self._remarks.add(
                "always holds",
                name,
                f": {describe(left)} is {low} to {high}, always {relation} "
                f"{bound}",
            )
        self._store_sum(left, relation, bound, weight, name)

    def _own(self, expr: Sum, name: Hashable) -> None:
        if expr.model is not None and expr.model is not self:
            raise ModelError(f"constraint {name!r} belongs to another model")

    def range_of(self, expr: Sum) -> tuple[int, int]:
        """Bounds of the sum: exact for labels, conservative for products."""
        coefficients, labels = expr.coefficients, expr.labels
        variables = [self.labels_of[i] for i in labels]
        if len(set(variables)) == len(labels) and not self._has_fixed:
            low = sum([c for c in coefficients if c < 0])
            high = sum(coefficients) - low
        else:
            low, high = self._exact_range(expr, variables)
        below = sum([c for c in expr.multiples if c < 0])
        above = sum(expr.multiples) - below
        return low + below + expr.constant, high + above + expr.constant

    def is_condition(self, expr: Sum) -> bool:
        """Whether the sum is certain to be 0 or 1."""
        parts = groups(expr, self, 1)
        if len(parts) == 1:
            # At most one of the terms counts.
            low = expr.constant + parts[0].bound
            high = expr.constant + groups(expr, self, -1)[0].bound
        else:
            low, high = self.range_of(expr)
        return low >= 0 and high <= 1

    def _exact_range(self, expr: Sum, variables: list[int]) -> tuple[int, int]:
        groups: dict[int, dict[int, int]] = {}
        for v, i, c in zip(variables, expr.labels, expr.coefficients):
            group = groups.setdefault(v, {})
            group[i] = group.get(i, 0) + c
        low = high = 0
        for v, group in groups.items():
            counts = list(group.values())
            if len(group) < len(self.variables[v].values):
                counts.append(0)
            low += min(counts)
            high += max(counts)
        return low, high

    def _store_sum(
        self,
        left: Sum,
        relation: str,
        bound: int,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> None:
        if left.lefts:
            self.coefficients.extend(left.multiples)
            self.first.extend(left.lefts)
            self.second.extend(left.rights)
        else:
            self.coefficients.extend(left.coefficients)
            self.first.extend(left.labels)
        self._store("q" if left.lefts else "l", relation, bound, weight, name)

    def _store(
        self,
        kind: str,
        relation: str,
        bound: int,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> None:
        if self._pending:
            self.constraint_sections[len(self.names)] = self._pending
            self._pending = ""
        self.names.append(name)
        self.weights.append(weight)
        self.kinds.append(KINDS.index(kind + relation))
        self.bounds.append(bound)
        self.ends.append(len(self.first))
        self.second_ends.append(len(self.second))

    def _add_different(
        self,
        constraint: AllDifferent,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> None:
        variables = constraint.variables
        if any(x.model is not self for x in variables):
            raise ModelError(f"constraint {name!r} belongs to another model")
        taking: dict[Any, list[Variable]] = {}
        for x in variables:
            for value in x.values:
                taking.setdefault(value, []).append(x)
        if weight is None and len(taking) < len(variables):
            raise ModelError(
                f"constraint {name!r} can never hold: {len(variables)} "
                f"variables share {len(taking)} values"
            )
        if _numbers_agree(variables):
            self.coefficients.extend([1] * len(variables))
            self.first.extend(x.number for x in variables)
            self._store("a", "", 0, weight, name)
            return
        # At most one for each value: the violations add up to the same.
        for value, some in taking.items():
            if len(some) > 1:
                self._add_comparison(
                    total(x == value for x in some) <= 1, weight, (name, value)
                )

    def minimize(
        self,
        cost: Expression,
        weight: Weight = 1,
        name: Hashable = "cost",
        bound: int | None = None,
    ) -> None:
        """Adds the cost to the objective, which is minimised.

        By default, the cost becomes one soft constraint for each variable
        and each pair of variables in it, which guides the search. With a
        bound, it is one constraint, and costs below the bound count as equal.
        Several calls add up, each times its weight.

        >>> m = Model()
        >>> x = m.variable("x", ["bus", "car"])
        >>> m.minimize(3 * (x == "bus") + 7 * (x == "car"))
        >>> print(m.text(), end="")
        variable x in {bus, car}
        cost_x: weight = 1 type = linear 3(x,bus) 7(x,car) <= 3
        """
        self._add_objective(cost, 1, weight, name, bound)

    def maximize(
        self,
        gain: Expression,
        weight: Weight = 1,
        name: Hashable = "gain",
        bound: int | None = None,
    ) -> None:
        """Adds a gain to the objective, which is maximised."""
        self._add_objective(gain, -1, weight, name, bound)

    def _add_objective(
        self,
        expression: Expression,
        sign: int,
        weight: Weight,
        name: Hashable,
        bound: int | None,
    ) -> None:
        checked = checked_weight(weight)
        if checked is None:
            raise ModelError("an objective needs a weight")
        if not isinstance(expression, Expression):
            raise ModelError(f"{expression!r} is not an expression of labels")
        if self.objectives and self.objectives[0].sign != sign:
            raise ModelError("a model cannot both minimize and maximize")
        expr = expression.sum()
        self._own(expr, name)
        relation = "<=" if sign > 0 else ">="
        if bound is None:
            parts = groups(expr, self, sign)
            limit = expr.constant + sum(part.bound for part in parts)
        else:
            limit = integer(bound, "a bound")
            parts = [
                Group((), normal(expr, self.labels_of), limit - expr.constant)
            ]
        for part in parts:
            low, high = self.range_of(part.sum)
            _check_size(name, part.sum, low, high, part.bound)
            owner = (name, *part.of) if part.of else name
            self._store_sum(part.sum, relation, part.bound, checked, owner)
        self.objectives.append(Objective(sign, Fraction(checked), expr, limit))

    @property
    def scale(self) -> Fraction:
        """The factor that makes all weights integers."""
        return scale_of(self.weights)

    def text(self) -> str:
        """The model in the language."""
        self._remarks.tell()
        return "".join(lines(self))

    def write(self, path: str | os.PathLike[str]) -> None:
        """Writes the model to a file atomically.

        Decimal weights are multiplied by `scale`; a warning reports the
        weights that are rounded.
        """
        self._remarks.tell()
        warn_of_rounding(self)
        write_whole(path, lines(self))

    def solve(
        self,
        time: float = 60,
        seeds: int | Iterable[int] = 8,
        jobs: int | None = None,
        target: float | None = None,
        start: Start | None = None,
        on_improve: Callable[[Progress], object] | None = None,
        log: str | os.PathLike[str] | None = None,
        wcsp: str | os.PathLike[str] | None = None,
        options: Iterable[str] = (),
        polish: float = 0,
    ) -> Result:
        """Searches with several seeds and returns the best result.

        Needs the programs wcsp and wcsp-check. `time` is the wall-clock time
        of the call in seconds. `jobs` searches run at once, by default one
        per core. The first search that reaches the soft penalty `target`
        ends all. `start` is a result or a mapping to start from.
        `on_improve` is called for each better penalty, `log` is a file for
        the log of the best search, and `options` are passed to the program.
        For the share `polish` of the time, from 0 to below 1, the program
        wcsp-polish improves the best few reports. An interrupt (Ctrl-C)
        returns the best result so far; a second one raises KeyboardInterrupt.

        >>> m = Model()
        >>> x = m.variable("way to work", ["bus", "car"])
        >>> m.minimize(3 * (x == "bus") + 7 * (x == "car"))
        >>> r = m.solve(time=5, seeds=1)
        >>> r[x], r.objective
        ('bus', 3)
        """
        return solve(
            self,
            time,
            seeds,
            jobs,
            target,
            start,
            on_improve,
            log,
            wcsp,
            options,
            polish,
        )

    def _polish(
        self,
        result: Result,
        time: float,
        jobs: int | None,
        seed: int,
        on_improve: Callable[[Progress], object] | None,
    ) -> Result:
        """See Result.polish."""
        return polish(result, time, jobs, seed, on_improve)

    def check(self, result: Result) -> list[str]:
        """Checks a result against the current model with wcsp-check and
        returns the differences; empty if it is correct."""
        checked = judged(self.text(), result.run.text)
        return [str(difference) for difference in checked["differences"]]

    def with_runs(self, folder: str | os.PathLike[str]) -> Result:
        """The best of the runs in a folder of wcsp-many for the text of this
        model."""
        return with_runs(self, folder)

    def __copy__(self) -> Model:
        return deepcopy(self)

    def __deepcopy__(self, memo: dict[int, Any]) -> Model:
        """An independent model with the same names and values."""
        model = Model.__new__(Model)
        memo[id(self)] = model
        model.__dict__.update(
            (key, copy(value)) for key, value in self.__dict__.items()
        )
        model._remarks = Remarks()
        model.variables = [
            Variable(model, x.name, x.number, x.places, x.first)
            for x in self.variables
        ]
        model._by_name = {x.name: x for x in model.variables}
        model.words = deepcopy(self.words, memo)
        model.objectives = deepcopy(self.objectives, memo)
        return model

    def label_text(self, label: int) -> str:
        """The label as the user would write it."""
        x = self.variables[self.labels_of[label]]
        value = list(x.values)[label - x.first]
        return f"({_shown(x.name)} = {value!r})"

    def __repr__(self) -> str:
        return (
            f"<Model of {len(self.variables)} variables and "
            f"{len(self.names)} constraints>"
        )


KINDS = ("l<=", "l>=", "l=", "q<=", "q>=", "q=", "a")


def checked_weight(weight: Weight) -> Fraction | int | None:
    """None for a hard constraint, otherwise the weight without rounding."""
    if weight is None or type(weight) is int and 0 < weight < LARGEST:
        return weight
    exact = exact_number(weight)
    if exact is None:
        raise ModelError(f"weight {weight!r} is not a number; None means hard")
    if exact <= 0:
        raise ModelError(f"weight {weight!r} is not above 0; None means hard")
    if exact >= LARGEST:
        raise ModelError(
            f"weight {weight!r} is not below {LARGEST}; None means hard"
        )
    return exact.numerator if exact.denominator == 1 else exact


def _can_hold(low: int, high: int, relation: str, bound: int) -> bool:
    return (relation == "<=" or high >= bound) and (
        relation == ">=" or low <= bound
    )


def _must_hold(low: int, high: int, relation: str, bound: int) -> bool:
    return (relation == "<=" or low >= bound) and (
        relation == ">=" or high <= bound
    )


def _check_size(
    name: Hashable, left: Sum, low: int, high: int, bound: int
) -> None:
    terms = left.multiples if left.lefts else left.coefficients
    largest = max(
        abs(low),
        abs(high),
        abs(bound),
        high - bound,
        bound - low,
        max(terms, default=0),
        -min(terms, default=0),
    )
    if largest > LARGEST:
        raise ModelError(
            f"constraint {name!r} does not fit 32 bits: its sum is {low} to "
            f"{high}, its bound {bound}"
        )


def _numbers_agree(variables: list[Variable]) -> bool:
    """Whether equal values have equal numbers, and only those."""
    longest = max((x.places for x in variables), key=len)
    order = list(longest)
    return all(
        x.places is longest or list(x.places) == order[: len(x.places)]
        for x in variables
    )


def _shown(name: Hashable) -> str:
    return name if isinstance(name, str) else repr(name)

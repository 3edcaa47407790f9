"""Models: variables, constraints and an objective, kept in compact arrays.

A constraint is a slice of the model's arrays of terms and one entry in each
list of properties. It is checked when it is added, so that an error has its
line, and it becomes text only when the model is written.
"""

from __future__ import annotations

import os
from array import array
from collections.abc import Callable, Hashable, Iterable, Iterator
from copy import copy, deepcopy
from fractions import Fraction
from typing import Any, NamedTuple, Union, overload

from ._shared.files import write_whole
from .alternatives import Alternative, Change, alternatives, changes
from .best import with_runs
from .bounds import Bound, bound
from .composed import Different, Part, Runs
from .copies import Family, drop, taken
from .errors import ModelError, Remarks, caller
from .evaluation import KINDS
from .expressions import (
    Constraint,
    Either,
    Expression,
    Known,
    Sum,
    Variable,
    describe,
    integer,
    total,
)
from .forms import NOT_MET, Form, Kept
from .groups import Group, groups, normal
from .judging import price
from .names import shown
from .numbers import LARGEST, exact_number
from .plans import Plan
from .programs import judged
from .ranges import can_hold, check_size, must_hold, range_of
from .results import Result
from .rules import AllDifferent
from .saved import save
from .several import several
from .signals import Signals
from .solving import Progress, polish, search
from .sources import (
    Only,
    Source,
    chosen,
    place_of,
    places_of,
    read_plan,
    variable_of,
)
from .text import ModelWords, lines, names_text, scale_of, warn_of_rounding


HARD = None
Weight = Union[int, float, Fraction, str, None]


class Objective(NamedTuple):
    """A part of the objective; its cost is weight times sum."""

    sign: int
    weight: Fraction
    sum: Sum
    # Sum of the bounds of its constraints: sum = bound + sign * violation.
    bound: int


class _Ready(NamedTuple):
    """A comparison in the form of the arrays."""

    left: Sum
    relation: str
    bound: int
    weight: Fraction | int | None
    name: Hashable
    constant: int
    form: Form | None


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
        #: The groups of helper variables: sums that are above 0 if a condition
        #: of the group holds.
        self.helpers: dict[int, Sum] = {}
        # One entry a constraint.
        self.names: list[Hashable] = []
        self.weights: list[Fraction | int | None] = []
        self.kinds = bytearray()
        self.bounds = array("q")
        # What the user's sums have beyond the stored ones.
        self.constants = array("q")
        #: How constraints are explained that are no sums of the user.
        self.forms: dict[int, Form] = {}
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
        self.objective_parts: set[int] = set()
        self._family = Family()
        self._generation = 0

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

    def find(self, name: Hashable) -> Variable | None:
        """The variable with that name, or None."""
        return self._by_name.get(name)

    def helper(self, name: Hashable, group: Sum) -> Expression:
        """A new helper variable, as a condition: whether the group counts."""
        x = self.variable(self._free(name), [False, True])
        self.helpers[x.number] = self._taken(group)
        return x == True  # noqa: E712

    def _free(self, name: Hashable) -> Hashable:
        k, free = 1, name
        while free in self._by_name:
            k += 1
            free = (name, k)
        return free

    def add(
        self,
        constraint: Any,
        weight: Weight = HARD,
        name: Hashable = None,
    ) -> None:
        """Adds a constraint: hard, or with a weight greater than 0.

        A violated soft constraint costs its weight for each unit of its
        violation. A label alone, or an expression that is 0 or 1, must hold.
        A constraint without a name is named after its line. A constraint of
        weight 0 is left out, with a warning.

        >>> m = Model()
        >>> x, y = m.variable("x", "abc"), m.variable("y", "abc")
        >>> m.add((x == "a") | (y == "a") | (y == "b"), name="one of three")
        >>> m.add(~(x == "c"), weight=2)
        >>> m.price({"x": "c", "y": "c"}).penalty
        (1, Fraction(2, 1))
        """
        if name is None:
            name = self._line_name()
        if _is_zero(weight):
            self._remarks.add("has weight 0", name, " and is left out")
            return
        checked = checked_weight(weight)
        if constraint is True:
            self._remarks.add("always holds", name, " and is left out")
        elif constraint is False:
            raise ModelError(f"constraint {name!r} can never hold")
        elif isinstance(constraint, AllDifferent):
            self._add_different(constraint, checked, name)
        else:
            # If one part is refused, none is added.
            rules = [
                self._checked(rule, times, name)
                for rule, times in self._parts(constraint, checked, name)
            ]
            for ready in rules:
                if ready is not None:
                    self._store_sum(*ready)

    def _parts(
        self, constraint: Any, weight: Fraction | int | None, name: Hashable
    ) -> Iterator[tuple[Constraint, Fraction | int | None]]:
        """The comparisons that a constraint is made of, and their weights."""
        if isinstance(constraint, Constraint):
            yield constraint, weight
        elif isinstance(constraint, tuple):
            for part in constraint:
                yield from self._parts(part, weight, name)
        elif isinstance(constraint, Either):
            yield Constraint(total(constraint.parts), ">=", 1, NOT_MET), weight
        elif isinstance(constraint, Expression):
            left = self._taken(constraint.sum(), name)
            if isinstance(constraint, Known) or self.is_condition(left):
                yield Constraint(left, "=", 1, NOT_MET), weight
            else:
                raise ModelError(
                    f"{constraint!r} is a sum, not a constraint: compare it"
                )
        elif isinstance(constraint, (Runs, Different)):
            for rule, factor in constraint.parts(self, name, weight is None):
                times = None if weight is None else weight * factor
                yield rule, checked_weight(times)
        else:
            raise ModelError(f"{constraint!r} is not a constraint")

    def _line_name(self) -> str:
        frame, _ = caller()
        if frame is None:
            return "constraint"
        file = frame.f_code.co_filename.replace("\\", "/").split("/")[-1]
        return f"{file}:{frame.f_lineno}"

    def _checked(
        self,
        constraint: Constraint,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> _Ready | None:
        """A comparison as it is stored; None if it need not be."""
        left_side, relation = constraint.left, constraint.relation
        left_side = self._taken(left_side, name)
        left = normal(left_side, self.labels_of)
        bound = constraint.bound - left_side.constant
        low, high = self.range_of(left)
        check_size(name, left, low, high, bound)
        constant = left_side.constant
        wanted = f"{relation} {constraint.bound}"
        if not can_hold(low, high, relation, bound):
            text = f"{_range_text(left, constant, low, high)}, not {wanted}"
            if weight is None:
                raise ModelError(f"constraint {name!r} can never hold{text}")
            self._remarks.add("can never hold", name, text)
        elif must_hold(low, high, relation, bound):
            if isinstance(constraint, Part):
                return None
            text = f"{_range_text(left, constant, low, high)}, always {wanted}"
            self._remarks.add("always holds", name, text)
        return _Ready(
            left, relation, bound, weight, name, constant, constraint.form
        )

    def _taken(self, expr: Sum, name: Hashable = None) -> Sum:
        """The sum on the variables of this model; it may be of a model that
        this one is a copy of."""
        if expr.model is None or expr.model is self:
            return expr
        if self.is_copy_of(expr.model):
            return self.taken(expr)
        what = "it" if name is None else f"constraint {name!r}"
        raise ModelError(f"{what} belongs to another model")

    def _own(self, x: Variable, name: Hashable) -> Variable:
        """The variable, or its namesake if this is a copy of its model."""
        if x.model is not self and self.is_copy_of(x.model):
            return variable_of(self, x, f"constraint {name!r}")
        if x.model is not self:
            raise ModelError(f"constraint {name!r} belongs to another model")
        return x

    def taken(self, expr: Sum) -> Sum:
        """A sum of the original as a sum of this copy."""
        return expr if expr.model is self else taken(self, expr)

    def is_copy_of(self, other: Model) -> bool:
        """Whether copy() or without() made this model of the other."""
        return (
            self._family is other._family
            and self._generation > other._generation
        )

    def range_of(self, expr: Sum) -> tuple[int, int]:
        """Bounds of the sum: exact for labels, conservative for products."""
        return range_of(self, expr, self._has_fixed)

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

    def _store_sum(
        self,
        left: Sum,
        relation: str,
        bound: int,
        weight: Fraction | int | None,
        name: Hashable,
        constant: int = 0,
        form: Form | None = None,
    ) -> None:
        if form is not None:
            self.forms[len(self.names)] = form
        if left.lefts:
            self.coefficients.extend(left.multiples)
            self.first.extend(left.lefts)
            self.second.extend(left.rights)
        else:
            self.coefficients.extend(left.coefficients)
            self.first.extend(left.labels)
        kind = "q" if left.lefts else "l"
        self._store(kind, relation, bound, weight, name, constant)

    def _store(
        self,
        kind: str,
        relation: str,
        bound: int,
        weight: Fraction | int | None,
        name: Hashable,
        constant: int = 0,
    ) -> None:
        if self._pending:
            self.constraint_sections[len(self.names)] = self._pending
            self._pending = ""
        self.names.append(name)
        self.weights.append(weight)
        self.kinds.append(KINDS.index(kind + relation))
        self.bounds.append(bound)
        self.constants.append(constant)
        self.ends.append(len(self.first))
        self.second_ends.append(len(self.second))

    def _add_different(
        self,
        constraint: AllDifferent,
        weight: Fraction | int | None,
        name: Hashable,
    ) -> None:
        variables = [self._own(x, name) for x in constraint.variables]
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
                part = name if isinstance(name, tuple) else (name,)
                rule = total(x == value for x in some) <= 1
                ready = self._checked(rule, weight, (*part, value))
                assert ready is not None
                self._store_sum(*ready)

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
        if _is_zero(weight):
            self._remarks.add("has weight 0", name, " and is left out")
            return
        checked = checked_weight(weight)
        if checked is None:
            raise ModelError("an objective needs a weight")
        if not isinstance(expression, Expression):
            raise ModelError(f"{expression!r} is not an expression of labels")
        if self.objectives and self.objectives[0].sign != sign:
            raise ModelError("a model cannot both minimize and maximize")
        expr = self._taken(expression.sum(), name)
        relation = "<=" if sign > 0 else ">="
        if bound is None:
            parts = groups(expr, self, sign)
            limit = expr.constant + sum(part.bound for part in parts)
        else:
            limit = integer(bound, "a bound")
            parts = [
                Group((), normal(expr, self.labels_of), limit - expr.constant)
            ]
        constant = expr.constant if bound is not None else 0
        for part in parts:
            low, high = self.range_of(part.sum)
            check_size(name, part.sum, low, high, part.bound)
            owner = (name, *part.of) if part.of else name
            self.objective_parts.add(len(self.names))
            self._store_sum(
                part.sum, relation, part.bound, checked, owner, constant
            )
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
        """Writes the model to a file atomically. The file PATH.names beside
        it gets the names of the data, which `wcsp-show` shows; `wcsp-check`
        takes it with `--names`. Only the model is written to a pipe or a
        device.

        Decimal weights are multiplied by `scale`; a warning reports the
        weights that are rounded.
        """
        self._remarks.tell()
        warn_of_rounding(self)
        is_file = os.path.isfile(path) or not os.path.exists(path)
        write_whole(path, lines(self))
        if is_file:
            write_whole(f"{os.fsdecode(path)}.names", names_text(self))

    def solve(
        self,
        time: float = 60,
        seeds: int | Iterable[int] = 8,
        jobs: int | None = None,
        target: float | None = None,
        start: Source | None = None,
        on_improve: Callable[[Progress], object] | None = None,
        log: str | os.PathLike[str] | None = None,
        wcsp: str | os.PathLike[str] | None = None,
        options: Iterable[str] = (),
        polish: float = 0,
        progress: bool = True,
        plans: int = 1,
        apart: int = 1,
        only: Only = None,
    ) -> Result:
        """Searches with several seeds and returns the best result.

        Needs the programs wcsp and wcsp-check. `time` is the wall-clock time
        of the call in seconds. `jobs` searches run at once, by default one
        per core. The first search that reaches the soft penalty `target`
        ends all. `start` is a plan to start from, see price().
        `on_improve` is called for each better penalty, `log` is a file for
        the log of the best search, and `options` are passed to the program.
        For the share `polish` of the time, from 0 to below 1, the program
        wcsp-polish improves the best few reports. An interrupt (Ctrl-C)
        returns the best result so far; a second one raises KeyboardInterrupt.
        With `progress`, a line on a terminal or in a notebook shows how far
        the searches are.

        For several good `plans`, the searches get half of the time. The first
        of their reports are taken that differ from each other in at least
        `apart` variables whose names `only` accepts; if these are too few,
        further searches exclude what is near them. They are the `plans` of
        the result.

        >>> m = Model()
        >>> x = m.variable("way to work", ["bus", "car"])
        >>> m.minimize(3 * (x == "bus") + 7 * (x == "car"))
        >>> r = m.solve(time=5, seeds=1)
        >>> r[x], r.objective
        ('bus', 3)
        """

        def one(
            signals: Signals, model: Model, time: float, is_first: bool
        ) -> Result:
            return search(
                signals,
                model,
                time,
                seeds,
                jobs,
                target,
                start if is_first else None,
                on_improve if is_first else None,
                log if is_first else None,
                wcsp,
                options,
                polish,
                progress,
            )

        return several(self, one, time, plans, apart, only)

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

    def _find_bound(
        self, result: Result, time: float, engine: str
    ) -> Bound | None:
        """See Result.bound."""
        return bound(result, time, engine)

    @overload
    def check(self, plan: Result) -> list[str]:
        ...

    @overload
    def check(self, plan: Source) -> list[str] | Result:
        ...

    def check(self, plan: Source) -> list[str] | Result:
        """Checks a result against the current model with wcsp-check and
        returns the differences; empty if it is correct. Of other plans,
        which have no penalties to compare, it returns the price()."""
        if not isinstance(plan, Result):
            return self.price(plan)
        checked = judged(self.text(), plan.run.text)
        return [str(difference) for difference in checked["differences"]]

    def price(self, plan: Source) -> Result:
        """The result with the values of a plan, judged by wcsp-check: its
        penalties and what it violates.

        A plan is a result, a saved result, a mapping from variables or their
        names to values, the path of a saved result, report or start file, or
        what read_plan() returns.

        >>> m = Model()
        >>> x = [m.variable(d, ["off", "on"]) for d in ("Mon", "Tue")]
        >>> m.add(total(d != "off" for d in x) >= 2, weight=3, name="work")
        >>> r = m.price({"Mon": "on", "Tue": "off"})
        >>> r.soft, r.violated[0].explanation
        (3, '1, at least 2 wanted: Mon = on')
        """
        return price(self, places_of(self, plan, "price"))

    def read_plan(
        self,
        path: str | os.PathLike[str],
        rows: Iterable[Hashable],
        columns: Iterable[Hashable],
    ) -> Plan:
        """A plan from a table: CSV, or the first sheet of .xlsx if openpyxl
        is installed. Its first line has the columns and its first column the
        rows; a cell has the value of the variable (row, column).

        Empty cells are skipped. What the model does not have is left out,
        with one warning.
        """
        return read_plan(self, path, rows, columns)

    def keep(self, old: Source, weight: Weight = 1, only: Only = None) -> None:
        """Asks for few changes: one constraint for each variable, named
        ("keep", name), which costs the weight if the value is not the old
        one. `only` is a predicate of names.

        >>> m = Model()
        >>> x = [m.variable(("Zoë", d), ["off", "on"]) for d in (1, 2, 3)]
        >>> m.fix(x[1], "off")
        >>> m.keep({y: "on" for y in x}, only=lambda name: name[1] > 1)
        >>> r = m.solve(time=5, seeds=1)
        >>> r.soft, r.groups()
        (1, {'keep': Penalty(hard=0, soft=1)})
        """
        places = places_of(self, old, "keep")
        for v in chosen(self, places, only):
            x = self.variables[v]
            if len(x.places) > 1:
                value = list(x.places)[places[v]]
                rule = Constraint(
                    (x == value).sum(), "=", 1, Kept((x.name,), shown(value))
                )
                self.add(rule, weight, ("keep", x.name))

    def changed(self, old: Source, only: Only = None) -> Sum:
        """The number of variables that have another value than in the plan.

        >>> m = Model()
        >>> x = [m.variable(i, "ab") for i in range(4)]
        >>> m.add(m.changed({0: "a", 1: "a", 2: "a", 3: "a"}) <= 2)
        """
        places = places_of(self, old, "changed")
        result = total(
            self.variables[v] != list(self.variables[v].places)[places[v]]
            for v in chosen(self, places, only)
        )
        result.model = self
        return result

    def fix(self, x: Variable | Hashable, value: Any) -> None:
        """A hard constraint: the variable, or that of this name, has the
        value."""
        own = variable_of(self, x, "fix")
        place_of(own, value, "fix")
        if len(own.places) > 1:
            self.add(own == value, name=("fix", own.name))

    def forbid(self, x: Variable | Hashable, values: Any) -> None:
        """A hard constraint: the variable has none of the values, or not the
        one that is given.

        >>> m = Model()
        >>> x = m.variable("Zoë", ["off", "early", "late"])
        >>> m.forbid(x, ["early", "late"])
        >>> m.solve(time=5, seeds=1)[x]
        'off'
        """
        own = variable_of(self, x, "forbid")
        is_one = isinstance(values, Hashable) and values in own.places
        if (
            is_one
            or isinstance(values, str)
            or not isinstance(values, Iterable)
        ):
            values = [values]
        distinct = list(dict.fromkeys(values))
        for value in distinct:
            place_of(own, value, "forbid")
        if distinct:
            self.add(own.isin(distinct) <= 0, name=("forbid", own.name))

    def copy(self) -> Model:
        """An independent model with the same contents. It takes variables
        and expressions of this one by name."""
        model = deepcopy(self)
        model._family = self._family
        model._generation = self._generation + 1
        return model

    def without(self, name: Hashable) -> Model:
        """A copy without the constraints of this name, and without those
        whose tuple name begins with it.

        >>> m = Model()
        >>> x = m.variable("x", "ab")
        >>> m.add(x == "a", name=("wish", "Zoë"))
        >>> m.without("wish")
        <Model of 1 variables and 0 constraints>
        """
        model = self.copy()
        drop(model, name)
        return model

    def _alternatives(
        self, result: Result, of: Variable | Hashable | Iterable[Any]
    ) -> list[Alternative]:
        """See Result.alternatives."""
        return alternatives(result, of)

    def _changes(
        self, result: Result, plan: Source, only: Only
    ) -> list[Change]:
        """See Result.changes."""
        return changes(result, plan, only)

    def _save(self, result: Result, path: str | os.PathLike[str]) -> None:
        """See Result.save."""
        save(result, path)

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
        model.helpers = deepcopy(self.helpers, memo)
        model._family, model._generation = Family(), 0
        return model

    def label_text(self, label: int) -> str:
        """The label as the user would write it."""
        x = self.variables[self.labels_of[label]]
        value = list(x.values)[label - x.first]
        return f"({shown(x.name)} = {value!r})"

    def __repr__(self) -> str:
        return (
            f"<Model of {len(self.variables)} variables and "
            f"{len(self.names)} constraints>"
        )


def _range_text(left: Sum, constant: int, low: int, high: int) -> str:
    """The bounds of a sum with the constant of the user."""
    whole = total((constant, left))
    return f": {describe(whole)} is {low + constant} to {high + constant}"


def _is_zero(weight: Weight) -> bool:
    if type(weight) is int or weight is None:
        return weight == 0
    return exact_number(weight) == 0


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


def _numbers_agree(variables: list[Variable]) -> bool:
    """Whether equal values have equal numbers, and only those."""
    longest = max((x.places for x in variables), key=len)
    order = list(longest)
    return all(
        x.places is longest or list(x.places) == order[: len(x.places)]
        for x in variables
    )

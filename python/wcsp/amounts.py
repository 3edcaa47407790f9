"""Variables as numbers: sums, differences and sizes of integers and dates."""

from __future__ import annotations

import itertools
from collections.abc import Callable
from datetime import date, datetime
from typing import TYPE_CHECKING, Any, NoReturn

from .errors import ModelError
from .expressions import (
    Constraint,
    Expression,
    Known,
    Operand,
    Sum,
    Variable,
    total,
)
from .forms import Reckoned, integer_of
from .numbers import whole_number

if TYPE_CHECKING:
    from .model import Model

_HINT = "table() has any cost of the values of one or two variables"


def number(x: Variable) -> Amount:
    """The value of a variable in sums and comparisons. All values must be
    integers or dates; a day counts 1.

    Comparisons are linear, and their violation is the distance. Of the size
    abs(l - r), an upper bound is two linear constraints. A lower bound, and
    `!=`, take one or two variables.

    >>> from wcsp import Model
    >>> m = Model()
    >>> a, b = m.variable("a", range(1, 6)), m.variable("b", range(1, 6))
    >>> m.add(number(a) + number(b) <= 7)
    >>> m.add(abs(number(a) - number(b)) >= 3, weight=2)
    >>> r = m.price({"a": 4, "b": 5})
    >>> [v.explanation for v in r.violated]
    ['9, at most 7 wanted: a = 4, b = 5', '1, at least 3 wanted: a = 4, b = 5']
    """
    if not isinstance(x, Variable):
        raise ModelError(f"number() takes a variable, not {x!r}")
    numbers(x)
    return Amount(x.model, {x: 1}, 0)


def numbers(x: Variable) -> list[int]:
    """The numbers of the values, in their order."""
    result = []
    for value in x.values:
        is_day = isinstance(value, date) and not isinstance(value, datetime)
        whole = whole_number(value)
        if not is_day and whole is None:
            raise ModelError(
                f"number(): value {value!r} of variable {x.name!r} is neither "
                "an integer nor a date"
            )
        result.append(integer_of(value))
    return result


class Amount(Expression):
    """A sum of multiples of variables as numbers."""

    __slots__ = ("model", "parts", "constant")

    def __init__(
        self, model: Model, parts: dict[Variable, int], constant: int
    ) -> None:
        self.model = model
        self.parts = {x: factor for x, factor in parts.items() if factor}
        self.constant = constant

    def sum(self) -> Sum:
        # From the least value, so that coefficients stay small.
        result = [Sum(self.model)]
        result[0].constant = self.constant
        for x, factor in self.parts.items():
            values = numbers(x)
            least = min(values)
            result[0].constant += factor * least
            result += [
                (factor * (n - least) * (x == value)).sum()
                for value, n in zip(x.values, values)
                if n > least
            ]
        return total(result)

    def scaled(self, factor: int) -> Expression:
        parts = {x: own * factor for x, own in self.parts.items()}
        return Amount(self.model, parts, self.constant * factor)

    def _plus(self, other: object, sign: int) -> Expression:
        other = _with_days(other)
        if isinstance(other, Amount) and other.model is self.model:
            parts = dict(self.parts)
            for x, factor in other.parts.items():
                parts[x] = parts.get(x, 0) + sign * factor
            constant = self.constant + sign * other.constant
            return Amount(self.model, parts, constant)
        if isinstance(other, int):
            constant = self.constant + sign * other
            return Amount(self.model, self.parts, constant)
        right: Any = other
        return total((self.sum(), right if sign > 0 else -right))

    def __add__(self, other: object) -> Expression:
        return self._plus(other, 1)

    def __radd__(self, other: object) -> Expression:
        return self._plus(other, 1)

    def __sub__(self, other: object) -> Expression:
        return self._plus(other, -1)

    def __rsub__(self, other: object) -> Expression:
        return self.scaled(-1) + other  # type: ignore[operator]

    def __abs__(self) -> Size:
        return Size(self)

    def _compared(
        self, relation: str, other: object, step: int = 0
    ) -> Constraint:
        other = _with_days(other)
        if isinstance(other, int):
            return self.constraint(relation, other + step)
        if isinstance(other, Amount):
            left = self - other
            if isinstance(left, Amount):
                bound = step - left.constant
                bare = Amount(self.model, left.parts, 0)
                return bare.constraint(relation, bound)
        right: Any = other
        if relation == "<=":
            return Expression.__le__(self, right + step if step else right)
        if relation == ">=":
            return Expression.__ge__(self, right + step if step else right)
        return Expression.__eq__(self, right)

    def constraint(
        self, relation: str, bound: int, is_size: bool = False
    ) -> Constraint:
        """A linear comparison that is explained in numbers."""
        return Constraint(
            self.sum(), relation, bound, self.form(relation, bound, is_size)
        )

    def form(self, relation: str, bound: int, is_size: bool) -> Reckoned:
        return Reckoned(
            tuple(x.name for x in self.parts),
            tuple(self.parts.values()),
            self.constant,
            relation,
            bound,
            is_size,
        )

    def __le__(self, other: object) -> Constraint:
        return self._compared("<=", other)

    def __ge__(self, other: object) -> Constraint:
        return self._compared(">=", other)

    def __lt__(self, other: object) -> Constraint:
        return self._compared("<=", other, -1)

    def __gt__(self, other: object) -> Constraint:
        return self._compared(">=", other, 1)

    def __eq__(self, other: object) -> Constraint:  # type: ignore[override]
        return self._compared("=", other)

    def __ne__(self, other: object) -> Expression:  # type: ignore[override]
        left = self - other
        if not isinstance(left, Amount):
            return Expression.__ne__(self, other)
        return Known((1 - left.costs(lambda n: int(n == 0), "!=")).sum())

    def costs(self, cost: Callable[[int], int], where: str) -> Sum:
        """The cost of the number, for at most two variables."""
        variables = list(self.parts)
        if len(variables) > 2:
            raise ModelError(
                f"{where} takes number() of at most two variables, not of "
                f"{len(variables)}; {_HINT}"
            )
        domains = [list(zip(x.values, numbers(x))) for x in variables]
        terms: list[Operand] = []
        for combination in itertools.product(*domains):
            value = self.constant + sum(
                factor * n
                for factor, (_, n) in zip(self.parts.values(), combination)
            )
            if cost(value):
                labels: Any = cost(value)
                for x, (chosen, _) in zip(variables, combination):
                    labels = labels * (x == chosen)
                terms.append(labels)
        result = total(terms)
        result.model = self.model
        return result

    __hash__ = None  # type: ignore[assignment]


class Size:
    """abs() of a sum of numbers, to be compared with a number."""

    __slots__ = ("_of",)

    def __init__(self, of: Amount) -> None:
        self._of = of

    def __le__(self, bound: object) -> tuple[Constraint, ...]:
        limit = self._bound(bound)
        if limit < 0:
            raise ModelError(f"abs() is never at most {limit}")
        # The other sign is the same number from the other side.
        other = self._of.scaled(-1)
        assert isinstance(other, Amount)
        return (
            self._of.constraint("<=", limit, True),
            other.constraint("<=", limit, True),
        )

    def __lt__(self, bound: object) -> tuple[Constraint, ...]:
        return self <= self._bound(bound) - 1

    def __ge__(self, bound: object) -> Constraint:
        least = self._bound(bound)
        missing = self._of.costs(lambda n: max(least - abs(n), 0), "abs() >=")
        form = self._of.form(">=", least, True)
        return Constraint(missing, "<=", 0, form)

    def __gt__(self, bound: object) -> Constraint:
        return self >= self._bound(bound) + 1

    def _bound(self, bound: object) -> int:
        whole = None if isinstance(bound, Expression) else whole_number(bound)
        if whole is None:
            raise ModelError(
                f"abs() is compared with an integer, not {bound!r}; {_HINT}"
            )
        return whole

    def _refused(self, *_: object) -> NoReturn:
        raise ModelError(
            "abs() is only compared with an integer, by <=, <, >= or >; "
            + _HINT
        )

    __eq__ = __ne__ = _refused
    __add__ = __radd__ = __sub__ = __rsub__ = __mul__ = __rmul__ = _refused
    __neg__ = __bool__ = _refused
    __hash__ = None  # type: ignore[assignment]


def _with_days(other: object) -> Any:
    """A date as its number."""
    if isinstance(other, date) and not isinstance(other, datetime):
        return other.toordinal()
    if isinstance(other, Expression) or type(other) is int:
        return other
    whole = whole_number(other)
    return other if whole is None else whole

"""Labels, their sums and products, and comparisons of them.

A label is a variable with one of its values; it counts 1 if the variable has
the value and 0 otherwise. `x == "night"` is a label. Labels can be added and
multiplied, and comparing a sum with another sum or a number gives a
constraint. Labels are numbered across the model, so a term is two or three
integers and a sum is a few arrays: 16 or 24 bytes per term.
"""

from __future__ import annotations

from array import array
from collections.abc import (
    Callable,
    Hashable,
    Iterable,
    Iterator,
    KeysView,
)
from copy import deepcopy
from typing import TYPE_CHECKING, Any, NoReturn, Union

from .errors import ModelError
from .forms import Form
from .numbers import whole_number

if TYPE_CHECKING:
    from .model import Model

Operand = Union["Expression", int]

_TRUTH = (
    "{0} is not a truth value: it is known only when the model is solved. Use "
    "it in add() or total(), two bounds as between(low, high), and results[x] "
    "after solving"
)


class Expression:
    """A sum of integer multiples of labels and of products of two labels.

    >>> from wcsp import Model
    >>> m = Model()
    >>> x, y = m.variable("x", "abc"), m.variable("y", "abc")
    >>> 2 * (x == "a") - (y == "b") + 1
    1 + 2 (x = 'a') - (y = 'b')
    >>> (x == "a") * (y == "b") <= 0
    (x = 'a')(y = 'b') <= 0
    """

    __slots__ = ()
    # `==` makes a constraint, so a hash would be useless.
    __hash__ = None  # type: ignore[assignment]

    def sum(self) -> Sum:
        """This expression as a sum that is never changed afterwards."""
        raise NotImplementedError

    def scaled(self, factor: int) -> Expression:
        """Every term times the factor."""
        raise NotImplementedError

    def __add__(self, other: Operand) -> Expression:
        return total((self, _operand(other, "added to")))

    def __radd__(self, other: Operand) -> Expression:
        if isinstance(other, int) and other == 0:
            return self
        return total((_operand(other, "added to"), self))

    def __sub__(self, other: Operand) -> Expression:
        other = _operand(other, "subtracted from")
        return total((self, -other))

    def __rsub__(self, other: Operand) -> Expression:
        return total((_operand(other, "compared with"), self.scaled(-1)))

    def __neg__(self) -> Expression:
        return self.scaled(-1)

    def __mul__(self, other: Operand) -> Expression:
        if type(other) is int:
            return self.scaled(other)
        other = _operand(other, "multiplied with")
        if isinstance(other, int):
            return self.scaled(other)
        return _product(self.sum(), other.sum())

    def __rmul__(self, other: int) -> Expression:
        return self.__mul__(other)

    def __or__(self, other: object) -> Expression:
        return either(self, other)

    def __ror__(self, other: object) -> NoReturn:
        either(other, self)
        raise AssertionError

    def __and__(self, other: object) -> Expression:
        return both(self, other)

    def __rand__(self, other: object) -> NoReturn:
        both(other, self)
        raise AssertionError

    def __invert__(self) -> Expression:
        return Known((1 - condition_of(self, "~")).sum())

    def __le__(self, other: Operand) -> Constraint:
        return _compare(self, "<=", other)

    def __ge__(self, other: Operand) -> Constraint:
        return _compare(self, ">=", other)

    def __lt__(self, other: Operand) -> Constraint:
        return _compare(self, "<=", _operand(other, "compared with") - 1)

    def __gt__(self, other: Operand) -> Constraint:
        return _compare(self, ">=", _operand(other, "compared with") + 1)

    def __eq__(self, other: object) -> Constraint:  # type: ignore[override]
        return _compare(self, "=", other)

    def __ne__(self, other: object) -> NoReturn:
        raise ModelError(
            f"{self!r} != {other!r}: '!=' is not supported for sums, only "
            "for a variable and a value or number() of two variables; "
            "table() has any cost of two values"
        )

    def between(self, low: int, high: int) -> tuple[Constraint, Constraint]:
        """Both bounds; add() makes two constraints of them.

        >>> from wcsp import Model, total
        >>> m = Model()
        >>> days = [m.variable(d, ["on", "off"]) for d in range(7)]
        >>> m.add(total(d == "on" for d in days).between(3, 5), name="work")
        """
        if integer(low, "a bound") > integer(high, "a bound"):
            raise ModelError(f"between({low}, {high}) is empty")
        return self >= low, self <= high

    def __bool__(self) -> bool:
        raise ModelError(_TRUTH.format(repr(self)))

    def __repr__(self) -> str:
        return describe(self.sum())


class Term(Expression):
    """A multiple of one label."""

    __slots__ = ("model", "coefficient", "label")

    def __init__(self, model: Model, coefficient: int, label: int) -> None:
        self.model = model
        self.coefficient = coefficient
        self.label = label

    def sum(self) -> Sum:
        result = Sum(self.model)
        result.coefficients.append(fitting(self.coefficient))
        result.labels.append(self.label)
        return result

    def scaled(self, factor: int) -> Expression:
        return Term(self.model, self.coefficient * factor, self.label)

    def __mul__(self, other: Operand) -> Expression:
        if type(other) is Term and other.model is self.model:
            return Pair(
                self.model,
                self.coefficient * other.coefficient,
                self.label,
                other.label,
            )
        return Expression.__mul__(self, other)


class Pair(Expression):
    """A multiple of a product of two labels."""

    __slots__ = ("model", "coefficient", "left", "right")

    def __init__(
        self, model: Model, coefficient: int, left: int, right: int
    ) -> None:
        self.model = model
        self.coefficient = coefficient
        self.left = left
        self.right = right

    def sum(self) -> Sum:
        result = Sum(self.model)
        result.multiples.append(fitting(self.coefficient))
        result.lefts.append(self.left)
        result.rights.append(self.right)
        return result

    def scaled(self, factor: int) -> Expression:
        return Pair(
            self.model, self.coefficient * factor, self.left, self.right
        )


class Sum(Expression):
    """Any expression: linear terms, products and a constant, in order."""

    __slots__ = (
        "model",
        "constant",
        "coefficients",
        "labels",
        "multiples",
        "lefts",
        "rights",
    )

    def __init__(self, model: Model | None) -> None:
        self.model = model
        self.constant = 0
        self.coefficients = array("q")
        self.labels = array("q")
        self.multiples = array("q")
        self.lefts = array("q")
        self.rights = array("q")

    def sum(self) -> Sum:
        return self

    def scaled(self, factor: int) -> Expression:
        result = Sum(self.model)
        result.constant = self.constant * factor
        try:
            result.coefficients = array(
                "q", [c * factor for c in self.coefficients]
            )
            result.multiples = array("q", [c * factor for c in self.multiples])
        except OverflowError:
            raise ModelError(f"a coefficient times {factor} is too large")
        result.labels = self.labels
        result.lefts, result.rights = self.lefts, self.rights
        return result

    def append(self, other: Sum) -> None:
        """Adds the terms of another; only while the sum is being built."""
        self.constant += other.constant
        self.coefficients.extend(other.coefficients)
        self.labels.extend(other.labels)
        self.multiples.extend(other.multiples)
        self.lefts.extend(other.lefts)
        self.rights.extend(other.rights)

    def replace(self, other: Sum) -> None:
        """Becomes the other, which has as many terms, in the same arrays."""
        self.model = other.model
        for mine, its in (
            (self.labels, other.labels),
            (self.lefts, other.lefts),
            (self.rights, other.rights),
        ):
            mine[:] = its

    def __len__(self) -> int:
        """The number of terms."""
        return len(self.labels) + len(self.lefts)


class Known(Expression):
    """A sum that is certain to be 0 or 1."""

    __slots__ = ("_sum",)

    def __init__(self, of: Sum) -> None:
        self._sum = of

    def sum(self) -> Sum:
        return self._sum

    def scaled(self, factor: int) -> Expression:
        return self._sum.scaled(factor)


class Either(Expression):
    """Conditions of which at least one is to hold."""

    __slots__ = ("parts",)

    def __init__(self, parts: list[Expression]) -> None:
        self.parts = parts

    def sum(self) -> Sum:
        if len(self.parts) > 2:
            raise ModelError(
                "in a sum, | takes two conditions; give more of them to add() "
                "alone, or count them with total()"
            )
        one, other = self.parts
        return total((one, other, -(one * other)))

    def scaled(self, factor: int) -> Expression:
        return self.sum().scaled(factor)

    def __repr__(self) -> str:
        return " | ".join(f"({part!r})" for part in self.parts)


class Constraint:
    """A sum compared with a number: the argument of add()."""

    __slots__ = ("left", "relation", "bound", "form")

    def __init__(
        self,
        left: Sum,
        relation: str,
        bound: int,
        form: Form | None = None,
    ) -> None:
        self.left = left
        self.relation = relation
        self.bound = bound
        self.form = form

    def _uncombined(self, other: object = None) -> NoReturn:
        raise ModelError(
            f"{self!r} is a constraint: |, & and ~ take conditions of 0 or 1, "
            "such as (x == value)"
        )

    __or__ = __ror__ = __and__ = __rand__ = __invert__ = _uncombined

    def __bool__(self) -> bool:
        raise ModelError(_TRUTH.format(repr(self)))

    def __repr__(self) -> str:
        return f"{describe(self.left)} {self.relation} {self.bound}"


class Variable:
    """A variable that takes one of its values; see Model.variable()."""

    __slots__ = ("model", "name", "number", "first", "places")

    def __init__(
        self,
        model: Model,
        name: Hashable,
        number: int,
        places: dict[Any, int],
        first: int,
    ) -> None:
        self.model = model
        self.name = name
        self.number = number
        # The number of the first value's label.
        self.first = first
        self.places = places

    @property
    def values(self) -> KeysView[Any]:
        """The values that the variable may take."""
        return self.places.keys()

    def __copy__(self) -> Variable:
        return self

    def __deepcopy__(self, memo: dict[int, Any]) -> Variable:
        """The variable of that name in a copy of the model."""
        return deepcopy(self.model, memo).variables[self.number]

    def __eq__(self, value: object) -> Expression:  # type: ignore[override]
        """The label of the value; for a variable, of every shared value."""
        try:
            return Term(self.model, 1, self.first + self.places[value])
        except (KeyError, TypeError):
            return self._equal(value)

    def __ne__(self, value: object) -> Expression:  # type: ignore[override]
        return 1 - (self == value)

    __hash__ = object.__hash__

    def _equal(self, value: object) -> Expression:
        if isinstance(value, Variable):
            return total(
                (self == v) * (value == v)
                for v in self.values
                if v in value.values
            )
        raise ModelError(
            f"variable {self.name!r} has no value {value!r}; it has "
            + shortened(self.values)
        )

    def isin(self, values: Iterable[Any]) -> Expression:
        """Counts 1 when the variable has one of the values.

        >>> from wcsp import Model
        >>> m = Model()
        >>> x = m.variable("x", range(10))
        >>> x.isin([2, 3])
        (x = 2) + (x = 3)
        """
        # A repeated value counts once.
        return total(self == value for value in dict.fromkeys(values))

    def where(self, predicate: Callable[[Any], object]) -> Expression:
        """Counts 1 when the predicate is true of the variable's value.

        >>> from wcsp import Model
        >>> m = Model()
        >>> m.variable("x", range(10)).where(lambda v: v > 7)
        (x = 8) + (x = 9)
        """
        return total(self == v for v in self.values if predicate(v))

    def __repr__(self) -> str:
        return f"variable {self.name!r}"

    def __bool__(self) -> bool:
        raise ModelError(_TRUTH.format(repr(self)))

    def _unordered(self, other: object) -> NoReturn:
        raise ModelError(
            f"{self!r} cannot be used in sums or ordered; use labels "
            "(x == value), where(), number() for integers and dates, or "
            "table() for any cost of two values"
        )

    __lt__ = __le__ = __gt__ = __ge__ = _unordered
    __add__ = __radd__ = __sub__ = __rsub__ = __mul__ = __rmul__ = _unordered

    def _unbracketed(self, other: object = None) -> NoReturn:
        raise ModelError(
            f"{self!r} is not a condition. Python reads x == 1 | y == 2 as "
            "x == (1 | y) == 2: put each condition in brackets"
        )

    __or__ = __ror__ = __and__ = __rand__ = __invert__ = _unbracketed


def total(items: Iterable[Operand]) -> Sum:
    """The sum of expressions and numbers, without the copies of sum().

    >>> from wcsp import Model
    >>> m = Model()
    >>> x = [m.variable(i, "ab") for i in range(3)]
    >>> total(i * (v == "a") for i, v in enumerate(x, 1)) <= 4
    (0 = 'a') + 2 (1 = 'a') + 3 (2 = 'a') <= 4
    """
    result = Sum(None)
    model = None
    add_coefficient = result.coefficients.append
    add_label = result.labels.append
    try:
        for item in items:
            if type(item) is Term and item.model is model:
                add_coefficient(item.coefficient)
                add_label(item.label)
            elif type(item) is Pair and item.model is model:
                result.multiples.append(item.coefficient)
                result.lefts.append(item.left)
                result.rights.append(item.right)
            elif isinstance(item, Expression):
                part = item.sum()
                if part.model is not model:
                    part = _united(result, part)
                    model = result.model
                result.append(part)
            else:
                result.constant += integer(item, "a part of a sum")
    except OverflowError:
        raise ModelError("a coefficient does not fit 64 bits")
    return result


def _united(result: Sum, part: Sum) -> Sum:
    """The part as one of the model of the result. If they are of two
    models, one a copy of the other, both become sums of the copy."""
    one, other = result.model, part.model
    if other is None:
        return part
    if one is None:
        result.model = other
    elif one is not other:
        if other.is_copy_of(one):
            result.replace(other.taken(result))
        elif one.is_copy_of(other):
            return one.taken(part)
        else:
            raise ModelError("variables of two different models in one sum")
    return part


def describe(expr: Sum, limit: int = 6) -> str:
    """The first terms of the sum in the user's names."""
    parts: list[str] = []
    if expr.constant or not len(expr):
        parts.append(f" + {expr.constant}")
    for coefficient, labels in terms(expr):
        if len(parts) == limit:
            parts.append(" + ...")
            break
        assert expr.model is not None
        names = "".join(expr.model.label_text(i) for i in labels)
        size = f"{abs(coefficient)} " if abs(coefficient) != 1 else ""
        parts.append(f" {'-' if coefficient < 0 else '+'} {size}{names}")
    text = "".join(parts)[1:]
    return text[2:] if text.startswith("+ ") else text.replace("- ", "-", 1)


def terms(expr: Sum) -> Iterator[tuple[int, tuple[int, ...]]]:
    """Each coefficient with its one label or two."""
    for c, label in zip(expr.coefficients, expr.labels):
        yield c, (label,)
    for c, left, right in zip(expr.multiples, expr.lefts, expr.rights):
        yield c, (left, right)


def shortened(values: Iterable[Any], limit: int = 8) -> str:
    """The first of the values as text."""
    texts: list[str] = []
    for value in values:
        if len(texts) == limit:
            texts.append("...")
            break
        texts.append(repr(value))
    return ", ".join(texts)


def _product(left: Sum, right: Sum) -> Sum:
    """Terms of degree at most two; add() handles same-variable pairs."""
    if (len(left.lefts) and len(right)) or (len(right.lefts) and len(left)):
        raise ModelError(
            "a product of three labels: the language has products of two; "
            "make two of the choices one variable"
        )
    if left.model is not right.model:
        pair = total((left, right)).model  # the model that has both
        if pair is not None:
            left = left if left.model is None else pair.taken(left)
            right = right if right.model is None else pair.taken(right)
    result = Sum(right.model if left.model is None else left.model)
    result.constant = left.constant * right.constant
    for one, other in (left, right.constant), (right, left.constant):
        if other:
            part = one.scaled(other).sum()
            result.coefficients.extend(part.coefficients)
            result.labels.extend(part.labels)
            result.multiples.extend(part.multiples)
            result.lefts.extend(part.lefts)
            result.rights.extend(part.rights)
    try:
        for c, i in zip(left.coefficients, left.labels):
            for d, k in zip(right.coefficients, right.labels):
                result.multiples.append(c * d)
                result.lefts.append(i)
                result.rights.append(k)
    except OverflowError:
        raise ModelError("a product of coefficients does not fit 64 bits")
    return result


def _compare(left: Expression, relation: str, right: object) -> Constraint:
    other = _operand(right, "compared with")
    if isinstance(other, int):
        return Constraint(left.sum(), relation, other)
    return Constraint(total((left, other.scaled(-1))), relation, 0)


def _operand(value: object, what: str) -> Any:
    if type(value) is int or isinstance(value, Expression):
        return value
    if isinstance(value, Variable):
        value._unordered(None)
    return integer(value, what)


def integer(value: object, what: str) -> int:
    """The integer that the value of a sum is."""
    number = whole_number(value)
    if number is None:
        hint = ""
        if isinstance(value, float):
            hint = "; scale the sum, and give a decimal weight for the scale"
        raise ModelError(f"{what} must be an integer, not {value!r}{hint}")
    return number


def fitting(coefficient: int) -> int:
    if not -(2**63) <= coefficient < 2**63:
        raise ModelError(f"coefficient {coefficient} does not fit 64 bits")
    return coefficient


def condition_of(value: object, where: str) -> Expression:
    """The value as an expression of 0 or 1; the error names the operator or
    function that needs one."""
    if not isinstance(value, Expression):
        if isinstance(value, Variable):
            value._unbracketed()
        raise ModelError(
            f"{where} needs conditions, not {value!r}. Python reads "
            "x == 1 | y == 2 as x == (1 | y) == 2: put each condition in "
            "brackets"
        )
    if not isinstance(value, (Term, Known, Either)) or (
        isinstance(value, Term) and value.coefficient != 1
    ):
        counted = value.sum()
        is_one = (
            0 <= counted.constant <= 1
            if counted.model is None
            else counted.model.is_condition(counted)
        )
        if not is_one:
            raise ModelError(
                f"{where} needs conditions of 0 or 1, not the sum {value!r}"
            )
    return value


def either(one: object, other: object) -> Expression:
    """See Expression.__or__."""
    parts: list[Expression] = []
    for part in condition_of(one, "|"), condition_of(other, "|"):
        parts += part.parts if isinstance(part, Either) else [part]
    return Either(parts)


def both(one: object, other: object) -> Expression:
    """The product of two conditions."""
    left, right = condition_of(one, "&"), condition_of(other, "&")
    return Known((left * right).sum())

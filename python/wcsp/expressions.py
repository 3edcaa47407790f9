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
    Mapping,
)
from copy import deepcopy
from typing import TYPE_CHECKING, Any, NoReturn, Union

from .errors import ModelError
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
            "for a variable and a value"
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

    def __len__(self) -> int:
        """The number of terms."""
        return len(self.labels) + len(self.lefts)


class Constraint:
    """A sum compared with a number: the argument of add()."""

    __slots__ = ("left", "relation", "bound")

    def __init__(self, left: Sum, relation: str, bound: int) -> None:
        self.left = left
        self.relation = relation
        self.bound = bound

    def __bool__(self) -> bool:
        raise ModelError(_TRUTH.format(repr(self)))

    def __repr__(self) -> str:
        return f"{describe(self.left)} {self.relation} {self.bound}"


class AllDifferent:
    """Variables that have different values; see all_different()."""

    __slots__ = ("variables",)

    def __init__(self, variables: list[Variable]) -> None:
        self.variables = variables

    def __repr__(self) -> str:
        names = ", ".join(repr(x.name) for x in self.variables[:4])
        return f"all_different({names}{', ...' * (len(self.variables) > 4)})"


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
            "(x == value) or where()"
        )

    __lt__ = __le__ = __gt__ = __ge__ = _unordered
    __add__ = __radd__ = __sub__ = __rsub__ = __mul__ = __rmul__ = _unordered


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
            if type(item) is Term:
                if item.model is not model:
                    model = _same_model(model, item.model)
                add_coefficient(item.coefficient)
                add_label(item.label)
            elif type(item) is Pair:
                if item.model is not model:
                    model = _same_model(model, item.model)
                result.multiples.append(item.coefficient)
                result.lefts.append(item.left)
                result.rights.append(item.right)
            elif type(item) is Sum:
                if item.model is not None and item.model is not model:
                    model = _same_model(model, item.model)
                result.append(item)
            else:
                result.constant += integer(item, "a part of a sum")
    except OverflowError:
        raise ModelError("a coefficient does not fit 64 bits")
    result.model = model
    return result


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
    for part in condition, consequence:
        if not isinstance(part, Expression):
            raise ModelError(f"implies() needs two expressions, not {part!r}")
        counted = part.sum()
        if counted.model is not None and not counted.model.is_condition(
            counted
        ):
            raise ModelError(
                f"implies() needs conditions of 0 or 1, not the sum {part!r}"
            )
    return condition <= consequence


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
    result = Sum(_same_model(left.model, right.model))
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


def _same_model(one: Model | None, other: Model | None) -> Model | None:
    if one is not None and other is not None and one is not other:
        raise ModelError("variables of two different models in one sum")
    return other if one is None else one

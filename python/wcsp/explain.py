"""Explains violated constraints in the names and numbers of the user.

A stored sum has no constant and no `!=`: `total(x != "off") >= 12` over 20
variables is stored as `-total(x == "off") >= -8`. The constant is kept beside
it, so that the explanation is of 8 and 12.
"""

from __future__ import annotations

from collections.abc import Hashable, Mapping
from typing import TYPE_CHECKING, Any

from .evaluation import Stored, stored
from .expressions import Sum
from .forms import NOT_MET, compared
from .names import shown

if TYPE_CHECKING:
    from .model import Model

# A condition of more variables is explained without their values.
_MOST = 4


def explanation(model: Model, c: int, values: Mapping[Hashable, Any]) -> str:
    """Why constraint number c is violated."""
    constraint = stored(model, c)
    if constraint.kind == "a":
        return _same_values(model, constraint, values)
    form = model.forms.get(c)
    if form is None and _is_condition(model, c, constraint):
        form = NOT_MET
    if form is NOT_MET:
        names = _names(model, constraint)
        few = names if len(names) <= _MOST else []
        return ": ".join(["not met", *_listed(values, few)])
    if form is not None and form.names is not None:
        listed = _listed(values, form.names)
        return ": ".join([form.head(values), *listed])
    on = {
        x.first + x.places[values[x.name]]
        for x in _variables(model, constraint)
    }
    constant = model.constants[c]
    head = (
        form.head(values)
        if form
        else compared(
            constraint.sum(on) + constant,
            constraint.relation,
            constraint.bound + constant,
        )
    )
    counting = _counting(model, constraint, constant, on)
    return f"{head}: {', '.join(counting) or 'nothing counts'}"


def _is_condition(model: Model, c: int, constraint: Stored) -> bool:
    """Whether a sum of 0 or 1 was to be 1."""
    constant = model.constants[c]
    if constraint.relation == "<=" or constraint.bound + constant != 1:
        return False
    left = Sum(model)
    left.constant = constant
    if constraint.kind == "q":
        left.multiples = constraint.coefficients
        left.lefts, left.rights = constraint.first, constraint.second
    else:
        left.coefficients, left.labels = (
            constraint.coefficients,
            constraint.first,
        )
    return model.is_condition(left)


def negated(constraint: Stored, constant: int) -> int:
    """The part of the constant that belongs to terms with `!=`, which are
    stored as negative ones; 0 if there are none."""
    below = -sum(k for k in constraint.coefficients if k < 0)
    return below if constraint.kind == "l" and constant >= below else 0


def _counting(
    model: Model, constraint: Stored, constant: int, on: set[int]
) -> list[str]:
    """The parts of the sum that are not 0."""
    turned = negated(constraint, constant)
    parts = [str(constant - turned)] if constant != turned else []
    for factor, labels in constraint.terms():
        is_on = all(i in on for i in labels)
        if turned and factor < 0:
            if is_on:
                continue
            x = model.variables[model.labels_of[labels[0]]]
            labels = (next(i for i in on if model.labels_of[i] == x.number),)
            factor = -factor
        elif not is_on:
            continue
        size = "" if factor == 1 else f"{factor} "
        parts.append(size + " and ".join(_label(model, i) for i in labels))
    return parts


def _label(model: Model, label: int) -> str:
    x = model.variables[model.labels_of[label]]
    return f"{shown(x.name)} = {shown(list(x.places)[label - x.first])}"


def _variables(model: Model, constraint: Stored) -> list[Any]:
    labels = [*constraint.first, *constraint.second]
    numbers = dict.fromkeys(model.labels_of[i] for i in labels)
    return [model.variables[v] for v in numbers]


def _names(model: Model, constraint: Stored) -> list[Hashable]:
    return [x.name for x in _variables(model, constraint)]


def _listed(values: Mapping[Hashable, Any], names: Any) -> list[str]:
    """The values of these variables as one text, if there are any."""
    texts = [f"{shown(name)} = {shown(values[name])}" for name in names]
    return [", ".join(texts)] if texts else []


def _same_values(
    model: Model, constraint: Stored, values: Mapping[Hashable, Any]
) -> str:
    sharing: dict[Any, list[Hashable]] = {}
    for v in constraint.first:
        name = model.variables[v].name
        sharing.setdefault(values[name], []).append(name)
    return "; ".join(
        "the same value: " + ", ".join(_listed(values, names))
        for names in sharing.values()
        if len(names) > 1
    )

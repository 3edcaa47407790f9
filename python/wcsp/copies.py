"""Copies of models, which take the variables of the original by name."""

from __future__ import annotations

from array import array
from collections.abc import Hashable
from typing import TYPE_CHECKING

from .errors import ModelError
from .evaluation import stored
from .expressions import Sum

if TYPE_CHECKING:
    from .model import Model


class Family:
    """A model and its copies; it only compares by identity."""


def taken(model: Model, expr: Sum) -> Sum:
    """A sum of the original as a sum of its copy."""
    other = expr.model
    assert other is not None
    result = Sum(model)
    result.constant = expr.constant
    result.coefficients, result.multiples = (
        expr.coefficients[:],
        expr.multiples[:],
    )
    labels: dict[int, int] = {}
    for i in {*expr.labels, *expr.lefts, *expr.rights}:
        x = other.variables[other.labels_of[i]]
        mine = model.find(x.name)
        value = list(x.places)[i - x.first]
        if mine is None or value not in mine.places:
            raise ModelError(
                f"the copy of the model has no variable {x.name!r} with the "
                f"value {value!r}"
            )
        labels[i] = mine.first + mine.places[value]
    for mapped, old in (
        (result.labels, expr.labels),
        (result.lefts, expr.lefts),
        (result.rights, expr.rights),
    ):
        mapped.extend(labels[i] for i in old)
    return result


def drop(model: Model, name: Hashable) -> None:
    """Removes all constraints of that name, or whose name begins with it."""
    dropped = {
        c for c, own in enumerate(model.names) if _begins_with(own, name)
    }
    if not dropped:
        raise ModelError(f"without: no constraint has the name {name!r}")
    if dropped & model.objective_parts:
        raise ModelError(
            f"without: {name!r} is a part of the objective, which stays"
        )
    model.words.update()
    kept = [c for c in range(len(model.names)) if c not in dropped]
    numbers = {c: i for i, c in enumerate(kept)}
    constraints = [stored(model, c) for c in kept]
    for texts in model.names, model.weights, model.words.constraints:
        texts[:] = [texts[c] for c in kept]  # type: ignore[index]
    model.kinds = bytearray(model.kinds[c] for c in kept)
    model.constants = array("q", [model.constants[c] for c in kept])
    model.bounds = array("q", [one.bound for one in constraints])
    for terms in model.coefficients, model.first, model.second:
        del terms[:]
    for ends in model.ends, model.second_ends:
        del ends[:]
    for one in constraints:
        model.coefficients.extend(one.coefficients)
        model.first.extend(one.first)
        model.second.extend(one.second)
        model.ends.append(len(model.first))
        model.second_ends.append(len(model.second))
    model.forms = {
        numbers[c]: f for c, f in model.forms.items() if c in numbers
    }
    model.objective_parts = {numbers[c] for c in model.objective_parts}
    model.constraint_sections = {
        numbers[c]: comment
        for c, comment in model.constraint_sections.items()
        if c in numbers
    }


def _begins_with(own: Hashable, name: Hashable) -> bool:
    if own == name:
        return True
    if not isinstance(own, tuple):
        return False
    start = name if isinstance(name, tuple) else (name,)
    return bool(start) and own[: len(start)] == start

"""Bounds of sums, and what follows from them for a constraint."""

from __future__ import annotations

from collections.abc import Hashable
from typing import TYPE_CHECKING

from .errors import ModelError
from .expressions import Sum
from .numbers import LARGEST

if TYPE_CHECKING:
    from .model import Model


def range_of(model: Model, expr: Sum, has_fixed: bool) -> tuple[int, int]:
    """Bounds of the sum: exact for labels, conservative for products."""
    coefficients, labels = expr.coefficients, expr.labels
    variables = [model.labels_of[i] for i in labels]
    if len(set(variables)) == len(labels) and not has_fixed:
        low = sum([c for c in coefficients if c < 0])
        high = sum(coefficients) - low
    else:
        low, high = _exact_range(model, expr, variables)
    below = sum([c for c in expr.multiples if c < 0])
    above = sum(expr.multiples) - below
    return low + below + expr.constant, high + above + expr.constant


def _exact_range(
    model: Model, expr: Sum, variables: list[int]
) -> tuple[int, int]:
    groups: dict[int, dict[int, int]] = {}
    for v, i, c in zip(variables, expr.labels, expr.coefficients):
        group = groups.setdefault(v, {})
        group[i] = group.get(i, 0) + c
    low = high = 0
    for v, group in groups.items():
        counts = list(group.values())
        if len(group) < len(model.variables[v].values):
            counts.append(0)
        low += min(counts)
        high += max(counts)
    return low, high


def can_hold(low: int, high: int, relation: str, bound: int) -> bool:
    return (relation == "<=" or high >= bound) and (
        relation == ">=" or low <= bound
    )


def must_hold(low: int, high: int, relation: str, bound: int) -> bool:
    return (relation == "<=" or low >= bound) and (
        relation == ">=" or high <= bound
    )


def check_size(
    name: Hashable, left: Sum, low: int, high: int, bound: int
) -> None:
    """Refuses a constraint that does not fit 32 bits."""
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

"""Sums in normal form, and the natural groups of an objective."""

from __future__ import annotations

from array import array
from collections.abc import Hashable, Iterable
from math import prod
from operator import eq
from typing import TYPE_CHECKING, NamedTuple

from .expressions import Sum, fitting

if TYPE_CHECKING:
    from .model import Model

Products = dict[tuple[int, int], int]


class Group(NamedTuple):
    """The part of an objective over one or two variables."""

    of: tuple[Hashable, ...]
    sum: Sum
    # The best possible value of the sum.
    bound: int


def normal(expr: Sum, variable_of: array[int]) -> Sum:
    """The sum without constant, repeated terms and zeros, in its order.

    It has either labels or products. If there are products, a label is the
    product with itself.
    """
    if expr.lefts:
        return _with_products(expr, variable_of)
    labels, coefficients = expr.labels, expr.coefficients
    if len(set(labels)) == len(labels) and 0 not in coefficients:
        return _shared(expr)
    linear: dict[int, int] = {}
    for c, i in zip(coefficients, labels):
        linear[i] = linear.get(i, 0) + c
    return _linear(expr, linear)


def _with_products(expr: Sum, variable_of: array[int]) -> Sum:
    if _is_normal(expr, variable_of):
        return _shared(expr)
    products = _products(expr, variable_of)
    if all(i == k for i, k in products):
        return _linear(expr, {i: c for (i, _), c in products.items()})
    return _quadratic(expr, products)


def _is_normal(expr: Sum, variable_of: array[int]) -> bool:
    """Whether all terms are distinct products of two variables."""
    variable = variable_of.__getitem__
    lefts, rights = expr.lefts, expr.rights
    return (
        not expr.labels
        and 0 not in expr.multiples
        and not any(map(eq, map(variable, lefts), map(variable, rights)))
        and len({(i, k) if i < k else (k, i) for i, k in zip(lefts, rights)})
        == len(lefts)
    )


def _shared(expr: Sum) -> Sum:
    """The sum without its constant, on the same terms."""
    if not expr.constant:
        return expr
    result = Sum(expr.model)
    result.labels, result.coefficients = expr.labels, expr.coefficients
    result.multiples = expr.multiples
    result.lefts, result.rights = expr.lefts, expr.rights
    return result


def _products(expr: Sum, variable_of: array[int]) -> Products:
    """Coefficients by labels. The product of two different values of one
    variable is always 0 and is left out."""
    products: Products = {}
    for c, i, k in zip(expr.multiples, expr.lefts, expr.rights):
        if variable_of[i] != variable_of[k] or i == k:
            key = (k, i) if (k, i) in products else (i, k)
            products[key] = products.get(key, 0) + c
    for c, i in zip(expr.coefficients, expr.labels):
        products[i, i] = products.get((i, i), 0) + c
    return {key: c for key, c in products.items() if c}


def _linear(expr: Sum, linear: dict[int, int]) -> Sum:
    result = Sum(expr.model)
    kept = {i: c for i, c in linear.items() if c}
    result.labels.extend(kept)
    result.coefficients.extend(map(fitting, kept.values()))
    return result


def _quadratic(expr: Sum, products: Products) -> Sum:
    result = Sum(expr.model)
    result.multiples.extend(map(fitting, products.values()))
    result.lefts.extend(i for i, _ in products)
    result.rights.extend(k for _, k in products)
    return result


def groups(expr: Sum, model: Model, sign: int) -> list[Group]:
    """The sum in parts: one for each variable and each pair of variables.

    The bound of a group is its minimum (sign 1) or maximum (sign -1), so
    that its violation is the cost beyond the optimum.
    """
    parts: dict[tuple[int, ...], Products] = {}
    variable_of = model.labels_of
    for (i, k), c in _products(expr, variable_of).items():
        v, u = variable_of[i], variable_of[k]
        if v == u:
            parts.setdefault((v,), {})[i, i] = c
        elif (u, v) in parts:
            part = parts[u, v]
            part[k, i] = part.get((k, i), 0) + c
        else:
            parts.setdefault((v, u), {})[i, k] = c
    result = []
    for of, part in parts.items():
        variables = [model.variables[v] for v in of]
        size = prod(len(x.values) for x in variables)
        if len(of) == 1:
            terms = _linear(expr, {i: c for (i, _), c in part.items()})
        else:
            terms = _quadratic(expr, part)
        names = tuple(x.name for x in variables)
        result.append(Group(names, terms, _best(part.values(), size, sign)))
    return result


def _best(costs: Iterable[int], size: int, sign: int) -> int:
    """The best of the costs; unlisted combinations cost 0."""
    listed = list(costs)
    if len(listed) < size:
        listed.append(0)
    return min(listed) if sign > 0 else max(listed)

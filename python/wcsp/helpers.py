"""Helper variables: each says whether a group has a condition that holds.

The package adds them, so plans of the user do not have them; their values
follow from those of the others.
"""

from __future__ import annotations

from typing import TYPE_CHECKING

from .expressions import terms

if TYPE_CHECKING:
    from .model import Model


def filled(model: Model, places: dict[int, int]) -> dict[int, int]:
    """The plan with the least cost of the helper variables, as far as the
    variables of their groups have values."""
    result = dict(places)
    for v, group in model.helpers.items():
        of = {model.labels_of[i] for _, labels in terms(group) for i in labels}
        if of <= result.keys():
            on = {model.variables[u].first + result[u] for u in of}
            count = group.constant + sum(
                k for k, labels in terms(group) if on.issuperset(labels)
            )
            result[v] = int(count > 0)
        else:
            result.pop(v, None)
    return result

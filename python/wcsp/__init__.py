"""Models of weighted constraint satisfaction, from data to solutions.

>>> from wcsp import Model, total
>>> m = Model()
>>> x = {day: m.variable(day, ["off", "on"]) for day in ("Mon", "Tue", "Wed")}
>>> m.add(total(x[day] == "on" for day in x) <= 2, name="at most two days")
>>> m.add(x["Tue"] == "off", weight=3)
"""

from .errors import ModelError, ModelWarning, ProgramMissing, SolverError
from .expressions import (
    AllDifferent,
    Constraint,
    Expression,
    Variable,
    all_different,
    at_least,
    at_most,
    exactly,
    implies,
    table,
    total,
)
from .model import Model

__all__ = [
    "AllDifferent",
    "Constraint",
    "Expression",
    "Model",
    "ModelError",
    "ModelWarning",
    "ProgramMissing",
    "SolverError",
    "Variable",
    "all_different",
    "at_least",
    "at_most",
    "exactly",
    "implies",
    "table",
    "total",
]

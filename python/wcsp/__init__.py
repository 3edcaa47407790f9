"""Models of weighted constraint satisfaction, from data to solutions.

>>> from wcsp import Model, total
>>> m = Model()
>>> x = {day: m.variable(day, ["off", "on"]) for day in ("Mon", "Tue", "Wed")}
>>> m.add(total(x[day] == "on" for day in x) <= 2, name="at most two days")
>>> m.add(x["Tue"] == "off", weight=3)
>>> r = m.solve(time=5, seeds=1)
>>> r.feasible, r.soft, r[x["Tue"]]
(True, 0, 'off')
"""

from .errors import (
    ModelError,
    ModelWarning,
    ProgramMissing,
    SolverError,
    SolverWarning,
)
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
from .results import Result, Violation
from .solving import Progress

__all__ = [
    "AllDifferent",
    "Constraint",
    "Expression",
    "Model",
    "ModelError",
    "ModelWarning",
    "ProgramMissing",
    "Progress",
    "Result",
    "SolverError",
    "SolverWarning",
    "Variable",
    "Violation",
    "all_different",
    "at_least",
    "at_most",
    "exactly",
    "implies",
    "table",
    "total",
]

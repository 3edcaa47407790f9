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

from .alternatives import Alternative, Change
from .amounts import number
from .bounds import Bound
from .composed import (
    at_least_different,
    at_most_different,
    runs,
    weekends,
    windows,
)
from .errors import (
    ModelError,
    ModelWarning,
    ProgramMissing,
    SolverError,
    SolverWarning,
)
from .expressions import Constraint, Expression, Variable, total
from .model import Model
from .plans import Penalty, Plan, Violation
from .results import Result
from .rules import (
    AllDifferent,
    all_different,
    at_least,
    at_most,
    exactly,
    implies,
    ranked,
    table,
)
from .saved import Saved, load
from .solving import Progress

__all__ = [
    "AllDifferent",
    "Alternative",
    "Bound",
    "Change",
    "Constraint",
    "Expression",
    "Model",
    "ModelError",
    "ModelWarning",
    "Penalty",
    "Plan",
    "ProgramMissing",
    "Progress",
    "Result",
    "Saved",
    "SolverError",
    "SolverWarning",
    "Variable",
    "Violation",
    "all_different",
    "at_least",
    "at_least_different",
    "at_most",
    "at_most_different",
    "exactly",
    "implies",
    "load",
    "number",
    "ranked",
    "runs",
    "table",
    "total",
    "weekends",
    "windows",
]

"""Results of searches, in the names and values of the model."""

from __future__ import annotations

import json
import os
from collections import Counter
from collections.abc import Callable, Hashable, Iterable
from copy import deepcopy
from fractions import Fraction
from html import escape
from pathlib import Path
from typing import TYPE_CHECKING, Any, NamedTuple

from ._shared.files import write_whole
from ._shared.log import read_improvements
from ._shared.scratch import scratch
from .errors import SolverError
from .expressions import Sum, Variable, terms
from .numbers import shortest
from .programs import PREFIX, find_program, run
from .reports import Report, start_text

if TYPE_CHECKING:
    from .model import Model
    from .solving import Progress


class Run(NamedTuple):
    """One search: its seed, the solver's status, report, output and log."""

    seed: int
    status: int
    report: Report | None
    text: str
    log: str


class Violation(NamedTuple):
    """A violated constraint, its violation and its cost."""

    name: Hashable
    weight: int | float | None
    violation: int
    cost: int | float
    explanation: str


class Improvement(NamedTuple):
    """A new best assignment in one search. The soft penalty is in the units
    of the weights."""

    time: float
    iteration: int
    hard: int
    soft: int | float


class Page:
    """A page of wcsp-show, which notebooks show inline."""

    def __init__(self, text: str) -> None:
        self.text = text

    def _repr_html_(self) -> str:
        return (
            f'<iframe srcdoc="{escape(self.text)}" width="100%" height="600" '
            'style="border:0"></iframe>'
        )


class Picture:
    """A picture of wcsp-plot, which notebooks show inline."""

    def __init__(self, text: str) -> None:
        self.text = text

    def _repr_svg_(self) -> str:
        return self.text


class Result:
    """The best of several searches, checked by wcsp-check."""

    def __init__(
        self,
        model: Model,
        best: Run,
        runs: list[Run],
        checked: dict[str, Any],
        wcsp: str | os.PathLike[str] | None = None,
    ) -> None:
        assert best.report is not None
        self.model = model
        #: The run of this result.
        self.run = best
        self.runs = sorted(runs, key=lambda one: one.seed)
        #: Penalty of the hard constraints; 0 if all hold.
        self.hard: int
        self.hard, self._soft = penalty_of(best.report, weights_of(model))
        #: What ended the searches early: "SIGINT", "SIGTERM", "SIGHUP",
        #: "target", or "".
        self.ended_by = ""
        #: What wcsp-check says of the report.
        self.checked = checked
        #: The solver that solve() was given; the other programs are beside it.
        self.wcsp = wcsp
        self._report = best.report
        model.words.update()
        self._numbers = {w: i for i, w in enumerate(model.words.variables)}
        self._values: dict[Hashable, Any] = {}
        for word, value in best.report.assignment.items():
            x = model.variables[self._numbers[word]]
            position = model.words.values(x.number).index(value)
            self._values[x.name] = list(x.places)[position]

    def __copy__(self) -> Result:
        return deepcopy(self)

    def __deepcopy__(self, memo: dict[int, Any]) -> Result:
        """The same result for a copy of the model."""
        result = Result.__new__(Result)
        result.__dict__.update(self.__dict__)
        result.model = deepcopy(self.model, memo)
        return result

    def __getitem__(self, x: Variable | Hashable) -> Any:
        """The value of a variable, given the variable or its name."""
        return self._values[x.name if isinstance(x, Variable) else x]

    def values(self) -> dict[Hashable, Any]:
        """The value of each variable, by name."""
        return dict(self._values)

    @property
    def penalty(self) -> tuple[int, Fraction]:
        """The hard and the soft penalty, exactly."""
        return self.hard, self._soft

    @property
    def soft(self) -> int | float:
        """Penalty of the soft constraints, in the units of the weights. It is
        the sum of the costs in `violated` and not limited to 2147483647, as
        the output of the solver is."""
        return shortest(self._soft)

    @property
    def feasible(self) -> bool:
        """Whether every hard constraint holds."""
        return self.hard == 0

    @property
    def seeds(self) -> list[int]:
        """The seeds of all searches."""
        return [one.seed for one in self.runs]

    @property
    def objective(self) -> int | float | None:
        """The sum of the arguments of minimize or maximize, each times its
        weight; None if the model has no objective."""
        if not self.model.objectives:
            return None
        return shortest(
            sum(
                (
                    o.weight * self._value_of(o.sum)
                    for o in self.model.objectives
                ),
                Fraction(0),
            )
        )

    def _value_of(self, expr: Sum) -> int:
        on = {
            x.first + x.places[self._values[x.name]]
            for x in self.model.variables
        }
        return expr.constant + sum(
            factor
            for factor, labels in terms(expr)
            if all(label in on for label in labels)
        )

    @property
    def violated(self) -> list[Violation]:
        """The violated constraints, hard ones first, then by cost."""
        numbers = {w: i for i, w in enumerate(self.model.words.constraints)}
        violations = []
        for constraint in self.checked["violated"]:
            c = numbers[constraint["name"]]
            weight = self.model.weights[c]
            cost = (
                0
                if weight is None
                else Fraction(weight) * constraint["violation"]
            )
            violations.append(
                Violation(
                    self.model.names[c],
                    None if weight is None else shortest(Fraction(weight)),
                    constraint["violation"],
                    shortest(Fraction(cost)),
                    self._explained(constraint),
                )
            )
        return sorted(
            violations, key=lambda v: (v.weight is not None, -v.cost)
        )

    def _explained(self, constraint: dict[str, Any]) -> str:
        if constraint["kind"] == "alldiff":
            return "; ".join(
                "the same value: "
                + ", ".join(self._label(*label) for label in shared["labels"])
                for shared in constraint["shared"]
            )
        on = ", ".join(
            ("" if term["coefficient"] == 1 else f"{term['coefficient']} ")
            + " and ".join(self._label(*label) for label in term["labels"])
            for term in constraint["terms"]
        )
        total = int(constraint["sum"])
        is_low = (
            constraint["lower"] is not None and total < constraint["lower"]
        )
        bound = (
            f"at least {constraint['lower']}"
            if is_low
            else f"at most {constraint['upper']}"
        )
        return f"{total}, wanted {bound}: {on or 'nothing counts'}"

    def _label(self, word: str, value: str) -> str:
        number = self._numbers[word]
        position = self.model.words.values(number).index(value)
        x = self.model.variables[number]
        return f"{_shown(x.name)} = {_shown(list(x.places)[position])}"

    @property
    def failing(self) -> list[tuple[Hashable, int]]:
        """The hard constraints that searches left violated, with the number
        of searches, most frequent first."""
        names = dict(zip(self.model.words.constraints, self.model.names))
        hard = {
            word
            for word, weight in zip(
                self.model.words.constraints, self.model.weights
            )
            if weight is None
        }
        counts: Counter[Hashable] = Counter()
        for one in self.runs:
            if one.report is not None:
                counts.update(
                    names[word] for word in one.report.violated if word in hard
                )
        return counts.most_common()

    @property
    def log(self) -> list[Improvement]:
        """The log of the search of this result, in the units of the
        weights."""
        scale = self.model.scale
        return [
            Improvement(*one[:3], shortest(Fraction(one.soft) / scale))
            for one in read_improvements(self.run.log)
        ]

    def grid(
        self, rows: Iterable[Hashable], columns: Iterable[Hashable]
    ) -> list[list[Any]]:
        """The values of the variables (row, column); None for missing
        ones."""
        across = list(columns)
        return [[self._values.get((r, c)) for c in across] for r in rows]

    def to_frame(self) -> Any:
        """A pandas data frame of all variables. The parts of a tuple name
        are columns, and the value is the last column."""
        try:
            import pandas  # type: ignore[import]
        except ImportError:
            raise SolverError("to_frame() needs pandas") from None
        names = list(self._values)
        parts = [n if isinstance(n, tuple) else (n,) for n in names]
        width = max(map(len, parts), default=1)
        columns = (
            ["variable"] if width == 1 else [f"name{i}" for i in range(width)]
        )
        rows = [
            (*p, *[None] * (width - len(p)), self._values[n])
            for p, n in zip(parts, names)
        ]
        return pandas.DataFrame(rows, columns=[*columns, "value"])

    def show(self, path: str | os.PathLike[str] | None = None) -> Page:
        """The page of wcsp-show; also written to `path` if it is given."""
        with scratch(PREFIX) as folder:
            self._write(folder)
            (folder / "names").write_text(json.dumps(self._names()), "utf-8")
            command = [find_program("wcsp-show", self.wcsp)]
            command += ["--check", find_program("wcsp-check", self.wcsp)]
            command += ["--names", "names", "model", "report"]
            page = run(command, folder)
        if path is not None:
            write_whole(path, page)
        return Page(page.decode("utf-8", "replace"))

    def _repr_html_(self) -> str:
        return self.show()._repr_html_()

    def plot(self, path: str | os.PathLike[str] | None = None) -> Picture:
        """The picture of all searches by wcsp-plot, as SVG; also written to
        `path` if it is given, in the format of its suffix."""
        with scratch(PREFIX) as folder:
            logs = [
                f"{one.seed}.log" for one in self.runs if self._has_log(one)
            ]
            for one in self.runs:
                (folder / f"{one.seed}.log").write_text(one.log, "utf-8")
            command = [find_program("wcsp-plot", self.wcsp), *logs]
            if path is not None:
                run([*command, "-o", os.path.abspath(path)], folder)
            run([*command, "-o", "picture.svg"], folder)
            return Picture((folder / "picture.svg").read_text("utf-8"))

    @staticmethod
    def _has_log(one: Run) -> bool:
        return bool(read_improvements(one.log))

    def _names(self) -> dict[str, Any]:
        """The names that wcsp-show shows instead of the words of the text."""
        domains: dict[int, int] = {}
        listed: list[list[str | list[str]]] = []
        variables = {}
        for x in self.model.variables:
            key = id(x.places)
            if key not in domains:
                domains[key] = len(listed)
                listed.append([_shown_parts(value) for value in x.places])
            word = self.model.words.variables[x.number]
            variables[word] = [_shown_parts(x.name), domains[key]]
        constraints = {
            word: _shown_parts(name)
            for word, name in zip(
                self.model.words.constraints, self.model.names
            )
        }
        return {
            "variables": variables,
            "domains": listed,
            "constraints": constraints,
        }

    def _write(self, folder: Path) -> None:
        (folder / "model").write_text(self.model.text(), "utf-8")
        (folder / "report").write_text(self.run.text, "utf-8")

    def polish(
        self,
        time: float = 60,
        jobs: int | None = None,
        seed: int = 1,
        on_improve: Callable[[Progress], object] | None = None,
    ) -> Result:
        """An equal or better result: the program wcsp-polish solves parts of
        the model again. `time` is in seconds, on the clock; it uses as many
        processes as there are cores, or `jobs`. With one it repeats for an
        equal seed. `on_improve` and an interrupt work as in Model.solve."""
        # Through the model: searches create results and are a higher layer.
        return self.model._polish(self, time, jobs, seed, on_improve)

    def start(self) -> str:
        """The result as the text of a start file."""
        return start_text(self._report.assignment)

    def __repr__(self) -> str:
        text = f"<Result: hard {self.hard}, soft {self.soft}"
        if self.objective is not None:
            text += f", objective {self.objective}"
        if not self.feasible:
            text += (
                "; no search has satisfied all hard constraints, most often"
            )
            text += " broken: " + ", ".join(
                f"{_shown(name)} ({count} of {len(self.runs)})"
                for name, count in self.failing[:5]
            )
        return text + ">"


def weights_of(model: Model) -> dict[str, Fraction | int | None]:
    """The weights by the words of the constraints."""
    model.words.update()
    return dict(zip(model.words.constraints, model.weights))


def penalty_of(
    report: Report, weights: dict[str, Fraction | int | None]
) -> tuple[int, Fraction]:
    """The hard and the soft penalty, without the cap of the report."""
    hard, soft = 0, Fraction(0)
    for word, violation in report.violated.items():
        weight = weights[word]
        if weight is None:
            hard += violation
        else:
            soft += Fraction(weight) * violation
    return hard, soft


def _shown_parts(name: object) -> str | list[str]:
    if isinstance(name, tuple) and name:
        return [_shown(part) for part in name]
    return _shown(name)


def _shown(name: object) -> str:
    if isinstance(name, tuple):
        return " ".join(map(_shown, name))
    enum_name = getattr(name, "_name_", None)
    text = enum_name if isinstance(enum_name, str) else str(name)
    # A lone surrogate could not be printed.
    return text.encode("utf-8", "backslashreplace").decode()

"""Results of searches, in the names and values of the model."""

from __future__ import annotations

import os
from base64 import b64encode
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
from ._shared.text import escaped, readable
from .explain import explanation
from .expressions import Sum, terms
from .names import shown
from .numbers import shortest
from .plans import Penalty, Plan, Violation, penalties_by_group
from .programs import PREFIX, find_program, run
from .reports import Report, start_text
from .text import names_text

if TYPE_CHECKING:
    from .alternatives import Alternative, Change
    from .expressions import Variable
    from .bounds import Bound
    from .model import Model
    from .solving import Progress
    from .sources import Only, Source


class Run(NamedTuple):
    """One search: its seed, the solver's status, report, output and log."""

    seed: int
    status: int
    report: Report | None
    text: str
    log: str


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
        # A document inside a page has no XML declaration.
        return self.text[max(self.text.find("<svg"), 0) :]

    def _repr_html_(self) -> str:
        # Converters of notebooks remove the contents of SVG.
        code = b64encode(self.text.encode()).decode()
        return f'<img alt="wcsp-plot" src="data:image/svg+xml;base64,{code}">'


class Result(Plan):
    """The values that a search has found, checked by wcsp-check."""

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
        self._bound: Bound | None = None
        self._others: list[Result] = []
        #: What wcsp-check says of the report.
        self.checked = checked
        #: The solver that solve() was given; the other programs are beside it.
        self.wcsp = wcsp
        self._report = best.report
        model.words.update()
        self._numbers = {w: i for i, w in enumerate(model.words.variables)}
        super().__init__({})
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
        result._others = deepcopy(self._others, memo)
        return result

    @property
    def plans(self) -> list[Result]:
        """This result, and those that Model.solve(plans=...) has found
        besides; they are apart."""
        return [self, *self._others]

    def values(self) -> dict[Hashable, Any]:
        """The value of each variable, by name."""
        helpers = self.model.helpers
        return {
            x.name: self._values[x.name]
            for x in self.model.variables
            if x.number not in helpers
        }

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
                    explanation(self.model, c, self._values),
                )
            )
        return sorted(
            violations, key=lambda v: (v.weight is not None, -v.cost)
        )

    def groups(self) -> dict[Hashable, Penalty]:
        """The penalties summed by the names of the constraints, or by the
        first parts of tuple names; the largest first."""
        return penalties_by_group(self.violated)

    def conflict(self) -> str:
        """What wcsp-check --conflict says of the reports of all searches:
        which hard constraints seem to exclude each other."""
        with scratch(PREFIX) as folder:
            self._write(folder)
            reports = []
            for one in self.runs:
                if one.report is not None:
                    reports.append(f"{one.seed}.report")
                    (folder / reports[-1]).write_text(one.text, "utf-8")
            command = [find_program("wcsp-check", self.wcsp), "--conflict"]
            command += ["--names", "model.names", "--", "model", *reports]
            text = run(command, folder).decode("utf-8", "replace")
            return readable(text).rstrip()

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

    def show(self, path: str | os.PathLike[str] | None = None) -> Page:
        """The page of wcsp-show; also written to `path` if it is given. Its
        title is the first line of the model's comment, or else the name of
        the file."""
        title = self.model.comment.strip().partition("\n")[0] or (
            Path(os.fsdecode(path)).stem if path is not None else "Result"
        )
        with scratch(PREFIX) as folder:
            self._write(folder)
            command = [find_program("wcsp-show", self.wcsp)]
            command += ["--check", find_program("wcsp-check", self.wcsp)]
            command += [f"--title={escaped(title)}", "model", "report"]
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

    def _write(self, folder: Path) -> None:
        (folder / "model").write_text(self.model.text(), "utf-8")
        (folder / "report").write_text(self.run.text, "utf-8")
        (folder / "model.names").write_text(names_text(self.model), "utf-8")

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

    def bound(self, time: float = 60, engine: str = "auto") -> Bound | None:
        """What no result is below, as an exact engine claims that runs for
        `time` seconds on the clock: "cbc", "highs", or "auto" for those that
        are installed; None if it finds no bound."""
        # Through the model, like polish().
        self._bound = self.model._find_bound(self, time, engine)
        return self._bound

    @property
    def gap(self) -> float | None:
        """How far the soft penalty is above the last bound(), relative to it:
        0.008 for 0.8 %, 0 for an optimal result; None without a bound, with
        more hard violations than it allows, and above a bound of 0."""
        known = self._bound
        if known is None or known.soft is None or known.hard != self.hard:
            return None
        least = Fraction(known.soft)
        above = self._soft - least
        if above <= 0:
            return 0.0
        return float(above / least) if least > 0 else None

    def alternatives(
        self, x: Variable | Hashable | Iterable[Any]
    ) -> list[Alternative]:
        """The other values of a variable, or of several, each with the
        penalties that it would give and the constraints that it would break
        (more); the best first. Variables are given as such or by name.

        >>> from wcsp import Model
        >>> m = Model()
        >>> x = m.variable("Mon", ["Zoë", "Bo", "Carla"])
        >>> m.add(x != "Bo", weight=5, name="holiday")
        >>> for a in m.price({"Mon": "Zoë"}).alternatives(x):
        ...     print(a.value, a.hard, a.soft, a.breaks)
        Carla 0 0 ()
        Bo 0 5 ('holiday',)
        """
        # Through the model, like polish().
        return self.model._alternatives(self, x)

    def changes(self, old: Source, only: Only = None) -> list[Change]:
        """The variables whose values differ from those of an earlier plan,
        each with its old and new value; see Model.price() for plans. `only`
        is a predicate of names."""
        return self.model._changes(self, old, only)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the values, the penalties and the violated constraints as
        JSON in the names of the data, for wcsp.load()."""
        self.model._save(self, path)

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
                f"{shown(name)} ({count} of {len(self.runs)})"
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

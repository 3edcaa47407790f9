"""Plans: the values of variables, without a model."""

from __future__ import annotations

import csv
import io
import os
from collections.abc import Hashable, Iterable, Mapping
from typing import Any, NamedTuple

from ._shared.files import write_whole
from .errors import SolverError
from .expressions import Variable
from .names import shown
from .numbers import exact_number, shortest


class Violation(NamedTuple):
    """A violated constraint, its violation and its cost."""

    name: Hashable
    weight: int | float | None
    violation: int
    cost: int | float
    explanation: str


class Penalty(NamedTuple):
    """A part of the penalties of a result."""

    hard: int
    soft: int | float


class Plan:
    """The values of variables by name, from a result, a file or a
    spreadsheet."""

    def __init__(self, values: Mapping[Hashable, Any]) -> None:
        self._values = dict(values)

    def __getitem__(self, x: Variable | Hashable) -> Any:
        """The value of a variable, given the variable or its name."""
        return self._values[x.name if isinstance(x, Variable) else x]

    def values(self) -> dict[Hashable, Any]:
        """The value of each variable, by name."""
        return dict(self._values)

    def grid(
        self, rows: Iterable[Hashable], columns: Iterable[Hashable]
    ) -> list[list[Any]]:
        """The values of the variables (row, column); None for missing
        ones."""
        across = list(columns)
        return [[self._values.get((r, c)) for c in across] for r in rows]

    def to_csv(
        self,
        path: str | os.PathLike[str],
        rows: Iterable[Hashable],
        columns: Iterable[Hashable],
    ) -> None:
        """Writes the values of the variables (row, column) as a table, which
        Model.read_plan() reads.

        Its first line has the columns, its first column the rows.
        """
        down, across = list(rows), list(columns)
        text = io.StringIO()
        writer = csv.writer(text, lineterminator="\n")
        writer.writerow(["", *map(shown, across)])
        for row, cells in zip(down, self.grid(down, across)):
            writer.writerow(
                [shown(row), *("" if v is None else shown(v) for v in cells)]
            )
        write_whole(path, text.getvalue())

    def to_frame(self) -> Any:
        """A pandas data frame of all variables. The parts of a tuple name
        are columns, and the value is the last column."""
        try:
            import pandas  # type: ignore[import]
        except ImportError:
            raise SolverError("to_frame() needs pandas") from None
        names = list(self.values())
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


def penalties_by_group(violated: list[Violation]) -> dict[Hashable, Penalty]:
    """The penalties by name, or by the first part of a tuple name; the
    hardest and dearest first."""
    hard: dict[Hashable, int] = {}
    soft: dict[Hashable, Any] = {}
    for v in violated:
        group = v.name[0] if isinstance(v.name, tuple) and v.name else v.name
        hard.setdefault(group, 0)
        soft.setdefault(group, 0)
        if v.weight is None:
            hard[group] += v.violation
        else:
            soft[group] += exact_number(v.cost)
    ordered = sorted(hard, key=lambda g: (-hard[g], -soft[g]))
    return {g: Penalty(hard[g], shortest(soft[g])) for g in ordered}

"""Plans for a model: results, mappings, saved results, reports, start files
and tables, as values of its variables."""

from __future__ import annotations

import csv
import io
import os
from collections.abc import Callable, Hashable, Iterable, Iterator, Mapping
from datetime import date, datetime
from typing import TYPE_CHECKING, Any, Union

from .errors import ModelError, ModelWarning, warn
from .expressions import Variable, shortened
from .names import shown
from .plans import Plan
from .reports import read_assignment
from .saved import code_of, matching, parsed

if TYPE_CHECKING:
    from .model import Model

#: What serves as a plan: a result, a saved result, a mapping, a path, or the
#: text of a report or start file.
Source = Union[Plan, Mapping[Any, Any], str, "os.PathLike[str]"]
Only = Union[Callable[[Any], object], None]

_SHOWN = 3


class Found:
    """What of a plan the model has: by number of the variable, the number of
    the value, and of gone values the value itself."""

    def __init__(self, what: str) -> None:
        self.what = what
        self.places: dict[int, int] = {}
        self.gone_values: dict[int, Any] = {}
        self.gone: list[str] = []

    def warn(self) -> None:
        """One warning of all that is left out."""
        if self.gone:
            more = ", ..." if len(self.gone) > _SHOWN else ""
            warn(
                f"{self.what}: the model does not have {len(self.gone)} of "
                f"{len(self.gone) + len(self.places)} values, which are left "
                f"out: {', '.join(self.gone[:_SHOWN])}{more}",
                ModelWarning,
            )


def find(model: Model, source: Source, what: str) -> Found:
    """The part of a plan that the model has. What it does not have is an
    error in a mapping, which is made by hand, and otherwise left out."""
    if isinstance(source, Plan):
        return _of_plan(model, source, what)
    if isinstance(source, Mapping):
        return _of_mapping(model, source, what)
    if isinstance(source, (str, os.PathLike)):
        return _of_file(model, source, what)
    raise ModelError(
        f"{what} is a result, a mapping or the path of a file, not {source!r}"
    )


def places_of(model: Model, source: Source, what: str) -> dict[int, int]:
    """The same with a warning of what is left out."""
    found = find(model, source, what)
    found.warn()
    return found.places


def chosen(model: Model, numbers: Iterable[int], only: Only) -> Iterator[int]:
    """The variables whose names the predicate accepts, in the order of the
    model, without helper variables."""
    for v in sorted(numbers):
        if v not in model.helpers:
            if only is None or only(model.variables[v].name):
                yield v


def variable_of(model: Model, x: Variable | Hashable, what: str) -> Variable:
    """The variable of the model, given it, its namesake in a copy of the
    model, or its name."""
    name = x.name if isinstance(x, Variable) else x
    try:
        return model[name]
    except (KeyError, TypeError):
        raise ModelError(
            f"{what}: the model has no variable {name!r}"
        ) from None


def place_of(x: Variable, value: Any, what: str) -> int:
    """The number of the value."""
    try:
        return x.places[value]
    except (KeyError, TypeError):
        raise ModelError(
            f"{what}: variable {x.name!r} has no value {value!r}; it has "
            + shortened(x.values)
        ) from None


def _of_mapping(model: Model, source: Mapping[Any, Any], what: str) -> Found:
    found = Found(what)
    for key, value in source.items():
        x = variable_of(model, key, what)
        found.places[x.number] = place_of(x, value, what)
    return found


def _of_plan(model: Model, source: Plan, what: str) -> Found:
    found = Found(what)
    names: dict[str, Any] = {}
    for name, value in source._values.items():
        try:
            x = model[name]
        except KeyError:
            names = names or matching(x.name for x in model.variables)
            key = code_of(name)
            if key not in names:
                found.gone.append(f"{shown(name)} = {shown(value)}")
                continue
            x = model[names[key]]
        place = x.places.get(value)
        if place is None:
            values = matching(x.places)
            if code_of(value) in values:
                place = x.places[values[code_of(value)]]
        _take(found, x, place, value)
    return found


def _of_file(model: Model, path: str | os.PathLike[str], what: str) -> Found:
    if isinstance(path, str) and "\n" in path:
        text, path = path.encode("utf-8", "replace"), "the text"
    else:
        with open(path, "rb") as file:
            text = file.read()
    if text.lstrip()[:1] == b"{":
        return _of_plan(model, parsed(text, path), what)
    model.words.update()
    numbers = {w: v for v, w in enumerate(model.words.variables)}
    found = Found(what)
    pairs = read_assignment(text.decode("utf-8", "replace"))
    if not pairs:
        raise ModelError(
            f"{what}: {os.fspath(path)!r} is neither a saved result nor a "
            "report or start file"
        )
    for word, value_word in pairs.items():
        if word not in numbers:
            found.gone.append(f"{word} = {value_word}")
            continue
        x = model.variables[numbers[word]]
        values = model.words.values(x.number)
        place = values.index(value_word) if value_word in values else None
        _take(found, x, place, value_word)
    return found


def _take(found: Found, x: Variable, place: int | None, value: Any) -> None:
    if place is None:
        found.gone_values[x.number] = value
        found.gone.append(f"{shown(x.name)} = {shown(value)}")
    else:
        found.places[x.number] = place


def read_plan(
    model: Model,
    path: str | os.PathLike[str],
    rows: Iterable[Hashable],
    columns: Iterable[Hashable],
) -> Plan:
    """See Model.read_plan."""
    name = os.fspath(path)
    is_workbook = str(name).lower().endswith(".xlsx")
    table = _workbook(name) if is_workbook else _csv_table(name)
    down, across = list(rows), list(columns)
    heads = [_matched(cell, across) for cell in table[0]] if table else []
    found = Found("read_plan")
    values = {}
    for line in table[1:]:
        row = _matched(line[0], down) if line else None
        for head, cell, column in zip(heads[1:], line[1:], table[0][1:]):
            if cell is None or str(cell).strip() == "":
                continue
            place = None
            if row is not None and head is not None:
                with_name = model.find((row[0], head[0]))
                if with_name is not None:
                    place = _matched(cell, with_name.places)
                    if place is not None:
                        found.places[with_name.number] = 0
                        values[with_name.name] = place[0]
            if place is None:
                found.gone.append(f"{line[0]} {column} = {cell}")
    found.warn()
    if not values:
        raise ModelError(
            f"read_plan: {name!r} has no value of a variable (row, column) "
            "with these rows and columns"
        )
    return Plan(values)


def _matched(cell: Any, things: Iterable[Any]) -> tuple[Any] | None:
    """The thing that the cell stands for, in a tuple."""
    if isinstance(cell, datetime):
        cell = cell.date()
    text = str(cell).strip()
    for thing in things:
        if thing == cell and type(thing) is not bool:
            return (thing,)
    for thing in things:
        if shown(thing).strip() == text:
            return (thing,)
        if isinstance(thing, date) and f"{thing:%d.%m.%Y}" == text:
            return (thing,)
    return None


def _csv_table(path: str) -> list[list[Any]]:
    with open(path, "rb") as file:
        raw = file.read()
    try:
        text = raw.decode("utf-8-sig")
    except UnicodeDecodeError:
        raise ModelError(
            f"read_plan: {path!r} is not UTF-8; save it as CSV UTF-8"
        ) from None
    first = text.split("\n", 1)[0]
    mark = max(",;\t", key=first.count)
    try:
        rows = list(csv.reader(io.StringIO(text, newline=""), delimiter=mark))
    except csv.Error as error:
        raise ModelError(f"read_plan: {path!r}: {error}") from None
    return [list(row) for row in rows if any(cell.strip() for cell in row)]


def _workbook(path: str) -> list[list[Any]]:
    """The first sheet."""
    try:
        import openpyxl
    except ImportError:
        raise ModelError(
            "read_plan: openpyxl is needed to read .xlsx; save the sheet as "
            "CSV"
        ) from None
    try:
        book = openpyxl.load_workbook(path, read_only=True, data_only=True)
        rows = [list(row) for row in book.active.iter_rows(values_only=True)]
        book.close()
    except OSError:
        raise
    except Exception as error:  # what a damaged file makes of it is not ours
        raise ModelError(f"read_plan: {path!r}: {error}") from None
    return [row for row in rows if any(cell is not None for cell in row)]

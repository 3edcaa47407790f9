"""Results as JSON files in the names of the data.

Strings, numbers, None, dates and tuples are read back as they were. Other
objects become an Other with their text, which still finds the variable or
value of that text in a model.
"""

from __future__ import annotations

import json
import os
from collections.abc import Hashable
from datetime import date, datetime
from enum import Enum
from numbers import Integral
from typing import TYPE_CHECKING, Any, NamedTuple

from ._shared.files import write_whole
from .errors import ModelError, SolverError
from .names import shown
from .plans import Penalty, Plan, Violation, penalties_by_group

if TYPE_CHECKING:
    from .results import Result

_FORMAT = "wcsp result"


class Other(NamedTuple):
    """A name or value that JSON does not have, as text."""

    text: str

    def __str__(self) -> str:
        return self.text


class Saved(Plan):
    """A result that was saved: what load() returns."""

    def __init__(self, content: dict[str, Any]) -> None:
        super().__init__(
            {
                decoded(name): decoded(value)
                for name, value in content["values"]
            }
        )
        self.hard: int = int(content["hard"])
        self.soft: int | float = content["soft"]
        self.objective: int | float | None = content["objective"]
        self.seeds: list[int] = list(content["seeds"])
        self.violated: list[Violation] = [
            Violation(decoded(name), *rest)
            for name, *rest in content["violated"]
        ]

    @property
    def feasible(self) -> bool:
        """Whether every hard constraint holds."""
        return self.hard == 0

    def groups(self) -> dict[Hashable, Penalty]:
        """The penalties summed by the names of the constraints, or by the
        first parts of tuple names; the largest first."""
        return penalties_by_group(self.violated)

    def __repr__(self) -> str:
        return f"<saved result: hard {self.hard}, soft {self.soft}>"


def save(result: Result, path: str | os.PathLike[str]) -> None:
    """See Result.save."""
    values = [[encoded(n), encoded(v)] for n, v in result.values().items()]
    keys: dict[str, Any] = {}
    for name, (code, _) in zip(result.values(), values):
        other = keys.setdefault(json.dumps(code), name)
        if other is not name:
            raise ModelError(
                f"a file cannot tell the names {other!r} and {name!r} apart"
            )
    content = {
        _FORMAT: 1,
        "hard": result.hard,
        "soft": result.soft,
        "objective": result.objective,
        "seeds": result.seeds,
        "violated": [[encoded(v.name), *v[1:]] for v in result.violated],
        "values": values,
    }
    write_whole(path, json.dumps(content, indent=1) + "\n")


def load(path: str | os.PathLike[str]) -> Saved:
    """The result that Result.save() has written.

    It has the values by name, the penalties and the violated constraints,
    and serves as a plan: in keep(), start= and price().
    """
    with open(path, "rb") as file:
        return parsed(file.read(), path)


def parsed(text: bytes, path: str | os.PathLike[str]) -> Saved:
    """The saved result in the bytes of a file."""
    try:
        content = json.loads(text)
        if content[_FORMAT] != 1:
            raise SolverError(
                f"{os.fspath(path)!r} was saved by another version"
            )
        return Saved(content)
    except (
        ValueError,
        LookupError,
        TypeError,
        AttributeError,
        RecursionError,
    ):
        raise SolverError(
            f"{os.fspath(path)!r} is not a saved result"
        ) from None


def encoded(thing: object) -> Any:
    """A name or value as JSON."""
    if isinstance(thing, Enum):
        return {"other": f"{type(thing).__name__}.{thing.name}"}
    if thing is None or isinstance(thing, (str, bool, float)):
        return thing
    if isinstance(thing, Integral):
        return int(thing)
    if isinstance(thing, Other):
        return {"other": thing.text}
    if isinstance(thing, tuple):
        return [encoded(part) for part in thing]
    if isinstance(thing, datetime):
        return {"datetime": thing.isoformat()}
    if isinstance(thing, date):
        return {"date": thing.isoformat()}
    return {"other": f"{type(thing).__name__} {shown(thing)}"}


def decoded(code: Any) -> Any:
    """The name or value that was encoded."""
    if isinstance(code, list):
        return tuple(decoded(part) for part in code)
    if isinstance(code, dict):
        ((kind, text),) = code.items()
        if kind == "datetime":
            return datetime.fromisoformat(text)
        return date.fromisoformat(text) if kind == "date" else Other(text)
    return code


def matching(things: Any) -> dict[str, Any]:
    """The names or values by their code."""
    return {json.dumps(encoded(thing)): thing for thing in things}


def code_of(thing: object) -> str:
    """The key of matching()."""
    return json.dumps(encoded(thing))

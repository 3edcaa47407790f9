"""Lower bounds on the penalty, as wcsp-polish gets them from exact engines."""

from __future__ import annotations

import re
from fractions import Fraction
from typing import TYPE_CHECKING, NamedTuple

from ._shared.scratch import scratch
from .arguments import seconds_of
from .errors import ModelError, SolverError
from .numbers import shortest
from .programs import PREFIX, find_program, run

if TYPE_CHECKING:
    from .results import Result

_ENGINES = ("auto", "cbc", "highs")


class Bound(NamedTuple):
    """What an engine claims that no result is below. The soft penalty is in
    the units of the weights; None if only the hard one is bounded."""

    hard: int
    soft: int | float | None
    engine: str
    text: str


def bound(result: Result, time: float, engine: str) -> Bound | None:
    """See Result.bound, which sets the defaults."""
    if engine not in _ENGINES:
        raise ModelError(
            f"engine is one of {', '.join(_ENGINES)}, not {engine!r}"
        )
    command = [find_program("wcsp-polish", result.wcsp), "--bound"]
    command += ["--time", f"{max(seconds_of(time), 0.001):.3f}"]
    command += ["--engine", engine, "--", "model", "report"]
    with scratch(PREFIX) as folder:
        result.model.write(folder / "model")
        (folder / "report").write_text(result.run.text, "utf-8")
        text = run(command, folder).decode("utf-8", "replace").strip()
    return _read(text, result)


def _read(text: str, result: Result) -> Bound | None:
    if text.startswith("no bound"):
        return None
    if match := re.match(r"optimal, says (\w+)$", text):
        return Bound(result.hard, result.soft, match[1], text)
    if match := re.match(r"hard: at least (\d+); soft: no bound$", text):
        return Bound(int(match[1]), None, "", text)
    if match := re.match(r"(\w+) reports a lower bound of (\d+)/(\d+)", text):
        soft = Fraction(int(match[3])) / result.model.scale
        return Bound(int(match[2]), shortest(soft), match[1], text)
    raise SolverError(f"wcsp-polish: {text}")

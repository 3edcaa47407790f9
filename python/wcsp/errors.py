"""Errors and warnings, each with the user's line of Python."""

from __future__ import annotations

import os
import sys
import warnings
from copyreg import __newobj__  # type: ignore[attr-defined]
from types import FrameType
from typing import Any

_PACKAGE = os.path.dirname(os.path.abspath(__file__)) + os.sep


class ModelError(ValueError):
    """An error in a model, raised at the line that caused it."""

    def __init__(self, message: str) -> None:
        super().__init__(f"{message} ({here()})")

    def __reduce__(self) -> tuple[Any, ...]:
        # A copy refers to the same line.
        return __newobj__, (type(self), str(self))


class ModelWarning(UserWarning):
    """Something in a model that is legal but rarely meant."""


class SolverWarning(UserWarning):
    """The searches did not do everything that was requested."""


class SolverError(RuntimeError):
    """A program ended without the requested result."""


class ProgramMissing(SolverError):
    """A required program is not installed."""


def caller() -> tuple[FrameType | None, int]:
    """The first frame outside this package, and its distance in calls."""
    frame: FrameType | None = sys._getframe(1)
    depth = 1
    while frame and frame.f_code.co_filename.startswith(_PACKAGE):
        frame = frame.f_back
        depth += 1
    return frame, depth


def here() -> str:
    """The file and the line that called the package."""
    frame, _ = caller()
    if frame is None:
        return "unknown line"
    name = os.path.basename(frame.f_code.co_filename)
    return f"{name}, line {frame.f_lineno}"


class Remarks:
    """Warnings by source line. A loop repeats a warning, so each is issued
    once, with its count, when the model is used."""

    def __init__(self) -> None:
        self._found: dict[tuple[str, int, str], tuple[str, int]] = {}

    def add(self, what: str, name: object, text: str) -> None:
        """Adds a warning about a constraint; `what` is, for example,
        "always holds"."""
        frame, _ = caller()
        file = frame.f_code.co_filename if frame else "unknown"
        key = file, frame.f_lineno if frame else 0, what
        first, count = self._found.get(
            key, (f"constraint {name!r} {what}{text}", 0)
        )
        self._found[key] = first, count + 1

    def tell(self) -> None:
        """Warns of each line once."""
        remarks, self._found = self._found, {}
        for (file, line, _), (first, count) in remarks.items():
            more = f" (and {count - 1} more of this line)" if count > 1 else ""
            warnings.warn_explicit(first + more, ModelWarning, file, line)


def warn(message: str, kind: type[Warning] = ModelWarning) -> None:
    """Warns with the line that called the package."""
    _, depth = caller()
    warnings.warn(message, kind, stacklevel=depth)

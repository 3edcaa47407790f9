"""Errors and warnings, each with the user's line of Python."""

from __future__ import annotations

import os
import sys
import warnings
from types import FrameType

_PACKAGE = os.path.dirname(os.path.abspath(__file__)) + os.sep


class ModelError(ValueError):
    """A mistake in a model, found where it is made."""

    def __init__(self, message: str) -> None:
        super().__init__(f"{message} ({here()})")


class ModelWarning(UserWarning):
    """Something in a model that is allowed and rarely meant."""


class SolverError(RuntimeError):
    """A program ended without what was asked of it."""


class ProgramMissing(SolverError):
    """A program that is needed is not installed."""


def caller() -> tuple[FrameType | None, int]:
    """The frame outside this package, and how many calls away it is."""
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


def warn(message: str) -> None:
    """Warns with the line that called the package."""
    _, depth = caller()
    warnings.warn(message, ModelWarning, stacklevel=depth)

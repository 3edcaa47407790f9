"""The installed programs that the package runs."""

from __future__ import annotations

import json
import os
import subprocess
import tempfile
from pathlib import Path
from typing import Any

from ._shared import programs
from .errors import ProgramMissing, SolverError

_CHECKOUT = Path(__file__).resolve().parents[2] / "build" / "release"


def find_program(name: str, wcsp: str | os.PathLike[str] | None = None) -> str:
    """The path of a program: beside the solver that an argument or the
    variable WCSP of the environment names, on PATH, or in a checkout."""
    given = wcsp or os.environ.get("WCSP")
    solver = programs.find_program("wcsp", given) if given else None
    if given and name == "wcsp":
        if solver is None:
            raise ProgramMissing(f"{given} is no program")
        return solver
    beside = [os.path.dirname(solver)] if solver else []
    found = programs.find_program(
        name, beside=beside
    ) or programs.find_program(name, _CHECKOUT / name)
    if found:
        return found
    raise ProgramMissing(
        f"{name} is not installed: it is looked for beside the program that "
        "wcsp= or the variable WCSP names, and on PATH"
    )


def run(command: list[str], folder: str | None = None) -> str:
    """Standard output of a tool that must succeed."""
    done = subprocess.run(
        command,
        capture_output=True,
        stdin=subprocess.DEVNULL,
        cwd=folder,
        check=False,
    )
    if done.returncode != 0:
        raise SolverError(done.stderr.decode("utf-8", "replace").strip())
    return done.stdout.decode()


def judged(
    model: str, report: str, wcsp: str | os.PathLike[str] | None = None
) -> dict[str, Any]:
    """What wcsp-check says of a report, right or wrong."""
    with tempfile.TemporaryDirectory(prefix="wcsp-") as folder:
        Path(folder, "model").write_text(model, "utf-8")
        Path(folder, "report").write_text(report, "utf-8")
        done = subprocess.run(
            [find_program("wcsp-check", wcsp), "--json", "model", "report"],
            capture_output=True,
            stdin=subprocess.DEVNULL,
            cwd=folder,
            check=False,
        )
    try:
        told: dict[str, Any] = json.loads(done.stdout)
    except ValueError:
        raise SolverError(done.stderr.decode("utf-8", "replace")) from None
    return told

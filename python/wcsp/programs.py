"""Finds and runs the installed programs."""

from __future__ import annotations

import json
import os
import subprocess
from pathlib import Path
from typing import Any

from ._shared import programs
from ._shared.scratch import scratch
from ._shared.search import child_command
from .errors import ProgramMissing, SolverError

#: Prefix of the temporary folder of a call.
PREFIX = "wcsp-python-"
_CHECKOUT = Path(__file__).resolve().parents[2] / "build" / "release"


def find_program(name: str, wcsp: str | os.PathLike[str] | None = None) -> str:
    """The path of a program: in the folder of the solver that an argument or
    the environment variable WCSP names, on PATH, or in a checkout."""
    given = wcsp or os.environ.get("WCSP")
    solver = programs.find_program("wcsp", given) if given else None
    if given and name == "wcsp":
        if solver is None:
            raise ProgramMissing(f"{given} is not a program")
        return solver
    beside = [os.path.dirname(solver)] if solver else []
    path = programs.find_program(name, beside=beside) or programs.find_program(
        name, _CHECKOUT / name
    )
    if path:
        return path
    raise ProgramMissing(
        f"{name} is not installed: it is neither next to the program given by "
        "wcsp= or the variable WCSP nor on PATH"
    )


def run(command: list[str], folder: Path | None = None) -> bytes:
    """Standard output of a tool that must succeed."""
    done = _done(command, folder)
    if done.returncode != 0:
        raise SolverError(_complaint(done))
    return done.stdout


def judged_file(
    model: Path,
    report: Path,
    wcsp: str | os.PathLike[str] | None = None,
    is_start: bool = False,
) -> dict[str, Any]:
    """The output of wcsp-check for a report, right or wrong, or for a start
    file."""
    command = [find_program("wcsp-check", wcsp), "--json"]
    command += ["--start"] if is_start else []
    done = _done([*command, "--", str(model), str(report)])
    try:
        checked: dict[str, Any] = json.loads(done.stdout)
    except ValueError:
        raise SolverError(_complaint(done)) from None
    return checked


def judged(
    model: str,
    report: str,
    wcsp: str | os.PathLike[str] | None = None,
    is_start: bool = False,
) -> dict[str, Any]:
    """The same of texts."""
    with scratch(PREFIX) as folder:
        (folder / "model").write_text(model, "utf-8")
        (folder / "report").write_text(report, "utf-8")
        return judged_file(folder / "model", folder / "report", wcsp, is_start)


def _done(
    command: list[str], folder: Path | None = None
) -> subprocess.CompletedProcess[bytes]:
    return subprocess.run(
        child_command(command),
        capture_output=True,
        stdin=subprocess.DEVNULL,
        cwd=folder,
        check=False,
    )


def _complaint(done: subprocess.CompletedProcess[bytes]) -> str:
    text = done.stderr.decode("utf-8", "replace").strip()
    return text or f"{done.args[-1]}: status {done.returncode}"

"""Picks the best of several runs: those of a call, or those that wcsp-many
has kept."""

from __future__ import annotations

import gzip
import os
import zlib
from pathlib import Path
from typing import TYPE_CHECKING

from ._shared.runs import digest, read_json, read_runs
from ._shared.scratch import scratch
from .errors import ModelError, SolverError, SolverWarning, warn
from .programs import PREFIX, judged_file
from .reports import read_report
from .results import Result, Run, penalty_of, weights_of

if TYPE_CHECKING:
    from .model import Model


def best_of(
    model: Model,
    runs: list[Run],
    model_file: Path,
    reports: Path,
    wcsp: str | os.PathLike[str] | None = None,
) -> Result:
    """The best run whose report wcsp-check confirms. The reports are also
    files in the folder `reports`."""
    weights = weights_of(model)
    ranked = []
    refusal = ""
    for run in runs:
        if run.report is None:
            continue
        try:
            ranked.append((*penalty_of(run.report, weights), run.seed, run))
        except KeyError as error:
            refusal = f"the report of seed {run.seed} names {error}"
            warn(f"{refusal}, which the model does not have", SolverWarning)
    for *_, seed, run in sorted(ranked):
        checked = judged_file(model_file, reports / f"{seed}.report", wcsp)
        if checked["status"] == 0:
            return Result(model, run, runs, checked, wcsp)
        refusal = (
            f"wcsp-check refuses the report of seed {seed}: "
            f"{checked['verdict']}"
        )
        warn(refusal, SolverWarning)
    raise SolverError(refusal or f"no search printed a report: {_why(runs)}")


def _why(runs: list[Run]) -> str:
    if not runs:
        return "there is none"
    run = runs[-1]
    if run.text.startswith("Usage: "):
        return "wcsp does not take the options and prints its usage"
    last = run.text.strip().split("\n")[-1]
    return f"status {run.status}: {last}"


def with_runs(model: Model, folder: str | os.PathLike[str]) -> Result:
    """See Model.with_runs."""
    path = Path(folder)
    try:
        settings = read_json(path / "settings.json")
    except (OSError, ValueError):
        raise SolverError(f"{path} is not a folder of runs") from None
    text = model.text()
    if settings.get("model hash") != digest(text.encode()):
        raise ModelError(f"{path} has runs of another model")
    records, damaged = read_runs(path)
    runs = []
    for seed, record in sorted(records.items()):
        if "hard" not in record:
            continue
        try:
            report = (path / f"{seed}.report").read_text("utf-8", "replace")
            log = _kept_log(path, seed)
        except (OSError, EOFError, zlib.error) as error:
            damaged[seed] = str(error)
            continue
        runs.append(
            Run(seed, record["status"], read_report(report), report, log)
        )
    for seed, reason in sorted(damaged.items()):
        warn(
            f"run {seed} of {path} is damaged: {reason}. wcsp-many "
            "repeats it",
            SolverWarning,
        )
    with scratch(PREFIX) as own:
        (own / "model").write_text(text, "utf-8")
        best = best_of(model, runs, own / "model", path)
        return _with_polished(best, own / "model", path / "polished.report")


def _with_polished(best: Result, model: Path, file: Path) -> Result:
    """What polishing has left, if it is right and better."""
    if not file.exists():
        return best
    text = file.read_text("utf-8", "replace")
    report = read_report(text)
    weights = weights_of(best.model)
    if report is None or not report.violated.keys() <= weights.keys():
        reason = "no report of this model"
    elif penalty_of(report, weights) >= best.penalty:
        return best
    else:
        checked = judged_file(model, file)
        if checked["status"] == 0:
            run = best.run._replace(report=report, text=text)
            return Result(best.model, run, best.runs, checked)
        reason = checked["verdict"]
    warn(f"{file} is damaged: {reason}", SolverWarning)
    return best


def _kept_log(folder: Path, seed: int) -> str:
    packed, plain = folder / f"{seed}.log.gz", folder / f"{seed}.log"
    if packed.exists():
        return gzip.decompress(packed.read_bytes()).decode("ascii", "replace")
    return plain.read_text("ascii", "replace") if plain.exists() else ""

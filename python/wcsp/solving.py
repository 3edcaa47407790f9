"""Runs the solver, a process for each seed, and picks the best report.

No thread is started, and an interrupt is caught in the main thread alone, so
that searches run in any thread; processes are sessions of their own, so that
an interrupt at the terminal reaches this process alone.
"""

from __future__ import annotations

import contextlib
import gzip
import hashlib
import json
import os
import signal
import tempfile
import threading
import time as clock
from collections.abc import Callable, Iterable, Iterator, Mapping
from pathlib import Path
from types import FrameType
from typing import TYPE_CHECKING, Any, NamedTuple, Union

from ._shared.search import Search
from .errors import ModelError, SolverError
from .expressions import Variable
from .programs import find_program
from .reports import read_report, start_text
from .results import Result, Run

if TYPE_CHECKING:
    from .model import Model

_POLL = 0.02

Start = Union[Result, Mapping[Any, Any]]


class Progress(NamedTuple):
    """What on_improve is told: the best of all searches is better."""

    seed: int
    hard: int
    soft: int
    time: float


class _Search(Search):
    """The search of one seed."""

    def __init__(self, command: list[str], folder: Path, seed: int) -> None:
        output, log = folder / f"{seed}.report", folder / f"{seed}.log"
        super().__init__([*command, "-seed", str(seed)], output, log)
        self.seed = seed

    def run(self) -> Run:
        """What the search has left."""
        status = self.process.returncode
        text = self.report().decode("utf-8", "replace")
        log = (
            self.log.read_text("ascii", "replace") if self.log.exists() else ""
        )
        return Run(self.seed, status, read_report(text), text, log)


class _Stop:
    """Whether the searches of a call are to end, and why."""

    def __init__(self) -> None:
        self.is_asked = False
        self.is_interrupted = False
        self.is_starting = False


class _Race:
    """The searches of one call."""

    def __init__(
        self,
        command: list[str],
        folder: Path,
        seeds: list[int],
        jobs: int,
        deadline: float,
        target: int | None,
        on_improve: Callable[[Progress], object] | None,
        stop: _Stop,
    ) -> None:
        self.command, self.folder = command, folder
        self.waiting = list(reversed(seeds))
        self.jobs, self.deadline, self.target = jobs, deadline, target
        self.on_improve = on_improve
        self.running: list[_Search] = []
        self.finished: list[_Search] = []
        self.best: tuple[int, int] | None = None
        self.stop = stop

    def run(self) -> None:
        """Until all have ended."""
        try:
            self._loop()
        finally:
            for search in self.running:
                search.kill()

    def _loop(self) -> None:
        while self.running or (self.waiting and not self.stop.is_asked):
            while (
                self.waiting
                and len(self.running) < self.jobs
                and not self.stop.is_asked
            ):
                seed = self.waiting.pop()
                self.stop.is_starting = True
                self.running.append(_Search(self.command, self.folder, seed))
                self.stop.is_starting = False
            for search in list(self.running):
                has_ended = search.process.poll() is not None
                self._take(search)
                if has_ended:
                    self.running.remove(search)
                    self.finished.append(search)
            if clock.monotonic() >= self.deadline:
                self.stop.is_asked = True
            if self.stop.is_asked:
                for search in self.running:
                    search.interrupt()
            if self.running:
                clock.sleep(_POLL)

    def _take(self, search: _Search) -> None:
        for found in search.improvements():
            penalty = (found.hard, found.soft)
            if self.best is not None and penalty >= self.best:
                continue
            self.best = penalty
            if self.target is not None and penalty <= (0, self.target):
                self.stop.is_asked = True
            if self.on_improve is not None:
                self.on_improve(Progress(search.seed, *penalty, found.time))


def solve(
    model: Model,
    time: float,
    seeds: int | Iterable[int],
    jobs: int | None,
    target: float | None,
    start: Start | None,
    on_improve: Callable[[Progress], object] | None,
    log: str | os.PathLike[str] | None,
    wcsp: str | os.PathLike[str] | None,
    options: Iterable[str],
) -> Result:
    """See Model.solve, which has the usual values."""
    chosen = list(range(1, seeds + 1) if isinstance(seeds, int) else seeds)
    if not chosen or len(set(chosen)) < len(chosen):
        raise ModelError("seeds are at least one, and each once")
    if not time > 0:
        raise ModelError("time is above 0")
    if jobs is not None and jobs < 1:
        raise ModelError("jobs are at least 1")
    if not model.variables:
        raise ModelError("the model has no variable")
    jobs = min(jobs or len(os.sched_getaffinity(0)), len(chosen))
    program = find_program("wcsp", wcsp)
    find_program("wcsp-check", wcsp)
    deadline = clock.monotonic() + time
    stop = _Stop()
    with _interrupts_of(stop), tempfile.TemporaryDirectory(
        prefix="wcsp-"
    ) as name:
        folder = Path(name)
        model.write(folder / "model")
        share = min(time, time * jobs / len(chosen))
        command = [program, "-inputfile", str(folder / "model")]
        command += ["-time", f"{share:.3f}", *options]
        limit = None if target is None else int(target * model.scale)
        if limit is not None:
            command += ["-target", str(max(limit, 0))]
        if start is not None:
            words = start_words(model, start)
            (folder / "start").write_text(start_text(words), "utf-8")
            command += ["-initsolfile", str(folder / "start")]
        race = _Race(
            command, folder, chosen, jobs, deadline, limit, on_improve, stop
        )
        race.run()
        runs = [search.run() for search in race.finished]
        result = best_of(model, runs, wcsp)
        if log is not None:
            Path(log).write_text(result.run.log, "ascii")
    return result


@contextlib.contextmanager
def _interrupts_of(stop: _Stop) -> Iterator[None]:
    """The first SIGINT ends the searches, a second one raises
    KeyboardInterrupt; in another thread, or where the user has a handler,
    nothing is changed."""
    usual = signal.default_int_handler
    if (
        threading.current_thread() is not threading.main_thread()
        or signal.getsignal(signal.SIGINT) is not usual
    ):
        yield
        return

    def handle(number: int, frame: FrameType | None) -> None:
        if stop.is_interrupted and not stop.is_starting:
            usual(number, frame)
        stop.is_interrupted = stop.is_asked = True

    signal.signal(signal.SIGINT, handle)
    try:
        yield
    finally:
        # One that comes in here ends nothing, and must not cost the result.
        try:
            signal.signal(signal.SIGINT, usual)
        except KeyboardInterrupt:
            if stop.is_interrupted:
                raise


def best_of(
    model: Model, runs: list[Run], wcsp: str | os.PathLike[str] | None
) -> Result:
    """The best run as a result that wcsp-check finds right."""
    there = [run for run in runs if run.report is not None]
    if not there:
        last = runs[-1].text.strip().split("\n")[-1] if runs else "not started"
        raise SolverError(f"no search has left a report: {last}")

    def rank(run: Run) -> tuple[int, int, int]:
        report = run.report
        assert report is not None
        return report.hard, report.soft, run.seed

    return Result(model, min(there, key=rank), runs, wcsp)


def with_runs(model: Model, folder: str | os.PathLike[str]) -> Result:
    """See Model.with_runs."""
    place = Path(folder)
    try:
        settings = json.loads((place / "settings.json").read_text("utf-8"))
    except (OSError, ValueError):
        raise SolverError(f"{folder} is no folder of runs") from None
    digest = hashlib.sha256(model.text().encode()).hexdigest()
    if settings.get("model hash") != digest:
        raise ModelError(f"{folder} holds runs of another model")
    runs = []
    for record_place in place.glob("*.run"):
        record = json.loads(record_place.read_text("utf-8"))
        if "hard" in record:
            text = record_place.with_suffix(".report").read_text("utf-8")
            log = _kept_log(record_place)
            seed, status = record["seed"], record["status"]
            runs.append(Run(seed, status, read_report(text), text, log))
    return best_of(model, runs, None)


def _kept_log(record: Path) -> str:
    packed = record.with_suffix(".log.gz")
    if packed.exists():
        return gzip.decompress(packed.read_bytes()).decode("ascii", "replace")
    plain = record.with_suffix(".log")
    return plain.read_text("ascii", "replace") if plain.exists() else ""


def start_words(model: Model, start: Start) -> dict[str, str]:
    """The words of an assignment; variables that are left out stay free."""
    model.words.update()
    values = start.values() if isinstance(start, Result) else start
    words = {}
    for key, value in values.items():
        name = key.name if isinstance(key, Variable) else key
        try:
            x = model[name]
            place = x.places[value]
        except (KeyError, TypeError):
            raise ModelError(f"start: {name!r} cannot be {value!r}") from None
        words[model.words.variables[x.number]] = model.words.values(x.number)[
            place
        ]
    return words

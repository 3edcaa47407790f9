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
from fractions import Fraction
from math import floor
from pathlib import Path
from random import Random
from types import FrameType
from typing import TYPE_CHECKING, Any, NamedTuple, Union

from ._shared.search import Search
from .errors import ModelError, SolverError
from .expressions import Variable, shortened
from .numbers import LARGEST, exact_number, shortest, whole_number
from .programs import find_program
from .reports import read_report, start_text
from .results import Result, Run, penalty_of, weights_of

if TYPE_CHECKING:
    from .model import Model

_POLL = 0.02

Start = Union[Result, Mapping[Any, Any]]


# What solve() itself sets, and by which argument.
_OWN_OPTIONS = {
    "-inputfile": "the model",
    "-seed": "seeds=",
    "-time": "time=",
    "-target": "target=",
    "-initsolfile": "start=",
    "-logfile": "log=",
}
_MOST_SEEDS = 100000
_LONGEST = 10**9  # seconds


class Progress(NamedTuple):
    """What on_improve gets: the best of all searches is better. The soft
    penalty is in the units of the weights."""

    seed: int
    hard: int
    soft: int | float
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
        start: Callable[[int], list[str]],
        folder: Path,
        seeds: list[int],
        jobs: int,
        deadline: float,
        target: int | None,
        scale: Fraction,
        on_improve: Callable[[Progress], object] | None,
        stop: _Stop,
    ) -> None:
        self.command, self.start, self.folder = command, start, folder
        self.waiting = list(reversed(seeds))
        self.jobs, self.deadline, self.target = jobs, deadline, target
        self.scale, self.on_improve = scale, on_improve
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
                command = self.command + self.start(seed)
                self.running.append(_Search(command, self.folder, seed))
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
                soft = shortest(Fraction(found.soft) / self.scale)
                self.on_improve(
                    Progress(search.seed, found.hard, soft, found.time)
                )


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
    if not model.variables:
        raise ModelError("the model has no variable")
    chosen = _seeds(seeds)
    time = _seconds(time)
    jobs = min(_jobs(jobs), len(chosen))
    limit = _limit(target, model.scale)
    options = _options(options)
    if on_improve is not None and not callable(on_improve):
        raise ModelError(f"on_improve is no function: {on_improve!r}")
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
        if limit is not None:
            command += ["-target", str(max(limit, 0))]
        places = None if start is None else start_places(model, start)

        def start_of(seed: int) -> list[str]:
            if places is None:
                return []
            path = folder / f"{seed}.start"
            path.write_text(completed(model, places, seed), "utf-8")
            return ["-initsolfile", str(path)]

        race = _Race(
            command,
            start_of,
            folder,
            chosen,
            jobs,
            deadline,
            limit,
            model.scale,
            on_improve,
            stop,
        )
        race.run()
        runs = [search.run() for search in race.finished]
        result = best_of(model, runs, wcsp)
        if log is not None:
            Path(log).write_text(result.run.log, "ascii")
    return result


def _seeds(seeds: int | Iterable[int]) -> list[int]:
    count = whole_number(seeds)
    if isinstance(seeds, Iterable):
        chosen = [(seed, whole_number(seed)) for seed in seeds]
    elif count is not None and count <= _MOST_SEEDS:
        chosen = [(seed, seed) for seed in range(1, count + 1)]
    else:
        raise ModelError(
            f"seeds is a number of seeds up to {_MOST_SEEDS} or a list of "
            f"them, not {seeds!r}"
        )
    found: dict[int, None] = {}
    for given, seed in chosen:
        if seed is None or not 0 <= seed <= LARGEST:
            raise ModelError(
                f"a seed is a whole number from 0 to {LARGEST}, not {given!r}"
            )
        if seed in found:
            raise ModelError(f"seed {seed} is given twice")
        found[seed] = None
    if not found:
        raise ModelError("at least one seed is needed")
    return list(found)


def _seconds(time: float) -> float:
    exact = exact_number(time)
    if exact is None or exact <= 0:
        raise ModelError(f"time is a number above 0, not {time!r}")
    return float(min(exact, Fraction(_LONGEST)))


def _jobs(jobs: int | None) -> int:
    if jobs is None:
        return len(os.sched_getaffinity(0))
    number = whole_number(jobs)
    if number is None or number < 1:
        raise ModelError(f"jobs is a whole number above 0, not {jobs!r}")
    return number


def _limit(target: float | None, scale: Fraction) -> int | None:
    """The target in the units of the text."""
    if target is None:
        return None
    exact = exact_number(target)
    if exact is None:
        raise ModelError(f"target {target!r} is no number")
    limit = floor(exact * scale)
    if limit > LARGEST:
        raise ModelError(
            f"target {target!r} is beyond {float(LARGEST / scale):.10g}"
        )
    return limit


def _options(options: Iterable[str]) -> list[str]:
    if isinstance(options, str):
        raise ModelError(f"options is a list of words, not {options!r}")
    words = [str(word) for word in options]
    for word in words:
        if word in _OWN_OPTIONS:
            raise ModelError(f"options: {word} is set by {_OWN_OPTIONS[word]}")
        if "\0" in word:
            raise ModelError(f"options: {word!r} has a zero byte")
    return words


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
        raise SolverError(f"no search has left a report: {_why_not(runs)}")
    weights = weights_of(model)

    def rank(run: Run) -> tuple[int, Fraction, int]:
        assert run.report is not None
        return *penalty_of(run.report, weights), run.seed

    return Result(model, min(there, key=rank), runs, wcsp)


def _why_not(runs: list[Run]) -> str:
    """Why runs have no report."""
    if not runs:
        return "none was started"
    run = runs[-1]
    if run.text.startswith("Usage: "):
        return "wcsp does not take the options and prints its usage"
    last = run.text.strip().split("\n")[-1]
    return f"status {run.status}: {last}"


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


def start_places(model: Model, start: Start) -> dict[int, int]:
    """The number of the value of each variable that is named."""
    values = start.values() if isinstance(start, Result) else start
    places = {}
    for key, value in values.items():
        name = key.name if isinstance(key, Variable) else key
        try:
            x = model[name]
        except (KeyError, TypeError):
            raise ModelError(
                f"start: the model has no variable {name!r}"
            ) from None
        try:
            places[x.number] = x.places[value]
        except (KeyError, TypeError):
            raise ModelError(
                f"start: variable {name!r} has no value {value!r}; it has "
                + shortened(x.values)
            ) from None
    return places


def completed(model: Model, places: dict[int, int], seed: int) -> str:
    """The text of a start file. Each variable that is not named gets value
    number floor(u * n) of its n, u being the next of Random(seed).random():
    that sequence is the same in every version of Python."""
    draw = Random(seed).random
    model.words.update()
    words = {}
    for x in model.variables:
        place = places.get(x.number)
        if place is None:
            place = int(draw() * len(x.places))
        values = model.words.values(x.number)
        words[model.words.variables[x.number]] = values[place]
    return start_text(words)

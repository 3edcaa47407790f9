"""Runs the solver, one process per seed, and picks the best report.

It starts no thread, so searches can run in any thread. A search is killed when
the thread that started it ends for any reason.
"""

from __future__ import annotations

import contextlib
import os
import time as clock
from collections.abc import Callable, Iterable
from fractions import Fraction
from functools import partial
from pathlib import Path
from typing import TYPE_CHECKING, NamedTuple

from ._shared.files import WholeFile
from ._shared.numbers import share_of_clock
from ._shared.polishing import Polishing, processes_each
from ._shared.scratch import scratch
from ._shared.search import Search, penalty_of
from .arguments import (
    completed,
    jobs_of,
    limit_of,
    options_of,
    seconds_of,
    seeds_of,
    share_of,
    start_places,
)
from .best import best_of
from .errors import ModelError, SolverError, SolverWarning, warn
from .numbers import shortest
from .programs import PREFIX, find_program
from .progress import Line
from .reports import read_report
from .results import Result, Run
from .signals import Signals
from .sources import Source

if TYPE_CHECKING:
    from .model import Model

_POLL = 0.02


class Progress(NamedTuple):
    """The argument of on_improve: a new best penalty of all searches. The
    soft penalty is in the units of the weights."""

    seed: int
    hard: int
    soft: int | float
    time: float


class _Asked(NamedTuple):
    """The settings of a call."""

    model: Model
    program: str
    polisher: str  # "" for none
    seeds: list[int]
    jobs: int
    polish_jobs: int
    deadline: float  # of the searches
    end: float  # of the whole
    limit: int | None
    start: dict[int, int] | None
    options: list[str]
    on_improve: Callable[[Progress], object] | None
    progress: bool = False


class _Search(Search):
    """The search with one seed, for its share of the time."""

    def __init__(self, asked: _Asked, folder: Path, seed: int, share: float):
        command = [asked.program, "-inputfile", str(folder / "model")]
        command += ["-seed", str(seed), "-time", f"{share:.3f}"]
        if asked.limit is not None:
            command += ["-target", str(max(asked.limit, 0))]
        if asked.start is not None:
            start = folder / f"{seed}.start"
            text = completed(asked.model, asked.start, seed)
            start.write_text(text, "utf-8")
            command += ["-initsolfile", str(start)]
        output, log = folder / f"{seed}.report", folder / f"{seed}.log"
        super().__init__([*command, *asked.options], output, log)
        self.seed = seed
        self.end = clock.monotonic() + share

    def run(self, must_end: Callable[[], bool]) -> Run:
        """The outcome of the search."""
        status = self.process.returncode
        text = self.report(must_end).decode("utf-8", "replace")
        log = (
            self.log.read_text("ascii", "replace") if self.log.exists() else ""
        )
        return Run(self.seed, status, read_report(text), text, log)


class _Polishing(Polishing):
    """The polishing of the report of one seed."""

    def __init__(
        self, asked: _Asked, folder: Path, run: Run, jobs: int, seed: int
    ):
        report = folder / f"{run.seed}.report"
        left = asked.end - clock.monotonic()
        super().__init__(
            asked.polisher,
            folder / "model",
            report,
            folder,
            str(run.seed),
            left,
            jobs,
            seed,
        )
        self.seed = run.seed
        self.end = asked.end

    def run(self, _: Callable[[], bool]) -> Run:
        text = self.report().decode("utf-8", "replace")
        log = self.log.read_text("ascii", "replace")
        return Run(
            self.seed, self.process.returncode, read_report(text), text, log
        )


class _Race:
    """The searches of one call, or the processes that polish."""

    def __init__(self, asked: _Asked, folder: Path, signals: Signals) -> None:
        self.asked, self.folder, self.signals = asked, folder, signals
        self.waiting: list[int] = []  # seeds
        self.running: list[_Search | _Polishing] = []
        self.finished: list[_Search | _Polishing] = []
        self.best: tuple[int, int] | None = None
        self.has_target = False
        self.failure = ""  # why no more searches can be started
        self.line = Line(asked.progress, asked.model.scale)

    def search(self) -> list[Run]:
        """What the searches of all seeds have left."""
        self.waiting = list(reversed(self.asked.seeds))
        return self._run()

    def polish(self, runs: list[Run], seed: int) -> list[Run]:
        """What comes of the best few of the runs, which are in order."""
        if self.must_end() or clock.monotonic() >= self.asked.end:
            return []
        self.finished = []
        jobs_each = processes_each(self.asked.polish_jobs, len(runs))
        try:
            for run, jobs in zip(runs, jobs_each):
                self.running.append(
                    _Polishing(self.asked, self.folder, run, jobs, seed)
                )
        except OSError as error:
            self.failure = str(error)
        return self._run()

    def _run(self) -> list[Run]:
        try:
            while self.running or self._may_start():
                while self._may_start():
                    self._start(self.waiting.pop())
                self._look()
                if self.running:
                    self.signals.window(self._pause)
            runs = [child.run(self._must_not_end) for child in self.finished]
            self._note_failures()
            return runs
        finally:
            for child in self.running:
                child.kill()

    def _pause(self) -> None:
        self.line.show(len(self.running), self.best)
        clock.sleep(_POLL)

    def _note_failures(self) -> None:
        """Why the processes that polish have ended early."""
        for child in self.finished:
            if isinstance(child, _Polishing) and child.failure():
                if not self.must_end():
                    self.failure = child.failure()

    def must_end(self) -> bool:
        return self.has_target or self.signals.first is not None

    def _must_not_end(self) -> bool:
        """Lets a pending signal end the call."""
        return self.signals.window(lambda: False)

    def _may_start(self) -> bool:
        return bool(
            self.waiting
            and len(self.running) < self.asked.jobs
            and not self.has_target
            and not self.failure
            and self.signals.first is None
            and clock.monotonic() < self.asked.deadline
        )

    def _start(self, seed: int) -> None:
        left = self.asked.deadline - clock.monotonic()
        share = share_of_clock(left, self.asked.jobs, len(self.waiting) + 1)
        try:
            search = _Search(self.asked, self.folder, seed, share)
        except OSError as error:
            self.waiting.append(seed)
            self.failure = str(error)
        else:
            self.running.append(search)

    def _look(self) -> None:
        """Collects improvements, and ends searches that must stop."""
        for search in list(self.running):
            has_ended = search.process.poll() is not None
            self._take(search)
            if has_ended:
                self.running.remove(search)
                self.finished.append(search)
        for search in self.running:
            if self.must_end() or clock.monotonic() >= search.end:
                search.interrupt()

    def _take(self, search: _Search | _Polishing) -> None:
        for point in search.improvements():
            penalty = (point.hard, point.soft)
            if self.best is not None and penalty >= self.best:
                continue
            self.best = penalty
            self.line.improved()
            limit = self.asked.limit
            if limit is not None and penalty <= (0, limit):
                self.has_target = True
            if self.asked.on_improve is not None:
                scale = self.asked.model.scale
                soft = shortest(Fraction(point.soft) / scale)
                news = Progress(search.seed, point.hard, soft, point.time)
                self.line.make_way()
                self.signals.window(partial(self.asked.on_improve, news))

    def explain(self) -> None:
        """Raises an error with the reason if no search was started."""
        if not self.finished:
            reason = self.failure or "the time was over before"
            raise SolverError(f"no search was started: {reason}")

    def warn(self) -> None:
        """Warns of seeds that never started, though nobody has asked for the
        end."""
        if self.must_end():
            return
        if self.asked.polisher and self.failure:
            warn(f"not polished: {self.failure}", SolverWarning)
        if self.waiting:
            warn(
                f"{len(self.waiting)} of {len(self.asked.seeds)} seeds never "
                f"started: {self.failure or 'the time was over'}",
                SolverWarning,
            )


def search(
    signals: Signals,
    model: Model,
    time: float,
    seeds: int | Iterable[int],
    jobs: int | None,
    target: float | None,
    start: Source | None,
    on_improve: Callable[[Progress], object] | None,
    log: str | os.PathLike[str] | None,
    wcsp: str | os.PathLike[str] | None,
    options: Iterable[str],
    polish: float,
    progress: bool,
) -> Result:
    """See Model.solve, which sets the defaults."""
    if not model.variables:
        raise ModelError("the model has no variable")
    _check_function(on_improve)
    seed_list = seeds_of(seeds)
    share = share_of(polish)
    start_time, seconds = clock.monotonic(), seconds_of(time)
    asked = _Asked(
        model,
        find_program("wcsp", wcsp),
        find_program("wcsp-polish", wcsp) if share > 0 else "",
        seed_list,
        min(jobs_of(jobs), len(seed_list)),
        jobs_of(jobs),
        start_time + (1 - share) * seconds,
        start_time + seconds,
        limit_of(target, model.scale),
        None if start is None else start_places(model, start),
        options_of(options),
        on_improve,
        progress,
    )
    find_program("wcsp-check", wcsp)
    result, unwritten = None, ""
    with scratch(PREFIX) as folder:
        race = _Race(asked, folder, signals)
        try:
            with contextlib.ExitStack() as stack:
                file = None
                if log is not None:
                    file = stack.enter_context(_opened(log, signals))
                signals.window(lambda: model.write(folder / "model"), True)
                runs = race.search()
                if all(run.report is None for run in runs):
                    signals.take_effect()
                    race.explain()
                result = signals.window(
                    lambda: best_of(
                        model, runs, folder / "model", folder, wcsp
                    )
                )
                if asked.polisher:
                    result = _polished(race, result, _ranked(result), 1)
                if file is not None:
                    file.write(result.run.log)
        except OSError as error:
            if result is None:
                raise
            unwritten = str(error)
        finally:
            race.line.end()
    assert result is not None
    result.ended_by = signals.name or "target" * race.has_target
    race.warn()
    if unwritten:
        warn(f"the log is lost: {unwritten}", SolverWarning)
    return result


def polish(
    result: Result,
    time: float,
    jobs: int | None,
    seed: int,
    on_improve: Callable[[Progress], object] | None,
) -> Result:
    """See Result.polish, which has the usual values."""
    model, run, wcsp = result.model, result.run, result.wcsp
    _check_function(on_improve)
    (number,) = seeds_of([seed])
    end = clock.monotonic() + seconds_of(time)
    asked = _Asked(
        model,
        "",
        find_program("wcsp-polish", wcsp),
        [],
        0,
        jobs_of(jobs),
        end,
        end,
        None,
        None,
        [],
        on_improve,
    )
    find_program("wcsp-check", wcsp)
    with Signals() as signals, scratch(PREFIX) as folder:
        race = _Race(asked, folder, signals)
        signals.window(lambda: model.write(folder / "model"), True)
        (folder / f"{run.seed}.report").write_text(run.text, "utf-8")
        race.best = penalty_of(run.text.encode())
        polished = Result(model, run, result.runs, result.checked, wcsp)
        polished = _polished(race, polished, [run], number)
        if race.failure:
            raise SolverError(race.failure)
    polished.ended_by = signals.name
    return polished


def _check_function(on_improve: object) -> None:
    if on_improve is not None and not callable(on_improve):
        raise ModelError(f"on_improve is not a function: {on_improve!r}")


def _ranked(result: Result) -> list[Run]:
    """The runs that have left a report, the best first."""
    others = [
        (penalty, run.seed, run)
        for run in result.runs
        if run is not result.run
        and (penalty := penalty_of(run.text.encode())) is not None
    ]
    return [result.run, *(run for *_, run in sorted(others))]


def _polished(
    race: _Race, result: Result, runs: list[Run], seed: int
) -> Result:
    """What polishing makes of the runs, the first of which is the result."""
    asked = race.asked
    polished = [
        run for run in race.polish(runs, seed) if run.report is not None
    ]
    if not polished:
        return result
    folder = race.folder / "polished"
    folder.mkdir()
    for run in polished:
        (folder / f"{run.seed}.report").write_text(run.text, "utf-8")
    best = race.signals.window(
        lambda: best_of(
            asked.model, polished, race.folder / "model", folder, result.wcsp
        )
    )
    if best.penalty > result.penalty:
        return result
    best.runs = result.runs
    return best


def _opened(log: str | os.PathLike[str], signals: Signals) -> WholeFile:
    if os.path.isfile(log) or not os.path.exists(log):
        return WholeFile(log)
    # Opening a pipe blocks until somebody reads it, perhaps forever.
    return signals.window(lambda: WholeFile(log), True)

"""Reads search logs of the solver, as they stand in a log file or before a
report."""

from __future__ import annotations

import dataclasses
import errno
import gzip
import math
import os
import re
import sys
import zlib
from collections.abc import Iterable
from typing import NamedTuple

_NUMBER = r"([-+]?(?:\d+(?:\.\d*)?(?:e[-+]?\d+)?|inf|nan))"
_IMPROVED = re.compile(
    r"penalty = (\d+)/(\d+) \(hard/soft\), time = "
    + _NUMBER
    + r"\(s\), iteration = (\d+)"
)
_PROGRESS = re.compile(
    r"(\d+), "
    + _NUMBER
    + r"\(s\), (?:\d+: \d+->\d+, "
    + _NUMBER
    + r" )?(\d+)/(\d+), (\d+)/(\d+)"
)
_RUN = re.compile(
    r"(\d+), "
    + _NUMBER
    + r"\(s\), #phases= (\d+), #runs= (\d+), length= "
    + _NUMBER
    + ", best/ub= "
    + _NUMBER
    + "/"
    + _NUMBER
)
_DEAD_END = re.compile(r"(\d+): No neighbor")
_KICK = re.compile(r"Kick \((\d+) variables\)")
_TIMES = re.compile("# cpu time = " + _NUMBER + "/" + _NUMBER + r"\(s\)")
_ITERATIONS = re.compile(r"# iteration = (\d+)/(\d+)")


class Improvement(NamedTuple):
    """An assignment that is better than all before it, in one search. Times
    are CPU seconds."""

    time: float
    iteration: int
    hard: int
    soft: int


@dataclasses.dataclass
class Log:
    """What a log tells, each list in the order of its lines. is_complete says
    that the three lines of the end are there."""

    name: str
    improved: list[Improvement] = dataclasses.field(default_factory=list)
    current: list[Improvement] = dataclasses.field(default_factory=list)
    #: (time, iteration, length, whether a phase has ended)
    runs: list[tuple[float, int, float, bool]] = dataclasses.field(
        default_factory=list
    )
    #: (time, iteration)
    dead_ends: list[tuple[float, int]] = dataclasses.field(
        default_factory=list
    )
    kicks: list[tuple[float, int]] = dataclasses.field(default_factory=list)
    time: float = 0.0
    iterations: int = 0
    is_complete: bool = False

    @property
    def best(self) -> tuple[int, int]:
        """The best penalty, (hard, soft)."""
        last = self.improved[-1]
        return last.hard, last.soft

    def reached(self, target: int, axis: int = 0) -> float | None:
        """The time, or the iteration where axis is 1, at which a soft penalty
        was met without a hard one, or None."""
        return next(
            (
                point[axis]
                for point in self.improved
                if point.hard == 0 and point.soft <= target
            ),
            None,
        )

    def add(self, line: str) -> None:
        """Takes one line; lines of other kinds say nothing."""
        if point := improvement(line):
            self.improved.append(point)
            self._reach(point.time, point.iteration)
        elif found := _RUN.match(line):
            time, iteration = float(found[2]), int(found[1])
            self._reach(time, iteration)
            is_phase = "avg./max" in line
            self.runs.append((time, iteration, float(found[5]), is_phase))
        elif found := _PROGRESS.match(line):
            time, iteration = float(found[2]), int(found[1])
            self._reach(time, iteration)
            self.current.append(
                Improvement(time, iteration, int(found[4]), int(found[5]))
            )
        elif found := _DEAD_END.fullmatch(line):
            self._reach(self.time, int(found[1]))
            self.dead_ends.append((self.time, int(found[1])))
        elif _KICK.fullmatch(line):
            self.kicks.append((self.time, self.iterations))
        elif found := _TIMES.fullmatch(line):
            self.time = float(found[2])
        elif found := _ITERATIONS.fullmatch(line):
            self.iterations = int(found[2])
            self.is_complete = True

    def _reach(self, time: float, iteration: int) -> None:
        if math.isfinite(time):
            self.time = max(self.time, time)
        self.iterations = max(self.iterations, iteration)


def improvement(line: str) -> Improvement | None:
    """What a line says of a better assignment."""
    found = _IMPROVED.fullmatch(line)
    if not found:
        return None
    hard, soft, time, iteration = found.groups()
    return Improvement(float(time), int(iteration), int(hard), int(soft))


def read_improvements(log: str) -> list[Improvement]:
    """The better and better assignments of a log."""
    return [point for point in map(improvement, log.split("\n")) if point]


def read_log(path: str | os.PathLike[str]) -> Log:
    """The log of a file, of a file packed by gzip, or of standard input ("-").
    What follows the log, as the report does on standard output, is left out.
    A log without a penalty has no `improved`."""
    log = Log(str(path))
    if path == "-":
        return _add_lines(log, sys.stdin.buffer)
    with open(path, "rb") as file:
        if file.peek(2)[:2] != b"\x1f\x8b":
            return _add_lines(log, file)
        try:
            with gzip.open(file) as unpacked:
                return _add_lines(log, unpacked)
        except (EOFError, zlib.error, gzip.BadGzipFile) as error:
            raise OSError(errno.EIO, f"damaged ({error})", path) from None


def _add_lines(log: Log, lines: Iterable[bytes]) -> Log:
    for line in lines:
        text = line.decode("ascii", "replace").rstrip("\r\n")
        if text == "[best solution]":
            break
        log.add(text)
    return log

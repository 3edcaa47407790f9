"""Reads search logs of the solver, from a log file or before a report. A log
is read as a stream and only a sample of its lines is kept, so that a log of
any size takes seconds and little memory."""

from __future__ import annotations

import dataclasses
import errno
import gzip
import math
import os
import re
import sys
import zlib
from collections.abc import Iterable, Iterator
from typing import BinaryIO, Generic, NamedTuple, TypeVar

T = TypeVar("T")

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


# More points of one kind than a picture can show.
_SAMPLE = 4096
# Longer than any line of a log. Longer lines are read in pieces.
_LONGEST = 4096


class Improvement(NamedTuple):
    """A new best assignment in one search. Times are CPU seconds."""

    time: float
    iteration: int
    hard: int
    soft: int


class Sample(Generic[T]):
    """The first of the points and others at even distances. If there are too
    many, every second one is dropped."""

    def __init__(self) -> None:
        self.points: list[T] = []
        self._step = 1
        self._skipped = 0  # before the next one that is kept

    def wants(self) -> bool:
        """Whether the next point is to be kept; the others are not added."""
        if self._skipped > 0:
            self._skipped -= 1
            return False
        self._skipped = self._step - 1
        return True

    def add(self, point: T) -> None:
        self.points.append(point)
        if len(self.points) == 2 * _SAMPLE:
            del self.points[1::2]
            self._step *= 2


@dataclasses.dataclass
class Log:
    """The content of a log, each list in the order of its lines. is_complete
    means that the log has its three closing lines."""

    name: str
    improved: list[Improvement] = dataclasses.field(default_factory=list)
    current: Sample[Improvement] = dataclasses.field(default_factory=Sample)
    #: Ends of runs and of phases: (time, iteration, length).
    runs: Sample[tuple[float, int, float]] = dataclasses.field(
        default_factory=Sample
    )
    phases: Sample[tuple[float, int, float]] = dataclasses.field(
        default_factory=Sample
    )
    #: (time, iteration)
    dead_ends: Sample[tuple[float, int]] = dataclasses.field(
        default_factory=Sample
    )
    kicks: Sample[tuple[float, int]] = dataclasses.field(
        default_factory=Sample
    )
    time: float = 0.0
    iterations: int = 0
    is_complete: bool = False

    @property
    def best(self) -> tuple[int, int]:
        """The best penalty, (hard, soft)."""
        last = self.improved[-1]
        return last.hard, last.soft

    def reached(self, target: int, axis: int = 0) -> float | None:
        """The time (axis 0) or iteration (axis 1) at which the penalty
        0/`soft` was reached, or None."""
        return next(
            (
                point[axis]
                for point in self.improved
                if point.hard == 0 and point.soft <= target
            ),
            None,
        )

    def add_lines(self, lines: Iterable[str]) -> None:
        """Parses the lines of a log; other lines are ignored."""
        # Nearly all lines are progress lines, and most are skipped. The last
        # one before another line gives the state of the search.
        last = None
        for line in lines:
            if match := _PROGRESS.match(line):
                if self.current.wants():
                    self.current.add(_progress(match))
                last = match
                continue
            if last:
                self._reach(float(last[2]), int(last[1]))
            self._add(line)
        if last:
            self._reach(float(last[2]), int(last[1]))
            if self.current.points[-1] != _progress(last):
                self.current.points.append(_progress(last))

    def _add(self, line: str) -> None:
        if point := improvement(line):
            self.improved.append(point)
            self._reach(point.time, point.iteration)
        elif match := _RUN.match(line):
            time, iteration = float(match[2]), int(match[1])
            self._reach(time, iteration)
            ends = self.phases if "avg./max" in line else self.runs
            if ends.wants():
                ends.add((time, iteration, float(match[5])))
        elif match := _DEAD_END.fullmatch(line):
            self._reach(self.time, int(match[1]))
            if self.dead_ends.wants():
                self.dead_ends.add((self.time, int(match[1])))
        elif _KICK.fullmatch(line):
            if self.kicks.wants():
                self.kicks.add((self.time, self.iterations))
        elif match := _TIMES.fullmatch(line):
            self.time = float(match[2])
        elif match := _ITERATIONS.fullmatch(line):
            self.iterations = int(match[2])
            self.is_complete = True

    def _reach(self, time: float, iteration: int) -> None:
        if math.isfinite(time):
            self.time = max(self.time, time)
        self.iterations = max(self.iterations, iteration)


def _progress(match: re.Match[str]) -> Improvement:
    return Improvement(
        float(match[2]), int(match[1]), int(match[4]), int(match[5])
    )


def improvement(line: str) -> Improvement | None:
    """The better assignment that a line reports."""
    match = _IMPROVED.fullmatch(line)
    if not match:
        return None
    hard, soft, time, iteration = match.groups()
    return Improvement(float(time), int(iteration), int(hard), int(soft))


def read_improvements(log: str) -> list[Improvement]:
    """The improvements of a log."""
    return [point for point in map(improvement, log.split("\n")) if point]


def read_log(path: str | os.PathLike[str]) -> Log:
    """The log of a file. A log without a penalty has no `improved`."""
    log = Log(str(path))
    log.add_lines(log_lines(path))
    return log


def read_points(
    path: str | os.PathLike[str],
) -> Iterator[tuple[str, Improvement]]:
    """Each penalty of a log in the order of its lines, as ("best", point) or
    ("current", point)."""
    for line in log_lines(path):
        if match := _PROGRESS.match(line):
            yield "current", _progress(match)
        elif point := improvement(line):
            yield "best", point


def log_lines(path: str | os.PathLike[str]) -> Iterator[str]:
    """The lines of a plain or gzipped file, or of standard input ("-"),
    without line ends. Text after the log, such as the report on standard
    output, is left out."""
    if path == "-":
        yield from _lines_of(sys.stdin.buffer)
        return
    with open(path, "rb") as file:
        if file.peek(2)[:2] != b"\x1f\x8b":
            yield from _lines_of(file)
            return
        try:
            with gzip.open(file) as unpacked:
                yield from _lines_of(unpacked)
        except (EOFError, zlib.error, gzip.BadGzipFile) as error:
            raise OSError(errno.EIO, f"damaged ({error})", path) from None


def _lines_of(file: BinaryIO | gzip.GzipFile) -> Iterator[str]:
    while line := file.readline(_LONGEST):
        text = line.decode("latin-1").rstrip("\r\n")
        if text == "[best solution]":
            break
        yield text

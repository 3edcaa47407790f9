"""Reads search logs of wcsp, as they stand in a log file or before a report."""

import dataclasses
import gzip
import math
import re
import sys

NUMBER = r"([-+]?(?:\d+(?:\.\d*)?(?:e[-+]?\d+)?|inf|nan))"
IMPROVED = re.compile(r"penalty = (\d+)/(\d+) \(hard/soft\), time = " + NUMBER
                      + r"\(s\), iteration = (\d+)")
PROGRESS = re.compile(r"(\d+), " + NUMBER + r"\(s\), (?:\d+: \d+->\d+, " + NUMBER
                      + r" )?(\d+)/(\d+), (\d+)/(\d+)")
RUN = re.compile(r"(\d+), " + NUMBER + r"\(s\), #phases= (\d+), #runs= (\d+), length= "
                 + NUMBER + ", best/ub= " + NUMBER + "/" + NUMBER)
DEAD_END = re.compile(r"(\d+): No neighbor")
KICK = re.compile(r"Kick \((\d+) variables\)")
BEST = re.compile(r"# penalty = (\d+)/(\d+) \(hard/soft\)")
TIMES = re.compile("# cpu time = " + NUMBER + "/" + NUMBER + r"\(s\)")
ITERATIONS = re.compile(r"# iteration = (\d+)/(\d+)")


@dataclasses.dataclass
class Log:
    """What a log tells, each list in the order of its lines. Times are CPU
    seconds. isComplete says that the three lines of the end are there."""

    name: str
    improved: list = dataclasses.field(default_factory=list)   # (time, iteration, hard, soft)
    current: list = dataclasses.field(default_factory=list)    # (time, iteration, hard, soft)
    runs: list = dataclasses.field(default_factory=list)       # (time, iteration, length, isPhase)
    dead_ends: list = dataclasses.field(default_factory=list)  # (time, iteration)
    kicks: list = dataclasses.field(default_factory=list)      # (time, iteration)
    time: float = 0.0
    iterations: int = 0
    is_complete: bool = False

    @property
    def best(self):
        """The best penalty, (hard, soft); the last one where lines tell it twice."""
        return self.improved[-1][2:]

    def reached(self, target, axis=0):
        """The time, or the iteration where axis is 1, at which a soft penalty was
        met without a hard one, or None."""
        return next((point[axis] for point in self.improved
                     if point[2] == 0 and point[3] <= target), None)

    def add(self, line):
        """Takes one line; lines of other kinds tell nothing."""
        if found := IMPROVED.fullmatch(line):
            hard, soft, time, iteration = found.groups()
            self.improved.append((float(time), int(iteration), int(hard), int(soft)))
            self.reach(float(time), int(iteration))
        elif found := RUN.match(line):
            self.reach(float(found[2]), int(found[1]))
            self.runs.append((float(found[2]), int(found[1]), float(found[5]),
                              "avg./max" in line))
        elif found := PROGRESS.match(line):
            self.reach(float(found[2]), int(found[1]))
            self.current.append((float(found[2]), int(found[1]), int(found[4]), int(found[5])))
        elif found := DEAD_END.fullmatch(line):
            self.reach(self.time, int(found[1]))
            self.dead_ends.append((self.time, int(found[1])))
        elif KICK.fullmatch(line):
            self.kicks.append((self.time, self.iterations))
        elif found := TIMES.fullmatch(line):
            self.time = float(found[2])
        elif found := ITERATIONS.fullmatch(line):
            self.iterations = int(found[2])
            self.is_complete = True

    def reach(self, time, iteration):
        if math.isfinite(time):
            self.time = max(self.time, time)
        self.iterations = max(self.iterations, iteration)


def read_log(path):
    """The log of a file, of a file packed by gzip, or of standard input ("-").
    What follows the log, as the report does on standard output, is left out.
    A log without a penalty has no `improved`."""
    log = Log(str(path))
    if path == "-":
        return add_lines(log, sys.stdin.buffer)
    with open(path, "rb") as file:
        if file.peek(2)[:2] == b"\x1f\x8b":
            with gzip.open(file) as unpacked:
                return add_lines(log, unpacked)
        return add_lines(log, file)


def add_lines(log, lines):
    for line in lines:
        text = line.decode("ascii", "replace").rstrip("\r\n")
        if text == "[best solution]":
            break
        log.add(text)
    return log

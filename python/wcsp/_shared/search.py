"""Runs the solver on one seed, as a child that ends with its parent.

An interrupt loses no result: it is sent only while the search runs, because
only then a report follows. If the report is lost all the same, the search is
repeated up to its best assignment, which the same seed reaches again.
"""

from __future__ import annotations

import contextlib
import os
import re
import shutil
import signal
import subprocess
from collections.abc import Callable
from pathlib import Path

from .log import Improvement, improvement

_START = b"# start tabu search\n"
_END = b"\n# penalty = "
_TAIL = 200  # bytes that contain the closing lines
_PENALTY = re.compile(rb"^penalty: (\d+)/(\d+) \(hard/soft\)$", re.M)
_POLL = 0.05
# The child ignores signals to the whole group, because the parent sends its
# own interrupt. The parent may have died before the child is bound to it.
_DEAF = 'trap "" TERM HUP; '
_GUARD = '[ "$PPID" = "$0" ] && exec "$@"'


def child_command(command: list[str], at_death: str = "KILL") -> list[str]:
    """The command as a child that gets a signal when the thread that started
    it ends for any reason. No Python code runs between fork and exec. If the
    signal is SIGKILL, the child ignores SIGTERM and SIGHUP."""
    guard = (_DEAF if at_death == "KILL" else "") + _GUARD
    guarded = ["sh", "-c", guard, str(os.getpid()), *command]
    setpriv = shutil.which("setpriv")
    return [setpriv, "--pdeathsig", at_death, *guarded] if setpriv else guarded


def penalty_of(report: bytes) -> tuple[int, int] | None:
    """The penalty, (hard, soft), of the last report in a text."""
    penalties = _PENALTY.findall(report)
    return (
        (int(penalties[-1][0]), int(penalties[-1][1])) if penalties else None
    )


class Child:
    """A running program that logs what it finds."""

    def __init__(self, command: list[str], output: Path, log: Path) -> None:
        self.log = log
        self.is_interrupted = False
        self._read = 0  # how much of the log improvements() has seen
        self._best: Improvement | None = None
        with open(output, "wb") as file:
            self.process = subprocess.Popen(
                child_command(command),
                stdin=subprocess.DEVNULL,
                stdout=file,
                stderr=subprocess.STDOUT,
                start_new_session=True,
            )

    def improvements(self) -> list[Improvement]:
        """The improvements since the last call, from whole lines of the
        log."""
        with contextlib.suppress(FileNotFoundError), open(
            self.log, "rb"
        ) as file:
            file.seek(self._read)
            text = file.read()
            complete = text[: text.rfind(b"\n") + 1]
            self._read += len(complete)
            lines = complete.decode("ascii", "replace").split("\n")
            points = [point for point in map(improvement, lines) if point]
            self._best = points[-1] if points else self._best
            return points
        return []

    def interrupt(self) -> None:
        """Asks for the end, once."""
        if not self.is_interrupted:
            self.is_interrupted = True
            self.process.send_signal(signal.SIGINT)

    def kill(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()


class Search(Child):
    """A running solver with one seed."""

    def __init__(self, command: list[str], output: Path, log: Path) -> None:
        self.output = output
        self.is_cut_again = False  # the search that report() repeats
        self._command = command
        super().__init__([*command, "-logfile", str(log)], output, log)

    def is_searching(self) -> bool:
        """Whether the search has started and has not ended."""
        with contextlib.suppress(OSError), open(self.log, "rb") as file:
            if _START not in file.read(1 << 16):
                return False
            file.seek(max(file.seek(0, os.SEEK_END) - _TAIL, 0))
            return _END not in file.read()
        return False

    def interrupt(self) -> None:
        """Requests the report. Does nothing before the search, when there is
        no report, and after it, when the report follows anyway."""
        if not self.is_interrupted and self.is_searching():
            super().interrupt()

    def wait(self, must_end: Callable[[], bool]) -> int:
        """Waits until the solver has ended and interrupts it if necessary.
        Returns its status as a shell shows it."""
        while True:
            with contextlib.suppress(subprocess.TimeoutExpired):
                status = self.process.wait(_POLL)
                return status if status >= 0 else 128 - status
            if must_end():
                self.interrupt()

    def report(self, must_end: Callable[[], bool] = lambda: False) -> bytes:
        """The output of a solver that has ended."""
        text = self.output.read_bytes()
        self.improvements()
        if self._best is None or penalty_of(text) is not None:
            return text
        again = Search(
            [*self._command, "-iteration", str(self._best.iteration)],
            self.output,
            self.log.with_name(self.log.name + ".again"),
        )
        try:
            again.wait(must_end)
        finally:
            again.kill()
        self.is_cut_again = again.is_interrupted
        return self.output.read_bytes()

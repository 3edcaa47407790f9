"""How a tool prints messages and handles failures of its environment."""

from __future__ import annotations

import argparse
import contextlib
import io
import os
import signal
import sys
from collections.abc import Callable
from types import FrameType
from typing import Any, NoReturn

from . import files, programs
from .text import escaped

_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
# Flags to open something in place of a closed descriptor.
_STANDARD = (
    ("stdin", "r", os.O_WRONLY),
    ("stdout", "w", os.O_RDONLY),
    ("stderr", "w", os.O_WRONLY),
)


class Failure(Exception):
    """Ends the tool with one line on standard error and a status."""

    def __init__(self, message: str, status: int = 2) -> None:
        super().__init__(message)
        self.status = status


class Signalled(KeyboardInterrupt):
    """A signal that ends the tool after its files are cleaned up."""

    def __init__(self, number: int) -> None:
        super().__init__()
        self.number = number


class Parser(argparse.ArgumentParser):
    """A parser that escapes control characters in its messages and reports
    an error if its help cannot be written."""

    def error(self, message: str) -> NoReturn:
        super().error(escaped(message))

    def _print_message(self, message: str, file: Any = None) -> None:
        if file is sys.stdout:
            file.write(message)
        else:
            write_error(message)


def tell(name: str, message: object) -> None:
    """A line of the tool on standard error."""
    write_error(f"{name}: {escaped(message)}\n")


def write_error(text: str) -> None:
    """Writes to standard error; if nobody reads it, only the text is lost."""
    with contextlib.suppress(OSError):
        sys.stderr.write(text)
        sys.stderr.flush()


def find_program(name: str, given: str | None = None) -> str:
    """The path of a program: the given one, one in the tool's folder, or one
    on PATH."""
    beside = os.path.dirname(os.path.realpath(sys.argv[0]))
    path = programs.find_program(name, given, [beside])
    if path is None:
        raise Failure(
            f"needs {name}, which is not found"
            + (f": {given}" if given else "")
        )
    return path


def run_tool(name: str, main: Callable[[], int | None]) -> NoReturn:
    """Calls main() and ends the process: with its status, by the received
    signal, or with a message and status 2 if the environment failed."""
    status = 0
    try:
        _fill_descriptors()
        for number in _SIGNALS:
            if signal.getsignal(number) == signal.SIG_DFL:
                signal.signal(number, _take)
        status = _status_of(name, main) or _status_of(name, _flush)
    except Signalled as signalled:
        _end_by(signalled.number)
    # Nothing is left to do, and flushing the buffers could only fail again.
    os._exit(status)


def _status_of(name: str, action: Callable[[], int | None]) -> int:
    try:
        return action() or 0
    except SystemExit as end:
        return end.code if isinstance(end.code, int) else 0
    except Failure as failure:
        tell(name, failure)
        return failure.status
    except BrokenPipeError as error:
        if error.filename is None:
            _end_by(signal.SIGPIPE)
        tell(name, f"{error.filename}: {error.strerror}")
    except OSError as error:
        source = error.filename if error.filename is not None else "output"
        tell(name, f"{_name(source)}: {error.strerror or error}")
    except UnicodeError as error:
        tell(name, f"a text that is not UTF-8: {error}")
    except MemoryError:
        tell(name, "out of memory")
    return 2


def _name(path: object) -> str:
    return os.fsdecode(path) if isinstance(path, bytes) else str(path)


def _flush() -> None:
    sys.stdout.flush()


def _take(number: int, _: FrameType | None) -> NoReturn:
    for each in _SIGNALS:  # another signal must not disturb the clean-up
        signal.signal(each, signal.SIG_IGN)
    raise Signalled(number)


def _end_by(number: int) -> NoReturn:
    files.remove_unfinished()
    signal.signal(number, signal.SIG_DFL)
    os.kill(os.getpid(), number)
    os._exit(128 + number)


def _fill_descriptors() -> None:
    """Fills closed standard descriptors, so that no file takes their place.
    Reading and writing them fail; messages are lost."""
    for number, (name, mode, flags) in enumerate(_STANDARD):
        try:
            os.fstat(number)
        except OSError:
            filler = os.open(os.devnull, flags)
            if filler != number:
                os.dup2(filler, number)
                os.close(filler)
            os.set_inheritable(number, True)
        if getattr(sys, name) is None:
            setattr(sys, name, open(number, mode, closefd=False))
    for stream in (sys.stdout, sys.stderr):
        if isinstance(stream, io.TextIOWrapper):
            stream.reconfigure(errors="backslashreplace")

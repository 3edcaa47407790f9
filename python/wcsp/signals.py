"""Handles SIGINT, SIGTERM and SIGHUP while searches run.

The first signal ends the searches, and the best result is returned. The next
one has its default effect after processes and folders are cleaned up. Handlers
only record the signal, except in windows where an exception is harmless, so
that nothing is lost between two steps. Outside the main thread, and if the
caller has a handler, nothing changes.
"""

from __future__ import annotations

import os
import signal
import threading
from collections.abc import Callable
from types import FrameType, TracebackType
from typing import Any, TypeVar

T = TypeVar("T")

_NUMBERS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
_DEFAULTS = (signal.SIG_DFL, signal.default_int_handler)


class Signalled(BaseException):
    """A signal that must have its default effect."""

    def __init__(self, number: int) -> None:
        super().__init__(number)
        self.number = number


class Signals:
    """Records signals inside `with`."""

    def __init__(self) -> None:
        #: The signal that asks for the end of the searches.
        self.first: int | None = None
        self._next: int | None = None
        self._usual: dict[int, Any] = {}
        self._is_open = self._is_first_enough = False

    @property
    def name(self) -> str:
        """Name of the signal that ended the searches, or ""."""
        return signal.Signals(self.first).name if self.first else ""

    def __enter__(self) -> Signals:
        if threading.current_thread() is threading.main_thread():
            for number in _NUMBERS:
                if signal.getsignal(number) in _DEFAULTS:
                    self._usual[number] = signal.getsignal(number)
                    signal.signal(number, self._take)
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        _: TracebackType | None,
    ) -> None:
        # A signal that comes while a handler is changed would be lost.
        mask = signal.pthread_sigmask(signal.SIG_BLOCK, self._usual)
        for number, handler in self._usual.items():
            signal.signal(number, handler)
        signal.pthread_sigmask(signal.SIG_SETMASK, mask)
        if isinstance(error, Signalled):
            self._end_by(error.number)
        elif self._next is not None:
            self._end_by(self._next)

    def _take(self, number: int, _: FrameType | None) -> None:
        if self.first is None:
            self.first = number
        else:
            self._next = number
        self.check()

    def check(self) -> None:
        """Ends the call if a signal requires it and an exception is
        harmless."""
        number = self._next
        if number is None and self._is_first_enough:
            number = self.first
        if number is not None and self._is_open:
            self._is_open = False
            raise Signalled(number)

    def window(
        self, action: Callable[[], T], is_first_enough: bool = False
    ) -> T:
        """Calls a function that may be interrupted at any moment. As long as
        there is no result to lose, the first signal interrupts it."""
        self._is_first_enough, self._is_open = is_first_enough, True
        try:
            self.check()
            return action()
        finally:
            self._is_open = False

    def is_first(self, signalled: Signalled) -> bool:
        """Whether the exception came of the first signal and no other has
        followed."""
        return self._next is None and signalled.number == self.first

    def take_effect(self) -> None:
        """Ends the call with the first signal, if there was one."""
        if self.first is not None:
            raise Signalled(self.first)

    def _end_by(self, number: int) -> None:
        if self._usual[number] is signal.default_int_handler:
            raise KeyboardInterrupt from None
        os.kill(os.getpid(), number)
        # The signal is blocked, or this is process 1 of a container.
        raise SystemExit(128 + number) from None

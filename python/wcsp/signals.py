"""What SIGINT, SIGTERM and SIGHUP do while searches run.

The first of them ends the searches, and their best is the result. The next
has its default effect, once processes and folders are put away. Handlers only
take note, except in windows, where an exception does no harm: so nothing is
lost between two steps. In other threads than the main one, and where the
caller has a handler, nothing is changed.
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


class _Signalled(BaseException):
    """A signal that is to have its default effect."""

    def __init__(self, number: int) -> None:
        super().__init__(number)
        self.number = number


class Signals:
    """Takes note of signals between `with` and its end."""

    def __init__(self) -> None:
        #: The signal that asks for the end of the searches.
        self.first: int | None = None
        self._next: int | None = None
        self._usual: dict[int, Any] = {}
        self._is_open = self._is_first_enough = False

    @property
    def name(self) -> str:
        """Of the signal that has ended the searches, or ""."""
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
        if isinstance(error, _Signalled):
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
        """Ends the call where that is asked for and does no harm."""
        number = self._next
        if number is None and self._is_first_enough:
            number = self.first
        if number is not None and self._is_open:
            self._is_open = False
            raise _Signalled(number)

    def window(
        self, action: Callable[[], T], is_first_enough: bool = False
    ) -> T:
        """Calls what may be left at any moment; as long as there is nothing
        to lose, the first signal is enough."""
        self._is_first_enough, self._is_open = is_first_enough, True
        try:
            self.check()
            return action()
        finally:
            self._is_open = False

    def take_effect(self) -> None:
        """Ends the call by the first signal, if there was one."""
        if self.first is not None:
            raise _Signalled(self.first)

    def _end_by(self, number: int) -> None:
        if self._usual[number] is signal.default_int_handler:
            raise KeyboardInterrupt from None
        os.kill(os.getpid(), number)
        # It is blocked, or the process is the first of its container.
        raise SystemExit(128 + number) from None

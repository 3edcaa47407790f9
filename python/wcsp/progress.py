"""A line of progress: on a terminal, or in a notebook."""

from __future__ import annotations

import contextlib
import shutil
import sys
import time
from fractions import Fraction
from typing import Any

from .numbers import shortest

_PAUSE = 0.5  # seconds between two texts


class Line:
    """One line that changes while searches run; nothing where nobody would
    see it change."""

    def __init__(self, is_wanted: bool, scale: Fraction) -> None:
        self._scale = scale
        self._begin = self._improved = time.monotonic()
        self._last = 0.0
        self._best: tuple[int, int] | None = None
        self._display: Any = None
        self._is_notebook = is_wanted and _in_notebook()
        self._is_on = self._is_notebook or is_wanted and _on_terminal()
        self._is_shown = False

    def improved(self) -> None:
        """Notes a better penalty."""
        self._improved = time.monotonic()

    def show(self, running: int, best: tuple[int, int] | None) -> None:
        """Shows the number of searches that run, and the best penalty."""
        now = time.monotonic()
        self._best = best
        if self._is_on and now >= self._last + _PAUSE:
            self._last = now
            self._write(self._text(now, running, best))

    def make_way(self) -> None:
        """Clears the line of a terminal for output of the caller."""
        if self._is_shown and not self._is_notebook:
            self._write("")

    def end(self) -> None:
        """Removes the line of a terminal; the one of a notebook stays."""
        if self._is_shown:
            last = self._text(time.monotonic(), 0, self._best)
            self._write(last if self._is_notebook else "")
        self._is_on = False

    def _text(
        self, now: float, running: int, best: tuple[int, int] | None
    ) -> str:
        text = f"{now - self._begin:.0f} s, {running} running"
        if best is None:
            return text
        soft = shortest(Fraction(best[1]) / self._scale)
        ago = now - self._improved
        return (
            f"{text}, best {best[0]}/{soft} (hard/soft), "
            f"improved {ago:.0f} s ago"
        )

    def _write(self, text: str) -> None:
        self._is_shown = True
        # A line that nobody can see any more must not cost the result.
        with contextlib.suppress(OSError, ValueError):
            if self._is_notebook:
                self._write_notebook(text)
                return
            width = shutil.get_terminal_size().columns - 1
            sys.stderr.write(f"\r{text[:width]}\x1b[K")
            sys.stderr.flush()

    def _write_notebook(self, text: str) -> None:
        data = {"text/plain": text}
        if self._display is None:
            from IPython.display import display  # type: ignore[import]

            self._display = display(data, raw=True, display_id=True)
        elif self._display:
            self._display.update(data, raw=True)


def _on_terminal() -> bool:
    try:
        return sys.stderr.isatty()
    except (AttributeError, ValueError):
        return False


def _in_notebook() -> bool:
    """Whether a kernel shows what this process displays."""
    ipython = sys.modules.get("IPython")
    shell = ipython.get_ipython() if ipython else None
    return getattr(shell, "kernel", None) is not None

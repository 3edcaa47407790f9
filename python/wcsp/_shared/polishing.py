"""Runs wcsp-polish on a report, as a child that ends with its parent."""

from __future__ import annotations

import contextlib
from pathlib import Path

from .search import Child

_FEW = 4  # reports


def processes_each(jobs: int, reports: int) -> list[int]:
    """How many processes polish each of the best few reports."""
    count = min(jobs, reports, _FEW)
    return [jobs // count + (i < jobs % count) for i in range(count)]


class Polishing(Child):
    """wcsp-polish on its way from one report."""

    def __init__(
        self,
        program: str,
        model: Path,
        report: Path,
        folder: Path,
        name: str,
        seconds: float,
        jobs: int,
        seed: int,
    ) -> None:
        """Its files are in the folder; their names begin with this one."""
        self.output = folder / f"{name}.polished"
        command = [program, "--time", f"{max(seconds, 0.001):.3f}"]
        command += ["--jobs", str(jobs), "--seed", str(seed)]
        command += ["-o", str(self.output), "--", str(model), str(report)]
        log = folder / f"{name}.polishing"
        super().__init__(command, log, log)

    def report(self) -> bytes:
        """The best so far, complete; nothing if there is none yet."""
        with contextlib.suppress(FileNotFoundError):
            return self.output.read_bytes()
        return b""

    def failure(self) -> str:
        """Why the program has ended early, or ""."""
        if self.process.returncode in (0, None):
            return ""
        text = self.log.read_text("utf-8", "replace").strip()
        return text.rsplit("\n", maxsplit=1)[-1] or (
            f"wcsp-polish: status {self.process.returncode}"
        )

"""Temporary folders of a call. If the call is killed, a later call removes
them."""

from __future__ import annotations

import contextlib
import fcntl
import os
import shutil
import tempfile
from collections.abc import Iterator
from pathlib import Path


@contextlib.contextmanager
def scratch(
    prefix: str, place: str | os.PathLike[str] | None = None
) -> Iterator[Path]:
    """A new locked folder, removed at the end. Unlocked folders with this
    prefix are removed first."""
    parent = Path(place if place is not None else tempfile.gettempdir())
    sweep(parent, prefix)
    while True:
        path = Path(tempfile.mkdtemp(prefix=prefix, dir=parent))
        # Another call may remove the folder until it is locked.
        with contextlib.suppress(FileNotFoundError):
            lock = os.open(path, os.O_RDONLY)
            with contextlib.suppress(OSError):  # not every file system can
                fcntl.flock(lock, fcntl.LOCK_EX)
            if path.exists():
                break
            os.close(lock)
    try:
        yield path
    finally:
        shutil.rmtree(path, ignore_errors=True)
        os.close(lock)


def sweep(parent: Path, prefix: str) -> None:
    """Removes folders of this user that no process holds any more."""
    with contextlib.suppress(OSError):
        for path in parent.glob(f"{prefix}*"):
            with contextlib.suppress(OSError):
                _remove(path)


def _remove(path: Path) -> None:
    if path.lstat().st_uid != os.geteuid():
        return
    lock = os.open(path, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        shutil.rmtree(path, ignore_errors=True)
    finally:
        os.close(lock)

"""Writes files so that nobody meets half of one."""

from __future__ import annotations

import contextlib
import errno
import os
import stat
import sys
import tempfile
from collections.abc import Iterable
from typing import BinaryIO

Content = bytes | str | Iterable[str]
Place = str | os.PathLike[str]

#: How the name of a file begins that is not yet at its place.
BESIDE = ".wcsp-"


def write_whole(path: Place | None, content: Content) -> None:
    """Writes a file beside its place, under a name that nobody can guess, and
    renames it. Links are followed, owner and mode are kept, and what is no
    plain file (a device, a pipe) is written as it is. Standard output where
    the path is None. An OSError names the path."""
    if path is None:
        _write(sys.stdout.buffer, content)
        sys.stdout.buffer.flush()
        return
    name = os.fspath(path)
    try:
        try:
            there = os.stat(name)
        except FileNotFoundError:
            there = None
        if there is not None and not stat.S_ISREG(there.st_mode):
            with open(name, "wb") as file:
                _write(file, content)
        else:
            _replace(os.path.realpath(name), there, content)
    except OSError as error:
        raise OSError(error.errno, error.strerror, name) from None


def _replace(
    goal: str, there: os.stat_result | None, content: Content
) -> None:
    if os.path.basename(goal) in ("", ".", ".."):
        raise OSError(errno.EISDIR, os.strerror(errno.EISDIR))
    handle, beside = tempfile.mkstemp(dir=os.path.dirname(goal), prefix=BESIDE)
    try:
        with os.fdopen(handle, "wb", 1 << 20) as file:
            _write(file, content)
        if there is None:
            umask = os.umask(0)
            os.umask(umask)
            os.chmod(beside, 0o666 & ~umask)
        else:
            with contextlib.suppress(PermissionError):
                os.chown(beside, there.st_uid, there.st_gid)
            os.chmod(beside, stat.S_IMODE(there.st_mode))
        os.replace(beside, goal)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(beside)
        raise


def _write(file: BinaryIO, content: Content) -> None:
    if isinstance(content, bytes):
        file.write(content)
        return
    for piece in [content] if isinstance(content, str) else content:
        file.write(piece.encode("utf-8", "surrogateescape"))

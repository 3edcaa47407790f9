"""Writes files atomically."""

from __future__ import annotations

import contextlib
import errno
import os
import secrets
import stat
import sys
from collections.abc import Iterable, Iterator
from typing import BinaryIO

Content = bytes | str | Iterable[str]
Place = str | os.PathLike[str]

#: Prefix of temporary file names.
BESIDE = ".wcsp-"

# Temporary files. A signal can end a `with` block before its body runs, so the
# code that ends the process removes what is left.
_unfinished: set[str] = set()


def remove_unfinished() -> None:
    """Removes the temporary files that have not been renamed."""
    while _unfinished:
        with contextlib.suppress(OSError):
            os.unlink(_unfinished.pop())


class WholeFile:
    """A temporary file with an unpredictable name in the folder of `path`,
    renamed to it at the end of `with`. It is opened at once, so that errors
    show before there is anything to lose. Links are followed; owner and mode
    are kept; devices and pipes are written directly. An OSError names the
    path."""

    def __init__(self, path: Place) -> None:
        self._name = os.fspath(path)
        self._beside: str | None = None
        self._there: os.stat_result | None = None
        with self._named():
            with contextlib.suppress(FileNotFoundError):
                self._there = os.stat(self._name)
            if self._there is None or stat.S_ISREG(self._there.st_mode):
                self._file = self._open_beside()
            else:
                self._file = open(self._name, "wb")

    def _open_beside(self) -> BinaryIO:
        self._goal = os.path.realpath(self._name)
        if os.path.basename(self._name) in ("", ".", ".."):
            raise OSError(errno.EISDIR, os.strerror(errno.EISDIR))
        folder = os.path.dirname(self._goal)
        self._beside = os.path.join(folder, BESIDE + secrets.token_hex(8))
        _unfinished.add(self._beside)
        flags = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW
        handle = os.open(self._beside, flags | os.O_CLOEXEC, 0o600)
        return os.fdopen(handle, "wb", 1 << 20)

    def write(self, content: Content) -> None:
        with self._named():
            _write(self._file, content)

    def __enter__(self) -> WholeFile:
        return self

    def __exit__(self, kind: object, error: object, _: object) -> None:
        try:
            with self._named():
                self._file.close()
                if kind is None and self._beside is not None:
                    self._rename()
                    _unfinished.discard(self._beside)
                    self._beside = None
        finally:
            if self._beside is not None:
                with contextlib.suppress(OSError):
                    os.unlink(self._beside)
                _unfinished.discard(self._beside)

    def _rename(self) -> None:
        assert self._beside is not None
        if self._there is None:
            umask = os.umask(0)
            os.umask(umask)
            os.chmod(self._beside, 0o666 & ~umask)
        else:
            with contextlib.suppress(PermissionError):
                os.chown(self._beside, self._there.st_uid, self._there.st_gid)
            os.chmod(self._beside, stat.S_IMODE(self._there.st_mode))
        os.replace(self._beside, self._goal)

    @contextlib.contextmanager
    def _named(self) -> Iterator[None]:
        try:
            yield
        except OSError as error:
            raise OSError(error.errno, error.strerror, self._name) from None


def write_whole(path: Place | None, content: Content) -> None:
    """Writes a file as WholeFile does, or standard output if the path is
    None."""
    if path is None:
        _write(sys.stdout.buffer, content)
        sys.stdout.buffer.flush()
        return
    with WholeFile(path) as file:
        file.write(content)


def _write(file: BinaryIO, content: Content) -> None:
    if isinstance(content, bytes):
        file.write(content)
        return
    for piece in [content] if isinstance(content, str) else content:
        file.write(piece.encode("utf-8", "surrogateescape"))

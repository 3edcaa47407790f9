"""Looks for installed programs."""

from __future__ import annotations

import os
import shutil
from collections.abc import Iterable

Place = str | os.PathLike[str]


def find_program(
    name: str, given: Place | None = None, beside: Iterable[Place] = ()
) -> str | None:
    """The absolute path of a program: the given one, as a path or a name on
    PATH; otherwise one in the folders `beside`; otherwise one on PATH."""
    if given:
        places = [os.path.abspath(given), os.fspath(given)]
    else:
        places = [os.path.abspath(os.path.join(b, name)) for b in beside]
        places.append(name)
    for folder in places:
        if path := shutil.which(folder):
            return os.path.abspath(path)
    return None

"""The user's names as words of the language, and back.

A word of letters, digits and underscores stays as it is. The parts of a tuple
are joined by underscores, letters lose their accents, and other characters
become underscores, or their code points if nothing else is left. A number is
appended to a reserved word or one already in use.
"""

from __future__ import annotations

import re
import unicodedata
from collections.abc import Hashable
from datetime import date
from enum import Enum

_WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_@\[\]]*")
_NUMBER = re.compile(r"0|-?[1-9][0-9]*")
_LONGEST = 60
# Words of a model, of a report and of a start file.
_RESERVED = frozenset(
    "inf in target variable weight type linear quadratic alldiff best "
    "incumbent solution penalty hard soft Violated constraints reading data "
    "done s".split()
)


class Words:
    """Different words for different names."""

    def __init__(self, reserved: frozenset[str] = _RESERVED) -> None:
        self._taken = set(reserved)
        self._numbers: dict[str, int] = {}

    def word(self, name: object, number: bool = False) -> str:
        """A unique word; if `number` is set, a number stays as it is."""
        text = _text(name)
        if number and _NUMBER.fullmatch(text) and text not in self._taken:
            self._taken.add(text)
            return text
        base = word = text if _WORD.fullmatch(text) else _safe(text)
        k = self._numbers.get(base, 2)
        while word in self._taken:
            word = f"{base}_{k}"
            k += 1
        # Without this, a thousand equal names would take a million steps.
        self._numbers[base] = k
        self._taken.add(word)
        return word


def value_words(values: list[Hashable]) -> list[str]:
    """Words for the values of one variable."""
    words = Words(frozenset(["inf"]))
    return [words.word(value, number=True) for value in values]


def _text(name: object) -> str:
    if isinstance(name, str):
        return name
    if isinstance(name, Enum):
        return name.name
    if isinstance(name, tuple):
        return "_".join(map(_text, name))
    if isinstance(name, date):
        return name.isoformat()
    return str(name)


def _safe(text: str) -> str:
    plain = unicodedata.normalize("NFKD", text.replace("ß", "ss"))
    plain = "".join(c for c in plain if not unicodedata.combining(c))
    word = re.sub(r"[^A-Za-z0-9]+", "_", plain).strip("_")[:_LONGEST]
    if not re.search(r"[A-Za-z0-9]", word):
        word = "_".join(f"u{ord(c):x}" for c in text[:8]) or "empty"
    return word if _WORD.fullmatch(word) else "n" + word


def shown(name: object) -> str:
    """A name or value as text for people."""
    if isinstance(name, tuple):
        return " ".join(map(shown, name))
    enum_name = getattr(name, "_name_", None)
    text = enum_name if isinstance(enum_name, str) else str(name)
    # A lone surrogate could not be printed.
    return text.encode("utf-8", "backslashreplace").decode()

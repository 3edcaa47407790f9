"""What the explanation of a violated constraint says, where it is not the sum
of the text: forms that are kept beside a constraint."""

from __future__ import annotations

from collections.abc import Hashable, Mapping
from typing import Any, NamedTuple, Protocol

_WANTED = {"<=": "at most", ">=": "at least", "=": "exactly"}


class Form(Protocol):
    """A constraint as its author wrote it."""

    @property
    def names(self) -> tuple[Hashable, ...] | None:
        """The variables to show; None for the terms that count."""

    def head(self, values: Mapping[Hashable, Any]) -> str:
        """What is wrong, given the values of the variables."""


class NotMet(NamedTuple):
    """A condition."""

    names: tuple[Hashable, ...] | None = None

    def head(self, values: Mapping[Hashable, Any]) -> str:
        return "not met"


NOT_MET = NotMet()


class Kept(NamedTuple):
    """A variable that was to keep its value."""

    names: tuple[Hashable, ...]
    old: str

    def head(self, values: Mapping[Hashable, Any]) -> str:
        return f"was {self.old}"


class ShortRun(NamedTuple):
    """A run of a certain length that is too short."""

    length: int
    wanted: int
    names: tuple[Hashable, ...] | None = None

    def head(self, values: Mapping[Hashable, Any]) -> str:
        return f"a run of {self.length}, at least {self.wanted} wanted"


class Reckoned(NamedTuple):
    """A comparison of a sum of numbers, or of its size."""

    names: tuple[Hashable, ...]
    factors: tuple[int, ...]
    constant: int
    relation: str
    bound: int
    is_size: bool = False

    def head(self, values: Mapping[Hashable, Any]) -> str:
        value = self.constant + sum(
            factor * integer_of(values[name])
            for factor, name in zip(self.factors, self.names)
        )
        value = abs(value) if self.is_size else value
        return compared(value, self.relation, self.bound)


def integer_of(value: Any) -> int:
    """The number of a value; dates count days."""
    return int(getattr(value, "toordinal", lambda: value)())


def compared(value: int, relation: str, bound: int) -> str:
    """For example "8, at least 12 wanted"."""
    return f"{value}, {_WANTED[relation]} {bound} wanted"

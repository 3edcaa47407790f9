"""Reads reports and logs of the solver, and writes start files."""

from __future__ import annotations

import re
from typing import NamedTuple

_BEST = re.compile(r"^\[(?:best|incumbent) solution\]\n", re.M)
_PENALTY = re.compile(r"^penalty: (\d+)/(\d+) \(hard/soft\)$", re.M)
_COMMENT = re.compile(r"#.*")
_WORD = r"[A-Za-z_][A-Za-z0-9_@\[\]]*"
_PAIR = re.compile(rf"({_WORD})\s*:\s*({_WORD}|-?[0-9]+)")


class Report(NamedTuple):
    """A report: words of variables and values, and violated constraints."""

    assignment: dict[str, str]
    hard: int
    soft: int
    violated: dict[str, int]


def read_report(text: str) -> Report | None:
    """The last report in the text, or None if there is no complete one."""
    heads = list(_BEST.finditer(text))
    if not heads:
        return None
    body = text[heads[-1].end() :]
    assignment = _pairs(body)
    penalty = _PENALTY.search(body)
    if penalty is None:
        return None
    _, _, rest = body.partition("\n[Violated constraints]\n")
    try:
        violated = {name: int(count) for name, count in _pairs(rest).items()}
    except ValueError:
        return None
    return Report(assignment, int(penalty[1]), int(penalty[2]), violated)


def _pairs(text: str) -> dict[str, str]:
    pairs = {}
    for line in text.split("\n"):
        name, colon, value = line.rpartition(": ")
        if not colon:
            break
        pairs[name] = value
    return pairs


def start_text(assignment: dict[str, str]) -> str:
    """A file from which a search starts."""
    lines = [f"{name}: {value}" for name, value in assignment.items()]
    return "\n".join(["[best solution]", *lines, ""])


def read_assignment(text: str) -> dict[str, str]:
    """The words of variables and values in a report or a start file: each
    name, a colon and a value. Everything else is skipped, as the solver
    does."""
    heads = list(_BEST.finditer(text))
    body = text[heads[-1].end() :] if heads else text
    end = _PENALTY.search(body)
    body = _COMMENT.sub("", body[: end.start()] if end else body)
    return dict(_PAIR.findall(body))

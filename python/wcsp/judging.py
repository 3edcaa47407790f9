"""Prices plans that no search has found."""

from __future__ import annotations

import os
from typing import TYPE_CHECKING

from .errors import ModelError
from .helpers import filled
from .programs import judged
from .reports import Report, start_text
from .results import Result, Run

if TYPE_CHECKING:
    from .model import Model


def price(
    model: Model,
    places: dict[int, int],
    wcsp: str | os.PathLike[str] | None = None,
) -> Result:
    """The judged result with these values, and the best for the helper
    variables."""
    places = filled(model, places)
    missing = [x for x in model.variables if x.number not in places]
    if missing:
        raise ModelError(
            f"price: no value for {len(missing)} of {len(model.variables)} "
            f"variables, such as {missing[0].name!r}"
        )
    text = model.text()
    assignment = {
        model.words.variables[v]: model.words.values(v)[places[v]]
        for v in range(len(model.variables))
    }
    start = start_text(assignment)
    checked = judged(text, start, wcsp, is_start=True)
    violated = {v["name"]: v["violation"] for v in checked["violated"]}
    hard, soft = checked["penalty"]["capped"].split()[0].split("/")
    # In the order of the model.
    violated = {
        word: violated[word]
        for word in model.words.constraints
        if word in violated
    }
    lines = [start, f"penalty: {hard}/{soft} (hard/soft)", ""]
    lines.append("[Violated constraints]")
    lines += [f"{word}: {count}" for word, count in violated.items()]
    report = Report(assignment, int(hard), int(soft), violated)
    run = Run(0, 0, report, "\n".join(lines) + "\n", "")
    return Result(model, run, [run], checked, wcsp)

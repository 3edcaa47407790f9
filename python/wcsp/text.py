"""The text of a model, a few lines at a time."""

from __future__ import annotations

import json
from collections.abc import Iterable, Iterator
from fractions import Fraction
from math import lcm
from typing import TYPE_CHECKING, Any

from .errors import ModelError, warn
from .names import Words, shown, value_words
from .numbers import LARGEST, whole_number

if TYPE_CHECKING:
    from .model import Model

_WIDTH = 100
# Decimal weights are scaled to at most this and rounded beyond it.
_FINEST = 10**6
_RELATIONS = ("<=", ">=", "=", "<=", ">=", "=")
_TYPES = ("linear",) * 3 + ("quadratic",) * 3 + ("alldiff",)
_ALLDIFF = 6


class ModelWords:
    """Maps words of the text to names of the user.

    A variable keeps its word when others are added.
    """

    def __init__(self, model: Model) -> None:
        self._model = model
        self._words = Words()
        self.variables: list[str] = []
        self.constraints: list[str] = []
        self._values: dict[int, list[str]] = {}

    def __getstate__(self) -> dict[str, Any]:
        # The identities of lists are valid only in this process.
        return self.__dict__ | {"_values": {}}

    def update(self) -> None:
        """Assigns words to new names in the model."""
        for x in self._model.variables[len(self.variables) :]:
            self.variables.append(self._words.word(x.name))
        for name in self._model.names[len(self.constraints) :]:
            self.constraints.append(self._words.word(name))

    def values(self, variable: int) -> list[str]:
        """The words of the values, shared by variables of equal lists."""
        values = self._model.variables[variable].places
        words = self._values.get(id(values))
        if words is None:
            words = self._values[id(values)] = value_words(list(values))
        return words


def lines(model: Model) -> Iterator[str]:
    """The text in pieces of whole lines."""
    model.words.update()
    if model.comment:
        yield _comment(model.comment)
    if model.target is not None:
        target = whole_number(model.target)
        if target is None or not 0 <= target <= LARGEST:
            raise ModelError(
                f"the model's target is an integer from 0 to {LARGEST}, "
                f"not {model.target!r}"
            )
        yield f"target = {target}\n"
    yield from _variables(model)
    yield from _constraints(model)


def names_text(model: Model) -> str:
    """The user's names for the words of the text, and the constants of sums,
    as JSON for the option --names of the tools."""
    model.words.update()
    domains: dict[int, int] = {}
    listed: list[list[str | list[str]]] = []
    variables = {}
    for x, word in zip(model.variables, model.words.variables):
        key = id(x.places)
        if key not in domains:
            domains[key] = len(listed)
            listed.append([_shown_parts(value) for value in x.places])
        variables[word] = [_shown_parts(x.name), domains[key]]
    words = model.words.constraints
    names = {
        "variables": variables,
        "domains": listed,
        "constraints": dict(zip(words, map(_shown_parts, model.names))),
        "constants": {w: k for w, k in zip(words, model.constants) if k},
    }
    return json.dumps(names)


def _shown_parts(name: object) -> str | list[str]:
    if isinstance(name, tuple) and name:
        return [shown(part) for part in name]
    return shown(name)


def _comment(text: str) -> str:
    # A lone surrogate, as in a file name that is not UTF-8, cannot be encoded.
    plain = text.strip().encode("utf-8", "backslashreplace").decode()
    split = plain.split("\n")
    return "".join(("# " + line).rstrip() + "\n" for line in split)


def _variables(model: Model) -> Iterator[str]:
    for x in model.variables:
        if section := model.variable_sections.get(x.number):
            yield "\n" + _comment(section)
        words = model.words.values(x.number)
        pieces = [f"{word}," for word in words[:-1]] + [words[-1] + "}"]
        word = model.words.variables[x.number]
        yield _wrapped(f"variable {word} in {{{pieces[0]}", pieces[1:])


def _constraints(model: Model) -> Iterator[str]:
    labels = _label_texts(model)
    factor = scale_of(model.weights)
    start = second = 0
    coefficients, first, other = model.coefficients, model.first, model.second
    for c, word in enumerate(model.words.constraints):
        if section := model.constraint_sections.get(c):
            yield "\n" + _comment(section)
        end, second_end = model.ends[c], model.second_ends[c]
        kind = model.kinds[c]
        counts, ids = coefficients[start:end], first[start:end]
        if kind == _ALLDIFF:
            pieces = [model.words.variables[v] for v in ids]
            pieces.append(";")
        else:
            if second_end > second:
                pieces = [
                    f"{n}{labels[i]}{labels[k]}"
                    for n, i, k in zip(counts, ids, other[second:second_end])
                ]
            else:
                pieces = [f"{n}{labels[i]}" for n, i in zip(counts, ids)]
            pieces.append(f"{_RELATIONS[kind]} {model.bounds[c]}")
        weight = _weight_text(model.weights[c], factor)
        yield _wrapped(
            f"{word}: weight = {weight} type = {_TYPES[kind]}", pieces
        )
        start, second = end, second_end


def _label_texts(model: Model) -> list[str]:
    """The text of each label."""
    texts: list[str] = []
    for x in model.variables:
        word = model.words.variables[x.number]
        texts += [
            f"({word},{value})" for value in model.words.values(x.number)
        ]
    return texts


def _wrapped(head: str, pieces: list[str]) -> str:
    """The head and the pieces after it, in lines of limited length."""
    line = f"{head} {' '.join(pieces)}"
    if len(line) <= _WIDTH or not pieces:
        return line.rstrip() + "\n"
    result = []
    start, length = 0, len(head)
    for position, piece in enumerate(pieces):
        length += 1 + len(piece)
        if length > _WIDTH:
            result.append(" ".join((head, *pieces[start:position])))
            head, start, length = "   ", position, 4 + len(piece)
    result.append(" ".join((head, *pieces[start:])))
    return "\n".join(result) + "\n"


def scale_of(weights: Iterable[Fraction | int | None]) -> Fraction:
    """The factor that makes every weight an integer, or the largest that
    fits."""
    broken = {w for w in weights if isinstance(w, Fraction)}
    if not broken:
        return Fraction(1)
    factor = lcm(*(w.denominator for w in broken))
    largest = max(w for w in weights if w is not None)
    if largest * factor <= _FINEST:
        return Fraction(factor)
    return Fraction(_FINEST) / Fraction(largest)


def _weight_text(weight: Fraction | int | None, factor: Fraction) -> str:
    if weight is None:
        return "inf"
    return str(scaled(weight, factor))


def scaled(weight: Fraction | int, factor: Fraction) -> int:
    """The weight in the text: rounded, and never 0."""
    return max(1, round(weight * factor))


def warn_of_rounding(model: Model) -> None:
    """Warns when decimal weights do not become integers."""
    factor = scale_of(model.weights)
    loss = max(
        (
            abs(scaled(w, factor) / factor / w - 1)
            for w in set(model.weights)
            if w is not None
        ),
        default=Fraction(0),
    )
    if loss:
        warn(
            f"weights are multiplied by {float(factor):g} and rounded to "
            f"integers, which changes them by at most {float(loss):.1%}"
        )

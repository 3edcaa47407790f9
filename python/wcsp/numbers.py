"""Converts numbers of the user to numbers of the language."""

from __future__ import annotations

import re
from fractions import Fraction

#: The largest number of the language, where it means "hard" or "no bound".
LARGEST = 2**31 - 1
# Floats end at 10**308. A larger exponent in a text would only fill memory.
_LARGEST_POWER = 400


def exact_number(value: object) -> Fraction | None:
    """The number as written, so that 0.1 is a tenth and not the nearest
    double; None if it is not a finite number."""
    try:
        text = str(value)
        power = re.search(r"[eE]([-+]?[0-9_]+)", text)
        if power is None or abs(int(power[1])) <= _LARGEST_POWER:
            return Fraction(text)
    except (ValueError, ZeroDivisionError):
        pass
    return None


def whole_number(value: object) -> int | None:
    """The value as an integer, also from numpy or 3.0."""
    if isinstance(value, int):
        return int(value)
    try:
        number = int(value)  # type: ignore[call-overload]
        if number == value and not isinstance(value, str):
            return int(number)
    except (TypeError, ValueError, OverflowError):
        pass
    return None


def shortest(exact: Fraction) -> int | float:
    """The number as an int if it is integral."""
    return exact.numerator if exact.denominator == 1 else float(exact)

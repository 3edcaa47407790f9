"""Rules that become several constraints: runs of days, and counts of groups
with a condition that holds."""

from __future__ import annotations

from collections.abc import Hashable, Iterable, Iterator
from datetime import date, timedelta
from typing import TYPE_CHECKING, Any, TypeVar

from .errors import ModelError
from .expressions import (
    Constraint,
    Expression,
    Sum,
    Variable,
    condition_of,
    total,
)
from .forms import Form, ShortRun
from .numbers import whole_number

if TYPE_CHECKING:
    from .model import Model

T = TypeVar("T")


class Part(Constraint):
    """A constraint of a rule, which is left out if it always holds."""

    __slots__ = ()

    def __init__(self, rule: Constraint, form: Form | None = None) -> None:
        super().__init__(rule.left, rule.relation, rule.bound, form)


class Runs:
    """A rule of runs; see runs()."""

    def __init__(
        self,
        days: list[Sum],
        at_least: int,
        at_most: int | None,
        before: list[bool],
        after: list[bool],
        begins: bool,
    ) -> None:
        self._days = days
        self._at_least = at_least
        self._at_most = at_most
        self._before, self._after = before, after
        # Whether a run at the first known day begins there.
        self._begins = begins

    def _day(self, i: int) -> Sum | int:
        """The condition of a known day; day 0 is the first of the plan."""
        if 0 <= i < len(self._days):
            return self._days[i]
        if i >= 0:
            return int(self._after[i - len(self._days)])
        return int(self._before[i]) if i >= -len(self._before) else 0

    def parts(
        self, model: Model, name: Hashable, is_hard: bool
    ) -> Iterator[tuple[Part, int]]:
        """The constraints, each with a factor for the weight."""
        first = -len(self._before)
        days = len(self._days)
        last = days + len(self._after)  # the first unknown day
        for length in range(1, self._at_least):
            for start in range(first if self._begins else first + 1, last):
                end = start + length
                # It must touch the plan, and its end must be known.
                if end >= 0 and start <= days and end < last:
                    yield self._exactly(start, length), self._at_least - length
        if self._at_most is not None:
            length = self._at_most + 1
            for start in range(max(first, 1 - length), days):
                if start + length <= last:
                    window = map(self._day, range(start, start + length))
                    yield Part(total(window) <= self._at_most), 1

    def _exactly(self, start: int, length: int) -> Part:
        """Violated by 1 if a run of this length begins there."""
        end = start + length
        run = total(map(self._day, range(start, end)))
        around = total((self._day(start - 1), self._day(end)))
        form = ShortRun(length, self._at_least)
        return Part(run - around <= length - 1, form)

    def __repr__(self) -> str:
        return f"runs() over {len(self._days)} days"


def runs(
    conditions: Iterable[Expression],
    at_least: int = 1,
    at_most: int | None = None,
    before: Iterable[object] | None = None,
    after: Iterable[object] | None = None,
) -> Runs:
    """A rule: each run of days on which the condition holds has a length
    from `at_least` to `at_most`.

    A run costs the weight for each day that it is too short, and for each
    window of at_most + 1 days that it fills. `before` and `after` say of the
    days around the plan whether the condition held, in the order of the days:
    a run that began there counts with them. Without `before`, a run at the
    first day is never too short; with it, a run begins where `before` begins.
    A run at the last known day is never too short.

    >>> from wcsp import Model
    >>> m = Model()
    >>> x = [m.variable(d, ["off", "on"]) for d in range(5)]
    >>> m.add(runs((d == "on" for d in x), at_least=2), weight=3, name="rest")
    >>> r = m.price(dict(zip(range(5), ["off", "on", "off", "off", "on"])))
    >>> [(v.cost, v.explanation) for v in r.violated]
    [(3, 'a run of 1, at least 2 wanted: 1 = on')]
    """
    days = [_day_of(c) for c in conditions]
    if not days:
        raise ModelError("runs() of no conditions")
    least, most = _length(at_least, 0), _length(at_most, 0)
    if least is None:
        raise ModelError("runs(): at_least is an integer")
    if most is not None and most < least:
        raise ModelError(f"runs() of at least {least} and at most {most}")
    return Runs(
        days,
        least,
        most,
        [bool(day) for day in before or ()],
        [bool(day) for day in after or ()],
        before is not None,
    )


def _day_of(condition: object) -> Sum:
    expr = condition_of(condition, "runs()").sum()
    if expr.lefts:
        raise ModelError(
            f"runs() needs sums of labels of one variable a day, not "
            f"{condition!r}"
        )
    return expr


def _length(value: int | None, least: int) -> int | None:
    whole = None if value is None else whole_number(value)
    if value is not None and (whole is None or whole < least):
        raise ModelError(
            f"the length of a run is an integer from {least}, not {value!r}"
        )
    return whole


def windows(items: Iterable[T], length: int) -> list[tuple[T, ...]]:
    """All tuples of `length` items that follow each other.

    >>> windows("abcd", 3)
    [('a', 'b', 'c'), ('b', 'c', 'd')]
    """
    size = whole_number(length)
    if size is None or size < 1:
        raise ModelError(f"the length of a window is above 0, not {length!r}")
    listed = list(items)
    return [tuple(listed[i : i + size]) for i in range(len(listed) - size + 1)]


def weekends(days: Iterable[date]) -> list[tuple[date, ...]]:
    """The Saturdays and Sundays among the dates, by weekend.

    >>> from datetime import date
    >>> march = [date(2026, 3, d) for d in range(1, 9)]
    >>> [[day.day for day in weekend] for weekend in weekends(march)]
    [[1], [7, 8]]
    """
    found: dict[date, list[date]] = {}
    for day in days:
        if not isinstance(day, date):
            raise ModelError(f"weekends() needs dates, not {day!r}")
        weekday = day.weekday()
        if weekday >= 5:
            saturday = day - timedelta(weekday - 5)
            found.setdefault(saturday, []).append(day)
    return [tuple(sorted(found[saturday])) for saturday in sorted(found)]


class Different:
    """A count of groups; see at_least_different()."""

    def __init__(
        self, relation: str, count: int, groups: Iterable[Iterable[Any]]
    ) -> None:
        where = f"at_{'least' if relation == '>=' else 'most'}_different()"
        whole = whole_number(count)
        if whole is None:
            raise ModelError(f"{where}: {count!r} is not an integer")
        self._relation, self._count = relation, whole
        self._groups: list[list[Expression]] = []
        for group in groups:
            if isinstance(group, (Expression, Variable)):
                group = [group]
            self._groups.append([condition_of(c, where) for c in group])

    def parts(
        self, model: Model, name: Hashable, is_hard: bool
    ) -> Iterator[tuple[Part, int]]:
        """The constraints, each with a factor for the weight."""
        helpers: list[Expression] = []
        groups = [group for group in self._groups if group]
        if is_hard and self._relation == ">=" and self._count > len(groups):
            raise ModelError(
                f"constraint {name!r} can never hold: it has {len(groups)} "
                f"groups, not {self._count}"
            )
        for group in groups:
            count = total(group)
            helper = model.helper((name, "group", len(helpers) + 1), count)
            helpers.append(helper)
            if self._relation == ">=":
                yield Part(helper <= count), 1
            else:
                yield Part(count <= len(group) * helper), 1
        number = total(helpers)
        if self._relation == ">=":
            yield Part(number >= self._count), 1
        else:
            yield Part(number <= self._count), 1

    def __repr__(self) -> str:
        word = "least" if self._relation == ">=" else "most"
        return f"at_{word}_different({self._count}, ...)"


def at_least_different(
    count: int, groups: Iterable[Iterable[Expression]]
) -> Different:
    """A rule: at least `count` of the groups have a condition that holds, as
    in "on at least four different days".

    Each group gets a helper variable, which results do not show.

    >>> from wcsp import Model
    >>> m = Model()
    >>> x = [m.variable(i, ["Mon", "Tue", "Wed"]) for i in range(3)]
    >>> days = ([lesson == d for lesson in x] for d in ("Mon", "Tue", "Wed"))
    >>> m.add(at_least_different(2, days), weight=5)
    >>> m.price({0: "Mon", 1: "Mon", 2: "Mon"}).soft
    5
    """
    return Different(">=", count, groups)


def at_most_different(
    count: int, groups: Iterable[Iterable[Expression]]
) -> Different:
    """A rule: at most `count` of the groups have a condition that holds, as
    in "in few rooms". See at_least_different()."""
    return Different("<=", count, groups)

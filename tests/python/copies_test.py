"""Models and results that were pickled, copied or deep-copied go on as the
originals would, and leave those alone."""

import copy
import enum
import pickle
import warnings

import pytest

from wcsp import Model, ModelError, all_different, total


class Shift(enum.Enum):
    EARLY = 6
    LATE = 14


def pickled(x):
    return pickle.loads(pickle.dumps(x))


WAYS = pytest.mark.parametrize("way", [pickled, copy.copy, copy.deepcopy])


def week():
    m = Model("a week")
    x = [m.variable(("Zoë", d), [Shift.EARLY, Shift.LATE, None]) for d in range(3)]
    y = m.variable("Zoë 0", [1, True + 1, 1.5])  # its word is that of x[0], with a number
    m.section("rules")
    m.add(all_different(x), weight=0.5)
    m.add(x[0] == x[1], name="same")
    m.minimize(total((v == None) * (y == 2) for v in x) + 3)  # noqa: E711
    return m, x, y


@WAYS
def test_model(way):
    m, x, _ = week()
    m.text()  # the words are given
    twin = way(m)
    assert twin.text() == m.text() and twin is not m
    before = m.text()
    for model in (twin, m):  # equal additions give equal texts
        z = model.variable(("Zoë", 7), [Shift.EARLY, Shift.LATE, None])
        model.add((model["Zoë", 1] == Shift.LATE) + (z == None) <= 1, weight=2)  # noqa: E711
        model.minimize(z == Shift.EARLY)
        if model is twin:
            assert m.text() == before
    assert twin.text() == m.text()
    with pytest.raises(ModelError, match="another model"):
        twin.add(x[0] == Shift.LATE)


@WAYS
def test_variables_and_expressions_stay_with_their_model(way):
    m, x, y = week()
    if way is copy.copy:  # a variable is itself, and its expressions stay here
        assert copy.copy(y) is y and copy.copy(y == 2).model is m
        return
    twin, rule, (first, *_), by_variable = way((m, (x[0] == Shift.LATE) + 1 <= 1, x, {y: 3}))
    assert twin["Zoë", 0] is first and by_variable[twin["Zoë 0"]] == 3
    twin.add(rule, name="new")
    assert "new: " in twin.text() and "new: " not in m.text()
    assert way(y).model[("Zoë", 1)].values == x[1].values


@WAYS
def test_result(way):
    m, x, y = week()
    r = m.solve(time=10, seeds=2, options=["-iteration", "200"])
    twin = way(r)
    for name in ("hard", "soft", "objective", "seeds", "violated", "failing", "log", "ended_by"):
        assert getattr(twin, name) == getattr(r, name), name
    assert twin.values() == r.values() and twin[x[0]] is r[x[0]]
    assert twin.model.check(twin) == [] and twin.show().text == r.show().text
    again = m.solve(time=10, seeds=1, start=twin, options=["-iteration", "0"])
    assert again.values() == r.values()


@WAYS
def test_errors_keep_their_line(way):
    with pytest.raises(ModelError) as raised:
        week()[0].variable("Zoë 0", [1])
    assert str(way(raised.value)) == str(raised.value)
    assert str(raised.value).count("line") == 1


@WAYS
def test_warnings_come_once(way):
    m, x, _ = week()
    for v in x:
        m.add((v == None) <= 1, name="useless")  # noqa: E711
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        m.text()
        way(m).text()
    assert len(caught) == 1

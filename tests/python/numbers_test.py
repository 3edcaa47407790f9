"""Numbers at the edges: weights, targets, penalties beyond 32 bits."""

import decimal
import math
import time
from fractions import Fraction

import pytest

from wcsp import Model, ModelError, total
from wcsp.arguments import limit_of
from wcsp.best import best_of
from wcsp.reports import read_report
from wcsp.results import Run

LARGEST = 2**31 - 1


def two():
    m = Model()
    return m, m.variable("x", "ab"), m.variable("y", "ab")


@pytest.mark.parametrize("weight, message", [
    (LARGEST, "is not below 2147483647; None means hard"), (2**31, "is not below 2147483647"),
    (LARGEST - 0.25, None), (float(LARGEST), "is not below"), (10**400, "is not below"),
    (LARGEST - 1, None), (1e-300, None), (-1, "is not above 0"),
    (math.nan, "nan is not a number"), (math.inf, "inf is not a number"), ("1/0", "is not a number"),
    (decimal.Decimal("NaN"), "is not a number"), ("1e999999999", "is not a number"),
    (True, "is not a number"), ("0.5", None)])
def test_weights(weight, message):
    for add in (lambda m, x: m.add(x == "a", weight=weight, name="n"),
                lambda m, x: m.minimize(x == "a", weight=weight)):
        m, x, _ = two()
        if message is None:
            add(m, x)
            assert 0 < int(m.text().split("weight = ")[1].split()[0]) < LARGEST
            continue
        with pytest.raises(ModelError, match=message) as raised:
            add(m, x)
        assert "numbers_test.py, line" in str(raised.value)


@pytest.mark.parametrize("make", [
    lambda m, x, y: m.add(total([2**62 * (x == "a")] * 2) <= 5),
    lambda m, x, y: m.add(total([2**62 * (x == "a") * (y == "a")] * 2) <= 5),
    lambda m, x, y: m.add((x == "a") + (y == "a") <= 10**30),
    lambda m, x, y: m.minimize(x == "a", bound=math.nan),
    lambda m, x, y: m.minimize(x == "a", bound=1.5),
    lambda m, x, y: m.add((x == "a") <= math.inf),
    lambda m, x, y: (setattr(m, "target", math.nan), m.text()),
    lambda m, x, y: (setattr(m, "target", -1), m.text()),
    lambda m, x, y: (setattr(m, "target", 2**31), m.text())])
def test_numbers_that_the_language_does_not_have(make):
    with pytest.raises(ModelError):
        make(*two())


def test_every_target_of_two_decimals():
    """69 of them would be one too low if a double were cut."""
    for cents in range(1000):
        assert limit_of(cents / 100, Fraction(100)) == cents
    assert limit_of(0.299, Fraction(100)) == 29
    assert limit_of(-0.5, Fraction(1)) == -1


@pytest.mark.filterwarnings("ignore::wcsp.ModelWarning")
def test_decimal_target_ends_the_search():
    m, x, y = two()
    m.add((x == "a") + (y == "a") == 1, weight=0.01)
    m.add(x.isin("ab") + (y == "b") * 0 <= 0, weight=0.29)  # broken by all
    began, seen = time.monotonic(), []
    r = m.solve(time=30, seeds=1, target=0.29, on_improve=seen.append)
    assert time.monotonic() - began < 15
    assert (r.soft, seen[-1].soft, r.log[-1].soft) == (0.29, 0.29, 0.29)


@pytest.mark.filterwarnings("ignore::wcsp.ModelWarning")
def test_penalties_beyond_32_bits(tmp_path):
    """The solver prints 2147483647 for both; the sum decides, and is given."""
    m, x, y = two()
    for name, weight in (("c1", 2 * 10**9), ("c2", 2 * 10**9), ("c3", 1)):
        m.add(x == "a", weight=weight, name=name)
    m.add(3 * (y == "a") + (y == "b") <= 0, weight=LARGEST - 1, name="c4")
    runs = []
    for seed, values, broken in ((1, "aa", "c4: 3\n"), (2, "bb", "c1: 1\nc2: 1\nc3: 1\nc4: 1\n"),
                                 (3, "ba", "c1: 1\nc2: 1\nc3: 1\nc4: 3\n")):
        text = ("[best solution]\nx: {}\ny: {}\n\npenalty: 0/2147483647 (hard/soft)\n\n"
                "[Violated constraints]\n{}").format(*values, broken)
        (tmp_path / f"{seed}.report").write_text(text)
        runs.append(Run(seed, 0, read_report(text), text, ""))
    m.write(tmp_path / "model")
    r = best_of(m, runs, tmp_path / "model", tmp_path)
    assert (r.run.seed, r.soft) == (2, 4 * 10**9 + LARGEST)
    assert sum(v.cost for v in r.violated) == r.soft
    result = m.solve(time=5, seeds=1, options=["-iteration", "100"])
    assert (result.soft, result[x], result[y]) == (LARGEST - 1, "a", "b")

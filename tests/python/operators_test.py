"""Every operator against brute force: the cost of each assignment of random
models, and the numbers in explanations. WCSP_OPERATOR_MODELS says how many."""

import datetime
import itertools
import operator
import os
import random
import warnings
from fractions import Fraction

import pytest

from wcsp import (Model, ModelError, ModelWarning, at_least_different, at_most_different, implies,
                  number, ranked, runs, total, weekends, windows)
from wcsp.evaluation import stored, violation
from wcsp.explain import explanation
from wcsp.expressions import terms
from wcsp.helpers import filled

COUNT = int(os.environ.get("WCSP_OPERATOR_MODELS", "250"))
COMPARE = {"<=": operator.le, ">=": operator.ge, "==": operator.eq, "<": operator.lt,
           ">": operator.gt}
START = datetime.date(2026, 2, 27)


def distance(value, relation, bound):
    bound += {"<": -1, ">": 1}.get(relation, 0)
    over, under = max(value - bound, 0), max(bound - value, 0)
    return {"<": over, ">": under}.get(relation[0], over + under)


class Case:
    """A random model beside what its rules cost in plain Python."""

    def __init__(self, rng):
        self.rng, self.model = rng, Model()
        if rng.random() < 0.3:
            self.values = [START + datetime.timedelta(d) for d in rng.sample(range(5), 3)]
        else:
            self.values = rng.sample(range(-3, 6), rng.randint(2, 3))
        self.x = [self.model.variable(("x", i), rng.sample(self.values, len(self.values)))
                  for i in range(rng.randint(3, 4))]
        # Of each rule its weight, its violation, and the head of its explanation.
        self.rules = []
        kinds = [self.numbers, self.size, self.unequal, self.either, self.both, self.runs,
                 self.different, self.changed, self.counted, self.inside]
        for kind in rng.sample(kinds, 3):
            weight = rng.choice([None, 1, 2, Fraction(1, 2)])
            self.is_hard = weight is None
            rule, cost, head = kind()
            name = ("rule", len(self.rules))
            try:
                self.model.add(rule, weight, name)
            except ModelError as error:  # never to be met
                assert "can never hold" in str(error)
            else:
                self.rules.append((weight, cost, head))

    def of(self, a, x):
        value = a[x.number]
        return value.toordinal() if isinstance(value, datetime.date) else value

    def condition(self):
        """A condition, and its truth."""
        x, some = self.rng.choice(self.x), self.rng.sample(self.values, self.rng.randint(1, 2))
        if self.rng.random() < 0.3:
            return x != some[0], lambda a: a[x.number] != some[0]
        return x.isin(some), lambda a: a[x.number] in some

    def combination(self):
        """A sum of numbers whose values are near 0, and its value."""
        chosen = self.rng.sample(self.x, self.rng.randint(1, 3))
        factors = [self.rng.choice([-2, -1, 1, 1, 3]) for _ in chosen]
        shift = -sum(k * self.of({x.number: self.values[0]}, x) for k, x in zip(factors, chosen))
        left = sum(k * number(x) for k, x in zip(factors, chosen)) + shift
        return chosen, left, lambda a: shift + sum(
            k * self.of(a, x) for k, x in zip(factors, chosen))

    def numbers(self):
        relation, bound = self.rng.choice(list(COMPARE)), self.rng.randint(-4, 4)
        _, left, value = self.combination()
        if self.rng.random() < 0.4:  # numbers on both sides
            y = self.rng.choice(self.x)
            bound -= self.of({y.number: self.values[0]}, y)
            return (COMPARE[relation](left, number(y) + bound),
                    lambda a: distance(value(a) - self.of(a, y), relation, bound), lambda a: "")
        limit = bound + {"<": -1, ">": 1}.get(relation, 0)
        word = {"<": "at most", ">": "at least", "=": "exactly"}[relation[0]]
        return (COMPARE[relation](left, bound), lambda a: distance(value(a), relation, bound),
                lambda a: f"{value(a)}, {word} {limit} wanted: ")

    def size(self):
        chosen, left, value = self.combination()
        bound = self.rng.randint(0, 4)
        if len(chosen) > 2 or self.rng.random() < 0.5:
            return (abs(left) <= bound, lambda a: max(abs(value(a)) - bound, 0),
                    lambda a: f"{abs(value(a))}, at most {bound} wanted: ")
        return (abs(left) >= bound, lambda a: max(bound - abs(value(a)), 0),
                lambda a: f"{abs(value(a))}, at least {bound} wanted: ")

    def unequal(self):
        x, y = self.rng.sample(self.x, 2)
        k = self.rng.randint(-1, 1)
        return (number(x) != number(y) + k,
                lambda a: int(self.of(a, x) == self.of(a, y) + k), lambda a: "not met: ")

    def either(self):
        parts = [self.condition() for _ in range(self.rng.randint(2, 4))]
        rule = parts[0][0]
        for condition, _ in parts[1:]:
            rule = rule | condition
        if self.rng.random() < 0.4:
            cause, holds = self.condition()
            return (implies(cause, rule), lambda a: int(
                holds(a) and not any(truth(a) for _, truth in parts)), lambda a: "not met")
        return (rule, lambda a: int(not any(truth(a) for _, truth in parts)),
                lambda a: "not met")

    def both(self):
        (one, first), (other, second) = self.condition(), self.condition()
        if self.rng.random() < 0.5:
            return one & other, lambda a: int(not (first(a) and second(a))), lambda a: "not met"
        return ~(one | other), lambda a: int(first(a) or second(a)), lambda a: "not met"

    def inside(self):
        """| and & inside a sum."""
        (c, is_c), (d, is_d), (e, is_e) = (self.condition() for _ in range(3))
        k, bound = self.rng.choice([-2, 1, 3]), self.rng.randint(-1, 2)
        left = k * (c | d) + (d & e) + 1

        def value(a):
            return k * (is_c(a) or is_d(a)) + (is_d(a) and is_e(a)) + 1
        return (left <= bound, lambda a: max(value(a) - bound, 0),
                lambda a: f"{value(a)}, at most {bound} wanted: ")

    def counted(self):
        """A sum over != and ==, with a constant."""
        parts = [self.condition() for _ in range(3)]
        extra, bound = self.rng.randint(-2, 2), self.rng.randint(0, 3)

        def value(a):
            return extra + sum(truth(a) for _, truth in parts)
        # A sum that is 0 or 1 and wanted as 1 is a condition.
        return (total(c for c, _ in parts) + extra >= bound,
                lambda a: max(bound - value(a), 0),
                lambda a: (f"{value(a)}, at least {bound} wanted: ", "not met"))

    def runs(self):
        parts = [self.condition_of(x) for x in self.x]
        least, most = self.rng.randint(0, 4), self.rng.choice([None, None, 0, 1, 2, 3])
        if most is not None and most < least:
            least, most = most, least
        before, after = (self.rng.choice([None, [self.rng.random() < 0.6 for _ in range(
            self.rng.randint(0, 3))]]) for _ in range(2))
        is_hard = self.is_hard
        return (runs((c for c, _ in parts), at_least=least, at_most=most, before=before,
                     after=after),
                lambda a: cost_of_runs([truth(a) for _, truth in parts], least, most, before,
                                       after, is_hard), lambda a: ("", "a run of "))

    def condition_of(self, x):
        some = self.rng.sample(self.values, self.rng.randint(1, 2))
        return x.isin(some), lambda a: a[x.number] in some

    def different(self):
        groups = [[self.condition() for _ in range(self.rng.randint(1, 3))]
                  for _ in range(self.rng.randint(1, 3))]
        k = self.rng.randint(1, 3)
        rule, sign = self.rng.choice([(at_least_different, 1), (at_most_different, -1)])

        def number_of(a):
            return sum(any(truth(a) for _, truth in group) for group in groups)
        return (rule(k, ([c for c, _ in group] for group in groups)),
                lambda a: max(sign * (k - number_of(a)), 0), lambda a: ("", "not met"))

    def changed(self):
        old = {x: self.rng.choice(self.values) for x in self.x}
        only = self.rng.choice([None, lambda name: name[1] > 0])
        counted = [x for x in self.x if only is None or only(x.name)]
        bound = self.rng.randint(0, 2)

        def value(a):
            return sum(a[x.number] != old[x] for x in counted)
        return (self.model.changed(old, only) <= bound, lambda a: max(value(a) - bound, 0),
                lambda a: f"{value(a)}, at most {bound} wanted: ")

    def penalty(self, a):
        hard = sum(cost(a) for weight, cost, _ in self.rules if weight is None)
        return hard, sum(weight * cost(a) for weight, cost, _ in self.rules if weight is not None)


def cost_of_runs(days, least, most, before, after, is_hard):
    """By the lengths of the runs, one after the other. A hard rule counts runs that
    are too short, a soft one the days that they lack."""
    first, n = len(before or ()), len(days)
    known = [*(before or ()), *days, *(after or ())]
    cost = i = 0
    while i < len(known):
        j = i
        while j < len(known) and known[j]:
            j += 1
        is_begun = i > 0 or before is not None
        if j > i and is_begun and j < len(known) and j >= first and i <= first + n:
            lacking = max(least - (j - i), 0)
            cost += min(lacking, 1) if is_hard else lacking
        i = max(j, i + 1)
    if most is not None:
        for i in range(len(known) - most):
            holds_plan_day = i < first + n and i + most >= first
            cost += holds_plan_day and all(known[i:i + most + 1])
    return cost


def judged_here(model, places):
    """The penalties by the stored constraints, and the explanations by rule."""
    on = {x.first + places[x.number] for x in model.variables}
    values = {x.name: list(x.values)[places[x.number]] for x in model.variables}
    hard, soft, texts = 0, Fraction(0), {}
    for c, name in enumerate(model.names):
        by = violation(model, stored(model, c), on)
        if by:
            texts.setdefault(name[1], []).append(explanation(model, c, values))
            if model.weights[c] is None:
                hard += by
            else:
                soft += model.weights[c] * by
    return (hard, soft), texts


def check_case(seed):
    rng = random.Random(seed)
    case = Case(rng)
    model = case.model
    helpers = sorted(model.helpers)
    for a in itertools.product(*(x.values for x in case.x)):
        own = {x.number: x.places[a[x.number]] for x in case.x}
        places = filled(model, own)
        penalty, texts = judged_here(model, places)
        assert penalty == case.penalty(a), (seed, a)
        if rng.random() < 0.1:  # no value of the helper variables is better
            for bits in itertools.product((0, 1), repeat=len(helpers)):
                other, _ = judged_here(model, own | dict(zip(helpers, bits)))
                assert other >= penalty or other[0] + other[1] >= sum(penalty), (seed, a)
        for k, (_, cost, head) in enumerate(case.rules):
            assert bool(cost(a)) == (k in texts), (seed, a)
            for text in texts.get(k, ()):
                assert text.startswith(head(a)), (seed, a, text, head(a))
    return case, a


def test_costs_and_explanations_against_brute_force():
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", ModelWarning)
        for seed in range(COUNT):
            case, a = check_case(seed)
            if seed % 25 == 0:  # wcsp-check and wcsp agree
                r = case.model.price(dict(zip(case.x, a)))
                assert r.penalty == case.penalty(a)
                assert case.model.check(r) == []
                found = case.model.solve(time=10, seeds=1, options=["-iteration", "200"])
                best = min(map(case.penalty, itertools.product(*(x.values for x in case.x))))
                assert found.penalty >= best
                assert case.model.price(found).penalty <= found.penalty


def example():
    m = Model()
    return m, m.variable("a", range(4)), m.variable("b", [1, 2, 5]), m.variable("c", "xy")


NOT_NUMBERS = [
    (lambda m, a, b, c: number(c), "value 'x' of variable 'c' is neither an integer nor a date"),
    (lambda m, a, b, c: number("a"), "takes a variable"),
    (lambda m, a, b, c: a < b, "table()"), (lambda m, a, b, c: a + 1, "number()"),
    (lambda m, a, b, c: abs(number(a) - number(b)) == 2, "table()"),
    (lambda m, a, b, c: abs(number(a)) + 1, "table()"),
    (lambda m, a, b, c: abs(number(a)) <= number(b), "compared with an integer"),
    (lambda m, a, b, c: abs(number(a)) <= -1, "never at most -1"),
    (lambda m, a, b, c: abs(number(a) + number(b) - number(m.variable("d", [1, 2]))) >= 2,
     "at most two variables"),
    (lambda m, a, b, c: number(a) + number(b) != number(m.variable("d", [1, 2])),
     "at most two variables"),
    (lambda m, a, b, c: number(a) <= 1.5, "must be an integer"),
    (lambda m, a, b, c: (a == 1) | b, "put each condition in brackets"),
    (lambda m, a, b, c: a == 1 | b == 2, "put each condition in brackets"),
    (lambda m, a, b, c: a == 1 | (b == 2), "put each condition in brackets"),
    (lambda m, a, b, c: a == 1 & b == 2, "put each condition in brackets"),
    (lambda m, a, b, c: ~a, "put each condition in brackets"),
    (lambda m, a, b, c: (a == 1) | ((a == 1) + (b == 2)), "not the sum"),
    (lambda m, a, b, c: ~(2 * (a == 1)), "not the sum"),
    (lambda m, a, b, c: (a == 1) | ((b == 2) <= 0), "needs conditions"),
    (lambda m, a, b, c: ((b == 2) <= 0) | (a == 1), "is a constraint"),
    (lambda m, a, b, c: ((a == 1) | (a == 2) | (b == 2)) + 0, "| takes two conditions"),
    (lambda m, a, b, c: ((a == 1) & (b == 2)) & (c == "x"), "three labels"),
    (lambda m, a, b, c: runs([]), "no conditions"),
    (lambda m, a, b, c: runs([a == b]), "labels of one variable"),
    (lambda m, a, b, c: runs([a == 1], at_least=3, at_most=2), "at least 3 and at most 2"),
    (lambda m, a, b, c: runs([a == 1], at_least=1.5), "integer from 0, not 1.5"),
    (lambda m, a, b, c: runs([(a == 1) + (b == 1)]), "not the sum"),
    (lambda m, a, b, c: windows("abc", 0), "above 0"),
    (lambda m, a, b, c: weekends(["Mon"]), "needs dates"),
    (lambda m, a, b, c: at_least_different(1.5, []), "not an integer"),
    (lambda m, a, b, c: at_most_different(1, [[a]]), "not a condition"),
    (lambda m, a, b, c: m.add(at_least_different(2, [[a == 1]])), "can never hold")]


@pytest.mark.parametrize("make, message", NOT_NUMBERS)
def test_what_is_refused(make, message):
    with pytest.raises(ModelError) as raised:
        make(*example())
    assert message in str(raised.value) and "operators_test.py, line" in str(raised.value)


def test_conditions_are_linear_where_they_can_be():
    m, a, b, c = example()
    m.add((a == 1) | (b == 2) | (c == "x"), name="n")
    m.add(runs([a == 1, b == 1], at_most=1), name="r")
    m.add(number(a) < number(b), name="l")
    assert [line.split(" = ", 2)[2] for line in m.text().splitlines()[3:]] == [
        "linear 1(a,1) 1(b,2) 1(c,x) >= 1", "linear 1(a,1) 1(b,1) <= 1",
        "linear 1(a,1) 2(a,2) 3(a,3) -1(b,2) -4(b,5) <= 0"]


def test_ranked_goals_are_lexicographic():
    """The weighted sums order all assignments as the goals do, one after the other."""
    for seed in range(20):
        rng = random.Random(seed)
        m = Model()
        x = [m.variable(i, "abc") for i in range(3)]
        goals = [total(rng.randint(-2, 3) * (v == c) for v in x for c in "ab")
                 + rng.randint(0, 1) * (x[0] == "a") * (x[1] == "b") for _ in range(3)]
        weights = ranked(goals)
        for goal, weight in zip(goals, weights):
            m.minimize(goal, weight=weight)
        keys = []
        for values in itertools.product("abc", repeat=3):
            on = {v.first + v.places[c] for v, c in zip(x, values)}
            sums = [sum(k for k, labels in terms(goal.sum()) if on.issuperset(labels))
                    for goal in goals]
            keys.append((sums, sum(w * k for w, k in zip(weights, sums))))
        assert [s for s, _ in sorted(keys)] == [s for s, _ in sorted(keys, key=lambda k: (k[1], k[0]))]
        assert all((s < t) == (k < w) for (s, k), (t, w) in itertools.combinations(keys, 2))
    m, a, b, c = example()
    with pytest.raises(ModelError, match="goals with smaller bounds are needed"):
        ranked([a == 1, 10**6 * (b == 1), 10**6 * (c == "x")])


@pytest.mark.parametrize("days, before, after, cost", [
    ("-+-", None, None, 2), ("+--", None, None, 0), ("+--", [], None, 2), ("--+", None, None, 0),
    ("--+", None, [False], 2), ("--+", None, [True], 0), ("--+", None, [True, False], 1),
    ("+--", [True], None, 1), ("+--", [True, True], None, 0), ("---", [False, True], None, 2),
    ("---", [True, False], None, 0), ("---", None, [True, False], 2),
    ("---", None, [False, True, False], 0), ("--+", None, [False, True, False], 2)])
def test_runs_at_the_borders(days, before, after, cost):
    """A run of at least three: of one day it costs 2, of two days 1."""
    m = Model()
    x = [m.variable(i, "-+") for i in range(3)]
    m.add(runs((v == "+" for v in x), at_least=3, before=before, after=after), weight=1)
    assert m.price(dict(zip(range(3), days))).soft == cost


@pytest.mark.filterwarnings("ignore::wcsp.ModelWarning")
def test_explanations_list_what_counts():
    m = Model()
    x = [m.variable(i, ["off", "on", "ill"]) for i in range(3)]
    m.add(total(v != "off" for v in x) + 5 <= 6, weight=1)
    m.add(2 * (x[0] == "on") - (x[1] == "ill") >= 5, weight=1)
    m.add(number(m.variable("n", [3, 4])) < number(m.variable("k", [1, 2])) - 1, weight=1)
    r = m.price({0: "on", 1: "ill", 2: "off", "n": 4, "k": 1})
    assert [v.explanation for v in sorted(r.violated, key=lambda v: v.violation)] == [
        "7, at most 6 wanted: 5, 0 = on, 1 = ill", "1, at least 5 wanted: 2 0 = on, -1 1 = ill",
        "3, at most -2 wanted: n = 4, k = 1"]


def test_dates_in_comparisons():
    m = Model()
    days = [datetime.date(2026, 3, d) for d in (1, 5, 9)]
    x, y = m.variable("x", days), m.variable("y", days)
    m.add(number(x) >= days[1], weight=1)
    m.add(number(y) - number(x) == 4, weight=1)
    assert m.price({x: days[0], y: days[2]}).soft == 4 + 4
    assert m.price({x: days[1], y: days[2]}).soft == 0


def test_helper_variables_are_not_shown():
    m, a, b, c = example()
    m.add(at_most_different(1, [[a == 1], [b == 1, b == 2]]), weight=2)
    assert list(m.price({"a": 1, "b": 1, "c": "x"}).values()) == ["a", "b", "c"]
    assert [(x.value, x.soft) for x in m.price({"a": 1, "b": 1, "c": "x"}).alternatives("b")] == [
        (5, 0), (2, 2)]

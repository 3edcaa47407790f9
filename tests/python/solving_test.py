"""Results against brute force, and searches that leave nothing behind.

WCSP_RANDOM_MODELS and WCSP_SIGNALS say how many are tried.
"""

import collections
import datetime
import enum
import itertools
import math
import os
import random
import signal
import subprocess
import sys
import threading
import time
import warnings
from fractions import Fraction

import pytest

from signal_trials import Trials
from wcsp import (Model, ModelError, ProgramMissing, SolverError, SolverWarning, all_different,
                  total)

COUNT = int(os.environ.get("WCSP_RANDOM_MODELS", "60"))
SIGNALS = int(os.environ.get("WCSP_SIGNALS", "8"))


class Shift(enum.Enum):
    EARLY = 6
    LATE = 14


VALUES = ["", "off", "été", 0, 7, -1, (1, 2), ("a b", 3), Shift.EARLY, Shift.LATE, 2.5,
          datetime.date(2026, 3, 1), "inf", None, "a_b", "a b"]
NAMES = ["Zoë Müller", "zoe muller", ("Zoë", "Mon"), ("Zoë", 2), 3, "", "target", Shift.EARLY,
         "x[1]", datetime.date(2026, 3, 1)]


class Random:
    """A random model beside what its parts cost in plain Python."""

    def __init__(self, rng):
        self.model = Model()
        names = rng.sample(NAMES, rng.randint(2, 4))
        self.variables = [self.model.variable(n, rng.sample(VALUES, rng.randint(2, 4)))
                          for n in names]
        self.parts = []        # (weight or None, violation of an assignment)
        self.objective = None  # of an assignment
        for c in range(rng.randint(2, 6)):
            weight = rng.choice([None, None, 1, 2, 0.5, Fraction(5, 4)])
            self.add(rng, weight, rng.choice(["rule", ("rule", c), "règle"]))
        if rng.random() < 0.5:
            self.minimize(rng)

    def labels(self, rng, number):
        return [(rng.randint(-3, 5), x, rng.choice(list(x.values)))
                for x in rng.choices(self.variables, k=number)]

    def add(self, rng, weight, name):
        kind = rng.random()
        if kind < 0.2:
            variables = rng.sample(self.variables, rng.randint(2, len(self.variables)))
            if weight is None and len(set().union(*(x.values for x in variables))) < len(variables):
                return
            self.model.add(all_different(variables), weight, name)
            self.parts.append((
                weight, lambda a: len(variables) - len({a[x.name] for x in variables})))
            return
        if kind < 0.6:
            terms = self.labels(rng, rng.randint(1, 5))
            left = total(k * (x == v) for k, x, v in terms)

            def value(a):
                return sum(k for k, x, v in terms if a[x.name] == v)
        else:
            pairs = list(zip(self.labels(rng, 3), self.labels(rng, 3)))
            left = total(k * (x == v) * (y == w) for (k, x, v), (_, y, w) in pairs)

            def value(a):
                return sum(k for (k, x, v), (_, y, w) in pairs
                           if a[x.name] == v and a[y.name] == w)
        bound = rng.randint(-2, 4)
        relation = rng.choice(["<=", ">=", "=="])
        compared = {"<=": left <= bound, ">=": left >= bound, "==": left == bound}[relation]
        try:
            self.model.add(compared, weight, name)
        except ModelError:  # it can never hold
            return
        self.parts.append((weight, {
            "<=": lambda a: max(value(a) - bound, 0), ">=": lambda a: max(bound - value(a), 0),
            "==": lambda a: abs(value(a) - bound)}[relation]))

    def minimize(self, rng):
        terms = self.labels(rng, 4)
        sign = rng.choice([1, -1])
        cost = total(k * (x == v) for k, x, v in terms) + 10
        (self.model.minimize if sign > 0 else self.model.maximize)(cost)
        self.objective = lambda a: 10 + sum(k for k, x, v in terms if a[x.name] == v)
        self.sign = sign

    def cost(self, a):
        hard = sum(part(a) for weight, part in self.parts if weight is None)
        soft = sum(Fraction(weight) * part(a) for weight, part in self.parts if weight)
        return hard, soft + (self.sign * self.objective(a) if self.objective else 0)

    def beyond(self):
        """What the objective's least bound takes from its cost."""
        objectives = self.model.objectives
        return -objectives[0].sign * objectives[0].bound if objectives else 0

    def best(self):
        names = [x.name for x in self.variables]
        return min((dict(zip(names, values)) for values in itertools.product(
            *(list(x.values) for x in self.variables))), key=self.cost)


def test_results_against_brute_force():
    """Results have the original names and values. The best assignment and the result
    of a search have the same cost here and, by wcsp-check, in the text. No search
    beats the best assignment."""
    for k in range(COUNT):
        rng = random.Random(k)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            case = Random(rng)
            solved = case.model.solve(time=20, seeds=1, options=["-iteration", "300"])
        best = case.best()
        assert case.cost(best) <= case.cost(solved.values()), k
        for r in (solved, case.model.solve(time=20, seeds=1, start=best,
                                          options=["-iteration", "0"])):
            check_result(case, r, k)
        assert r.values() == best, k


def check_result(case, r, k):
    values = r.values()
    assert list(values) == [x.name for x in case.variables], k
    for x in case.variables:
        assert r[x] in x.values and r[x] is values[x.name], k
    assert (r.hard, r.objective) == (
        case.cost(values)[0], case.objective(values) if case.objective else None), k
    broken = sum(Fraction(v.cost) for v in r.violated)
    assert broken == Fraction(r.soft), k
    # The objective's constraints cost it from a bound of their own.
    beyond = Fraction(r.soft) - case.cost(values)[1]
    assert beyond == case.beyond(), k
    assert case.model.check(r) == []


def colouring(edges=300, colours=4, seed=1):
    rng = random.Random(seed)
    m = Model()
    x = [m.variable(("Knoten", i), range(colours)) for i in range(100)]
    for i in range(edges):
        a, b = rng.sample(x, 2)
        m.add(total((a == c) * (b == c) for c in range(colours)) == 0, weight=1, name=("e", i))
    return m


def processes():
    listed = subprocess.run(["ps", "-eo", "ppid=,stat=,args="], capture_output=True, text=True,
                            check=True).stdout
    return [line for line in listed.split("\n") if ("-inputfile" in line or "wcsp-polish" in line)
            and "wcsp-python-" in line
            and str(os.getpid()) == line.split()[0]]


def test_seeds_and_limits():
    m = colouring()
    seen = []
    began = time.monotonic()
    r = m.solve(time=1.5, seeds=[3, 5, 8], jobs=2, target=-1, on_improve=seen.append)
    assert time.monotonic() - began < 6
    assert r.seeds == [3, 5, 8]
    assert [p[1:3] for p in seen] == sorted({p[1:3] for p in seen}, reverse=True)
    assert seen[-1][1:3] == (r.hard, r.soft)
    assert (r.log[-1].hard, r.log[-1].soft) == (r.hard, r.soft)
    r = m.solve(time=30, seeds=4, jobs=4, target=40)
    assert r.soft <= 40 and r.ended_by == "target"
    assert processes() == []


BUSY = """
import os, sys, threading
sys.path.insert(0, {tests!r})
os.sched_setaffinity(0, {{{core}}})
from solving_test import colouring
r = colouring(edges=600).solve(time={time}, seeds=8)
print(r.seeds, r.ended_by)
"""


def test_every_seed_runs_on_a_busy_core():
    """Two loads beside it on its one core: a limit of CPU time would never be
    reached, and the first seeds would take all of the clock."""
    core = min(os.sched_getaffinity(0))
    loads = [subprocess.Popen(["taskset", "-c", str(core), sys.executable, "-c", "while True: 0"])
             for _ in range(2)]
    try:
        began = time.monotonic()
        script = BUSY.format(tests=os.path.dirname(os.path.abspath(__file__)), core=core, time=6)
        done = subprocess.run([sys.executable, "-W", "error", "-c", script], capture_output=True,
                              text=True, check=False)
        assert done.stdout == "[1, 2, 3, 4, 5, 6, 7, 8] \n", done
        assert time.monotonic() - began < 25
    finally:
        for load in loads:
            load.kill()
            load.wait()


def test_seeds_that_never_start():
    with pytest.warns(SolverWarning, match="seeds never started: the time was over") as caught:
        r = colouring(edges=600).solve(time=0.1, seeds=200, jobs=1)
    count = int(str(caught[0].message).split()[0])
    assert r.seeds == list(range(1, 201 - count)) and 0 < count < 200
    assert caught[0].filename == __file__


def test_no_process_is_left():
    m = colouring()

    def fail(_):
        raise ZeroDivisionError

    with pytest.raises(ZeroDivisionError):
        m.solve(time=20, seeds=4, jobs=4, on_improve=fail)
    assert processes() == []
    results = {}
    threads = [threading.Thread(target=lambda s=s: results.setdefault(
        s, m.solve(time=10, seeds=[s], options=["-iteration", "2000"]))) for s in (1, 2, 3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    alone = m.solve(time=10, seeds=[2], options=["-iteration", "2000"])
    assert results[2].values() == alone.values()
    assert processes() == []


def test_partial_start():
    """What is not named is drawn by the seed, and what is named is kept."""
    m = Model()
    x = [m.variable(i, range(5)) for i in range(400)]
    given = {x[7]: 3, 8: 4}
    arguments = {"time": 20, "start": given, "options": ["-iteration", "0"]}
    results = {}
    for seed in (1, 2, 2):
        values = m.solve(seeds=[seed], **arguments).values()
        assert (values[7], values[8]) == (3, 4)
        assert results.setdefault(seed, values) == values
        counts = collections.Counter(values.values())
        assert min(counts[v] for v in range(5)) > 40, counts
    assert results[1] != results[2]


def test_signals(tmp_path):
    """At random moments; signal_trials.py makes more of them."""
    trials = Trials(tmp_path, seed=5)
    for _ in range(SIGNALS):
        trials.trial()


def test_a_handler_of_the_caller_stays():
    """It gets each signal, and the searches go on."""
    got = []
    numbers = signal.SIGTERM, signal.SIGHUP, signal.SIGINT
    usual = [signal.signal(number, lambda n, _: got.append(n)) for number in numbers]
    try:
        r = colouring(edges=600).solve(
            time=20, seeds=3, options=["-iteration", "500"],
            on_improve=lambda _: os.kill(os.getpid(), numbers[len(got) % 3]))
    finally:
        for number, handler in zip(numbers, usual):
            signal.signal(number, handler)
    assert len(got) >= 3 and set(got) == set(numbers)
    assert (r.ended_by, r.seeds) == ("", [1, 2, 3])
    assert signal.getsignal(signal.SIGTERM) == signal.SIG_DFL


def test_the_end_of_the_parent_ends_the_children_in_other_threads(tmp_path):
    script = ("import threading\nfrom solving_test import colouring\n"
              "t = threading.Thread(target=lambda: colouring(edges=600).solve(time=60, "
              "on_improve=lambda _: print('better', flush=True)))\nt.start()")
    trials = Trials(tmp_path, seed=1)
    trials.environment["PYTHONPATH"] += ":" + os.path.dirname(os.path.abspath(__file__))
    for number in signal.SIGTERM, signal.SIGKILL:
        child = trials.start(script)
        assert child.stdout.readline() == "better\n"
        assert len(trials.processes()) > 1
        child.send_signal(number)
        child.communicate(timeout=30)
        assert child.returncode == -number
        end = time.monotonic() + 5
        while trials.processes() and time.monotonic() < end:
            time.sleep(0.01)
        assert not trials.processes()


def test_infeasible():
    m = Model()
    x = [m.variable(("Zoë", i), "ab") for i in range(3)]
    m.add(total(v == "a" for v in x) >= 2, name="genug für Zoë")
    m.add(total(v == "b" for v in x) >= 2, name=("other", 1))
    r = m.solve(time=5, seeds=3, options=["-iteration", "100"])
    assert (r.feasible, r.hard) == (False, 1)
    assert sum(count for _, count in r.failing) == 3
    assert set(name for name, _ in r.failing) <= {"genug für Zoë", ("other", 1)}
    assert "no search has satisfied all hard constraints" in repr(r)
    (broken,) = r.violated
    assert (broken.violation, broken.weight, broken.cost) == (1, None, 0)
    assert broken.explanation.startswith("1, at least 2 wanted: Zoë ")


def test_polish():
    m, news = colouring(edges=900), []
    for target, most in ((None, 1000), (250, 250)):
        r = m.solve(time=3, seeds=2, jobs=2, polish=0.5, target=target, on_improve=news.append)
        assert m.check(r) == [] and r.seeds == [1, 2]
        assert [p.soft for p in news] == sorted({p.soft for p in news}, reverse=True)
        assert r.soft == news[-1].soft <= most
        assert r.ended_by == ("target" if target else "")
        news.clear()
    first = m.solve(time=9, seeds=1, options=["-iteration", "10"])
    begin = time.monotonic()
    better = first.polish(time=2, on_improve=news.append)
    assert 1 < time.monotonic() - begin < 20
    assert m.check(better) == [] and better.soft < first.soft and better.model is m
    assert better.soft == news[-1].soft and better.seeds == [1] and better.ended_by == ""
    assert better.log[-1].soft == better.soft and first.run.seed == better.run.seed
    assert not processes()
    for wrong in (-1, 1, "1/1", None, float("nan")):
        with pytest.raises(ModelError, match="polish"):
            m.solve(polish=wrong)
    for wrong in ({"time": 0}, {"jobs": 0}, {"seed": -1}, {"on_improve": 1}):
        with pytest.raises(ModelError):
            first.polish(**wrong)
    for colour in (0, 1):
        m.add(m.variables[0] == colour, weight=10**6)
    with pytest.raises(SolverError, match="the report is wrong"):
        first.polish(time=1)


def test_bound():
    m = Model()
    x, y = m.variable("x", "abc"), m.variable("y", "ab")
    m.add(x == "a", weight=0.5)
    m.add(x != "a", weight=0.25)
    m.add(y == "b", weight=1.25)
    for values, soft, gap in (("ab", 0.25, 0), ("aa", 1.5, 5), ("bb", 0.5, 1)):
        r = m.price(dict(zip("xy", values)))
        assert r.gap is None and r.soft == soft
        b = r.bound(time=20, engine="cbc")
        assert (b.hard, b.soft, b.engine, r.gap) == (0, 0.25, "cbc", gap)
        assert (b.text == "optimal, says cbc") == (gap == 0)
    m.add(x != y)
    m.add(y == "a")
    m.add(y == "b")
    r = m.price({"x": "a", "y": "a"})
    assert r.hard == 2 and r.bound(time=20)[:3] == (1, None, "") and r.gap is None
    for wrong, message in (({"time": 0}, "time"), ({"engine": "gurobi"}, "engine is one of auto")):
        with pytest.raises(ModelError, match=message):
            r.bound(**wrong)


def test_ways_to_look(tmp_path):
    m = Model()
    days = ["Mon", "Tue"]
    x = {(n, d): m.variable((n, d), ["frei", "spät <b>"]) for n in ("Zoë", "Bo") for d in days}
    m.add(x["Zoë", "Mon"] == "spät <b>", weight=0.5, name="Zoës Wunsch")
    m.add(total(x["Zoë", d] == "frei" for d in days) == 2)
    r = m.solve(time=5, seeds=2, options=["-iteration", "50"])
    assert (r.soft, r.violated[0].name, r.violated[0].cost) == (0.5, "Zoës Wunsch", 0.5)
    assert r.grid(["Zoë", "nobody"], days) == [["frei", "frei"], [None, None]]
    r.show(tmp_path / "page.html")
    page = (tmp_path / "page.html").read_text("utf-8")
    for text in ("<tr><th>Zoë Mon</th><td>frei</td></tr>", '"columns":["Mon","Tue"]',
                 r"spät \u003cb>", '"name":"Zoës Wunsch"'):
        assert text in page
    assert "<b>&" not in page and "srcdoc" in r._repr_html_()
    assert r.plot(tmp_path / "p.png").text.startswith("<?xml")
    assert (tmp_path / "p.png").stat().st_size > 1000
    pandas = pytest.importorskip("pandas")
    frame = r.to_frame()
    assert isinstance(frame, pandas.DataFrame)
    assert list(frame.columns) == ["name0", "name1", "value"]
    assert frame.iloc[0].tolist() == ["Zoë", "Mon", "frei"]


def test_runs_of_many(tmp_path):
    m = colouring(edges=900)
    m.write(tmp_path / "m.model")
    many = os.path.join(os.path.dirname(os.environ["WCSP"]), "wcsp-many")
    subprocess.run([many, "m.model", "--seeds", "1-3", "--", "-iteration", "10"], cwd=tmp_path,
                   check=True, capture_output=True)
    r = m.with_runs(tmp_path / "m.model.runs")
    alone = m.solve(time=20, seeds=3, options=["-iteration", "10"])
    assert (r.seeds, r.values()) == ([1, 2, 3], alone.values())
    better = r.polish(time=2)
    assert better.soft < r.soft
    polished = tmp_path / "m.model.runs" / "polished.report"
    polished.write_text(better.run.text)
    best = m.with_runs(tmp_path / "m.model.runs")
    assert (best.values(), best.soft) == (better.values(), better.soft)
    for wrong in (better.run.text.replace(": 1\n", ": 2\n", 1), "no report"):
        polished.write_text(wrong)
        with pytest.warns(SolverWarning, match="polished.report is damaged"):
            assert m.with_runs(tmp_path / "m.model.runs").values() == r.values()
    with pytest.raises(ModelError, match="another model"):
        colouring(seed=2).with_runs(tmp_path / "m.model.runs")
    with pytest.raises(SolverError, match="not a folder of runs"):
        m.with_runs(tmp_path)


def test_errors(monkeypatch, tmp_path):
    m = colouring()
    for options, message in (
            ({"seeds": 0}, "at least one seed"), ({"seeds": [1, 1]}, "seed 1 is given twice"),
            ({"seeds": 1.5}, "a number of seeds"), ({"seeds": 10**9}, "up to 100000"),
            ({"seeds": [-1]}, "from 0 to 2147483647, not -1"), ({"seeds": ["a"]}, "not 'a'"),
            ({"time": 0}, "time is a number above 0"), ({"time": math.nan}, "above 0, not nan"),
            ({"time": math.inf}, "above 0, not inf"), ({"jobs": 0}, "jobs is"),
            ({"jobs": 1.5}, "jobs is"), ({"target": math.nan}, "target nan is not a number"),
            ({"target": 2**31}, "exceeds 2147483647"), ({"on_improve": 3}, "not a function: 3"),
            ({"options": "-noadjust"}, "a list of words"),
            ({"options": ["-seed", "3"]}, "-seed is set by seeds="),
            ({"start": {("Knoten", 0): 9}}, r"has no value 9; it has 0, 1, 2, 3"),
            ({"start": {"x": 1}}, "start: the model has no variable 'x'")):
        with pytest.raises(ModelError, match=message):
            m.solve(**options)
    with pytest.raises(ModelError, match="no variable"):
        Model().solve()
    with pytest.raises(SolverError, match="does not take the options and prints its usage"):
        m.solve(time=5, seeds=1, options=["-nonsense"])
    with pytest.raises(ProgramMissing, match="is not a program"):
        m.solve(wcsp=tmp_path / "none")

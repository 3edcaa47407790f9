"""Plans that meet the next day: what is kept and changed, what else there is, what is
saved and read, and what a model makes of names that are gone."""

import copy
import datetime
import enum
import itertools
import random
import sys
import types
import warnings
from fractions import Fraction

import pytest

import wcsp
from wcsp import Model, ModelError, ModelWarning, Penalty, SolverError, all_different, total
from wcsp.evaluation import stored, violation

QUICK = {"time": 20, "seeds": 1, "options": ["-iteration", "500"]}
DAYS = ["Mon", "Tue", "Wed"]


class Shift(enum.Enum):
    OFF = 0
    EARLY = 6
    LATE = 14


def week(shifts=("off", "early", "late"), staff=("Zoë", "Bo")):
    m = Model()
    x = {(n, d): m.variable((n, d), shifts) for n in staff for d in DAYS}
    for d in DAYS:
        m.add(total(x[n, d] == shifts[1] for n in staff) >= 1, name=("early", d))
    for n in staff:
        m.add(total(x[n, d] != shifts[0] for d in DAYS) <= 2, weight=0.5, name=("works", n))
    return m, x


def random_model(rng):
    m = Model()
    x = [m.variable(i, rng.sample("abcd", rng.randint(1, 4))) for i in range(4)]
    for c in range(4):
        some = [v == rng.choice(list(v.values)) for v in rng.sample(x, 2)]
        m.add(total(some) <= rng.randint(0, 1), rng.choice([None, 1, 2]), ("rule", c))
    if rng.random() < 0.5:
        m.add(all_different(x[:2]), weight=1, name="apart")
    return m, x


def assignments(m):
    names = [x.name for x in m.variables]
    return [dict(zip(names, values))
            for values in itertools.product(*(x.values for x in m.variables))]


def penalty(m, a):
    """The penalty of an assignment by the stored constraints."""
    on = {x.first + x.places[a[x.name]] for x in m.variables}
    hard, soft = 0, Fraction(0)
    for c, weight in enumerate(m.weights):
        by = violation(m, stored(m, c), on)
        if weight is None:
            hard += by
        else:
            soft += weight * by
    return hard, soft


@pytest.mark.filterwarnings("ignore::wcsp.ModelWarning")
def test_as_few_changes_as_possible_by_brute_force():
    """The search finds the least sum of penalty and changes over all assignments, and
    the least penalty within a limit of changes."""
    tried = 0
    for seed in range(12):
        rng = random.Random(seed)
        try:
            m, x = random_model(rng)
        except ModelError:  # never to be met
            continue
        tried += 1
        every = assignments(m)
        old, weight, some = rng.choice(every), rng.choice([1, 2, Fraction(1, 2)]), [0, 1, 3]
        kept = m.copy()
        kept.keep(old, weight, only=lambda name: name in some)
        r = kept.solve(**QUICK)

        def with_changes(a):
            hard, soft = penalty(m, a)
            return hard, soft + weight * sum(a[i] != old[i] for i in some)
        assert r.penalty == min(map(with_changes, every)) == with_changes(r.values()), seed
        changes = r.changes(old, only=lambda name: name in some)
        assert r.groups().get("keep", Penalty(0, 0)).soft == weight * len(changes)
        limited = m.copy()
        limited.add(limited.changed(old) <= 1)
        found = limited.solve(**QUICK)
        best = min(penalty(m, a) for a in every if sum(a[i] != old[i] for i in range(4)) <= 1)
        assert m.price(found).penalty == best and len(found.changes(old)) <= 1, seed
    assert tried > 5


@pytest.mark.filterwarnings("ignore::wcsp.ModelWarning")
def test_alternatives_have_the_prices_of_their_plans():
    for seed in range(10):
        rng = random.Random(seed)
        try:
            m, x = random_model(rng)
        except ModelError:
            continue
        r = m.price(rng.choice(assignments(m)))
        of = rng.sample(x, 2)
        found = r.alternatives(of)
        assert [(a.name, a.value) for a in sorted(found, key=str)] == sorted(
            ((v.name, w) for v in of for w in v.values if w != r[v]), key=str)
        assert [(a.hard, a.soft) for a in found] == sorted((a.hard, a.soft) for a in found)
        for a in found:
            priced = m.price({**r.values(), a.name: a.value})
            assert (priced.hard, priced.soft) == (a.hard, a.soft), seed
            before = {v.name: v.violation for v in r.violated}
            assert set(a.breaks) == {v.name for v in priced.violated
                                     if v.violation > before.get(v.name, 0)}, seed


def test_what_if_leaves_the_model_alone():
    m, x = week()
    text = m.text()
    ill = m.copy()
    ill.forbid(x["Zoë", "Tue"], ["early", "late"])
    ill.forbid(("Bo", "Mon"), "late")
    ill.fix(x["Bo", "Wed"], "late")
    assert ill.text().splitlines()[-3:] == [
        "forbid_Zoe_Tue: weight = inf type = linear 1(Zoe_Tue,early) 1(Zoe_Tue,late) <= 0",
        "forbid_Bo_Mon: weight = inf type = linear 1(Bo_Mon,late) <= 0",
        "fix_Bo_Wed: weight = inf type = linear 1(Bo_Wed,late) = 1"]
    assert m.text() == text and ill.without("fix").without(("forbid", ("Zoë", "Tue"))).without(
        ("forbid", ("Bo", "Mon"))).text() == text
    for wrong, message in ((lambda: m.fix(x["Bo", "Mon"], "ill"), "has no value 'ill'"),
                           (lambda: m.fix("Bo", "off"), "fix: the model has no variable 'Bo'"),
                           (lambda: m.forbid(("Bo", "Mon"), ["off", "ill"]), "no value 'ill'"),
                           (lambda: m.forbid(x["Bo", "Mon"], ["off", "early", "late"]),
                            "can never hold"),
                           (lambda: m.without("works "), "no constraint has the name"),
                           (lambda: m.keep({"Bo": "off"}), "keep: the model has no variable"),
                           (lambda: m.keep(3), "a result, a mapping or the path"),
                           (lambda: m.price({("Bo", "Mon"): "off"}), "no value for 5 of 6")):
        with pytest.raises(ModelError, match=message):
            wrong()
    assert m.text() == text


def test_copies_take_the_variables_of_the_original():
    m, x = week()
    twin = m.copy().copy()
    new = twin.variable("new", ["off", "on"])
    rule = (x["Bo", "Mon"] == "off") + (new == "on") * (x["Zoë", "Mon"] == "late")
    twin.add(rule <= 1, name="mixed")
    twin.add((new == "on") * (x["Bo", "Tue"] == "off") + (x["Bo", "Mon"] == "late") <= 1)
    twin.add(all_different([x["Bo", "Mon"], x["Bo", "Tue"]]), weight=1)
    twin.minimize(total(x[n, "Tue"] == "late" for n in ("Zoë", "Bo")))
    assert ("mixed: weight = inf type = quadratic 1(new,on)(Zoe_Mon,late) 1(Bo_Mon,off)(Bo_Mon,off)"
            " <= 1") in twin.text()
    with pytest.raises(ModelError, match="'cost' is a part of the objective"):
        twin.without("cost")
    with pytest.raises(ModelError, match="another model|two different models"):
        m.add((new == "on") + (x["Bo", "Mon"] == "off") <= 1)
    with pytest.raises(ModelError, match="another model"):
        copy.copy(m).add(x["Bo", "Mon"] == "off")
    later = m.variable("later", "ab")
    with pytest.raises(ModelError, match="has no variable 'later'"):
        twin.add((later == "a") + (x["Bo", "Mon"] == "off") <= 1)
    # What is dropped is dropped everywhere.
    short = twin.without(("works", "Zoë"))
    assert short.text() == "".join(
        line for line in twin.text().splitlines(True) if not line.startswith("works_Zoe"))
    r = short.solve(**QUICK)
    assert short.check(r) == [] and all(v.explanation for v in r.violated)


def test_results_live_on(tmp_path):
    m, x = week((Shift.OFF, Shift.EARLY, Shift.LATE), ("Zoë", datetime.date(2026, 3, 1)))
    odd = m.variable((1, None, 2.5), [True, ("a", 1), "x"])
    m.add(odd == "x", weight=0.25, name=("wish", 1))
    m.minimize(odd == "x")
    r = m.price({**{v: Shift.LATE for v in x.values()}, odd: ("a", 1)})
    r.save(tmp_path / "r.json")
    saved = wcsp.load(tmp_path / "r.json")
    assert (saved.hard, saved.soft, saved.objective, saved.feasible, saved.seeds) == (
        r.hard, r.soft, r.objective, False, [0])
    assert saved.violated == r.violated and saved.groups() == r.groups()
    assert saved[1, None, 2.5] == saved[odd] == ("a", 1) and len(saved.values()) == 7
    assert str(saved["Zoë", "Mon"]) == "Shift.LATE"
    (tmp_path / "start").write_text(r.start())
    (tmp_path / "report").write_text("log\n" + r.run.text)
    (tmp_path / "loose").write_text("# a note: none\n" + " ".join(r.start().split()[2:]))
    for source in (saved, str(tmp_path / "r.json"), tmp_path / "start", tmp_path / "report",
                   tmp_path / "loose", r, r.values(), r.start(), r.run.text):
        assert m.price(source).values() == r.values()
        assert m.check(source if source is r else m.price(source)) == []
        assert r.changes(source) == []
    assert m.solve(time=10, seeds=1, start=tmp_path / "r.json",
                   options=["-iteration", "0"]).values() == r.values()
    assert m.check(saved).penalty == r.penalty
    for text in ("", "{}", '{"wcsp result": 1}', "[" * 10**5, '{"wcsp result": 2}',
                 '{"wcsp result": 1, "values": [[{}, 1]]}', "\xff"):
        (tmp_path / "bad.json").write_text(text)
        with pytest.raises(SolverError, match="bad.json' (is not a saved|was saved by another)"):
            wcsp.load(tmp_path / "bad.json")
        with pytest.raises((ModelError, SolverError), match="bad.json"):
            m.keep(tmp_path / "bad.json")
    with pytest.raises(FileNotFoundError):
        wcsp.load(tmp_path / "none.json")
    twins = Model()
    for name in (types.SimpleNamespace, type("SimpleNamespace", (), {"__str__": lambda _: "s"})):
        twins.variable(name() if name is not types.SimpleNamespace else "s", "ab")
    values = [type("Odd", (), {"__str__": lambda _: "same"})() for _ in range(2)]
    for v in values:
        twins.variable(v, "ab")
    with pytest.raises(ModelError, match="cannot tell the names"):
        twins.price({x: "a" for x in twins.variables}).save(tmp_path / "twins.json")


def test_what_is_gone_is_left_out_with_one_warning(tmp_path):
    old, _ = week(("off", "early", "late"), ("Zoë", "Bo", "Carla"))
    r = old.price({x: "late" if x.name[0] == "Bo" else "early" for x in old.variables})
    r.save(tmp_path / "r.json")
    (tmp_path / "report").write_text(r.run.text)
    m, x = week(("off", "early", "night"))
    for source in (r, wcsp.load(tmp_path / "r.json"), tmp_path / "report"):
        model = m.copy()
        with pytest.warns(ModelWarning, match="keep: the model does not have 6 of 9 values"
                          ) as caught:
            model.keep(source, 3)
        assert len(caught) == 1 and caught[0].filename == __file__
        assert model.names[-3:] == [("keep", ("Zoë", d)) for d in DAYS]
        r2 = model.price({v: "off" for v in x.values()})
        assert r2.groups()["keep"] == Penalty(0, 9)
        assert [v.explanation for v in r2.violated if v.name[0] == "keep"][0] == (
            "was early: Zoë Mon = off")
        with warnings.catch_warnings():
            warnings.simplefilter("error")  # all that differs, also from a value that is gone
            assert len(r2.changes(source)) == 6


def test_a_plan_from_a_spreadsheet(tmp_path, monkeypatch):
    days = [datetime.date(2026, 3, d) for d in (2, 3)]
    m = Model()
    x = {(n, d): m.variable((n, d), ["off", "spät", 7]) for n in ("Zoë", "Bo") for d in days}
    r = m.price({x["Zoë", days[0]]: "spät", x["Zoë", days[1]]: 7, x["Bo", days[0]]: "off",
                 x["Bo", days[1]]: "off"})
    path = tmp_path / "plan.csv"
    r.to_csv(path, ["Zoë", "Bo", "nobody"], days)
    assert path.read_text("utf-8") == (
        ",2026-03-02,2026-03-03\nZoë,spät,7\nBo,off,off\nnobody,,\n")
    assert m.read_plan(path, ["Zoë", "Bo"], days).values() == r.values()
    # As a spreadsheet saves it, edited.
    path.write_text("\ufeff;02.03.2026;03.03.2026\r\n;;\r\nBo;spät;\r\nZoë;;off \r\n", "utf-8")
    plan = m.read_plan(str(path), ["Zoë", "Bo"], days)
    assert plan.values() == {("Bo", days[0]): "spät", ("Zoë", days[1]): "off"}
    assert [(c.name, c.old, c.new) for c in r.changes(plan)] == [
        (("Zoë", days[1]), "off", 7), (("Bo", days[0]), "spät", "off")]
    path.write_text("x,2026-03-02,Sum\nZoë,ill,3\nBo,7,1\n")
    with pytest.warns(ModelWarning, match="3 of 4 values, .*: Zoë 2026-03-02 = ill, Zoë Sum = 3"):
        assert m.read_plan(path, ["Zoë", "Bo"], days).values() == {("Bo", days[0]): 7}
    for content in (b"", b",2026-03-02\nZo\xeb,7\n"):
        path.write_bytes(content)
        with pytest.raises(ModelError, match="plan.csv"):
            m.read_plan(path, ["Zoë", "Bo"], days)
    book = types.SimpleNamespace(close=lambda: None, active=types.SimpleNamespace(
        iter_rows=lambda values_only: iter([
            (None, datetime.datetime(2026, 3, 2), None), ("Zoë", 7.0, None), (None,) * 3])))
    monkeypatch.setitem(sys.modules, "openpyxl", types.SimpleNamespace(
        load_workbook=lambda path, read_only, data_only: book))
    assert m.read_plan("plan.xlsx", ["Zoë"], days).values() == {("Zoë", days[0]): 7}
    monkeypatch.setitem(sys.modules, "openpyxl", None)
    with pytest.raises(ModelError, match="openpyxl is needed"):
        m.read_plan("plan.xlsx", ["Zoë"], days)


def test_the_names_file_is_that_of_the_tools(tmp_path):
    m, x = week()
    m.write(tmp_path / "m.model")
    r = m.price({v: "late" for v in x.values()})
    (tmp_path / "r").write_text(r.run.text)
    check = wcsp.programs.find_program("wcsp-check")
    out = wcsp.programs.run([check, "--names", "m.model.names", "m.model", "r"], tmp_path).decode()
    assert "1 (Bo Mon, late)\n" in out
    assert "sum 3 is above 2" in out  # not -0 and -1
    assert "<title>my plan</title>" in r.show(tmp_path / "my plan.html").text
    m.comment = "\n Ward 3\nby hand"
    assert "<title>Ward 3</title>" in r.show().text


def test_conflicts_are_in_the_users_names():
    m, x = week()
    m.add(total(v == "early" for v in x.values()) <= 2, name="zu wenige für früh")
    r = m.solve(time=20, seeds=2, options=["-iteration", "200"])
    assert not r.feasible and "zu wenige für früh" in r.conflict()
    assert r.conflict().endswith("but does not prove one")

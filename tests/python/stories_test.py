"""The examples in examples/python, each with a change of plan in a few lines."""

import inspect
import itertools
import pathlib
import subprocess
import sys

import pytest

from wcsp.evaluation import stored, violation
from wcsp.helpers import filled

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"
sys.path.insert(0, str(FOLDER))
exams, projects, ward = (__import__(name) for name in ("exams", "projects", "ward"))


def breaks_nothing(m, values):
    places = filled(m, {m[name].number: m[name].places[v] for name, v in values.items()})
    on = {x.first + places[x.number] for x in m.variables}
    return not any(weight is None and violation(m, stored(m, c), on)
                   for c, weight in enumerate(m.weights))


def least_changes(m, old, forced):
    """The least number of changes beside the forced ones that breaks no hard rule."""
    base = {**old.values(), **forced}
    free = [x for name in base if len((x := m[name]).values) > 1 and name not in forced]
    for number in range(len(free)):
        for some in itertools.combinations(free, number):
            for values in itertools.product(*(
                    [v for v in x.values if v != base[x.name]] for x in some)):
                if breaks_nothing(m, base | {x.name: v for x, v in zip(some, values)}):
                    return number
    raise AssertionError("every plan breaks a hard rule")


def ward_story():
    staff = [{"name": n, "shifts": s, "nights": 1, "wish_off": "Tue"}
             for n, s in (("A", 1), ("B", 1), ("C", 0), ("D", 1))]
    m, x = ward.plan(staff, ["Mon", "Tue"], {"early": 1, "late": 1})
    old = m.price(dict(zip(x, ["early", "early", "late", "late", "off", "off", "off", "off"])))
    new = ward.ill(m, x, old, "A", ["Tue"], time=2)
    forced = {("A", "Tue"): "off"}
    changed = [c for c in new.changes(old) if c.name not in forced]
    return new, len(changed), least_changes(m, old, forced)


def exams_story():
    m, slot, room = exams.plan({"a": 10, "b": 10, "c": 30}, {"big": 40, "small": 20, "new": 30},
                               [1, 2], [("a", "b"), ("b", "c")])
    old = m.price({slot["a"]: 1, slot["b"]: 2, slot["c"]: 1, room["a"]: "small",
                   room["b"]: "small", room["c"]: "big"})
    new = exams.closed(m, room, old, "small", time=2)
    today = m.copy()
    for e, x in room.items():
        if "small" in x.values:
            today.forbid(x, "small")
    return new, len(new.changes(old)), least_changes(today, old, {})


def projects_story():
    m, x = projects.plan({"p": 2, "q": 1, "r": 1}, {s: ["p", "q"] for s in "ABC"})
    old = m.price({"A": "p", "B": "p", "C": "q"})
    new = projects.cancelled(m, x, old, "q", time=2)
    today = m.copy()
    for v in x.values():
        today.forbid(v, "q")
    return new, len(new.changes(old)), least_changes(today, old, {})


@pytest.mark.parametrize("story, change", [
    (ward_story, ward.ill), (exams_story, exams.closed), (projects_story, projects.cancelled)])
def test_no_more_changes_than_needed(story, change):
    new, changed, least = story()
    assert new.hard == 0 and changed == least > 0
    body = inspect.getsource(change).split('"""\n', 1)[1]
    assert len(body.splitlines()) <= 6


@pytest.mark.parametrize("module", [ward, exams, projects])
def test_the_examples_run(module):
    path = pathlib.Path(module.__file__)
    text = path.read_text("utf-8").replace("time=10", "time=3").replace("time=5", "time=2")
    done = subprocess.run([sys.executable, "-"], input=text, capture_output=True, text=True,
                          check=True)
    lines = done.stdout.splitlines()
    assert done.stderr == "" and lines[0] in ("hard 0 soft 0", "cost 2") and len(lines) > 1

"""Several plans that differ, and the line of progress."""

import io
import itertools
import os
import pty
import re
import signal
import subprocess
import sys
import threading
import time
import types

import pytest

from solving_test import colouring
from wcsp import Model, ModelError, SolverWarning, total

SHORT = {"time": 6, "seeds": 3, "options": ["-iteration", "300"]}


def differing(one, other, names):
    return sum(one[name] != other[name] for name in names)


def letters(n=4, values="abc"):
    m = Model()
    x = [m.variable(i, values) for i in range(n)]
    m.add(total(v == "a" for v in x) >= 1, name="some a")
    m.add(total(v == "b" for v in x) <= 1, weight=2, name="few b")
    m.add(x[0] == "b", weight=1, name="wish")
    return m, x


def test_plans_are_results_of_the_model_and_apart():
    m, x = letters()
    text = m.text()
    some = [0, 1, 2]
    r = m.solve(plans=4, apart=2, only=lambda name: name in some, **SHORT)
    assert len(r.plans) == 4 and r.plans[0] is r and m.text() == text
    for one, other in itertools.combinations(r.plans, 2):
        assert differing(one, other, some) >= 2
    for plan in r.plans:
        assert plan.model is m and plan.feasible and m.check(plan) == []
        assert list(plan.values()) == [0, 1, 2, 3]
        assert m.price(plan).penalty == plan.penalty
    assert [p.penalty for p in r.plans][0] == min(p.penalty for p in r.plans)


def test_the_first_reports_that_differ_are_the_plans():
    m = colouring(edges=300)
    r = m.solve(time=10, seeds=4, plans=2, apart=5, options=["-iteration", "200"])
    ranked = sorted((m.price(run.report and {
        m.variables[v].name: int(run.report.assignment[word])
        for v, word in enumerate(m.words.variables)}).penalty, run.seed, run) for run in r.runs)
    assert r.plans[0].run.report == ranked[0][2].report
    assert r.plans[1].run.report.assignment == ranked[1][2].report.assignment


def test_too_few_plans_are_a_warning():
    m, x = letters(2, "ab")
    with pytest.warns(SolverWarning, match="2 of 9 plans found that differ in 2 variables"):
        r = m.solve(plans=9, apart=2, **SHORT)
    assert len(r.plans) == 2
    with pytest.warns(SolverWarning, match="1 of 2 plans"):
        assert len(m.solve(plans=2, apart=3, **SHORT).plans) == 1
    assert m.solve(**SHORT).plans[0].plans[0].feasible
    for wrong in ({"plans": 0}, {"plans": 1.5}, {"apart": 0, "plans": 2}):
        with pytest.raises(ModelError, match="is an integer above 0"):
            m.solve(**wrong)


def test_a_signal_leaves_the_plans_that_were_found():
    """Only the first search reaches its target; the second runs until the signal."""
    m = Model()
    x = [m.variable(i, range(5)) for i in range(60)]
    for v in x:
        m.add(v == 3, weight=1)
    begin = time.monotonic()
    timer = threading.Timer(4, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    r = m.solve(time=60, seeds=1, plans=3, apart=2, target=0)
    assert r.ended_by == "SIGINT" and 3 < time.monotonic() - begin < 30
    assert [plan.soft for plan in r.plans] == [0, 2] and r.plans[0] is r
    assert differing(*r.plans, range(60)) == 2


PROGRAM = """
import sys
from solving_test import colouring
r = colouring(edges=600).solve(time=float(sys.argv[1]), seeds=2,
                                jobs=2, progress="off" not in sys.argv)
print(r.hard)
"""
HERE = {"cwd": os.path.dirname(__file__), "env": os.environ | {
    "PYTHONPATH": os.pathsep.join([os.environ["PYTHONPATH"], os.path.dirname(__file__)])}}


def on_terminal(*arguments):
    """What the program writes to a terminal as its standard error."""
    ours, theirs = pty.openpty()
    with subprocess.Popen([sys.executable, "-c", PROGRAM, *arguments], stdout=subprocess.PIPE,
                          stderr=theirs, **HERE) as child:
        os.close(theirs)
        seen = b""
        try:
            while piece := os.read(ours, 4096):
                seen += piece
        except OSError:  # the other side is closed
            pass
        assert child.stdout.read() == b"0\n"
    os.close(ours)
    return seen.decode()


def test_progress_on_a_terminal_and_nowhere_else():
    seen = on_terminal("2.5")
    lines = [line for line in seen.split("\r") if line.strip("\x1b[K")]
    assert len(lines) >= 2
    assert re.search(r"^\d s, \d running, best 0/\d+ \(hard/soft\), improved \d s ago", lines[-1])
    assert seen.endswith("\r\x1b[K") and "\n" not in seen
    assert on_terminal("1", "off") == ""
    done = subprocess.run([sys.executable, "-c", PROGRAM, "1"], capture_output=True, check=True,
                          **HERE)
    assert done.stderr == b""


def test_progress_in_a_notebook_changes_in_place(monkeypatch):
    shown = []
    handle = types.SimpleNamespace(update=lambda data, raw: shown.append(data["text/plain"]))

    def display(data, raw, display_id):
        shown.append(data["text/plain"])
        return handle
    shell = types.SimpleNamespace(kernel=object())
    monkeypatch.setitem(sys.modules, "IPython", types.SimpleNamespace(get_ipython=lambda: shell))
    monkeypatch.setitem(sys.modules, "IPython.display", types.SimpleNamespace(display=display))
    monkeypatch.setattr(sys, "stderr", io.StringIO())
    m = colouring(edges=500)
    m.solve(time=1.6, seeds=1)
    assert len(shown) >= 2 and all(" running" in text for text in shown)
    assert sys.stderr.getvalue() == ""
    count = len(shown)
    m.solve(time=1, seeds=1, progress=False)
    assert len(shown) == count

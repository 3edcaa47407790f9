#!/usr/bin/env python3
"""Tests wcsp-show: show_test.py PROGRAM CHECKER."""

import json
import os
import re
import subprocess
import sys
import tempfile

PROGRAM, CHECKER = (os.path.abspath(path) for path in sys.argv[1:3])

ROSTER = """variable Ann_w1Mon in {early, late}
variable Ann_w1Tue in {early, late}
variable Bob_w1Mon in {early, late}
variable boss in {yes, no}
night: weight = 3 type = linear 1(Ann_w1Mon,late) 1(Bob_w1Mon,late) >= 1
fair: weight = inf type = linear 2(Ann_w1Tue,early) <= 1
"""
TALKS = "".join(f"variable room{r}[{d}] in {{a, b, c, d, e}}\n" for r in (1, 2, 3)
                for d in (1, 2, 3)) + "c: weight = 1 type = linear 1(room1[1],a) <= 1\n"
REPORT = """[best solution]
Ann_w1Mon: early
Ann_w1Tue: early
Bob_w1Mon: early
boss: yes

penalty: 1/3 (hard/soft)

[Violated constraints]
night: 1
fair: 1
"""


def report_of(values, hard=0, soft=0):
    lines = ["[best solution]", *(f"{x}: {a}" for x, a in values.items()), "",
             f"penalty: {hard}/{soft} (hard/soft)", "", "[Violated constraints]"]
    return "\n".join(lines) + "\n"


def show(model, report, *arguments, program=PROGRAM):
    for name, text in (("m.model", model), ("r.report", report)):
        with open(name, "w", encoding="utf-8") as file:
            file.write(text)
    done = subprocess.run([sys.executable, program, "--check", CHECKER, "m.model", "r.report",
                           *arguments], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def check_grids():
    grid = ",w1Mon,w1Tue\nAnn,early,early\nBob,early,\nvariable,value\nboss,yes\n"
    expect("csv", show(ROSTER, REPORT, "--csv"), (0, grid, ""))
    expect("transposed", show(ROSTER, REPORT, "--csv", "--transpose")[1].split("\n")[:3],
           [",Ann,Bob", "w1Mon,early,early", "w1Tue,early,"])
    expect("long", show(ROSTER, REPORT, "--csv", "--long")[1].split("\n")[:2],
           ["variable,value", "Ann_w1Mon,early"])
    expect("split", show(ROSTER, REPORT, "--csv", "--split", "(.*)_w1(.*)")[1].split("\n")[0],
           ",Mon,Tue")
    found = json.loads(show(ROSTER, REPORT, "--json")[1])
    expect("json", (found["grids"], found["rest"]),
           ([{"rows": ["Ann", "Bob"], "columns": ["w1Mon", "w1Tue"],
              "values": [["early", "early"], ["early", None]]}], {"boss": "yes"}))
    values = {f"room{r}[{d}]": "abcde"[(r + d) % 5] for r in (1, 2, 3) for d in (1, 2, 3)}
    status, page, _ = show(TALKS, report_of(values))
    expect("chosen by value", (status, re.findall(r'id="g0."( hidden)?', page)),
           (0, [" hidden", ""]))


def check_page():
    _, page, _ = show(ROSTER, REPORT)
    rows = re.findall(r'<tr tabindex="0" data-scope="([^"]*)"><td>(\w+)', page)
    expect("scopes, hard first", rows, [("1", "fair"), ("0 2", "night")])
    expect("cells of a scope, in both views",
           sorted(re.findall(r'data-v="([\d ]+)" class="broken"', page)),
           ["0", "0 2", "1", "1", "2"])
    expect("loads nothing", re.findall(r'(?:src|href)=|url\(|@import', page), [])
    expect("what is lacking", "0, at least 1 wanted; counts: nothing" in page, True)
    evil = 'm"><script>alert(1)</script>.model'
    os.makedirs(os.path.dirname(evil), exist_ok=True)
    with open(evil, "w", encoding="utf-8") as file:
        file.write(ROSTER)
    done = subprocess.run([sys.executable, PROGRAM, "--check", CHECKER, evil, "r.report"],
                          capture_output=True, text=True)
    expect("escaped", (done.returncode, done.stdout.count("<script>")), (0, 1))


def check_compare():
    with open("old.report", "w", encoding="utf-8") as file:
        file.write(REPORT.replace("Ann_w1Mon: early", "Ann_w1Mon: late")
                   .replace("1/3", "1/0").replace("night: 1\n", ""))
    _, page, _ = show(ROSTER, REPORT, "--compare", "old.report")
    expect("changes", ("1 of 4 variables have changed; violated anew: night; no longer: none"
                       in page, re.findall(r'data-v="0" class="changed broken"', page)),
           (True, ['data-v="0" class="changed broken"']))


def check_failures():
    wrong = REPORT.replace("1/3", "1/2")
    status, page, message = show(ROSTER, wrong)
    expect("wrong report", (status, page, "--wrong shows it" in message), (1, "", True))
    status, page, _ = show(ROSTER, wrong, "--wrong")
    expect("shown", (status, page.count('<p class="wrong">')), (0, 1))
    for arguments, part in [(["--split", "("], "--split: "),
                            (["--split", "a(b)"], "--split needs two groups"),
                            (["--long"], "--long needs --csv"),
                            (["-o", "none/page"], "wcsp-show: none/page: "),
                            (["--check", "none"], "which is not found: none")]:
        status, page, message = show(ROSTER, REPORT, *arguments)
        expect(arguments, (status, page, part in message), (2, "", True))
    expect("no report", show(ROSTER, "nothing")[0], 2)
    expect("no model", show("variable", REPORT)[0], 2)
    with open("/dev/full", "w", encoding="utf-8") as full:
        done = subprocess.run([sys.executable, PROGRAM, "--check", CHECKER, "m.model",
                               "r.report"], stdout=full, stderr=subprocess.PIPE)
    expect("full device", done.returncode, 2)


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    check_grids()
    check_page()
    check_compare()
    check_failures()

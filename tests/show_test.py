#!/usr/bin/env python3
"""Tests wcsp-show: show_test.py PROGRAM CHECKER."""

import html
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
# Names, and the rows and columns of their grid.
NAMES = [
    ("A1 A2 B1 B2", ["A", "B"], ["1", "2"]),
    ("r1c1 r1c2 r2c1 r2c2", ["r1", "r2"], ["c1", "c2"]),
    ("x_a_1 x_a_2 x_b_1 x_b_2", ["x_a", "x_b"], ["1", "2"]),
    ("A_1 B_0 B_1", ["A", "B"], ["0", "1"]),
    ("A_2 A_3 B_1 B_2", ["A", "B"], ["1", "2", "3"]),
    ("A_1 B_2 C_3 D_4", None, None),
    ("A_1 A_2 A_3", None, None),
    ("Ann Bob Cy", None, None),
]
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
    done = subprocess.run([program, "--check", CHECKER, "m.model", "r.report",
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
    names = {"variables": {f"Ann_w1{d}": [["=1+1", d], 0] for d in ("Mon", "Tue")}
             | {"Bob_w1Mon": [["-Bob", "Mon"], 0], "boss": ["@boss", 1]},
             "domains": [["+early", "late"], ["a=b", "no"]], "constraints": {}}
    with open("names", "w", encoding="utf-8") as file:
        json.dump(names, file)
    expect("as it is", show(ROSTER, REPORT, "--csv", "--names", "names")[1],
           ",Mon,Tue\n=1+1,+early,+early\n-Bob,+early,\nvariable,value\n@boss,a=b\n")
    expect("safe", show(ROSTER, REPORT, "--csv", "--names", "names", "--safe")[1],
           ",Mon,Tue\n'=1+1,'+early,'+early\n'-Bob,'+early,\nvariable,value\n'@boss,a=b\n")
    os.rename("names", "m.model.names")
    expect("beside the model", show(ROSTER, REPORT, "--csv")[1].split("\n")[1], "=1+1,+early,+early")
    expect("of another model", show(
        "variable z in {a, b}\nc: weight = 1 type = linear 1(z,b) <= 1\n", report_of({"z": "a"}))[::2],
           (2, "wcsp-show: m.model.names: the names are of another model\n"))
    os.remove("m.model.names")
    expect("by value", show(ROSTER, REPORT, "--csv", "--by-value")[1],
           ",w1Mon,w1Tue\nearly,Ann; Bob,Ann\nvalue,variables\nyes,boss\nno,\n")
    expect("limits", show(ROSTER, REPORT, "--csv", "--rows", "Bob,Ann", "--columns", "w1Mon")[1]
           .split("\n")[:3], [",w1Mon", "Bob,early", "Ann,early"])
    expect("split", show(ROSTER, REPORT, "--csv", "--split", "(.*)_w1(.*)")[1].split("\n")[0],
           ",Mon,Tue")
    output = json.loads(show(ROSTER, REPORT, "--json")[1])
    expect("json", (output["grids"], output["rest"]),
           ([{"rows": ["Ann", "Bob"], "columns": ["w1Mon", "w1Tue"],
              "values": [["early", "early"], ["early", None]]}], {"boss": "yes"}))
    values = {f"room{r}[{d}]": "abcde"[(r + d) % 5] for r in (1, 2, 3) for d in (1, 2, 3)}
    grids = json.loads(show(TALKS, report_of(values), "--json")[1])["grids"]
    expect("a grid in brackets", grids[0]["columns"], ["[1]", "[2]", "[3]"])
    for names, rows, columns in NAMES:
        model = "".join(f"variable {x} in {{a, b}}\n" for x in names.split())
        model += f"c: weight = 1 type = linear 1({names.split()[0]},b) <= 1\n"
        report = report_of({x: "a" for x in names.split()})
        grids = json.loads(show(model, report, "--json")[1])["grids"]
        expect(names, [(g["rows"], g["columns"]) for g in grids], [(rows, columns)] if rows else [])


def check_page():
    """What the page holds before its script runs."""
    hostile = "</title><!--<script></noscript>"
    with open("names", "w", encoding="utf-8") as file:
        json.dump({"variables": {x: [x, 0] for x in re.findall(r"variable (\S+)", ROSTER)},
                   "domains": [["early", hostile]], "constraints": {"night": hostile}}, file)
    report = REPORT.replace("boss: yes", "boss: no")
    _, page, _ = show(ROSTER, report, "--names", "names", "--title", hostile)
    expect("escaped", [page.count(tag) for tag in ("<script", "</noscript", "</title", "<!--")],
           [2, 1, 1, 0])
    expect("loads nothing", re.findall(r'(?:src|href)=|url\(|@import', page), [])
    rows = re.findall("<tr><th>(.*?)</th><td>(.*?)</td></tr>", page.split("<noscript>")[1])
    expect("without script", [(x, html.unescape(a)) for x, a in rows],
           [*((x, "early") for x in ("Ann_w1Mon", "Ann_w1Tue", "Bob_w1Mon")), ("boss", hostile)])


def check_compare():
    with open("old.report", "w", encoding="utf-8") as file:
        file.write(REPORT.replace("Ann_w1Mon: early", "Ann_w1Mon: late")
                   .replace("1/3", "1/0").replace("night: 1\n", ""))
    output = json.loads(show(ROSTER, REPORT, "--compare", "old.report", "--json")[1])
    expect("changes", (output["changes"]["changed"], output["changes"]["violated anew"]),
           ([["Ann_w1Mon", "late", "early"]], ["night"]))
    for text in ("", REPORT[:40], REPORT.replace("1/3", "1"), REPORT.replace("fair: 1", "fair: x")):
        with open("old.report", "w", encoding="utf-8") as file:
            file.write(text)
        expect(text, show(ROSTER, REPORT, "--compare", "old.report"),
               (2, "", "wcsp-show: --compare: not a report\n"))


def check_failures():
    wrong = REPORT.replace("1/3", "1/2")
    status, page, message = show(ROSTER, wrong)
    expect("wrong report", (status, page, "use --wrong to show it" in message), (1, "", True))
    status, page, _ = show(ROSTER, wrong, "--wrong")
    expect("shown", (status, page.count("<p>The report differs: ")), (0, 1))
    for arguments, part in [(["--split", "("], "wcsp-show: not a regular expression: '('"),
                            (["--split", "a(b)"], "--split needs two groups"),
                            (["--long"], "--long needs --csv"),
                            (["--safe"], "--safe needs --csv"),
                            (["-o", "none/page"], "wcsp-show: none/page: "),
                            (["--check", "none"], "which is not found: none"),
                            (["--rows", "Cy"], "wcsp-show: --rows: there is no 'Cy'"),
                            (["--rows", "Ann", "--transpose"], "--rows: there is no 'Ann'"),
                            (["--names", "m.model"], "wcsp-show: --names: not a file of names"),
                            (["--split", "(q)(r)"], "--split makes no grid"),
                            (["--csv", "--json"], "not allowed with"),
                            (["--compare", "-"], "only REPORT can be")]:
        status, page, message = show(ROSTER, REPORT, *arguments)
        expect(arguments, (status, page, part in message), (2, "", True))
    expect("no report", show(ROSTER, "nothing")[0], 3)
    expect("cut", show(ROSTER, REPORT[:40])[0], 2)
    show(ROSTER, REPORT, "-o", "page")
    expect("written whole", (os.path.getsize("page") > 1000, os.stat("page").st_mode & 0o777,
                             [x for x in os.listdir() if x.startswith(".")]), (True, 0o644, []))
    for_other = REPORT.replace("Bob", "Cy")
    expect("of another model", show(ROSTER, for_other, "-o", "other")[0] in (2, 3), True)
    expect("nothing written", os.path.exists("other"), False)
    expect("no model", show("variable", REPORT)[0], 2)
    with open("/dev/full", "w", encoding="utf-8") as full:
        done = subprocess.run([PROGRAM, "--check", CHECKER, "m.model",
                               "r.report"], stdout=full, stderr=subprocess.PIPE)
    expect("full device", done.returncode, 2)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        check_grids()
        check_page()
        check_compare()
        check_failures()

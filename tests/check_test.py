#!/usr/bin/env python3
"""Tests wcsp-check: a model, a report and options against status and output.

Usage: check_test.py PROGRAM. Every expected number was worked out by hand.
"""

import itertools
import json
import os
import random
import re
import subprocess
import sys
import tempfile
import time

PROGRAM = sys.argv[1]
V = "variable x in {a, b}\nvariable y in {a, b}\n"
LINEAR = V + "s: weight = 2 type = linear 1(x,a) 1(y,b) >= 2\n"
ONE = "  sum 1 is below 2 with\n    1 (x, a)\n  lacks 1 (y, b)\n"
S = "violated: s (line 3, linear, weight 2) by "
START = "start file: sets %d of %d variables, has no penalties to compare\n"
RIGHT = "agrees: the report is correct\n"
EMPTY = "it is empty"
NO_HEADING = "it has no line '[best solution]' or '[incumbent solution]'"
WRONG = "differs: the report is wrong\n"
TAIL = "\npenalty: %s (hard/soft)\n\n[Violated constraints]\n"
REPORT = "\n[best solution]\nx: a\ny: a\n" + TAIL % "0/2" + "s: 1\n"
FAILED = "Memory overflow\n\n[incumbent solution]\n"
BIG = 2**31 - 1
FULL = "%d/%d" % (BIG, BIG)
WARN = "m:%d: warning: "
LINE_9 = "differs: line 9: printed %s, computed 's: 1'\n"
NAMES = ("variable solution] in {0}variable penalty in {0, 7}variable u in {a}\nu: weight = 1 type = alldiff solution] penalty ;\npenalty: weight = inf type = linear 1(penalty,7) 1(penalty,0) = 1\nu: weight = 1 type = linear 1(penalty,0) 1(solution],0) > = 3")
SUM = "penalty: 0/2 (hard/soft)\nsoft by group: s 2\n" + S + "1, costs 2\n" + ONE


def error(line, column, message):
    return "m:%d:%d: error: %s\n" % (line, column, message)


def bad(model, line, column, message):
    """A text that is no model, which no report can be judged by."""
    return model, "", [], 2, "", error(line, column, message)


def right(model, output, warnings="", report="x: a", end=None):
    """A start file, with x = a if nothing else is given, unless the verdict is RIGHT."""
    end = end or START % (1, model.count("variable"))
    return model, report, [] if end == RIGHT else ["--start"], 0, output + end, warnings


def no_report(text, reason, options=()):
    return LINEAR, text, list(options), 3, "", "wcsp-check: not a report: %s\n" % reason


# Model, report, options, status, whole output, whole error output.
CASES = [
    # A report alone, behind a run's log, with other line ends, and a start.
    right(LINEAR, SUM, "", REPORT, RIGHT),
    right(LINEAR, SUM, "", "# reading data ... done: 0.00(s)\nx = b\n" + REPORT, RIGHT),
    right(LINEAR, SUM, "", REPORT.replace("\n", "\r\n"), RIGHT),
    right(LINEAR, SUM, "", "x a x:b x : a", START % (1, 2)),
    right(LINEAR, "penalty: 0/4 (hard/soft)\nsoft by group: s 4\n" + S + "2, costs 4\n  sum 0 is below 2, no term counts\n  lacks 1 (x, a), 1 (y, b)\n",
          "", "x: b", START % (1, 2)),
    right(LINEAR, SUM, "", "# read\nx: a y: b" + REPORT, START % (2, 2)),
    (LINEAR, REPORT, ["--quiet"], 0, "", ""),
    # A swap without effect is no best one.
    (V + "one: weight = 1 type = linear 1(x,a) 1(y,a) <= 0", "x: a y: b", ["--start", "--improve"],
     0, "penalty: 0/1 (hard/soft)\nsoft by group: one 1\nviolated: one (line 3, linear, weight 1) by 1, costs 1\n  sum 1 is above 0 with\n    1 (x, a)\na change is better: x from a to b gives 0/0 (hard/soft)\nno swap is better\n" + START % (2, 2), ""),
    # Each line of a report can be wrong, lacking or too much.
    (LINEAR, REPORT.replace("0/2", "2/0"), [], 1, SUM + "differs: line 6: printed 'penalty: 2/0 (hard/soft)', computed 'penalty: 0/2 (hard/soft)'\n" + WRONG, ""),
    (LINEAR, REPORT.replace("s: 1", "s: 12"), [], 1, SUM + LINE_9 % "'s: 12'" + WRONG, ""),
    (LINEAR, REPORT[:-5], [], 1, SUM + LINE_9 % "the end" + WRONG, ""),
    (LINEAR, REPORT + "t: 1\n", ["--quiet"], 1, "", ""),
    (LINEAR, REPORT.replace("y: a", "y: q"), [], 1, "differs: line 4: no value for variable 'y'\ndiffers: the assignment is incomplete\n", ""),
    # Out of memory before the first assignment; a run without a report.
    (LINEAR, FAILED + TAIL % FULL, [], 0, "agrees: no assignment recorded\n", ""),
    (LINEAR, FAILED.replace("incumbent", "best") + TAIL % FULL, ["--quiet"], 1, "", ""),
    no_report("# reading data ... \n3: x\n", "the run ended without one"),
    # A text that is not a report must not be accepted.
    no_report("", EMPTY),
    no_report("", EMPTY, ["--start"]),
    no_report(LINEAR, NO_HEADING + "; for a start file use --start"),
    no_report("x: a\ny: b\n", NO_HEADING + "; for a start file use --start"),
    no_report(LINEAR, "it sets no variable", ["--start"]),
    no_report("x: a\ny: a\n" + TAIL % "0/0", NO_HEADING),
    no_report("x: a\ny: a\npenalty: 0/0 (hard/soft)\n", NO_HEADING, ["--start"]),
    no_report("x: a\n[Violated constraints]\n", NO_HEADING),
    (LINEAR, "", ["--quiet"], 3, "", "wcsp-check: not a report: it is empty\n"),
    *((LINEAR, REPORT, [flag], 2, "", None)
      for flag in ("--json=3", "--json=false", "--quiet=1", "--start=x")),
    # Kinds: a mirrored term, a term of two values, a repeated variable.
    right(V + "h: weight = inf type = quadratic 2(x,a)(y,a) 3(y,a)(x,a) 9(x,a)(x,b) -1(y,a)(y,a) < = +3", "penalty: 1/0 (hard/soft)\nhard by group: h 1\nviolated: h (line 3, quadratic, weight inf) by 1\n  sum 4 is above 3 with\n    2 (x, a)(y, a)\n    3 (y, a)(x, a)\n    -1 (y, a)(y, a)\n",
          WARN % 3 + "constraint 'h' repeats (x, a)(y, a); the coefficients add up\n"),
    right("variable x in {a}variable y in{a,b;c:weight=3 type=alldiff y x y x.",
          "penalty: 0/3 (hard/soft)\nsoft by group: c 3\nviolated: c (line 1, alldiff, weight 3) by 1, costs 3\n  value number 0 is shared by (x, a) (y, a)\n",
          WARN % 1 + "';' closes the list of values: write '}'\n" + WARN % 1 +
          "constraint 'c' repeats 'x', which counts once\n" + WARN % 1 +
          "constraint 'c' compares value numbers, but 'y' and 'x' have different lists of values\n"),
    # Caps: of a violation, of a printed total; a bound at its default is none.
    right(V + "h: weight = 2147483646 type = linear inf(x,a) inf(y,a) = -2147483648",
          "penalty: 0/%d (hard/soft)\nsoft by group: h %d\nviolated: h (line 3, linear, weight 2147483646) by %d, costs %d\n  sum %d is above -2147483648 with\n    %d (x, a)\n    %d (y, a)\n" % (
              *((BIG - 1) * BIG,) * 2, BIG, (BIG - 1) * BIG, 2 * BIG, BIG, BIG),
          "m: warning: the largest soft penalties add up to %d: totals above 2147483647 are printed as that\n" % ((BIG - 1) * BIG) + WARN % 3 +
          "no assignment satisfies constraint 'h': its sum is from 0 to %d\n" % (2 * BIG),
          "\n[best solution]\nx: a\ny: a\n" + TAIL % ("0/%d" % BIG) + "h: %d" % BIG, RIGHT),
    right(V + "h: weight = inf type = linear inf(x,a) inf(y,a) <= inf",
          "penalty: 0/0 (hard/soft)\n", WARN % 3 +
          "no assignment violates constraint 'h': its sum is from 0 to %d\n" % (2 * BIG)),
    # Warnings: pigeons, names, start files, text, unused variables.
    (NAMES, "u: a", ["--quiet", "--start"], 0, "", ""),
    (NAMES.replace("u: weight = 1 type = linear", "u: weight = 0 type = linear"), REPORT, [], 1,
     None, "m: warning: variable 'penalty' can be overwritten by the penalty line of a report that is read as a start\nm: warning: variable 'solution]' is also a word of a report's heading: read as a start, the report loses the value of 'solution]'\nm: warning: 1 in no constraint: 'u'\n" + WARN % 2 + "constraint 'u' compares value numbers, but 'solution]' and 'penalty' have different lists of values\n" + WARN % 3 + "no assignment violates constraint 'penalty': its sum is always 1\n" + WARN % 3 + "constraint 'penalty': its line in a report, read as a start, can overwrite the variable of that name\n" + WARN % 4 +
     "constraint 'u' costs nothing: its weight is 0\n" + WARN % 4 +
     "no assignment satisfies constraint 'u': its sum is from 1 to 2\n" + WARN % 4 +
     "2 constraints are named 'u', the first on line 2\n"),
    right("", "penalty: 0/0 (hard/soft)\n", "m: warning: the model has no variables\nm: warning: the model has no constraints: all assignments are equally good\n", "[best solution]\n" + TAIL % "0/0", RIGHT),
    # A wrong model has no report; tests/advice_test.py tests the errors.
    bad(V + "c: weight = 1 type = linear 1(x,\x01) <= 1", 3, 33,
        "'x' has no value '\\x01': it has a, b"),
    (V, "", ["--wrong"], 2, "",
     "wcsp-check: The following argument was not expected: --wrong\n"),
]


def run(options, stdin=""):
    """Status, output, and errors without the kinds of warnings."""
    done = subprocess.run([PROGRAM] + options, capture_output=True,
                          input=stdin.encode("latin-1"), timeout=60)
    kind = re.compile(r" \[[a-z-]+\]$", re.M)
    return done.returncode, done.stdout.decode(), kind.sub("", done.stderr.decode())


def write(name, text):
    with open(name, "w", encoding="latin-1", newline="") as file:
        file.write(text)


def check(what, got, expected):
    if got != expected:
        sys.exit("%s\nexpected %r\ngot      %r" % (what, expected, got))


def check_json():
    model = ("variable \x81\n in {\\, \xa0}\n\x07: weight = inf type = linear 5(\x81\n,\\) <= 4")
    write("m", model)
    status, out, err = run(["m", "-", "--json", "--start"], "\x81\n: \\")
    label = ["\\x81\\x0a", "\\\\"]
    check(model, (status, err, json.loads(out)["violated"]), (0, "", [{
        "name": "\\x07", "line": 3, "kind": "linear", "weight": BIG,
        "hard": True, "violation": 1, "sum": "5", "lower": None, "upper": 4,
        "terms": [{"coefficient": 5, "labels": [label]}],
        "scope": [["\\x81\\x0a", ["\\\\"]]]}]))
    # If no term counts, the scope lists those that could: each variable once, in order.
    write("m", V + "c: weight = 2 type = linear 1(y,b) 1(x,b) 3(x,a) 1(x,b) >= 9\nd: weight = 1 type = alldiff y x ;\ne: weight = 1 type = quadratic 1(y,a)(x,b) >= 1\nf: weight = 1 type = linear 0(x,a) 1(y,a) 0(y,b) >= 2\ng: weight = 1 type = quadratic 0(x,a)(y,a) >= 1\n")
    status, out, err = run(["m", "-", "--json", "--start"], "x: a\ny: a")
    violated = json.loads(out)["violated"]
    check("terms with coefficient 0", [c["terms"] for c in violated if c["name"] in "fg"],
          [[{"coefficient": 1, "labels": [["y", "a"]]}], []])
    scopes = {c["name"]: c["scope"] for c in violated}
    check("scope", scopes, {
        "c": [["x", ["a", "b"]], ["y", ["b"]]], "d": [["x", []], ["y", []]],
        "e": [["x", ["b"]], ["y", ["a"]]], "f": [["y", ["a"]]], "g": []})


RULES = V + """over_x: weight = 3 type = linear 1(x,a) = 0
over_y: weight = 4 type = linear 1(y,a) = 0
idle@1: weight = 5 type = linear 1(x,a) 1(y,a) = 0
hard: weight = inf type = linear 2(x,a) <= 1
"""


def check_groups():
    """Hard constraints come first, then by cost; names make groups."""
    write("m", RULES)
    for options, groups in [
            ([], "hard by group: hard 1\nsoft by group: idle 10, over 7\n"),
            (["--by", "_(.)|^h"], "hard by group: h 1\nsoft by group: idle@1 10, y 4, x 3\n"),
            (["--by", "o{0,200}(v|dl){1,2}"],
             "hard by group: hard 1\nsoft by group: dl 10, v 7\n")]:
        out = run(["m", "-", "--start", *options], "x: a y: a")[1]
        check(options, out.partition("violated")[0], "penalty: 1/17 (hard/soft)\n" + groups)
        check("order", re.findall("^violated: (.*?) .* by (.*)", out, re.M),
              [("hard", "1"), ("idle@1", "2, costs 10"), ("over_y", "1, costs 4"),
               ("over_x", "1, costs 3")])
    check("--by", run(["m", "-", "--start", "--by", "("], "x: a")[0], 2)


def random_rule(rng, names):
    """A constraint of random kind and weight and its violation."""
    weight = rng.choice(["inf", "1", "2", "5"])
    head = "weight = %s type = " % weight
    if rng.random() < 0.3:
        scope = rng.sample(names, rng.randint(1, len(names)))
        return (weight, head + "alldiff %s ;" % " ".join(scope),
                lambda at, number: len(scope) - len({number(v, at[v]) for v in scope}))
    size = rng.choice([1, 2])
    terms = [(rng.randint(-3, 3), [(rng.choice(names), rng.choice("abc")) for _ in range(size)])
             for _ in range(rng.randint(1, 6))]
    bound = rng.randint(-2, 3)

    def distance(at, _):
        total = sum(c for c, on in terms if all(at[v] == a for v, a in on))
        return max(0, total - bound)
    text = " ".join(str(c) + "".join("(%s,%s)" % label for label in on) for c, on in terms)
    return weight, head + "%s %s <= %d" % (["linear", "quadratic"][size - 1], text, bound), distance


def check_improve():
    """The best neighbours of random assignments against all neighbours."""
    rng = random.Random(1)
    for _ in range(300):
        names = ["x", "y", "z", "w"][:rng.randint(1, 4)]
        lists = {v: rng.sample("abc", 3) for v in names}
        rules = [random_rule(rng, names) for _ in range(rng.randint(1, 5))]
        model = "".join("variable %s in {%s}\n" % (v, ", ".join(lists[v])) for v in names)
        model += "".join("c: %s\n" % text for _, text, _ in rules)
        write("m", model)
        now = {v: rng.choice("abc") for v in names}
        start = " ".join("%s: %s" % item for item in now.items())
        output = json.loads(run(["m", "-", "--start", "--json", "--improve"], start)[1])

        def penalty(changed, now=now, rules=rules, lists=lists):
            at, hard, soft = now | changed, 0, 0
            for weight, _, violation in rules:
                rise = violation(at, lambda v, a: lists[v].index(a))
                hard, soft = (hard + rise, soft) if weight == "inf" else (
                    hard, soft + int(weight) * rise)
            return hard, soft
        moves = {"change": [{v: a} for v in names for a in "abc" if a != now[v]],
                 "swap": [{x: now[y], y: now[x]} for x, y in itertools.combinations(names, 2)
                          if now[x] != now[y]]}
        for kind, every in moves.items():
            got = output["improve"][kind]
            expected = min(map(penalty, every), default=None)
            if kind == "swap" and expected and expected >= penalty({}):
                expected = None
            check((model, start, kind), got and (int(got["hard"]), int(got["soft"])), expected)
            check((model, start, kind), got and penalty(dict(got["labels"])), expected)


def check_conflict():
    """Three reports of which no two fail in the same way, and one that does not."""
    write("m", V + "".join("h%d: weight = inf type = linear 1(x,%s) 1(y,%s) <= 0\n" % (i, a, b)
                           for i, (a, b) in enumerate(["aa", "ab", "bb"])))
    model = open("m", encoding="latin-1").read()
    reports = []
    for values, hard, broken in ("ab", 3, {0: 1, 1: 2}), ("bb", 2, {2: 2}), ("aa", 3, {0: 2, 1: 1}):
        reports.append("r" + values)
        broken = {i: n for i, n in broken.items() if n}
        write(reports[-1], "[best solution]\nx: %s\ny: %s\n" % tuple(values) + TAIL % (
            "%d/0" % hard) + "".join("h%d: %d\n" % item for item in broken.items()))
    out = run(["m", "--conflict", *reports])
    check(model, (out[0], out[1]), (0, "".join(
        "violated in %d of 3 reports: h%d (line %d)\n" % row for row in
        [(3, 1, 4), (2, 0, 3), (2, 2, 5)]) +
        "a smallest set of constraints with one violated in every report: h1 (line 4)\nhard constraints that share a variable with it: h0 (line 3), h2 (line 5)\nthis suggests a conflict among them but does not prove one\n"))
    check("several", run(["m", *reports])[0], 2)
    check("no report", run(["m", "--conflict", "m"])[0], 3)


# Words of variables, options, and the grids of the variables expected of them:
# rows, columns, and the numbers of the variables by row.
GRIDS = [
    ("A1 A2 B1 B2", [], [(["A", "B"], ["1", "2"], [[0, 1], [2, 3]])]),
    ("r1c1 r1c2 r2c1 r2c2", [], [(["r1", "r2"], ["c1", "c2"], [[0, 1], [2, 3]])]),
    ("x_a_1 x_b_1 x_b_2", [], [(["x_a", "x_b"], ["1", "2"], [[0, None], [1, 2]])]),
    ("p@w_1 q@w_1 p@w_2 q@w_2", [], [(["p@w", "q@w"], ["1", "2"], [[0, 2], [1, 3]])]),
    ("x[1][a] x[1][b] x[2][a] x[2][b]", [],
     [(["x[1]", "x[2]"], ["[a]", "[b]"], [[0, 1], [2, 3]])]),
    # A row that begins in the middle does not move its columns to the end.
    ("A_2 A_3 B_1 B_2", [], [(["A", "B"], ["1", "2", "3"], [[None, 0, 1], [2, 3, None]])]),
    # Rows that disagree keep the order in which the columns come.
    ("A_1 A_2 B_3 B_1 C_2 C_3", [],
     [(["A", "B", "C"], ["1", "2", "3"], [[0, 1, None], [3, None, 2], [None, 4, 5]])]),
    ("A_1 B_2 C_3 D_4", [], []),  # a quarter of the cells
    ("A_1 A_2 A_3 B", [], []),    # one row
    ("A_B_2026_12_02 A_B_2026_11_02 C_2026_11_02", [],
     [(["A_B", "C"], ["2026_11_02", "2026_12_02"], [[1, 0], [2, None]])]),
    ("2026_12_02_A 2026_12_02_B 2026_11_02_B", [],
     [(["2026_11_02", "2026_12_02"], ["A", "B"], [[None, 2], [0, 1]])]),
    ("A_1 A_2 B_1 B_2 z", ["--rows", "B,A", "--columns", "2"],
     [(["B", "A"], ["2"], [[3], [1]])]),
    ("A_w1Mon A_w1Tue B_w1Mon", ["--split", "(.*)_w1(.*)"],
     [(["A", "B"], ["Mon", "Tue"], [[0, 1], [2, None]])]),
]
NAMES_FILE = {"variables": {"A1": [["Zo\u00eb", "", "Mon"], 0], "A2": [["Zo\u00eb", "", "Tue"], 0],
                            "B1": [["Al", "x", "Mon"], 0], "B2": [["Al", "x", "Mon"], 0],
                            "z": ["Zo\u00eb  Mon", 1]},
              "domains": [["early shift", "late"], ["1", "1"]],
              "constraints": {"c": ["rest of", "Zo\u00eb"]}}


def grids_of(words, options):
    """The grids that --json shows for variables with these words."""
    values = {"z": "off, on"}
    write("m", "".join("variable %s in {%s}\n" % (x, values.get(x, "e, l")) for x in words) +
          "c: weight = 2 type = linear 1(%s,e) <= 0\n" % words[0])
    start = "".join("%s: %s\n" % (x, values.get(x, "e, l")[:1]) for x in words)
    status, out, err = run(["m", "-", "--start", "--json", *options], start)
    check((words, options), (status, err), (0, ""))
    return json.loads(out)


def check_grids():
    for words, options, expected in GRIDS:
        words = words.split()
        output = grids_of(words, options)
        grids = [(g["rows"], g["columns"], g["cells"]) for g in output["grids"]]
        check(words, grids, expected)
    check("rest", (output["rest"], grids_of(["A_1", "A_2", "B_1", "B_2", "z"],
                                           ["--rows", "B"])["rest"]), ([], [4]))
    output = grids_of("x_1 y_1 z".split(), [])
    check("different values", output["grids"], [])
    # If names are equal, the word is appended to the later ones; parts make rows.
    write("names", json.dumps(NAMES_FILE))
    output = grids_of("A1 A2 B1 B2 z".split(), ["--names", "names"])
    zoe = "Zo\\xc3\\xab"
    check("names", ([x for x, _ in output["assignment"]], output["violated"][0]["name"],
                    output["violated"][0]["terms"][0]["labels"], output["domains"][1][1],
                    [group["name"] for group in output["groups"]]),
          ([zoe + "  Mon", zoe + "  Tue", "Al x Mon", "Al x Mon (B2)", zoe + "  Mon (z)"],
           "rest of " + zoe, [[zoe + "  Mon", "early shift"]], ["1", "1 (on)"], ["rest of"]))
    check("grid of parts", [(g["rows"], g["columns"]) for g in output["grids"]],
          [([zoe + " ", "Al x"], ["Mon", "Tue"])])
    check("with text", "rest of " + zoe in run(["m", "-", "--start", "--names", "names"], "A1: e")[1],
          True)
    # A constant shifts sum and bounds; negative terms that it covers count if they are off.
    write("m", "".join("variable %s in {on, off}\n" % v for v in "xyz") + "".join(
        "%s: weight = 1 type = linear %s(x,off) -1(y,off) -1(z,off) >= 0\n" % (name, k)
        for name, k in (("rest", -1), ("part", -3))) + "free: weight = 1 type = linear 1(x,on) >= 1\n")
    write("names", json.dumps({"variables": {v: [v, 0] for v in "xyz"}, "domains": [["on", "off"]],
                               "constraints": {}, "constants": {"rest": 3, "part": 2}}))
    report = "x: off\ny: off\nz: on\n"
    output = json.loads(run(["m", "-", "--start", "--json", "--names", "names"], report)[1])
    check("constants", [(v["sum"], v["lower"], [(t["coefficient"], *t["labels"][0])
                                               for t in v["terms"]]) for v in output["violated"]],
          [("-2", 2, [(-3, "x", "off"), (-1, "y", "off")]), ("1", 3, [(1, "z", "on")]),
           ("0", 1, [])])
    check("constants as text", re.sub(r"\n +", "; ", run(
        ["m", "-", "--start", "--names", "names"], report)[1]).splitlines()[2:],
          ["violated: part (line 5, linear, weight 1) by 4, costs 4; sum -2 is below 2 with; "
           "-3 (x, off); -1 (y, off)",
           "violated: rest (line 4, linear, weight 1) by 2, costs 2; sum 1 is below 3 with; 1 (z, on); "
           "lacks 1 (x, not off), 1 (y, not off)",
           "violated: free (line 6, linear, weight 1) by 1, costs 1; sum 0 is below 1, no term counts; "
           "lacks 1 (x, on)"] + run(["m", "-", "--start", "--names", "names"], report)[1].splitlines()[-1:])
    write("m", "variable x in {a1_p, a1_q, a2_p, a2_q}\nvariable y in {a1_p, q}\nc: weight = 1 type = alldiff x y ;\n")
    output = json.loads(run(["m", "-", "--start", "--json"], "x: a1_q")[1])
    check("values", ([[g["cells"] for g in grids] for grids in output["valueGrids"]],
                     output["families"]),
          ([[[[0, 1], [2, 3]]], []], [["a1_p", "a1_q"], ["a2_p", "a2_q"]]))
    for options, part in ((["--split", "("], "not a regular expression: '('"),
                          (["--by", r"(a*)*\1b"], "back-references are not supported"),
                          (["--by", "((a{9,20}b)*{3}|c){5}"], "more than 255 repeats"),
                          (["--by", "a{1,32767}"], "more than 255 repeats"),
                          (["--split", "(.)"], "--split needs two groups"),
                          (["--split", "(q)(r)"], "--split makes no grid"),
                          (["--rows", "Cy"], "--rows: there is no 'Cy'"),
                          (["--names", "m"], "--names: not a file of names"),
                          (["--names", "none"], "cannot read 'none'"),
                          (["--names", "names"], "--names: the names are of another model")):
        status, _, err = run(["m", "-", "--start", "--json", *options], "x: a1_q")
        check(options, (status, part in err), (2, True))


def check_size():
    """A million terms, repeated and mirrored, do not take quadratic time."""
    terms = " ".join("1(v%d,a)(v%d,b)" % (i * 7919 % 1000, i % 1000)
                     for i in range(300000))
    names = ["v%d" % i for i in range(1000)]
    write("m", "".join("variable %s in {a, b}" % v for v in names) +
          "c: weight = 1 type = quadratic %s <= 0\n" % terms +
          "d: weight = 1 type = alldiff %s ;" % " ".join(names * 300))
    start = time.monotonic()
    status, out, _ = run(["m", "-", "--start"], "v1: b")
    check("size", (status, out[:10]), (0, "penalty: 0"))
    check("seconds", time.monotonic() - start < 30, True)


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for model, report, options, status, out, err in CASES:
            write("m", model)
            got = run(["m", "-"] + options, report)
            out = got[1] if out is None else out
            err = got[2] if err is None else err
            check((model, report, options), got, (status, out, err))
        for arguments, status in (["."], 2), (["m", "none"], 2), ([], 2), (["--help"], 0), \
                (["m", "--start"], 2), (["m", "m", "--strict"], 2):
            check(arguments, run(arguments)[0], status)
        check_json()
        check_groups()
        check_improve()
        check_conflict()
        check_grids()
        check_size()


if __name__ == "__main__":
    main()

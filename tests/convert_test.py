#!/usr/bin/env python3
"""Tests the program wcsp-convert: convert_test.py PROGRAMS [MODELS [SEED]].

PROGRAMS is the folder of wcsp-convert and wcsp-check. With MODELS it only compares so
many random models with their linear programs, each under every assignment, by cbc
and GLPK.
"""

import itertools
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import time

PROGRAMS = os.path.abspath(sys.argv[1])
CONVERT, CHECK = f"{PROGRAMS}/wcsp-convert", f"{PROGRAMS}/wcsp-check"

SMALL = """variable x in {a, b}
variable y in {a, b, c}
c: weight = 2 type = linear 1(x,a) 1(y,a) <= 0
d: weight = 3 type = quadratic 1(x,b)(y,b) 5(x,b)(y,c) <= 1
e: weight = inf type = alldiff x y ;
"""


def hold(what, condition, shown=""):
    if not condition:
        sys.exit(f"{what}\n{shown}")


def expect(what, got, expected):
    hold(what, got == expected, f"expected {expected!r}\ngot      {got!r}")


def run(*command, text=None):
    return subprocess.run(command, check=False, input=text, capture_output=True, text=True,
                          timeout=120, errors="backslashreplace")


def convert(*arguments, text=None):
    done = run(CONVERT, *arguments, text=text)
    return done.returncode, done.stdout, done.stderr


class Random:
    """A small random model: its text, and its penalties by the language's definition."""

    def __init__(self, seed):
        self.rng = rng = random.Random(seed)
        self.domains = [rng.randint(1, 3) for _ in range(rng.randint(1, 4))]
        self.constraints = [self.constraint() for _ in range(rng.randint(1, 5))]

    def label(self):
        variable = self.rng.randrange(len(self.domains))
        return variable, self.rng.randrange(self.domains[variable])

    def constraint(self):
        rng = self.rng
        kind = rng.choice(["linear", "quadratic", "alldiff"])
        weight = "inf" if rng.random() < 0.3 else rng.randint(0, 9)
        if kind == "alldiff":
            return kind, weight, [rng.randrange(len(self.domains)) for _ in range(
                rng.randint(1, 6))], None, None
        terms = [(rng.choice([rng.randint(-4, 4), rng.randint(-900, 900)]),
                  [self.label() for _ in range(1 if kind == "linear" else 2)])
                 for _ in range(rng.randint(1, 7))]
        return kind, weight, terms, rng.choice(["<=", ">=", "="]), rng.choice(
            [rng.randint(-4, 6), rng.randint(-900, 900)])

    def text(self):
        lines = [f"variable v{v} in {{{', '.join(f'a{a}' for a in range(size))}}}"
                 for v, size in enumerate(self.domains)]
        for number, (kind, weight, parts, relation, bound) in enumerate(self.constraints):
            shown = " ".join(f"v{v}" for v in parts) + " ;" if kind == "alldiff" else " ".join(
                f"{c}{''.join(f'(v{v},a{a})' for v, a in labels)}" for c, labels in parts)
            lines.append(f"c{number}: weight = {weight} type = {kind} {shown}" + (
                f" {relation} {bound}" if relation else ""))
        return "\n".join(lines) + "\n"

    def assignments(self):
        return itertools.product(*map(range, self.domains))

    def penalty(self, values):
        totals = {True: 0, False: 0}
        for kind, weight, parts, relation, bound in self.constraints:
            if kind == "alldiff":
                violation = len(set(parts)) - len({values[v] for v in parts})
            else:
                total = sum(c for c, labels in parts if all(values[v] == a for v, a in labels))
                violation = max(0, 0 if relation == ">=" else total - bound,
                                0 if relation == "<=" else bound - total)
            totals[weight == "inf"] += violation * (1 if weight == "inf" else weight)
        return totals[True], totals[False]


def by_cbc(name):
    """The objective of the linear program, or None if it is infeasible."""
    run("cbc", name, "solve", "solu", "cbc.out")
    head = pathlib.Path("cbc.out").read_text("utf-8").split("\n", 1)[0]
    found = re.match(r"Optimal - objective value (\S+)", head)
    hold("cbc", found or "nfeasible" in head, head)
    return round(float(found[1])) if found else None


def by_glpk(name):
    hold("glpsol", run("glpsol", "--lp", name, "-w", "glpk.out").returncode == 0)
    found = re.search(r"^s mip \d+ \d+ ([on]) (\S+)$",
                      pathlib.Path("glpk.out").read_text("utf-8"), re.M)
    return round(float(found[2])) if found[1] == "o" else None


SOLVERS = (("cbc.out", by_cbc), ("glpk.out", by_glpk))


def judge_assignments(model, program, constant):
    """Every assignment has its soft penalty, or is infeasible."""
    first = [sum(model.domains[:v]) + 1 for v in range(len(model.domains))]
    for values in model.assignments():
        hard, soft = model.penalty(values)
        fixed = "".join(f" x{first[v] + a} = 1\n" for v, a in enumerate(values))
        pathlib.Path("fixed.lp").write_text(program.replace("Bounds\n", fixed + "Bounds\n"),
                                            "utf-8")
        for name, solver in SOLVERS:
            objective = solver("fixed.lp")
            expect((name, values), objective, soft - constant if hard == 0 else None)


def judge_back(model, name, least):
    """The solution file becomes a start file of the least penalty, judged by wcsp-check."""
    status, start, errors = convert("--back", "m", name)
    expect(name, (status, errors), (0, ""))
    values = [int(a) for a in re.findall(r"^v\d+: a(\d+)$", start, re.M)]
    expect(name, model.penalty(values), (0, least))
    done = run(CHECK, "--start", "--quiet", "m", "-", text=start)
    expect(f"{name}: wcsp-check", done.returncode, 0)


def compare(count, seed):
    outcomes = {"feasible": 0, "infeasible": 0}
    for number in range(seed, seed + count):
        model = Random(number)
        pathlib.Path("m").write_text(model.text(), "utf-8")
        status, program, errors = convert("--to", "lp", "m")
        expect(f"seed {number}", (status, errors), (0, ""))
        pathlib.Path("m.lp").write_text(program, "utf-8")
        constant = int(re.match(r"\\ soft penalty = objective \+ \((-?\d+)\)\n", program)[1])
        judge_assignments(model, program, constant)
        feasible = [soft for hard, soft in map(model.penalty, model.assignments()) if hard == 0]
        outcomes["feasible" if feasible else "infeasible"] += 1
        for name, solver in SOLVERS:
            expect(f"seed {number}, {name}", solver("m.lp"),
                   min(feasible) - constant if feasible else None)
            if feasible:
                judge_back(model, name, min(feasible))
            else:
                expect(f"seed {number}, {name}", convert("--back", "m", name)[:2], (3, ""))
    print(outcomes)
    hold("both kinds of models", all(outcomes.values()), outcomes)


# Solution files of the model SMALL as programs write them; the values of x and y.
SOLUTIONS = [
    ("cbc", "Optimal - objective value 2.00000000\n      0 x1                     1       0\n"
     "      3 x4                     1       0\n", "ab"),
    ("cbc stopped", "Stopped on time - objective value 2.00000000\n**    0 x1  1   0\n"
     "      3 x4     0.9999999  0\n      4 x5  1e-07 0\n", "ab"),
    ("HiGHS", "Model status\nOptimal\n\n# Primal solution values\nFeasible\nObjective 2\n"
     "# Columns 6\nx1 0\nx2 1\nx3 1\nx4 0\nx5 -0\nx6 0\n# Rows 1\nx1 9\n\n"
     "# Dual solution values\nFeasible\n# Columns 6\nx1 -3\nx2 2\n# Rows 1\nR1 0\n", "ba"),
    ("SCIP", "solution status: optimal solution found\nobjective value:                   2\n"
     "x2                                  1 \t(obj:0)\nx3          1 \t(obj:2)\n", "ba"),
    ("Gurobi", "# Solution for model obj\n# Objective value = 2\nx1 0\nx2 1\r\nx3 1.0\nx4 0\n",
     "ba"),
    ("GLPK", "c Problem:\nc Status:     INTEGER OPTIMAL\ns mip 6 6 o 2\ni 1 1\ni 2 5\nj 1 1\n"
     "j 2 0\nj 3 0\nj 4 0\nj 5 1\nj 6 7\ne o f\n", "ac"),
]
# No solutions, and a piece of the message.
WRONG = [
    ("", "no value of a column"),
    ("hello\n\0\xff", "no value of a column"),
    ("x0 1\nx99999999999999999999 1\ny1 1\nx1\n", "no value of a column"),
    ("Infeasible - objective value 0.0\n      0 x1  1  0\n      2 x3  1  0\n", "no solution: 'Inf"),
    ("Integer infeasible - objective value 0.0\n 0 x1 1 0\n 2 x3 1 0\n", "no solution: 'Int"),
    ("Stopped on time (no integer solution - continuous used) - objective value 1\n"
     "      0 x1  1  0\n      2 x3  1  0\n", "continuous used"),
    ("c Status:     INTEGER EMPTY\ns mip 1 1 n 0\nj 1 1\nj 3 1\n", "INTEGER EMPTY"),
    ("Model status\nInfeasible\nx1 1\nx3 1\n", "no solution: 'Inf"),
    ("x1 1\n", "variable 'y' has no value"),
    ("x1 1\nx2 1\nx3 1\n", "variable 'x' has two values"),
    ("x1 0.5\nx2 0.5\nx3 1\n", "x1 is 0.500000, neither 0 nor 1"),
    ("x1 2\nx3 1\n", "neither 0 nor 1"),
    ("x1 -1\nx3 1\n", "neither 0 nor 1"),
    ("x1 nan\nx1 1e999\n", "no value of a column"),
]


def solutions():
    pathlib.Path("m").write_text(SMALL, "utf-8")
    for name, text, values in SOLUTIONS:
        expect(name, convert("--back", "m", "-", text=text),
               (0, f"x: {values[0]}\ny: {values[1]}\n", ""))
    for text, message in WRONG:
        status, out, errors = convert("--back", "m", "-", text=text)
        expect(text, (status, out, errors.count("\n")), (3, "", 1))
        hold(text, message in errors, errors)


def names():
    """Long names and any bytes stay in comments that every solver takes."""
    long = "n" * 5000
    pathlib.Path("m").write_bytes((f"variable {long} in {{a, b}}\n".encode() +
                                   b"variable \x8a\nz in {\x8a\x5c, b}\n"
                                   b"c: weight = 2 type = linear 1(\x8a\nz,b) >= 1\n"))
    expect("to lp", convert("--to", "lp", "m", "-o", "m.lp"), (0, "", ""))
    program = pathlib.Path("m.lp").read_text("ascii")
    hold("the names", "\\ x3: (\\x8a\\x0az,\\x8a\\\\)\n" in program, program)
    hold("short lines", max(map(len, program.split("\n"))) < 250)
    for _, solver in SOLVERS:
        expect("optimum", solver("m.lp") + int(re.search(r"\((-?\d+)\)", program)[1]), 0)


def arguments():
    pathlib.Path("m").write_text(SMALL, "utf-8")
    pathlib.Path("s").write_text("x1 1\nx3 1\n", "utf-8")
    pathlib.Path("none").write_text("", "utf-8")
    pathlib.Path("broken").write_text("variable x in {a\n", "utf-8")
    pathlib.Path("capped").write_text(
        "variable x in {a, b}\nvariable y in {a, b}\n"
        "big: weight = 1 type = linear inf(x,a) inf(y,a) <= 0\n", "utf-8")
    domain = ", ".join(f"a{a}" for a in range(100))
    pathlib.Path("large").write_text("".join(
        [f"variable v{i} in {{{domain}}}\n" for i in range(100)] +
        [f"c{i}: weight = 1 type = alldiff {' '.join(f'v{v}' for v in range(100))} ;\n"
         for i in range(500)]), "utf-8")
    for given, message in [
            ([], "MODEL is required"),
            (["m"], "give --to FORMAT or --back"),
            (["--to", "mps", "m"], "--to"),
            (["--to", "lp", "--back", "m", "s"], "--to"),
            (["--to", "lp", "m", "s"], "SOLUTION needs --back"),
            (["--back", "m"], "SOLUTION"),
            (["--to", "lp", "absent"], "cannot read 'absent'"),
            (["--to", "lp", "."], "cannot read '.'"),
            (["--to", "lp", "broken"], "no model"),
            (["--to", "lp", "none"], "the model has no variables"),
            (["--to", "lp", "capped"], "constraint 'big' can be violated by more than 2147483647"),
            (["--to", "lp", "large"], "5060000 entries, and the limit is 5000000"),
            (["--to", "lp", "m", "-o", "m"], "--output names an input"),
            (["--back", "m", "s", "-o", "s"], "--output names an input"),
            (["--to", "lp", "m", "-o", "absent/f"], "absent/f: No such file"),
            (["--to", "lp", "m", "-o", ""], "names no file"),
            (["--back", "m", "absent"], "cannot read 'absent'"),
            (["m", "--unknown"], "--unknown")]:
        status, out, errors = convert(*given)
        expect(given, (status, out), (2, ""))
        hold(given, message in errors and "terminate" not in errors, errors)
    expect("the inputs are as they were", [pathlib.Path(name).read_text("utf-8") for name in "ms"],
           [SMALL, "x1 1\nx3 1\n"])
    for option in ("--help", "--version"):
        status, out, errors = convert(option)
        expect(option, (status, "wcsp-convert" in out, errors), (0, True, ""))
    full = run("sh", "-c", f"exec {CONVERT} --to lp m >/dev/full")
    expect("a full disk", (full.returncode, full.stderr),
           (2, "wcsp-convert: cannot write to standard output\n"))


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        if len(sys.argv) > 2:
            compare(*map(int, (sys.argv[2:] + ["1"])[:2]))
            return
        compare(12, 1)
        for test in (solutions, names, arguments):
            begin = time.monotonic()
            test()
            print(f"{test.__name__}: {time.monotonic() - begin:.1f} s")


main()

#!/usr/bin/env python3
"""Tests what wcsp-check says of a model alone: texts against whole messages.

Usage: advice_test.py PROGRAM SOLVER MANY [COUNT]. An error is reported exactly
where the solver refuses the model: COUNT models with random errors are compared,
in one process of MANY (advice.cpp), and COUNT random models are searched for
conflicts.
"""

import itertools
import json
import os
import pathlib
import pty
import random
import re
import subprocess
import sys
import tempfile

PROGRAM, SOLVER, MANY = sys.argv[1:4]
COUNT = int(sys.argv[4]) if len(sys.argv) > 4 else 1000
EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"
V = "variable x in {a, b}\nvariable y in {a, b}\n"
GOOD = V + "c: weight = 1 type = linear 1(x,a) 1(y,a) = 1\n"

# A text, "|" for a line break and "V|" for V, and its errors.
ERRORS = [
    ("variable 3 in {a}",
     ["1:10 expected the name of a variable, found '3': a name must contain a letter, as in 'x3'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1|variable z in {a}|d: weight = 1 type = linear 1(z,a) <= 1",
     ["4:1 declare variables before the first constraint, which is on line 3"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1|target = 0",
     ["4:1 set the target before the first constraint, which is on line 3"]),
    ("Variable x in {a, b}|c: weight = 1 type = linear 1(x,a) <= 1",
     ["1:1 unknown statement 'Variable': write 'variable x in {a, b}'"]),
    ("V|c: weigth = 1 type = linear 1(x,a) <= 1",
     ["3:4 expected 'weight', found 'weigth'"]),
    ("V|c: weight = 1 type = linear 1(z1,a) 1(xx,a) 1(monday,a) 1(x,c) <= 1",
     ["3:31 unknown variable 'z1'",
      "3:39 unknown variable 'xx'",
      "3:47 unknown variable 'monday'",
      "3:61 'x' has no value 'c': it has a, b"]),
    ("V|c: weight = 1 type = alldiff x, y ;",
     ["3:31 unexpected ',' in an alldiff: write 'alldiff x y ;'"]),
    ("V|c: weight = 1 type = alldiff x y|d: weight = 1 type = alldiff x y ;",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = alldiff x y|x: weight = 1 type = alldiff x y ;",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = alldiff x y",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 ;|d: weight = 1 type = linear 1(x,a) <= 1;",
     ["3:41 unexpected text after the bound: remove ';'",
      "4:40 unexpected text after the bound: remove ';'"]),
    ("variable x in {a, b, }|variable y in {a}",
     ["1:20 trailing ',' in a list of values: remove it"]),
    ("variable x in {}|variable y in {a}",
     ["1:16 a variable needs at least one value: write {a, b}"]),
    ("variable x in {a, b|variable y in {a}",
     ["1:20 '}' is missing after 'b'"]),
    ("variable x in {a, b|c: weight = 1 type = linear 1(x,a) <= 1",
     ["1:20 '}' is missing after 'b'"]),
    ("V|c: weight = 1 type = linear 1(x,a 1(y,b) <= 1",
     ["3:34 ')' is missing after 'a'"]),
    ("V|c: weight = 1 type = linear 1(x,a <= 1",
     ["3:34 ')' is missing after 'a'"]),
    ("V|c: weight = 1 type = linear 1(x,) <= 1",
     ["3:33 a label is a variable and a value: write '(x, VALUE)'"]),
    ("V|c: weight = 1 type = linear 1(x,a) < 1",
     ["3:36 unknown relation '<': write '<= 0'"]),
    ("V|c: weight = 1 type = linear 1(x,a) > 1",
     ["3:36 unknown relation '>': write '>= 2'"]),
    ("V|c: weight = 1 type = linear 1(x,a) == 1",
     ["3:36 unknown relation '==': write '='"]),
    ("V|c: weight = 1 type = linear 1(x,a) =< 1",
     ["3:36 unknown relation '=<': write '<='"]),
    ("V|c: weight = 1 type = linear 1(x,a) != 1",
     ["3:36 '!=' is not supported: write '<=', '>=' or '='"]),
    ("V|c: weight = 1 type = linear (x,a) (y,b) <= 1",
     ["3:29 a term starts with its coefficient: write '1('",
      "3:35 a linear term has one label: write a coefficient, '1(', before the next term, or 'type = quadratic'"]),
    ("V|c: weight = 1 type = linear 1(x,a) + 1(y,b) <= 1",
     ["3:36 separate terms with spaces: remove '+'"]),
    ("V|c: weight = 1 type = linear 2*(x,a) <= 1",
     ["3:30 no '*' between a coefficient and its label: remove it"]),
    ("V|c: weight = 1 type = linear 1(x,a) - 2(y,a) <= - 1",
     ["3:36 no space between a sign and its number: write '-2'",
      "3:48 no space between a sign and its number: write '-1'"]),
    ("V|c: weight = 1.5 type = linear 1.5(x,a) <= 1.5",
     ["3:13 '1.5' is not an integer: scale the whole constraint",
      "3:31 '1.5' is not an integer: scale the whole constraint",
      "3:43 '1.5' is not an integer: scale the whole constraint"]),
    ("V|c: weight = 1 type = linear 1.5(x,a) <= 1.5",
     ["3:29 '1.5' is not an integer: scale the whole constraint",
      "3:41 '1.5' is not an integer: scale the whole constraint"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1.5|",
     ["3:39 '1.5' is not an integer: scale the whole constraint"]),
    ("V|c: weight = INF type = linear 1(x,a) <= infinity",
     ["3:13 expected a weight, found 'INF': write 'inf'",
      "3:41 expected a bound, found 'infinity': write 'inf'"]),
    ("V|c: weight = 1 type = linear 1(x,a)(y,b) <= 1",
     ["3:35 a linear term has one label: write a coefficient, '1(', before the next term, or 'type = quadratic'"]),
    ("V|c: weight = 1 type = quadratic 1(x,a) 1(y,b) <= 1",
     ["3:38 a quadratic term has two labels, '1(x, a)(y, b)': write the second, or 'type = linear'"]),
    ("variable x in {9:30, 10:00}",
     ["1:16 '9:30' is not a valid value: use letters, digits and _ [ ] @ only; write '9_30'"]),
    ("variable x in {1..5}",
     ["1:16 '1..5' is not a valid value: use letters, digits and _ [ ] @ only; write every value, as in {1, 2, 3}"]),
    ("variable x in {day, night-shift}|variable night-shift in {a}",
     ["1:21 'night-shift' is not a valid value: use letters, digits and _ [ ] @ only; write 'night_shift'",
      "2:10 'night-shift' is not a valid name: use letters, digits and _ [ ] @ only; write 'night_shift'"]),
    ("V|c: weight = 1 type = linear 1(x,night-shift) <= 1",
     ["3:33 'night-shift' is not a valid name: use letters, digits and _ [ ] @ only; write 'night_shift'"]),
    ("V|9:30: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 '9:30' is not a valid name: use letters, digits and _ [ ] @ only; write '9_30'"]),
    ("V|night-shift: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 'night-shift' is not a valid name: use letters, digits and _ [ ] @ only; write 'night_shift'"]),
    ("V|my rule: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 a name must be a single word: write 'my_rule'"]),
    ("V|c weight = 1 type = linear 1(x,a) <= 1",
     ["3:2 ':' is missing after the name: write 'c: weight'"]),
    ("V|c: weight 1 type linear 1(x,a) <= 1",
     ["3:10 '=' is missing after 'weight'",
      "3:17 '=' is missing after 'type'"]),
    ("V|c: type = linear 1(x,a) <= 1",
     ["3:4 the weight is missing: write 'weight = inf' or 'weight = 1' before 'type'"]),
    ("V|c: weight = 1, type = linear 1(x,a) <= 1",
     ["3:14 unexpected ',' before 'type': remove it"]),
    ("V|c: weight = 1 type = Linear 1(x,a) <= 1",
     ["3:22 unknown type 'Linear': write 'linear'"]),
    ("V|c: weight = 1 type = alldifferent x y ;",
     ["3:22 unknown type 'alldifferent': write 'alldiff'"]),
    ("V|c: weight = 1 type = sum 1(x,a) <= 1",
     ["3:22 expected 'linear', 'quadratic' or 'alldiff', found 'sum'"]),
    ("V|c: weight = 1 type = linear 1(x,a)|d: weight = 1 type = linear 1(x,a) <= 1",
     ["3:35 the relation is missing: write '<= N', '>= N' or '= N'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1(y,a)",
     ["3:40 terms must precede the relation: move them to its left"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 1(y,a)",
     ["3:41 terms must precede the relation: move them to its left"]),
    ("V|c: weight = 1 type = linear x + y <= 1",
     ["3:29 expected a term or a relation, found 'x'"]),
    ("V|c: weight = 1 type = linear 1(x=a) <= 1",
     ["3:32 expected ',', found '='"]),
    ("V|c: weight = 1 type = linear 1(a,x) <= 1",
     ["3:31 unknown variable 'a': the variable comes first, write '(x, a)'"]),
    ("V|c: weight = 3000000000 type = linear 1(x,a) <= 1",
     ["3:13 '3000000000' is too large: write a number from -2147483648 to 2147483647, or inf"]),
    ("x in {a, b}",
     ["1:1 expected 'variable' before 'x': write 'variable x in {a, b}'"]),
    ("variable x {a, b}",
     ["1:11 'in' is missing before '{'"]),
    ("variable x = {a, b}",
     ["1:12 expected 'in', found '='"]),
    ("variable x, y in {a, b}",
     ["1:11 declare each variable in a statement of its own"]),
    ("variable x in {\"a\", \"b\"}",
     ["1:16 names are not quoted: remove '\"'"]),
    ("variable x in {a b}",
     ["1:17 ',' is missing after 'a'"]),
    ("variable x in {a; b}",
     ["1:17 separate values with ',': replace ';'"]),
    ("variable x in [a, b]",
     ["1:15 expected '{', found '[a': write 'variable x in {a, b}'"]),
    ("c: weight = 1 type = linear 1(x,a) <= 1",
     ["1:1 the model has no variables: write 'variable x in {a, b}' before the first constraint",
      "1:31 unknown variable 'x'"]),
    ("target : 4",
     ["1:8 the first constraint cannot have the name 'target': rename it"]),
    ("variable x in {a};|variable y in {b};|c: weight = 1 type = linear 1(x,a) <= 1(y,b)",
     ["1:18 unexpected text after the list of values: remove ';'",
      "2:18 unexpected text after the list of values: remove ';'",
      "3:40 terms must precede the relation: move them to its left"]),
    ("V|c: weight = 1 type = linear .5(x,a) <= 1",
     ["3:29 the relation is missing: write '<= N', '>= N' or '= N' instead of '.'"]),
    ("variable x in {a}|variable x in {a, a}",
     ["2:10 variable 'x' is defined twice, first on line 1",
      "2:19 value 'a' is defined twice in 'x'"]),
    ("variable monday in {early, late}|c: weight = 1 type = linear 1(mondya,early) 1(monday,eraly) 1(tuesday,early) <= 1",
     ["2:31 unknown variable 'mondya', did you mean 'monday'?",
      "2:54 'monday' has no value 'eraly', did you mean 'early'?",
      "2:63 unknown variable 'tuesday'"]),
    ("\r|variable x in {a b}\r|\r",
     ["2:17 ',' is missing after 'a'"]),
    ("V|c: weight = inf tipe = linear -inf(x,a) <= 1",
     ["3:17 expected 'type', found 'tipe'",
      "3:31 inf cannot have a sign: write '-2147483647'"]),
    ("V|c: weight = 1 type = alldiff(x, y)",
     ["3:29 unexpected '(' in an alldiff: write 'alldiff x y ;'"]),
    ("V|c: weight = 1 type = alldiff x y|variable z in {a}",
     ["3:33 ';' is missing after the variables of an alldiff",
      "4:1 declare variables before the first constraint, which is on line 3"]),
    ("V|c: weight = 1 type = linear 2 <= 1",
     ["3:31 expected '(', found '<': a term is a coefficient and a label, '1(x, a)'"]),
    ("V|weight = 1 type = linear 2(x,a) <= 1",
     ["3:1 a constraint starts with its name: write 'NAME: weight = 1'"]),
    ("V|c: weight = 1 type = linear 1(x) <= 1",
     ["3:32 a label is a variable and a value: write '(x, VALUE)'"]),
    ("V|c: weight = 1 type = linear 1(x,a,b) <= 1",
     ["3:34 a label is one variable and one value: expected ')', found ','"]),
    ("V|c: weight = 1 type = linear 1(x a) <= 1",
     ["3:32 ',' is missing after 'x'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <=|d: weight = 1 type = alldiff x y ;",
     ["3:38 a bound is missing"]),
    ("V|c: weight == 1 type = linear 1(x,a) <= 1",
     ["3:12 use a single '=': remove the second"]),
    ("V|c: weight = 1e3 type = linear 1(x,a) <= 1",
     ["3:13 expected a weight, found '1e3': use digits only"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 }",
     ["3:41 '}' is unmatched: remove it"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 )",
     ["3:41 ')' is unmatched: remove it"]),
    ("V|c: weight = 1 type = quadratic 1(x,a),(y,b) <= 1",
     ["3:38 no ',' between the labels of a term: remove it"]),
    ("V|c:",
     ["3:3 'weight' is missing"]),
    ("variable x in",
     ["1:14 expected '{', found the end of the model: write 'variable x in {a, b}'"]),
    ("variable x in {a, -",
     ["1:19 expected a value, found '-'"]),
    ("variable caf\xc3\xa9 in {a}",
     ["1:10 the name is in UTF-8, but models are read as Shift_JIS: use ASCII, or convert the model with 'iconv -f UTF-8 -t SHIFT_JIS'"]),
    ("V|c: weight = 1 type = linear 1(x,a) \xe2\x89\xa4 1",
     ["3:36 write '<='"]),
    ("variable x in {\xe3\x81\x82, b}",
     ["1:20 the name is in UTF-8, but models are read as Shift_JIS: use ASCII, or convert the model with 'iconv -f UTF-8 -t SHIFT_JIS'"]),
    ("\xef\xbb\xbfvariable x in {a}",
     ["1:1 the model starts with a byte-order mark: save it without one, for example with 'tail -c +4'"]),
    ("\xff\xfev\x00a\x00r\x00",
     ["1:1 the model is in UTF-16: convert it with 'iconv -f UTF-16 -t ASCII'"]),
    ("v\x00a\x00r\x00i\x00",
     ["1:1 the model is in UTF-16: convert it with 'iconv -f UTF-16 -t ASCII'"]),
    # An error in a name is reported once.
    ("V|c: weight = 1 type = linear 1(z,a) 1(z,b) = 0", ["3:31 unknown variable 'z'"]),
    ("variable z in {a, b|variable y in {c}|c: weight = 1 type = linear 1(z,q) = 0",
     ["1:20 '}' is missing after 'b'"]),
]

# Texts that look wrong but are correct; most random errors are put into these.
ODD = [
    GOOD, "", "# nothing", "target = inf target = -5 target = 6",
    "variable x in {0, 007, -1, inf, =, in} variable EOF in{};",
    "variable b in {x; target=1 variable a in {x)",
    "V|1: weight=-3 type=linear inf(x,a) 1(x,a) > = -2 : : weight = 1 type = linear = 0",
    "V|c: weight=5 type=quadratic 4(x,b)(y,b) +3(x,a)(x,a) < = 0 ;: weight = 1 type = linear = 0",
    "V|d: weight=1 type=alldiff y x y , d: weight=1 type=alldiff y. variable: weight=1 type=alldiff : 99999999999: weight=1 type=linear=0",
    "V|weight: weight=1 type=alldiff x y : weight: weight=1 type=linear\n1(x\n,\na)<=0",
]

# Warnings, each with its kind in brackets.
C = "c: weight = inf type = linear 1(x,a) = 1|"
XY = "1(x,a)(y,b) 1(x,b)(y,a)"
XYZ = "".join("variable %s in {a, b, c}|" % v for v in "xyz")
WARNINGS = [
    ("V|c: weight = 0 type = linear 1(x,a) 1(y,a) = 1|d: weight = -3 type = alldiff x y ;",
     ["3: constraint 'c' costs nothing: its weight is 0 [weight-zero]",
      "4: constraint 'd' costs nothing: its weight is -3 [weight-zero]"]),
    ("V|c: weight = 2147483647 type = alldiff x y ;",
     ["3: constraint 'c' is hard: a weight of 2147483647 means inf [hard-number]"]),
    ("target = 3 target = 4|target = 5|V|c: weight = 1 type = alldiff x y ;",
     ["1: a second target is ignored: the first is on line 1 [target]",
      "2: a second target is ignored: the first is on line 1 [target]"]),
    ("target = -1 target = 4|V|c: weight = 1 type = alldiff x y ;",
     ["1: a negative target counts as 0: remove it [target]"]),
    ("# no model", [" the model has no variables [no-variable]",
                    " the model has no constraints: all assignments are equally good [no-constraint]"]),
    ("V|c: weight = 1 type = linear 1(x,a) 2(y,a) <= 3",
     ["3: no assignment violates constraint 'c': its sum is from 0 to 3 [never-violated]"]),
    ("V|c: weight = 1 type = linear 1(x,a) 2(y,a) 1(x,b) 2(y,b) = 4",
     ["3: no assignment satisfies constraint 'c': its sum is always 3 [never-satisfied]"]),
    ("# a\rb|V|c: weight = 1 type = alldiff x y ;",
     ["1: a carriage return without a newline does not end a line: a comment may swallow the text after it [carriage-return]"]),
    ("variable x in {a, (}|variable y in {a, }}c: weight = 1 type = linear 1(x,a) 1(y,a) = 1",
     ["1: the symbol '(' is a value of 'x' [symbol-value]",
      "2: the symbol '}' is a value of 'y' [symbol-value]"]),
    ("variable x in {a, b)|variable y in {a, b}|c: weight = 1 type = alldiff x y ,",
     ["1: ')' closes the list of values: write '}' [closing-sign]",
      "3: ',' closes the list of an alldiff: write ';' [closing-sign]"]),
    # Conflicts: over one variable, over one pair, and along a chain.
    ("V|" + C + "d: weight = inf type = linear 1(x,b) 1(y,b) = 2",
     ["4: cannot be satisfied together: 'c' (line 3), 'd' (line 4): 'c' excludes x = b; no value is left for 'd' [conflict]"]),
    ("V|c: weight = inf type = quadratic %s = 1|d: weight = inf type = quadratic %s = 0" % (XY, XY),
     ["4: cannot be satisfied together: 'c' (line 3), 'd' (line 4): no value is left for 'd' [conflict]"]),
    ("V|e: weight = inf type = alldiff x y ;|f: weight = inf type = quadratic %s = 0" % XY,
     ["4: cannot be satisfied together: 'e' (line 3), 'f' (line 4): no value is left for 'f' [conflict]"]),
    (XYZ + C + "d: weight = inf type = linear 1(y,a) 1(y,b) = 1|e: weight = inf type = alldiff x y z ;|f: weight = inf type = linear 1(y,b) 1(z,c) = 0|g: weight = inf type = linear 1(z,a) 1(z,b) 1(x,b) <= 1",
     ["7: cannot be satisfied together: 'c' (line 4), 'd' (line 5), 'e' (line 6), 'f' (line 7): 'c' excludes x = b, x = c; 'd' excludes y = c; 'e' excludes y = a, z = a; no value is left for 'f' [conflict]"]),
]

# Tokens that random errors put in.
TOKENS = ("variable target in weight type linear alldiff quadratic inf EOF x y a 1 99999999999 { } , ; : = < > ( ) - + . * # \" \x81 \xe3\x81\x82 \xff\xfe \xef\xbb\xbf \0").split(" ")


def run(arguments, program=None):
    return subprocess.run([program or PROGRAM, *arguments], capture_output=True, timeout=60,
                          check=False)


def write(text):
    pathlib.Path("m").write_bytes(text.encode("latin-1"))


def expand(text):
    return text.replace("V|", V).replace("|", "\n")


def check(what, got, expected):
    if got != expected:
        sys.exit("%s\nexpected %r\ngot      %r" % (what, expected, got))


def judge(texts):
    """For each text the errors and warnings, and whether the solver refuses it."""
    coded = [text.encode("latin-1") for text in texts]
    done = subprocess.run([MANY], input=b"".join(b"%d\n%s" % (len(c), c) for c in coded),
                          capture_output=True, timeout=300, check=True)
    results, lines = [], []
    for line in done.stdout.decode().splitlines():
        if line.startswith("= "):
            results.append((lines, line == "= 1"))
            lines = []
        else:
            lines.append(line)
    check("results", len(results), len(texts))
    return results


def check_errors():
    for text, errors in ERRORS:
        write(expand(text))
        done = run(["--quiet", "m"])
        expected = ["m:" + error.replace(" ", ": error: ", 1) for error in errors]
        check(text, (done.returncode, done.stderr.decode().splitlines(), done.stdout),
              (1, expected, b""))


def check_odd():
    for text in ODD:
        write(expand(text))
        check(text, (run(["m"]).returncode, run(["-inputfile", "m", "-iteration", "0"],
                                                SOLVER).returncode), (0, 0))


def check_warnings():
    for text, warnings in WARNINGS:
        write(expand(text))
        done = run(["m"])
        expected = ["m:%s warning: %s" % tuple(w.split(" ", 1)) for w in warnings]
        check(text, (done.returncode, done.stderr.decode().splitlines()), (0, expected))
    write(V + "c: weight = 0 type = alldiff x y ;" * 30)
    check("many", run(["m", "--no-warn", "duplicate-name"]).stderr.decode().splitlines()[-1],
          "m: warning: 10 more like these [weight-zero]")


def hard_constraint(rng, names):
    """A hard constraint: its text, its variables and whether an assignment meets it."""
    scope = sorted(rng.sample(names, rng.choice([1, 2, 2, 2, len(names)])))
    if rng.random() < 0.3 and len(scope) > 1:
        return ("alldiff %s ;" % " ".join(scope), scope,
                lambda at: len({at[v] for v in scope}) == len(scope))
    labels = [(v, a) for v in scope for a in "abc" if rng.random() < 0.6] or [(scope[0], "a")]
    size = rng.choice([1, 2])
    terms = [(rng.choice([-2, -1, 1, 1, 1, 2]), [label] if size == 1 else
              [label, rng.choice(labels)]) for label in labels]
    relation, bound = rng.choice(["<=", ">=", "="]), rng.choice([-1, 0, 1, 1, 2])

    def is_met(at):
        total = sum(c for c, on in terms if all(at[v] == a for v, a in on))
        return {"<=": total <= bound, ">=": total >= bound, "=": total == bound}[relation]
    text = " ".join(str(c) + "".join("(%s,%s)" % label for label in on) for c, on in terms)
    return ("%s %s %s %d" % (["linear", "quadratic"][size - 1], text, relation, bound),
            sorted({v for _, on in terms for v, _ in on}), is_met)


def check_conflicts():
    """Reported conflicts are real, and all conflicts over one or two variables are found."""
    rng, conflicts, cases = random.Random(COUNT), 0, []
    for _ in range(COUNT):
        names = ["x", "y", "z", "w"][:rng.choice([2, 3, 4])]
        rows = [hard_constraint(rng, names) for _ in range(rng.randint(2, 6))]
        text = "".join("variable %s in {a, b, c}\n" % v for v in names)
        text += "".join("c%d: weight = inf type = %s\n" % (i, row[0]) for i, row in enumerate(rows))
        cases.append((text, names, rows))
    for (text, names, rows), (said, _) in zip(cases, judge([text for text, _, _ in cases])):
        every = [dict(zip(names, values))
                 for values in itertools.product("abc", repeat=len(names))]

        def is_possible(numbers, rows=rows, every=every):
            return any(all(rows[i][2](at) for i in numbers) for at in every)
        claims = []
        for line in said:
            if line.endswith(" [conflict]"):
                claims.append([int(c) for c in re.findall(r"'c(\d+)' \(line", line)])
            elif line.endswith(" [never-satisfied]"):
                claims.append([int(line.split(":")[1]) - 1 - len(names)])
        for claim in claims:
            check((text, claim), is_possible(claim), False)
        conflicts += bool(claims)
        check((text, said), any(
            not is_possible((i, k)) for i, k in itertools.combinations(range(len(rows)), 2)
            if len(set(rows[i][1] + rows[k][1])) <= 2) and not claims, False)
    print("%d random models, %d with a conflict" % (COUNT, conflicts))


def check_options():
    unused = "m: warning: 1 in no constraint: 'y' [unused-variable]\n"
    model = V + "c: weight = 1 type = linear 1(x,a) = 1\n"
    summary = ("2 variables, 4 values, 4 assignments; 1 constraint: 1 linear, 0 quadratic, 0 alldiff, 0 hard, 1 soft; 1 term\n")
    write(model)
    for options, status, out, err in [
            ([], 0, summary, unused), (["--strict"], 1, summary, unused),
            (["--strict", "--no-warn", "unused-variable"], 0, summary, ""),
            (["--quiet"], 0, "", ""), (["--quiet", "--strict"], 1, "", ""),
            (["--no-warn", "unused-variable", "--no-warn", "utf-8"], 0, summary, "")]:
        done = run(["m", *options])
        check(options, (done.returncode, done.stdout.decode(), done.stderr.decode()),
              (status, out, err))
    check("kind", run(["m", "--no-warn", "all"]).returncode, 2)
    output = json.loads(run(["m", "--json"]).stdout)
    check("json", (output["status"], output["errors"], output["warnings"][0]["kind"],
                   output["verdict"] + "\n"), (0, [], "unused-variable", summary))
    write(GOOD.replace("(x", "(xx"))
    check("json", json.loads(run(["m", "--json"]).stdout)["errors"],
          [{"line": 3, "column": 31, "length": 2, "message": "unknown variable 'xx'"}])
    write(V + "c: weight = 1 type = linear 1(x,q) = 1\n" +
          "d: weigth = 1 type = alldiff x y ;\n" * 150)
    lines = run(["m"]).stderr.decode().splitlines()
    check("many", (len(lines), lines[-1]), (101, "m: the first 100 of 151 errors"))


def check_terminal():
    """The line and a caret, which tabs and long lines do not move; colours."""
    for text, shown in (
            ("\tvariable x in\t{a b}\r\n", "   variable x in {a b}\n" + " " * 19 + "^\n"),
            ("variable x in {" + "a" * 100 + " b}", "  " + "a" * 60 + " b}\n" + " " * 62 + "^\n")):
        for colour in "", "1":
            write(text)
            ours, theirs = pty.openpty()
            subprocess.run([PROGRAM, "m"], stderr=theirs, check=False, timeout=60,
                           env={"NO_COLOR": colour} if colour else {})
            os.close(theirs)
            out = os.read(ours, 4096).decode().replace("\r\n", "\n")
            os.close(ours)
            check(text, "\x1b[1;31merror:" in out, colour == "")
            out = re.sub("\x1b\\[[0-9;]*m", "", out)
            check(text, out.partition("\n")[2], shown)


def damaged(rng, text):
    for _ in range(rng.randint(0, 2)):
        tokens = re.findall(r"\w+|\s+|.", text, re.S) or [""]
        k, way = rng.randrange(len(tokens)), rng.randrange(4)
        tokens[k:k + (way != 0)] = [[rng.choice(TOKENS)], [rng.choice(tokens)], [],
                                    [rng.choice(TOKENS), tokens[k]]][way]
        text = "".join(tokens)
    return text


def check_damaged():
    rng = random.Random(COUNT)
    texts = [expand(text) for text in [text for text, _ in ERRORS] + ODD * 30]
    texts += [path.read_text("latin-1") for path in EXAMPLES.glob("*.model")
              if path.stat().st_size < 2000]
    cases = [damaged(rng, rng.choice(texts)) for _ in range(COUNT)]
    results = judge(cases)
    for text, (said, is_refused) in zip(cases, results):
        check(text, any(re.match(r"m:\d+:\d+: error: ", line) for line in said), is_refused)
    print("%d damaged models, %d refused" % (COUNT, sum(refused for _, refused in results)))


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        check_errors()
        check_odd()
        check_warnings()
        check_conflicts()
        check_options()
        check_terminal()
        check_damaged()


if __name__ == "__main__":
    main()

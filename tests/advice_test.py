#!/usr/bin/env python3
"""Tests what wcsp-check says of a model alone: texts against whole messages.

Usage: advice_test.py PROGRAM SOLVER [COUNT]. A fault is told exactly where the
solver refuses the model; COUNT random slips in models are compared.
"""

import json
import os
import pathlib
import pty
import random
import re
import subprocess
import sys
import tempfile

PROGRAM, SOLVER = sys.argv[1:3]
COUNT = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"
V = "variable x in {a, b}\nvariable y in {a, b}\n"
GOOD = V + "c: weight = 1 type = linear 1(x,a) 1(y,a) = 1\n"

# A text, "|" for a line break and a first "V|" for V, and its faults.
FAULTS = [
    ("variable 3 in {a}",
     ["1:10 expected the name of a variable, found '3': a name holds a letter, as in 'x3'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1|variable z in {a}|d: weight = 1 type = linear "
     "1(z,a) <= 1",
     ["4:1 variables come first: move this above the first constraint, on line 3"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1|target = 0",
     ["4:1 the target comes first: move this above the first constraint, on line 3"]),
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
     ["3:31 the variables of an alldiff stand without ',': write 'alldiff x y ;'"]),
    ("V|c: weight = 1 type = alldiff x y|d: weight = 1 type = alldiff x y ;",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = alldiff x y|x: weight = 1 type = alldiff x y ;",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = alldiff x y",
     ["3:33 ';' is missing after the variables of an alldiff"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 ;|d: weight = 1 type = linear 1(x,a) <= 1;",
     ["3:41 a linear or quadratic constraint ends with its bound: remove ';'",
      "4:40 a linear or quadratic constraint ends with its bound: remove ';'"]),
    ("variable x in {a, b, }|variable y in {a}",
     ["1:20 no ',' after the last value: remove it"]),
    ("variable x in {}|variable y in {a}",
     ["1:16 a variable needs a value: write {a, b}"]),
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
     ["3:36 a sum cannot be told to differ from a number: write '<=', '>=' or '='"]),
    ("V|c: weight = 1 type = linear (x,a) (y,b) <= 1",
     ["3:29 a term begins with its coefficient: write '1('",
      "3:35 a linear term has one label: write a coefficient, '1(', before the next term, or "
      "'type = quadratic'"]),
    ("V|c: weight = 1 type = linear 1(x,a) + 1(y,b) <= 1",
     ["3:36 terms stand side by side: remove '+'"]),
    ("V|c: weight = 1 type = linear 2*(x,a) <= 1",
     ["3:30 a coefficient touches its label: remove '*'"]),
    ("V|c: weight = 1 type = linear 1(x,a) - 2(y,a) <= - 1",
     ["3:36 a sign touches its number: write '-2'",
      "3:48 a sign touches its number: write '-1'"]),
    ("V|c: weight = 1.5 type = linear 1.5(x,a) <= 1.5",
     ["3:13 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are",
      "3:31 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are",
      "3:43 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are"]),
    ("V|c: weight = 1 type = linear 1.5(x,a) <= 1.5",
     ["3:29 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are",
      "3:41 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1.5|",
     ["3:39 '1.5' is no whole number: multiply all of the same sum, or all weights, until they "
      "are"]),
    ("V|c: weight = INF type = linear 1(x,a) <= infinity",
     ["3:13 expected a weight, found 'INF': write 'inf'",
      "3:41 expected a bound, found 'infinity': write 'inf'"]),
    ("V|c: weight = 1 type = linear 1(x,a)(y,b) <= 1",
     ["3:35 a linear term has one label: write a coefficient, '1(', before the next term, or "
      "'type = quadratic'"]),
    ("V|c: weight = 1 type = quadratic 1(x,a) 1(y,b) <= 1",
     ["3:38 a quadratic term has two labels, '1(x, a)(y, b)': write the second, or 'type = "
      "linear'"]),
    ("variable x in {9:30, 10:00}",
     ["1:16 '9:30' is no value: letters, digits and _ [ ] @ make one; write '9_30'"]),
    ("variable x in {1..5}",
     ["1:16 '1..5' is no value: letters, digits and _ [ ] @ make one; write every value, as in "
      "{1, 2, 3}"]),
    ("variable x in {day, night-shift}|variable night-shift in {a}",
     ["1:21 'night-shift' is no value: letters, digits and _ [ ] @ make one; write "
      "'night_shift'",
      "2:10 'night-shift' is no name: letters, digits and _ [ ] @ make one; write 'night_shift'"]),
    ("V|c: weight = 1 type = linear 1(x,night-shift) <= 1",
     ["3:33 'night-shift' is no name: letters, digits and _ [ ] @ make one; write 'night_shift'"]),
    ("V|9:30: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 '9:30' is no name: letters, digits and _ [ ] @ make one; write '9_30'"]),
    ("V|night-shift: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 'night-shift' is no name: letters, digits and _ [ ] @ make one; write 'night_shift'"]),
    ("V|my rule: weight = 1 type = linear 1(x,a) <= 1",
     ["3:1 a name is one word: write 'my_rule'"]),
    ("V|c weight = 1 type = linear 1(x,a) <= 1",
     ["3:2 ':' is missing after the name: write 'c: weight'"]),
    ("V|c: weight 1 type linear 1(x,a) <= 1",
     ["3:10 '=' is missing after 'weight'",
      "3:17 '=' is missing after 'type'"]),
    ("V|c: type = linear 1(x,a) <= 1",
     ["3:4 the weight is missing: write 'weight = inf' or 'weight = 1' before 'type'"]),
    ("V|c: weight = 1, type = linear 1(x,a) <= 1",
     ["3:14 no ',' before 'type': remove it"]),
    ("V|c: weight = 1 type = Linear 1(x,a) <= 1",
     ["3:22 unknown type 'Linear': write 'linear'"]),
    ("V|c: weight = 1 type = alldifferent x y ;",
     ["3:22 unknown type 'alldifferent': write 'alldiff'"]),
    ("V|c: weight = 1 type = sum 1(x,a) <= 1",
     ["3:22 expected 'linear', 'quadratic' or 'alldiff', found 'sum'"]),
    ("V|c: weight = 1 type = linear 1(x,a)|d: weight = 1 type = linear 1(x,a) <= 1",
     ["3:35 the relation is missing: write '<= N', '>= N' or '= N'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1(y,a)",
     ["3:40 terms stand before the relation: bring all to its left"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 1(y,a)",
     ["3:41 terms stand before the relation: bring all to its left"]),
    ("V|c: weight = 1 type = linear x + y <= 1",
     ["3:29 expected a term or a relation, found 'x'"]),
    ("V|c: weight = 1 type = linear 1(x=a) <= 1",
     ["3:32 expected ',', found '='"]),
    ("V|c: weight = 1 type = linear 1(a,x) <= 1",
     ["3:31 unknown variable 'a': a variable comes first, write '(x, a)'"]),
    ("V|c: weight = 3000000000 type = linear 1(x,a) <= 1",
     ["3:13 '3000000000' is too large: write a number from -2147483648 to 2147483647, or inf"]),
    ("x in {a, b}",
     ["1:1 expected 'variable' before 'x': write 'variable x in {a, b}'"]),
    ("variable x {a, b}",
     ["1:11 'in' is missing before '{'"]),
    ("variable x = {a, b}",
     ["1:12 expected 'in', found '='"]),
    ("variable x, y in {a, b}",
     ["1:11 a statement declares one variable: write 'variable' for each"]),
    ("variable x in {\"a\", \"b\"}",
     ["1:16 names stand without quotes: remove '\"'"]),
    ("variable x in {a b}",
     ["1:17 ',' is missing after 'a'"]),
    ("variable x in {a; b}",
     ["1:17 values are separated by ',': replace ';'"]),
    ("variable x in [a, b]",
     ["1:15 expected '{', found '[a': write 'variable x in {a, b}'"]),
    ("c: weight = 1 type = linear 1(x,a) <= 1",
     ["1:1 there is no variable: write 'variable x in {a, b}' above the first constraint",
      "1:31 unknown variable 'x'"]),
    ("target : 4",
     ["1:8 the first constraint cannot have the name 'target': rename it"]),
    ("variable x in {a};|variable y in {b};|c: weight = 1 type = linear 1(x,a) <= 1(y,b)",
     ["1:18 a list of values ends with '}': remove ';'",
      "2:18 a list of values ends with '}': remove ';'",
      "3:40 terms stand before the relation: bring all to its left"]),
    ("V|c: weight = 1 type = linear .5(x,a) <= 1",
     ["3:29 the relation is missing: write '<= N', '>= N' or '= N' instead of '.'"]),
    ("variable x in {a}|variable x in {a, a}",
     ["2:10 variable 'x' is defined twice, first on line 1",
      "2:19 value 'a' is defined twice in 'x'"]),
    ("variable monday in {early, late}|c: weight = 1 type = linear 1(mondya,early) "
     "1(monday,eraly) 1(tuesday,early) <= 1",
     ["2:31 unknown variable 'mondya', did you mean 'monday'?",
      "2:54 'monday' has no value 'eraly', did you mean 'early'?",
      "2:63 unknown variable 'tuesday'"]),
    ("\r|variable x in {a b}\r|\r",
     ["2:17 ',' is missing after 'a'"]),
    ("V|c: weight = inf tipe = linear -inf(x,a) <= 1",
     ["3:17 expected 'type', found 'tipe'",
      "3:31 inf has no sign: write '-2147483647'"]),
    ("V|c: weight = 1 type = alldiff(x, y)",
     ["3:29 the variables of an alldiff stand without '(': write 'alldiff x y ;'"]),
    ("V|c: weight = 1 type = alldiff x y|variable z in {a}",
     ["3:33 ';' is missing after the variables of an alldiff",
      "4:1 variables come first: move this above the first constraint, on line 3"]),
    ("V|c: weight = 1 type = linear 2 <= 1",
     ["3:31 expected '(', found '<': a term is a coefficient and a label, '1(x, a)'"]),
    ("V|weight = 1 type = linear 2(x,a) <= 1",
     ["3:1 a constraint begins with its name: write 'NAME: weight = 1'"]),
    ("V|c: weight = 1 type = linear 1(x) <= 1",
     ["3:32 a label is a variable and a value: write '(x, VALUE)'"]),
    ("V|c: weight = 1 type = linear 1(x,a,b) <= 1",
     ["3:34 a label is one variable and one value: expected ')', found ','"]),
    ("V|c: weight = 1 type = linear 1(x a) <= 1",
     ["3:32 ',' is missing after 'x'"]),
    ("V|c: weight = 1 type = linear 1(x,a) <=|d: weight = 1 type = alldiff x y ;",
     ["3:38 a bound is missing"]),
    ("V|c: weight == 1 type = linear 1(x,a) <= 1",
     ["3:12 a single '=' here: remove the second"]),
    ("V|c: weight = 1e3 type = linear 1(x,a) <= 1",
     ["3:13 expected a weight, found '1e3': write digits only"]),
    ("V|c: weight = 1 type = linear 1(x,a) <= 1 }",
     ["3:41 '}' closes nothing: remove it"]),
    ("V|c: weight = 1 type = quadratic 1(x,a),(y,b) <= 1",
     ["3:38 the labels of a term touch: remove ','"]),
    ("V|c:",
     ["3:3 'weight' is missing"]),
    ("variable x in",
     ["1:14 expected '{', found the end of the model: write 'variable x in {a, b}'"]),
    ("variable x in {a, -",
     ["1:19 expected a value, found '-'"]),
    ("variable caf\xc3\xa9 in {a}",
     ["1:10 a name in UTF-8, which is read as Shift_JIS: write ASCII, or save the model with "
      "'iconv -f UTF-8 -t SHIFT_JIS'"]),
    ("V|c: weight = 1 type = linear 1(x,a) \xe2\x89\xa4 1",
     ["3:36 write '<='"]),
    ("variable x in {\xe3\x81\x82, b}",
     ["1:20 a name in UTF-8, which is read as Shift_JIS: write ASCII, or save the model with "
      "'iconv -f UTF-8 -t SHIFT_JIS'"]),
    ("\xef\xbb\xbfvariable x in {a}",
     ["1:1 the text starts with a byte-order mark: save it without one, as with 'tail -c +4'"]),
    ("\xff\xfev\x00a\x00r\x00",
     ["1:1 the text is UTF-16: save it as 'iconv -f UTF-16 -t ASCII' does"]),
    ("v\x00a\x00r\x00i\x00",
     ["1:1 the text is UTF-16: save it as 'iconv -f UTF-16 -t ASCII' does"]),
    # What was wrong in a name is told once.
    ("V|c: weight = 1 type = linear 1(z,a) 1(z,b) = 0", ["3:31 unknown variable 'z'"]),
    ("variable z in {a, b|variable y in {c}|c: weight = 1 type = linear 1(z,q) = 0",
     ["1:20 '}' is missing after 'b'"]),
]

# What looks wrong and is none; most slips are put into these.
ODD = [
    GOOD, "", "# nothing", "target = inf target = -5 target = 6",
    "variable x in {0, 007, -1, inf, =, in} variable EOF in{};",
    "variable b in {x; target=1 variable a in {x)",
    "V|1: weight=-3 type=linear inf(x,a) 1(x,a) > = -2 : : weight = 1 type = linear = 0",
    "V|c: weight=5 type=quadratic 4(x,b)(y,b) +3(x,a)(x,a) < = 0 ;: weight = 1 type = linear = 0",
    "V|d: weight=1 type=alldiff y x y , d: weight=1 type=alldiff y. "
    "variable: weight=1 type=alldiff : 99999999999: weight=1 type=linear=0",
    "V|weight: weight=1 type=alldiff x y : weight: weight=1 type=linear\n1(x\n,\na)<=0",
]

# Tokens that slips put in.
SLIPS = ("variable target in weight type linear alldiff quadratic inf EOF x y a 1 99999999999 "
         "{ } , ; : = < > ( ) - + . * # \" \x81 \xe3\x81\x82 \xff\xfe \xef\xbb\xbf \0").split(" ")


def run(arguments, program=None):
    return subprocess.run([program or PROGRAM, *arguments], capture_output=True, timeout=60,
                          check=False)


def write(text):
    pathlib.Path("m").write_text(text, "latin-1", newline="")


def expand(text):
    text = text.replace("|", "\n")
    return V + text[2:] if text.startswith("V\n") else text


def check(what, got, expected):
    if got != expected:
        sys.exit("%s\nexpected %r\ngot      %r" % (what, expected, got))


def check_faults():
    for text, faults in FAULTS:
        write(expand(text))
        done = run(["--quiet", "m"])
        expected = ["m:" + fault.replace(" ", ": error: ", 1) for fault in faults]
        check(text, (done.returncode, done.stderr.decode().splitlines(), done.stdout),
              (1, expected, b""))


def check_odd():
    for text in ODD:
        write(expand(text))
        check(text, (run(["m"]).returncode, run(["-inputfile", "m", "-iteration", "0"],
                                                SOLVER).returncode), (0, 0))


def check_options():
    unused = "m: warning: 1 in no constraint: 'y'\n"
    model = V + "c: weight = 1 type = linear 1(x,a) = 1\n"
    summary = ("2 variables, 4 values, 4 assignments; 1 constraint: 1 linear, 0 quadratic, "
               "0 alldiff, 0 hard, 1 soft; 1 term\n")
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
    found = json.loads(run(["m", "--json"]).stdout)
    check("json", (found["status"], found["errors"], found["warnings"][0]["kind"],
                   found["verdict"] + "\n"), (0, [], "unused-variable", summary))
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


def slipped(rng, text):
    for _ in range(rng.randint(0, 2)):
        tokens = re.findall(r"\w+|\s+|.", text, re.S) or [""]
        k, way = rng.randrange(len(tokens)), rng.randrange(4)
        tokens[k:k + (way != 0)] = [[rng.choice(SLIPS)], [rng.choice(tokens)], [],
                                    [rng.choice(SLIPS), tokens[k]]][way]
        text = "".join(tokens)
    return text


def check_slips():
    rng = random.Random(COUNT)
    texts = [expand(text) for text in [text for text, _ in FAULTS] + ODD * 30]
    texts += [path.read_text("latin-1") for path in EXAMPLES.glob("*.model")
              if path.stat().st_size < 2000]
    refused = 0
    for _ in range(COUNT):
        text = slipped(rng, rng.choice(texts))
        write(text)
        status = run(["-inputfile", "m", "-iteration", "0"], SOLVER).returncode
        refused += status == 5
        check(text, run(["m"]).returncode, int(status == 5))
    print("%d slips, %d refused" % (COUNT, refused))


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        check_faults()
        check_odd()
        check_options()
        check_terminal()
        check_slips()


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Tests wcsp-polish --bound: bound_test.py PROGRAMS EXAMPLES [SIGNALS [SEED]].

PROGRAMS is the folder of wcsp-polish. With SIGNALS it sends so many signals at random
moments instead. A program in place of cbc shows what becomes of its words.
"""

import collections
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import uuid

POLISH = os.path.abspath(sys.argv[1]) + "/wcsp-polish"
EXAMPLES = pathlib.Path(sys.argv[2]).resolve()
CBC = shutil.which("cbc")

# Penalties from 0/0 (a a) to 0/9; with `a b` 1/0.
MODEL = """variable x in {a, b, c}
variable y in {a, b}
c: weight = 9 type = linear 1(x,b) <= 0
d: weight = 4 type = linear 1(x,c) <= 0
e: weight = inf type = quadratic 1(x,a)(y,b) <= 0
"""
# Cannot keep its hard constraint; the least is 1/3, by `b`.
CONFLICT = """variable x in {a, b}
c: weight = inf type = linear 2(x,a) 1(x,b) <= 0
d: weight = 3 type = linear 1(x,b) <= 0
"""


def hold(what, condition, shown=""):
    if not condition:
        sys.exit(f"{what}\n{shown}")


def expect(what, got, expected):
    hold(what, got == expected, f"expected {expected!r}\ngot      {got!r}")


def bound(*arguments, text=None, path=None):
    done = subprocess.run([POLISH, "--bound", *arguments], check=False, input=text,
                          capture_output=True, text=True, timeout=120, errors="backslashreplace",
                          env=dict(os.environ, PATH=path or os.environ["PATH"]))
    return done.returncode, done.stdout, done.stderr


def in_place_of_cbc(script):
    """The path of a folder with this shell script as cbc. $last is the solution file."""
    folder = pathlib.Path("fake").resolve()
    folder.mkdir(exist_ok=True)
    (folder / "cbc").write_text(f"#!/bin/sh\nfor last; do :; done\n{script}\n", "utf-8")
    (folder / "cbc").chmod(0o755)
    return f"{folder}:{os.environ['PATH']}"


def stopped(lower, heading="Stopped on time (no integer solution - continuous used)"):
    return (f"echo; echo Result - Stopped on time limit; echo; echo 'Lower bound:  {lower}'; "
            f"echo '{heading} - objective value 1.5' >$last; echo '  0 x1  0.5  0' >>$last")


# What cbc does, a report, and the answer with its status.
WORDS = [
    (stopped("7.000"), "x: b", 0,
     "cbc reports a lower bound of 0/7; this report has 0/9, at most 28.6 % above"),
    (stopped("8.000"), "x: b", 0,
     "cbc reports a lower bound of 0/8; this report has 0/9, at most 12.5 % above"),
    (stopped("7.9999931"), "x: b", 0,
     "cbc reports a lower bound of 0/8; this report has 0/9, at most 12.5 % above"),
    (stopped("7.00001"), None, 0, "cbc reports a lower bound of 0/8"),
    (stopped("7.000001"), None, 0, "cbc reports a lower bound of 0/7"),
    (stopped("8.2"), "x: b", 0, "optimal, says cbc"),
    (stopped("0"), "x: b", 0,
     "cbc reports a lower bound of 0/0; this report has 0/9, at most 9 above"),
    (stopped("-3e9"), "x: c", 0,
     "cbc reports a lower bound of 0/0; this report has 0/4, at most 4 above"),
    (stopped("10"), "x: b", 2, "cbc reports a lower bound of 0/10: the report refutes this"),
    (stopped("1e+50"), "x: b", 0, "no bound from cbc"),
    (stopped("nan"), "x: b", 0, "no bound from cbc"),
    ("echo Infeasible - objective value 0 >$last", "x: b", 2,
     "cbc finds no assignment without hard violations: the report refutes this"),
    ("echo Infeasible - objective value 0 >$last", None, 0, "hard: at least 1; soft: no bound"),
    # The hard penalty is least, so the soft one gets the same bound, which is too high.
    (stopped("0.3"), "x: a y: b", 2, "cbc reports a lower bound of 1/1: the report refutes this"),
    (stopped("0"), "x: a y: b", 0, "hard: at least 0; soft: no bound"),
    (stopped("2"), "x: a y: b", 2, "hard: at least 2; soft: no bound: the report refutes this"),
    ("", None, 0, "no bound from cbc: cbc did not end in time"),
    ("exit 3", None, 0, "no bound from cbc: cbc did not end in time"),
    ("kill -9 $$", None, 0, "no bound from cbc: cbc did not end in time"),
    ("cat /dev/zero | head -c 1000000 | tee $last", None, 0, "no bound from cbc"),
    ("trap '' TERM INT; sleep 60 & sleep 60", None, 0, "no bound from cbc: cbc did not end"),
]


def words():
    for script, report, status, answer in WORDS:
        begin = time.monotonic()
        got = bound("m", *(["-"] if report else []), "--engine", "cbc", "--time", "2", text=report,
                    path=in_place_of_cbc(script))
        what = (script, report)
        expect(what, got[0], status)
        hold(what, (got[2] if status else got[1]).replace("wcsp-polish: ", "").startswith(answer),
             got)
        expect(what, (got[1], got[2])[status == 0], "")
        hold(what, time.monotonic() - begin < 8)


def engines():
    """Real ones: the words, the start that cbc takes, and what is missing."""
    for engine, name, count in ("cbc", "cbc", 7), ("highs", "HiGHS", 2), ("auto", "HiGHS", 1):
        for model, report, answer in [
                ("m", "x: a", f"optimal, says {name}"),
                ("m", "x: b", f"{name} reports a lower bound of 0/0; this report has 0/9, at most "
                              "9 above"),
                ("m", "y: b", "hard: at least 0; soft: no bound"),
                ("m", None, f"{name} reports a lower bound of 0/0"),
                ("conflict", "x: b", f"optimal, says {name}"),
                ("conflict", "x: a", "hard: at least 1; soft: no bound"),
                ("conflict", None, f"{name} reports a lower bound of 1/3")][-count:]:
            got = bound(model, *(["-"] if report else []), "--engine", engine, "--time", "20",
                        text=report)
            expect((engine, model, report), got, (0, answer + "\n", ""))
    path = in_place_of_cbc(f"{CBC} \"$@\" | tee {pathlib.Path('log').resolve()}")
    subprocess.run([POLISH, EXAMPLES / "knapsack.model", "--steps", "1", "-o", "report"],
                   check=True, stdout=subprocess.DEVNULL)
    got = bound(EXAMPLES / "knapsack.model", "report", "--engine", "cbc", "--time", "20", path=path)
    expect("knapsack", (got[0], got[2]), (0, ""))
    log = pathlib.Path("log").read_text("utf-8")
    hold("the start is taken", re.search(r"^MIPStart values read for 34 variables\.$", log, re.M)
         and "MIPStart provided solution with cost" in log, log)
    nothing = str(pathlib.Path("nothing").resolve())
    expect("no cbc", bound("m", "--engine", "cbc", path=nothing),
           (2, "", "wcsp-polish: the engine cbc is missing; install the package coinor-cbc\n"))
    expect("the other", bound("m", path=nothing), (0, "HiGHS reports a lower bound of 0/0\n", ""))


def arguments():
    pathlib.Path("none").write_text("", "utf-8")
    for given, message in [
            (["m", "--engine", "gurobi"], "--engine"),
            (["m", "--steps", "5"], "--steps"),
            (["m", "-o", "f"], "--output"),
            (["m", "--time", "0"], "a time must be above 0"),
            (["absent"], "cannot read 'absent'"),
            (["none"], "the model has no variables")]:
        got = bound(*given)
        expect(given, got[:2], (2, ""))
        hold(given, message in got[2] and got[2].count("\n") == 1, got[2])
    done = subprocess.run([POLISH, "m", "--engine", "cbc"], check=False, capture_output=True,
                          text=True)
    expect("without --bound", (done.returncode, "--bound" in done.stderr), (2, True))
    os.environ["TMPDIR"] = "/proc"
    expect("no folder", bound("m", "--engine", "cbc"),
           (2, "", "wcsp-polish: there can be no temporary folder in /proc\n"))
    del os.environ["TMPDIR"]


def left(mark):
    """Processes with this mark in their environment."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        try:
            if entry.name.isdigit() and mark in (entry / "environ").read_bytes():
                found.append((entry / "cmdline").read_bytes())
        except OSError:
            pass
    return found


def signals(count, seed):
    rng = random.Random(seed)
    outcomes = collections.Counter()
    pathlib.Path("temporary").mkdir()
    for number in range(count):
        sent = rng.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
        engine = rng.choice(["cbc", "highs", "auto"])
        what = f"trial {number} of seed {seed}: {sent.name} to {engine}"
        mark = uuid.uuid4().hex
        process = subprocess.Popen(
            [POLISH, "--bound", EXAMPLES / "ward-roster.model", "--engine", engine],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env=dict(os.environ, TMPDIR=os.path.abspath("temporary"), MARK=mark))
        time.sleep(rng.choice([rng.uniform(0, 0.3), rng.uniform(0, 3)]))
        process.send_signal(sent)
        out, errors = process.communicate(timeout=60)
        expect(what, (process.returncode, out, errors), (-sent, "", ""))
        deadline = time.monotonic() + 10
        while (left(mark.encode()) or os.listdir("temporary")) and time.monotonic() < deadline:
            time.sleep(0.02)
        expect(what, (left(mark.encode()), os.listdir("temporary")), ([], []))
        outcomes[engine, sent.name] += 1
    for outcome, number in sorted(outcomes.items()):
        print(number, *outcome)


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        # Under nohup and in the background of a shell, these would stay ignored.
        signal.signal(signal.SIGHUP, signal.SIG_DFL)
        signal.signal(signal.SIGINT, signal.default_int_handler)
        pathlib.Path("m").write_text(MODEL, "utf-8")
        pathlib.Path("conflict").write_text(CONFLICT, "utf-8")
        if len(sys.argv) > 3:
            signals(*map(int, (sys.argv[3:] + ["1"])[:2]))
            return
        for test in (words, engines, arguments):
            begin = time.monotonic()
            test()
            print(f"{test.__name__}: {time.monotonic() - begin:.1f} s")


main()

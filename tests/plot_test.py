#!/usr/bin/env python3
"""Tests wcsp-plot: plot_test.py PROGRAM WCSP MODEL. Pictures need gnuplot."""

import gzip
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

PROGRAM, WCSP, MODEL = map(os.path.abspath, sys.argv[1:4])
BARE = os.environ | {"PATH": "bin"}  # python3 and nothing else


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def plot(*arguments, environment=None, text=None):
    done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, input=text,
                          env=environment, timeout=60)
    return done.returncode, done.stdout, done.stderr


def log_of(*improved, time=2.0, iterations=1000, lines=()):
    """A log that ends; improved are (time, iteration, hard, soft)."""
    text = [f"penalty = {h}/{s} (hard/soft), time = {t:.2f}(s), iteration = {i}"
            for t, i, h, s in improved]
    t, i, h, s = improved[-1]
    return "\n".join([*text, *lines, "", "", f"# penalty = {h}/{s} (hard/soft)",
                      f"# cpu time = {t:.2f}/{time:.2f}(s)", f"# iteration = {i}/{iterations}",
                      "", "[best solution]", "penalty = 9/9 (hard/soft), time = 0.00(s), "
                      "iteration = 9"]) + "\n"


def save(name, text):
    pathlib.Path(name).write_text(text)
    return name


def check_table():
    save("a", log_of((0, 0, 2147483647, 2147483647), (0.5, 10, 0, 7), (1.5, 300, 0, 3)))
    save("b", log_of((0, 0, 1, 4), (0.25, 20, 0, 5), time=4.0))
    expect("table", plot("a", "b", "--target", "3")[1].split("\n")[-5:], [
        "log          best  time to it (s)  iteration  time (s)  iterations/s  time to 0/3 (s)",
        "a             0/3            1.50        300      2.00           500             1.50",
        "b             0/5            0.25         20      4.00           250                -",
        "median of 2   0/3            0.25         20      2.00           250           1 of 2",
        ""])
    with gzip.open("a.gz", "wb") as packed:
        packed.write(pathlib.Path("a").read_bytes())
    for name in ("a", "a.gz", "-"):
        rows = plot("--csv", name, text=pathlib.Path("a").read_text())[1].split("\n")
        expect(name, (rows[0], rows[1:4]), (
            "group,log,kind,time,iteration,hard,soft",
            [f",{name},best,0.0,0,2147483647,2147483647", f",{name},best,0.5,10,0,7",
             f",{name},best,1.5,300,0,3"]))
    # Every kind of line that the solver writes, those of a real run among them.
    save("c", log_of((0, 0, 8, 3), lines=[
        "20, 0.01(s), 4: 0->2, 5.25e+10 8/5, 8/3, t= 3, <4>(5/20)", "30, 0.02(s), 8/6, 8/3",
        "30, 0.02(s), #phases= 0, #runs= 0, length= 30.00, best/ub= 3.43597e+10/inf",
        "60, 0.04(s), #phases= 1, #runs= 2, length= 30.00, best/ub= 1/2, avg./max #iterations= 2/2",
        "70: No neighbor", "Kick (3 variables)", "sum squares = 0; recalculate"]))
    rows = plot("--csv", "c")[1].split("\n")
    expect("current", rows[2:4], [",c,current,0.01,20,8,5", ",c,current,0.02,30,8,6"])


def check_csv():
    """Rows in the order of the log; texts that are formulas only where wished."""
    save("mixed", log_of((0, 0, 0, 9), lines=["1, 0.01(s), 0/8, 0/9"]).replace(
        "\n\n\n", "\npenalty = 0/7 (hard/soft), time = 0.02(s), iteration = 2\n"
        "3, 0.03(s), 0/7, 0/7\n\n\n", 1))
    expect("in order", [row.split(",")[2:5] for row in plot("--csv", "mixed")[1].split("\n")[1:5]],
           [["best", "0.0", "0"], ["current", "0.01", "1"], ["best", "0.02", "2"],
            ["current", "0.03", "3"]])
    for name in ("=1+1", "+1", "-1", "@SUM(A1)", "a=1"):
        for options, mark in ([], ""), (["--safe"], "'" * (name[0] in "=+-@")):
            row = plot("--csv", *options, "--group", name, "b")[1].split("\n")[1]
            expect((name, options), row, f"{mark}{name},b,best,0.0,0,1,4")


def check_size():
    """A long log is thinned while it is read."""
    lines = [f"{i}, {i / 1000:.2f}(s), 0/{i % 977}, 0/5" for i in range(1, 500001)]
    save("long", log_of((0, 0, 0, 5), time=500, iterations=500000, lines=lines))
    began = subprocess.Popen([PROGRAM, "long", "--iterations", "-o", "long.svg"],
                             stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(began.pid, 0)
    expect("long", status, 0)
    expect("memory", usage.ru_maxrss < 100 * 1024, True)


# Best soft penalties of two groups, and the p-value of the two-sided test.
TESTS = [
    ((1, 2, 3), (4, 5, 6), "p = 0.1"),                       # exact, 2 / C(6, 3)
    ((1, 2, 3, 4, 5), (6, 7, 8, 9, 10), "p = 0.00794"),      # exact, 2 / C(10, 5)
    ((1, 4, 5), (2, 3, 6), "p = 1"),
    ((3, 3, 3), (3, 3, 3), "p = 1"),                         # no spread at all
    ((1, 2, 2, 3), (2, 3, 4, 4), "p = 0.134"),               # ties: normal
]


def check_tests():
    for first, second, expected in TESTS:
        names = [[save(f"{g}{i}", log_of((0.1, 1, 0, soft))) for i, soft in enumerate(sample)]
                 for g, sample in (("x", first), ("y", second))]
        printed = plot("--group", "x", *names[0], "--group", "y", *names[1])[1]
        expect((first, second), printed.strip().split("\n")[-1].split(", ")[-1], expected)


def check_pictures():
    for name, arguments, texts in (
            ("one", ["c"], ["best hard", "current", "run ends", "phase ends",
                            "dead ends", "kicks", "CPU time (s)", "hard penalty", "run length"]),
            ("many", ["a", "b", "--target", "4"], ["soft penalty", "all, median of 2",
                                                   "reached 0/4", "100 %"]),
            ("groups", ["--group", "it's <a>", "a", "b", "--group", "two", "b"],
             ["it's &lt;a>, median of 2", "two"]),
            ("iterations", ["--iterations", "a", "--title", "T"], ["iteration", ">T<"]),
            ("quotes", ["--group", "a''b", "a", "b", "--group", "''", "b", "--title", "'''\"`id`\\"],
             ["a''b, median of 2", ">''<", ">'''\"`id`\\<"]),
            ("control", ["--group", "a\x1b[31m\n", "a", "--group", "b\x7f\x9b", "b"],
             ["a\\x1b[31m\\x0a", "b\\x7f\\xc2\\x9b"])):
        status, _, message = plot(*arguments, "-o", name + ".svg")
        expect((name, message), status, 0)
        picture = pathlib.Path(name + ".svg").read_text().replace("&#39;", "'")
        for text in texts:
            expect((name, text), text in picture, True)
    for form, magic in (("png", b"\x89PNG"), ("pdf", b"%PDF")):
        expect(form, plot("a", "b", "-o", "p." + form)[0], 0)
        expect(form, pathlib.Path("p." + form).read_bytes()[:4], magic)
    # Penalties that are 0 throughout or span decades keep their scales.
    zero = save("zero", log_of((0, 0, 0, 0), lines=["1, 0.00(s), 0/0, 0/0"]))
    decades = save("decades", log_of((0, 0, 0, 90000), (0.1, 5, 0, 300), (1.0, 9, 0, 0)))
    for log in (zero, decades):
        status, _, message = plot(log, "-o", "scale.svg")
        expect(log, (status, message), (0, ""))
    tics = re.findall(r"<text><tspan[^>]*>\s*([\d.e+]+)\s*</tspan></text>",
                      pathlib.Path("scale.svg").read_text())
    expect("a place for 0", {"0", "100", "1000"} <= set(tics), True)
    expect("as text", "best soft" in plot("b")[1], True)


def check_follow():
    """Draws while a search writes, and ends with it."""
    search = subprocess.Popen([WCSP, "-inputfile", MODEL, "-target", "0", "-time", "3",
                               "-logfile", "live"], stdout=subprocess.DEVNULL)
    while not os.path.exists("live") or "penalty" not in pathlib.Path("live").read_text():
        time.sleep(0.05)
    seen = []
    watcher = threading.Thread(target=lambda: seen.append(
        plot("live", "--follow", "0.2", "-o", "live.svg")))
    watcher.start()
    while not os.path.exists("live.svg") and not seen:
        time.sleep(0.05)
    expect("drawn meanwhile", (search.poll(), seen), (None, []))
    search.wait()
    watcher.join(30)
    expect("ends with the search", seen[0][0], 0)


def check_failures():
    save("none", "no line\n")
    for arguments, status, part in (
            (["none"], 1, "wcsp-plot: none: not a search log\n"),
            (["missing"], 2, "wcsp-plot: missing: No such file or directory\n"),
            ([], 2, "wcsp-plot: no log is given\n"),
            (["a", "--safe"], 2, "--safe needs --csv"),
            (["--csv", "a", "none"], 1, "wcsp-plot: none: not a search log\n"),
            (["a", "-o", "p.jpg"], 2, "PICTURE must end in .svg, .png or .pdf"),
            (["a", "-o", "none/p.svg"], 2, "wcsp-plot: none/p.svg: "),
            (["--group", "a"], 2, "--group needs a name and a log"),
            (["b", "--group", "n", "a"], 2, "give all logs in groups or none"),
            (["-", "-"], 2, "standard input can be read only once")):
        got, out, message = plot(*arguments, text="")
        expect(arguments, (got, out, part in message), (status, "", True))
    expect("nothing half written", [n for n in os.listdir() if n.startswith(".")], [])


def check_without_gnuplot():
    os.mkdir("bin")
    os.symlink(sys.executable, "bin/python3")
    status, out, message = plot("a", "-o", "q.svg", environment=BARE)
    expect("no gnuplot", (status, out, message, os.path.exists("q.svg")), (
        3, "", "wcsp-plot: needs gnuplot (package gnuplot-nox), which is not found; --csv works "
        "without\n", False))
    expect("CSV without gnuplot", plot("--csv", "a", environment=BARE)[0], 0)


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    save("a", log_of((0, 0, 1, 4), (0.5, 10, 0, 7)))
    check_without_gnuplot()
    if not shutil.which("gnuplot"):
        sys.exit("gnuplot (package gnuplot-nox) is missing: the pictures are not tested")
    check_table()
    check_csv()
    check_size()
    check_tests()
    check_pictures()
    check_follow()
    check_failures()

#!/usr/bin/env python3
"""The same runs have one median, whichever tool names it: median_test.py
PROGRAMS MODEL."""

import os
import re
import statistics
import subprocess
import sys
import tempfile

PROGRAMS, MODEL = map(os.path.abspath, sys.argv[1:3])


def text_of(program, *arguments):
    done = subprocess.run([f"{PROGRAMS}/{program}", *arguments], capture_output=True, text=True,
                          check=False, timeout=120)
    if done.returncode != 0:
        sys.exit(f"{program} {arguments}: status {done.returncode}\n{done.stderr}")
    return done.stdout + done.stderr


def main():
    for count in (2, 3, 4, 5):
        said = text_of("wcsp-many", MODEL, "--seeds", f"1-{count}", "--dir", "runs", "--",
                       "-iteration", "300")
        of_many = re.search(r"median (\d+/\d+)", said)[1]
        logs = [f"runs/{seed}.log" for seed in range(1, count + 1)]
        said = text_of("wcsp-plot", *logs, "-o", "picture.svg")
        of_plot = re.search(rf"^median of {count} +(\d+/\d+)", said, re.M)[1]
        penalties = [tuple(map(int, match)) for match in re.findall(
            r"^\S+log +(\d+)/(\d+)", said, re.M)]
        # Of an even number, the lower of the two in the middle.
        middle = "{}/{}".format(*statistics.median_low(penalties))
        if len(penalties) != count or {of_many, of_plot} != {middle}:
            sys.exit(f"{count} runs with {penalties}: wcsp-many says {of_many}, wcsp-plot "
                     f"{of_plot}, and the median is {middle}")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    main()

"""Draws search logs of wcsp: penalties over time, many seeds, comparisons.

Without -o it draws the picture as text. Exit status: 0 success; 1 a file is not
a search log; 2 something cannot be read or written, or an argument is wrong; 3
gnuplot is missing or fails.
"""

import _shared.begin  # first of all

import itertools
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from picture import Picture
from statistics_of import rank_sum
from version import VERSION

from _shared.files import write_whole
from _shared.log import read_log, read_points
from _shared.numbers import quantile
from _shared.text import csv_text, escaped
from _shared.tool import Failure, Parser, Signalled, run_tool

TERMINALS = {
    ".svg": lambda n: f"svg size 800,{120 + 330 * n} font 'sans-serif,13' background 'white'",
    ".png": lambda n: f"pngcairo size 1000,{150 + 410 * n} font 'sans-serif,11'",
    ".pdf": lambda n: f"pdfcairo size 8,{1.2 + 3.3 * n} font 'sans-serif,11'",
}


def text_terminal(_):
    size = shutil.get_terminal_size((80, 30))
    return f"dumb size {size.columns},{max(size.lines - 2, 20)} noenhanced"


def no_log(path):
    return Failure(f"{path}: not a search log", 1)


def read_all(paths):
    logs = [read_log(path) for path in paths]
    for log in logs:
        if not log.improved:
            raise no_log(log.name)
    return logs


def median(values):
    return quantile(sorted(values), 0.5)


def table(groups, target):
    """A line for each log, a line for each group of several, and tests."""
    heads = ["log", "best", "time to it (s)", "iteration", "time (s)", "iterations/s"]
    if target is not None:
        heads.append(f"time to 0/{target} (s)")
    rows = [heads]
    for name, logs in groups:
        numbers = []
        for log in logs:
            at, iteration, hard, soft = log.improved[-1]
            speed = log.iterations / log.time if log.time > 0 else None
            reached = log.reached(target) if target is not None else None
            numbers.append(((hard, soft), at, iteration, log.time, speed, reached))
            rows.append([escaped(log.name), *cells(numbers[-1], target)])
        if len(logs) > 1:
            middle = [median([row[i] for row in numbers if row[i] is not None] or [None])
                      for i in range(5)]
            count = sum(row[5] is not None for row in numbers)
            rows.append([f"median of {escaped(name) or len(logs)}", *cells((*middle, None), None)]
                        + ([f"{count} of {len(logs)}"] if target is not None else []))
    widths = [max(len(row[i]) for row in rows if i < len(row)) for i in range(len(heads))]
    lines = ["  ".join(cell.ljust(w) if i == 0 else cell.rjust(w)
                       for i, (cell, w) in enumerate(zip(row, widths))).rstrip()
             for row in rows]
    for (a, first), (b, second) in itertools.combinations(groups, 2):
        if len(first) > 1 and len(second) > 1:
            p = rank_sum([log.best for log in first], [log.best for log in second])
            lines.append(f"{escaped(a)} against {escaped(b)}: rank-sum test of the best "
                         f"penalties, p = {p:.3g}")
    return "\n".join(lines) + "\n"


def cells(numbers, target):
    (hard, soft), at, iteration, seconds, speed, reached = numbers
    row = [f"{hard}/{soft}", f"{at:.2f}", str(iteration), f"{seconds:.2f}",
           f"{speed:.0f}" if speed is not None else "-"]
    if target is not None:
        row.append(f"{reached:.2f}" if reached is not None else "-")
    return row


def points_of(named):
    """The rows of the CSV. The start of every log is read before the first row is
    written, so that a file without a log does not leave half a table."""
    begun = []
    for name, path in ((name, path) for name, paths in named for path in paths):
        points = read_points(path)
        first = next(points, None)
        if first is None:
            raise no_log(path)
        # Pipes stay open, because they can be read only once; there may be too many files.
        begun.append((name, path, read_points(path) if os.path.isfile(path)
                      else itertools.chain([first], points)))
    yield "group", "log", "kind", "time", "iteration", "hard", "soft"
    for name, path, points in begun:
        yield from ((name, path, kind, *point) for kind, point in points)


def draw(picture, output):
    gnuplot = shutil.which("gnuplot")
    if not gnuplot:
        raise Failure("needs gnuplot (package gnuplot-nox), which is not found; "
                      "--csv works without", 3)
    form = pathlib.Path(output).suffix.lower() if output else None
    with tempfile.TemporaryDirectory() as folder:
        drawn = os.path.join(folder, "picture") if output else None
        commands = picture.commands(TERMINALS[form] if form else text_terminal, drawn)
        done = subprocess.run([gnuplot, "-"], input=commands.encode(), capture_output=True)
        if done.returncode != 0 or (drawn and not os.path.exists(drawn)):
            reason = done.stderr.decode("utf-8", "replace").strip().split("\n")[-1]
            raise Failure(f"gnuplot: {reason or done.returncode}", 3)
        if drawn:
            write_whole(output, pathlib.Path(drawn).read_bytes())
        else:
            write_whole(None, done.stdout.lstrip(b"\x0c\n"))


def options():
    parser = Parser(
        prog="wcsp-plot", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("logs", metavar="LOG", nargs="*",
                        help="search log, or - for standard input")
    parser.add_argument("-o", "--output", metavar="PICTURE",
                        help="write a .svg, .png or .pdf file (default: print text)")
    parser.add_argument("--group", metavar=("NAME", "LOG"), nargs="+", action="append",
                        default=[], help="logs to compare with the other groups")
    parser.add_argument("--target", type=int, metavar="P",
                        help="show when the logs reach penalty 0/P")
    parser.add_argument("--iterations", action="store_true",
                        help="draw over iterations instead of CPU time")
    parser.add_argument("--csv", action="store_true", help="write the points as CSV")
    parser.add_argument("--safe", action="store_true",
                        help="with --csv: an apostrophe before texts that are formulas")
    parser.add_argument("--follow", type=float, metavar="SECONDS", nargs="?", const=2.0,
                        help="redraw every 2 or SECONDS seconds until the searches end")
    parser.add_argument("--title", help="title of the picture")
    parser.add_argument("--version", action="version", version=f"wcsp-plot {VERSION}")
    args = parser.parse_args()
    if args.safe and not args.csv:
        parser.error("--safe needs --csv")
    if any(len(group) < 2 for group in args.group):
        parser.error("--group needs a name and a log")
    if args.logs and args.group:
        parser.error("give all logs in groups or none")
    if (args.output and not args.csv
            and pathlib.Path(args.output).suffix.lower() not in TERMINALS):
        parser.error("PICTURE must end in .svg, .png or .pdf")
    paths = [path for group in args.group for path in group[1:]] + args.logs
    if not paths:
        raise Failure("no log is given")
    if paths.count("-") > 1 or args.follow is not None and "-" in paths:
        parser.error("standard input can be read only once and cannot be followed")
    if args.follow is not None and not 0.1 <= args.follow <= 3600:
        parser.error("SECONDS is from 0.1 to 3600")
    return args


def main():
    args = options()
    named = ([(group[0], group[1:]) for group in args.group] if args.group
             else [("", args.logs)])
    while True:
        if args.csv:
            write_whole(args.output, csv_text(points_of(named), args.safe))
            if args.follow is None:
                return
        groups = [(name, read_all(paths)) for name, paths in named]
        if not args.csv:
            draw(Picture([(name or "all", logs) for name, logs in groups], args),
                 args.output)
        is_over = all(log.is_complete for _, logs in groups for log in logs)
        if args.follow is None or is_over:
            break
        try:
            time.sleep(args.follow)
        except Signalled as signalled:
            if signalled.number != signal.SIGINT:
                raise
            break
    if not args.csv:
        sys.stdout.write(table(groups, args.target))


run_tool("wcsp-plot", main)

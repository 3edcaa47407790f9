"""Shows a report of wcsp as an HTML page with grids, violations and changes.

wcsp-check checks the report first; a wrong report is shown only with --wrong.
Exit status: 0 success; 1 a wrong report; 2 something cannot be read or written,
or an argument is wrong; 3 the text is not a report of the model.
"""

import _shared.begin  # first of all

import datetime
import html
import json
import os
import pathlib
import pkgutil
import re
import string
import subprocess
import sys

from version import VERSION

from _shared.files import write_whole
from _shared.text import csv_text, escaped, readable
from _shared.tool import Failure, Parser, find_program, run_tool

SHOWN = ("penalty", "differences", "assignment", "domains", "grids", "rest", "valueGrids",
         "families", "places", "groups", "violated")


def with_texts(change, value):
    """A JSON value with its texts changed."""
    if isinstance(value, str):
        return change(value)
    if isinstance(value, list):
        return [with_texts(change, part) for part in value]
    if isinstance(value, dict):
        return {key: with_texts(change, part) for key, part in value.items()}
    return value


# With --transpose, the rows of the page are columns of wcsp-check.
TRANSPOSED = {"--rows": "--columns", "--columns": "--rows"}


def names_file(options):
    """The file of names: the given one, or the one that the Python package wrote beside
    the model, or None."""
    beside = f"{options.model}.names"
    return options.names or (beside if os.path.exists(beside) else None)


def check_command(options):
    """The command that checks the report."""
    given = {"--names": names_file(options), "--split": options.split, "--rows": options.rows,
             "--columns": options.columns, "--before": options.compare}
    swaps = TRANSPOSED if options.transpose else {}
    return [find_program("wcsp-check", options.check), "--json",
            *(f"{swaps.get(option, option)}={text}" for option, text in given.items() if text),
            "--", options.model, options.report]


def judged(options):
    """The output of wcsp-check for a report with a complete assignment."""
    report = options.report
    done = subprocess.run(check_command(options), capture_output=True, stdin=sys.stdin,
                          close_fds=False)  # <(...) of the shell
    try:
        is_exact = bool(names_file(options))
        result = with_texts(lambda text: readable(text, is_exact), json.loads(done.stdout))
    except ValueError:
        message = (done.stderr or done.stdout).decode("utf-8", "replace").strip()
        raise Failure(message.split("\n")[0]
                      or f"wcsp-check ended with status {done.returncode}") from None
    verdict = result["verdict"].removeprefix("wcsp-check: ")
    if "assignment" not in result:
        raise Failure(f"{report}: {verdict}", max(done.returncode, 2))
    if done.returncode not in (0, 1):  # because of an option
        option = verdict.split(":")[0]
        new = TRANSPOSED.get(option, option) if options.transpose else option
        if option == "--before":
            new = "--compare"
        elif option == "--names" and not options.names:
            new = names_file(options)
        raise Failure(verdict.replace(option, new, 1))
    if done.returncode == 1 and not options.wrong:
        raise Failure(f"{report}: {verdict}; use --wrong to show it anyway", 1)
    if options.transpose:
        result["grids"] = [{"rows": grid["columns"], "columns": grid["rows"],
                            "cells": list(zip(*grid["cells"]))} for grid in result["grids"]]
    return result


def csv_rows(result, options):
    assignment = result["assignment"]
    if options.long:
        yield from [("variable", "value"), *assignment]
        return
    for grid in result["grids"]:
        yield ["", *grid["columns"]]
        takers = {}  # by value and column: the rows
        for head, cells in zip(grid["rows"], grid["cells"]):
            if not options.by_value:
                yield [head, *("" if cell is None else assignment[cell][1] for cell in cells)]
            for column, cell in enumerate(cells):
                if cell is not None:
                    columns = takers.setdefault(assignment[cell][1], {})
                    columns.setdefault(column, []).append(head)
        if options.by_value:
            yield from ([value, *("; ".join(columns.get(column, []))
                                  for column in range(len(grid["columns"])))]
                        for value, columns in takers.items())
    if result["rest"] and options.by_value:
        yield from rest_by_value(result)
    elif result["rest"]:
        yield from [("variable", "value"), *(assignment[number] for number in result["rest"])]


def rest_by_value(result):
    """The variables outside all grids: for each domain, a line for each value."""
    domains, domain, takers = dict(result["domains"]), None, {}
    rest = set(result["rest"])
    for number, (name, value) in enumerate(result["assignment"]):
        domain = domains.get(name, domain)  # listed for the first variable of a run
        if number in rest:
            lines = takers.setdefault(tuple(domain), {value: [] for value in domain})
            lines[value].append(name)
    for lines in takers.values():
        yield ("value", "variables")
        yield from ((value, "; ".join(names)) for value, names in lines.items())


def changes(result):
    """The changes since an earlier report, in variables and constraints. That report
    may be of another model, so its penalties are what it states."""
    earlier = result["before"]
    before_of = dict(earlier["assignment"])
    names = {name for name, _ in result["assignment"]}
    now = {c["name"]: c["violation"] for c in result["violated"]}
    before = {name: int(violation) for name, violation in earlier["violated"]}
    return {
        "changed": [[name, before_of[name], value] for name, value in result["assignment"]
                    if before_of.get(name, value) != value],
        "new": [name for name, _ in result["assignment"] if name not in before_of],
        "gone": [[name, value] for name, value in earlier["assignment"] if name not in names],
        "violated anew": [name for name in now if name not in before],
        "violated no longer": [name for name in before if name not in now],
        "violated otherwise": [[name, before[name], now[name]] for name in now
                               if name in before and before[name] != now[name]],
        "penalty before": {kind: earlier[kind] for kind in ("hard", "soft")},
    }


def json_of(result, changed):
    assignment = result["assignment"]
    shown = {
        "penalty": result["penalty"], "violated": result["violated"],
        "grids": [{"rows": grid["rows"], "columns": grid["columns"],
                   "values": [[None if cell is None else assignment[cell][1] for cell in cells]
                              for cells in grid["cells"]]} for grid in result["grids"]],
        "rest": dict(assignment[number] for number in result["rest"])}
    return json.dumps(shown | ({"changes": changed} if changed else {}),
                      ensure_ascii=False) + "\n"


def date_in(text):
    """The date at the beginning of a text, or None."""
    match = re.match(r"(\d{4})[-_](\d\d)[-_](\d\d)(?!\d)", text, re.ASCII)
    try:
        return datetime.date(*map(int, match.groups())) if match else None
    except ValueError:
        return None


def span_of_dates(result):
    """The first and the last date in the headings, or else in the values."""
    heads = [head for grid in result["grids"] for head in (*grid["rows"], *grid["columns"])]
    for texts in heads, (value for _, value in result["assignment"]):
        days = sorted(filter(None, map(date_in, texts)))
        if days:
            first, last = (f"{day.day} {day:%b %Y}" for day in (days[0], days[-1]))
            return [first if first == last else f"{first} to {last}"]
    return []


def page_of(title, result, changed, view):
    """The page, which its script builds from JSON. Without JavaScript, it shows a
    plain table."""
    data = {"view": view, "changes": changed, "result": {key: result[key] for key in SHOWN}}
    penalty = result["penalty"]
    lines = [*(f"The report differs: {text}" for text in result["differences"]),
             f"hard {penalty['hard']}, soft {penalty['soft']}"]
    parts = {name: pkgutil.get_data(__name__, f"page.{name}").decode()
             for name in ("html", "css", "js")}
    return string.Template(parts["html"]).substitute(
        parts, title=html.escape(title),
        # It cannot close the element that contains it.
        data=json.dumps(data, ensure_ascii=False, separators=(",", ":")).replace("<", "\\u003c"),
        summary="".join(f"<p>{html.escape(line)}</p>" for line in lines),
        values="".join(f"<tr><th>{html.escape(name)}</th><td>{html.escape(value)}</td></tr>"
                       for name, value in result["assignment"]))


def parsed():
    parser = Parser(
        prog="wcsp-show", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("model", metavar="MODEL")
    parser.add_argument("report", metavar="REPORT", help="report, or - for standard input")
    parser.add_argument("-o", "--output", metavar="PAGE",
                        help="write to PAGE instead of standard output")
    parser.add_argument("--compare", metavar="OTHER", help="show the changes since this report")
    parser.add_argument("--split", metavar="REGEX",
                        help="POSIX expression whose two groups are the row and column of a name")
    parser.add_argument("--transpose", action="store_true", help="swap rows and columns")
    parser.add_argument("--rows", metavar="NAME,...",
                        help="show only these rows, in this order")
    parser.add_argument("--columns", metavar="NAME,...",
                        help="show only these columns, in this order")
    view = parser.add_mutually_exclusive_group()
    view.add_argument("--by-value", action="store_true",
                      help="open with the variables that take each value")
    view.add_argument("--by-name", action="store_true",
                      help="open with the value of each variable")
    form = parser.add_mutually_exclusive_group()
    form.add_argument("--csv", action="store_true", help="write the grids as CSV")
    form.add_argument("--json", action="store_true", help="write the grids as JSON")
    parser.add_argument("--long", action="store_true",
                        help="with --csv: write one line per variable")
    parser.add_argument("--safe", action="store_true",
                        help="with --csv: put an apostrophe before texts that are formulas")
    parser.add_argument("--names", metavar="FILE",
                        help="JSON file with the names to show instead of the model's "
                        "(default: MODEL.names if it exists)")
    parser.add_argument("--title", help="title of the page (default: the name of the model)")
    parser.add_argument("--wrong", action="store_true",
                        help="show the report even if it does not match the model")
    parser.add_argument("--check", metavar="PROGRAM", help="wcsp-check to use")
    parser.add_argument("--version", action="version", version=f"wcsp-show {VERSION}")
    arguments = parser.parse_args()
    for option in ("long", "safe"):
        if getattr(arguments, option) and not arguments.csv:
            parser.error(f"--{option} needs --csv")
    if "-" in (arguments.compare, arguments.model) or arguments.report == arguments.compare:
        parser.error("only REPORT can be standard input, and OTHER must be a different report")
    return arguments


def main():
    options = parsed()
    result = judged(options)
    changed = changes(result) if options.compare else None
    if options.csv:
        text = csv_text(csv_rows(result, options), options.safe)
    elif options.json:
        text = json_of(result, changed)
    else:
        view = "value" if options.by_value else "name" if options.by_name else None
        title = escaped(options.title or pathlib.Path(options.model).stem)
        text = page_of(", ".join([title, *span_of_dates(result)]), result, changed, view)
    write_whole(options.output, text)


run_tool("wcsp-show", main)

"""Shows a report of wcsp as an HTML page with grids, violations and changes.

wcsp-check checks the report first; a wrong report is shown only with --wrong.
Exit status: 0 success; 1 a wrong report; 2 something cannot be read or written,
or an argument is wrong; 3 the text is not a report of the model.
"""

import _shared.begin  # first of all

import json
import pathlib
import re
import subprocess
import sys

from grids import grids_of, lists_of
from page import page_of
from version import VERSION

from _shared.files import write_whole
from _shared.text import csv_text, escaped, readable
from _shared.tool import Failure, Parser, find_program, run_tool


def with_texts(change, found):
    """A JSON value with its texts changed."""
    if isinstance(found, str):
        return change(found)
    if isinstance(found, list):
        return [with_texts(change, part) for part in found]
    if isinstance(found, dict):
        return {key: with_texts(change, part) for key, part in found.items()}
    return found


def encodable(text):
    """A text with each half of a surrogate pair as its code, \\udc80."""
    return text.encode("utf-8", "backslashreplace").decode()


def judged(checker, model, report, is_wrong_shown):
    """The output of wcsp-check for a report with a complete assignment."""
    done = subprocess.run([checker, "--json", "--", model, report], capture_output=True,
                          stdin=sys.stdin,
                          close_fds=False)  # <(...) of the shell
    try:
        result = with_texts(readable, json.loads(done.stdout))
    except ValueError:
        message = (done.stderr or done.stdout).decode("utf-8", "replace").strip()
        raise Failure(message.split("\n")[0]
                      or f"wcsp-check ended with status {done.returncode}") from None
    if done.returncode not in (0, 1) or "assignment" not in result:
        raise Failure(f"{report}: {result['verdict']}", max(done.returncode, 2))
    if done.returncode == 1 and not is_wrong_shown:
        raise Failure(f"{report}: {result['verdict']}; use --wrong to show it anyway", 1)
    domains, runs = {}, iter(result["domains"])
    following, values = next(runs, (None, None)), None
    for name, _ in result["assignment"]:
        if following and name == following[0]:
            values, following = following[1], next(runs, None)
        domains[name] = values
    result["domains"] = domains
    return result


def read_names(path):
    """The names to show instead of the words of a model, as the Python package writes
    them: {"variables": {word: [text or parts, domain]}, "domains": [texts],
    "constraints": {word: text}}."""
    try:
        names = with_texts(encodable, json.loads(pathlib.Path(path).read_text("utf-8")))
        for shown, domain in names["variables"].values():
            "".join(shown), names["domains"][domain]
        for texts in [*names["domains"], names["constraints"].values()]:
            "".join(texts)
    except (ValueError, KeyError, TypeError, IndexError, AttributeError, RecursionError):
        raise Failure(f"{path}: no names") from None
    return names


def renamed(result, names):
    """The result in other names, and the parts of the names that have parts."""
    taken, parts, texts = set(), {}, {}
    for word, (shown, _) in names["variables"].items():
        text = shown if isinstance(shown, str) else " ".join(shown)
        text = text if text not in taken else f"{text} ({word})"
        taken.add(text)
        texts[word] = text
        if not isinstance(shown, str) and len(shown) > 1:
            parts[text] = " ".join(shown[:-1]), shown[-1]

    def value(word, old):
        place = result["domains"][word].index(old)
        return names["domains"][names["variables"][word][1]][place]

    def labels(pairs):
        return [[texts[word], value(word, old)] for word, old in pairs]

    try:
        for c in result["violated"]:
            c["name"] = names["constraints"].get(c["name"], c["name"])
            c["scope"] = [[texts[x], [value(x, a) for a in values]] for x, values in c["scope"]]
            for part in [*c.get("terms", []), *c.get("shared", [])]:
                part["labels"] = labels(part["labels"])
        result["assignment"] = labels(result["assignment"])
        result["domains"] = {texts[word]: names["domains"][names["variables"][word][1]]
                             for word in result["domains"]}
    except (KeyError, IndexError):
        raise Failure("--names: the names belong to another model") from None
    return result, parts


def with_values(result):
    result["values"] = dict(result["assignment"])
    return result


def by_value(grid, values):
    """Rows by value: the variables with that value in each column."""
    taken = {}
    for row in grid.rows:
        for column, name in grid.names[row].items():
            taken.setdefault(values[name], {}).setdefault(column, []).append(row)
    return taken


def csv_rows(result, grids, rest, chosen):
    values = result["values"]
    if chosen.long:
        yield from [("variable", "value"), *values.items()]
        return
    for grid in grids:
        yield ["", *grid.columns]
        if chosen.by_value:
            yield from ([value, *("; ".join(line.get(c, [])) for c in grid.columns)]
                        for value, line in by_value(grid, values).items())
            continue
        for row in grid.rows:
            cells = grid.names[row]
            yield [row, *(values[cells[c]] if c in cells else "" for c in grid.columns)]
    if rest and chosen.by_value:
        for names in lists_of(rest, result["domains"]):
            taken = {value: [] for value in result["domains"][names[0]]}
            for name in names:
                taken[values[name]].append(name)
            yield from [("value", "variables"),
                        *((value, "; ".join(who)) for value, who in taken.items())]
    elif rest:
        yield from [("variable", "value"), *((name, values[name]) for name in rest)]


def changes(result, other):
    """The changes since another report, in variables and constraints."""
    now = {c["name"]: c["violation"] for c in result["violated"]}
    before = {c["name"]: c["violation"] for c in other["violated"]}
    return {
        "changed": [[name, other["values"][name], value]
                    for name, value in result["values"].items()
                    if other["values"][name] != value],
        "violated anew": [name for name in now if name not in before],
        "violated no longer": [name for name in before if name not in now],
        "violated otherwise": [[name, before[name], now[name]] for name in now
                               if name in before and before[name] != now[name]],
        "penalty before": other["penalty"],
    }


def json_of(result, other, grids, rest):
    values = result["values"]
    found = {
        "penalty": result["penalty"], "violated": result["violated"],
        "grids": [{"rows": grid.rows, "columns": grid.columns,
                   "values": [[values.get(grid.names[row].get(c)) for c in grid.columns]
                              for row in grid.rows]} for grid in grids],
        "rest": {name: values[name] for name in rest}}
    if other:
        found["changes"] = changes(result, other)
    return json.dumps(found, ensure_ascii=False) + "\n"


def options():
    parser = Parser(
        prog="wcsp-show", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("model", metavar="MODEL")
    parser.add_argument("report", metavar="REPORT", help="report, or - for standard input")
    parser.add_argument("-o", "--output", metavar="PAGE",
                        help="write to PAGE instead of standard output")
    parser.add_argument("--compare", metavar="OTHER", help="show the changes since this report")
    parser.add_argument("--split", metavar="REGEX",
                        help="expression whose two groups are the row and column of a name")
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
                        help="JSON file with the names to show instead of the model's")
    parser.add_argument("--title", help="title of the page (default: the name of the model)")
    parser.add_argument("--wrong", action="store_true",
                        help="show the report even if it does not match the model")
    parser.add_argument("--check", metavar="PROGRAM", help="wcsp-check to use")
    parser.add_argument("--version", action="version", version=f"wcsp-show {VERSION}")
    chosen = parser.parse_args()
    for option in ("long", "safe"):
        if getattr(chosen, option) and not chosen.csv:
            parser.error(f"--{option} needs --csv")
    if "-" in (chosen.compare, chosen.model) or chosen.report == chosen.compare:
        parser.error("only REPORT can be standard input, and OTHER must be a different report")
    return chosen


def chosen_grids(chosen, result, parts):
    """The grids that the options select, and the names outside them."""
    try:
        pattern = re.compile(chosen.split) if chosen.split else None
    except re.error as error:
        raise Failure(f"--split: {error}") from None
    if pattern is not None and pattern.groups != 2:
        raise Failure("--split needs two groups")
    split = pattern.fullmatch if pattern else None
    if split is None and parts:
        split = lambda name: (None, *parts[name]) if name in parts else None  # noqa: E731
    grids, rest = grids_of(list(result["values"]), split, result["domains"])
    if pattern is not None and not grids:
        raise Failure("--split makes no grid of the variables")
    if chosen.transpose:
        grids = [grid.transposed() for grid in grids]
    limits = [part.split(",") if part else None for part in (chosen.rows, chosen.columns)]
    for option, names, heads in (("--rows", limits[0], [r for g in grids for r in g.rows]),
                                 ("--columns", limits[1], [c for g in grids for c in g.columns])):
        for name in names or ():
            if name not in heads:
                raise Failure(f"{option}: there is no '{name}'")
    limited = [grid.limited(*limits) for grid in grids]
    return [grid for grid in limited if grid.rows and grid.columns], rest


def main():
    chosen = options()
    checker = find_program("wcsp-check", chosen.check)
    result = judged(checker, chosen.model, chosen.report, chosen.wrong)
    other = (judged(checker, chosen.model, chosen.compare, chosen.wrong)
             if chosen.compare else None)
    parts = {}
    if chosen.names:
        names = read_names(chosen.names)
        result, parts = renamed(result, names)
        other = renamed(other, names)[0] if other else None
    result, other = with_values(result), with_values(other) if other else None
    grids, rest = chosen_grids(chosen, result, parts)
    if chosen.csv:
        text = csv_text(csv_rows(result, grids, rest, chosen), chosen.safe)
    elif chosen.json:
        text = json_of(result, other, grids, rest)
    else:
        view = "value" if chosen.by_value else "name" if chosen.by_name else None
        text = page_of(escaped(chosen.title or pathlib.Path(chosen.model).stem), result,
                       changes(result, other) if other else None, grids, rest, view)
    write_whole(chosen.output, text)


run_tool("wcsp-show", main)

"""Runs wcsp with many seeds: on all cores, on hosts, on a cluster.

The best report, judged by wcsp-check, goes to standard output, a table to
standard error; the runs stay in a folder, and a second call does what is
missing. Status: 0 a report is printed; 1 there is none; 2 something cannot be
read, written or understood; 3 an engine or every host is missing; 4 the folder
holds runs of another model or with other settings.
"""

import _shared.begin  # first of all

import argparse
import json
import os
import pathlib
import re
import sys
import time

from folder import Folder, hash_of
from one import Job, host_name, is_alive, run_for_engine
from session import Session, drain, state_line, take_over
from slurm import run_task, write_job
from table import table
from version import VERSION

from _shared.files import write_whole
from _shared.tool import Failure, Parser, find_program, run_tool

FRESH = 100000  # seeds that --restart may add
OWN = {"-inputfile": "MODEL", "-seed": "--seeds", "-time": "--each", "-target": "--target",
       "-logfile": "--no-logs", "-initsolfile": "--from-best"}


def seconds(text):
    """"90", "10m", "1h30m": a time in seconds."""
    found = re.fullmatch(r"(?:(\d+)d)?(?:(\d+)h)?(?:(\d+)m(?:in)?)?(?:(\d+(?:\.\d+)?)s?)?", text)
    if not found or not text:
        raise argparse.ArgumentTypeError(f"'{text}' is no time, such as 90, 10m or 1h30m")
    parts = [float(part or 0) for part in found.groups()]
    total = sum(part * unit for part, unit in zip(parts, (86400, 3600, 60, 1)))
    if total <= 0:
        raise argparse.ArgumentTypeError("a time is above 0")
    return total


def seed_list(text):
    """"1-64,70": seeds in this order, each once."""
    seeds = {}
    for part in text.split(","):
        found = re.fullmatch(r"(\d+)(?:-(\d+))?", part)
        first, last = (int(found[1]), int(found[2] or found[1])) if found else (1, 0)
        if not found or first > last or last >= 2**31 or last - first >= FRESH:
            raise argparse.ArgumentTypeError(f"'{part}' is no range of seeds, such as 1-64")
        seeds.update(dict.fromkeys(range(first, last + 1)))
    return list(seeds)


def options():
    arguments = sys.argv[1:]
    of_solver = []
    if "--" in arguments:
        cut = arguments.index("--")
        arguments, of_solver = arguments[:cut], arguments[cut + 1:]
    parser = Parser(
        prog="wcsp-many", description=__doc__.split("\n", maxsplit=1)[0],
        usage="wcsp-many [OPTION]... MODEL [-- OPTION-OF-WCSP...]\n"
              "       wcsp-many --status DIR | --stop DIR | --results DIR")
    parser.add_argument("model", metavar="MODEL", nargs="?")
    parser.add_argument("--seeds", type=seed_list, metavar="LIST", default=list(range(1, 9)),
                        help="such as 1-64,70; 1-8 otherwise")
    parser.add_argument("--time", type=seconds, metavar="TIME",
                        help="for the whole, on the clock: 90, 10m, 1h30m")
    parser.add_argument("--each", type=seconds, metavar="TIME", help="CPU time of each run; "
                        "its share of --time otherwise")
    parser.add_argument("--target", type=int, metavar="P",
                        help="the first run that reaches 0/P ends all")
    parser.add_argument("--dir", metavar="DIR", help="the folder of the runs; MODEL.runs otherwise")
    parser.add_argument("--jobs", type=int, metavar="N", default=os.cpu_count() or 1,
                        help="runs at once; as many as cores otherwise")
    parser.add_argument("--restart", action="store_true",
                        help="go on with fresh seeds until --time is over")
    parser.add_argument("--from-best", action="store_true",
                        help="with --restart: every second fresh seed starts from the best report")
    parser.add_argument("--hosts", metavar="FILE", help="hosts, as GNU parallel's --sshloginfile")
    parser.add_argument("--retries", type=int, default=3, metavar="N",
                        help="tries of a run that a host loses")
    parser.add_argument("--slurm", action="store_true", help="write a job array for Slurm")
    parser.add_argument("--submit", action="store_true", help="and hand it to sbatch")
    parser.add_argument("--partition", metavar="NAME", help="of Slurm")
    parser.add_argument("--array-limit", type=int, metavar="N", help="tasks of the array at once")
    parser.add_argument("--no-logs", dest="logs", action="store_false", help="keep no logs")
    parser.add_argument("--compress", action="store_true", help="keep the logs packed by gzip")
    parser.add_argument("--wcsp", metavar="PROGRAM",
                        help="the solver, used as it is there on every host")
    parser.add_argument("--check", metavar="PROGRAM", help="the wcsp-check to use")
    parser.add_argument("--status", metavar="DIR", help="what is going on in a folder")
    parser.add_argument("--stop", metavar="DIR", help="end its runs; their reports are kept")
    parser.add_argument("--results", metavar="DIR", help="print its best report and its table")
    parser.add_argument("--version", action="version", version=f"wcsp-many {VERSION}")
    chosen = parser.parse_args(arguments)
    chosen.options = of_solver
    others = [chosen.status, chosen.stop, chosen.results]
    if sum(other is not None for other in [*others, chosen.model]) != 1:
        parser.error("one MODEL, or one of --status, --stop, --results")
    for word in of_solver:
        if word in OWN:
            parser.error(f"{word} is set by {OWN[word]}")
    if chosen.restart and chosen.time is None:
        parser.error("--restart needs --time")
    if chosen.from_best and not chosen.restart:
        parser.error("--from-best needs --restart")
    if chosen.slurm and (chosen.hosts or chosen.restart):
        parser.error("--slurm excludes --hosts and --restart")
    if not chosen.slurm and (chosen.submit or chosen.partition or chosen.array_limit):
        parser.error("--submit, --partition and --array-limit need --slurm")
    if chosen.partition and not re.fullmatch(r"[\w.,-]+", chosen.partition):
        parser.error("--partition: no such name")
    if chosen.jobs < 1 or chosen.retries < 1 or (chosen.array_limit or 1) < 1:
        parser.error("--jobs, --retries and --array-limit are at least 1")
    if chosen.target is not None and chosen.target < 0:
        parser.error("--target is at least 0")
    return chosen


def finish(folder, model, checker, most):
    """Prints the best report and the table; the status."""
    folder.judge(checker, model)
    sys.stderr.write(table(folder, most))
    if folder.best is None:
        return 1
    write_whole(None, folder.file(folder.best, "report").read_bytes())
    return 0


def show_status(path):
    folder = Folder(path)
    folder.settings()
    folder.load()
    place = folder.path / ".work" / "state.json"
    if place.exists():
        state = json.loads(place.read_text("utf-8"))
        if state["host"] != host_name() or is_alive(state["process"]):
            print(state_line(folder, state))
            return 0
    best = next(iter(folder.reports()), None)
    print(f"{len(folder.records)} runs, none under way"
          + (f", best {best['hard']}/{best['soft']} by seed {best['seed']}" if best else ""))
    return 0


def ask_to_stop(path):
    folder = Folder(path)
    folder.settings()
    write_whole(folder.path / ".work" / "stop", b"")
    end = time.monotonic() + 120
    while (folder.path / ".work" / "state.json").exists() and time.monotonic() < end:
        time.sleep(0.1)
    return show_status(path)


def missing_seeds(folder, chosen):
    """[(seed, "best" or "-")] of the runs that are to be done."""
    seeds = [(seed, "-") for seed in chosen.seeds if not folder.is_done(seed)]
    if chosen.restart:
        first = max([*chosen.seeds, *folder.records]) + 1
        seeds += [(first + i, "best" if chosen.from_best and i % 2 else "-")
                  for i in range(FRESH)]
    return seeds


def share_of_time(chosen, seeds):
    """CPU seconds of each run where nothing else is said: its share of the time."""
    if chosen.each is not None or chosen.time is None or chosen.restart or chosen.slurm:
        return chosen.each
    slots = chosen.jobs
    if chosen.hosts:
        lines = pathlib.Path(chosen.hosts).read_text("utf-8").split("\n")
        slots = sum(int(found[1]) for found in map(re.compile(r"\s*(\d+)/").match, lines)
                    if found) or chosen.jobs
    return max(chosen.time / -(-len(seeds) // slots), 0.01)


def main():
    if sys.argv[1:2] == ["--one"]:
        return run_for_engine(sys.argv[2:])
    if sys.argv[1:2] == ["--task"]:
        return run_task(sys.argv[2:])
    chosen = options()
    if chosen.status:
        return show_status(chosen.status)
    if chosen.stop:
        return ask_to_stop(chosen.stop)
    checker = find_program("wcsp-check", chosen.check)
    if chosen.results:
        folder = Folder(chosen.results)
        settings = folder.settings()
        folder.load()
        return finish(folder, settings["model"], checker, os.cpu_count() or 1)
    chosen.is_wcsp_given = chosen.wcsp is not None
    if not (chosen.hosts and chosen.is_wcsp_given):
        chosen.wcsp = find_program("wcsp", chosen.wcsp)
    folder = Folder(chosen.dir or chosen.model.rstrip("/") + ".runs")
    folder.open({"model": os.path.abspath(chosen.model), "model hash": hash_of(chosen.model),
                 "options": chosen.options, "each": chosen.each, "target": chosen.target})
    if chosen.slurm:
        job = Job(wcsp=chosen.wcsp, model=os.path.abspath(chosen.model), options=chosen.options,
                  each=chosen.each if chosen.each is not None else chosen.time,
                  target=chosen.target, logs=chosen.logs, compress=chosen.compress)
        seeds = [seed for seed, _ in missing_seeds(folder, chosen)]
        return write_job(folder, job, seeds, chosen) if seeds else finish(
            folder, chosen.model, checker, chosen.jobs)
    take_over(folder)
    drain(folder, chosen.compress)
    folder.judge(checker, chosen.model)
    seeds = missing_seeds(folder, chosen)
    best = folder.records.get(folder.best)
    if best and chosen.target is not None and best["hard"] == 0 and best["soft"] <= chosen.target:
        seeds = []
    chosen.each = share_of_time(chosen, seeds) if seeds else chosen.each
    failure = None
    if seeds:
        session = Session(folder, chosen, checker)
        session.run(seeds)
        failure = session.failure
    status = finish(folder, chosen.model, checker, max(chosen.jobs, os.cpu_count() or 1))
    if failure:
        raise Failure(failure)
    return status


run_tool("wcsp-many", main)

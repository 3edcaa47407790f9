"""Runs wcsp with many seeds: on all cores, on hosts or on a cluster.

Prints the best report, checked by wcsp-check, to standard output, and a table to
standard error. The runs stay in a folder, and the next call runs only missing
seeds. Status: 0 a report was printed; 1 there is no report; 2 a file cannot be
read or written, an argument is wrong, or the solver refuses the model; 3 GNU
parallel, Slurm or every host is missing; 4 the folder belongs to a different
model or to different settings; 5 a report was printed, but some of the requested
seeds never started.
"""

import _shared.begin  # first of all

import argparse
import errno
import os
import re
import stat
import subprocess
import sys
import time

from folder import Folder, seeds_of
from one import Job, run_for_engine
from session import Session, best_text, drain, is_reached, read_state, state_line, take_over, tell
from slurm import run_task, write_job
from table import table
from version import VERSION

from _shared.files import write_whole
from _shared.search import child_command
from _shared.text import escaped
from _shared.tool import Failure, Parser, find_program, run_tool, write_error

FRESH = 100000  # limit of the seeds that --restart adds
NEVER_STARTED = 5
OWN = {"-inputfile": "MODEL", "-seed": "--seeds", "-time": "--each", "-target": "--target",
       "-logfile": "--no-logs", "-initsolfile": "--from-best"}


def seconds(text):
    """"90", "10m", "1h30m": a time in seconds."""
    match = re.fullmatch(r"(?:(\d+)d)?(?:(\d+)h)?(?:(\d+)m(?:in)?)?(?:(\d+(?:\.\d+)?)s?)?", text)
    if not match or not text:
        raise argparse.ArgumentTypeError(f"'{text}' is not a time; write 90, 10m or 1h30m")
    parts = [float(part or 0) for part in match.groups()]
    total = sum(part * unit for part, unit in zip(parts, (86400, 3600, 60, 1)))
    if total <= 0:
        raise argparse.ArgumentTypeError("a time must be above 0")
    return total


def share(text):
    """"0.5": a part of the time."""
    try:
        number = float(text)
    except ValueError:
        number = 0
    if not 0 < number < 1:
        raise argparse.ArgumentTypeError(f"'{text}' is not a number above 0 and below 1")
    return number


def seed_list(text):
    """"1-64,70": seeds in this order, each once."""
    for part in text.split(","):
        match = re.fullmatch(r"(\d+)(?:-(\d+))?", part, re.ASCII)
        first, last = (int(match[1]), int(match[2] or match[1])) if match else (1, 0)
        if not match or first > last or last >= 2**31 or last - first >= FRESH:
            raise argparse.ArgumentTypeError(
                f"'{part}' is not a range of seeds; write 1-64 or 1-64,70")
    return seeds_of(text)


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
                        help="seeds to run, such as 1-64,70 (default: 1-8)")
    parser.add_argument("--time", type=seconds, metavar="TIME",
                        help="wall-clock limit of the whole call: 90, 10m, 1h30m; each run gets "
                        "its share of it")
    parser.add_argument("--each", type=seconds, metavar="TIME", help="CPU time limit of each run")
    parser.add_argument("--target", type=int, metavar="P",
                        help="stop all runs when one reaches penalty 0/P")
    parser.add_argument("--dir", metavar="DIR",
                        help="folder that keeps the runs (default: MODEL.runs)")
    parser.add_argument("--jobs", type=int, metavar="N", default=len(os.sched_getaffinity(0)),
                        help="number of runs at once (default: number of cores)")
    parser.add_argument("--restart", action="store_true",
                        help="continue with new seeds until --time is over")
    parser.add_argument("--from-best", action="store_true",
                        help="with --restart: start every second new seed from the best report")
    parser.add_argument("--polish", type=share, metavar="SHARE", default=0,
                        help="polish the best reports for this share of --time, such as 0.5")
    parser.add_argument("--bound", type=seconds, metavar="TIME",
                        help="after the table, let wcsp-polish seek a lower bound for this time")
    parser.add_argument("--hosts", metavar="FILE",
                        help="file of hosts, as for --sshloginfile of GNU parallel")
    parser.add_argument("--retries", type=int, default=3, metavar="N",
                        help="how often to try a run whose host fails (default: 3)")
    parser.add_argument("--slurm", action="store_true", help="write a Slurm job array")
    parser.add_argument("--submit", action="store_true", help="with --slurm: submit it by sbatch")
    parser.add_argument("--partition", metavar="NAME", help="with --slurm: partition to use")
    parser.add_argument("--array-limit", type=int, metavar="N",
                        help="with --slurm: number of tasks at once")
    parser.add_argument("--no-logs", dest="logs", action="store_false", help="keep no search logs")
    parser.add_argument("--compress", action="store_true", help="keep search logs gzipped")
    parser.add_argument("--wcsp", metavar="PROGRAM",
                        help="solver to use; with --hosts, its path on every host")
    parser.add_argument("--check", metavar="PROGRAM", help="wcsp-check to use")
    parser.add_argument("--status", metavar="DIR", help="print the state of a folder of runs")
    parser.add_argument("--stop", metavar="DIR",
                        help="stop the runs of a folder and keep their reports")
    parser.add_argument("--results", metavar="DIR",
                        help="print the best report and the table of a folder")
    parser.add_argument("--version", action="version", version=f"wcsp-many {VERSION}")
    args = parser.parse_args(arguments)
    args.options = of_solver
    others = [args.status, args.stop, args.results]
    if sum(other is not None for other in [*others, args.model]) != 1:
        parser.error("give one MODEL, or one of --status, --stop and --results")
    for word in of_solver:
        if word in OWN:
            parser.error(f"{word} cannot be given to wcsp: use {OWN[word]}")
    if args.restart and args.time is None:
        parser.error("--restart needs --time")
    if args.from_best and not args.restart:
        parser.error("--from-best needs --restart")
    if args.polish and args.time is None:
        parser.error("--polish needs --time")
    if args.slurm and (args.hosts or args.restart or args.polish):
        parser.error("--slurm cannot be used with --hosts, --restart or --polish")
    if args.bound and (args.slurm or args.status or args.stop):
        parser.error("--bound cannot be used with --slurm, --status or --stop")
    if not args.slurm and (args.submit or args.partition or args.array_limit):
        parser.error("--submit, --partition and --array-limit need --slurm")
    if args.partition and not re.fullmatch(r"[\w.,-]+", args.partition):
        parser.error(f"--partition: '{args.partition}' is not the name of a partition")
    if args.jobs < 1 or args.retries < 1 or (args.array_limit or 1) < 1:
        parser.error("--jobs, --retries and --array-limit must be at least 1")
    if args.target is not None and args.target < 0:
        parser.error("--target must be at least 0")
    return args


def tell_bound(folder, args):
    """How far the best report may be above the least penalty."""
    command = [args.polisher, "--bound", "--time", f"{args.bound:.3f}", "--",
               str(folder.model.resolve()), "-"]
    done = subprocess.run(child_command(command), input=folder.best_report,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    write_error(done.stdout.decode("utf-8", "replace"))


def finish(folder, checker, most, args):
    """Prints the best report and the table, and returns the status. A failure of
    one does not lose the other."""
    failure = None
    try:
        folder.judge(checker)
        folder.save_best()
    except (OSError, Failure) as error:
        failure = error
    for name in folder.restored:
        tell(f"{folder.path}: {name} was lost or damaged and has been restored")
    missing = [] if is_reached(folder, args.target) else folder.never_started()
    lines = table(folder, most)
    if missing:
        lines.append(f"{len(missing)} of {len(folder.asked)} seeds never started")
    write_error("".join(escaped(line) + "\n" for line in lines))
    if folder.best is not None:
        write_whole(None, folder.best_report)
        if args.bound:
            tell_bound(folder, args)
    if failure:
        raise failure
    return 1 if folder.best is None else NEVER_STARTED if missing else 0


def show_status(path):
    folder = Folder(path)
    settings = folder.settings()
    folder.load(settings)
    name_damage(folder, "")
    if folder.owner():
        print(state_line(folder, read_state(folder)))
        return 0
    best = next(iter(folder.reports()), None)
    parts = [f"{len(folder.records)} runs, none under way"]
    if best:
        folder.best = best["seed"]
        folder.glance()
        parts.append(best_text(folder))
    if (missing := folder.never_started()) and not is_reached(folder, settings["target"]):
        parts.append(f"{len(missing)} of {len(folder.asked)} seeds never started")
    print(", ".join(parts))
    return 0


def ask_to_stop(path):
    folder = Folder(path)
    folder.settings()
    write_whole(folder.work / "stop", b"")
    end = time.monotonic() + 120
    while folder.owner() and time.monotonic() < end:
        time.sleep(0.1)
    return show_status(path)


def name_damage(folder, consequence):
    for seed, reason in folder.damaged.items():
        tell(f"{folder.path}: {reason}{consequence and consequence % seed}")


def missing_seeds(folder, args):
    """The pending runs: [(seed, "best" or "-", whether it is a new seed)]."""
    seeds = [(seed, "-", False) for seed in args.seeds if not folder.is_done(seed)]
    if args.restart:
        first = max([*args.seeds, *folder.records]) + 1
        seeds += [(first + i, "best" if args.from_best and i % 2 else "-", True)
                  for i in range(min(FRESH, 2**31 - first))]
    return seeds


def show_results(args, checker):
    path = args.results
    folder = Folder(path)
    settings = folder.settings()
    folder.load(settings)
    folder.find_model(settings)
    name_damage(folder, "; the same call again runs seed %d again")
    args.target = settings["target"]
    return finish(folder, checker, os.cpu_count() or 1, args)


def run(args, checker):
    if stat.S_ISDIR(os.stat(args.model).st_mode):
        raise OSError(errno.EISDIR, os.strerror(errno.EISDIR), args.model)
    folder = Folder(args.dir or args.model.rstrip("/") + ".runs")
    take_over(folder)
    folder.open(args.model, {
        "model": os.path.abspath(args.model), "options": args.options, "each": args.each,
        "target": args.target, "seeds": args.seeds}, args.logs)
    drain(folder, args.compress)
    folder.judge(checker)
    for seed, reason in folder.refused.items():
        folder.damaged.setdefault(seed, f"{seed}.report: {reason}")
    name_damage(folder, "; seed %d is run again")
    seeds = [] if is_reached(folder, args.target) else missing_seeds(folder, args)
    most = max(args.jobs, os.cpu_count() or 1)
    if args.slurm and seeds:
        job = Job(wcsp=args.wcsp, model=str(folder.model.resolve()), options=args.options,
                  each=args.each if args.each is not None else args.time,
                  target=args.target, logs=args.logs, compress=args.compress)
        return write_job(folder, job, [seed for seed, _, _ in seeds], args)
    failure = None
    if seeds or args.polish:
        session = Session(folder, args, checker)
        try:
            if seeds:
                session.run(seeds)
            if args.polish and session.may_polish():
                session.polish()
        except OSError as error:
            session.fail(error)
        failure = session.failure
        if session.asked:  # who has sent a signal does not wait for a bound
            args.bound = None
    status = finish(folder, checker, most, args)
    if failure:
        raise Failure(failure)
    return status


def main():
    if sys.argv[1:2] == ["--one"]:
        return run_for_engine(sys.argv[2:])
    if sys.argv[1:2] == ["--task"]:
        return run_task(sys.argv[2:])
    args = options()
    if args.status:
        return show_status(args.status)
    if args.stop:
        return ask_to_stop(args.stop)
    checker = find_program("wcsp-check", args.check)
    args.polisher = find_program("wcsp-polish") if args.polish or args.bound else None
    if args.results:
        return show_results(args, checker)
    args.is_wcsp_given = args.wcsp is not None
    if not (args.hosts and args.is_wcsp_given):
        args.wcsp = find_program("wcsp", args.wcsp)
    return run(args, checker)


run_tool("wcsp-many", main)

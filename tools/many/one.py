"""Runs the solver once on this host. Everything that ends the run early becomes one
interrupt of the solver, so that the incumbent is kept: a stop file, the end of the
run's share of the time, SIGINT, SIGTERM, SIGHUP, a lost connection, or the death of
the caller.
"""

import base64
import dataclasses
import gzip
import json
import os
import pathlib
import re
import select
import signal
import sys
import time
import zlib

from folder import host_name

from _shared.files import write_whole
from _shared.log import read_log
from _shared.numbers import share_of_clock
from _shared.runs import read_json
from _shared.scratch import scratch
from _shared.search import Search, penalty_of
from _shared.tool import Failure

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
AGAIN = 60  # seconds to reproduce a lost report at the end of the run
BETWEEN = 0.3, 2.0  # seconds between two runs on an idle machine, here and by ssh


@dataclasses.dataclass
class Job:
    """Settings shared by all runs of a call, in a file that is copied to each host.
    Paths are relative to the folder of that file, or absolute."""

    wcsp: str
    model: str
    options: list
    each: float = None       # CPU seconds
    target: int = None
    logs: bool = True
    compress: bool = False
    stop: str = ""           # a file that ends the run and contains the reason
    best: str = ""           # a report to start from, if any
    owner: int = 0           # a process of this host whose death ends the run
    session: str = ""
    jobs: int = 1            # parallel runs
    runs: int = 0            # that share the time
    deadline: float = None   # by the clock of this host; None on others

    def save(self, path):
        write_whole(path, json.dumps(dataclasses.asdict(self)))

    @classmethod
    def load(cls, path):
        try:
            return cls(**read_json(pathlib.Path(path)))
        except (ValueError, TypeError):
            raise Failure(f"{path} is damaged") from None


def is_alive(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        pass
    return True


def command_of(job, seed, start, wall):
    """The command line of the solver, except for its log."""
    command = [job.wcsp, "-inputfile", job.model, "-seed", str(seed), *job.options]
    limit = job.each if job.each is not None else wall
    if limit is not None:
        command += ["-time", f"{limit:.2f}"]
    if job.target is not None:
        command += ["-target", str(job.target)]
    return [*command, "-initsolfile", start] if start else command


class Watch:
    """Whether the run must end."""

    def __init__(self, job, wall, is_connected):
        self.job = job
        self.end = time.monotonic() + wall if wall is not None else None
        self.parent = os.getppid()
        self.reason = None
        self.pipe = None
        if is_connected:
            self.pipe = select.poll()
            self.pipe.register(sys.stdout.fileno(), 0)
        for number in SIGNALS:
            signal.signal(number, self.signalled)

    def signalled(self, number, _):
        self.reason = self.reason or signal.Signals(number).name

    def asks(self):
        if self.reason is None:
            if self.end is not None and time.monotonic() >= self.end:
                self.reason = "time"
            elif self.job.stop and os.path.exists(self.job.stop):
                self.reason = pathlib.Path(self.job.stop).read_text("utf-8").strip() or "stopped"
            elif (os.getppid() != self.parent or self.pipe and self.pipe.poll(0)
                  or self.job.owner and not is_alive(self.job.owner)):
                self.reason = "connection"
        return self.reason is not None


def run_prefix():
    """The prefix of temporary folders on this host. It contains the host, because
    locks on a shared file system may apply to one host only."""
    return f"run-{re.sub(r'[^A-Za-z0-9.-]', '_', host_name())}-"


def run_one(job, seed, wall=None, is_connected=False, start=None):
    """The record, the output and the log of one run. wall: its wall-clock time in
    seconds."""
    begin = time.time()
    record = {"seed": seed, "host": host_name(), "session": job.session, "begin": begin,
              "from": "best" if start else ""}
    watch = Watch(job, wall, is_connected)
    with scratch(run_prefix(), ".") as folder:
        search = Search(command_of(job, seed, start, wall), folder / "report", folder / "log")
        try:
            record["status"] = search.wait(watch.asks)
            record["wall"] = round(time.time() - begin, 2)
            patience = time.monotonic() + (AGAIN if watch.asks() else 0)
            report = search.report(lambda: watch.asks() and time.monotonic() > patience)
        finally:
            search.kill()
        if penalty := penalty_of(report):
            record["hard"], record["soft"] = penalty
        is_cut = record["status"] == 1 or search.is_cut_again
        record["ended by"] = watch.reason or "" if is_cut else ""
        text = b""
        if search.log.exists():
            log = read_log(search.log)
            record |= {"cpu": log.time, "iterations": log.iterations}
            if log.improved:
                record["time to best"] = log.improved[-1].time
            if job.logs:
                text = search.log.read_bytes()
                if job.compress:
                    text = gzip.compress(text, mtime=0)
    return record, report, text


def packed(record, report=b"", log=b""):
    """A run as one line of text."""
    parts = [json.dumps(record).encode(), report, log]
    return base64.b64encode(zlib.compress(b"".join(
        len(part).to_bytes(8, "big") + part for part in parts), 1)) + b"\n"


def unpacked(line):
    """The record, report and log in a line; ValueError for other lines."""
    try:
        data = zlib.decompress(base64.b64decode(line, validate=True))
    except zlib.error as error:
        raise ValueError(str(error)) from None
    parts = []
    while data:
        size = int.from_bytes(data[:8], "big")
        parts.append(data[8:8 + size])
        data = data[8 + size:]
    record, report, log = parts
    return json.loads(record), report, log


def share_of(job, left, number):
    """The seconds of this run. On a busy machine, the next run is assumed to start
    as late as this one did."""
    here, by_ssh = BETWEEN
    between = by_ssh
    if job.deadline is not None:
        now_left = job.deadline - time.time()
        between = here + 2 * max(left - now_left, 0)
        left = now_left
    return share_of_clock(left, job.jobs, job.runs - number + 1, between)


def run_for_engine(arguments):
    """The command that an engine starts: JOB SEED LEFT NUMBER START. LEFT is the
    remaining wall-clock time in seconds; NUMBER counts the runs of the call. Prints
    the run as one line and returns 0 if the solver ran."""
    path, seed, left, number, start = arguments
    job = Job.load(path)
    wall = None if left == "-" else share_of(job, float(left), int(number))
    if wall is not None and wall <= 0 or job.stop and os.path.exists(job.stop):
        return 0  # its time was over before it started
    from_best = job.best if start == "best" and os.path.exists(job.best) else None
    try:
        line, status = packed(*run_one(job, int(seed), wall, True, from_best)), 0
    except (Failure, OSError) as error:
        line, status = packed({"seed": int(seed), "host": host_name(), "session": job.session,
                               "error": str(error)}), 1
    sys.stdout.buffer.write(line)
    sys.stdout.buffer.flush()
    return status

"""Runs the solver once, on the host where it is called, and turns whatever ends
the run into one interrupt of the solver, so that its incumbent is kept.

A stop file, the wall-clock limit, SIGINT, SIGTERM, SIGHUP, a lost connection and
the death of the caller all mean the same. The interrupt is sent when the search
has started, never before, since only then a report follows.
"""

import base64
import contextlib
import dataclasses
import gzip
import json
import os
import pathlib
import re
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import zlib

from _shared.files import write_whole
from _shared.log import read_log
from _shared.tool import Failure

START = b"# start tabu search\n"
END = b"\n# penalty = "
PENALTY = re.compile(r"^penalty: (\d+)/(\d+) \(hard/soft\)$", re.M)
POLL = 0.05
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


@dataclasses.dataclass
class Job:
    """What all runs of a call share, as a file that each host gets. Paths are
    relative to that file's folder, or absolute."""

    wcsp: str
    model: str
    options: list
    each: float = None       # CPU seconds
    target: int = None
    logs: bool = True
    compress: bool = False
    stop: str = ""           # ends the run when it exists; holds why
    best: str = ""           # a report to start from, where the run is to
    owner: int = 0           # a process of this host whose death ends the run
    session: str = ""

    def save(self, path):
        write_whole(path, json.dumps(dataclasses.asdict(self)))

    @classmethod
    def load(cls, path):
        return cls(**json.loads(pathlib.Path(path).read_text("utf-8")))


def host_name():
    """The host's name as the engine calls it, or its own."""
    name = os.environ.get("SLURMD_NODENAME") or os.environ.get("PARALLEL_SSHHOST")
    return name if name and name != ":" else socket.gethostname()


def is_alive(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        pass
    return True


def command_of(job, seed, start, log, wall):
    """The command line of the solver."""
    command = [job.wcsp, "-inputfile", job.model, "-seed", str(seed), *job.options]
    limit = job.each if job.each is not None else wall
    if limit is not None:
        command += ["-time", f"{limit:.2f}"]
    if job.target is not None:
        command += ["-target", str(job.target)]
    if start:
        command += ["-initsolfile", start]
    return [*command, "-logfile", log]


class Watch:
    """Whether something asks for the end of the run."""

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


def is_searching(log):
    """Whether the search has started and is not over, as its log tells."""
    with contextlib.suppress(OSError), open(log, "rb") as file:
        if START not in file.read(1 << 16):
            return False
        file.seek(max(file.seek(0, os.SEEK_END) - 200, 0))
        return END not in file.read()
    return False


def solve(command, output, watch):
    """Runs the solver to its end. Returns its status as a shell shows it."""
    def prepare():
        signal.signal(signal.SIGINT, signal.SIG_DFL)
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)  # the one interrupt is sent below
    with open(output, "wb") as file:
        try:
            solver = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=file,
                                      stderr=subprocess.STDOUT, preexec_fn=prepare,
                                      start_new_session=True)
        except OSError as error:
            raise Failure(f"cannot start {command[0]}: {error.strerror}") from None
    is_interrupted = False
    while True:
        with contextlib.suppress(subprocess.TimeoutExpired):
            status = solver.wait(POLL)
            return status if status >= 0 else 128 - status
        if not is_interrupted and watch.asks() and is_searching(command[-1]):
            solver.send_signal(signal.SIGINT)
            is_interrupted = True


def report_of(command, output, log):
    """The report of a search. One that lost it, by an overflow of weights or an
    interrupt that came after its end, is run again to its best: equal seeds go
    the same way."""
    report = pathlib.Path(output).read_bytes()
    if PENALTY.search(report.decode("latin-1")) or not os.path.exists(log):
        return report
    told = read_log(log)
    if not told.improved:
        return report
    done = subprocess.run([*command[:-1], log + ".again", "-iteration",
                           str(told.improved[-1][1])], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, start_new_session=True, check=False)
    return done.stdout


def run_one(job, seed, wall=None, is_connected=False, start=None):
    """The record, the output and the log of one run. wall: seconds that are
    left for it on the clock."""
    record = {"seed": seed, "host": host_name(), "session": job.session, "begin": time.time(),
              "from": "best" if start else ""}
    watch = Watch(job, wall, is_connected)
    folder = tempfile.mkdtemp(prefix=f"run-{seed}-", dir=".")
    try:
        output, log = os.path.join(folder, "report"), os.path.join(folder, "log")
        command = command_of(job, seed, start, log, wall)
        record["status"] = solve(command, output, watch)
        record["wall"] = round(time.time() - record["begin"], 2)
        report = report_of(command, output, log)
        found = PENALTY.findall(report.decode("latin-1"))
        if found:
            record["hard"], record["soft"] = map(int, found[-1])
        record["ended by"] = watch.reason if record["status"] == 1 else ""
        text = b""
        if os.path.exists(log):
            told = read_log(log)
            record |= {"cpu": told.time, "iterations": told.iterations}
            if told.improved:
                record["time to best"] = told.improved[-1][0]
            if job.logs:
                text = pathlib.Path(log).read_bytes()
                if job.compress:
                    text = gzip.compress(text, mtime=0)
        return record, report, text
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def packed(record, report=b"", log=b""):
    """One line that holds a run."""
    parts = [json.dumps(record).encode(), report, log]
    return base64.b64encode(zlib.compress(b"".join(
        len(part).to_bytes(8, "big") + part for part in parts), 1)) + b"\n"


def unpacked(line):
    """The record, report and log of a line; ValueError for another line."""
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


def run_for_engine(arguments):
    """What an engine starts: JOB SEED WALL START. Prints the run as one line and
    ends with 0 whenever the solver ran."""
    path, seed, wall, start = arguments
    job = Job.load(path)
    wall = None if wall == "-" else float(wall)
    if wall is not None and wall <= 0 or job.stop and os.path.exists(job.stop):
        return 0  # its time was over before it began
    from_best = job.best if start == "best" and os.path.exists(job.best) else None
    try:
        run = run_one(job, int(seed), wall, is_connected=True, start=from_best)
    except (Failure, OSError) as error:
        sys.stdout.buffer.write(packed({"seed": int(seed), "host": host_name(),
                                        "session": job.session, "error": str(error)}))
        return 1
    sys.stdout.buffer.write(packed(*run))
    sys.stdout.buffer.flush()
    return 0

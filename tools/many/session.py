"""One call: hands the seeds that are missing to GNU parallel and collects what
comes back."""

import contextlib
import ctypes
import json
import os
import shutil
import signal
import subprocess
import sys
import time
import uuid

from folder import rank
from hosts import PLACE, name_with_hash, on_all, read_hosts, ssh_command
from one import Job, host_name, is_alive, unpacked
from _shared.files import write_whole
from _shared.tool import Failure

GRACE = 90          # seconds for runs to end once they are told to
REFUSED = 0, 2, 3, 4, 5, 126, 127  # of the solver: the next run would fare the same


def starts_nothing_without_us():
    """GNU parallel starts nothing new once this tool is dead: PR_SET_PDEATHSIG."""
    ctypes.CDLL(None).prctl(1, signal.SIGHUP)


class Session:
    def __init__(self, folder, chosen, checker):
        self.folder = folder
        self.chosen = chosen
        self.checker = checker
        self.work = (folder.path / ".work").resolve()
        self.identity = uuid.uuid4().hex[:12]
        self.deadline = time.time() + chosen.time if chosen.time is not None else None
        self.stopping = None    # why
        self.stop_time = None
        self.failure = None
        self.hosts = []
        self.parallel = None
        self.read = 0
        self.finished = 0
        self.shown = 0.0
        self.pushed = None

    # What the runs need, here or on each host.

    def job(self):
        c = self.chosen
        return Job(wcsp=c.wcsp, model=os.path.abspath(c.model), options=c.options, each=c.each,
                   target=c.target, logs=c.logs, compress=c.compress, session=self.identity)

    def prepare_here(self):
        """The runs work in the folder itself; the command names relative paths,
        so that nothing in a path meets the shell."""
        job = self.job()
        job.stop, job.best, job.owner = f"stop-{self.identity}", "../best.report", os.getpid()
        for old in self.work.glob("stop*"):
            old.unlink()
        job.save(self.work / "job.json")
        shutil.copy(sys.argv[0], self.work / "wcsp-many")
        return ["--jobs", str(self.chosen.jobs)], "python3 wcsp-many --one job.json"

    def prepare_hosts(self):
        job = self.job()
        job.stop, job.best = f"stop-{self.identity}", f"best-{self.identity}"
        with open(sys.argv[0], "rb") as file:
            tool = file.read()
        files = {}
        tool_name = name_with_hash("wcsp-many", tool)
        files[tool_name] = tool
        if not self.chosen.is_wcsp_given:
            with open(job.wcsp, "rb") as file:
                name = name_with_hash("wcsp", file.read())
            files[name] = job.wcsp
            job.wcsp = "./" + name
        model_name = f"model.{self.folder.settings()['model hash'][:16]}"
        files[model_name] = job.model
        job.model = model_name
        job_file = self.work / "job.json"
        job.save(job_file)
        job_name = f"job-{self.identity}.json"
        files[job_name] = job_file
        hosts = read_hosts(self.chosen.hosts)
        reached = on_all(hosts, lambda host: host.send(files))
        for host, is_there in zip(hosts, reached):
            if not is_there:
                tell(f"{host.name}: cannot be reached or copied to; goes without it")
        self.hosts = [host for host, is_there in zip(hosts, reached) if is_there]
        if not self.hosts:
            raise Failure("no host can be reached", 3)
        logins = self.work / "hosts"
        write_whole(logins, "".join(host.line + "\n" for host in self.hosts))
        return (["--sshloginfile", str(logins), "--ssh", ssh_command(), "--filter-hosts"],
                f'cd "$HOME/{PLACE}" && python3 ./{tool_name} --one {job_name}')

    # The engine.

    def start(self, seeds):
        program = shutil.which("parallel")
        if not program:
            raise Failure("needs GNU parallel (package parallel), which is not found", 3)
        engine, command = self.prepare_hosts() if self.chosen.hosts else self.prepare_here()
        # Reckoned here, when a run starts: the clocks of hosts differ.
        wall = ("-" if self.deadline is None
                else "{=1 $_ = sprintf('%.1f', " + f"{self.deadline:.1f}" + " - time()) =}")
        (self.work / "incoming").write_bytes(b"")
        with open(self.work / "incoming", "ab") as incoming, \
                open(self.work / "errors", "wb") as errors, \
                open(self.work / "seeds", "w+", encoding="ascii") as given:
            given.write("".join(f"{seed} {start}\n" for seed, start in seeds))
            given.seek(0)
            # A session of its own: an interrupt at the terminal is for this tool
            # alone. The lock lives as long as the engine.
            self.parallel = subprocess.Popen(
                [program, "--will-cite", "--plain", "--retries", str(self.chosen.retries),
                 "--colsep", " ", *engine, f"{command} {{1}} {wall} {{2}}"],
                stdin=given, stdout=incoming, stderr=errors, cwd=self.work,
                start_new_session=True, pass_fds=[self.folder.lock_file.fileno()],
                preexec_fn=starts_nothing_without_us)

    def collect(self):
        """Takes the whole lines that have come."""
        with open(self.work / "incoming", "rb") as file:
            file.seek(self.read)
            for line in file:
                if not line.endswith(b"\n"):
                    break
                self.read += len(line)
                with contextlib.suppress(ValueError):
                    self.take(*unpacked(line.strip()))

    def take(self, record, report, log):
        if "error" in record:
            self.failure = f"{record['host']}: {record['error']}"
            self.stop("failed")
            return
        self.finished += 1
        self.folder.accept(record, report, log, self.chosen.compress)
        seed = record["seed"]
        if "hard" not in record:
            lines = report.decode("utf-8", "replace").strip().split("\n")
            line = lines[-1] if record["status"] else "it shows its options: one is wrong"
            tell(f"seed {seed} on {record['host']}: no report, status {record['status']}: {line}")
            if record["status"] in REFUSED:
                self.failure = f"the solver refuses (status {record['status']}): {line}"
                self.stop("failed")
            return
        self.folder.judge(self.checker, self.chosen.model)
        if not sys.stderr.isatty():
            ended = f", ended by {record['ended by']}" if record["ended by"] else ""
            tell(f"seed {seed} on {record['host']}: {record['hard']}/{record['soft']} after "
                 f"{record.get('cpu', 0):.2f} s{ended}")
        best = self.folder.records.get(self.folder.best)
        if best and self.chosen.target is not None and (
                best["hard"] == 0 and best["soft"] <= self.chosen.target):
            self.stop("target")
        elif best and self.chosen.from_best and self.hosts and self.pushed != rank(best):
            self.pushed = rank(best)
            report = (self.folder.path / "best.report").read_bytes()
            name = f"best-{self.identity}"
            on_all(self.hosts, lambda host: host.run(
                f'cd "$HOME/{PLACE}" && cat > {name}.$$ && mv {name}.$$ {name}', report))

    def stop(self, why):
        """Nothing new starts, and what runs is interrupted."""
        if self.stopping:
            return
        self.stopping, self.stop_time = why, time.monotonic()
        if self.parallel and self.parallel.poll() is None:
            self.parallel.send_signal(signal.SIGHUP)
        if self.hosts:
            on_all(self.hosts, lambda host: host.run(
                f'echo {why} > "$HOME/{PLACE}/stop-{self.identity}"'))
        else:
            write_whole(self.work / f"stop-{self.identity}", why)

    def progress(self):
        now = time.monotonic()
        if now < self.shown + 0.5:
            return
        self.shown = now
        running = len(list(self.work.glob("run-*"))) if not self.hosts else None
        state = {"process": os.getpid(), "host": host_name(), "deadline": self.deadline,
                 "finished": self.finished, "running": running}
        with contextlib.suppress(OSError):
            write_whole(self.work / "state.json", json.dumps(state))
        if sys.stderr.isatty():
            sys.stderr.write("\r\033[K" + state_line(self.folder, state))
            sys.stderr.flush()

    def run(self, seeds):
        """Until the engine has ended; signals, the deadline, the target and a
        failure end it early."""
        asked = []
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, lambda *_: asked.append(True))
        self.start(seeds)
        is_over = False
        while not is_over:
            is_over = self.parallel.poll() is not None
            try:
                self.collect()
            except OSError as error:  # what is there stays; the rest is not begun
                self.failure = f"{error.filename or self.folder.path}: {error.strerror}"
                self.stop("failed")
            if asked:
                self.stop("signal")
            if self.deadline is not None and time.time() >= self.deadline:
                self.stop("time")
            if (self.work / "stop").exists():
                self.stop("stopped")
            if self.stop_time and time.monotonic() > self.stop_time + GRACE:
                self.parallel.kill()
            self.progress()
            if not is_over:
                time.sleep(0.1)
        self.clean()

    def clean(self):
        if sys.stderr.isatty():
            sys.stderr.write("\r\033[K")
        if self.parallel.returncode != 0 and not self.stopping and self.finished == 0:
            text = (self.work / "errors").read_text("utf-8", "replace").strip()
            self.failure = self.failure or f"parallel: {(text or 'failed').splitlines()[-1]}"
        on_all(self.hosts, lambda host: host.run(
            f'cd "$HOME/{PLACE}" && rm -rf stop-{self.identity} best-{self.identity} '
            f"job-{self.identity}.json"))
        for name in (f"stop-{self.identity}", "stop", "state.json", "incoming"):
            with contextlib.suppress(OSError):
                (self.work / name).unlink()


def tell(line):
    clear = "\r\033[K" if sys.stderr.isatty() else ""
    print(f"{clear}wcsp-many: {line}", file=sys.stderr, flush=True)


def state_line(folder, state):
    """What is going on, in one line."""
    parts = [f"{state['finished']} runs done"]
    if state["running"] is not None:
        parts.append(f"{state['running']} running")
    best = folder.records.get(folder.best) or next(iter(folder.reports()), None)
    if best:
        parts.append(f"best {best['hard']}/{best['soft']} by seed {best['seed']}")
    if state["deadline"] is not None:
        parts.append(f"{max(state['deadline'] - time.time(), 0):.0f} s left")
    return ", ".join(parts)


def take_over(folder):
    """The lock of the folder; waits where the call that had it was killed and
    its runs are about to end, and refuses where it lives."""
    end = time.monotonic() + GRACE
    is_told = False
    while not folder.lock():
        try:
            state = json.loads((folder.path / ".work" / "state.json").read_text("utf-8"))
        except (OSError, ValueError):
            state = {"process": os.getpid(), "host": host_name()}
        if state["host"] != host_name() or is_alive(state["process"]):
            raise Failure(f"{folder.path} is being run by process {state['process']} on "
                          f"{state['host']}; --status and --stop reach it")
        if not is_told:
            tell("an earlier call was killed; waiting for its runs to end")
            is_told = True
        if time.monotonic() > end:
            raise Failure(f"runs of an earlier call in {folder.path} do not end")
        time.sleep(0.2)


def drain(folder, is_compressed):
    """What the runs of a killed call have left."""
    place = folder.path / ".work" / "incoming"
    if place.exists():
        for line in place.read_bytes().split(b"\n")[:-1]:
            with contextlib.suppress(ValueError):
                record, report, log = unpacked(line)
                if "error" not in record:
                    folder.accept(record, report, log, is_compressed)

"""One call: passes the missing seeds to GNU parallel and collects the runs."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
import uuid

from folder import rank
from hosts import PLACE, name_with_hash, on_all, read_hosts, ssh_command
from one import SIGNALS, Job, run_prefix, unpacked

import _shared.tool
from _shared.files import write_whole
from _shared.polishing import Polishing, processes_each
from _shared.runs import read_json
from _shared.scratch import scratch, sweep
from _shared.search import child_command, penalty_of
from _shared.tool import Failure, write_error

GRACE = 90          # seconds for runs to end after the request
REFUSED = 0, 2, 3, 4, 5, 126, 127  # of the solver: the next run would fail the same way
MARK = "WCSP_MANY_FOLDER"  # in the environment of all processes of a folder on this host


class Session:
    def __init__(self, folder, options, checker):
        self.folder = folder
        self.options = options
        self.checker = checker
        self.work = folder.work.resolve()
        self.identity = uuid.uuid4().hex[:12]
        self.deadline = None
        if options.time is not None:
            self.deadline = time.time() + options.time * (1 - options.polish)
        self.stopping = None    # why
        self.stop_time = None
        self.failure = None
        self.hosts = []
        self.parallel = None
        self.read = 0
        self.finished = 0
        self.shown = 0.0
        self.pushed = None
        self.polishing = None   # the best penalty then
        self.asked = []         # signals
        for number in SIGNALS:
            if signal.getsignal(number) != signal.SIG_IGN:
                signal.signal(number, lambda *_: self.asked.append(True))

    # Files that the runs need, here or on each host.

    def job(self, count):
        c = self.options
        return Job(wcsp=c.wcsp, model="model", options=c.options, each=c.each, target=c.target,
                   logs=c.logs, compress=c.compress, session=self.identity, jobs=c.jobs,
                   runs=count, stop=f"stop-{self.identity}")

    def prepare_here(self, job):
        """The runs work in the folder itself. The command contains relative paths
        only, so that the shell never sees special characters."""
        job.best, job.owner = "../best.report", os.getpid()
        job.deadline = self.deadline
        job.save(self.work / "job.json")
        shutil.copy(sys.argv[0], self.work / "wcsp-many")
        return ["--jobs", str(self.options.jobs)], "python3 wcsp-many --one job.json"

    def prepare_hosts(self, job):
        hosts = read_hosts(self.options.hosts)
        job.best = f"best-{self.identity}"
        with open(sys.argv[0], "rb") as file:
            tool = file.read()
        files = {}
        tool_name = name_with_hash("wcsp-many", tool)
        files[tool_name] = tool
        if not self.options.is_wcsp_given:
            with open(job.wcsp, "rb") as file:
                name = name_with_hash("wcsp", file.read())
            files[name] = job.wcsp
            job.wcsp = "./" + name
        job.model = f"model.{self.folder.settings()['model hash'][:16]}"
        files[job.model] = self.folder.model
        reached = on_all(hosts, lambda host: host.send(files))
        for host, is_there in zip(hosts, reached):
            if not is_there:
                tell(f"{host.name}: cannot be reached or copied to: skipping it")
        self.hosts = [host for host, is_there in zip(hosts, reached) if is_there]
        if not self.hosts:
            raise Failure("no host can be reached", 3)
        job.jobs = sum(on_all(self.hosts, lambda host: host.count_slots()))
        job.save(self.work / "job.json")
        job_name = f"job-{self.identity}.json"
        on_all(self.hosts, lambda host: host.send({job_name: self.work / "job.json"}))
        logins = self.work / "hosts"
        write_whole(logins, "".join(host.line + "\n" for host in self.hosts))
        return (["--sshloginfile", str(logins), "--ssh", ssh_command(), "--filter-hosts"],
                f'cd "$HOME/{PLACE}" && python3 ./{tool_name} --one {job_name}')

    # The engine.

    def start(self, seeds):
        program = shutil.which("parallel")
        if not program:
            raise Failure("needs GNU parallel (package parallel), which is not found", 3)
        job = self.job(sum(not is_fresh for _, _, is_fresh in seeds))
        prepare = self.prepare_hosts if self.options.hosts else self.prepare_here
        engine, command = prepare(job)
        # Computed here when a run starts, because the clocks of hosts differ.
        left = ("-" if self.deadline is None
                else "{=1 $_ = sprintf('%.1f', " + f"{self.deadline:.1f}" + " - time()) =}")
        (self.work / "incoming").write_bytes(b"")
        with open(self.work / "incoming", "ab") as incoming, \
                open(self.work / "errors", "wb") as errors, \
                open(self.work / "seeds", "w+", encoding="ascii") as given:
            given.write("".join(f"{seed} {start}\n" for seed, start, _ in seeds))
            given.seek(0)
            # A separate session, so that an interrupt at the terminal reaches only this
            # tool. If this tool dies, SIGHUP stops the engine from starting new runs.
            self.parallel = subprocess.Popen(
                child_command([program, "--will-cite", "--plain", "--retries",
                               str(self.options.retries), "--colsep", " ", *engine,
                               f"{command} {{1}} {left} {{#}} {{2}}"], "HUP"),
                stdin=given, stdout=incoming, stderr=errors, cwd=self.work,
                start_new_session=True, env=os.environ | {MARK: mark_of(self.work)})

    def collect(self):
        """Saves the runs in complete lines. A run that cannot be saved ends the
        call, but its result still counts."""
        try:
            with open(self.work / "incoming", "rb") as file:
                file.seek(self.read)
                lines = file.read().split(b"\n")[:-1]
        except OSError as error:
            self.fail(error)
            return
        for line in lines:
            self.read += len(line) + 1
            try:
                self.take(*unpacked(line))
            except ValueError:
                tell("a run was lost on the way: the next call repeats it")
            except (OSError, Failure) as error:
                self.fail(error)

    def fail(self, error):
        if isinstance(error, OSError):
            error = f"{error.filename or self.folder.path}: {error.strerror}"
        self.failure = self.failure or str(error)
        self.stop("failed")

    def take(self, record, report, log):
        if "error" in record:
            raise Failure(f"{record['host']}: {record['error']}")
        self.finished += 1
        seed = record["seed"]
        try:
            self.folder.accept(record, report, log, self.options.compress)
        except OSError as error:
            self.fail(error)
        if "hard" not in record:
            lines = report.decode("utf-8", "replace").strip().split("\n")
            line = lines[-1] if record["status"] else "one of its options is wrong"
            tell(f"seed {seed} on {record['host']}: no report, status {record['status']}: {line}")
            if record["status"] in REFUSED:
                raise Failure(f"the solver refuses (status {record['status']}): {line}")
            return
        self.folder.judge(self.checker)
        self.folder.save_best()
        if not sys.stderr.isatty():
            ended = f", ended by {record['ended by']}" if record["ended by"] else ""
            tell(f"seed {seed} on {record['host']}: {record['hard']}/{record['soft']} after "
                 f"{record.get('cpu', 0):.2f} s{ended}")
        if is_reached(self.folder, self.options.target):
            self.stop("target")
        best = self.folder.records.get(self.folder.best)
        if best and self.options.from_best and self.hosts and self.pushed != rank(best):
            self.pushed = rank(best)
            name = f"best-{self.identity}"
            on_all(self.hosts, lambda host: host.run(
                f'cd "$HOME/{PLACE}" && cat > {name}.$$ && mv {name}.$$ {name}',
                self.folder.best_report))

    def stop(self, why):
        """Starts no more runs and interrupts the running ones."""
        if self.stopping:
            return
        self.stopping, self.stop_time = why, time.monotonic()
        if self.parallel and not has_ended(self.parallel):
            os.kill(self.parallel.pid, signal.SIGHUP)
        if self.hosts:
            on_all(self.hosts, lambda host: host.run(
                f'echo {why} > "$HOME/{PLACE}/stop-{self.identity}"'))
            return
        try:
            write_whole(self.work / f"stop-{self.identity}", why)
        except OSError:  # a full disk, a folder that is gone
            for process in workers(self.work):
                with contextlib.suppress(ProcessLookupError):
                    os.kill(process, signal.SIGTERM)

    def progress(self):
        now = time.monotonic()
        if now < self.shown + 0.5:
            return
        self.shown = now
        running = None if self.hosts else len(list(self.work.glob("run-*")))
        state = {"deadline": self.deadline, "finished": self.finished, "running": running}
        if self.polishing:
            state |= {"running": None, "polishing": penalty_text(self.polishing)}
        with contextlib.suppress(OSError):
            write_whole(self.work / "state.json", json.dumps(state))
        if sys.stderr.isatty():
            write_error("\r\033[K" + state_line(self.folder, state))

    def run(self, seeds):
        """Waits for the engine to end. Signals, the deadline, the target and a failure
        end it early. seeds: (seed, "best" or "-", whether it is a new seed)."""
        self.start(seeds)
        is_over = False
        while not is_over:
            is_over = has_ended(self.parallel)
            self.collect()
            if self.asked:
                self.stop("signal")
            if self.deadline is not None and time.time() >= self.deadline:
                self.stop("time")
            if (self.work / "stop").exists():
                self.stop("stopped")
            if self.stop_time and not is_over and time.monotonic() > self.stop_time + GRACE:
                os.kill(self.parallel.pid, signal.SIGKILL)
            self.progress()
            if not is_over:
                time.sleep(0.1)
        self.clean()

    def may_polish(self):
        """Whether there is a report to polish and no reason to stop."""
        return (self.folder.best is not None and self.stopping in (None, "time")
                and not self.failure and not self.asked
                and not is_reached(self.folder, self.options.target))

    def polish(self):
        """Polishes the best few reports on all cores of this machine."""
        self.folder.is_polished = True
        seconds = self.options.time * self.options.polish
        self.deadline = time.time() + seconds
        self.polishing = self.folder.penalty()
        files = self.folder.best_files()
        seed = time.time_ns() % 10**9  # another call is to go another way
        polishing = []
        with scratch(run_prefix(), self.work) as folder:
            try:
                for i, jobs in enumerate(processes_each(self.options.jobs, len(files))):
                    polishing.append(Polishing(
                        self.options.polisher, self.folder.model.resolve(), files[i].resolve(),
                        folder, str(i), seconds, jobs, seed + i))
                self.wait_for(polishing)
            finally:
                for one in polishing:
                    one.kill()
            for one in polishing:
                self.take_polished(one)
        if sys.stderr.isatty():
            write_error("\r\033[K")
        put_away(self.work)

    def wait_for(self, polishing):
        while any(one.process.poll() is None for one in polishing):
            for one in polishing:
                for point in one.improvements():
                    self.polishing = min(self.polishing, (point.hard, point.soft))
            target = self.options.target
            if (self.asked or (self.work / "stop").exists() or time.time() >= self.deadline
                    or target is not None and self.polishing <= (0, target)):
                for one in polishing:
                    one.interrupt()
            self.progress()
            time.sleep(0.1)

    def take_polished(self, one):
        report = one.report()
        penalty = penalty_of(report)
        if penalty is None or one.failure():
            tell(one.failure() or "wcsp-polish was interrupted before its first report")
        elif penalty < self.folder.penalty():
            if reason := self.folder.check(self.checker, report):
                tell(f"wcsp-polish: {reason}")
                return
            try:
                self.folder.keep_polished(report)
            except OSError:
                self.folder.polished, self.folder.best_report = penalty, report
                raise
            self.folder.judge(self.checker)

    def clean(self):
        # An engine that dies while it counts the possible processes leaves them
        # behind. Until it is waited for, no other group can have its number.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.parallel.pid, signal.SIGKILL)
        status = self.parallel.wait()
        if sys.stderr.isatty():
            write_error("\r\033[K")
        if status != 0 and not self.stopping and self.finished == 0:
            text = "failed"
            with contextlib.suppress(OSError):
                text = (self.work / "errors").read_text("utf-8", "replace").strip() or text
            self.failure = self.failure or f"parallel: {text.splitlines()[-1]}"
        end_workers(self.work, GRACE)
        on_all(self.hosts, lambda host: host.run(
            f'cd "$HOME/{PLACE}" && rm -rf stop-{self.identity} best-{self.identity} '
            f"job-{self.identity}.json"))
        put_away(self.work)


def penalty_text(penalty):
    return "%d/%d" % penalty


def has_ended(process):
    """Whether a child has ended, without reaping it."""
    return os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None


def is_reached(folder, target):
    best = folder.penalty()
    return best is not None and target is not None and best <= (0, target)


def tell(line):
    if sys.stderr.isatty():
        write_error("\r\033[K")
    _shared.tool.tell("wcsp-many", line)


def best_text(folder):
    if folder.polished:
        return f"best {penalty_text(folder.polished)}, polished"
    best = folder.records.get(folder.best) or next(iter(folder.reports()), None)
    return best and f"best {best['hard']}/{best['soft']} by seed {best['seed']}"


def state_line(folder, state):
    """The current state in one line."""
    parts = [f"{state['finished']} runs done"]
    if state["running"] is not None:
        parts.append(f"{state['running']} running")
    if state.get("polishing"):
        parts.append(f"polishing, best {state['polishing']}")
    elif best := best_text(folder):
        parts.append(best)
    if state["deadline"] is not None:
        parts.append(f"{max(state['deadline'] - time.time(), 0):.0f} s left")
    return ", ".join(parts)


def read_state(folder):
    """The last state saved by a call, or an empty one."""
    with contextlib.suppress(OSError, ValueError):
        state = read_json(folder.work / "state.json")
        if isinstance(state.get("finished"), int) and "running" in state and isinstance(
                state.get("deadline", ""), (int, float, type(None))) and isinstance(
                    state.get("polishing", ""), str):
            return state
    return {"finished": 0, "running": 0, "deadline": None}


# The processes of a folder on this host: engines, runs and solvers. All have the
# mark of the folder in their environment.

def mark_of(work):
    there = os.stat(work)
    return f"{there.st_dev}:{there.st_ino}"


def workers(work):
    """The process ids."""
    try:
        wanted = f"{MARK}={mark_of(work)}".encode()
    except OSError:
        return
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if wanted in (process / "environ").read_bytes().split(b"\0"):
                yield int(process.name)


def end_workers(work, patience):
    """Waits for the processes, and kills those that remain. A process whose group has
    lost its leader is left over from an engine and is killed at once."""
    end = time.monotonic() + patience
    while processes := list(workers(work)):
        for process in processes:
            with contextlib.suppress(ProcessLookupError):
                if time.monotonic() > end or not pathlib.Path(
                        "/proc", str(os.getpgid(process))).exists():
                    os.kill(process, signal.SIGKILL)
        time.sleep(0.05)


def put_away(work):
    """Removes the files that a call needs only while it runs."""
    for old in [*work.glob("stop*"), work / "state.json", work / "incoming"]:
        with contextlib.suppress(OSError):
            old.unlink()
    sweep(work, run_prefix())


def take_over(folder):
    """Locks the folder. Fails if another call holds the lock, and waits for the runs of
    a killed call to end."""
    for _ in range(10):  # --status holds it for a moment
        if folder.lock():
            break
        time.sleep(0.05)
    else:
        raise Failure(f"{folder.path} is being run by {folder.owner() or 'another call'}; "
                      "use --status or --stop")
    if next(workers(folder.work), None):
        tell("an earlier call was killed: waiting until its runs have ended")
        end_workers(folder.work, GRACE)


def drain(folder, is_compressed):
    """Collects the results that the runs of a killed call left behind."""
    with contextlib.suppress(FileNotFoundError):
        for line in (folder.work / "incoming").read_bytes().split(b"\n")[:-1]:
            try:
                record, report, log = unpacked(line)
                if "error" not in record:
                    folder.accept(record, report, log, is_compressed)
            except ValueError:
                tell(f"{folder.work / 'incoming'}: a damaged line; its run will be repeated")
    put_away(folder.work)

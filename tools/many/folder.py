"""The folder of runs, which holds their whole state.

settings.json holds the settings, and .work/model a copy of the model. SEED.run is
the record of a run, next to SEED.report and SEED.log (or SEED.log.gz). Files are
renamed into place when complete, and the record comes last, so that a record
means a complete run. Runs with lost or changed files are repeated.
"""

import contextlib
import fcntl
import hashlib
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile

from _shared.files import BESIDE, write_whole
from _shared.runs import damage, digest, read_json, read_runs
from _shared.search import penalty_of
from _shared.text import spans
from _shared.tool import Failure

SETTINGS = {"model hash": "another model", "options": "other options",
            "each": "another --each", "target": "another --target"}


def hash_of(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def seeds_of(text):
    """The seeds of "1-8,12", in this order, each once."""
    seeds = {}
    for part in filter(None, text.split(",")):
        first, _, last = part.partition("-")
        seeds.update(dict.fromkeys(range(int(first), int(last or first) + 1)))
    return list(seeds)


def host_name():
    """The name that the engine uses for the host, or else the host's own name."""
    name = os.environ.get("SLURMD_NODENAME") or os.environ.get("PARALLEL_SSHHOST")
    return name if name and name != ":" else socket.gethostname()


class Folder:
    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.work = self.path / ".work"
        self.model = self.work / "model"
        self.records = {}
        self.asked = []         # seeds, of all calls
        self.made_for = ""      # digest of the settings, in each record
        self.damaged = {}       # seed: why its run is repeated
        self.restored = []      # files of the folder itself that are rewritten
        self.refused = {}       # seed: why wcsp-check refuses its report
        self.best = None        # the seed of the best correct report
        self.best_report = b""
        self.polished = None    # the penalty of polished.report where that is the best
        self.is_polished = False  # by this call
        self.polished_error = ""  # why wcsp-check refuses it
        self.unsaved = {}       # seed: a report that could not be written
        self.lock_file = None

    # The call that runs the folder holds the lock; its children do not.

    def lock(self):
        """Locks the folder, so that no other process runs it."""
        self.work.mkdir(parents=True, exist_ok=True)
        self.lock_file = open(self.work / "lock", "a+b")
        try:
            fcntl.flock(self.lock_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        self.lock_file.truncate(0)
        with contextlib.suppress(OSError):  # a full disk
            self.lock_file.write(f"process {os.getpid()} on {host_name()}".encode())
            self.lock_file.flush()
        return True

    def owner(self):
        """The process that runs the folder, or None."""
        with contextlib.suppress(FileNotFoundError), open(self.work / "lock", "rb") as file:
            try:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
            except BlockingIOError:
                return file.read(300).decode("utf-8", "replace") or "another call"
        return None

    # The model and the settings.

    def open(self, model, settings, with_logs):
        """Sets the folder up for this model and these settings, or checks that it
        belongs to them. The caller holds the lock."""
        for old in [*self.path.glob(BESIDE + "*"), *self.work.glob(BESIDE + "*")]:
            old.unlink()
        handle, copy = tempfile.mkstemp(prefix=BESIDE, dir=self.path)
        try:
            # Runs read the copy, so edits to the model do not affect them.
            with os.fdopen(handle, "wb") as file, open(model, "rb") as source:
                shutil.copyfileobj(source, file, 1 << 20)
            settings["model hash"] = hash_of(copy)
            there = self.compared(settings)
            if self.model.exists() and hash_of(self.model) != settings["model hash"]:
                self.restored.append("its copy of the model")
            os.chmod(copy, 0o644)
            os.replace(copy, self.model)
        finally:
            pathlib.Path(copy).unlink(missing_ok=True)
        self.asked = sorted({*settings["seeds"], *seeds_of(there["seeds"] if there else "")})
        settings["seeds"] = spans(self.asked)
        if there != settings:
            write_whole(self.path / "settings.json", json.dumps(settings, indent=1) + "\n")
        self.load(settings, with_logs)

    def compared(self, settings):
        """The stored settings, which must agree with the given ones; None if there
        are none."""
        try:
            there = self.settings()
        except Failure as failure:
            records, others = read_runs(self.path, False)
            if any(r.get("made for") != made_for(settings) for r in records.values()):
                raise Failure(f"{failure}, and its runs may belong to another model "
                              "or other settings: use another --dir", 4) from None
            if records or others:
                self.restored.append("settings.json")
            return None
        for key, other in SETTINGS.items():
            if there[key] != settings[key]:
                raise Failure(f"{self.path} was made for {other} ({shown(there[key])}, not "
                              f"{shown(settings[key])}): use another --dir", 4)
        return there

    def settings(self):
        path = self.path / "settings.json"
        try:
            settings = read_json(path)
            settings.setdefault("seeds", "")
            seeds_of(settings["seeds"])
            if not (all(key in settings for key in SETTINGS)
                    and isinstance(settings["model"], str)):
                raise ValueError("lacks a setting")
        except FileNotFoundError:
            raise Failure(f"{self.path} is not a folder of runs: it has no settings.json") from None
        except (ValueError, KeyError, AttributeError):
            raise Failure(f"{path} is damaged") from None
        return settings

    def load(self, settings, with_logs=True, names="*.run"):
        self.made_for = made_for(settings)
        self.asked = seeds_of(settings["seeds"])
        self.records, self.damaged = read_runs(self.path, False, names)
        for seed, record in list(self.records.items()):
            if record.get("made for", self.made_for) != self.made_for:
                self.damaged[seed] = f"{seed}.run belongs to another model or other settings"
                del self.records[seed]
            elif with_logs and (reason := damage(self.path, record)):
                self.damaged[seed] = reason  # the report stays until there is a better one

    def find_model(self, settings):
        """The copy of the model."""
        for path in (self.model, pathlib.Path(settings["model"])):
            with contextlib.suppress(FileNotFoundError):
                if hash_of(path) == settings["model hash"]:
                    self.model = path
                    return
        raise Failure(f"{self.model} is lost or has changed: repeat the call to restore it")

    # The runs.

    def file(self, seed, kind):
        return self.path / f"{seed}.{kind}"

    def is_done(self, seed):
        """Whether the run of a seed ended by itself or at its time limit. Runs that
        were stopped, damaged or refused are repeated."""
        record = self.records.get(seed)
        return (record is not None and "hard" in record and record["ended by"] in ("", "time")
                and seed not in self.damaged and seed not in self.refused)

    def never_started(self):
        return [seed for seed in self.asked
                if seed not in self.records and seed not in self.damaged]

    def accept(self, record, report, log, is_compressed):
        """Saves a run, unless a better one with the same seed exists."""
        seed = record["seed"]
        before = self.records.get(seed)
        if before and all(before.get(key) == record.get(key) for key in ("session", "begin")):
            return  # it was saved before its call was killed
        if before and "hard" in before and seed not in self.refused and (
                "hard" not in record or rank(before) < rank(record)):
            if seed not in self.damaged:
                return
            record, report, log = before, b"", b""  # its log is lost
        names = {f"{seed}.report": report,
                 f"{seed}.log{'.gz' if is_compressed else ''}": log}
        files = {name: digest(data) for name, data in names.items() if data}
        if record is before:
            files = {name: kept for name, kept in before["files"].items()
                     if name.endswith(".report")}
        record = record | {"files": files, "made for": self.made_for}
        try:
            for name, data in names.items():
                if data:
                    write_whole(self.path / name, data)
            for kind in ("log", "log.gz"):
                if f"{seed}.{kind}" not in files:
                    self.file(seed, kind).unlink(missing_ok=True)
            write_whole(self.file(seed, "run"), json.dumps(record) + "\n")
        except OSError:
            self.unsaved[seed] = report
            raise
        finally:
            self.records[seed] = record
            self.damaged.pop(seed, None)
            self.refused.pop(seed, None)
            if self.best == seed:
                self.best = None  # checked again

    def reports(self):
        """The records that have a report, the best first."""
        return sorted((r for r in self.records.values() if "hard" in r), key=rank)

    def penalty(self):
        """Of the best report, (hard, soft); None without one."""
        best = self.records.get(self.best)
        return self.polished or (best and (best["hard"], best["soft"]))

    def judge(self, checker):
        """Finds the best report that wcsp-check confirms. Only reports that would
        win are checked, so that large models are read only a few times."""
        self.judge_runs(checker)
        if self.best is not None:
            self.judge_polished(checker)

    def judge_polished(self, checker):
        """Takes the polished report if it is better than all runs."""
        path = self.path / "polished.report"
        report = path.read_bytes() if path.exists() else b""
        best = self.records[self.best]
        penalty = penalty_of(report)
        if report == self.best_report:
            return
        self.polished = None
        if penalty is None or penalty >= (best["hard"], best["soft"]):
            self.best_report = self.report_of(self.best)
            return
        self.polished_error = self.check(checker, report)
        if not self.polished_error:
            self.polished, self.best_report = penalty, report

    def glance(self):
        """Takes the penalty that polished.report states, without a check."""
        with contextlib.suppress(OSError):
            penalty = penalty_of((self.path / "polished.report").read_bytes())
            if penalty is not None and penalty < (self.penalty() or penalty):
                self.polished = penalty

    def keep_polished(self, report):
        """Writes a report that is better than all others."""
        write_whole(self.path / "polished.report", report)
        write_whole(self.path / "best.report", report)

    def best_files(self):
        """The reports worth polishing, the best first."""
        files = [self.path / "polished.report"] if self.polished else []
        return files + [self.file(r["seed"], "report") for r in self.reports()
                        if r["seed"] not in {*self.refused, *self.unsaved}]

    def report_of(self, seed):
        return self.unsaved.get(seed) or self.file(seed, "report").read_bytes()

    def check(self, checker, report):
        """Why wcsp-check refuses a report, or ""."""
        done = subprocess.run([checker, "--quiet", "--", self.model, "-"], input=report,
                              capture_output=True, check=False)
        text = (done.stdout + done.stderr).decode("utf-8", "replace").strip()
        reason = text.split("\n")[0]
        if done.returncode == 0:
            return ""
        if done.returncode not in (1, 3):
            raise Failure(reason or f"wcsp-check ended with status {done.returncode}")
        return f"wcsp-check refuses its report: {reason or 'no reason given'}"

    def judge_runs(self, checker):
        for record in self.reports():
            seed = record["seed"]
            if seed in self.refused:
                continue
            if seed == self.best:
                return
            reason = "" if seed in self.unsaved else damage(self.path, record, False)
            if not reason:
                report = self.report_of(seed)
                reason = self.check(checker, report)
                if not reason:
                    self.best, self.best_report = seed, report
                    self.polished = None
                    return
            self.refused[seed] = reason
        self.best, self.best_report = None, b""

    def save_best(self):
        """Writes best.report if it is out of date."""
        if self.best is None:
            return
        path = self.path / "best.report"
        there = path.read_bytes() if path.exists() else None
        if there != self.best_report:
            if there is not None and all(
                    there != report.read_bytes() for report in [
                        *self.path.glob("[0-9]*.report"), *self.path.glob("polished.report")]):
                self.restored.append("best.report")
            write_whole(path, self.best_report)


def made_for(settings):
    return digest(json.dumps([settings[key] for key in SETTINGS]).encode())


def rank(record):
    return record["hard"], record["soft"], record["seed"]


def shown(value):
    if isinstance(value, list):
        return " ".join(map(str, value)) or "none"
    return "none" if value is None else str(value)[:16]

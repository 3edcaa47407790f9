"""The folder of runs, which is the truth about them.

settings.json says what was asked for; SEED.run is the record of a run, with
SEED.report and SEED.log (or SEED.log.gz) beside it. Each is written beside its
place and renamed, the record last, so that a record stands for a whole run.
"""

import fcntl
import hashlib
import json
import pathlib
import subprocess

from _shared.files import write_whole
from _shared.tool import Failure

SETTINGS = ("model hash", "options", "each", "target")


def hash_of(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()


class Folder:
    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.records = {}
        self.refused = {}   # seed: why wcsp-check refuses its report
        self.best = None    # the seed of the best report judged right
        self.lock_file = None

    def open(self, settings):
        """Creates the folder, or makes sure that it was made for these settings."""
        self.path.mkdir(parents=True, exist_ok=True)
        place = self.path / "settings.json"
        if place.exists():
            there = self.settings()
            for key in SETTINGS:
                if there.get(key) != settings[key]:
                    raise Failure(f"{self.path} holds runs with another {key} "
                                  f"({shown(there.get(key))}, not {shown(settings[key])}): "
                                  "take another --dir", 4)
        else:
            write_whole(place, json.dumps(settings, indent=1) + "\n")
        (self.path / ".work").mkdir(exist_ok=True)
        self.load()

    def settings(self):
        try:
            return json.loads((self.path / "settings.json").read_text("utf-8"))
        except FileNotFoundError:
            raise Failure(f"{self.path} is no folder of runs") from None
        except ValueError:
            raise Failure(f"{self.path}/settings.json is damaged") from None

    def load(self):
        for place in self.path.glob("*.run"):
            try:
                record = json.loads(place.read_text("utf-8"))
                self.records[int(place.stem)] = record
            except ValueError:  # not of this tool, or damaged: the run is missing
                continue

    def lock(self):
        """Makes this process the only one that runs the folder."""
        self.lock_file = open(self.path / ".work" / "lock", "a+")
        try:
            fcntl.flock(self.lock_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        return True

    def file(self, seed, kind):
        return self.path / f"{seed}.{kind}"

    def is_done(self, seed):
        """Whether a run is there that came to its own end, or to the end of its
        time; one that was stopped or failed is run again."""
        record = self.records.get(seed)
        return record is not None and "hard" in record and record["ended by"] in ("", "time")

    def accept(self, record, report, log, is_compressed):
        """Keeps a run, if it is not worse than one of the same seed."""
        seed = record["seed"]
        before = self.records.get(seed)
        if before and "hard" in before and ("hard" not in record
                                            or rank(before) < rank(record)):
            return
        if report:
            write_whole(self.file(seed, "report"), report)
        if log:
            write_whole(self.file(seed, "log.gz" if is_compressed else "log"), log)
        write_whole(self.file(seed, "run"), json.dumps(record) + "\n")
        self.records[seed] = record
        self.refused.pop(seed, None)

    def reports(self):
        """The records that have a report, the best first."""
        return sorted((r for r in self.records.values() if "hard" in r), key=rank)

    def judge(self, checker, model):
        """Finds the best report that wcsp-check finds right. Only what would
        win is judged, so that large models are read a few times only."""
        for record in self.reports():
            seed = record["seed"]
            if seed in self.refused:
                continue
            if seed == self.best:
                return
            done = subprocess.run([checker, "--quiet", "--", model,
                                   self.file(seed, "report")], capture_output=True, text=True)
            if done.returncode == 0:
                self.best = seed
                write_whole(self.path / "best.report", self.file(seed, "report").read_bytes())
                return
            self.refused[seed] = (done.stdout + done.stderr).strip().split("\n")[0]
        self.best = None


def rank(record):
    return record["hard"], record["soft"], record["seed"]


def shown(value):
    if isinstance(value, list):
        return " ".join(value) or "none"
    return "none" if value is None else str(value)[:16]

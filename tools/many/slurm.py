"""The same runs as a job array of Slurm, on a file system that all nodes share."""

import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import time

from one import Job, host_name, run_one
from _shared.files import write_whole
from _shared.text import spans
from _shared.tool import Failure

LEAST = 120   # seconds: the early signal may come a minute before its time
EARLY = 30    # seconds before the limit

SCRIPT = """#!/bin/sh
#SBATCH --job-name=wcsp
#SBATCH --array={seeds}{limit}
#SBATCH --ntasks=1 --cpus-per-task=1
#SBATCH --time={minutes}
#SBATCH --signal=B:INT@{early}
#SBATCH --requeue --open-mode=append
#SBATCH --output={output}
{partition}exec python3 {program} --task {job} "$SLURM_ARRAY_TASK_ID"
"""


def write_job(folder, job, seeds, chosen):
    """Writes the script of the job array and prints or runs its command."""
    if chosen.time is None:
        raise Failure("--slurm needs --time, the limit of each task")
    if chosen.time < LEAST:
        raise Failure(f"--slurm: a limit below {LEAST} seconds is too short: Slurm may signal a "
                      f"minute before the {EARLY} seconds that a task needs to end")
    work = (folder.path / ".work").resolve()
    program = work / "wcsp-many"
    shutil.copy(sys.argv[0], program)
    path = work / "job.json"
    job.stop = str(work / "stop")
    (work / "stop").unlink(missing_ok=True)
    job.save(path)
    minutes = -(-int(chosen.time) // 60)
    script = folder.path / "slurm.sh"
    write_whole(script, SCRIPT.format(
        seeds=spans(seeds), early=EARLY, minutes=minutes,
        limit=f"%{chosen.array_limit}" if chosen.array_limit else "",
        output=shlex.quote(str(work / "task-%a.out")),
        partition=f"#SBATCH --partition={chosen.partition}\n" if chosen.partition else "",
        program=shlex.quote(str(program)), job=shlex.quote(str(path))))
    command = ["sbatch", str(script)]
    if not chosen.submit:
        print(shlex.join(command))
        return 0
    if not shutil.which("sbatch"):
        raise Failure("needs sbatch (package slurm-client), which is not found", 3)
    return subprocess.run(command, check=False).returncode


def run_task(arguments):
    """A task of the array: goes on from the incumbent that an earlier try of
    the same seed has left, and leaves its own, whatever ends it."""
    path, seed = arguments
    job, seed = Job.load(path), int(seed)
    work = pathlib.Path(path).parent
    os.chdir(work)
    place = work.parent
    record_place = place / f"{seed}.run"
    before = None
    if record_place.exists():
        before = json.loads(record_place.read_text("utf-8"))
        # A task that Slurm has lost may have ended all the same.
        if "hard" in before and not before["ended by"]:
            return 0
    report_place = place / f"{seed}.report"
    start = str(report_place) if before and "hard" in before else None
    record, report, log = run_one(job, seed, start=start)
    record["restart"] = int(os.environ.get("SLURM_RESTART_COUNT", "0"))
    print(f"{time.strftime('%F %T')} seed {seed} on {host_name()}: status {record['status']}, "
          f"{record.get('hard', '-')}/{record.get('soft', '-')} {record['ended by']}", flush=True)
    if start and ("hard" not in record or (before["hard"], before["soft"])
                  < (record["hard"], record["soft"])):
        return 0
    write_whole(report_place, report)
    if log:
        write_whole(place / f"{seed}.log{'.gz' if job.compress else ''}", log)
    write_whole(record_place, json.dumps(record) + "\n")
    return 0

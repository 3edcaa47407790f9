"""Runs as a job array of Slurm, on a file system shared by all nodes."""

import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import time

from folder import Folder, host_name
from one import Job, run_one
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


def write_job(folder, job, seeds, args):
    """Writes the script of the job array, and prints or runs the command to submit it."""
    if args.time is None:
        raise Failure("--slurm needs --time, the limit of each task")
    if args.time < LEAST:
        raise Failure(f"--slurm: a limit below {LEAST} seconds is too short: Slurm may signal a "
                      f"minute before the {EARLY} seconds that a task needs to end")
    work = folder.work.resolve()
    if not str(work).isprintable():
        raise Failure("--slurm: the name of the folder has control characters or bytes that "
                      "are not UTF-8")
    program = work / "wcsp-many"
    shutil.copy(sys.argv[0], program)
    path = work / "job.json"
    job.stop = str(work / "stop")
    (work / "stop").unlink(missing_ok=True)
    job.save(path)
    minutes = -(-int(args.time) // 60)
    script = folder.path / "slurm.sh"
    write_whole(script, SCRIPT.format(
        seeds=spans(seeds), early=EARLY, minutes=minutes,
        limit=f"%{args.array_limit}" if args.array_limit else "",
        output=shlex.quote(str(work / "task-%a.out")),
        partition=f"#SBATCH --partition={args.partition}\n" if args.partition else "",
        program=shlex.quote(str(program)), job=shlex.quote(str(path))))
    command = ["sbatch", str(script)]
    if not args.submit:
        write_whole(None, shlex.join(command) + "\n")
        return 0
    if not shutil.which("sbatch"):
        raise Failure("needs sbatch (package slurm-client), which is not found", 3)
    return subprocess.run(command, check=False).returncode


def run_task(arguments):
    """A task of the array. It continues from the incumbent of an earlier attempt with
    the same seed, and saves its own incumbent however it ends."""
    path, seed = arguments
    job, seed = Job.load(path), int(seed)
    work = pathlib.Path(path).parent
    os.chdir(work)
    folder = Folder(work.parent)
    folder.load(folder.settings(), job.logs, f"{seed}.run")
    # A task that Slurm lost may still have ended normally.
    if folder.is_done(seed) and not folder.records[seed]["ended by"]:
        return 0
    before = folder.records.get(seed)
    start = str(folder.file(seed, "report")) if before and "hard" in before else None
    record, report, log = run_one(job, seed, start=start)
    record["restart"] = int(os.environ.get("SLURM_RESTART_COUNT", "0"))
    print(f"{time.strftime('%F %T')} seed {seed} on {host_name()}: status {record['status']}, "
          f"{record.get('hard', '-')}/{record.get('soft', '-')} {record['ended by']}", flush=True)
    folder.accept(record, report, log, job.compress)
    return 0

"""Shared by the scripts of this folder: builds the program, generates the workloads,
and measures a run.

A measured run has a fixed seed and a fixed iteration limit, never a time limit,
so that it does the same work on every machine. Reading, preparing and the first
evaluation are measured by a run with the limit 0.
"""

import collections
import contextlib
import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent

Workload = collections.namedtuple("Workload", "iterations runs")

# Each took at least two seconds in the first version of the program. A workload
# whose search soon ends by itself has several runs with consecutive seeds.
WORKLOADS = {
    "colouring": Workload(100000, 1),
    "colouring31": Workload(40000, 1),
    "frequencies": Workload(300000, 1),
    "qap20": Workload(80000, 1),
    "qap30": Workload(20000, 1),
    "qap30pairs": Workload(100000, 1),
    "sparse600": Workload(300000, 1),
    "packing": Workload(150000, 1),
    "latin40": Workload(120000, 1),
    "roster60": Workload(320000, 2),
    "roster150": Workload(300000, 2),
    "sat1000": Workload(1000000, 1),
}
READING = "reading"

Run = collections.namedtuple("Run", "cpu memory status output")


@contextlib.contextmanager
def plain_failures():
    """Ends the script with one line if a required command fails."""
    try:
        yield
    except subprocess.CalledProcessError as error:
        sys.exit("failed: " + " ".join(map(str, error.cmd)))


def build_release(root):
    """Builds the program of the tree `root` as the release preset has it, in a
    build folder of its own, and returns it. The progress goes to standard
    error."""
    folder = root / "build" / "bench"
    for command in (
            ["cmake", "--preset", "release", "-B", folder,
             "-DWCSP_BUILD_TESTS=OFF", "-DWCSP_BUILD_TOOLS=OFF",
             "-DWCSP_BUILD_BENCH=OFF"],
            ["cmake", "--build", folder, "--target", "wcsp", "-j",
             str(os.cpu_count() or 1)]):
        subprocess.run(command, cwd=root, stdout=sys.stderr, check=True)
    return folder / "wcsp"


def generate(name, folder, size=None):
    """Writes the workload `name`, of its usual size or of `size`, into `folder`,
    unless it is there, and returns its file."""
    file = folder / (name + ".model")
    if not file.exists():
        script = ROOT / "bench" / "workloads.py"
        sized = [] if size is None else ["--size", str(size)]
        text = subprocess.run([sys.executable, "-B", script, name, *sized],
                              check=True, stdout=subprocess.PIPE).stdout
        file.write_bytes(text)
    return file


def adopt_orphans():
    """Makes this process the parent of its orphaned grandchildren."""
    set_child_subreaper = 36
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


adopt_orphans()


def run(program, arguments, standard_input=os.devnull):
    """Runs the program to its end: user and system seconds, peak memory in KB,
    status, and complete output.

    The kernel includes the memory of the forking process in the peak of its child.
    So a small shell forks the program and ends, and this process adopts the orphan
    and waits for it.
    """
    script = '"$@" <"$INPUT" >"$OUTPUT" & echo $!'
    with tempfile.NamedTemporaryFile() as output:
        environment = dict(os.environ, INPUT=str(standard_input),
                           OUTPUT=output.name)
        shell = subprocess.run(
            ["sh", "-c", script, "sh", str(program), *map(str, arguments)],
            env=environment, stdout=subprocess.PIPE, check=True)
        _, status, usage = os.wait4(int(shell.stdout), 0)
        text = output.read()
    return Run(usage.ru_utime + usage.ru_stime, usage.ru_maxrss,
               os.waitstatus_to_exitcode(status), text)


def solve(program, model, iterations, runs=1, seed=1):
    """Combined runs of the program on `model` with `seed` and the seeds after it:
    the sum of times, the maximum of memory, and all outputs. Every run must end
    normally."""
    results = [run(program, ["-inputfile", model, "-iteration", iterations,
                             "-seed", seed + i, "-time", 1000000])
               for i in range(runs)]
    for result in results:
        if result.status != 0:
            sys.exit("%s on %s ended with status %d:\n%s" % (
                program, model, result.status,
                result.output[-1000:].decode(errors="replace")))
    return Run(sum(result.cpu for result in results),
               max(result.memory for result in results), 0,
               b"".join(result.output for result in results))


def iterations_done(output):
    """How many iterations the runs made, after their closing summaries."""
    return sum(map(int, re.findall(rb"^# iteration = \d+/(\d+)$", output,
                                   re.MULTILINE)))


def masked(output):
    """The output without the times in it, which differ from run to run."""
    text = re.sub(rb"\d+\.\d\d(?=\(s\))", b"#", output)
    return re.sub(rb"(?<=cpu time = )\d+\.\d\d(?=/)", b"#", text)


def processor():
    """The processor's name."""
    with open("/proc/cpuinfo", encoding="utf-8", errors="replace") as lines:
        for line in lines:
            key, _, value = line.partition(":")
            if key.strip() in ("model name", "Model", "cpu model"):
                return value.strip()
    return "unknown processor"


def revision(root):
    """The revision of a tree; "+" for changes on top of it."""
    def git(*arguments):
        return subprocess.run(
            ["git", "-C", root, *arguments], stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, text=True, check=False).stdout.strip()
    head = git("rev-parse", "--short", "HEAD")
    return (head + ("+" if git("status", "--porcelain") else "")
            if head else "uncommitted")

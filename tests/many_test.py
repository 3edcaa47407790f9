#!/usr/bin/env python3
"""Tests wcsp-many with real engines: many_test.py ENGINE PROGRAMS EXAMPLES [COUNT [SEED]].

ENGINE is parallel, ssh, slurm, or signals, which sends COUNT signals at random
moments. PROGRAMS is the folder of wcsp, wcsp-check and wcsp-many. Searches reach
their target only in tests of the target, so that nothing else ends them.
"""

import contextlib
import fcntl
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ENGINE = sys.argv[1]
PROGRAMS, EXAMPLES = map(pathlib.Path, map(os.path.abspath, sys.argv[2:4]))
MANY, WCSP, CHECK = (str(PROGRAMS / name) for name in ("wcsp-many", "wcsp", "wcsp-check"))
HERE = pathlib.Path(__file__).resolve().parent / "engines"
TIMES = re.compile(rb"\d+\.\d\d(?=\(s\)|/\d+\.\d\d\(s\))")
# Long enough to be interrupted, short enough to be repeated.
ITERATIONS = ["--", "-iteration", "1000000"]


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def many(*arguments, **settings):
    done = subprocess.run([MANY, *arguments], capture_output=True, text=True, timeout=300,
                          stdin=subprocess.DEVNULL, **settings)
    return done.returncode, done.stdout, done.stderr


def start(*arguments, **settings):
    return subprocess.Popen([MANY, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            stdin=subprocess.DEVNULL, text=True, **settings)


def records(folder):
    return {int(p.stem): json.loads(p.read_text()) for p in pathlib.Path(folder).glob("*.run")}


def wait_for(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"waited in vain: {what}")
        time.sleep(0.05)


def searching(*folders):
    """The number of running searches in some folders."""
    return sum(b"# start tabu search" in p.read_bytes() for folder in folders
               for p in pathlib.Path(folder).rglob("run-*/log"))


def processes_of(text):
    """The processes whose command line holds a text."""
    numbers = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            line = (process / "cmdline").read_bytes()
        except OSError:
            continue
        if text.encode() in line and int(process.name) != os.getpid():
            numbers.append(process.name)
    return numbers


def masked(report):
    return TIMES.sub(b"T", report)


def check_right(folder, seeds, out, expected_best=True):
    """Every seed exists once, wcsp-check confirms each report, and standard output
    has the best one."""
    folder = pathlib.Path(folder)
    runs = records(folder)
    expect("seeds", sorted(runs), sorted(seeds))
    best = None
    for seed, record in runs.items():
        report = folder / f"{seed}.report"
        status = subprocess.run([CHECK, "--quiet", "m.model", report], check=False).returncode
        expect(f"judge of seed {seed}", status, 0)
        text = report.read_text()
        penalty = re.findall(r"^penalty: (\d+)/(\d+) \(hard", text, re.M)[-1]
        expect(f"penalty of seed {seed}", penalty,
               (str(record["hard"]), str(record["soft"])))
        best = min(best or (2**40,), (record["hard"], record["soft"], seed))
    if expected_best:
        expect("best", out, (folder / f"{best[2]}.report").read_text())


def check_nothing_left(folder):
    """No process of the runs is there a moment after the end."""
    path = str(pathlib.Path(folder).resolve())
    wait_for(f"processes in {folder}", lambda: not processes_of(path), 10)


def the_same_as_alone():
    """Eight seeds, two at once: each as the solver alone prints it."""
    status, out, errors = many("m.model", "--target", "0", "--seeds", "1-8", "--jobs", "2",
                               "--", "-iteration", "3000")
    expect("status", status, 0)
    check_right("m.model.runs", range(1, 9), out)
    for seed in range(1, 9):
        alone = subprocess.run([WCSP, "-inputfile", "m.model", "-target", "0", "-iteration", "3000",
                                "-seed", str(seed), "-time", "1000", "-logfile", "log"],
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout
        for kind, text in (("report", alone), ("log", pathlib.Path("log").read_bytes())):
            kept = pathlib.Path(f"m.model.runs/{seed}.{kind}").read_bytes()
            expect(f"{kind} {seed}", masked(kept), masked(text))
    expect("table", "8 runs: 8 with a report, 0 failed" in errors, True)
    before = {p.name: p.stat().st_mtime_ns for p in pathlib.Path("m.model.runs").glob("*.run")}
    status, _, errors = many("m.model", "--target", "0", "--seeds", "1-10", "--compress", "--",
                             "-iteration", "3000")
    expect("more seeds", (status, sorted(records("m.model.runs"))), (0, list(range(1, 11))))
    expect("none repeated", {name: pathlib.Path("m.model.runs", name).stat().st_mtime_ns
                             for name in before}, before)
    expect("packed", pathlib.Path("m.model.runs/10.log.gz").exists(), True)
    status, out, _ = many("--results", "m.model.runs")
    expect("results", (status, out), (0, pathlib.Path("m.model.runs/best.report").read_text()))
    for arguments, what in ((("--target", "0", "--", "-iteration", "9"),
                             "other options (-iteration 3000, "),
                            (("--target", "1", "--", "-iteration", "3000"), "another --target")):
        status, _, errors = many("m.model", *arguments)
        expect(what, (status, what in errors), (4, True))


def signals():
    """Any signal ends all runs with their incumbents; a second call runs the rest."""
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
        folder = f"runs-{number.name}"
        arguments = ["m.model", "--dir", folder, "--target", "0", "--seeds", "1-4", "--jobs", "2",
                     *ITERATIONS]
        process = start(*arguments)
        wait_for("searches", lambda folder=folder: searching(folder) == 2)
        process.send_signal(number)
        out, errors = process.communicate(timeout=30)
        check_nothing_left(folder)
        if number == signal.SIGKILL:
            expect(f"{number.name}", process.returncode, -9)
        else:
            expect(f"{number.name}: {errors}", (process.returncode, errors.endswith(
                "\n2 of 4 seeds never started\n")), (5, True))
            check_right(folder, [1, 2], out)
            expect(number.name, [r["ended by"] for r in records(folder).values()],
                   ["signal", "signal"])
        status, out, errors = many(*arguments)
        expect(f"after {number.name}: {errors}", status, 0)
        check_right(folder, [1, 2, 3, 4], out)
        expect("all to their end", {r["ended by"] for r in records(folder).values()}, {""})


def ends():
    """The target, the clock, --stop and --status."""
    status, out, _ = many("m.model", "--dir", "t", "--target", "9", "--seeds", "1-4", "--jobs", "2",
                          "--each", "30")
    expect("target", (status, re.findall(r"^penalty: (0/\d+)", out, re.M)), (0, ["0/9"]))
    began = time.monotonic()
    status, out, errors = many("m.model", "--dir", "c", "--target", "0", "--each", "60", "--jobs",
                               "2", "--seeds", "1-3", "--time", "4")
    expect(f"clock: {errors}", (status, time.monotonic() - began < 8,
                                {r["ended by"] for r in records("c").values()}),
           (0, True, {"time"}))
    process = start("m.model", "--dir", "s", "--target", "0", "--each", "60", "--jobs", "2")
    wait_for("searches", lambda: searching("s") == 2)
    wait_for("status", lambda: "2 running" in many("--status", "s")[1])
    expect("twice", (lambda done: (done[0], "--stop" in done[2]))(
        many("m.model", "--dir", "s", "--target", "0", "--each", "60")), (2, True))
    expect("stop", many("--stop", "s")[0], 0)
    process.communicate(timeout=20)
    expect("stopped", (process.returncode, len(records("s"))), (5, 2))
    status, _, errors = many("m.model", "--dir", "r", "--target", "0", "--each", "0.3", "--seeds",
                             "1-2", "--jobs", "2", "--time", "6", "--restart", "--from-best")
    runs = records("r")
    expect(f"restart: {errors}", (status, len(runs) > 3,
                                  {r["from"] for r in runs.values()}), (0, True, {"", "best"}))


def check_polished(folder, out):
    """The report on standard output is right and better than all runs, and kept."""
    penalty = tuple(map(int, re.findall(r"^penalty: (\d+)/(\d+) \(hard", out, re.M)[-1]))
    best = min((r["hard"], r["soft"]) for r in records(folder).values())
    done = subprocess.run([CHECK, "--quiet", "w.model", "-"], input=out, text=True, check=False)
    expect("judged", done.returncode, 0)
    expect("kept", pathlib.Path(folder, "best.report").read_text(), out)
    expect("no worse", penalty <= best, True)
    return penalty < best


def polish():
    """Polishing improves on the runs, in its time; what it brought stays."""
    arguments = ["w.model", "--dir", "p", "--seeds", "1-3", "--time", "20", "--polish", "0.5",
                 "--", "-iteration", "1000"]
    began = time.monotonic()
    status, out, errors = many(*arguments)
    seconds = time.monotonic() - began
    expect(f"polish: {errors}", (status, 10 < seconds < 40), (0, True))
    expect("gain", check_polished("p", out), True)
    hard, soft = re.findall(r"^penalty: (\d+)/(\d+) \(hard", out, re.M)[-1]
    expect(errors, f"polished: {hard}/{soft} instead of " in errors, True)
    check_clean("p")
    expect("results", many("--results", "p")[1], out)
    expect("status", f"best {hard}/{soft}, polished" in many("--status", "p")[1], True)
    bounded = many("--results", "p", "--bound", "1")
    expect(f"bound: {bounded[2]}", (bounded[:2], len(re.findall(
        r"^(no bound from|\w+ reports a lower bound of) .*", bounded[2], re.M))), ((0, out), 1))
    # It goes on from there, without running a seed again; the target ends it.
    before = records("p")
    process = start(*arguments[:5], "--time", "100", "--polish", "0.9", *arguments[9:])
    wait_for("polishing", lambda: "polishing, best" in many("--status", "p")[1])
    expect("stop", many("--stop", "p")[0], 0)
    again, errors = process.communicate(timeout=20)
    expect(f"again: {errors}", (process.returncode, records("p")), (0, before))
    check_polished("p", again)
    check_clean("p")
    # A wrong file is no best report.
    pathlib.Path("p/polished.report").write_text(
        again.replace(f"penalty: {hard}/", "penalty: 0/").replace(": early", ": off", 1))
    status, out, errors = many("--results", "p")
    expect(f"damaged: {errors}", (status, "polished.report: wcsp-check refuses" in errors),
           (0, True))
    check_polished("p", out)
    for given, message in (
            (["--bound", "9", "--slurm"], "--bound cannot be used with"),
            (["--bound", "soon"], "'soon' is not a time"),
            (["--polish", "0.5"], "--polish needs --time"),
            (["--polish", "1", "--time", "9"], "'1' is not a number above 0 and below 1"),
            (["--polish", "nan", "--time", "9"], "'nan' is not"),
            (["--polish", "0.5", "--time", "9", "--slurm"], "--slurm cannot be used with")):
        status, _, errors = many("w.model", "--dir", "q", *given)
        expect(errors, (status, message in errors), (2, True))


def polish_moments():
    """Signals at random moments of polishing: the best stays, nothing else."""
    count, seed = map(int, (sys.argv[4:] + ["4", "1"][len(sys.argv) - 4:])[:2])
    rng = random.Random(seed)
    for number in range(count):
        sent = rng.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
        what = f"polishing, trial {number} of seed {seed}: {sent.name}"
        process = start("w.model", "--dir", "pm", "--seeds", "1-2", "--time", "100", "--polish",
                        "0.9", "--", "-iteration", "1000")
        wait_for(what, pathlib.Path("pm/2.run").exists)
        time.sleep(rng.uniform(0, 4))
        process.send_signal(sent)
        out, errors = process.communicate(timeout=60)
        check_nothing_left("pm")
        if sent != signal.SIGKILL:
            expect(f"{what}: {errors}", process.returncode, 0)
            check_clean("pm")
            check_polished("pm", out)
        status, out, errors = many("--results", "pm")
        expect(f"{what}: {errors}", (status, "Traceback" in errors), (0, False))
        check_polished("pm", out)
        shutil.rmtree("pm")


def failures():
    """One message, no result lost, nothing repeated forever."""
    pathlib.Path("bad.model").write_text("variable\n")
    change = r"/^\[best/,$ s/^\(penalty: 0\)\/[0-9]*/\1\/1/"
    pathlib.Path("liar").write_text(f"#!/bin/sh\n{WCSP} \"$@\" | sed '{change}'\n")
    os.chmod("liar", 0o755)
    for what, arguments, expected, part in (
            ("model", ["bad.model"], 2, "the solver refuses (status 5)"),
            ("no model", ["none.model"], 2, "wcsp-many: none.model: No such file"),
            ("option", ["m.model", "--dir", "o", "--", "-iterations", "3"], 2,
             "refuses (status 0): one of its options is wrong"),
            ("own option", ["m.model", "--", "-seed", "3"], 2,
             "-seed cannot be given to wcsp: use --seeds"),
            ("time", ["m.model", "--time", "soon"], 2, "'soon' is not a time"),
            ("seeds", ["m.model", "--seeds", "4-1"], 2, "'4-1' is not a range"),
            ("folder", ["m.model", "--dir", "/proc/none"], 2, "wcsp-many: /proc/none: "),
            ("no folder", ["--status", "."], 2, ". is not a folder of runs"),
            ("program", ["m.model", "--wcsp", "none"], 2, "needs wcsp, which is not found: none"),
            ("liar", ["m.model", "--dir", "l", "--wcsp", "./liar", "--seeds", "1-2", "--",
                      "-iteration", "9"], 1, "seed 2: wcsp-check refuses its report")):
        status, out, errors = many(*arguments)
        expect(f"{what}: {errors}", (status, out, part in errors), (expected, "", True))
    expect("runs of a wrong option", len(records("o")) <= 2 * (os.cpu_count() or 1), True)
    os.mkdir("bin")
    os.symlink(sys.executable, "bin/python3")
    status, _, errors = many("m.model", "--dir", "e", env={"PATH": "bin"})
    expect("engine", (status, "needs GNU parallel (package parallel)" in errors), (3, True))
    # A folder that goes, or a disk that fills, while runs are under way costs
    # neither the best report so far nor the table.
    ends = ["gone"]
    if os.geteuid() == 0:
        ends.append("full")
        os.mkdir("full")
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=3m", "tmpfs", "full"], check=True)
    else:
        print("a full disk is not tested: it takes root")
    try:
        for end in ends:
            folder = f"{end}/runs"
            process = start("m.model", "--dir", folder, "--target", "0", "--seeds", "1-50",
                            "--jobs", "2", "--each", "0.5", "--", "-display", "7")
            wait_for("runs", lambda folder=folder: len(records(folder)) >= 3)
            if end == "gone":
                shutil.rmtree(folder, ignore_errors=True)
            else:
                with open("full/filler", "wb", buffering=0) as filler, \
                        contextlib.suppress(OSError):
                    while filler.write(bytes(100)):
                        pass
            out, errors = process.communicate(timeout=60)
            reason = "No such file" if end == "gone" else "No space left"
            expect(f"{end}: {errors}",
                   (process.returncode, reason in errors, "penalty (hard/soft): least 0/" in errors,
                    "penalty: 0/" in out, "Traceback" in errors, processes_of(folder)),
                   (2, True, True, True, False, []))
        if end == "full":
            os.unlink("full/filler")
            expect("space again", many("--results", folder)[0], 5)
    finally:
        if "full" in ends:
            subprocess.run(["umount", "-l", "full"], check=True)


def busy():
    """Every seed has its turn, on one core with a second load beside it."""
    core = ["taskset", "-c", str(min(os.sched_getaffinity(0)))]
    with subprocess.Popen([*core, WCSP, "-inputfile", "m.model", "-target", "0", "-time", "600"],
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as load:
        try:
            began = time.monotonic()
            done = subprocess.run([*core, MANY, "m.model", "--seeds", "1-8", "--target", "0",
                                   "--dir", "busy", "--time", "12s"], capture_output=True,
                                  text=True, stdin=subprocess.DEVNULL, check=False)
            expect(done.stderr, (done.returncode, "never started" in done.stderr,
                                 time.monotonic() - began < 20), (0, False, True))
            check_right("busy", range(1, 9), done.stdout)
            # What does not fit is said.
            status, out, errors = many("m.model", "--seeds", "1-99", "--target", "0", "--dir",
                                       "short", "--time", "2s")
            missing = 99 - len(records("short"))
            line = f"{missing} of 99 seeds never started"
            expect(errors, (status, errors.endswith(f"\n{line}\n"), "penalty: " in out),
                   (5, True, True))
            expect("status", line in many("--status", "short")[1], True)
        finally:
            load.kill()


def edited():
    """All runs use one version of a model, even if it is edited meanwhile or is a pipe."""
    shutil.copy("m.model", "e.model")
    arguments = ["e.model", "--target", "0", "--seeds", "1-4", "--jobs", "2", *ITERATIONS]
    process = start(*arguments)
    wait_for("searches", lambda: searching("e.model.runs") == 2)
    other = EXAMPLES / "n-queens.model"
    pathlib.Path("e.model").write_bytes(other.read_bytes())
    out, errors = process.communicate(timeout=120)
    expect(errors, process.returncode, 0)
    check_right("e.model.runs", range(1, 5), out)
    expect("results", many("--results", "e.model.runs")[:2], (0, out))
    status, _, errors = many(*arguments)
    expect("another model", (status, "was made for another model" in errors), (4, True))
    done = subprocess.run(["bash", "-c", '"$0" <(cat m.model) --dir pipe --seeds 1-2 -- -iteration 9',
                           MANY], capture_output=True, stdin=subprocess.DEVNULL, check=False)
    expect(f"a pipe: {done.stderr}", done.returncode, 0)


def damage():
    """Any damage to a file of the folder is reported, and the run is repeated if
    possible."""
    arguments = ["m.model", "--dir", "d", "--target", "0", "--seeds", "1-3", "--compress", "--",
                 "-iteration", "3000"]
    expect("whole", many(*arguments)[0], 0)
    shutil.copytree("d", "whole")

    def changed(field, value):
        return lambda data: json.dumps(json.loads(data) | {field: value}).encode()

    def without(field):
        return lambda data: json.dumps(
            {key: value for key, value in json.loads(data).items() if key != field}).encode()

    ways = {"cut": lambda data: data[:len(data) // 2], "emptied": lambda data: b"",
            "flipped": lambda data: bytes(b ^ 64 for b in data[:1]) + data[1:], "deleted": None,
            "replaced": lambda data: b"[1, 2]\n"}
    records_too = {"a list": lambda data: b"[]", "deep": lambda data: b"[" * 100000,
                   "without a host": without("host"), "a text": changed("hard", "0"),
                   "another seed": changed("seed", 1), "other settings": changed("made for", "x")}
    rebuilt = ["best.report", "settings.json", ".work/model"]
    silent = [".work/lock", ".work/job.json", ".work/wcsp-many", ".work/seeds", ".work/errors"]
    for name in ["2.report", "2.run", "2.log.gz", *rebuilt, "silent"]:
        for way, change in (ways | (records_too if name == "2.run" else {})).items():
            if name == "silent" and way not in ("flipped", "deleted"):
                continue
            shutil.rmtree("d")
            shutil.copytree("whole", "d")
            for path in (pathlib.Path("d", n) for n in (silent if name == "silent" else [name])):
                data = path.read_bytes()
                path.unlink() if change is None else path.write_bytes(change(data))
            before = pathlib.Path("d/2.run").stat().st_mtime_ns if name != "2.run" else 0
            what, said = f"{name} {way}", ""
            for question in ("--status", "--results"):
                status, _, errors = many(question, "d")
                said += errors
                expect(f"{what}, {question}: {errors}",
                       ("Traceback" in errors, status in (0, 2, 5)), (False, True))
                # A record that is gone leaves nothing that could be damaged.
                if name.startswith("2.") and (name, way) != ("2.run", "deleted"):
                    expect(f"{what}, {question}: {errors}",
                           re.search(r"wcsp-many: d: 2\.\w+", errors) is not None, True)
            status, out, errors = many(*arguments)
            expect(f"{what}: {errors}", (status, "Traceback" in errors), (0, False))
            check_right("d", range(1, 4), out)
            is_silent = name == "silent" or way == "deleted" and name in (
                "2.run", "best.report", ".work/model")
            said += errors
            expect(f"{what}: {said}", "wcsp-many: d" in said, not is_silent)
            if name.startswith("2."):
                expect(f"{what}: {errors}", "seed 2 on " in errors, True)
            else:
                expect(f"{what}: {errors}", pathlib.Path("d/2.run").stat().st_mtime_ns, before)
            status, _, errors = many(*arguments)
            expect(f"{what}, once more: {errors}", (status, "wcsp-many: " in errors), (0, False))
    # Without settings, runs of another model are not taken for runs of this one.
    pathlib.Path("d/settings.json").unlink()
    shutil.copy(EXAMPLES / "n-queens.model", "q.model")
    status, _, errors = many("q.model", *arguments[1:])
    expect(errors, (status, "may belong to another model" in errors), (4, True))
    # What calls before this one kept has no digests.
    shutil.rmtree("d")
    shutil.copytree("whole", "d")
    for path in pathlib.Path("d").glob("*.run"):
        record = json.loads(path.read_text())
        path.write_text(json.dumps({k: v for k, v in record.items()
                                    if k not in ("files", "made for")}))
    pathlib.Path("d/3.report").unlink()
    errors = many(*arguments)[2]
    expect(errors, ("3.report is lost; seed 3 is run again" in errors, "seed 2 on" in errors),
           (True, False))


def streams():
    """Closed streams, lost readers, full devices, names that are no text."""
    name = b"esc\x1b[31m\xff.model"
    shutil.copy(b"m.model", name)
    arguments = [name, "--dir", "w", "--seeds", "1-2", "--", "-iteration", "9"]
    for redirection, expected in (("", 0), ("<&-", 0), (">&-", 2), ("2>&-", 0), (">/dev/full", 2),
                                  ("2>/dev/full", 0), (">&- 2>&- <&-", 2), ("| true", -13),
                                  ("2>&1 | true", -13)):
        shutil.rmtree("w", ignore_errors=True)
        # The status of a lost reader is that of SIGPIPE.
        done = subprocess.run(["bash", "-c", f'"$0" "$@" {redirection}; s=${{PIPESTATUS[0]}}; '
                               'exit "$s"', MANY, *arguments], capture_output=True,
                              stdin=subprocess.DEVNULL, check=False)
        expect(f"{redirection}: {done.stderr}",
               (done.returncode in (expected, 128 - expected), b"Traceback" in done.stderr,
                b"\x1b" in done.stderr, sorted(records("w"))), (True, False, False, [1, 2]))
    for arguments in ([b"no\x1b\xff"], [name, "--seeds", "\x1b"], ["--status", b"\x1b\xff"]):
        done = subprocess.run([MANY, *arguments], capture_output=True, check=False,
                              stdin=subprocess.DEVNULL)
        expect(f"{arguments}: {done.stderr}", (done.returncode, b"\\x1b" in done.stderr,
                                               b"\x1b" in done.stderr), (2, True, False))
    for moment in range(0, 30, 2):
        with subprocess.Popen([MANY, "--help"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE) as process:
            time.sleep(moment / 200)
            process.send_signal(signal.SIGINT)
            errors = process.communicate()[1]
        expect(f"SIGINT after {moment * 5} ms", (errors, process.returncode in (0, -2)),
               (b"", True))


def searching_seeds(folder):
    """The seeds of the searches that have started and are under way."""
    seeds = set()
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (process / "cmdline").read_bytes().split(b"\0")
            if (process / "cwd").resolve() != (pathlib.Path(folder) / ".work").resolve():
                continue
            log = process / "cwd" / command[command.index(b"-logfile") + 1].decode()
            if b"# start tabu search" in log.read_bytes():
                seeds.add(int(command[command.index(b"-seed") + 1]))
        except (OSError, ValueError):
            continue
    return seeds


def check_clean(folder):
    """No process, no lock and nothing that a call needs only while it runs."""
    check_nothing_left(folder)
    work = pathlib.Path(folder, ".work")
    patterns = ("run-*", "stop*", "incoming", "state.json", ".wcsp-*", "../.wcsp-*")
    left = [p.name for pattern in patterns for p in work.glob(pattern)]
    expect(f"left in {folder}", left, [])
    if (work / "lock").exists():
        with open(work / "lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)


def moments():
    """Signals at random moments, a quarter of them twice. Results are kept, and the
    next call finishes."""
    count, seed = map(int, (sys.argv[4:] + ["8", "1"][len(sys.argv) - 4:])[:2])
    rng = random.Random(seed)
    outcomes, interrupted = {}, 0
    for number in range(count):
        folder = f"m{number}"
        arguments = ["m.model", "--dir", folder, "--target", "0", "--seeds", "1-6", "--jobs", "2",
                     "--", "-iteration", "300000"]
        sent = rng.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
        process = start(*arguments)
        # Half of them in the first second, where the engine starts.
        time.sleep(rng.uniform(0, rng.choice([1, 4])))
        begun = searching_seeds(folder)
        process.send_signal(sent)
        if rng.random() < 0.25:
            time.sleep(rng.uniform(0, 0.2))
            process.send_signal(sent)
        what = f"trial {number}: {sent.name}"
        if sent == signal.SIGKILL:
            process.communicate(timeout=60)
        else:
            out, errors = process.communicate(timeout=120)
            expect(f"{what}: {errors}", ("Traceback" in errors,
                                         process.returncode in (0, 1, 5, -sent)), (False, True))
            if pathlib.Path(folder, "settings.json").exists():
                check_clean(folder)
                expect(f"{what}: seeds lost", begun - set(records(folder)), set())
                check_right(folder, records(folder), out, process.returncode in (0, 5))
                interrupted += sum(r["ended by"] != "" for r in records(folder).values())
        written = {name: file.stat().st_mtime_ns for name, file in (
            (seed, pathlib.Path(folder, f"{seed}.run")) for seed, record in records(folder).items()
            if not record["ended by"])}
        status, out, errors = many(*arguments)
        expect(f"{what}, the next call: {errors}", (status, "Traceback" in errors), (0, False))
        check_clean(folder)
        check_right(folder, range(1, 7), out)
        expect(what, {r["ended by"] for r in records(folder).values()}, {""})
        expect(f"{what}: done twice", {seed: pathlib.Path(folder, f"{seed}.run").stat().st_mtime_ns
                                       for seed in written}, written)
        outcome = sent.name, process.returncode
        outcomes[outcome] = outcomes.get(outcome, 0) + 1
        shutil.rmtree(folder)
    print(f"{count} signals (seed {seed}), {interrupted} runs interrupted; by signal and status:",
          outcomes)


def ssh():
    """One host is killed, one freezes, one was never there: all seeds come."""
    hosts = os.path.abspath("hosts")
    control = str(HERE / "ssh_hosts")
    subprocess.run([control, "up", hosts, "4"], check=True)
    try:
        subprocess.run([control, "kill", hosts, "4"], check=True)
        pathlib.Path("logins").write_text("1/h1\n1/h2\n1/h3\n1/h4\n")
        environment = os.environ | {"PARALLEL_SSH": f"ssh -F {hosts}/ssh_config"}
        arguments = ["m.model", "--hosts", "logins", "--target", "0", "--seeds", "1-9", *ITERATIONS]
        homes = [f"{hosts}/home{i}" for i in (1, 2, 3)]
        process = start(*arguments, env=environment)
        wait_for("searches on three hosts", lambda: all(searching(home) for home in homes))
        subprocess.run([control, "kill", hosts, "2"], check=True)
        subprocess.run([control, "freeze", hosts, "3"], check=True)
        out, errors = process.communicate(timeout=240)
        expect(errors, process.returncode, 0)
        check_right("m.model.runs", range(1, 10), out)
        expect("never there", "h4: cannot be reached" in errors, True)
        expect("one copy of the model", len(list(pathlib.Path(homes[0]).rglob("model.*"))), 1)

        process = start("m.model", "--dir", "stopped", *arguments[1:], env=environment)
        wait_for("a search", lambda: searching(homes[0]) == 1)
        process.send_signal(signal.SIGTERM)
        out, errors = process.communicate(timeout=90)
        expect(errors, process.returncode, 5)
        check_right("stopped", records("stopped"), out)
        expect("incumbents", [r["ended by"] for r in records("stopped").values()][-1], "signal")
    finally:
        subprocess.run([control, "down", hosts], check=False)


def slurm():
    """A job array: all tasks, a requeue, scancel, a lost node, the time limit."""
    cluster = os.path.abspath("cluster")
    control = str(HERE / "slurm_cluster")
    subprocess.run([control, "up", cluster, "2"], check=True)
    # Satisfiability with weights: its searches go on for minutes.
    pathlib.Path("m.model").write_bytes(subprocess.run(
        [sys.executable, HERE.parents[1] / "bench/workloads.py", "sat1000"], check=True,
        stdout=subprocess.PIPE).stdout)
    os.environ["SLURM_CONF"] = f"{cluster}/slurm.conf"

    def submit(folder, seeds, *options, status=0):
        done = many("m.model", "--dir", folder, "--slurm", "--submit", "--target", "0",
                    "--time", "10m", "--seeds", seeds, *options)
        expect(done[2], done[0], status)
        return done[1].split()[-1]

    def jobs():
        return subprocess.run(["squeue", "-h", "-o", "%A"], capture_output=True, text=True,
                              check=True).stdout.split()

    def scontrol(*arguments):
        subprocess.run(["scontrol", *arguments], check=True)

    try:
        status, out, errors = many("m.model", "--dir", "short", "--slurm", "--time", "90")
        expect("too short", (status, "is too short" in errors), (2, True))
        status, out, _ = many("m.model", "--dir", "dry", "--slurm", "--time", "10m")
        expect("line", (status, out), (0, "sbatch dry/slurm.sh\n"))

        submit("array", "1-8", "--", "-iteration", "20000")
        wait_for("array", lambda: len(records("array")) == 8 and not jobs(), 120)
        status, out, _ = many("--results", "array")
        check_right("array", range(1, 9), out)

        # scancel keeps the incumbents, and a second array goes on from them.
        job = submit("long", "1-2")
        wait_for("searches", lambda: searching("long") == 2)
        scontrol("requeue", f"{job}_1")
        wait_for("incumbent", lambda: 1 in records("long"))
        wait_for("second try", lambda: searching("long") == 2, 200)
        expect("goes on", records("long")[1]["ended by"], "SIGTERM")
        subprocess.run(["scancel", job], check=True)
        wait_for("cancelled", lambda: not jobs() and len(records("long")) == 2, 60)
        status, out, _ = many("--results", "long")
        check_right("long", [1, 2], out)
        best = records("long")[2]
        submit("long", "1-2")
        wait_for("third try", lambda: searching("long") == 2)

        # The daemon of a node dies with what it runs: the task starts on the other.
        node = [p for p in pathlib.Path("long/.work").glob("run-*")]
        expect("two tasks", len(node), 2)
        subprocess.run(["scancel", "--signal=INT", "--batch", *set(jobs())], check=True)
        wait_for("interrupted", lambda: not jobs(), 60)
        after = records("long")[2]
        expect("no worse", (after["hard"], after["soft"]) <= (best["hard"], best["soft"]), True)

        # The time limit, which Slurm may signal a minute early.
        submit("limit", "1-2", "--time", "2m")
        wait_for("limit", lambda: len(records("limit")) == 2 and not jobs(), 200)
        expect("limit", [r["ended by"] for r in records("limit").values()], ["SIGINT", "SIGINT"])
        check_right("limit", [1, 2], many("--results", "limit")[1])

        submit("lost", "1-2", "--", "-iteration", "6000000")
        wait_for("searches", lambda: searching("lost") == 2)
        pid = pathlib.Path(cluster, "slurmd.n2.pid").read_text().strip()
        os.kill(int(pid), signal.SIGKILL)
        for process in processes_of("lost/.work/wcsp-many"):
            proc = pathlib.Path("/proc", process)
            if b"SLURMD_NODENAME=n2" in (proc / "environ").read_bytes():
                step = re.search(r"^PPid:\s*(\d+)", (proc / "status").read_text(), re.M)[1]
                os.kill(int(step), signal.SIGKILL)  # first what would tell of it
                os.kill(int(process), signal.SIGKILL)
        wait_for("the other node", lambda: len(records("lost")) == 2 and not jobs(), 280)
        expect("hosts", {r["host"] for r in records("lost").values()}, {"n1"})
    finally:
        subprocess.run(["scancel", "--user", str(os.geteuid())], check=False)
        subprocess.run([control, "down", cluster], check=False)


NEEDED = {"parallel": ["parallel"], "ssh": ["parallel", "/usr/sbin/sshd", "ssh"],
          "slurm": ["slurmctld", "slurmd", "sbatch", "munged"], "signals": ["parallel"]}
for program in NEEDED[ENGINE]:
    if not shutil.which(program, path=os.environ["PATH"] + ":/usr/sbin"):
        sys.exit(f"{program} is missing: wcsp-many is not tested with {ENGINE}")
os.environ["PATH"] += ":/usr/sbin"
with tempfile.TemporaryDirectory() as base:
    os.chdir(base)
    shutil.copy(EXAMPLES / "frequency-assignment.model", "m.model")
    shutil.copy(EXAMPLES / "ward-roster.model", "w.model")
    signal.signal(signal.SIGHUP, signal.SIG_DFL)  # under nohup it would stay ignored
    for test in {"parallel": (the_same_as_alone, signals, ends, failures, busy,
                              edited, damage, streams, polish), "ssh": (ssh,),
                 "slurm": (slurm,), "signals": (moments, polish_moments)}[ENGINE]:
        began = time.monotonic()
        test()
        print(f"{test.__name__}: {time.monotonic() - began:.0f} s", flush=True)

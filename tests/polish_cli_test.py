#!/usr/bin/env python3
"""Tests the program wcsp-polish: polish_cli_test.py PROGRAMS [SIGNALS [SEED]].

PROGRAMS is the folder of wcsp, wcsp-check and wcsp-polish. With SIGNALS it sends
so many signals at random moments instead.
"""

import collections
import os
import pathlib
import pty
import random
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import uuid

PROGRAMS = os.path.abspath(sys.argv[1])
POLISH, CHECK, PLOT = (f"{PROGRAMS}/wcsp-{name}" for name in ("polish", "check", "plot"))
TIMES = re.compile(r"time = \d+\.\d\d\(s\)")
PENALTY = re.compile(r"^penalty = (\d+)/(\d+) \(hard/soft\), time = \d+\.\d\d\(s\), "
                     r"iteration = (\d+)$", re.M)

SMALL = """variable x in {a, b}
variable y in {a, b}
c: weight = 2 type = linear 1(x,a) 1(y,a) <= 0
d: weight = 3 type = linear 1(x,b) 1(y,b) <= 1
"""
WORST = "[best solution]\nx: b\ny: b\n\npenalty: 0/3 (hard/soft)\n\n[Violated constraints]\nd: 1\n"
BEST = "penalty: 0/2 (hard/soft)"
# Both ends of the range of bounds and weights, an overflow of the search included.
EDGE = """variable x in {a, b}
variable y in {a, b}
c: weight = 2147483646 type = linear 2147483646(x,a) 2147483646(y,a) >= 2147483647
d: weight = inf type = linear -2147483647(x,b) 1(y,b) >= -2147483646
e: weight = 2147483646 type = quadratic 2147483647(x,a)(y,b) <= -2147483646
f: weight = inf type = alldiff x x y ;
"""


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def hold(what, condition, shown=""):
    if not condition:
        sys.exit(f"{what}\n{shown}")


def polish(*arguments, text=None, before=""):
    """Status, output and messages; under a shell's redirection or limit."""
    done = subprocess.run(["sh", "-c", f'{before} exec "$@"', "sh", POLISH, *arguments],
                          check=False, input=text, capture_output=True, text=True, timeout=120,
                          errors="backslashreplace")
    return done.returncode, done.stdout, done.stderr


def judged(model, report):
    """What wcsp-check says of a report, which must be right."""
    done = subprocess.run([CHECK, "--quiet", model, report], check=False, capture_output=True,
                          text=True, timeout=60)
    hold(f"{report} is wrong", done.returncode == 0, done.stdout + done.stderr)


def colouring(count, edges, colours=4, seed=1):
    """A model that no search brings to 0."""
    rng = random.Random(seed)
    lines = [f"variable n{i} in {{{', '.join(map(str, range(colours)))}}}" for i in range(count)]
    for number in range(edges):
        a, b = rng.sample(range(count), 2)
        lines.append(f"e{number}: weight = 1 type = quadratic " + " ".join(
            f"1(n{a},{c})(n{b},{c})" for c in range(colours)) + " <= 0")
    return "\n".join(lines) + "\n"


# Arguments, a text on standard input, the status, and a piece of the message.
WRONG = [
    ([], None, 2, "MODEL is required"),
    (["absent"], None, 2, "cannot read 'absent'"),
    (["."], None, 2, "cannot read '.'"),
    (["broken"], None, 2, "no model: 2 errors"),
    (["m", "absent"], None, 2, "cannot read 'absent'"),
    (["m", "."], None, 2, "cannot read '.'"),
    (["m", "-"], "", 3, "-: neither a report nor a start file of this model"),
    (["m", "-"], "hello", 3, "neither"),
    (["m", "-"], "\0\xff: a", 3, "neither"),
    (["m", "-"], "x: c", 3, "neither"),
    (["m", "-"], "Memory overflow\n\n[incumbent solution]\n", 1, "-: "),
    (["m", "-"], WORST.replace("0/3", "0/2"), 1, "the report is wrong: line 5"),
    (["m", "-"], WORST.replace("d: 1", "c: 1"), 1, "the report is wrong"),
    (["m", "-"], WORST.replace("y: b\n", ""), 1, "-: "),
    (["m", "--seed", "-1"], None, 2, "--seed"),
    (["m", "--seed", "4294967296"], None, 2, "--seed"),
    (["m", "--seed", "1x"], None, 2, "--seed"),
    (["m", "--steps", "0"], None, 2, "--steps"),
    (["m", "--steps", "1e3"], None, 2, "--steps"),
    (["m", "--jobs", "0"], None, 2, "--jobs"),
    (["m", "--jobs", "1025"], None, 2, "--jobs"),
    (["m", "--time", "0"], None, 2, "a time must be above 0"),
    (["m", "--time", ""], None, 2, "is not a time"),
    (["m", "--time", "inf"], None, 2, "is not a time"),
    (["m", "--time", "-5"], None, 2, "is not a time"),
    (["m", "--time", "5\x1b[2J"], None, 2, "'5\\x1b[2J' is not a time"),
    (["m", "--time", "9" * 1000], None, 2, "is not a time"),
    (["m", "--split", "("], None, 2, "not a regular expression"),
    (["m", "--unknown"], None, 2, "--unknown"),
    (["m", "r", "more"], None, 2, "more"),
    (["m", "r", "-o", "m"], None, 2, "--output names the model"),
    (["m", "r", "-o", "link"], None, 2, "--output names the model"),
    (["m", "r", "-o", ""], None, 2, "names no file"),
    (["m", "r", "-o", "."], None, 2, ".: Is a directory"),
    (["m", "r", "-o", "absent/r"], None, 2, "absent/r: No such file or directory"),
    (["m", "r", "-o", "m/r"], None, 2, "m/r: Not a directory"),
]


def arguments():
    for given, text, status, message in WRONG:
        outcome = polish(*given, text=text)
        expect((given, text), (outcome[0], outcome[1], outcome[2][-1:]), (status, "", "\n"))
        hold(given, message in outcome[2] and "terminate" not in outcome[2], outcome[2])
    expect("the model is as it was", pathlib.Path("m").read_text("utf-8"), SMALL)
    for option in ("--help", "--version"):
        status, out, errors = polish(option)
        expect(option, (status, "wcsp-polish" in out, errors), (0, True, ""))


def reports():
    # A report, the whole output of a run, a start file; from a file and a pipe.
    for text in (WORST, "# reading data ...\n" + WORST, "y: b", "x: b y: b"):
        status, out, errors = polish("m", "-", "--steps", "9", text=text)
        expect("status and messages", (status, errors), (0, ""))
        hold("the report is in the output", BEST in out, out)
        pathlib.Path("out").write_text(out, "utf-8")
        judged("m", "out")
    # Nothing to do: no variable, one value, the target reached, 0/0.
    for name, text, start, penalty in (
            ("none", "variable x in {a}\nc: weight = 2 type = linear 1(x,a) <= 0\n", None, "0/2"),
            ("reached", "target = 3\n" + SMALL, WORST, "0/3"),
            ("zero", "target = -1\nvariable x in {a, b}\n", "x: b", "0/0")):
        pathlib.Path(name).write_text(text, "utf-8")
        given = [name, "-"] if start else [name]
        status, out, errors = polish(*given, "--time", "60", text=start)
        expect(name, (status, errors, f"penalty: {penalty} " in out), (0, "", True))
        expect(name, PENALTY.findall(out), [(*penalty.split("/"), "0")])
    for jobs in ("1", "2"):
        status, out, errors = polish("edge", "--steps", "20", "--jobs", jobs)
        expect("numbers at the ends of the range", status, 0)
        pathlib.Path("out").write_text(out, "utf-8")
        judged("edge", "out")


def repeats():
    """Steps repeat, and what is stopped by the clock is their beginning."""
    def masked(*given):
        status, out, errors = polish("c", *given)
        expect(given, (status, errors), (0, ""))
        return TIMES.sub("", out)
    lines = masked("--steps", "30", "--seed", "5")
    expect("equal seeds", masked("--steps", "30", "--seed", "5"), lines)
    hold("another seed goes another way", masked("--steps", "30", "--seed", "6") != lines)
    short = masked("--time", "0.6", "--seed", "5").split("\n\n")[0]
    far = masked("--steps", "400", "--seed", "5").split("\n\n")[0]
    hold("a run with --time is a prefix of that with --steps", far.startswith(short),
         f"{short}\n\n{far}")
    penalties = [tuple(map(int, line[:2])) for line in PENALTY.findall(far)]
    hold("each line is better", all(b < a for a, b in zip(penalties, penalties[1:])), far)


def outputs():
    """The file of -o alone has the report; links and modes stay."""
    polish("c", "--steps", "1", "-o", "o")
    pathlib.Path("kept").write_text("old", "utf-8")
    os.chmod("kept", 0o640)
    os.symlink("kept", "to-kept")
    status, out, errors = polish("c", "o", "--steps", "20", "-o", "to-kept")
    expect("-o", (status, errors, "[best solution]" in out), (0, "", False))
    expect("mode", (os.stat("kept").st_mode & 0o777, os.path.islink("to-kept")), (0o640, True))
    judged("c", "kept")
    expect("nothing beside it", [p.name for p in pathlib.Path().glob(".*")], [])
    expect("a device", polish("c", "o", "--steps", "2", "-o", "/dev/null")[0], 0)
    status, out, errors = polish("c", "o", "--steps", "2", "-o", "/dev/full")
    expect("a full device", (status, "No space left" in errors), (2, True))
    hold("the report is printed instead", "[best solution]" in out, out)
    # Under a limit of the file size, which acts like a full disk.
    status, out, errors = polish("c", "o", "--steps", "2", "-o", "kept",
                                 before="trap '' XFSZ; ulimit -f 0;")
    expect("a full disk", (status, "File too large" in errors), (2, True))
    judged("c", "kept")
    for before, expected in ((">/dev/full", 2), ("exec >&-;", 2), ("exec 2>&- <&-;", 0)):
        redirected = before if before.startswith("exec") else f"exec {before};"
        status, _, errors = polish("c", "o", "--steps", "3", "-o", "new", before=redirected)
        expect(before, status, expected)
        judged("c", "new")
        os.unlink("new")
    status, _, errors = polish("large", "--steps", "1", before="ulimit -v 40000;")
    expect("no memory", (status, errors), (2, "wcsp-polish: out of memory\n"))


def progress():
    """wcsp-plot draws the progress; a terminal shows one line."""
    with open("log", "w", encoding="ascii") as log:
        subprocess.run([POLISH, "c", "--steps", "40"], stdout=log, check=True)
    done = subprocess.run([PLOT, "--csv", "log"], check=False, capture_output=True,
                          text=True)
    lines = PENALTY.findall(pathlib.Path("log").read_text("ascii"))
    hold("wcsp-plot reads it", done.returncode == 0, done.stderr)
    hold("each line is a point", all(f",{soft}" in done.stdout for _, soft, _ in lines),
         done.stdout)
    for given, shown in ((["--steps", "40"], rb"0/\d+, step \d+, \w+ of \d+\r"),
                         (["--time", "1"], rb"0/\d+, step \d+, \w+ of \d+, \d s left\r"),
                         (["--time", "1", "--jobs", "2"],
                          rb"0/\d+, step \d+, \w+ of \d+, \d s left\r")):
        parent, child = pty.openpty()
        with subprocess.Popen([POLISH, "c", "c-start", *given], stdout=subprocess.DEVNULL,
                              stderr=child) as process:
            os.close(child)
            text = b""
            try:
                while piece := os.read(parent, 4096):
                    text += piece
            except OSError:  # the other end is closed
                pass
        os.close(parent)
        expect("status", process.returncode, 0)
        hold("the line of a terminal", re.search(shown, text), text)
        hold("it is wiped at the end", text.endswith(b"\r\x1b[K"), text)


def processes(mark):
    numbers = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if mark in (process / "environ").read_bytes():
                numbers.append(int(process.name))
        except OSError:
            continue
    return numbers


def left_within(seconds, mark):
    """Processes that have not ended by then."""
    end = time.monotonic() + seconds
    while (left := processes(mark)) and time.monotonic() < end:
        time.sleep(0.01)
    return left


def start(*given, ignored=()):
    mark = f"WCSP_POLISH_MARK={uuid.uuid4().hex}"

    def prepare():
        for number in ignored:
            signal.signal(number, signal.SIG_IGN)
    # Ignored signals and limits must be set between fork and exec.
    process = subprocess.Popen(  # pylint: disable=subprocess-popen-preexec-fn
        [POLISH, *given], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        env=dict(os.environ, **dict([mark.split("=")])), preexec_fn=prepare)
    return process, mark.encode()


def wait_for_handlers(process):
    """Until the model is read and signals are caught, and half a second more."""
    status = pathlib.Path(f"/proc/{process.pid}/status")
    end = time.monotonic() + 60
    while time.monotonic() < end:
        caught = re.search(r"^SigCgt:\s*([0-9a-f]+)$", status.read_text("ascii"), re.M)
        if caught and int(caught[1], 16) >> (signal.SIGALRM - 1) & 1:
            break
        time.sleep(0.01)
    time.sleep(0.5)


def interrupts():
    """The first search and long steps end at once; SIGHUP does nothing under nohup."""
    for model, given in (("large", []), ("large", ["--jobs", "2"]), ("c", ["--time", "1h"])):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process, mark = start(model, *given)
            wait_for_handlers(process)
            process.send_signal(number)
            begin = time.monotonic()
            out, errors = process.communicate(timeout=60)
            hold(f"{model} {number} ends soon", time.monotonic() < begin + 10, out[:300])
            expect(f"{model} {number}", (process.returncode, errors), (0, ""))
            hold("the report is there", "penalty: " in out, out)
            expect("processes", left_within(1, mark), [])
    process, mark = start("c", "--time", "2", ignored=[signal.SIGHUP])
    wait_for_handlers(process)
    process.send_signal(signal.SIGHUP)
    begin = time.monotonic()
    process.communicate(timeout=60)
    hold("SIGHUP is ignored", time.monotonic() > begin + 1)
    # A time that ends within a step ends that step.
    begin = time.monotonic()
    status, _, _ = polish("large", "large-start", "--time", "1")
    expect("status", status, 0)
    hold("time ends a long step", time.monotonic() < begin + 10)


def signals(count, seed):
    """Signals at random moments, a fifth of them twice: no process stays, the
    best is kept, nothing lies beside it but after SIGKILL."""
    rng = random.Random(seed)
    outcomes = collections.Counter()
    for trial in range(count):
        number = rng.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
        second = rng.choice([signal.SIGINT, signal.SIGTERM]) if rng.random() < 0.2 else None
        what = f"trial {trial} of seed {seed}: {number.name}"
        given = ["c", *rng.choice([[], ["c-start"]]), "--jobs", str(rng.choice([1, 1, 2, 3])),
                 "--seed", str(trial), "--time", "60"]
        has_file = rng.random() < 0.7
        process, mark = start(*given, *(["-o", "kept"] if has_file else []))
        time.sleep(rng.choice([rng.uniform(0, 0.1), rng.uniform(0, 1.5)]))
        process.send_signal(number)
        if second:
            time.sleep(rng.uniform(0, 0.02))
            process.send_signal(second)
        out, errors = process.communicate(timeout=60)
        expect(what, left_within(5, mark), [])
        shown = [(int(hard), int(soft)) for hard, soft, _ in PENALTY.findall(out)]
        beside = list(pathlib.Path().glob(".kept.*"))
        if number == signal.SIGKILL:
            for path in beside:
                path.unlink()
        else:
            expect(f"{what}: beside", beside, [])
            # Before there is anything to lose a signal has its usual effect.
            hold(what, process.returncode == 0 or not shown
                 and process.returncode in (-number, -(second or number)), (out, errors))
        if shown and (has_file or process.returncode == 0):
            if not has_file:
                pathlib.Path("kept").write_text(out, "utf-8")
            text = pathlib.Path("kept").read_text("utf-8")
            judged("c", "kept")
            kept = tuple(map(int, re.findall(r"^penalty: (\d+)/(\d+) ", text, re.M)[-1]))
            hold(f"{what}: the best is kept", kept <= shown[-1], (kept, shown))
        outcomes[number.name, "report" if shown else "nothing yet"] += 1
        pathlib.Path("kept").unlink(missing_ok=True)
    for outcome, number in sorted(outcomes.items()):
        print(number, *outcome)


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        signal.signal(signal.SIGHUP, signal.SIG_DFL)  # under nohup it would stay ignored
        large = colouring(4000, 60000)
        for name, text in (
                ("m", SMALL), ("r", WORST), ("edge", EDGE), ("c", colouring(120, 700)),
                ("large", large), ("large-start", "n0: 1"),
                ("c-start", "\n".join(f"n{i}: {i % 4}" for i in range(120))),
                ("broken", "variable x in {a, b}\nc: weight = 1 type = linear 1(x,c) <= 0\n"
                           "d: weight = 1 type = linear 1(z,a) <= 0\n")):
            pathlib.Path(name).write_text(text, "utf-8")
        os.symlink("m", "link")
        if len(sys.argv) > 2:
            signals(*map(int, (sys.argv[2:] + ["1"])[:2]))
            return
        for test in (arguments, reports, repeats, outputs, progress, interrupts):
            begin = time.monotonic()
            test()
            print(f"{test.__name__}: {time.monotonic() - begin:.1f} s")


main()

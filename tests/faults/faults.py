#!/usr/bin/env python3
"""Injects failures into the program and checks how it handles them.

The failures are lack of memory, interrupts, outputs that cannot be written and inputs that cannot
be read. The status, the output and an empty standard error must match one of the outcomes listed
with each case, and wcsp-check checks every report. Stops at the first other outcome.
"""

import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
NOBODY = 65534
LOST = 255  # the exit status -1
READING = b"# reading data ..."
READ = READING + b" done: T(s)\n"
BROKEN = READING + b"\nN: cannot read the model\n"
START = b"# start tabu search\n"
HEADING = b"\n[incumbent solution]\n"
PHASES = {0: "in reading", 1: "before the search", 2: "in it", None: "coped with"}

Run = collections.namedtuple("Run", "args status out")  # the output is masked
group_counts = collections.Counter()  # the outcomes of the group that runs
judged = set()


def expect(holds, what, run):
    if not holds:
        sys.exit("%s (seed %d)\n%s\nstatus %d\n%s" % (
            what, options.seed, run.args, run.status, run.out[-3000:].decode("latin-1")))


def mask(text):
    """Without the times and the line of a fault in a model."""
    text = re.sub(rb"\d+\.\d\d(?=\(s\)|/\d+\.\d\d\(s\))", b"T", text)
    return re.sub(rb"(?m)^\d+(?=: )", b"N", text)


def start(*args, **settings):
    pipes = dict.fromkeys(("stdout", "stderr"), subprocess.PIPE)
    return subprocess.Popen([PROGRAM, *map(str, args)], cwd=DIR,
                            **{"stdin": subprocess.DEVNULL} | pipes | settings)


def finish(process, out=b"", text=None):
    """Waits for the end. Nothing may ever appear on standard error."""
    rest, err = process.communicate(text, timeout=600)
    result = Run(process.args, process.returncode, mask(out + (rest or b"")))
    expect(not err, "standard error: %r" % err, result)
    return result


def run(*args, text=None, **settings):
    stdin = {} if text is None else {"stdin": subprocess.PIPE}
    return finish(start(*args, **stdin | settings), text=text)


def read_until(process, text):
    out = b""
    while text not in out:
        piece = os.read(process.stdout.fileno(), 256)
        expect(piece, "%r does not appear" % text, Run(process.args, 0, out))
        out += piece
    return out


def case(what, result, status, out=None):
    group_counts["cases"] += 1
    expect(result.status == status and out in (None, result.out),
           "%s: not status %d and %r" % (what, status, out), result)


def judge(model, result):
    key = model.read_bytes(), result.out.rpartition(b"solution]")[2]
    if key not in judged:
        judged.add(key)
        verdict = subprocess.run([options.check, model, "-"], input=result.out, capture_output=True)
        expect(verdict.returncode == 0, "wcsp-check: " + verdict.stdout.decode(), result)


def random_model(rng):
    """A model that keeps the search busy and has a long report."""
    names = ["v%d_%s" % (v, "x" * 80) for v in range(60)]
    lines = ["variable %s in {a, b, c, d, e}" % name for name in names]
    for weight in range(60):
        x, y, z = rng.sample(names, 3)
        lines += ["d: weight = inf type = alldiff %s %s %s;" % (x, y, z),
                  "l: weight = %d type = linear 1(%s, a) 2(%s, b) >= 2" % (weight % 7, y, z),
                  "q: weight = 2 type = quadratic 1(%s, c)(%s, d) >= 1" % (x, z)]
    return "\n".join(lines).encode()


def preloaded(model, log, stdout=subprocess.PIPE, **environment):
    """The options in the first line of a model."""
    words = {"LOG": log, "MODEL": model}
    args = [words.get(word, word) for word in model.read_text().split("\n")[0][2:].split()]
    return run("-inputfile", model, *args, stdout=stdout,
               env={"LD_PRELOAD": PRELOAD} | environment)


def memory_outcome(model, normal, failure):
    """The key of a phase."""
    result = preloaded(model, DIR / ("log" + failure), FAIL_ALLOCATION=failure)
    what = "allocation %s of %s" % (failure, model.name)
    if result.status == 0:
        expect(result.out == normal, what, result)
        return None
    if result.status == 6:
        head, _, tail = result.out.partition(b"Memory overflow\n")
        expect(normal.startswith(head) and tail.startswith(HEADING), what, result)
        judge(model, result)
        return 2
    # Without a report, by an abort; or the C library had no memory for opening a file.
    is_refused = result.status in (2, 3, 4) and result.out[-1:] == b"\n"
    expect(START not in result.out and (is_refused or result.status == -signal.SIGABRT and
                                        normal.startswith(result.out)), what, result)
    return int(READ in result.out)


def memory_models():
    """Those kept here, then random ones."""
    yield from sorted(HERE.glob("*.model"))
    rng = random.Random(options.seed)
    for i in range(options.models):
        model = DIR / ("random%d.model" % i)
        model.write_bytes(b"# -iteration %d -display 3 -interval 9\n" % rng.randint(1, 200) +
                          random_model(rng))
        yield model


def memory():
    """Every allocation fails, once and from then on."""
    for model in memory_models():
        log, number = DIR / "log", DIR / "count"
        normal = preloaded(model, log, COUNT_ALLOCATIONS=str(number))
        judge(model, normal)
        count = int(number.read_text())
        with open("/dev/full", "wb") as full:
            case("output, too", preloaded(model, log, full, FAIL_ALLOCATION=str(count)), LOST)
        for form in "%d", "%d+":
            with concurrent.futures.ThreadPoolExecutor(2) as pool:
                outcomes = list(pool.map(lambda k: memory_outcome(model, normal.out, form % k),
                                         range(1, count + 1)))
            phases = [phase for phase in outcomes if phase is not None]
            expect(phases == sorted(phases) and phases[-1] == 2, "phases: %s" % phases, normal)
            group_counts.update(map(PHASES.get, outcomes))


def checker():
    """Every allocation of wcsp-check fails in turn: it must give a status and a line, not abort."""
    model = HERE / "kinds.model"
    report = run("-inputfile", model, "-iteration", 3).out
    for flags in ["--json"], []:
        def check(**environment):
            return subprocess.run([options.check, *flags, model, "-"], input=report,
                                  capture_output=True, env={"LD_PRELOAD": PRELOAD} | environment)
        number = DIR / "count"
        normal = check(COUNT_ALLOCATIONS=str(number))
        aborted = []
        for k in range(1, int(number.read_text()) + 1):
            done = check(FAIL_ALLOCATION="%d+" % k)
            group_counts["checks, status %d" % done.returncode] += 1
            if done.returncode == -signal.SIGABRT:  # its libraries make their tables before main
                aborted.append(k)
            expect(done.returncode in (2, normal.returncode) or aborted == list(range(1, k + 1)),
                   "allocation %d of wcsp-check: %r" % (k, done), Run(flags, done.returncode, b""))


def interrupt(way, args, length, rng):
    """Starts a run and signals it in some way."""
    log = DIR / "log"
    log.unlink(missing_ok=True)
    handler = signal.SIG_IGN if way == "ignored" else signal.SIG_DFL
    process = start(*args, *(["-logfile", log] if way == "log" else []),
                    pipesize=4096 if way == "text" else 1 << 20,
                    preexec_fn=lambda: signal.signal(signal.SIGINT, handler))
    texts = b"reading", START, b"\n%d, " % rng.randrange(10, 3500, 10), b"# penalty", b"[best"
    # Once the text has appeared, the writer soon blocks until it is read.
    out = read_until(process, rng.choice(texts)) if way == "text" else b""
    if way != "text":
        time.sleep(rng.uniform(0, 1.05 * length))
    for _ in range({"double": 2, "storm": 10 ** 6}.get(way, 1)):
        process.send_signal(signal.SIGINT)
        if process.poll() is not None:
            break
        time.sleep(rng.choice((0, 0.0001, 0.001 if way == "double" else 0.00005)))
    result = finish(process, out)
    if log.exists():  # where it stands in the output of other runs
        head, newline, tail = result.out.partition(b"\n")
        result = result._replace(out=head + newline + mask(log.read_bytes()) + tail)
    return result


def interrupt_outcome(way, model, result, normal):
    out = result.out
    head, word, tail = out.partition(b"Interrupted.\n")
    begin, end = normal.index(START) + len(START), normal.index(b"\n\n# penalty")
    expect(out == normal if result.status == 0 else normal.startswith(head) and (
        out[-1:] in (b"", b"\n") or out == READING), way + ": torn output", result)
    if result.status == 0:
        expect(way != "text", "finished without its reader", result)
        return "finished"
    if result.status == -signal.SIGINT:
        expect(way != "ignored", "an ignored signal killed", result)
        # A second signal may come when the first has ended the search.
        expect(HEADING.startswith(tail[:len(HEADING)]) if way in ("double", "storm") else
               not word and not begin <= len(out) < end, way + ": killed in the search", result)
        return "killed"
    expect(result.status == 1 and begin <= len(head) <= end and head[-1:] == b"\n" and
           tail.startswith(HEADING), way + ": wrong interruption", result)
    best = re.findall(rb"penalty = (\S+ \(hard)", head)[-1]
    expect(b"\npenalty: " + best in tail, way + ": not the incumbent", result)
    judge(model, result)
    return "interrupted"


def announced():
    """SIGINT as soon as the start of the search is read never loses the incumbent."""
    model = DIR / "large.model"
    model.write_text("\n".join("variable v%d in {a, b}" % v for v in range(100000)) +
                     "\nc: weight = 1 type = linear 1(v0,a) 1(v0,b) >= 3\n")
    for _ in range(10):
        process = start("-inputfile", model, "-noadjust")
        out = read_until(process, START)
        process.send_signal(signal.SIGINT)
        result = finish(process, out)
        expect(result.status == 1 and HEADING in result.out, "announced", result)
        group_counts["announced"] += 1


def interrupts():
    """SIGINT at random moments, in processes of their own."""
    announced()
    rng = random.Random(options.seed)
    model = DIR / "interrupt.model"
    ways = "moment", "double", "storm", "text", "log", "ignored"
    for i in range(options.moments):
        if i % 40 == 0:
            model.write_bytes(random_model(rng))
            args = ["-inputfile", model, *"-iteration 4000 -display 7 -interval 10".split()]
            before = time.monotonic()
            normal = run(*args)
            length = time.monotonic() - before
            judge(model, normal)
        way = ways[i % len(ways)]
        result = interrupt(way, args, length, rng)
        group_counts[interrupt_outcome(way, model, result, normal.out)] += 1


def outputs():
    """Standard output and the log on devices and files that fail."""
    model, log, path = DIR / "output.model", DIR / "log", DIR / "limited"
    text = random_model(random.Random(options.seed))
    model.write_bytes(text)
    short = ["-inputfile", model, "-iteration", 300, "-display", 7, "-interval", 1]
    args = short + ["-logfile", log]
    output, normal = run(*short).out, run(*args).out
    normal_log = mask(log.read_bytes())

    def check(what, result, status, out=None, logged=None):
        case(what, result, status, out)
        expect(logged in (None, log.exists() and mask(log.read_bytes())), what + ": log", result)
        expect(model.read_bytes() == text, what + ": model changed", result)
        log.unlink(missing_ok=True)

    with open("/dev/full", "wb") as full:
        check("full device", run(*args, stdout=full), LOST, None, normal_log)
        # Only a report or the usage text that is lost changes the status.
        for line, status in ((["-unknown"], LOST), (["-inputfile", DIR], 2), ([], 5),
                             (short + ["-initsolfile", DIR], 3), (short + ["-logfile", DIR], 4)):
            check("full device", run(*line, stdout=full, preexec_fn=lambda: os.close(0)), status)
        process = start("-inputfile", model, "-logfile", log, stdout=full)
        while not (log.exists() and START in log.read_bytes()):
            time.sleep(0.001)
        process.send_signal(signal.SIGINT)
        check("full device, interrupted", finish(process), LOST)
    linked, begin = DIR / "linked", DIR / "begin"
    begin.write_bytes(b"v0_: a\n")
    linked.symlink_to(model)
    for log_file in model, linked, begin:
        args_read = short + ["-initsolfile", begin, "-logfile", log_file]
        check("log on an input", run(*args_read), 4)
        expect(begin.read_bytes() == b"v0_: a\n", "start changed", run(*short))
    with model.open("rb") as stream:
        check("log on standard input", run(*short[2:], "-logfile", linked, stdin=stream), 4)
    check("log on a full device", run(*short, "-logfile", "/dev/full"), 0, normal)
    process = start(*short, pipesize=4096, preexec_fn=lambda: os.set_blocking(1, False))
    process.wait()
    check("a full pipe that does not wait", finish(process), LOST)
    for closed in range(8):
        gone = [d for d in range(3) if closed >> d & 1]
        status, out = (LOST, b"") if 1 in gone else (0, normal)
        for line, stdin in (args, None), (args[2:], None if 0 in gone else text):
            result = run(*line, text=stdin, preexec_fn=lambda: list(map(os.close, gone)))
            check("closed %s" % gone, result, *(
                (5, b"" if status else BROKEN) if 0 in gone and line != args else
                (status, out, normal_log)))
    for handler, lost in (signal.SIG_DFL, None), (signal.SIG_IGN, LOST):
        for size in 0, 1, 18, 100, 1000, 8191, 8192, len(output) - 1:
            def prepare():
                signal.signal(signal.SIGXFSZ, handler)
                resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            with path.open("wb") as file:
                result = run(*short, stdout=file, preexec_fn=prepare)
            check("size limit", result, lost or -signal.SIGXFSZ)
            lines = mask(path.read_bytes()).rpartition(b"\n")[0]  # without a torn one
            expect(path.stat().st_size == size and output.startswith(lines), "written", result)
            if size < len(normal_log):
                check("size limit of the log", run(*args, preexec_fn=prepare),
                      *((0, normal) if lost else (-signal.SIGXFSZ,)))
        for seen in b"#", START, b"\n100, ":
            process = start(*short, pipesize=4096,
                            preexec_fn=lambda: signal.signal(signal.SIGPIPE, handler))
            read_until(process, seen)
            process.stdout.close()
            check("no reader", finish(process), lost or -signal.SIGPIPE)


def inputs():
    """Models and starts that can't be read, wholly or from some point on."""
    model, fifo, own, ended = (DIR / name for name in ("kinds.model", "fifo", "own", "ended"))
    text = (HERE / "kinds.model").read_bytes()
    model.write_bytes(text)
    limit = ["-iteration", 5]
    from_model = ["-inputfile", model, *limit]
    normal = run(*from_model).out
    own.touch(0)
    user = {} if os.getuid() else {"user": NOBODY}  # for root every file is readable
    for name in DIR, DIR / "missing", model / "below", own, "/proc/self/mem":
        unread = b"\n# cannot read data from %s\n" % str(name).encode()
        status, out = (5, BROKEN) if name == "/proc/self/mem" else (2, READING + unread)
        case("model %s" % name, run("-inputfile", name, **user), status, out)
        case("start %s" % name, run(*from_model, "-initsolfile", name, **user), 3, READ + unread)
    case("log", run(*from_model, "-logfile", own, **user), 4, READ + b"Cannot open log file.\n")
    for name, flags in (DIR, 0), ("/proc/self/mem", 0), ("/dev/null", os.O_WRONLY):
        descriptor = os.open(name, flags)
        case("standard input", run(stdin=descriptor), 5, BROKEN)
        os.close(descriptor)
    # The model fails in its middle: the writer of the pipe is slow.
    for length in range(1, len(text), 60):
        reader, writer = os.pipe()
        os.set_blocking(reader, False)
        os.write(writer, text[:length])
        case("failing pipe", run(stdin=reader), 5, BROKEN)
        os.close(reader)
        os.close(writer)
    os.mkfifo(fifo)
    for piece in 1, 7, 1 << 16:
        for args, out in ((["-inputfile", fifo, *limit], normal),
                          (from_model + ["-initsolfile", fifo], None)):
            process = start(*args)
            with fifo.open("wb", buffering=0) as file:  # waits for the reader
                for i in range(0, len(text), piece):
                    file.write(text[i:i + piece])
                    time.sleep(0.0001)
            case("FIFO", finish(process), 0, out)
    for length in range(0, len(text), 2):
        ended.write_bytes(text[:length])
        source, given = ([], text[:length]) if length % 4 else (["-inputfile", ended], None)
        result = run(*source, *limit, text=given)
        if result.status == 0:
            judge(ended, result)
        else:
            case("model that ends", result._replace(out=result.out[:22]), 5, READING + b"\nN: ")
        if length % 3 == 0:
            result = run(*from_model, "-initsolfile", ended)
            case("start that ends", result, 0)
            judge(model, result)


GROUPS = {"memory": memory, "checker": checker, "interrupt": interrupts, "output": outputs, "input": inputs}
parser = argparse.ArgumentParser(description=__doc__)
for name in "--wcsp", "--check", "--preload":  # two programs; the library of fail_allocation.cpp
    parser.add_argument(name, type=os.path.abspath, required=True)
parser.add_argument("--seed", type=int, default=1)
parser.add_argument("--moments", type=int, default=200, help="interrupts at random moments")
parser.add_argument("--models", type=int, default=0, help="random models without memory")
parser.add_argument("--only", choices=GROUPS, help="by default all")
options = parser.parse_args()
with tempfile.TemporaryDirectory() as folder:
    DIR = pathlib.Path(folder)
    DIR.chmod(0o755)
    PROGRAM = shutil.copy(options.wcsp, DIR / "wcsp")  # where an ordinary user may run it
    PRELOAD = shutil.copy(options.preload, DIR / "preload.so")  # a path without blanks
    for group in [options.only] if options.only else GROUPS:
        before = time.monotonic()
        GROUPS[group]()
        counts = ", ".join("%d %s" % (number, what) for what, number in group_counts.items())
        print("%s: %s (%.0f s)" % (group, counts, time.monotonic() - before), flush=True)
        group_counts.clear()

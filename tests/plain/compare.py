#!/usr/bin/env python3
"""Runs the solver and the plain program on random models and options.

Both get the same input and arguments. Exit status, standard output and log file
must be the same with times masked. The first differing case is saved in a folder
with its files and its command. The generator is seeded, limits searches by
iterations only, and counts each kind of search event, so that a change of the
generator cannot silently lose one.
"""

import argparse
import collections
import os
import pathlib
import random
import re
import shlex
import subprocess
import sys
import tempfile

INF = 2147483647
TIMES = re.compile(rb"(\d+\.\d\d/)?\d+\.\d\d\(s\)")
EVENTS = [re.compile(pattern, re.M) for pattern in (  # in an output or a log
    rb": No neighbor$", rb"^Kick \(0 variables\)$", rb"^Kick \([1-9]\d* variables\)$",
    rb"\[increase\]", rb"\[div\]", rb" marked\]", rb"\d selected\]", rb" not selected\]",
    rb"\[Reset\]", rb"\[reset all\]", rb"\[aspiration\]", rb", best/ub= ",
    rb", avg\./max #iterations= ", rb"best/ub= \S+\n\n# penalty",
    rb"^sum squares = 0; recalculate$", rb"^Negative weight; Overflow$",
    rb"^penalty = .* iteration = [1-9]", rb"^penalty: .*2147483647", rb"^Usage: ",
    rb": parse error befor/at `", rb": already defined$", rb": unknown variable/value$",
    rb": unknown constraint type$", rb": wcsp has no variable\.$", rb": cannot read the model$",
    rb"^# cannot read data from ", rb"^Cannot open log file\.$",
    rb"^\[Violated constraints\]\n.")]
NAMES = [b"x%d", b"x[%d][2]", b"v_%d", b"\x83\x5c%d", b"\xe0,a%d", b"%dth", b"E@%d"]
MOST = 0  # what --variables asks for, where it is more than usual
VALUES = [b"a", b"b", b"0", b"1", b"-1", b"+1", b"007", b"zz", b"\x95#v", b"<", b"inf"]


def number(rng, small=9):
    """A coefficient or bound: mostly small, at times at the ends of int."""
    if rng.random() < 0.93:
        return b"%d" % rng.randint(-small // 3, small)
    return rng.choice([b"0", b"inf", b"-2147483647", b"-2147483648", b"2147483647",
                       b"+1", b"-0", b"1000000000", b"-2000000000"])


class Model:
    """A random model as text, with its names."""

    def __init__(self, rng, variables, domain, constraints):
        self.rng = rng
        naming = rng.choice(NAMES) if rng.random() < 0.3 else NAMES[0]
        self.names = [naming % i for i in range(variables)]
        self.values, self.lines = [], []
        if rng.random() < 0.3:
            self.lines.append(b"target = " + rng.choice([b"0", b"1", b"3", b"-1", b"inf", b"10"]))
        for name in self.names:
            size = rng.randint(1 if rng.random() < 0.1 else min(2, domain), domain)
            values = [b"%d" % a for a in range(size)]
            if rng.random() < 0.2:
                values = rng.sample(VALUES, min(size, 8))
            self.values.append(values)
            self.lines.append(b"variable %s in {%s}" % (name, b", ".join(values)))
        for c in range(constraints):
            self.add(c)

    def label(self, v=None):
        v = self.rng.randrange(len(self.names)) if v is None else v
        return b"(%s,%s)" % (self.names[v], self.rng.choice(self.values[v]))

    def add(self, c, kind=None, weight=None):
        rng = self.rng
        kind = kind if self.names else b"alldiff"
        kind = kind or rng.choice([b"linear", b"linear", b"quadratic", b"alldiff"])
        weight = weight or rng.choice(
            [b"inf", b"inf", b"1", b"2", b"5", b"7", b"100", b"0", b"-3", b"1000000",
             b"2147483646"])
        head = b"c%d: weight = %s type = %s " % (c, weight, kind)
        if kind == b"alldiff":
            names = rng.choices(self.names, k=rng.randint(0, min(len(self.names), 8)))
            self.lines.append(head + b" ".join(names) + b" " + rng.choice([b";", b"."]))
            return
        terms = []
        for _ in range(rng.choice([0, 1, 2, 3, 4, 6, 8, 12])):
            term = number(rng) + self.label()
            if kind == b"quadratic":
                term += term[term.index(b"("):] if rng.random() < 0.1 else self.label()
            terms.append(term)
            if rng.random() < 0.08:
                terms.append(rng.choice(terms))
        relation = rng.choice([b"=", b"<=", b">=", b"> ="])
        self.lines.append(head + b" ".join(terms) + b" %s %s" % (relation, number(rng, 12)))

    def text(self):
        return b"\n".join(self.lines) + self.rng.choice([b"", b"\n", b" # end"])


def size(rng, first, last):
    """How many variables or constraints."""
    return rng.randint(first, max(last, MOST))


def any_model(rng):
    if rng.random() < 0.02:
        return Model(rng, 0, 1, rng.choice([0, 0, 1]))
    domain = 90 if rng.random() < 0.1 else 6
    return Model(rng, size(rng, 1, 24), rng.randint(1, domain), size(rng, 0, 20))


def tight_model(rng):
    """Many constraints of which no assignment holds all: long searches."""
    model = Model(rng, size(rng, 4, 14), rng.randint(2, 4), size(rng, 6, 14))
    model.lines.append(b"never: weight = 1 type = linear >= 1")
    return model


def dead_end_model(rng):
    """Enough variables for kicks, but few moves that lower a penalty."""
    model = Model(rng, size(rng, 18, 60), 3, 0)
    model.lines.append(b"never: weight = %d type = linear >= 2" % rng.randint(1, 9))
    for c in range(rng.randint(0, 4)):
        model.add(c, b"linear", rng.choice([b"inf", b"4"]))
    return model


def phase_model(rng):
    """So small that no phase improves the incumbent for long."""
    model = Model(rng, rng.randint(2, 3), 2, 0)
    for name, values in zip(model.names, model.values):
        for value in values:
            model.lines.append(b"p: weight = %d type = linear 1(%s,%s) = 1"
                               % (rng.randint(1, 4), name, value))
    for c in range(rng.randint(0, 2)):
        model.add(c, weight=rng.choice([b"inf", b"3"]))
    return model


def overflow_model(rng):
    """Feasible in one assignment, which soft wishes leave at once."""
    model = Model(rng, rng.randint(2, 4), 3, 0)
    first = [b"(%s,%s)" % (n, v[0]) for n, v in zip(model.names, model.values)]
    model.lines.append(b"h: weight = inf type = quadratic 1%s%s >= 1" % tuple(first[:2]))
    for v in range(len(model.names)):
        for value in model.values[v][1:]:
            model.lines.append(b"w: weight = %d type = linear 1(%s,%s) >= 1"
                               % (rng.choice([1, 1, 1, 5]), model.names[v], value))
    for c in range(rng.choice([0, 0, 1, 2])):
        model.add(c, b"linear", rng.choice([b"inf", b"1", b"50"]))
    return model


def spoil(rng, text):
    """One to three edits of bytes or of whole tokens."""
    for _ in range(rng.randint(1, 3)):
        tokens = re.split(rb"(\s+|[(),:={}])", text)
        at = rng.randrange(len(text) + 1)
        kind = rng.randrange(7)
        if kind == 0:
            text = text[:at] + text[at + rng.randint(1, 4):]
        elif kind == 1:
            text = text[:at] + bytes([rng.randrange(256)]) + text[at:]
        elif kind == 2:
            text = text[:at]
        elif kind == 3:
            text = text[:at] + rng.choice(
                [b"#", b"\n\n", b"99999999999", b"-2147483649", b" EOF ", b"+", b"\x81\n",
                 b"variable EOF in {a}\n", b"target = 4\n", b",", b";", b"inf",
                 b"q: weight = 1 type = alldiff "]) + text[at:]
        else:  # one token or line takes the place of another
            parts = text.split(b"\n") if kind == 6 else tokens
            one, two = rng.randrange(len(parts)), rng.randrange(len(parts))
            parts[one] = parts[two]
            text = (b"\n" if kind == 6 else b"").join(parts)
    return text


def start_text(rng, model, report):
    """A start file: a fed-back report, or pairs among other text."""
    kind = rng.random()
    if kind < 0.4:
        return report
    pairs = []
    for v, name in enumerate(model.names):
        if rng.random() < 0.7:
            value = rng.choice(model.values[v] + [b"nothing", b"99999999999"])
            pairs.append(name + rng.choice([b": ", b" : ", b":", b" ", b":\n"]) + value)
        if rng.random() < 0.1:
            pairs.append(rng.choice([b"EOF", b"12", b"# x: a", b"\x83", b"zz: 0"]))
    text = b"\n".join(pairs)
    return spoil(rng, text) if kind > 0.9 and text else text


def options(rng, iterations):
    """Arguments; the iteration limit is always among them and finite."""
    odd = lambda usual, *rare: rng.choice(rare) if rng.random() < 0.1 else usual
    args = [["-iteration", odd(str(iterations), "4294967301", "-3", "7x", "0", "3000000000")]]
    display = rng.choice(["0", "1", "2", "3", "3", "3", "-1", "4", "7"])
    args.append(["-display", odd(display, "-2147483648", "4294967299", "x")])
    if rng.random() < 0.7:
        args.append(["-interval", odd(str(rng.choice([1, 1, 1, 2, 7, 50])), "-1", "0")])
    if rng.random() < 0.8:
        seed = str(rng.randint(1, 10**6))
        args.append(["-seed", odd(seed, "0", "-5", "2147483647", "-2147483647",
                                  "-2147483648", "4294967295", "2147483646")])
    if rng.random() < 0.15:
        args.append(["-noadjust"])
    if rng.random() < 0.15:
        args.append(["-noimprovement", str(rng.choice([0, 1, 10, 40, 200, -3]))])
    if rng.random() < 0.2:
        args.append(["-target", rng.choice(["0", "2", "20", "-1", "-4", "4294967295"])])
    args.append(["-time", odd("1000", "0", "-5", "nan", "1e3", "0x400")])
    if rng.random() < 0.02:
        args.append([rng.choice(["-seed", "-help", "model", "-Seed", ""])])
    rng.shuffle(args)
    return [word for option in args for word in option]


class Case:
    """One input with its arguments; files are written into each folder."""

    def __init__(self, rng, plain, folder):
        make, iterations = rng.choices(
            [(any_model, 300), (tight_model, 600), (dead_end_model, 60),
             (phase_model, 200000), (overflow_model, 100)],
            weights=[40, 28, 14, 1.2, 16])[0]
        if MOST and make is not phase_model:
            iterations //= 5  # the plain program takes long over large models
        model = make(rng)
        text = model.text()
        self.args = options(rng, rng.randint(0, iterations))
        if make is phase_model:  # nothing else may stop it, no progress lines
            self.args = ["-display", rng.choice(["2", "-2", "-2"]), "-iteration",
                         str(iterations), "-seed", str(rng.randint(1, 1000))]
        if make is not phase_model and rng.random() < 0.15:
            text = spoil(rng, text)
        self.files = {"model": text}
        self.stdin = "model"
        self.full = rng.random() < 0.01  # standard output on a full device
        chance = rng.random()
        if chance < 0.5:
            self.args += ["-inputfile", "model"]
            self.stdin = os.devnull
        elif chance < 0.53:
            self.args += ["-inputfile", rng.choice([".", "missing", "none/model"])]
        elif chance < 0.55:
            self.stdin = rng.choice([".", None])
        if rng.random() < 0.25:
            report = b"" if make is phase_model else run(plain, self, folder)[1]
            self.files["start"] = start_text(rng, model, report)
            name = "start" if rng.random() < 0.95 else rng.choice([".", "missing", ""])
            self.args += ["-initsolfile", name]
        if rng.random() < 0.25:
            name = "log" if rng.random() < 0.9 else rng.choice([".", "none/log", "/dev/full", ""])
            self.args += ["-logfile", name]

    def command(self):
        words = " ".join(shlex.quote(word) for word in ["wcsp"] + self.args)
        return words + (" <&-" if self.stdin is None else " <" + self.stdin) + (
            " >/dev/full" if self.full else "")


def write(folder, files):
    for name, text in files.items():
        pathlib.Path(folder, name).write_bytes(text)


def start(program, case, folder):
    write(folder, case.files)
    pathlib.Path(folder, "log").unlink(missing_ok=True)
    descriptors, close = [None, subprocess.PIPE], None
    if case.stdin is None:
        close = lambda: os.close(0)
    else:
        descriptors[0] = os.open(os.path.join(folder, case.stdin), os.O_RDONLY)
    if case.full:
        descriptors[1] = os.open("/dev/full", os.O_WRONLY)
    process = subprocess.Popen(["wcsp"] + case.args, executable=program, cwd=folder,
                               stdin=descriptors[0], stdout=descriptors[1],
                               stderr=subprocess.STDOUT, preexec_fn=close)
    for descriptor in descriptors:
        if descriptor is not None and descriptor >= 0:
            os.close(descriptor)
    return process


def finish(process, folder):
    """Exit status, standard output and log, or a status that says hung."""
    try:
        output, _ = process.communicate(timeout=60)
        status = process.returncode
    except subprocess.TimeoutExpired:
        process.kill()
        output, _ = process.communicate()
        status = "hung"
    log = pathlib.Path(folder, "log")
    log = log.read_bytes() if log.exists() else b""
    return (status, TIMES.sub(b"T(s)", output or b""), TIMES.sub(b"T(s)", log))


def run(program, case, folder):
    return finish(start(program, case, folder), folder)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("--wcsp", "--plain"):
        parser.add_argument(name, required=True)
    for name, usual in (("--count", 1000), ("--seed", 1)):
        parser.add_argument(name, type=int, default=usual)
    parser.add_argument("--variables", type=int, default=0, metavar="N",
                        help="models of up to N variables and constraints")
    choice = parser.parse_args()
    global MOST  # pylint: disable=global-statement
    MOST = choice.variables
    programs = [os.path.abspath(choice.wcsp), os.path.abspath(choice.plain)]
    tally, statuses = collections.Counter(), collections.Counter()
    with tempfile.TemporaryDirectory() as base:
        folders = [os.path.join(base, name) for name in ("wcsp", "plain")]
        for folder in folders:
            os.mkdir(folder)
        for k in range(choice.count):
            rng = random.Random(f"{choice.seed}/{k}")
            case = Case(rng, programs[1], folders[1])
            processes = [start(p, case, f) for p, f in zip(programs, folders)]
            results = [finish(p, f) for p, f in zip(processes, folders)]
            statuses[results[1][0]] += 1
            for event in EVENTS:
                tally[event] += sum(len(event.findall(text)) for text in results[1][1:])
            if results[0] != results[1]:
                left = tempfile.mkdtemp(prefix="compare-")
                kept = dict(case.files, command=case.command().encode() + b"\n")
                for name, result in zip(("wcsp", "plain"), results):
                    kept[name + ".out"] = b"status %s\n" % str(result[0]).encode() + result[1]
                    kept[name + ".log"] = result[2]
                write(left, kept)
                print(f"case {k} of seed {choice.seed} differs: {left}")
                print(case.command())
                return 1
    for status in sorted(statuses, key=str):
        print(f"{statuses[status]:8} status {status}")
    for event in EVENTS:
        print(f"{tally[event]:8} {event.pattern.decode()}")
    missing = [event.pattern.decode() for event in EVENTS if tally[event] == 0]
    if missing and choice.count >= 1000:
        print("never seen:", ", ".join(missing))
        return 2
    print(f"{choice.count} cases, no difference")
    return 0


if __name__ == "__main__":
    sys.exit(main())

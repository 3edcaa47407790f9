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

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "shared"))
import random_models  # noqa: E402
from random_models import (TIMES, any_model, dead_end_model, options, overflow_model,  # noqa: E402
                           phase_model, spoil, tight_model)

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


class Case:
    """One input with its arguments; files are written into each folder."""

    def __init__(self, rng, plain, folder):
        make, iterations = rng.choices(
            [(any_model, 300), (tight_model, 600), (dead_end_model, 60),
             (phase_model, 200000), (overflow_model, 100)],
            weights=[40, 28, 14, 1.2, 16])[0]
        if random_models.most and make is not phase_model:
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
    random_models.most = choice.variables
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

#!/usr/bin/env python3
"""Signals at random moments of Model.solve.

Each trial starts a script that searches and sends it SIGINT, SIGTERM, SIGHUP or
SIGKILL, every fifth time followed by a second signal. Then a call runs to its end.
No process may remain, and no folder or file except after SIGKILL. A first signal
never loses a penalty that was seen. The next call removes what SIGKILL left behind.

Some of the trials polish: the signal comes then or shortly before.

Usage: PYTHONPATH=python WCSP=PROGRAM tests/python/signal_trials.py [--count N] [--seed S]
                                                                    [--polishing SHARE]
"""

import argparse
import collections
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time
import uuid

MODEL = """
import random, sys
from wcsp import Model, total
rng = random.Random(1)
m = Model()
x = [m.variable(("n", i), range(4)) for i in range(300)]
for i in range(1800):
    a, b = rng.sample(x, 2)
    m.add(total((a == c) * (b == c) for c in range(4)) == 0, weight=1, name=("e", i))
print("ready", flush=True)
"""
LONG = MODEL + """
r = m.solve(time=60, seeds=4, jobs=2, log="search.log",
            on_improve=lambda p: print("better", p.soft, flush=True))
print("result", r.soft, r.ended_by, flush=True)
"""
POLISH = LONG.replace("time=60, seeds=4", "time=60, seeds=2, polish=0.99")
SHORT = MODEL + """
r = m.solve(time=60, seeds=2, jobs=2, options=["-iteration", "200"])
print("result", r.soft, repr(r.ended_by), r.seeds, flush=True)
"""
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL)


class Trials:
    def __init__(self, folder, seed, polishing=0.3):
        self.polishing = polishing
        self.folder = folder
        self.scratch = folder / "scratch"
        self.scratch.mkdir()
        self.mark = f"WCSP_SIGNALS_MARK={uuid.uuid4().hex}"
        self.environment = dict(os.environ, TMPDIR=str(self.scratch),
                                **dict([self.mark.split("=")]))
        self.rng = random.Random(seed)
        self.outcomes = collections.Counter()
        self.expected = self.finished()

    def start(self, script):
        return subprocess.Popen([sys.executable, "-c", script], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, cwd=self.folder,
                                env=self.environment)

    def finished(self):
        """What a call that nobody disturbs prints."""
        out, errors = self.start(SHORT).communicate(timeout=120)
        assert "result" in out, (out, errors)
        return out

    def processes(self):
        """Those that a trial has started and that still run."""
        commands = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if self.mark.encode() in (process / "environ").read_bytes():
                    commands.append((process / "cmdline").read_bytes())
            except OSError:
                continue
        return commands

    def left(self):
        """Folders and files of the trial that are still there."""
        return [*self.scratch.iterdir(), *self.folder.glob(".wcsp-*")]

    def trial(self):
        number = self.rng.choice(SIGNALS)
        second = self.rng.choice(SIGNALS[:3]) if self.rng.random() < 0.2 else None
        is_polishing = self.rng.random() < self.polishing
        child = self.start(POLISH if is_polishing else LONG)
        assert child.stdout.readline() == "ready\n"
        time.sleep(self.rng.uniform(0.5, 2.5) if is_polishing else self.rng.choice(
            [self.rng.uniform(0, 0.15), self.rng.uniform(0, 1)]))
        child.send_signal(number)
        if second:
            time.sleep(self.rng.uniform(0, 0.05))
            child.send_signal(second)
        out, errors = child.communicate(timeout=60)
        self.judge(number, second, child.returncode, out.split("\n")[:-1], errors)

    def judge(self, number, second, status, lines, errors):
        name = number.name
        seen = [int(line.split()[1]) for line in lines if line.startswith("better")]
        results = [line.split() for line in lines if line.startswith("result")]
        is_killed = signal.SIGKILL in (number, second)
        end = time.monotonic() + 5
        while self.processes() and time.monotonic() < end:
            time.sleep(0.01)
        assert not self.processes(), (name, second, self.processes())
        if is_killed:
            self.outcomes[name, "folder left" if self.left() else "nothing left"] += 1
            for path in self.folder.glob(".wcsp-*"):  # beside the log
                path.unlink()
        else:
            assert not self.left(), (name, second, self.left())
        if number != signal.SIGKILL and second is None:
            if seen or results:
                assert status == 0 and results, (name, status, errors)
                assert [len(r) for r in results] == [3], (lines, errors)
                ((_, soft, ended),) = results
                assert ended == name and int(soft) <= min(seen, default=int(soft)), results
                assert (self.folder / "search.log").stat().st_size > 0
                (self.folder / "search.log").unlink()
                self.outcomes[name, "result"] += 1
            else:
                self.ended_by((number,), status, errors)
                self.outcomes[name, "nothing found yet"] += 1
        elif number != signal.SIGKILL:
            if status != 0:
                # On a busy machine both are pending, and come in any order.
                self.ended_by((number, second), status, errors)
            self.outcomes["two signals", "result" if results else "ended"] += 1
        assert self.finished() == self.expected
        assert not self.left(), self.left()

    @staticmethod
    def ended_by(numbers, status, errors):
        """Whether the default effect of one of the signals ended the script."""
        assert any(status == -n for n in numbers) or (
            signal.SIGINT in numbers and "KeyboardInterrupt" in errors), (numbers, status, errors)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--count", type=int, default=25)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--polishing", type=float, default=0.3,
                        help="share of the trials that polish")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        trials = Trials(pathlib.Path(folder), options.seed, options.polishing)
        for k in range(options.count):
            try:
                trials.trial()
            except AssertionError:
                print(f"trial {k} of seed {options.seed}", file=sys.stderr)
                raise
        for outcome, count in sorted(trials.outcomes.items()):
            print(count, *outcome)


if __name__ == "__main__":
    main()

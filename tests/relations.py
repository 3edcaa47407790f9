#!/usr/bin/env python3
"""Relations that must hold between runs of the solver on random models.

Different names, blanks, comments, line ends and orders within the constraints do
not change the search, except for names. A report used as a start file with
"-iteration 0" gives the same penalties. On models small enough to enumerate, the
penalties are those of the printed assignment, no run beats the optimum, and most
runs of 10,000 iterations reach it.
"""

import argparse
import itertools
import random
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
from shared import random_models  # noqa: E402

INF = random_models.INF
TOKEN = re.compile(rb"[+-]\d+|(?:[\x81-\x9f\xe0-\xfc][\s\S]|[0-9A-Za-z_\[\]@])+|\S")
STEMS = {"name": [b"n", b"[_", b"\x83\x5c", b"\xe0,@"], "value": [b"v", b"", b"-", b"+", b"\x81#"]}
TERM = {b"linear": 6, b"quadratic": 11, b"alldiff": 1}  # tokens
MARK = b"\n[best solution]\n"
LEAST_SHARE = 0.8  # of the runs that reach the optimum


def number(word):
    return INF if word == b"inf" else int(word)


def printed(word):
    """A name as reports show it: a number without its leading zeros."""
    return re.sub(rb"^([+-]?)0+(?=\d+$)", rb"\1", word)


class Parsed:
    """The statements of a generated model, as lists of tokens."""

    def __init__(self, model):
        self.target, self.variables, self.constraints = [], {}, []
        for words in map(TOKEN.findall, model.lines):
            if words[0] == b"target":
                self.target = words
            elif words[0] == b"variable":
                self.variables[words[1]] = words[4::2]
            else:
                end = 8
                while words[end] not in b"<>=;.":
                    end += TERM[words[7]]
                terms = [words[i:i + TERM[words[7]]] for i in range(8, end, TERM[words[7]])]
                self.constraints.append((words[:8], terms, words[end:]))

    def disguised(self, rng):
        """The same model in another text, and what its names have become."""
        renamed = {}

        def new(kind, word):
            name = rng.choice(STEMS[kind]) + b"%d" % (9 + len(renamed))
            return renamed.setdefault((kind, printed(word)), name)

        def label(words):
            return [b"(", new("name", words[1]), b",", new("value", words[3]), b")"]

        text = list(self.target)
        for name, values in self.variables.items():
            text += [b"variable", new("name", name), b"in", b"{"]
            text += [word for a in values for word in (new("value", a), b",")][:-1] + [b"}"]
        for head, terms, tail in self.constraints:
            text += [new("name", head[0])] + head[1:]
            for term in rng.sample(terms, len(terms)):
                labels = [label(term[i:i + 5]) for i in range(1, len(term), 5)]
                rng.shuffle(labels)
                text += sum(labels, term[:1]) if labels else [new("name", term[0])]
            text += tail
        blanks = [b" ", b"\t", b"\r\n", b" # {c: = \n", b"\n\n", b"\v\f"]
        return b"".join(word + rng.choice(blanks) for word in text), renamed

    def totals(self):
        """The hard and soft penalty of every assignment, by the values' names."""
        measures = [self.measure(*constraint) for constraint in self.constraints]
        domains = [[(x, k, a) for k, a in enumerate(values)]
                   for x, values in self.variables.items()]
        totals = {}
        for choice in itertools.product(*domains):
            on = {(x, a) for x, _, a in choice}
            numbers = {x: k for x, k, _ in choice}
            parts = [(weight, min(violation(on, numbers), INF)) for weight, violation in measures]
            totals[tuple(printed(a) for _, _, a in choice)] = (
                sum(p for w, p in parts if w == INF), sum(w * p for w, p in parts if w < INF))
        return totals

    def measure(self, head, terms, tail):
        """The weight, and the violation as a function of what is on."""
        weight = max(number(head[4]), 0)
        if head[7] == b"alldiff":
            names = {x for x, in terms}
            return weight, lambda _, numbers: len(names) - len({numbers[x] for x in names})
        pairs = [(number(t[0]), {(t[i + 1], t[i + 3]) for i in range(1, len(t), 5)}) for t in terms]
        bound = number(tail[-1])
        upper = bound if tail[0] != b">" and bound != INF else None
        lower = bound if tail[0] != b"<" and bound != -INF else None

        def violation(on, _):
            total = sum(c for c, labels in pairs if labels <= on)
            above = 0 if upper is None else max(total - upper, 0)
            return above + (0 if lower is None else max(lower - total, 0))

        return weight, violation


def run(program, text, *args):
    """Standard output with its times masked."""
    done = subprocess.run([program, *map(str, args)], input=text, capture_output=True, timeout=60)
    if done.returncode not in (0, 255) or done.stderr:
        sys.exit(f"status {done.returncode} on:\n{text!r}\n{args}\n{done.stderr!r}")
    return random_models.TIMES.sub(b"T(s)", done.stdout)


def renewed(output, numVariables, renamed):
    """The output with the names in its report replaced."""
    log, mark, report = output.partition(MARK)
    lines = report.split(b"\n")
    for i, line in enumerate(lines[:-1]):
        name, colon, rest = line.partition(b": ")
        if i < numVariables:
            lines[i] = renamed["name", name] + colon + renamed["value", rest]
        elif i > numVariables + 3:  # the violated constraints
            lines[i] = renamed["name", name] + colon + rest
    return log + mark + b"\n".join(lines)


def check_same(program, rng, report):
    """A disguised model, and a report fed back."""
    make = rng.choice([random_models.any_model, random_models.tight_model, random_models.dead_end_model,
                       random_models.overflow_model])
    model = make(rng)
    if not model.names:  # no search
        return None
    text, parsed = model.text(), Parsed(model)
    args = ["-iteration", rng.randint(1, 300), "-display", 3, "-interval", 1,
            "-seed", rng.randint(1, 10**6)] + rng.choice([[], [], ["-noadjust"]])
    output = run(program, text, *args)
    other, renamed = parsed.disguised(rng)
    if renewed(output, len(model.names), renamed) != run(program, other, *args):
        return f"searched in another way:\n{text!r}\n{other!r}\n{args}"
    if MARK in output:
        report.seek(0)
        report.truncate()
        report.write(output)
        report.flush()
        again = run(program, text, "-initsolfile", report.name, "-iteration", 0)
        if again.partition(MARK)[2] != output.partition(MARK)[2]:
            return f"the report fed back differs:\n{text!r}\n{args}"
    return None


def check_optimum(program, rng, tally):
    model = random_models.Model(rng, rng.randint(2, 5), rng.randint(2, 4), rng.randint(2, 12))
    totals = Parsed(model).totals()
    text = b"\n".join(line for line in model.lines if not line.startswith(b"target"))
    for seed in (1, 2, 3):
        report = run(program, text, "-iteration", 10000, "-seed", seed).partition(MARK)[2]
        names = tuple(line.partition(b": ")[2] for line in report.split(b"\n")[:len(model.names)])
        tally.append(report != b"" and totals[names] == min(totals.values()))
        line = b"\npenalty: %d/%d " % tuple(min(p, INF) for p in totals.get(names, (0, 0)))
        if report and line not in report:
            return f"the penalties should be {totals[names]}:\n{text!r}\n{report!r}"
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--wcsp", required=True)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    choice = parser.parse_args()
    tally = []
    with tempfile.NamedTemporaryFile() as report:
        for k in range(choice.count):
            rng = random.Random(f"{choice.seed}/{k}")
            error = (check_same(choice.wcsp, rng, report)
                     or check_optimum(choice.wcsp, rng, tally))
            if error:
                sys.exit(f"model {k} of seed {choice.seed}: {error}")
    share = sum(tally) / len(tally)
    print(f"{choice.count} models; {share:.1%} of {len(tally)} runs reach the optimum")
    return 0 if share >= LEAST_SHARE else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Generates the benchmark's models: workloads.py NAME [--size N] [--seed N].

No workload can reach its target of 0, so that a run always lasts until its
iteration limit; each function says why. "reading" is only for the reader.
"""

import argparse
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "examples" / "generators"))

from draw import Draw  # noqa: E402
from model_text import HARD, Model  # noqa: E402
from nurse_roster import nurse_roster  # noqa: E402


def colouring(vertices, seed):
    """A tenth of all edges, 13 colours, one quadratic constraint per edge.

    The edges include all pairs of 14 vertices, which 13 colours can't serve.
    """
    draw = Draw(seed)
    model = Model("Colouring of a random graph of %d vertices." % vertices)
    colours = list(range(13))
    names = ["vertex_%d" % v for v in range(vertices)]
    for name in names:
        model.variable(name, colours)
    crowd = draw.sample(range(vertices), len(colours) + 1)
    edges = {(u, v) for u in crowd for v in crowd if u < v}
    while len(edges) < vertices * (vertices - 1) // 20:
        u = draw.below(vertices)
        v = draw.below(vertices)
        if u < v:
            edges.add((u, v))
    for u, v in sorted(edges):
        model.quadratic("edge_%d_%d" % (u, v), 1,
                        [(1, names[u], colour, names[v], colour)
                         for colour in colours], "<=", 0)
    return model.text()


def dense_colouring(vertices, seed):
    """0.484 of all edges, 31 colours, one quadratic constraint per edge.

    The edges include all pairs of 32 vertices, which 31 colours can't serve.
    """
    draw = Draw(seed)
    model = Model("Colouring of a dense graph of %d vertices." % vertices)
    colours = list(range(31))
    names = ["vertex_%d" % v for v in range(vertices)]
    for name in names:
        model.variable(name, colours)
    crowd = set(draw.sample(range(vertices), len(colours) + 1))
    for u in range(vertices):
        for v in range(u + 1, vertices):
            if draw.below(1000) < 484 or (u in crowd and v in crowd):
                model.quadratic("edge_%d_%d" % (u, v), 1,
                                [(1, names[u], colour, names[v], colour)
                                 for colour in colours], "<=", 0)
    return model.text()


def frequencies(links, seed):
    """Links that take one of 40 frequencies; 1,200 pairs of 100 keep a distance,
    and each step that lacks costs more.

    The links include 9 that need 6 of distance from each other.
    """
    draw = Draw(seed)
    model = Model("Frequencies of %d links." % links)
    values = list(range(40))
    names = ["link_%d" % v for v in range(links)]
    for name in names:
        model.variable(name, values)
    crowd = draw.sample(range(links), 9)
    pairs = {(u, v) for u in crowd for v in crowd if u < v}
    while len(pairs) < 12 * links:
        u = draw.below(links)
        v = draw.below(links)
        if u < v:
            pairs.add((u, v))
    for u, v in sorted(pairs):
        distance = 6 if u in crowd and v in crowd else draw.between(1, 8)
        model.quadratic(
            "apart_%d_%d" % (u, v), draw.between(1, 9),
            [((distance - abs(i - j)) ** 2, names[u], i, names[v], j)
             for i in values for j in values if abs(i - j) < distance],
            "<=", 0)
    return model.text()


def assignment(facilities, seed, by_pairs=False):
    """Quadratic assignment: all terms in one constraint, one all-different.

    Every flow and distance is positive, and so is the cost.
    """
    draw = Draw(seed)
    model = Model("Quadratic assignment of size %d." % facilities)
    places = list(range(facilities))
    names = ["facility_%d" % f for f in range(facilities)]
    for name in names:
        model.variable(name, places)
    distance = [[0] * facilities for _ in places]
    for i in places:
        for j in range(i):
            distance[i][j] = distance[j][i] = draw.between(1, 9)
    terms = []
    for f in range(facilities):
        for g in range(f):
            flow = draw.between(1, 9)
            joined = [(flow * distance[i][j], names[f], i, names[g], j)
                      for i in places for j in places if i != j]
            terms.append(("cost_%d_%d" % (f, g), joined))
    model.all_different("one_each", HARD, names)
    if by_pairs:
        for name, joined in terms:
            model.quadratic(name, 1, joined, "<=", 0)
    else:
        model.quadratic("cost", 1, [term for _, joined in terms
                                    for term in joined], "<=", 0)
    return model.text()


def assignment_by_pairs(facilities, seed):
    """Quadratic assignment, one constraint for each pair of facilities."""
    return assignment(facilities, seed, by_pairs=True)


def sparse_objective(variables, seed):
    """One objective in which each variable meets about six others.

    Whatever the first two variables are, their pair costs something.
    """
    draw = Draw(seed)
    model = Model("A sparse objective over %d variables." % variables)
    values = list(range(10))
    names = ["part_%d" % v for v in range(variables)]
    for name in names:
        model.variable(name, values)
    pairs = {(0, 1)}
    while len(pairs) < 3 * variables:
        u, v = draw.below(variables), draw.below(variables)
        if u < v:
            pairs.add((u, v))
    model.quadratic("cost", 1,
                    [(draw.between(1, 9), names[u], a, names[v], b)
                     for u, v in sorted(pairs) for a in values for b in values
                     if (u, v) == (0, 1) or draw.below(4) == 0], "<=", 0)
    return model.text()


def packing(items, seed):
    """Items of many sizes in 12 bins, each of which dislikes some items.

    The bins hold less than all items need.
    """
    draw = Draw(seed)
    model = Model("Packing of %d items." % items)
    bins = list(range(12))
    names = ["item_%d" % i for i in range(items)]
    for name in names:
        model.variable(name, bins)
    sizes = [draw.between(1, 30) for _ in names]
    for b in bins:
        model.linear("room_%d" % b, draw.between(1, 3),
                     [(size, name, b) for size, name in zip(sizes, names)],
                     "<=", sum(sizes) // len(bins) - 1)
        model.linear("likes_%d" % b, 1,
                     [(draw.between(-5, 5), name, b) for name in names], ">=", 0)
    return model.text()


def latin(order, seed):
    """A latin square: rows and columns of weight 10, one wish per cell.

    The first two cells wish for the same value, which their row forbids.
    """
    draw = Draw(seed)
    model = Model("Latin square of order %d with wishes." % order)
    values = list(range(order))
    cells = [["row_%d_column_%d" % (r, c) for c in values] for r in values]
    for row in cells:
        for cell in row:
            model.variable(cell, values)
    for r in values:
        model.all_different("row_%d" % r, 10, cells[r])
    for c in values:
        model.all_different("column_%d" % c, 10, [row[c] for row in cells])
    for r in values:
        for c in values:
            wish = 0 if r == 0 and c < 2 else draw.below(order)
            model.linear("wish_%d_%d" % (r, c), 1,
                         [(1, cells[r][c], wish)], ">=", 1)
    return model.text()


def roster(nurses, seed):
    """The roster; its demand on the holiday breaks as many wishes."""
    return nurse_roster(nurses, seed, "Roster of %d nurses." % nurses)


def wards(nurses, seed):
    """Wards of 36 nurses: however many, each constraint has as many terms."""
    return nurse_roster(nurses, seed, "Roster of wards, %d nurses." % nurses,
                        ward=36)


def sat(variables, seed):
    """Weighted 3-SAT, 4.6 clauses per variable, each a linear constraint.

    Eight of the clauses are all the signs of the same three variables.
    """
    draw = Draw(seed)
    model = Model("Weighted 3-SAT over %d variables." % variables)
    names = ["variable_%d" % v for v in range(variables)]
    for name in names:
        model.variable(name, ["false", "true"])
    clauses = [[(v, signs >> v & 1) for v in range(3)] for signs in range(8)]
    while len(clauses) < variables * 46 // 10:
        three = {draw.below(variables) for _ in range(3)}
        if len(three) == 3:
            clauses.append([(v, draw.below(2)) for v in sorted(three)])
    for number, clause in enumerate(clauses):
        model.linear("clause_%d" % number, draw.between(1, 10),
                     [(1, names[v], "true" if sign else "false")
                      for v, sign in clause], ">=", 1)
    return model.text()


def reading(megabytes, seed):
    """About so many megabytes of all kinds of statement, for the reader."""
    draw = Draw(seed)
    model = Model("A large model of all kinds of statement.")
    people = 134 * megabytes
    tasks = ["task_%d" % t for t in range(40)]
    names = ["person_%d" % p for p in range(people)]
    for name in names:
        model.variable(name, tasks)
    for p, name in enumerate(names):
        others = [names[draw.below(people)] for _ in range(40)]
        model.linear("load_%d" % p, draw.between(1, 9),
                     [(draw.between(-9, 9), other, task)
                      for other in others[:2] for task in tasks], "<=", 4)
        model.quadratic("pairs_%d" % p, draw.between(1, 9),
                        [(draw.between(1, 9), name, tasks[draw.below(40)],
                          other, tasks[draw.below(40)])
                         for other in others if other != name], ">=", 1)
        model.all_different("team_%d" % p, HARD, others)
        for task in tasks:
            model.linear("skill_%d_%s" % (p, task), 1,
                         [(1, name, task)], "<=", 0)
    return model.text()


# Name: generator and its size.
WORKLOADS = {
    "colouring": (colouring, 500),
    "colouring31": (dense_colouring, 300),
    "frequencies": (frequencies, 100),
    "qap20": (assignment, 20),
    "qap30": (assignment, 30),
    "qap30pairs": (assignment_by_pairs, 30),
    "sparse600": (sparse_objective, 600),
    "packing": (packing, 200),
    "latin40": (latin, 40),
    "roster60": (roster, 60),
    "roster150": (roster, 150),
    "wards": (wards, 36),
    "sat1000": (sat, 1000),
    "reading": (reading, 15),
}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("name", choices=WORKLOADS)
    parser.add_argument("--size", type=int, help="in place of the usual size")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    generate, usual_size = WORKLOADS[arguments.name]
    size = usual_size if arguments.size is None else arguments.size
    print(generate(size, arguments.seed), end="")


if __name__ == "__main__":
    main()

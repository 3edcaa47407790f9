"""Solves linear programs by HiGHS as binary messages on standard input ask for it.

A question has the numbers of columns, rows and entries, the seconds, and per column
its cost and its upper bound, per row its bounds and the place
past its last entry, per entry its column and coefficient: all of eight bytes. An
answer has the kind (0 optimal, 1 found, 2 infeasible, 3 nothing), the bound (nan for
none), and the values of the columns unless there are none.
"""

import sys

try:
    import numpy
    from scipy.optimize import Bounds, LinearConstraint, milp
    from scipy.sparse import csr_matrix
except ImportError:
    sys.exit(1)


def take(kind, count):
    text = sys.stdin.buffer.read(8 * count)
    if len(text) < 8 * count:
        sys.exit(0)
    return numpy.frombuffer(text, kind)


def give(kind, numbers):
    sys.stdout.buffer.write(numpy.array(numbers, kind).tobytes())


def solved(cost, upper, low, high, matrix, seconds):
    # The presolve of HiGHS 1.2 takes feasible programs for infeasible, and proves bounds
    # that are too high. All columns are whole numbers, though it is enough if the labels
    # are: HiGHS 1.2 errs more often with continuous columns.
    return milp(cost, integrality=numpy.ones(len(cost)), bounds=Bounds(0, upper),
                constraints=LinearConstraint(matrix, low, high),
                options={"time_limit": seconds, "mip_rel_gap": 0.0, "presolve": False})


def is_credible(found, upper, low, high, matrix):
    """A solution may break a row after rounding."""
    values = numpy.rint(found.x)
    sums = matrix @ values
    return all(map(numpy.all, (values >= 0, values <= upper, sums >= low, sums <= high)))


def answer():
    columns, rows, entries = take("i8", 3)
    (seconds,) = take("f8", 1)
    cost, upper = take("f8", columns), take("f8", columns)
    low, high = take("f8", rows), take("f8", rows)
    past = numpy.concatenate(([0], take("i8", rows)))
    indices, coefficients = take("i8", entries), take("f8", entries)
    matrix = csr_matrix((coefficients, indices, past), shape=(rows, columns))
    found = solved(cost, upper, low, high, matrix, seconds)
    if found.x is not None and not is_credible(found, upper, low, high, matrix):
        found.status, found.x, found.mip_dual_bound = 4, None, None
    kind = {0: 0, 2: 2}.get(found.status, 1)
    bound = found.get("mip_dual_bound")
    if bound is None:
        bound = found.fun if kind == 0 and found.fun is not None else numpy.nan
    if kind < 2 and found.x is None:
        kind = 3
    give("i8", [kind])
    give("f8", [bound])
    if kind < 2:
        give("f8", found.x)
    sys.stdout.buffer.flush()


give("i8", [0])
sys.stdout.buffer.flush()
while True:
    answer()

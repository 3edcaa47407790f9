#!/usr/bin/env python3
"""Generates the n queens problem: examples/n-queens.model."""

from string import ascii_lowercase

import draw  # noqa: F401  the package beside it
from wcsp import Model, all_different, total

SIZE = 20

COMMENT = """
N queens: %d queens on a board of %d by %d, none of which attacks another.

A variable per column holds the row of its queen, so no column has two.
Hard: one queen in each row, at most one on each diagonal.
Teaches: a choice of variables that makes one rule hold by itself; the rows as
  one all-different constraint, the diagonals as linear constraints.
Best known penalty: 0/0. Proved: no penalty is lower.
"""


def main():
    m = Model(COMMENT % (SIZE, SIZE, SIZE))
    rows = range(1, SIZE + 1)
    m.section("The row of the queen of each column.")
    queens = [m.variable("column_" + letter, rows) for letter in ascii_lowercase[:SIZE]]
    m.section("Hard: one queen in each row.")
    m.add(all_different(queens), name="rows")
    # On a diagonal the difference of row and column stays the same, or the sum.
    for what, sign in ("rising", -1), ("falling", 1):
        m.section("Hard: at most one queen on each %s diagonal." % what)
        for number in range(-SIZE, 2 * SIZE + 1):
            cells = [(queen, row) for column, queen in enumerate(queens, 1)
                     for row in rows if row + sign * column == number]
            if len(cells) > 1:
                m.add(total(queen == row for queen, row in cells) <= 1,
                      name="%s_%s_%s" % (what, cells[0][0].name[-1], cells[0][1]))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

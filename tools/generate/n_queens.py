#!/usr/bin/env python3
"""Generates the n queens problem: examples/n-queens.model."""

from string import ascii_lowercase

from model_text import HARD, Model

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
    model = Model(COMMENT % (SIZE, SIZE, SIZE))
    rows = range(1, SIZE + 1)
    columns = ["column_" + letter for letter in ascii_lowercase[:SIZE]]
    model.section("The row of the queen of each column.")
    for column in columns:
        model.variable(column, list(rows))
    model.section("Hard: one queen in each row.")
    model.all_different("rows", HARD, columns)
    # On a diagonal the difference of row and column stays the same, or the sum.
    for what, sign in ("rising", -1), ("falling", 1):
        model.section("Hard: at most one queen on each %s diagonal." % what)
        for number in range(-SIZE, 2 * SIZE + 1):
            terms = [(1, column, row) for place, column in enumerate(columns, 1)
                     for row in rows if row + sign * place == number]
            if len(terms) > 1:
                model.linear("%s_%s_%s" % (what, terms[0][1][-1], terms[0][2]),
                             HARD, terms, "<=", 1)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates a frequency assignment: examples/frequency-assignment.model.

Masts stand on a map of 100 by 100 kilometres; interference depends on the
distance of two masts and on how far apart their channels are.
"""

from itertools import combinations

from model_text import HARD, Draw, Model

MASTS = """
Aldham Birch Boxted Copford Dedham Elmstead Fordham Fingringhoe Greenstead
Hythe Kirby Langham Lexden Manningtree Mersea Nayland Rowhedge Stanway Tiptree
Wivenhoe Wormingford Wrabness
""".split()
CHANNELS = 7
# Kilometres: nearer masts must, or should, differ.
NEAR = 20
MIDDLE = 45
OPTIMUM = 9

COMMENT = """
Frequency assignment: channels for %d radio masts.

Hard: masts nearer than %d km are two channels apart.
Soft: masts nearer than %d km are on different channels (weight 2 to 5, the
  nearer the heavier), and wishes for a quiet channel.
Teaches: a distance between values as the pairs of values that are too close.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""


def main():
    draw = Draw(9)
    channels = list(range(1, CHANNELS + 1))
    place = {mast: (draw.below(100), draw.below(100)) for mast in MASTS}
    model = Model(COMMENT % (len(MASTS), NEAR, MIDDLE, OPTIMUM))
    model.target(OPTIMUM)
    model.section("The channel of each mast.")
    for mast in MASTS:
        model.variable(mast, channels)
    model.section("Interference, by distance.")
    for a, b in combinations(MASTS, 2):
        square = sum((x - y) ** 2 for x, y in zip(place[a], place[b]))
        if square < NEAR ** 2:
            model.quadratic("near_%s_%s" % (a, b), HARD,
                            [(1, a, x, b, y) for x in channels
                             for y in channels if abs(x - y) < 2], "<=", 0)
        elif square < MIDDLE ** 2:
            weight = 2 + 3 * (MIDDLE ** 2 - square) // (MIDDLE ** 2 - NEAR ** 2)
            model.quadratic("middle_%s_%s" % (a, b), weight,
                            [(1, a, x, b, x) for x in channels], "<=", 0)
    model.section("Soft: channels that a mast should avoid.")
    for mast in MASTS:
        model.linear("avoid_" + mast, draw.between(1, 2),
                     [(1, mast, channel)
                      for channel in sorted(draw.sample(channels, 4))],
                     "<=", 0)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

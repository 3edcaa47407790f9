#!/usr/bin/env python3
"""Generates a frequency assignment: examples/frequency-assignment.model.

Masts stand on a map of 100 by 100 kilometres; interference depends on the
distance of two masts and on how far apart their channels are.
"""

from itertools import combinations

from draw import Draw
from wcsp import Model, total

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
    channels = range(1, CHANNELS + 1)
    position = {mast: (draw.below(100), draw.below(100)) for mast in MASTS}
    m = Model(COMMENT % (len(MASTS), NEAR, MIDDLE, OPTIMUM), OPTIMUM)
    m.section("The channel of each mast.")
    at = {mast: m.variable(mast, channels) for mast in MASTS}
    m.section("Interference, by distance.")
    for a, b in combinations(MASTS, 2):
        square = sum((x - y) ** 2 for x, y in zip(position[a], position[b]))
        if square < NEAR ** 2:
            m.add(total((at[a] == x) * (at[b] == y) for x in channels for y in channels
                        if abs(x - y) < 2) <= 0, name=("near", a, b))
        elif square < MIDDLE ** 2:
            weight = 2 + 3 * (MIDDLE ** 2 - square) // (MIDDLE ** 2 - NEAR ** 2)
            m.add(total((at[a] == x) * (at[b] == x) for x in channels) <= 0, weight,
                  ("middle", a, b))
    m.section("Soft: channels that a mast should avoid.")
    for mast in MASTS:
        weight = draw.between(1, 2)
        m.add(at[mast].isin(sorted(draw.sample(channels, 4))) <= 0, weight, ("avoid", mast))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

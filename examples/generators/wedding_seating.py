#!/usr/bin/env python3
"""Generates a seating plan: examples/wedding-seating.model.

The guests come in families, whose names say who knows whom; a hidden plan
makes sure that everybody who must sit apart can.
"""

from draw import Draw
from wcsp import Model, total

FAMILIES = ["Berg", "Dahl", "Ekman", "Falk", "Holm", "Lind", "Nyman", "Strand"]
FIRST_NAMES = ["Anna", "Bo", "Carl", "Doris", "Eva", "Finn", "Greta", "Henrik",
               "Ines", "Jan", "Kerstin", "Lars"]
TABLES = 12
SEATS = 8
FRIENDS = 180
QUARRELS = 20

COMMENT = """
Wedding seating: %d guests at %d tables of %d.

Hard: the seats of each table; couples sit together (the guests of a family in
  pairs), and %d pairs who have quarrelled apart.
Soft: friends at one table (1 to 5), and at most %d of a family at a table (8).
Teaches: "together" and "apart" as products over the tables, of which a pair has
  one at most.
Best known penalty: 0/328. Not proved; every one of four seeds reaches it
  within 4 s, and none is better after 20 s.
  The run ends there.
"""


def main():
    draw = Draw(11)
    guests = ["%s_%s" % (first, family)
              for family in FAMILIES for first in FIRST_NAMES]
    couples = [(guests[i], guests[i + 1]) for i in range(0, len(guests), 2)]
    tables = ["t%d" % t for t in range(1, TABLES + 1)]
    hidden = {guest: index * 2 // SEATS
              for index, couple in enumerate(draw.shuffled(couples))
              for guest in couple}

    friends, quarrels = {}, set()
    while len(friends) < FRIENDS:
        a, b = sorted(draw.sample(guests, 2))
        friends[a, b] = draw.between(1, 5)
    while len(quarrels) < QUARRELS:
        a, b = sorted(draw.sample(guests, 2))
        if hidden[a] != hidden[b] and (a, b) not in friends:
            quarrels.add((a, b))

    m = Model(COMMENT % (len(guests), TABLES, SEATS, QUARRELS, SEATS - 2), 328)
    m.section("Who sits where.")
    at = {guest: m.variable(guest, tables) for guest in guests}

    def same(a, b):
        return total((at[a] == table) * (at[b] == table) for table in tables)

    m.section("Hard: seats, couples, quarrels.")
    for table in tables:
        m.add(total(x == table for x in at.values()) <= SEATS, name=("seats", table))
    for a, b in couples:
        m.add(same(a, b) >= 1, name=("couple", a, b))
    for a, b in sorted(quarrels):
        m.add(same(a, b) <= 0, name=("apart", a, b))

    m.section("Soft: friends together, families mixed.")
    for (a, b), weight in sorted(friends.items()):
        m.add(same(a, b) >= 1, weight, ("friends", a, b))
    for family in FAMILIES:
        for table in tables:
            m.add(total(at[guest] == table for guest in guests if guest.endswith(family))
                  <= SEATS - 2, 8, ("mixed", family, table))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

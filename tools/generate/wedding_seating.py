#!/usr/bin/env python3
"""Generates a seating plan: examples/wedding-seating.model.

The guests come in families, whose names say who knows whom; a hidden plan
makes sure that everybody who must sit apart can.
"""

from model_text import HARD, Draw, Model

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
    hidden = {guest: place * 2 // SEATS
              for place, couple in enumerate(draw.shuffled(couples))
              for guest in couple}

    friends, quarrels = {}, set()
    while len(friends) < FRIENDS:
        a, b = sorted(draw.sample(guests, 2))
        friends[a, b] = draw.between(1, 5)
    while len(quarrels) < QUARRELS:
        a, b = sorted(draw.sample(guests, 2))
        if hidden[a] != hidden[b] and (a, b) not in friends:
            quarrels.add((a, b))

    model = Model(COMMENT % (len(guests), TABLES, SEATS, QUARRELS,
                                     SEATS - 2)
                )
    model.target(328)
    model.section("Who sits where.")
    for guest in guests:
        model.variable(guest, tables)

    def same(a, b):
        return [(1, a, table, b, table) for table in tables]

    model.section("Hard: seats, couples, quarrels.")
    for table in tables:
        model.linear("seats_%s" % table, HARD,
                     [(1, guest, table) for guest in guests], "<=", SEATS)
    for a, b in couples:
        model.quadratic("couple_%s_%s" % (a, b), HARD, same(a, b), ">=", 1)
    for a, b in sorted(quarrels):
        model.quadratic("apart_%s_%s" % (a, b), HARD, same(a, b), "<=", 0)

    model.section("Soft: friends together, families mixed.")
    for (a, b), weight in sorted(friends.items()):
        model.quadratic("friends_%s_%s" % (a, b), weight, same(a, b), ">=", 1)
    for family in FAMILIES:
        for table in tables:
            model.linear("mixed_%s_%s" % (family, table), 8,
                         [(1, guest, table) for guest in guests
                          if guest.endswith(family)], "<=", SEATS - 2)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates a quadratic assignment problem: examples/hospital-layout.model.

Distances are walking minutes in a building of two floors; trips between wards
are drawn, and about half of the pairs have none.
"""

from draw import Draw
from wcsp import Model, all_different, total

WARDS = ["Emergency", "Radiology", "Surgery", "Intensive_care", "Laboratory",
         "Pharmacy", "Cardiology", "Maternity", "Pediatrics", "Oncology",
         "Dialysis", "Outpatients"]
COLUMNS = ["west", "midwest", "middle", "mideast", "east", "annex"]
FLOORS = ["ground", "upper"]
OPTIMUM = 271

COMMENT = """
Hospital layout: a quadratic assignment of %d wards to %d wings.

The cost is the sum, over all pairs of wards, of the trips between them in an
hour times the minutes between their wings.
Teaches: an objective as a soft constraint. The language has no objective
  statement; a sum with a bound of 0 and a weight of 1 has itself as penalty.
Best known penalty: 0/%d. Proved optimal by a branch and bound over partial
  layouts with assignment bounds. The run ends when it is reached.
"""


def minutes(a, b):
    """Walking time: a minute along a corridor, two by the stairs in between."""
    along = abs(COLUMNS.index(a[1]) - COLUMNS.index(b[1]))
    return along + (2 if a[0] != b[0] else 0)


def main():
    draw = Draw(12)
    wings = [(floor, column) for floor in FLOORS for column in COLUMNS]
    m = Model(COMMENT % (len(WARDS), len(wings), OPTIMUM), OPTIMUM)
    m.section("Where each ward goes.")
    at = {ward: m.variable(ward, wings) for ward in WARDS}
    m.section("Hard: one ward in each wing.")
    m.add(all_different(at.values()), name="one_ward_per_wing")
    m.section("Soft: the minutes walked in an hour.")
    trips = {(other, ward): max(0, draw.between(-8, 9))
             for i, ward in enumerate(WARDS) for other in WARDS[:i]}
    m.add(total(count * minutes(a, b) * (at[other] == a) * (at[ward] == b)
                for (other, ward), count in trips.items() if count > 0
                for a in wings for b in wings if a != b) <= 0, 1, "walking")
    print(m.text(), end="")


if __name__ == "__main__":
    main()

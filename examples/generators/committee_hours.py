#!/usr/bin/env python3
"""Generates a graph colouring of committees: examples/committee-hours.model.

The members are drawn so that a timetable with one hour per board name exists;
the rector sits in as many committees as there are hours, so fewer hours can
never do.
"""

from draw import Draw
from wcsp import Model, total

FACULTIES = ["Arts", "Biology", "Chemistry", "Economics", "History", "Law",
             "Mathematics", "Medicine", "Music", "Physics"]
BOARDS = ["Admissions", "Budget", "Buildings", "Curriculum", "Ethics",
          "Examinations", "Hiring", "Library", "Research", "Safety"]
HOURS = ["Mon_9", "Mon_11", "Mon_14", "Tue_9", "Tue_11", "Tue_14"]
MEMBERS = 120
SEATS = 4

COMMENT = """
Committee hours: a graph colouring.

%d committees of a university meet in %d hours; two that share a member can't
meet in the same hour: %d pairs.
Teaches: a colouring as one hard quadratic constraint per edge. Its terms are
  the pairs of equal hours, of which none may be on.
Best known penalty: 0/0. Proved: no penalty is lower. One hour less can't do,
  since the rector sits in %d committees.
"""


def main():
    draw = Draw(3)
    committees = ["%s_%s" % (faculty, board)
                  for faculty in FACULTIES for board in BOARDS]
    # A hidden timetable: members are drawn so that theirs never clash in it.
    hidden = {committee: index % len(HOURS) for index, committee
              in enumerate(draw.shuffled(committees))}
    pairs = set()
    for member in range(MEMBERS):
        seats = len(HOURS) if member == 0 else SEATS
        members = {}
        for committee in draw.shuffled(committees):
            if len(members) < seats:
                members.setdefault(hidden[committee], committee)
        pairs |= {(a, b) for a in members.values() for b in members.values()
                  if a < b}

    m = Model(COMMENT % (len(committees), len(HOURS), len(pairs), len(HOURS)))
    m.section("When each committee meets.")
    at = {committee: m.variable(committee, HOURS) for committee in committees}
    m.section("Hard: committees that share a member meet apart.")
    for a, b in sorted(pairs):
        m.add(total((at[a] == hour) * (at[b] == hour) for hour in HOURS) <= 0, name=(a, "or", b))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

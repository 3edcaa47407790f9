#!/usr/bin/env python3
"""Generates a league's schedule: examples/sports-schedule.model."""

from itertools import combinations

import draw  # noqa: F401  the package beside it
from wcsp import Model, exactly, total

TEAMS = ["Falcons", "Harbor", "Lions", "Miners", "Rovers", "Sailors", "United",
         "Wolves"]
STADIUM = ("Rovers", "United")
TOP_MATCH = ("Harbor", "Lions")

COMMENT = """
Sports schedule: a league of %d teams, everyone against everyone once.

A variable per match holds its round and whether the first team is at home.
Hard: a team plays once in every round; %s and %s share a stadium
  and are never both at home.
Soft: a team's matches at home and away alternate (weight 1 for a break), and
  the last round has the match of the two best teams (weight 3).
Teaches: two decisions in one value, and "exactly one of two" as a sum of 1.
Best known penalty: 0/%d. Proved: only two patterns have no break, and no two
  teams can have the same pattern, so %d teams have %d breaks or more.
"""


def main():
    rounds = ["r%d" % number for number in range(1, len(TEAMS))]
    breaks = len(TEAMS) - 2
    m = Model(COMMENT % (len(TEAMS), *STADIUM, breaks, len(TEAMS), breaks), breaks)
    m.section("When and where each match is played.")
    at = {match: m.variable(match, [(number, side) for number in rounds
                                    for side in ("home", "away")])
          for match in combinations(TEAMS, 2)}

    def at_home(team, number, but=None):
        return total(x == (number, "home" if match[0] == team else "away")
                     for match, x in at.items() if team in match and match != but)

    def played(match, number):
        return at[match].isin([(number, "home"), (number, "away")])

    m.section("Hard: every team plays once in a round.")
    for team in TEAMS:
        for number in rounds:
            m.add(exactly(1, (played(match, number) for match in at if team in match)),
                  name=("plays", team, number))
    m.section("Hard: one stadium for two teams.")
    for number in rounds:
        m.add(total(at_home(team, number, but=STADIUM) for team in STADIUM)
              + played(STADIUM, number) <= 1, name=("stadium", number))
    m.section("Soft: one of two matches in a row is at home.")
    for team in TEAMS:
        for number, following in zip(rounds, rounds[1:]):
            m.add(at_home(team, number) + at_home(team, following) == 1, 1,
                  ("break", team, number))
    m.section("Soft: the top match comes last.")
    m.add(played(TOP_MATCH, rounds[-1]) >= 1, 3, "top_match")
    print(m.text(), end="")


if __name__ == "__main__":
    main()

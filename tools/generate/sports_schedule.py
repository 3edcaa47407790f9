#!/usr/bin/env python3
"""Generates a league's schedule: examples/sports-schedule.model."""

from itertools import combinations

from model_text import HARD, Model

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
    rounds = range(1, len(TEAMS))
    breaks = len(TEAMS) - 2
    matches = list(combinations(TEAMS, 2))
    model = Model(COMMENT % (len(TEAMS), *STADIUM, breaks, len(TEAMS), breaks))
    model.target(breaks)

    def name(match):
        return "%s_%s" % match

    def at_home(team, number):
        return [(1, name(match),
                 "r%d_%s" % (number, "home" if match[0] == team else "away"))
                for match in matches if team in match]

    model.section("When and where each match is played.")
    for match in matches:
        model.variable(name(match), ["r%d_%s" % (number, side)
                                     for number in rounds
                                     for side in ("home", "away")])
    model.section("Hard: every team plays once in a round.")
    for team in TEAMS:
        for number in rounds:
            model.linear("plays_%s_r%d" % (team, number), HARD,
                         [(1, name(match), "r%d_%s" % (number, side))
                          for match in matches if team in match
                          for side in ("home", "away")], "=", 1)
    model.section("Hard: one stadium for two teams.")
    for number in rounds:
        model.linear("stadium_r%d" % number, HARD,
                     [term for team in STADIUM
                      for term in at_home(team, number)
                      if term[1] != name(STADIUM)]
                     + [(1, name(STADIUM), "r%d_%s" % (number, side))
                        for side in ("home", "away")], "<=", 1)
    model.section("Soft: one of two matches in a row is at home.")
    for team in TEAMS:
        for number in rounds[:-1]:
            model.linear("break_%s_r%d" % (team, number), 1,
                         at_home(team, number) + at_home(team, number + 1),
                         "=", 1)
    model.section("Soft: the top match comes last.")
    model.linear("top_match", 3,
                 [(1, name(TOP_MATCH), "r%d_%s" % (rounds[-1], side))
                  for side in ("home", "away")], ">=", 1)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

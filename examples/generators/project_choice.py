#!/usr/bin/env python3
"""Generates a choice of projects: examples/project-choice.model.

Popular topics are drawn more often, so that not every first choice can be met;
there are more topics than the students can fill.
"""

from draw import Draw
from wcsp import Model, total

TOPICS = ["algae", "batteries", "bees", "bridges", "cities", "clouds",
          "compilers", "corals", "dialects", "drones", "fairness", "fungi",
          "games", "glaciers", "markets", "maps", "music", "noise", "robots",
          "rumours", "soils", "tides", "toys", "viruses"]
STUDENTS = 90
COSTS = [0, 1, 3, 6, 10]  # of a first to a fifth choice
OTHER_COST = 40
LEAST, MOST = 4, 6

COMMENT = """
Project choice: %d students choose among %d topics.

Hard: a topic that runs has %d to %d students, one that does not has none.
Soft: each student has ranked %d topics, which cost %s; any other costs %d.
Teaches: a variable for each topic that says whether it runs, bound to the
  choices by two sums, and a ranking as one sum with a bound of 0.
Best known penalty: 0/46. Not proved; every one of three seeds reaches it,
  and none is better after 25 s.
  The run ends there.
"""


def main():
    draw = Draw(5)
    students = ["s%02d" % s for s in range(1, STUDENTS + 1)]
    crowd = [topic for rank, topic in enumerate(draw.shuffled(TOPICS))
             for _ in range(1 + 24 // (rank + 1))]
    m = Model(COMMENT % (
        STUDENTS, len(TOPICS), LEAST, MOST, len(COSTS),
        ", ".join(map(str, COSTS)), OTHER_COST), 46)
    m.section("Who works on what, and which topics run.")
    at = {student: m.variable(student, TOPICS) for student in students}
    runs = {topic: m.variable("is_%s" % topic, ["off", "on"]) for topic in TOPICS}

    m.section("Hard: a topic that runs has %d to %d students." % (LEAST, MOST))
    for topic in TOPICS:
        number = total(at[student] == topic for student in students)
        m.add(number - LEAST * (runs[topic] == "on") >= 0, name=("enough", topic))
        m.add(number - MOST * (runs[topic] == "on") <= 0, name=("room", topic))

    m.section("Soft: what each student has ranked.")
    for student in students:
        ranked = []
        while len(ranked) < len(COSTS):
            topic = crowd[draw.below(len(crowd))]
            if topic not in ranked:
                ranked.append(topic)
        cost = dict.fromkeys(TOPICS, OTHER_COST) | dict(zip(ranked, COSTS))
        m.add(total(cost[topic] * (at[student] == topic) for topic in TOPICS) <= 0, 1,
              ("choice", student))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

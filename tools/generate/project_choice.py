#!/usr/bin/env python3
"""Generates a choice of projects: examples/project-choice.model.

Popular topics are drawn more often, so that not every first choice can be met;
there are more topics than the students can fill.
"""

from model_text import HARD, Draw, Model

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
    crowd = [topic for place, topic in enumerate(draw.shuffled(TOPICS))
             for _ in range(1 + 24 // (place + 1))]
    model = Model(COMMENT % (
        STUDENTS, len(TOPICS), LEAST, MOST, len(COSTS),
        ", ".join(map(str, COSTS)), OTHER_COST))
    model.target(46)
    model.section("Who works on what, and which topics run.")
    for student in students:
        model.variable(student, TOPICS)
    for topic in TOPICS:
        model.variable("is_%s" % topic, ["off", "on"])

    model.section("Hard: a topic that runs has %d to %d students." % (LEAST, MOST))
    for topic in TOPICS:
        chosen = [(1, student, topic) for student in students]
        switch = "is_%s" % topic
        model.linear("enough_%s" % topic, HARD,
                     chosen + [(-LEAST, switch, "on")], ">=", 0)
        model.linear("room_%s" % topic, HARD,
                     chosen + [(-MOST, switch, "on")], "<=", 0)

    model.section("Soft: what each student has ranked.")
    for student in students:
        ranked = []
        while len(ranked) < len(COSTS):
            topic = crowd[draw.below(len(crowd))]
            if topic not in ranked:
                ranked.append(topic)
        cost = {topic: OTHER_COST for topic in TOPICS}
        cost.update(zip(ranked, COSTS))
        model.linear("choice_%s" % student, 1,
                     [(cost[topic], student, topic) for topic in TOPICS
                      if cost[topic] > 0], "<=", 0)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

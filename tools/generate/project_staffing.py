#!/usr/bin/env python3
"""Generates a project staffing problem: examples/project-staffing.model."""

from model_text import HARD, Draw, Model

PEOPLE = """
Amir Beatriz Chen Dora Emre Farah Goran Hiro Ines Jamal Katja Luis Mina Noor
Omar Paula Quentin Rosa Samir Tara Umut Vera Wei Xenia Yusuf Zoe Anouk Bruno
Celia Dario
""".split()
PROJECTS = ["billing", "search", "mobile", "reports", "security", "migration"]
SKILLS = ["backend", "frontend", "testing"]
# People and people of each skill that a project needs.
TEAM = 5
NEEDED = {"backend": 2, "frontend": 1, "testing": 1}
PENALTIES = [0, 1, 3, 6, 9, 12]
OPTIMUM = 78

COMMENT = """
Project staffing: %d people in %d projects of %d.

Hard: the size of each team, and its skills: two in the backend, one in the
  frontend, one in testing at least.
Soft: everybody ranked the projects (a second choice costs 1, a third 3, then
  6, 9 and 12), some want to work together (2), and some rather don't (4).
Teaches: a ranking as a sum with a bound of 0, and "together" and "apart" as
  quadratic constraints over the same project.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""


def main():
    draw = Draw(11)
    skill = {name: SKILLS[(0, 0, 1, 2, 0, 1, 2)[place % 7]]
             for place, name in enumerate(PEOPLE)}
    model = Model(COMMENT % (len(PEOPLE), len(PROJECTS), TEAM, OPTIMUM))
    model.target(OPTIMUM)
    model.section("Who works in which project.")
    for name in PEOPLE:
        model.variable(name, PROJECTS)
    model.section("Hard: sizes and skills.")
    for project in PROJECTS:
        model.linear("size_" + project, HARD,
                     [(1, name, project) for name in PEOPLE], "=", TEAM)
        for needed, count in NEEDED.items():
            model.linear("%s_%s" % (needed, project), HARD,
                         [(1, name, project) for name in PEOPLE
                          if skill[name] == needed], ">=", count)
    model.section("Soft: what everybody would like to do.")
    for name in PEOPLE:
        # Drawn so that the first projects are the popular ones.
        ranking = sorted(PROJECTS, key=lambda project:
                         PROJECTS.index(project) + draw.below(6))
        model.linear("wish_" + name, 1,
                     [(penalty, name, project) for project, penalty
                      in zip(ranking, PENALTIES) if penalty > 0], "<=", 0)
    model.section("Soft: together or apart.")
    pairs = draw.sample([(a, b) for a in PEOPLE for b in PEOPLE if a < b], 24)
    for number, (a, b) in enumerate(pairs):
        terms = [(1, a, project, b, project) for project in PROJECTS]
        if number % 2 == 0:
            model.quadratic("together_%s_%s" % (a, b), 2, terms, ">=", 1)
        else:
            model.quadratic("apart_%s_%s" % (a, b), 4, terms, "<=", 0)
    print(model.text(), end="")


if __name__ == "__main__":
    main()

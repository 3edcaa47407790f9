#!/usr/bin/env python3
"""Generates a project staffing problem: examples/project-staffing.model."""

from draw import Draw
from wcsp import Model, exactly, total

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
    skill = {name: SKILLS[(0, 0, 1, 2, 0, 1, 2)[index % 7]]
             for index, name in enumerate(PEOPLE)}
    m = Model(COMMENT % (len(PEOPLE), len(PROJECTS), TEAM, OPTIMUM), OPTIMUM)
    m.section("Who works in which project.")
    at = {name: m.variable(name, PROJECTS) for name in PEOPLE}
    m.section("Hard: sizes and skills.")
    for project in PROJECTS:
        m.add(exactly(TEAM, (at[name] == project for name in PEOPLE)), name="size_" + project)
        for needed, count in NEEDED.items():
            m.add(total(at[name] == project for name in PEOPLE if skill[name] == needed) >= count,
                  name=(needed, project))
    m.section("Soft: what everybody would like to do.")
    for name in PEOPLE:
        # Drawn so that the first projects are the popular ones.
        ranking = sorted(PROJECTS, key=lambda project:
                         PROJECTS.index(project) + draw.below(6))
        m.add(total(penalty * (at[name] == project)
                    for project, penalty in zip(ranking, PENALTIES)) <= 0, 1, ("wish", name))
    m.section("Soft: together or apart.")
    pairs = draw.sample([(a, b) for a in PEOPLE for b in PEOPLE if a < b], 24)
    for number, (a, b) in enumerate(pairs):
        same = total((at[a] == project) * (at[b] == project) for project in PROJECTS)
        if number % 2 == 0:
            m.add(same >= 1, 2, ("together", a, b))
        else:
            m.add(same <= 0, 4, ("apart", a, b))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

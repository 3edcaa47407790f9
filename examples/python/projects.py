"""Students and projects, and the new plan when a project is cancelled."""

from wcsp import Model, table, total

PROJECTS = {"bridge": 3, "camera": 2, "drone": 3, "engine": 2}
# The projects that a student wants, best first.
CHOICES = {"Ada": ["drone", "camera"], "Ben": ["drone", "bridge"], "Cleo": ["drone", "engine"],
           "Dan": ["drone", "bridge"], "Edda": ["camera", "bridge"], "Fritz": ["bridge", "drone"],
           "Gina": ["engine", "camera"], "Hugo": ["camera", "drone"]}


def plan(projects, choices):
    """The model, and its variables by student."""
    m = Model("Projects")
    x = {s: m.variable(s, [*projects, "none"]) for s in choices}
    for project, places in projects.items():
        m.add(total(v == project for v in x.values()) <= places, name=("places", project))
    for s, wanted in choices.items():
        costs = {project: 9 for project in projects} | {"none": 30}
        m.minimize(table([x[s]], costs | {p: 2 * i for i, p in enumerate(wanted)}))
    return m, x


def cancelled(m, x, old, project, time=5):
    """The new plan when a project is cancelled."""
    today = m.copy()
    for v in x.values():
        today.forbid(v, project)
    today.keep(old, weight=10)
    return today.solve(time=time, seeds=4, start=old)


def main():
    m, x = plan(PROJECTS, CHOICES)
    old = m.solve(time=5, seeds=4)
    print("cost", old.objective)
    new = cancelled(m, x, old, "camera")
    for name, before, after in new.changes(old):
        print(f"{name}: {before} -> {after}")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates models that are hard for one seed: hard_models.py NAME.

Their penalties differ from seed to seed, and no seed reaches the best known one in
a minute. bench/polish measures on them what polishing gains.
"""

import argparse
import pathlib
import subprocess
import sys

GENERATORS = pathlib.Path(__file__).resolve().parents[1] / "examples" / "generators"
sys.path.insert(0, str(GENERATORS))

from draw import Draw  # noqa: E402
from model_text import HARD, Model  # noqa: E402
from workloads import assignment  # noqa: E402


def ward():
    """A roster by shifts: the example."""
    return subprocess.run([sys.executable, "-B", GENERATORS / "ward_roster.py"], check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def call_centre(people=40, days=14):
    """A roster by times of day: the need of each hour, rest, equal loads, wishes."""
    draw = Draw(1)
    model = Model("Call centre: %d people, %d days, shifts by their first hour." % (people, days))
    starts = list(range(7, 15))  # of shifts of eight hours
    values = ["off"] + ["h%d" % hour for hour in starts]
    cell = {(p, d): "p%d_d%d" % (p, d) for p in range(people) for d in range(days)}
    for name in cell.values():
        model.variable(name, values)
    for d in range(days):
        for hour in range(7, 22):
            busy = 4 + 14 * (8 - abs(hour - 14)) // 8 - (3 if d % 7 > 4 else 0)
            need = max(busy + draw.between(-2, 2), 2)
            at_work = [(1, cell[p, d], "h%d" % s) for p in range(people) for s in starts
                       if s <= hour < s + 8]
            model.linear("need_%d_%d" % (d, hour), 6, at_work, ">=", need)
            model.linear("many_%d_%d" % (d, hour), 2, at_work, "<=", need + 1)
    for p in range(people):
        for d in range(days - 1):
            for s in starts[3:]:
                early = [(1, cell[p, d + 1], "h%d" % t) for t in starts if t < s - 3]
                model.linear("rest_%d_%d_%d" % (p, d, s), HARD,
                             [(1, cell[p, d], "h%d" % s), *early], "<=", 1)
            for s in starts:
                same = [(1, cell[p, d + 1], v) for v in ("off", "h%d" % s)]
                near = [(1, cell[p, d + 1], "h%d" % t) for t in starts if abs(s - t) == 1]
                model.linear("steady_%d_%d_%d" % (p, d, s), 1,
                             [(-1, cell[p, d], "h%d" % s), *same, *near], ">=", 0)
        off = [(1, cell[p, d], "off") for d in range(days)]
        model.linear("free_%d" % p, 10, off, ">=", 4)
        model.linear("idle_%d" % p, 10, off, "<=", 5)
        for d in range(days - 2):
            a, b, c = (cell[p, d + i] for i in range(3))
            model.linear("single_%d_%d" % (p, d), 3,
                         [(-1, a, "off"), (1, b, "off"), (-1, c, "off")], "<=", 0)
        for d in range(days - 5):
            model.linear("row_%d_%d" % (p, d), 8,
                         [(1, cell[p, d + i], "off") for i in range(6)], ">=", 1)
        for d in draw.sample(range(days), 3):
            model.linear("wish_%d_%d" % (p, d), draw.between(1, 4),
                         [(1, cell[p, d], draw.sample(values, 1)[0])], ">=", 1)
    return model.text()


def fire_station(people=24, days=42):
    """A roster by teams: day and night watches, ranks, pairs of watches."""
    draw = Draw(2)
    model = Model("Fire station: %d people, %d days, watches of twelve hours." % (people, days))
    values = ["off", "day", "night"]
    cell = {(p, d): "p%d_d%d" % (p, d) for p in range(people) for d in range(days)}
    for name in cell.values():
        model.variable(name, values)
    for d in range(days):
        for watch in values[1:]:
            on = [(1, cell[p, d], watch) for p in range(people)]
            model.linear("size_%d_%s" % (d, watch), 20, on, "=", 6)
            model.linear("drivers_%d_%s" % (d, watch), HARD, on[:8], ">=", 1)
            model.linear("medics_%d_%s" % (d, watch), 10, on[4:14], ">=", 3)
            for team in range(0, people, 6):
                model.linear("team_%d_%s_%d" % (d, watch, team), 1, on[team:team + 6], "<=", 3)
    for p in range(people):
        for d in range(days - 1):
            a, b = cell[p, d], cell[p, d + 1]
            model.linear("rest_%d_%d" % (p, d), HARD, [(1, a, "night"), (1, b, "day")], "<=", 1)
            if d + 2 < days:
                c = cell[p, d + 2]
                model.linear("lone_%d_%d" % (p, d), 4,
                             [(-1, a, "off"), (1, b, "off"), (-1, c, "off")], "<=", 0)
                model.linear("alone_%d_%d" % (p, d), 3,
                             [(1, a, "off"), (-1, b, "off"), (1, c, "off")], "<=", 1)
            if d + 4 < days:
                model.linear("long_%d_%d" % (p, d), 6,
                             [(1, cell[p, d + i], "off") for i in range(5)], ">=", 1)
        for watch in values[1:]:
            on = [(1, cell[p, d], watch) for d in range(days)]
            model.linear("least_%d_%s" % (p, watch), 3, on, ">=", 9)
            model.linear("most_%d_%s" % (p, watch), 3, on, "<=", 12)
        for d in draw.sample(range(days), 6):
            model.linear("wish_%d_%d" % (p, d), draw.between(1, 5),
                         [(1, cell[p, d], "off")], ">=", 1)
    return model.text()


def exams(count=140, slots=24, students=900):
    """An exam timetable: clashes, seats, and little time between two exams."""
    draw = Draw(3)
    model = Model("Exams: %d in %d slots, %d students." % (count, slots, students))
    names = ["exam_%d" % e for e in range(count)]
    for name in names:
        model.variable(name, ["s%d" % s for s in range(slots)])
    shared, sizes = {}, [5] * count
    for _ in range(students):
        subject = draw.below(count)
        mine = sorted({(subject + draw.below(30)) % count if draw.below(4) else draw.below(count)
                       for _ in range(5)})
        for i, a in enumerate(mine):
            sizes[a] += 1
            for b in mine[i + 1:]:
                shared[a, b] = shared.get((a, b), 0) + 1
    for (a, b), both in sorted(shared.items()):
        model.all_different("clash_%d_%d" % (a, b), HARD, [names[a], names[b]])
        close = [(3 - abs(s - t), names[a], "s%d" % s, names[b], "s%d" % t)
                 for s in range(slots) for t in range(slots) if 1 <= abs(s - t) <= 2]
        model.quadratic("close_%d_%d" % (a, b), both, close, "<=", 0)
    for s in range(slots):
        model.linear("seats_%d" % s, HARD, [(sizes[e], names[e], "s%d" % s)
                                            for e in range(count)], "<=",
                     sum(sizes) * 13 // (10 * slots))
    return model.text()


def courses(count=40, rooms=6, days=5, hours=6):
    """A course timetable: lectures in slots, curricula, teachers, compact days."""
    draw = Draw(4)
    slots = ["d%dh%d" % (d, h) for d in range(days) for h in range(hours)]
    model = Model("Courses: %d of three to five lectures in %d slots." % (count, len(slots)))
    lectures = {c: ["course_%d_lecture_%d" % (c, i) for i in range(draw.between(3, 5))]
                for c in range(count)}
    for name in (name for mine in lectures.values() for name in mine):
        model.variable(name, slots)
    for c, mine in lectures.items():
        model.all_different("course_%d" % c, HARD, mine)
        for d in range(days):
            model.linear("spread_%d_%d" % (c, d), 5, [
                (1, name, "d%dh%d" % (d, h)) for name in mine for h in range(hours)], "<=", 1)
        for slot in draw.sample(slots, 6):
            model.linear("teacher_%d_%s" % (c, slot), HARD,
                         [(1, name, slot) for name in mine], "<=", 0)
    every = [name for mine in lectures.values() for name in mine]
    for slot in slots:
        model.linear("rooms_%s" % slot, HARD, [(1, name, slot) for name in every], "<=", rooms)
        large = [name for c in range(0, count, 4) for name in lectures[c]]
        model.linear("large_%s" % slot, HARD, [(1, name, slot) for name in large], "<=", 2)
    for k in range(22):
        courses = draw.sample(range(count), 5)
        mine = [name for c in courses for name in lectures[c]]
        model.all_different("curriculum_%d" % k, HARD, mine)
        for d in range(days):
            for h in range(hours):
                around = [(-1, name, "d%dh%d" % (d, h + i)) for name in mine for i in (-1, 1)
                          if 0 <= h + i < hours]
                model.linear("alone_%d_%d_%d" % (k, d, h), 2,
                             [(1, name, "d%dh%d" % (d, h)) for name in mine] + around, "<=", 0)
            model.linear("full_%d_%d" % (k, d), 1, [
                (1, name, "d%dh%d" % (d, h)) for name in mine for h in range(hours)], "<=", 4)
    return model.text()


def staffing(people=160, projects=16):
    """People on projects: ranks, skills, pairs that work well or badly together."""
    draw = Draw(5)
    model = Model("Staffing: %d people, %d projects." % (people, projects))
    names = ["person_%d" % p for p in range(people)]
    values = ["project_%d" % j for j in range(projects)]
    for name in names:
        model.variable(name, values)
    for name in names:
        for rank, value in enumerate(draw.shuffled(values)):
            if rank > 1:
                model.linear("rank_%s_%s" % (name, value), min(rank, 8),
                             [(1, name, value)], "<=", 0)
    skills = [draw.sample(names, people // 4) for _ in range(8)]
    for value in values:
        on = [(1, name, value) for name in names]
        model.linear("least_%s" % value, HARD, on, ">=", people // projects - 2)
        model.linear("most_%s" % value, HARD, on, "<=", people // projects + 2)
        for number, able in enumerate(skills):
            model.linear("skill_%s_%d" % (value, number), 12,
                         [(1, name, value) for name in able], ">=", 2 + draw.below(2))
    for number in range(4 * people):
        a, b = draw.sample(names, 2)
        both = [(1, a, value, b, value) for value in values]
        if draw.below(3):
            model.quadratic("apart_%d" % number, draw.between(2, 9), both, "<=", 0)
        else:
            model.quadratic("together_%d" % number, draw.between(1, 5), both, ">=", 1)
    return model.text()


def layout():
    """Departments in rooms: quadratic assignment with a constraint for each pair."""
    return assignment(25, 6, by_pairs=True)


def colouring(vertices=150, colours=15):
    """A dense graph with too few colours and weighted edges."""
    draw = Draw(7)
    model = Model("Colouring: %d vertices, %d colours." % (vertices, colours))
    names = ["vertex_%d" % v for v in range(vertices)]
    for name in names:
        model.variable(name, list(range(colours)))
    for a in range(vertices):
        for b in range(a):
            if draw.below(2):
                model.all_different("edge_%d_%d" % (a, b), draw.between(1, 9), [names[a], names[b]])
    return model.text()


MODELS = {
    "ward": ward,
    "call_centre": call_centre,
    "fire_station": fire_station,
    "exams": exams,
    "courses": courses,
    "staffing": staffing,
    "layout": layout,
    "colouring": colouring,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("name", choices=MODELS)
    print(MODELS[parser.parse_args().name](), end="")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates a course timetable: examples/course-timetable.model.

Courses, teachers and classes are written out below; wishes are drawn.
"""

from draw import Draw
from wcsp import Model, all_different, total

DAYS = ["Mon", "Tue", "Wed", "Thu", "Fri"]
PERIODS = ["1", "2", "3"]
ROOMS = {"hall": 90, "studio": 45, "lab": 30}

# Course, teacher, class, students, lessons a week.
COURSES = """
Algebra Noether first 80 3
Analysis Weier first 85 2
Physics Meitner first 70 3
Programming Hopper first 40 3
Writing Brecht first 28 1
Statistics Gosset second 44 3
Geometry Noether second 40 2
Databases Codd second 42 3
Electronics Hertz second 26 2
Networks Hopper second 30 1
Optimization Dantzig third 35 3
Graphics Mandel third 30 2
Compilers Hopper third 24 3
Optics Meitner third 22 2
Ethics Brecht third 40 1
Numerics Weier second 38 1
Logic Codd third 33 1
""".strip().split("\n")
OPTIMUM = 14

COMMENT = """
Course timetable: %d lessons in %d rooms, five days of three periods.

A variable per lesson holds its period and room.
Hard: one lesson in a room, a class and a teacher at one place at a time, rooms
  large enough.
Soft: the lessons of a course are on different days (weight 4), a class has a
  free period a day (weight 2), no lessons in a room too large (weight 1), and
  two days that do not suit a teacher (weight 2 for each lesson).
Teaches: an all-different constraint over values that are pairs, and linear
  constraints that look at one half of the pair.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""


def main():
    draw = Draw(8)
    lessons = []
    for line in COURSES:
        course, teacher, group, students, count = line.split()
        for number in range(1, int(count) + 1):
            lessons.append(("%s_%d" % (course, number), course, teacher, group,
                            int(students)))
    periods = [day + period for day in DAYS for period in PERIODS]
    places = [(period, room) for period in periods for room in ROOMS]

    m = Model(COMMENT % (len(lessons), len(ROOMS), OPTIMUM), OPTIMUM)
    m.section("When and where each lesson is.")
    at = {lesson[0]: m.variable(lesson[0], places) for lesson in lessons}

    def during(taught, times):
        """How many of some lessons are in some periods."""
        return total(at[lesson[0]].isin((period, room) for period in times for room in ROOMS)
                     for lesson in taught)

    def inside(lesson, rooms):
        return at[lesson].isin((period, room) for period in periods for room in rooms)

    m.section("Hard: one lesson in a room.")
    m.add(all_different(at.values()), name="rooms")
    m.section("Hard: rooms large enough.")
    for name, _, _, _, students in lessons:
        small = [room for room, size in ROOMS.items() if size < students]
        if small:
            m.add(inside(name, small) <= 0, name=("size", name))
    for field, what in (2, "teacher"), (3, "class"):
        m.section("Hard: a %s is at one place at a time." % what)
        for who in sorted({lesson[field] for lesson in lessons}):
            taught = [lesson for lesson in lessons if lesson[field] == who]
            for period in periods:
                m.add(during(taught, [period]) <= 1, name=(who, period))
    m.section("Soft: the lessons of a course on different days.")
    for course in sorted({lesson[1] for lesson in lessons}):
        taught = [lesson for lesson in lessons if lesson[1] == course]
        if len(taught) > 1:
            for day in DAYS:
                m.add(during(taught, [day + p for p in PERIODS]) <= 1, 4, ("spread", course, day))
    m.section("Soft: a free period a day for every class.")
    for group in sorted({lesson[3] for lesson in lessons}):
        taught = [lesson for lesson in lessons if lesson[3] == group]
        for day in DAYS:
            m.add(during(taught, [day + p for p in PERIODS]) <= 2, 2, ("free", group, day))
    m.section("Soft: no room of more than twice the size.")
    for name, _, _, _, students in lessons:
        large = [room for room, size in ROOMS.items() if size > 2 * students]
        if large:
            m.add(inside(name, large) <= 0, 1, ("waste", name))
    m.section("Soft: days that do not suit a teacher.")
    for teacher in sorted({lesson[2] for lesson in lessons}):
        taught = [lesson for lesson in lessons if lesson[2] == teacher]
        for day in draw.sample(DAYS, 2):
            m.add(during(taught, [day + p for p in PERIODS]) <= 0, 2, ("wish", teacher, day))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

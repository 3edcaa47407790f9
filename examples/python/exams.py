"""Exams in time slots and rooms, and the new plan when a room is closed."""

from wcsp import Model, all_different, at_most_different, number

EXAMS = {"algebra": 60, "biology": 25, "chemistry": 40, "drawing": 15, "English": 55, "French": 20}
ROOMS = {"hall": 80, "lab": 45, "studio": 30}
SLOTS = range(1, 5)  # two a day
STUDENTS = [("algebra", "chemistry", "English"), ("algebra", "biology"), ("biology", "French"),
            ("drawing", "English"), ("chemistry", "French")]


def plan(exams, rooms, slots, students):
    """The model, with a variable for the slot and one for the room of each exam."""
    m = Model("Exams")
    slot = {e: m.variable((e, "slot"), slots) for e in exams}
    room = {e: m.variable((e, "room"), [r for r in rooms if rooms[r] >= size])
            for e, size in exams.items()}
    for taken in students:
        m.add(all_different(slot[e] for e in taken), name=("student", *taken))
        for one, other in zip(taken, taken[1:]):  # not on one day, if possible
            m.add(abs(number(slot[one]) - number(slot[other])) >= 2, weight=1, name="rest")
    names = list(exams)
    for i, one in enumerate(names):
        for other in names[:i]:  # one exam at a time in a room
            m.add((slot[one] == slot[other]) + (room[one] == room[other]) <= 1,
                  name=("clash", one, other))
    used = [[room[e] == r for e in exams if r in room[e].values] for r in rooms]
    m.add(at_most_different(2, used), weight=3, name="rooms")
    return m, slot, room


def closed(m, room, old, name, time=5):
    """The new plan when a room is closed."""
    today = m.copy()
    for e, x in room.items():
        if name in x.values:
            today.forbid(x, name)
    today.keep(old, weight=10)
    return today.solve(time=time, seeds=4, start=old)


def main():
    m, slot, room = plan(EXAMS, ROOMS, SLOTS, STUDENTS)
    old = m.solve(time=5, seeds=4)
    print("hard", old.hard, "soft", old.soft)
    new = closed(m, room, old, old[room["drawing"]])
    for name, before, after in new.changes(old):
        print(*name, before, "->", after)


if __name__ == "__main__":
    main()

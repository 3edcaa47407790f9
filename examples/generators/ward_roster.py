#!/usr/bin/env python3
"""Generates a hard roster of a ward: examples/ward-roster.model.

The plan continues last month's: runs of work that began there end here. Many
plans are nearly as good as the best.
"""

from draw import Draw
from wcsp import Model, total

DAYS = ["w%d%s" % (week, day) for week in (1, 2, 3, 4)
        for day in ("Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")]
SHIFTS = ["early", "late", "night", "off"]
WORK = SHIFTS[:3]
NAMES = """
Ada Ben Cleo Dora Emil Finn Gaia Hugo Ines Jan Kira Leon Mia Nils Olga Paul
Rosa Sven Tess Udo Vera Willi Xenia Yann Zora Alma Bo Carl Dina Elsa Frida Gero
Hedda Ivo Jette Kai
""".split()
# How many a day needs, on weekdays and at the weekend.
NEED = {"early": (8, 6), "late": (7, 5), "night": (4, 4)}
SENIORS = 12
FULL_TIME, PART_TIME = (16, 20), (12, 15)  # shifts
HISTORY = 6  # days of last month that matter

COMMENT = """
Ward roster: a hard roster that continues last month's plan.

%d nurses, the first %d of them senior, %d days; the value is the shift.
Hard: no early shift after a late one, no early or late shift after a night, two
  seniors in every shift.
Soft: enough nurses in every shift and not many more, runs of three to five days
  of work that may have begun last month, no single free day, whole weekends and
  at most two of them, 16 to 20 shifts (12 to 15 for part-time nurses), nights in
  pairs and at most five, wishes.
Teaches: rules over runs of days. A run of at most k days that ends before its
  time has work on the days first to last and none before and behind:
  -work(before) + work(first) + ... + work(last) - work(behind) <= k - 1.
  The best known penalty was found by wcsp-polish.
Best known penalty: 0/%s. Its optimality is not proved.
"""
BEST = 62


def last_month(draw):
    """A possible end of last month: runs of work and free days."""
    days = []
    while len(days) < HISTORY:
        if days and days[-1] != "off":
            days += ["off"] * draw.between(2, 3)
        else:
            shift = WORK[draw.below(3)]
            days += [shift] * draw.between(3, 5)
    return days[-HISTORY:]


class Roster:
    """The model, with last month's days before day 0."""

    def __init__(self, draw):
        self.draw = draw
        self.model = Model(COMMENT % (len(NAMES), SENIORS, len(DAYS), BEST))
        self.model.section("The shift of each nurse on each day.")
        self.shift = {(n, d): self.model.variable((n, d), SHIFTS) for n in NAMES for d in DAYS}
        self.history = {n: last_month(draw) for n in NAMES}

    def works(self, nurse, day):
        """A condition, or 0 or 1 for a day of last month."""
        return (self.shift[nurse, DAYS[day]] != "off" if day >= 0
                else int(self.history[nurse][day] != "off"))

    def limit(self, work, free, most, **details):
        """At most `most` as a sum of `work` less that of `free`, unless last
        month's days decide it."""
        fixed = sum(w for w in work if isinstance(w, int))
        fixed -= sum(w for w in free if isinstance(w, int))
        if fixed + sum(not isinstance(w, int) for w in work) > most:
            self.model.add(total(work) - total(free) <= most, **details)

    def rest(self):
        self.model.section("Hard: rest between shifts.")
        for n in NAMES:
            last = self.history[n][-1]
            forbidden = {"late": ["early"], "night": ["early", "late"]}.get(last)
            if forbidden:
                self.model.add(self.shift[n, DAYS[0]].isin(forbidden) <= 0,
                               name=("rest", n, DAYS[0]))
            for before, after in zip(DAYS, DAYS[1:]):
                x, y = self.shift[n, before], self.shift[n, after]
                self.model.add((x == "late") + (x == "night") + (y == "early") <= 1,
                               name=("rest", n, after))
                self.model.add((x == "night") + (y == "late") <= 1, name=("night", n, after))

    def cover(self):
        self.model.section("Hard: two seniors in every shift. Soft: enough nurses.")
        for index, d in enumerate(DAYS):
            for s in WORK:
                on = [self.shift[n, d] == s for n in NAMES]
                need = NEED[s][index % 7 >= 5]
                self.model.add(total(on[:SENIORS]) >= 2, name=("seniors", d, s))
                self.model.add(total(on) >= need, weight=30, name=("need", d, s))
                self.model.add(total(on) <= need + 1, weight=4, name=("many", d, s))

    def runs(self):
        self.model.section("Soft: runs of three to five days of work, no single free day.")
        for n in NAMES:
            days = {day: self.works(n, day) for day in range(-HISTORY, len(DAYS))}
            for day in range(-1, len(DAYS) - 1):
                for k in (1, 2):
                    if 0 < day + k < len(DAYS):
                        run = [days[day + i] for i in range(k)]
                        self.limit(run, [days[day - 1], days[day + k]], k - 1,
                                   weight=10 * (3 - k), name=("short", n, day + k, k))
                if day + 5 < len(DAYS):
                    self.limit([days[day + i] for i in range(6)], [], 5, weight=20,
                               name=("long", n, day + 6))
                if day >= 0:
                    self.limit([days[day - 1], days[day + 1]], [days[day]], 1, weight=8,
                               name=("single", n, day + 1))

    def weekends(self):
        self.model.section("Soft: whole weekends, at most two of them.")
        for n in NAMES:
            saturdays = [self.works(n, 7 * week + 5) for week in range(4)]
            for week, saturday in enumerate(saturdays):
                self.model.add(saturday == self.works(n, 7 * week + 6), weight=12,
                               name=("split", n, week + 1))
            self.model.add(total(saturdays) <= 2, weight=15, name=("weekends", n))

    def hours(self):
        self.model.section("Soft: the number of shifts, nights in pairs and not many of them.")
        for index, n in enumerate(NAMES):
            low, high = PART_TIME if index % 4 == 3 else FULL_TIME
            worked = total(self.works(n, day) for day in range(len(DAYS)))
            self.model.add(worked >= low, weight=10, name=("under", n))
            self.model.add(worked <= high, weight=10, name=("over", n))
            nights = [self.shift[n, d] == "night" for d in DAYS]
            for day in range(1, len(DAYS) - 1):
                self.model.add(nights[day] - nights[day - 1] - nights[day + 1] <= 0, weight=5,
                               name=("lone", n, day + 1))
            self.model.add(total(nights) <= 5, weight=6, name=("nights", n))

    def wishes(self):
        self.model.section("Soft: wishes.")
        for n in NAMES:
            for d in self.draw.sample(DAYS, 5):
                self.model.add(self.shift[n, d] == "off", weight=self.draw.between(2, 6),
                               name=("free", n, d))
            for d in self.draw.sample(DAYS, 3):
                wanted = WORK[self.draw.below(3)]
                self.model.add(self.shift[n, d].isin([wanted, "off"]) >= 1,
                               weight=self.draw.between(1, 4), name=("rather", n, d, wanted))


def main():
    roster = Roster(Draw(11))
    roster.rest()
    roster.cover()
    roster.runs()
    roster.weekends()
    roster.hours()
    roster.wishes()
    print(roster.model.text(), end="")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates a hard roster of a ward: examples/ward-roster.model.

The plan goes on from last month: runs of work and of free days that began
there end here. Weights make many plans nearly as good as the best.
"""

from draw import Draw
from wcsp import Model, total

NURSES = 36
DAYS = ["w%d%s" % (week, day) for week in (1, 2, 3, 4)
        for day in ("Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")]
SHIFTS = ["early", "late", "night", "off"]
WORK = SHIFTS[:3]
NAMES = ["Ada", "Ben", "Cleo", "Dora", "Emil", "Finn", "Gaia", "Hugo", "Ines", "Jan", "Kira", "Leon",
         "Mia", "Nils", "Olga", "Paul", "Rosa", "Sven", "Tess", "Udo", "Vera", "Willi", "Xenia",
         "Yann", "Zora", "Alma", "Bo", "Carl", "Dina", "Elsa", "Frida", "Gero", "Hedda", "Ivo",
         "Jette", "Kai"]
# How many a day needs, on weekdays and at the weekend.
NEED = {"early": (8, 6), "late": (7, 5), "night": (4, 4)}
SENIORS = 12
HISTORY = 6  # days of last month that matter

COMMENT = """
Ward roster: a hard real roster with last month's end.

%d nurses, the first %d of them senior, %d days. Hard: no early shift after a
late one or a night, no late one after a night, two seniors in every shift.
Weighted: enough nurses in every shift, runs of three to five working days that
may have begun last month, no single free day, whole weekends, four weeks of 16
to 20 shifts (12 to 15 for those who work part time), nights in pairs, wishes.
Teaches: what seeds alone leave open. Rules over runs of days are sums of
  conditions: a run of length k that begins on a day is
  -work(before) + work(first) + ... + work(last) - work(behind) <= k - 1.
Best known penalty: %s.
"""
BEST = "0/0"


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


def main():
    draw = Draw(11)
    m = Model(COMMENT % (NURSES, SENIORS, len(DAYS), BEST))
    m.section("The shift of each nurse on each day.")
    shift = {(n, d): m.variable((n, d), SHIFTS) for n in NAMES for d in DAYS}
    history = {n: last_month(draw) for n in NAMES}

    def works(n, day):
        """A condition, or a constant for a day of last month."""
        return (shift[n, DAYS[day]] != "off") if day >= 0 else int(history[n][day] != "off")

    m.section("Hard: rest between shifts.")
    for n in NAMES:
        late_before = history[n][-1]
        if late_before in ("late", "night"):
            forbidden = ["early"] if late_before == "late" else ["early", "late"]
            m.add(shift[n, DAYS[0]].isin(forbidden) <= 0, name=("rest", n, DAYS[0]))
        for before, after in zip(DAYS, DAYS[1:]):
            x, y = shift[n, before], shift[n, after]
            m.add((x == "late") + (x == "night") + (y == "early") <= 1, name=("rest", n, after))
            m.add((x == "night") + (y == "late") <= 1, name=("rest", n, after, "late"))
    m.section("Hard: two seniors in every shift. Weighted: enough nurses.")
    for place, d in enumerate(DAYS):
        for s in WORK:
            m.add(total(shift[n, d] == s for n in NAMES[:SENIORS]) >= 2, name=("seniors", d, s))
            need = NEED[s][place % 7 >= 5]
            m.add(total(shift[n, d] == s for n in NAMES) >= need, weight=30, name=("need", d, s))
            m.add(total(shift[n, d] == s for n in NAMES) <= need + 1, weight=4, name=("many", d, s))
    m.section("Weighted: runs of three to five working days, no single free day.")
    for n in NAMES:
        for day in range(-HISTORY + 5, len(DAYS)):
            for k in (1, 2):
                if 0 < day + k < len(DAYS):
                    m.add(-works(n, day - 1) + total(works(n, day + i) for i in range(k))
                          - works(n, day + k) <= k - 1, weight=10 * (3 - k), name=("short", n, day, k))
            if 0 <= day + 5 < len(DAYS):
                m.add(total(works(n, day + i) for i in range(6)) <= 5, weight=20,
                      name=("long", n, day))
            if 0 < day + 1 < len(DAYS):
                m.add(works(n, day - 1) - works(n, day) + works(n, day + 1) <= 1, weight=8,
                      name=("single", n, day))
    m.section("Weighted: whole weekends, at most two of them.")
    for n in NAMES:
        for week in range(4):
            saturday, sunday = works(n, 7 * week + 5), works(n, 7 * week + 6)
            m.add(saturday == sunday, weight=12, name=("split", n, week + 1))
        m.add(total(works(n, 7 * week + 5) for week in range(4)) <= 2, weight=15,
              name=("weekends", n))
    m.section("Weighted: hours, and nights in pairs.")
    for place, n in enumerate(NAMES):
        low, high = (12, 15) if place % 4 == 3 else (16, 20)
        worked = total(works(n, day) for day in range(len(DAYS)))
        m.add(worked >= low, weight=10, name=("under", n))
        m.add(worked <= high, weight=10, name=("over", n))
        for day in range(1, len(DAYS) - 1):
            before, now, after = (shift[n, DAYS[day + i]] == "night" for i in (-1, 0, 1))
            m.add(now - before - after <= 0, weight=5, name=("lone", n, day))
        m.add(total(shift[n, d] == "night" for d in DAYS) <= 5, weight=6, name=("nights", n))
    m.section("Weighted: wishes.")
    for n in NAMES:
        for d in draw.sample(DAYS, 5):
            m.add(shift[n, d] == "off", weight=draw.between(2, 6), name=("free", n, d))
        for d in draw.sample(DAYS, 3):
            wanted = WORK[draw.below(3)]
            m.add(shift[n, d].isin([wanted, "off"]) >= 1, weight=draw.between(1, 4),
                  name=("rather", n, d, wanted))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

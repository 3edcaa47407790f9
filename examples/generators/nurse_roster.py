#!/usr/bin/env python3
"""Generates a nurse roster over four weeks: examples/nurse-roster.model.

One variable per nurse and day holds the shift. Demand, contracts and wishes
grow with the number of nurses, so larger rosters are as tight as small ones.
"""

from draw import Draw
from model_text import HARD, Model

NAMES = """
Agnes Albin Alma Anton Astrid Axel Berit Birger Carla Casper Dagny David Ebba
Edvin Elin Emil Esther Felix Frida Gerda Gustav Hanna Harald Helga Hugo Ida
Ingrid Isak Johan Jonna Karin Kasper Lena Leo Linnea Magnus Maja Marit Mats
Mikael Moa Nils Nora Olga Oskar Otto Petra Ragna Rolf Rut Selma Sigrid Simon
Sofia Sture Svea Tage Thea Ulla Viggo
""".split()
WEEKDAYS = ["Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"]
WEEKS = 4
WORKED = ["early", "late", "night"]
SHIFTS = ["off"] + WORKED
HOLIDAY = "w3Fri"

# Nurses per hundred that each shift needs.
DEMAND = {"early": 25, "late": 23, "night": 15}
WEEKEND_DEMAND = {"early": 17, "late": 15, "night": 10}
# Shifts in four weeks: nurses in even places work full time.
FULL_TIME = 18
PART_TIME = 12

COMMENT = """
Nurse roster: who works when in the next four weeks.

%d nurses, one variable per nurse and day; the value is the shift.
Hard: the cover of every day and shift, eleven hours of rest between shifts
  (no early after a late, no early or late after a night), two free days a week.
Soft: contract hours, few nights and weekends, personal wishes, and a holiday
  that everybody would like to have off.
Teaches: covers as linear constraints over people, rules as small linear
  constraints over days, and wishes weighed against each other.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""
OPTIMUM = 40


def nurse_roster(nurses, seed, comment, target=None, ward=None):
    """The model as text; beyond the names there are, they come again numbered.

    With `ward`, each so many nurses are covered among themselves."""
    draw = Draw(seed)
    rounds = -(-nurses // len(NAMES))
    names = [name + (str(again + 1) if again else "")
             for again in range(rounds) for name in NAMES][:nurses]
    days = ["w%d%s" % (week, day)
            for week in range(1, WEEKS + 1) for day in WEEKDAYS]
    model = Model(comment)
    if target is not None:
        model.target(target)

    model.section("Who works when.")
    for name in names:
        for day in days:
            model.variable("%s_%s" % (name, day), SHIFTS)
    ward = ward or nurses
    for first in range(0, nurses, ward):
        add_rules(model, draw, names[first:first + ward], days)
    return model.text()


def add_rules(model, draw, names, days):
    """The constraints on the nurses of a ward."""
    model.section("Hard: enough nurses on every shift.")
    for day in days:
        weekend = day.endswith(("Sat", "Sun"))
        for shift in WORKED:
            demand = (WEEKEND_DEMAND if weekend else DEMAND)[shift]
            model.linear("cover_%s_%s" % (day, shift), HARD,
                         [(1, "%s_%s" % (name, day), shift) for name in names],
                         ">=", len(names) * demand // 100)

    model.section("""Hard: rest between the shifts of two days. Night counts 2
and late 1 today; early counts 2 and late 1 tomorrow; at most 2 are allowed.""")
    for name in names:
        for today, tomorrow in zip(days, days[1:]):
            first = "%s_%s" % (name, today)
            second = "%s_%s" % (name, tomorrow)
            model.linear("after_" + first, HARD,
                         [(2, first, "night"), (1, first, "late"),
                          (2, second, "early"), (1, second, "late")], "<=", 2)

    model.section("Hard: two free days in every week.")
    for name in names:
        for week in range(WEEKS):
            model.linear("rest_%s_w%d" % (name, week + 1), HARD,
                         [(1, "%s_%s" % (name, day), "off")
                          for day in days[7 * week:7 * week + 7]], ">=", 2)

    model.section("Soft: days off by contract, one more or less is fine.")
    for index, name in enumerate(names):
        off = len(days) - (FULL_TIME if index % 2 == 0 else PART_TIME)
        terms = [(1, "%s_%s" % (name, day), "off") for day in days]
        model.linear("underworked_" + name, 5, terms, "<=", off + 1)
        model.linear("overworked_" + name, 10, terms, ">=", off - 1)

    model.section("Soft: at most four nights and five weekend days each.")
    for name in names:
        model.linear("nights_" + name, 3,
                     [(1, "%s_%s" % (name, day), "night") for day in days],
                     "<=", 4)
        model.linear("weekends_" + name, 3,
                     [(1, "%s_%s" % (name, day), "off") for day in days
                      if day.endswith(("Sat", "Sun"))], ">=", 3)

    model.section("""Soft: no lone working day between two days off, where the
sum is 2.""")
    for name in names:
        for days_in_row in zip(days, days[1:], days[2:]):
            before, day, after = ["%s_%s" % (name, d) for d in days_in_row]
            model.linear("lone_" + day, 2,
                         [(1, before, "off"), (-1, day, "off"),
                          (1, after, "off")], "<=", 1)

    model.section("Soft: eight wishes each, a day off or a certain shift.")
    for name in names:
        for day in draw.sample([day for day in days if day != HOLIDAY], 8):
            wish = SHIFTS[max(0, draw.below(6) - 2)]
            model.linear("wish_%s_%s" % (name, day), draw.between(1, 4),
                         [(1, "%s_%s" % (name, day), wish)], ">=", 1)

    model.section("Soft: everybody wants the holiday off.")
    for name in names:
        model.linear("holiday_" + name, 1,
                     [(1, "%s_%s" % (name, HOLIDAY), "off")], ">=", 1)


def main():
    print(nurse_roster(40, 7, COMMENT % (40, OPTIMUM), OPTIMUM), end="")


if __name__ == "__main__":
    main()

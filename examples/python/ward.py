"""A week of a ward, and the new plan when somebody falls ill."""

import csv
import io

from wcsp import Model, runs, total

SHIFTS = ["off", "early", "late", "night"]
STAFF = """name,shifts,nights,wish_off
Zoë,5,2,Sat
Bo,5,2,Sun
Carla,4,0,Mon
Dag,5,2,Tue
Eva,5,1,Wed
Finn,3,1,Thu
Gül,5,2,Fri
Hana,4,2,Sat
Ivo,5,0,Sun
"""
DAYS = ["Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"]
DEMAND = {"early": 2, "late": 2, "night": 1}


def plan(staff, days, demand):
    """The model, and its variables by name and day."""
    m = Model("A week of a ward")
    x = {(p["name"], d): m.variable((p["name"], d), SHIFTS) for p in staff for d in days}
    for d in days:
        for shift, number in demand.items():
            m.add(total(x[p["name"], d] == shift for p in staff) >= number, name=(shift, d))
    for p in staff:
        name = p["name"]
        own = [x[name, d] for d in days]
        m.add(total(v != "off" for v in own) <= int(p["shifts"]), weight=5, name=("shifts", name))
        m.add(total(v == "night" for v in own) <= int(p["nights"]), name=("nights", name))
        m.add(runs((v == "off" for v in own), at_least=2), weight=1, name=("short rest", name))
        if p["wish_off"] in days:
            m.add(x[name, p["wish_off"]] == "off", weight=2, name=("wish", name))
        for today, tomorrow in zip(own, own[1:]):
            late_or_night = today.isin(["late", "night"])
            m.add(late_or_night + (tomorrow == "early") <= 1, name=("rest", name))
    return m, x


def ill(m, x, old, name, days, time=10):
    """The new plan: few changes, none in the past."""
    today = m.copy()
    for d in days:
        today.fix(x[name, d], "off")
    today.keep(old, weight=20, only=lambda key: key not in [(name, d) for d in days])
    return today.solve(time=time, seeds=4, start=old)


def main():
    staff = list(csv.DictReader(io.StringIO(STAFF)))
    m, x = plan(staff, DAYS, DEMAND)
    old = m.solve(time=10, seeds=4)
    print("hard", old.hard, "soft", old.soft)
    new = ill(m, x, old, "Zoë", ["Thu", "Fri"])
    for (name, day), before, after in new.changes(old):
        print(f"{name} {day}: {before} -> {after}")


if __name__ == "__main__":
    main()

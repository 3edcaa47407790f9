#!/usr/bin/env python3
"""Generates an exam timetable: examples/exam-timetable.model.

The curricula are written out below; seats and wishes are drawn.
"""

from draw import Draw
from wcsp import Model, all_different, total

DAYS = ["Mon", "Tue", "Wed", "Thu", "Fri", "Sat"]
SESSIONS = ["am", "pm"]
SEATS = 260

CURRICULA = {
    "Mathematics": "Algebra Analysis Geometry Probability Numerics Logic "
                   "Mechanics",
    "Physics": "Analysis Mechanics Optics Thermodynamics Quantum_theory "
               "Numerics Electronics",
    "Informatics": "Algebra Logic Programming Databases Networks Compilers "
                   "Probability",
    "Electrical": "Analysis Electronics Networks Signals Control Mechanics "
                  "Programming",
    "Chemistry": "Inorganic_chemistry Organic_chemistry Thermodynamics "
                 "Spectroscopy Statistics Safety",
    "Biology": "Genetics Ecology Cell_biology Organic_chemistry Statistics "
               "Botany Zoology",
    "Medicine": "Anatomy Physiology Cell_biology Genetics Pharmacology "
                "Statistics Ethics",
    "Economics": "Microeconomics Macroeconomics Accounting Statistics "
                 "Probability Trade_law Finance",
    "Law": "Trade_law Civil_law Criminal_law Ethics Logic Legal_history",
    "Philosophy": "Ethics Logic Metaphysics Legal_history Aesthetics Greek",
    "Statistics": "Probability Statistics Databases Numerics Finance Ecology",
}

COMMENT = """
Exam timetable: %d exams in %d sessions of six days.

Hard: the exams of a curriculum are in different sessions, and the hall seats
  %d in each session.
Soft: a curriculum's students sit one exam a day (weight 3) and not in the
  afternoon and again the next morning (weight 1), examiners' wishes (1 to 3),
  and large exams early in the week.
Teaches: clashes as all-different constraints over groups, seats as a linear
  constraint with the sizes as coefficients.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""
OPTIMUM = 24


def main():
    draw = Draw(5)
    sessions = [(day, half) for day in DAYS for half in SESSIONS]
    curricula = {name: exams.split() for name, exams in CURRICULA.items()}
    exams = sorted({exam for group in curricula.values() for exam in group})
    seats = {exam: sum(draw.between(10, 35) for group in curricula.values()
                       if exam in group) for exam in exams}

    m = Model(COMMENT % (len(exams), len(sessions), SEATS, OPTIMUM), OPTIMUM)
    m.section("When each exam is held.")
    at = {exam: m.variable(exam, sessions) for exam in exams}
    m.section("Hard: no clash within a curriculum.")
    for name, group in curricula.items():
        m.add(all_different(at[exam] for exam in group), name=("clash", name))
    m.section("Hard: the seats of the hall.")
    for session in sessions:
        m.add(total(seats[exam] * (at[exam] == session) for exam in exams) <= SEATS,
              name=("seats", session))
    m.section("Soft: one exam a day in each curriculum.")
    for name, group in curricula.items():
        for day in DAYS:
            m.add(total(at[exam].where(lambda session: session[0] == day) for exam in group) <= 1,
                  3, ("day", name, day))
    m.section("Soft: no exam in the afternoon and again the next morning.")
    for name, group in curricula.items():
        for day, following in zip(DAYS, DAYS[1:]):
            m.add(total(at[exam].isin([(day, "pm"), (following, "am")]) for exam in group) <= 1,
                  1, ("night", name, day))
    m.section("Soft: examiners' wishes, sessions that don't suit them.")
    for exam in exams:
        weight = draw.between(1, 3)
        m.add(at[exam].isin(draw.sample(sessions, 4)) <= 0, weight, ("wish", exam))
    m.section("Soft: exams of more than 50 students are over by Thursday.")
    for exam in exams:
        if seats[exam] > 50:
            m.add(at[exam].isin(sessions[-4:]) <= 0, 2, ("early", exam))
    print(m.text(), end="")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Draws a roster from a report on standard input as SVG: docs/roster.svg.

Variables are PERSON_DAY, and the first letter of a value is its mark, so the
picture tells the shifts apart also in grey.
"""

import html
import sys

CELL, HEAD, LEFT = 16, 44, 64
COLOURS = {"off": "#f4f4f4", "early": "#ffe08a", "late": "#9cc9e8",
           "night": "#5b6b9b"}


def read_best(lines):
    """The shifts by person and day, both in the order of the report."""
    roster = {}
    for line in lines[lines.index("[best solution]") + 1:]:
        if not line:
            break
        name, shift = line.split(": ")
        person, day = name.split("_")
        roster.setdefault(person, {})[day] = shift
    return roster


def text(x, y, content, attributes=""):
    return (f'<text x="{x}" y="{y}" {attributes}>'
            f"{html.escape(content)}</text>")


def main():
    roster = read_best(sys.stdin.read().splitlines())
    days = list(next(iter(roster.values())))
    width = LEFT + CELL * len(days)
    height = HEAD + CELL * len(roster)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" '
             f'height="{height}" font-family="sans-serif" font-size="10">',
             f'<rect width="{width}" height="{height}" fill="#ffffff"/>']
    for column, day in enumerate(days):
        x = LEFT + CELL * column + 11
        parts.append(text(x, HEAD - 4, day,
                          f'transform="rotate(-90 {x} {HEAD - 4})"'))
    for row, (person, shifts) in enumerate(roster.items()):
        y = HEAD + CELL * row
        parts.append(text(2, y + 12, person))
        for column, day in enumerate(days):
            x = LEFT + CELL * column
            shift = shifts[day]
            ink = "#ffffff" if shift == "night" else "#222222"
            parts.append(f'<rect x="{x}" y="{y}" width="{CELL - 1}" '
                         f'height="{CELL - 1}" fill="{COLOURS[shift]}"/>')
            mark = "" if shift == "off" else shift[0]
            parts.append(text(x + 5, y + 11, mark, f'fill="{ink}"'))
    print("\n".join(parts + ["</svg>"]))


if __name__ == "__main__":
    main()

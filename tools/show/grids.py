"""Finds grids in names, and groups the remaining variables.

A name splits into a row heading and a column heading. The split that puts the most
names into grids is used.
"""

import dataclasses
import re

SPLITS = [re.compile(pattern) for pattern in (
    r"(.+)[_@]([^_@]+)",               # Ann_w1Mon, Ann_Lee_Mon
    r"([^_@]+)[_@](.+)",               # Ann_week_1
    r"(.*\[[^\[\],]+),([^\[\],]+\])",  # x[Ann,Mon]
    r"(.+)(\[[^\[\]]*\])",             # x[Ann][Mon]
    r"(.*\d)(\D+\d*)",                 # r1c2, Mon1am
    r"(.*\D)(\d+)",                    # A1
)]


@dataclasses.dataclass
class Grid:
    """Rows and columns in order of declaration; names[row][column] is the name in
    that cell, if any."""

    rows: list
    columns: list
    names: dict

    def transposed(self):
        return Grid(self.columns, self.rows,
                    {c: {r: self.names[r][c] for r in self.rows if c in self.names[r]}
                     for c in self.columns})

    def limited(self, rows, columns):
        """Only these rows and columns, in this order; None for all."""
        return Grid([r for r in rows if r in self.names] if rows else self.rows,
                    [c for c in columns if c in self.columns] if columns else self.columns,
                    self.names)

    def variables(self):
        return [name for row in self.rows for name in self.names[row].values()]


def grids_by(split, names, domains):
    """The grids of names; split(name)[1] and [2] are its row and column. A row joins the grid with
    which it shares a column and a value; it needs two rows, two columns, and
    at least half of its cells."""
    rows = {}
    for name in names:
        found = split(name)
        if found:
            rows.setdefault(found[1] or "", {}).setdefault(found[2] or "", name)
    families = []
    for row, cells in rows.items():
        values = set().union(*(domains[name] for name in cells.values())) if domains else None
        family = next((f for f in families if not f["columns"].keys().isdisjoint(cells)
                       and (values is None or not f["values"].isdisjoint(values))), None)
        if family is None:
            family = {"rows": {}, "columns": {}, "values": set()}
            families.append(family)
        family["rows"][row] = cells
        family["columns"].update(dict.fromkeys(cells))
        family["values"].update(values or ())
    grids = []
    for family in families:
        number = sum(len(cells) for cells in family["rows"].values())
        shape = len(family["rows"]), len(family["columns"])
        if min(shape) > 1 and 2 * number >= shape[0] * shape[1]:
            grids.append(Grid(list(family["rows"]), in_order(family), family["rows"]))
    return grids


def in_order(family):
    """The columns in an order that agrees with each row, where there is one:
    a row that begins in the middle does not move its columns to the end."""
    columns = list(family["columns"])
    longest = max(family["rows"].values(), key=len)
    if len(longest) == len(columns):
        return list(longest)
    after = {c: set() for c in columns}
    for cells in family["rows"].values():
        cells = list(cells)
        for first, second in zip(cells, cells[1:]):
            after[second].add(first)
    ordered, left = [], dict.fromkeys(columns)
    while left:
        free = next((c for c in left if after[c].isdisjoint(left)), None)
        if free is None:
            return columns
        ordered.append(free)
        del left[free]
    return ordered


def grids_of(names, split=None, domains=None):
    """The grids of names, and the names that fit none."""
    splits = [split] if split else [pattern.fullmatch for pattern in SPLITS]
    tried = [grids_by(one, names, domains) for one in splits]
    grids = max(tried, key=lambda found: sum(len(g.variables()) for g in found))
    fitted = {name for grid in grids for name in grid.variables()}
    return grids, [name for name in names if name not in fitted]


def lists_of(names, domains):
    """The names in groups of equal domains, in order of declaration."""
    groups = {}
    for name in names:
        groups.setdefault(tuple(domains[name]), []).append(name)
    return list(groups.values())

"""Writes the page. Every text of a model passes through escape()."""

import collections
import html
import json
import pkgutil
import re

from grids import grids_of, lists_of

from _shared.text import spans

MAX_COLOURS = 20
MAX_LISTED = 12
LARGE = 8
NUMBERED = re.compile(r".*\D\d+")


def escape(text):
    return html.escape(str(text))


def json_text(value):
    """JSON that cannot close the element that contains it."""
    return json.dumps(value, separators=(",", ":")).replace("<", "\\u003c")


def part_of_page(name):
    return pkgutil.get_data(__name__, name).decode()


def listed(texts):
    more = len(texts) - MAX_LISTED
    return ", ".join(texts[:MAX_LISTED]) + (f" and {more} more" if more > 0 else "")


class Colours:
    """A colour by value, or by family of values if there are many, or none. The text
    of a value is always shown with its colour."""

    def __init__(self, values):
        keys = {value: value for value in values}
        if len(keys) > MAX_COLOURS:
            keys = {name: row for grid in grids_of(list(values))[0]
                    for row in grid.rows for name in grid.names[row].values()}
        distinct = list(dict.fromkeys(keys.values()))
        self.number = len(distinct) if len(distinct) <= MAX_COLOURS else 0
        numbers = {key: i for i, key in enumerate(distinct)}
        self.classes = ({value: f"c{numbers[key]}" for value, key in keys.items()}
                        if self.number else {})

    def style(self):
        # Neighbours differ in hue and lightness, so they are distinct in grey too.
        return "".join(f".c{i}{{background:hsl({round(45 + i * 137.5) % 360} 65% "
                       f"{(92, 78, 85, 72)[i % 4]}%)}}" for i in range(self.number))


class Page:
    def __init__(self, result, changed, view):
        self.result = result
        self.values = result["values"]
        self.domains = result["domains"]
        self.before = {name: before for name, before, _ in changed["changed"]} if changed else {}
        self.numbers = {name: i for i, name in enumerate(self.values)}
        self.view = view
        used = dict.fromkeys(value for names in lists_of(self.values, self.domains)
                             for value in self.domains[names[0]])
        self.colours = Colours(used)
        self.parts = []
        self.num_views = 0

    def write(self, text):
        self.parts.append(text)

    def marks(self, name, classes=()):
        """The attributes of an element that shows a variable."""
        classes = list(classes) + (["changed"] if name in self.before else [])
        was = f' data-was="{escape(self.before[name])}"' if name in self.before else ""
        kind = f' class="{" ".join(classes)}"' if classes else ""
        return f' data-v="{self.numbers[name]}"{kind}{was}'

    def value_cell(self, name):
        if name is None:
            return "<td></td>"
        value = self.values[name]
        classes = [self.colours.classes[value]] if value in self.colours.classes else []
        was = f"<s>{escape(self.before[name])}</s> " if name in self.before else ""
        return f"<td{self.marks(name, classes)}>{was}{escape(value)}</td>"

    def who_cell(self, takers):
        """Variables with a text each, which take one value."""
        return ('<td class="who">' if takers else "<td>") + ", ".join(
            f"<span{self.marks(name)}>{escape(text)}</span>" for text, name in takers) + "</td>"

    def value_head(self, value):
        colour = self.colours.classes.get(value)
        return f'<th scope="row"{f" class={colour}" if colour else ""}>{escape(value)}</th>'

    def table(self, heads, rows, kind=""):
        self.write(f'<div class="scroll"><table{kind}><thead><tr>'
                   + "".join(f'<th scope="col">{escape(h)}</th>' for h in heads)
                   + "</tr></thead><tbody>")
        for cells in rows:
            self.write(f"<tr>{''.join(cells)}</tr>")
        self.write("</tbody></table></div>")

    def views(self, title, names, value_first, write_names, write_values):
        """Two views of the same variables, one of them visible."""
        value_first = self.view == "value" if self.view else value_first
        self.num_views += 1
        self.write(f"<section><h2>{escape(title)}</h2>"
                   '<p class="views" role="group" aria-label="view">')
        ids = [f"view{self.num_views}{end}" for end in ("n", "v")]
        for place, label in zip(ids, ("by variable", "by value")):
            pressed = "true" if (place == ids[1]) == value_first else "false"
            self.write(f'<button type="button" aria-controls="{place}" '
                       f'aria-pressed="{pressed}">{label}</button>')
        self.write("</p>")
        for place, write, shown in ((ids[0], write_names, not value_first),
                                    (ids[1], write_values, value_first)):
            self.write(f'<div id="{place}"{"" if shown else " hidden"}>')
            write(names)
            self.write("</div>")
        self.write("</section>")

    def by_split_value(self, names, values):
        """A grid of values, with the variables that take them."""
        grid = values[0]
        taken = collections.defaultdict(list)
        for name in names:
            taken[self.values[name]].append((name, name))
        self.table(["", *grid.columns], (
            [f'<th scope="row">{escape(row)}</th>']
            + [self.who_cell(taken.get(grid.names[row].get(c), [])) for c in grid.columns]
            for row in grid.rows))
        outside = [v for v in self.domains[names[0]] if v not in set(grid.variables())]
        if any(v in taken for v in outside):
            self.table(["value", "variables"],
                       ([self.value_head(v), self.who_cell(taken[v])] for v in outside))

    def split_values(self, names):
        """The grid formed by the single domain of these variables, if any."""
        domain = self.domains[names[0]]
        if any(self.domains[name] != domain for name in names):
            return []
        grids, outside = grids_of(domain)
        return grids if len(grids) == 1 and 4 * len(outside) <= len(domain) else []

    def is_numbered(self, names):
        """Whether these variables share one large domain of numbered values, as
        tables and rooms are."""
        domain = self.domains[names[0]]
        return (LARGE <= len(domain) < len(names)
                and all(self.domains[name] == domain for name in names)
                and all(NUMBERED.fullmatch(value) for value in domain))

    def by_list(self, names):
        """A line for each value, with the variables that take it."""
        taken = collections.defaultdict(list)
        for name in names:
            taken[self.values[name]].append((name, name))
        self.table(["value", "number", "variables"],
                   ([self.value_head(v), f"<td>{len(taken[v])}</td>",
                     self.who_cell(taken[v])] for v in self.domains[names[0]]))

    def grid(self, grid):
        names = grid.variables()
        values = self.split_values(names)

        def write_names(_):
            self.table(["", *grid.columns], (
                [f'<th scope="row">{escape(row)}</th>']
                + [self.value_cell(grid.names[row].get(c)) for c in grid.columns]
                for row in grid.rows))

        def write_values(_):
            if values:
                self.by_split_value(names, values)
                return
            if self.is_numbered(names):
                self.by_list(names)
                return
            taken = collections.defaultdict(list)
            for row in grid.rows:
                for column, name in grid.names[row].items():
                    taken[self.values[name], column].append((row, name))
            domain = dict.fromkeys(v for name in names for v in self.domains[name])
            self.table(["", *grid.columns], (
                [self.value_head(v)] + [self.who_cell(taken[v, c]) for c in grid.columns]
                for v in domain if any((v, c) in taken for c in grid.columns)))

        self.views(f"{grid.rows[0]} to {grid.rows[-1]}, {grid.columns[0]} to "
                   f"{grid.columns[-1]}", names, bool(values) or self.is_numbered(names),
                   write_names, write_values)

    def list(self, names):
        domain = self.domains[names[0]]
        values = self.split_values(names)

        def write_names(names):
            self.table(["variable", "value"],
                       ([f'<th scope="row">{escape(n)}</th>', self.value_cell(n)]
                        for n in names))

        def write_values(names):
            if values:
                self.by_split_value(names, values)
            else:
                self.by_list(names)

        title = names[0] if len(names) == 1 else f"{names[0]} to {names[-1]}"
        self.views(title, names, bool(values) or 2 < len(domain) < len(names),
                   write_names, write_values)

    def violations(self):
        violated = self.result["violated"]
        if not violated:
            return
        self.write("<section><h2>Violated constraints</h2>")
        rows = []
        for c in sorted(violated, key=lambda c: (not c["hard"], -cost_of(c))):
            counts, lacks, scope = explained(c)
            marked = spans((self.numbers[name] for name in scope), " ")
            rows.append((f'<th scope="row" tabindex="0" data-s="{marked}">{escape(c["name"])}'
                         "</th>",
                         f'<td>{"hard" if c["hard"] else c["weight"]}</td>',
                         f'<td>{c["violation"]}</td>',
                         f'<td>{"" if c["hard"] else cost_of(c)}</td>',
                         f"<td>{escape(counts)}</td><td>{escape(lacks)}</td>"
                         f'<td>{c["line"]}</td>'))
        self.table(["constraint", "weight", "violation", "cost", "counts", "wants", "line"],
                   rows, ' class="violated"')
        self.write("</section>")

    def changes(self, changed):
        penalty = changed["penalty before"]
        lines = [f"before: hard {penalty['hard']}, soft {penalty['soft']}",
                 f"{len(changed['changed'])} of {len(self.values)} variables have changed"]
        for key in ("violated anew", "violated no longer"):
            lines.append(f"{key}: " + (", ".join(changed[key]) or "none"))
        if changed["violated otherwise"]:
            lines.append("violated otherwise: " + ", ".join(
                f"{name} by {now}, was {before}"
                for name, before, now in changed["violated otherwise"]))
        self.write("<section><h2>What changed</h2><ul>"
                   + "".join(f"<li>{escape(line)}</li>" for line in lines) + "</ul>")
        if changed["changed"]:
            self.write("<details><summary>Each change</summary>")
            self.table(["variable", "before", "now"], (
                [f'<th scope="row">{escape(name)}</th><td>{escape(before)}</td>'
                 f"<td{self.marks(name)}>{escape(now)}</td>"]
                for name, before, now in changed["changed"]))
            self.write("</details>")
        self.write("</section>")


def cost_of(constraint):
    return constraint["weight"] * constraint["violation"]


def explained(constraint):
    """The terms and the bound of a violated constraint, and its cells: those that
    count if the sum is above its bound, or that could count if it is below."""
    if constraint["kind"] == "alldiff":
        groups = [group["labels"] for group in constraint["shared"]]
        return ("; ".join(listed([f"{x} = {a}" for x, a in group]) for group in groups),
                "different values", [x for group in groups for x, _ in group])
    on = [(term["coefficient"], term["labels"]) for term in constraint["terms"]]
    counts = listed([("" if k == 1 else f"{k} ") + " and ".join(f"{x} = {a}" for x, a in labels)
                     for k, labels in on])
    total = int(constraint["sum"])
    counts = f"{total}: {counts}" if on else f"{total}"
    lower = constraint["lower"]
    if lower is None or total >= lower:
        return (counts, f"at most {constraint['upper']}",
                [x for _, labels in on for x, _ in labels])
    could = listed([x if constraint["kind"] == "quadratic" or len(values) > 3
                    else f"{x} = {' or '.join(values)}" for x, values in constraint["scope"]])
    return counts, f"at least {lower} from {could}", [x for x, _ in constraint["scope"]]


def page_of(title, result, changed, grids, rest, view):
    """The text of the page. view is "name", "value" or None for automatic; changed
    holds the changes since another report, or None."""
    page = Page(result, changed, view)
    penalty = result["penalty"]
    page.write('<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8">'
               '<meta name="viewport" content="width=device-width, initial-scale=1">'
               f"<title>{escape(title)}</title>"
               f"<style>{part_of_page('page.css')}{page.colours.style()}</style></head><body>"
               f"<h1>{escape(title)}</h1>")
    for difference in result["differences"]:
        page.write(f'<p class="wrong">The report differs: {escape(difference)}</p>')
    count = len(result["violated"])
    page.write('<p class="summary">hard <b class="number">'
               f"{penalty['hard']}</b> soft <b class=\"number\">{penalty['soft']}</b> "
               f'violated <b class="number">{count}</b></p>')
    groups = [f"{group['name'] or 'others'} "
              + " and ".join(f"{group[k]} {k}" for k in ("hard", "soft") if group[k] != "0")
              for group in result["groups"]]
    if groups:
        page.write(f'<p class="groups">{escape(listed(groups))}</p>')
    if changed:
        page.changes(changed)
    for grid in grids:
        page.grid(grid)
    for names in lists_of(rest, result["domains"]):
        page.list(names)
    page.violations()
    page.write('<aside id="about" hidden aria-live="polite"></aside>'
               f'<script type="application/json" id="names">{json_text(list(result["values"]))}'
               f"</script><script>{part_of_page('page.js')}</script></body></html>")
    return "\n".join(page.parts) + "\n"

#!/usr/bin/env python3
"""Tests the pages of wcsp-show in a browser without a screen:
show_browser_test.py CHROMIUM WCSP SHOW EXAMPLES.

A script added to a page acts like a reader and writes its findings to the title of
the document, which the browser then prints.
"""

import html
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

CHROMIUM, WCSP, SHOW, EXAMPLES = map(os.path.abspath, sys.argv[1:5])

# Points at every violated constraint and presses every button; returns what is
# marked, shown and described.
ACT = """<script>
"use strict";
const found = {hover: {}, focus: {}, views: [], loaded: performance.now()};
const marked = () => [...new Set([...document.querySelectorAll(".marked")].map(
    (cell) => names[cell.dataset.v]))].sort();
for (const head of document.querySelectorAll("th[data-s]")) {
  const row = head.parentElement;
  row.dispatchEvent(new MouseEvent("mouseenter"));
  found.hover[head.textContent] = marked();
  row.dispatchEvent(new MouseEvent("mouseleave"));
  if (marked().length) found.hover[head.textContent] = "stays";
}
const head = document.querySelector("th[data-s]");
if (head) {
  const focus = (element) => element.tabIndex === 0 && element.dispatchEvent(
      new FocusEvent("focusin", {bubbles: true}));
  focus(head);
  found.focus.row = marked().length;
  const cell = [...document.querySelectorAll("td.broken, span.broken")].find(
      (one) => one.offsetParent);
  focus(cell);
  found.focus.cell = document.getElementById("about").textContent;
}
const text = () => [...document.querySelectorAll("section > div")].filter(
    (view) => !view.hidden).map((view) => view.querySelector("tbody").innerText).join("|");
found.views.push(text());
for (const button of document.querySelectorAll("button[aria-pressed=false]")) button.click();
found.views.push(text());
// The rows of lists, with the number of their variable.
found.rows = [...document.querySelectorAll("td[data-v]")].filter((cell) =>
  cell.closest("table").tHead.textContent === "variablevalue").map(
  (cell) => [Number(cell.dataset.v), cell.parentElement.firstChild.textContent]);
found.names = names;
found.wide = document.documentElement.scrollWidth > innerWidth;
found.scripts = document.scripts.length;
document.title = JSON.stringify(found);
</script>"""


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def visit(page, width=1280):
    """What the script met on a page, and the whole time of the browser."""
    path = pathlib.Path("acted.html")
    path.write_text(page + ACT, encoding="utf-8")
    began = time.monotonic()
    done = subprocess.run(
        [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--host-resolver-rules=MAP * ~NOTFOUND", f"--window-size={width},900",
         "--user-data-dir=" + os.path.abspath("profile"), "--dump-dom", path.absolute().as_uri()],
        capture_output=True, text=True, timeout=120)
    title = re.search(r"<title>(.*?)</title>", done.stdout, re.S)
    if not title:
        sys.exit(f"the browser printed nothing\n{done.stderr}")
    return json.loads(html.unescape(title[1])), time.monotonic() - began


def shown(model, report, *arguments):
    return subprocess.run([SHOW, *arguments, model, report], check=True, capture_output=True,
                          text=True, timeout=120).stdout


def expected_marks(result):
    """The variables that each violated constraint marks, from the JSON."""
    marks = {}
    for c in result["violated"]:
        if c["kind"] == "alldiff":
            names = {x for group in c["shared"] for x, _ in group["labels"]}
        elif c["lower"] is not None and int(c["sum"]) < c["lower"]:
            names = {x for x, _ in c["scope"]}
        else:
            names = {x for term in c["terms"] for x, _ in term["labels"]}
        marks[c["name"]] = sorted(names)
    return marks


# By example: how the first view begins, and the one behind the button.
VIEWS = {
    "nurse-roster": ("Agnes\t", "off\t"),
    "course-timetable": ("Mon1\t", "Algebra\t"),
    "exam-timetable": ("Mon\t", "Accounting\t"),
    "sports-schedule": ("r1\t", "Falcons\t"),
    "sudoku": ("row1\t1\t4\t2", "1\trow1"),
    "warehouse-location": ("Northgate\t", "closed\t"),
    "project-staffing": ("billing\t5\t", "Amir\t"),
    "wedding-seating": ("t1\t8\t", "Anna\t"),
}


def check_examples():
    for name, (first, second) in VIEWS.items():
        model = f"{EXAMPLES}/{name}.model"
        with open("report", "wb") as report:
            subprocess.run([WCSP, "-inputfile", model, "-iteration", "3000"], stdout=report,
                           stdin=subprocess.DEVNULL, check=False, timeout=120)
        page = shown(model, "report")
        for width in (1280, 500):
            found, _ = visit(page, width)
            expect(f"{name}: the page scrolls as a whole at {width}", found["wide"], False)
        result = json.loads(shown(model, "report", "--json"))
        expect(f"{name}: marks", found["hover"], expected_marks(result))
        expect(f"{name}: first view", found["views"][0][:len(first)], first)
        expect(f"{name}: other view", found["views"][1][:len(second)], second)
        if result["violated"]:
            expect(f"{name}: focus", (found["focus"]["row"] > 0,
                                      "violated: " in found["focus"]["cell"]), (True, True))


def check_names():
    """What looks like HTML, as a title and the name of a constraint may."""
    pathlib.Path("m").write_text("variable a_1 in {b, c}\nvariable a_2 in {b, c}\n"
                                 "<: weight = 1 type = alldiff a_1 a_2 ;\n")
    pathlib.Path("r").write_text("[best solution]\na_1: b\na_2: b\n\n"
                                 "penalty: 0/1 (hard/soft)\n\n[Violated constraints]\n<: 1\n")
    for title in ("</title></pre><script>alert(1)</script>", "\"'&lt;<b>"):
        found, _ = visit(shown("m", "r", "--title", title))
        expect("names", (found["hover"], found["scripts"]), ({"<": ["a_1", "a_2"]}, 3))


# Names that a user's data may bring, the first of them empty.
HOSTILE = ["", "a\nb", "</script><script>alert(1)</script>", "<!--", "\"'&lt;", "\x1b[31m\x07",
           "\0", "c\r\nd", "\u2028", "\u202eabc", "x" * 300, " ", "-", "\\u003c"]


def in_html(text):
    """What the text of an element is: line ends are one, zero bytes none."""
    return text.replace("\r\n", "\n").replace("\r", "\n").replace("\0", "")


def check_hostile_names():
    """A grid, a list, values by row and column, and constraints of such names."""
    grid, single = [f"g{i}_{k}" for i in range(len(HOSTILE)) for k in range(2)], [
        f"s{i}" for i in range(len(HOSTILE))]
    words = single + grid
    domain = [f"v{i}" for i in range(len(HOSTILE))]
    lines = [f"variable {word} in {{{', '.join(domain)}}}" for word in words]
    lines += [f"c{i}: weight = {i + 1} type = linear 1(s{i},v{i}) 1(g{i}_0,v0) 0(g{i}_1,v0) <= 1"
              for i in range(len(HOSTILE))]
    values = {f"s{i}": f"v{i}" for i in range(len(HOSTILE))} | {word: "v0" for word in grid}
    soft = sum(range(1, len(HOSTILE) + 1))
    pathlib.Path("m").write_text("\n".join(lines) + "\n", encoding="utf-8")
    for name, text in ("r", values), ("old", values | {"s1": "v0"}):
        pathlib.Path(name).write_text(
            "\n".join(["[best solution]", *(f"{x}: {a}" for x, a in text.items()), "",
                       f"penalty: 0/{soft} (hard/soft)", "", "[Violated constraints]",
                       *(f"c{i}: 1" for i in range(len(HOSTILE)))]) + "\n", encoding="utf-8")
    shown_names = {f"s{i}": name for i, name in enumerate(HOSTILE)} | {
        f"g{i}_{k}": [name, f"day {k}\n"] for i, name in enumerate(HOSTILE) for k in range(2)}
    pathlib.Path("names").write_text(json.dumps({
        "variables": {word: [name, 0] for word, name in shown_names.items()},
        "domains": [HOSTILE],
        "constraints": {f"c{i}": f"{name}{i}" for i, name in enumerate(HOSTILE)}}))
    every = [name if isinstance(name, str) else " ".join(name) for name in shown_names.values()]
    for arguments in ([], ["--compare", "old", "--wrong"], ["--by-value", "--transpose"]):
        page = shown("m", "r", "--names", "names", "--title", HOSTILE[2], *arguments)
        found, _ = visit(page)
        expect((arguments, "names"), found["names"], every)
        expect((arguments, "scripts"), found["scripts"], 3)
        expect((arguments, "marks"), found["hover"], {
            in_html(f"{name}{i}"): sorted([every[i], " ".join([name, "day 0\n"])])
            for i, name in enumerate(HOSTILE)})
        expect((arguments, "rows of lists"), found["rows"], [
            [i, in_html(name)] for i, name in enumerate(HOSTILE)])


def check_size():
    """A month of 400 people: the page below 3 MB, and there within a second."""
    people, days = [f"P{i}" for i in range(400)], [f"w{w}{d}" for w in (1, 2, 3, 4) for d in (
        "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")]
    shifts = ("off", "early", "late", "night")
    values = {f"{p}_{d}": shifts[(7 * i + i // 3 + k) % 4]
              for i, p in enumerate(people) for k, d in enumerate(days)}
    lines = [f"variable {name} in {{{', '.join(shifts)}}}" for name in values]
    violated = []
    for d in days:
        for shift in shifts[1:]:
            lines.append(f"cover_{d}_{shift}: weight = 3 type = linear "
                         + " ".join(f"1({p}_{d},{shift})" for p in people) + " >= 200")
            count = sum(values[f"{p}_{d}"] == shift for p in people)
            violated.append((f"cover_{d}_{shift}", max(200 - count, 0)))
    report = ["[best solution]", *(f"{x}: {a}" for x, a in values.items()), "",
              f"penalty: 0/{3 * sum(k for _, k in violated)} (hard/soft)", "",
              "[Violated constraints]", *(f"{c}: {k}" for c, k in violated if k)]
    pathlib.Path("m").write_text("\n".join(lines) + "\n", encoding="utf-8")
    pathlib.Path("r").write_text("\n".join(report) + "\n", encoding="utf-8")
    page = shown("m", "r")
    found, whole = visit(page)
    print(f"400 by 28: {len(page.encode()) / 1e6:.2f} MB, there after "
          f"{found['loaded'] / 1000:.2f} s of {whole:.1f} s of the browser")
    expect("size", (len(page.encode()) < 3e6, len(found["hover"])),
           (True, sum(k > 0 for _, k in violated)))


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    check_examples()
    check_names()
    check_hostile_names()
    check_size()

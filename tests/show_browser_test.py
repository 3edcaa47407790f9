#!/usr/bin/env python3
"""Tests the pages of wcsp-show in a browser without a screen:
show_browser_test.py SHOW CHECKER CHROMIUM WCSP EXAMPLES.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

from browser import Browser
from show_test import REPORT, ROSTER, expect, report_of, show

CHROMIUM, WCSP, EXAMPLES = map(os.path.abspath, sys.argv[3:6])

# Acts on a page as its reader would: points at every row of a violated
# constraint, then presses every button; returns what is marked and shown.
ACT = """(() => {
const seen = {hover: {}, focus: {}, views: []};
const names = JSON.parse(document.getElementById("data").textContent).result.assignment.map(
    ([name]) => name);
const marked = () => [...new Set([...document.querySelectorAll(".marked")].map(
    (cell) => names[cell.dataset.v]))].sort();
for (const head of document.querySelectorAll("th[data-s]")) {
  const row = head.parentElement;
  row.dispatchEvent(new MouseEvent("mouseenter"));
  seen.hover[head.textContent] = marked();
  row.dispatchEvent(new MouseEvent("mouseleave"));
  if (marked().length) seen.hover[head.textContent] = "stays";
}
const head = document.querySelector("th[data-s]");
if (head) {
  const focus = (element) => element.tabIndex === 0 && element.dispatchEvent(
      new FocusEvent("focusin", {bubbles: true}));
  focus(head);
  seen.focus.row = marked().length;
  const cell = [...document.querySelectorAll(".broken")].find((one) => one.offsetParent);
  focus(cell);
  seen.focus.cell = document.getElementById("about").textContent;
}
const text = () => [...document.querySelectorAll("section > div")].filter(
    (view) => !view.hidden).map((view) => view.querySelector("tbody").innerText).join("|");
seen.views.push(text());
for (const button of document.querySelectorAll("button[aria-pressed=false]")) button.click();
seen.views.push(text());
// The rows of lists, with the number of their variable.
seen.rows = [...document.querySelectorAll("td[data-v]")].filter((cell) =>
  cell.closest("table").tHead.textContent === "variablevalue").map(
  (cell) => [Number(cell.dataset.v), cell.parentElement.firstChild.textContent]);
seen.names = names;
seen.wide = document.documentElement.scrollWidth;
seen.scripts = document.scripts.length;
return seen;
})()"""


def open_page(browser, page):
    path = pathlib.Path("page.html")
    path.write_text(page, encoding="utf-8")
    browser.open(path.absolute().as_uri())


def visit(browser, page):
    open_page(browser, page)
    return browser.evaluate(ACT)


def shown(model, report, *arguments):
    """The page of a model and a report, which are texts."""
    status, page, message = show(model, report, *arguments)
    expect("shown", (status, message), (0, ""))
    return page


def check_page(browser):
    html = "document.getElementById('page').innerHTML"
    open_page(browser, shown(ROSTER, REPORT))
    expect("cells, hard first", browser.evaluate(
        "[...document.querySelectorAll('[data-s]')].map((e) => [e.dataset.s, e.textContent])"),
        [["1", "fair"], ["0 2", "night"]])
    for part in ("<0<at least 1 from Ann_w1Mon = late, Bob_w1Mon = late<",
                 "<2: 2 Ann_w1Tue = early<at most 1<"):
        expect(part, part in re.sub("</td><td[^>]*>", "<", browser.evaluate(html)), True)
    for option, hidden in (("--by-value", [True, False]), ("--by-name", [False, True])):
        open_page(browser, shown(ROSTER, REPORT, option))
        expect(option, browser.evaluate(
            "[...document.querySelectorAll('[id^=view1]')].map((e) => e.hidden)"), hidden)
    many = "".join(f"variable x_{i} in {{v{i}_1, v{i}_2}}\n" for i in range(30))
    open_page(browser, shown(many + "c: weight = 1 type = linear 1(x_1,v1_2) <= 1\n",
                             report_of({f"x_{i}": f"v{i}_1" for i in range(30)})))
    expect("no colours for 60 values of 30 families", "background" in browser.evaluate(html), False)
    pathlib.Path("old.report").write_text(
        REPORT.replace("Ann_w1Mon: early", "Ann_w1Mon: late").replace("1/3", "1/0")
        .replace("night: 1\n", ""), "utf-8")
    open_page(browser, shown(ROSTER, REPORT, "--compare", "old.report"))
    for part in ("<li>before: hard 1, soft 0</li>", "<li>1 of 4 variables have changed</li>",
                 "<li>violated anew: night</li>", "<li>violated no longer: none</li>",
                 'data-was="late" tabindex="0"><s>late</s> early</td>'):
        expect(part, part in browser.evaluate(html), True)
    open_page(browser, shown(ROSTER, REPORT.replace("1/3", "1/2"), "--wrong"))
    expect("wrong", browser.evaluate("document.querySelectorAll('.wrong').length"), 1)


def check_dates(browser):
    """Days in order, by month and weekend; one heading stands for many cells."""
    days = [f"2026-{day}" for day in ("12-01", "11-30", "11-29", "11-28", "11-27")]
    people = ["Ann_Lee", "Bob_May", "Cy_Orr", "Di_Poe"]
    names = [f"{p}_{d.replace('-', '_')}" for p in people for d in days]
    lines = [f"variable {name} in {{off, day}}" for name in names]
    lines += [f"few_{p}: weight = 1 type = linear " + " ".join(
        f"1({name},day)" for name in names if name.startswith(p)) + " >= 4" for p in people[:2]]
    lines += ["many: weight = 1 type = linear " + " ".join(
        f"-1({name},off)" for name in names if name.endswith("11_28")) + " <= -5",
              "over: weight = 1 type = linear " + " ".join(
                  f"1({name},off)" for name in names if name.startswith("Cy")) + " <= 3",
              "clash: weight = 1 type = linear " + " ".join(
                  f"1({name},off)" for name in names[-2:]) + " <= 1"]
    report = report_of({name: "off" for name in names}, soft=12)
    open_page(browser, shown("\n".join(lines) + "\n", report +
                             "few_Ann_Lee: 4\nfew_Bob_May: 4\nmany: 1\nover: 2\nclash: 1\n"))
    seen = browser.evaluate("""(() => {
      const text = (selector) => [...document.querySelectorAll("#view1n " + selector)].map(
          (element) => element.innerText.replace(/\\s+/g, " "));
      return {title: document.title, months: text("thead tr:first-child th[colspan]"),
        days: text("thead tr:last-child th"), weekend: text("td.weekend").length,
        month: text("td.month").length, broken: text(".broken")};
    })()""")
    expect("dates", seen, {
        "title": "m, 27 Nov 2026 to 1 Dec 2026", "months": ["November 2026", "December 2026"],
        "days": ["Fri 27", "Sat 28", "Sun 29", "Mon 30", "Tue 1"], "weekend": 8, "month": 4,
        "broken": ["Sat 28", "Ann_Lee", "Bob_May", "Cy_Orr", "off", "off"]})
    open_page(browser, shown(
        "\n".join(lines) + "\n", report +
        "few_Ann_Lee: 4\nfew_Bob_May: 4\nmany: 1\nover: 2\nclash: 1\n",
        "--columns", "2026_11_27,2026_12_01,2026_11_28"))
    expect("months in the order of --columns", browser.evaluate(
        "[...document.querySelectorAll('#view1n th[colspan]')].map((e) => e.innerText)"),
        ["November 2026", "December 2026", "November 2026"])


def check_assignment_problem(browser):
    """Variables with values of their own: one table, with the places that are left."""
    students = [f"s{i}" for i in range(40)]
    own = {s: [f"p{(7 * i + k * k) % 9}" for k in range(3)] for i, s in enumerate(students)}
    own = {s: list(dict.fromkeys(values)) for s, values in own.items()}
    lines = [f"variable {s} in {{{', '.join(values)}}}" for s, values in own.items()]
    lines += [f"places_{p}: weight = inf type = linear " + " ".join(
        f"1({s},p{p})" for s, values in own.items() if f"p{p}" in values) + " <= 9"
              for p in range(8)]
    lines += [f"least: weight = 1 type = linear 1({students[0]},{own['s0'][1]}) >= 1"]
    values = {s: values[0] for s, values in own.items()}
    page = shown("\n".join(lines) + "\n", report_of(values, soft=1) + "least: 1\n")
    open_page(browser, page)
    seen = browser.evaluate("""({tables: document.querySelectorAll("section table").length,
      rows: [...document.querySelectorAll("#view1v tr")].map((row) => [...row.cells].slice(
          0, 3).map((cell) => cell.innerText))})""")
    taken = {f"p{p}": list(values.values()).count(f"p{p}") for p in range(9)}
    expect("one table for each view, and the constraints", seen["tables"], 3)
    expect("places", seen["rows"], [["value", "number", "free"], *(
        [p, str(number), str(9 - number) if p != "p8" else ""] for p, number in taken.items())])


def check_other_model(browser):
    """The changes since a report of a model with other variables."""
    pathlib.Path("old.report").write_text(report_of(
        {"Ann_w1Mon": "late", "Cy_w1Mon": "early", "boss": "yes"}, soft=4) + "gone_rule: 4\n")
    open_page(browser, shown(ROSTER, REPORT, "--compare", "old.report"))
    text = browser.evaluate("document.getElementById('page').textContent")
    for part in ("before: hard 0, soft 4", "1 of 4 variables have changed",
                 "2 are new: Ann_w1Tue, Bob_w1Mon", "1 is gone: Cy_w1Mon",
                 "violated anew: fair, night", "violated no longer: gone_rule"):
        expect(part, part in text, True)


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


def check_examples(browser, width):
    for name, (first, second) in VIEWS.items():
        model = pathlib.Path(EXAMPLES, f"{name}.model").read_text("utf-8")
        report = subprocess.run(
            [WCSP, "-inputfile", f"{EXAMPLES}/{name}.model", "-iteration", "3000"], text=True,
            stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, check=False, timeout=120).stdout
        seen = visit(browser, shown(model, report))
        expect(f"{name}: the page does not scroll sideways at {width}", seen["wide"] <= width, True)
        result = json.loads(shown(model, report, "--json"))
        expect(f"{name}: marks", seen["hover"], expected_marks(result))
        expect(f"{name}: first view", seen["views"][0][:len(first)], first)
        expect(f"{name}: other view", seen["views"][1][:len(second)], second)
        if result["violated"]:
            expect(f"{name}: focus", (seen["focus"]["row"] > 0,
                                      "violated: " in seen["focus"]["cell"]), (True, True))


# Names that a user's data may bring, the first of them empty.
HOSTILE = ["", "a\nb", "</script><script>alert(1)</script>", "<!--", "\"'&lt;", "\x1b[31m\x07",
           "\0", "c\r\nd", "\u2028", "\u202eabc", "x" * 300, " ", "-", "\\u003c"]


def in_html(text):
    """What the text of an element is: line ends are one, zero bytes none."""
    return text.replace("\r\n", "\n").replace("\r", "\n").replace("\0", "")


def check_hostile_names(browser):
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
    violated = "".join(f"c{i}: 1\n" for i in range(len(HOSTILE)))
    report = report_of(values, soft=soft) + violated
    pathlib.Path("old").write_text(report_of(values | {
        "s1": "v0", "<b>gone</b>": "<script>alert(2)</script>"}, soft=soft) + violated, "utf-8")
    shown_names = {f"s{i}": name for i, name in enumerate(HOSTILE)} | {
        f"g{i}_{k}": [name, f"day {k}\n"] for i, name in enumerate(HOSTILE) for k in range(2)}
    # The values of the second file make a grid.
    for file, domain in (("names", HOSTILE), ("parts", [
            [name, f"h{i % 2}"] for i, name in enumerate(HOSTILE)])):
        pathlib.Path(file).write_text(json.dumps({
            "variables": {word: [name, 0] for word, name in shown_names.items()},
            "domains": [domain],
            "constraints": {f"c{i}": f"{name}{i}" for i, name in enumerate(HOSTILE)}}))
    every = [name if isinstance(name, str) else " ".join(name) for name in shown_names.values()]
    for arguments in (["--names", "names"], ["--names", "names", "--compare", "old"],
                      ["--names", "names", "--by-value", "--transpose"], ["--names", "parts"]):
        seen = visit(browser, shown("\n".join(lines) + "\n", report, "--title", HOSTILE[2],
                                    *arguments))
        expect((arguments, "names"), seen["names"], every)
        expect((arguments, "scripts"), seen["scripts"], 2)
        expect((arguments, "marks"), seen["hover"], {
            in_html(f"{name}{i}"): sorted([every[i], " ".join([name, "day 0\n"])])
            for i, name in enumerate(HOSTILE)})
        expect((arguments, "rows of lists"), seen["rows"], [
            [i, in_html(name)] for i, name in enumerate(HOSTILE)])


def check_size(browser):
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
    report = report_of(values, soft=3 * sum(k for _, k in violated))
    page = shown("\n".join(lines) + "\n", report + "".join(f"{c}: {k}\n" for c, k in violated if k))
    began = time.monotonic()
    open_page(browser, page)
    print(f"400 by 28: {len(page.encode()) / 1e6:.2f} MB, there after "
          f"{time.monotonic() - began:.2f} s")
    expect("size", (len(page.encode()) < 3e6, len(browser.evaluate(ACT)["hover"])),
           (True, sum(k > 0 for _, k in violated)))


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for window in 1280, 500:
        with Browser(CHROMIUM, window) as window_browser:
            check_examples(window_browser, window)
    with Browser(CHROMIUM) as chromium:
        check_page(chromium)
        check_dates(chromium)
        check_assignment_problem(chromium)
        check_other_model(chromium)
        check_hostile_names(chromium)
        check_size(chromium)

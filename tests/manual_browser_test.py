#!/usr/bin/env python3
"""Tests the chapters of the manual in a browser without a screen, by keys and
clicks: manual_browser_test.py CHROMIUM FOLDER, which holds the chapters.
"""

import pathlib
import sys

from browser import SHIFT, Browser

CHROMIUM, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
IS_OPEN = "!document.getElementById('found').hidden"
FOCUS = ("[document.getElementById('search'), ...document.querySelectorAll('#found a')]"
         ".indexOf(document.activeElement)")


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def chapter(name):
    return (FOLDER / f"{name}.html").as_uri()


def check_search(browser):
    browser.open(chapter("start"))
    for words in "warm start", "excel", "jupyter", "infeasible", "progress":
        browser.evaluate("document.activeElement.blur(); document.getElementById('search').value = ''")
        browser.press("/")
        browser.type(words)
        expect(f"search for {words}", browser.evaluate("!!document.querySelector('#found a')"), True)
    browser.type("x" * 30)
    expect("no result", browser.evaluate("document.getElementById('found').textContent"),
           "Nothing found")
    browser.evaluate("document.getElementById('search').value = ''")
    browser.type("weight")
    last = browser.evaluate("document.querySelectorAll('#found a').length")
    for key, modifiers, focus in (
            ("ArrowDown", 0, 1), ("ArrowDown", 0, 2), ("ArrowUp", 0, 1), ("Tab", 0, 2),
            ("Tab", SHIFT, 1), ("Tab", SHIFT, 0), ("Tab", SHIFT, last), ("Tab", 0, 0)):
        browser.press(key, modifiers)
        expect(f"focus after {key}", browser.evaluate(FOCUS), focus)
    browser.press("ArrowDown")
    browser.press("Escape")
    expect("Escape", browser.evaluate(f"[{IS_OPEN}, {FOCUS}]"), [False, 0])
    browser.press("ArrowDown")
    expect("the arrow opens", browser.evaluate(IS_OPEN), True)
    browser.click("header")
    expect("a click outside closes", browser.evaluate(IS_OPEN), False)
    browser.press("/")
    browser.press("ArrowDown")
    link = browser.evaluate("document.activeElement.href")
    browser.press("Enter")
    browser.wait(f"location.href === {link!r}")


def check_copy(browser):
    """Without a clipboard, and then without the old command as well."""
    browser.open(chapter("cookbook"))
    browser.evaluate("delete Navigator.prototype.clipboard; document.execCommand = () => "
                     "document.copied = getSelection().toString() || document.activeElement.value")
    copy = ".listingblock:has(.command) .copy"
    label = f"document.querySelector({copy!r}).textContent"
    browser.click(copy)
    browser.wait(f"{label} === 'Copied'")
    expect("copied", browser.evaluate("document.copied"),
           "wcsp -inputfile choices.model | sed -n '/^.best/,$p'")
    browser.evaluate("document.execCommand = () => false")
    browser.click(copy)
    browser.wait(f"{label} === 'Copy the selection'")
    expect("selected", browser.evaluate(
        "(({value, selectionStart, selectionEnd}) => value.slice(selectionStart, selectionEnd))"
        "(document.activeElement)"), "wcsp -inputfile choices.model | sed -n '/^.best/,$p'")


def check_layout(browser, width):
    """No button lies over text, and no page scrolls sideways."""
    for path in sorted(FOLDER.glob("*.html")):
        browser.open(path.as_uri())
        covered = browser.evaluate("""[...document.querySelectorAll(".copy")].filter((copy) => {
          const [a, b] = [copy, copy.parentElement.querySelector("pre")].map(
            (element) => element.getBoundingClientRect());
          return a.width === 0 || a.left < b.right && b.left < a.right &&
            a.top < b.bottom && b.top < a.bottom;
        }).length""")
        wide = browser.evaluate("document.documentElement.scrollWidth > innerWidth")
        expect(f"{path.name} at {width}", (covered, wide), (0, False))


def check_side_bar(browser):
    """The section of a link is marked, where it can't reach the top as well."""
    here = "[...document.querySelectorAll('nav .here')].map((a) => a.hash).join()"
    for name in "python", "limits":
        browser.open(chapter(name))
        links = browser.evaluate(
            "[...document.querySelectorAll('nav ul ul a')].map((a) => a.hash)")
        for link in [*links, *reversed(links)]:
            browser.click(f'nav a[href="{link}"]')
            browser.wait(f"{here} === {link!r}")
        browser.press("ArrowDown")
        browser.evaluate("scrollTo(0, 0)")
        browser.wait(f"{here} !== {links[0]!r} || scrollY === 0")
        browser.evaluate("scrollTo(0, document.documentElement.scrollHeight)")
        browser.wait(f"{here} === {links[-1]!r}")


def check_theme(browser):
    """The pages in a chapter have its theme, before and after a change."""
    paper = ("getComputedStyle(document.querySelector('iframe').contentDocument.body)"
             ".backgroundColor")
    browser.open(chapter("show"))
    expect("light", browser.evaluate(paper), "rgb(255, 255, 255)")
    browser.click("#theme")
    browser.wait(f"{paper} === 'rgb(22, 24, 28)'")
    browser.open(chapter("show"))
    browser.wait(f"{paper} === 'rgb(22, 24, 28)'")


def main():
    with Browser(CHROMIUM) as browser:
        check_search(browser)
        check_copy(browser)
        check_side_bar(browser)
        check_layout(browser, 1280)
        if (FOLDER / "nurse-roster.html").exists():
            check_theme(browser)
    with Browser(CHROMIUM, width=390) as browser:
        check_layout(browser, 390)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Tests the manual's HTML: every link leads somewhere, every tag is closed, and
nothing is loaded from the network.

Usage: manual_test.py FOLDER, which holds manual.html and the chapters in
manual/.
"""

import html.parser
import json
import pathlib
import re
import sys

FOLDER = pathlib.Path(sys.argv[1]).resolve()
VOID = {"meta", "link", "input", "br", "hr", "img", "col", "path", "rect"}


OUTSIDE = re.compile(r"(?:https?:)?//")


def imported(css):
    """What a style sheet loads, outside its comments."""
    text = re.sub(r"/\*.*?\*/", "", css, flags=re.S)
    return ["the style loads %s" % link
            for link in re.findall(r"(?:@import|url\()\s*[\"']?([^\"';)]+)", text)
            if not link.startswith("data:")]


class Page(html.parser.HTMLParser):
    """The identifiers, the links and the errors of a page."""

    def __init__(self, path):
        super().__init__()
        self.ids, self.links, self.errors, self.open = set(), [], [], []
        self.styles = []
        self.feed(path.read_text("utf-8"))
        self.errors += ["<%s> is not closed" % tag for tag in self.open]
        self.errors += imported("".join(self.styles))

    def handle_starttag(self, tag, attrs):
        attributes = dict(attrs)
        if attributes.get("id") in self.ids:
            self.errors.append("id %s is used twice" % attributes["id"])
        self.ids |= {attributes["id"]} if "id" in attributes else set()
        links = [attributes[key] for key in ("href", "src") if attributes.get(key)]
        self.links += links
        if tag != "a":
            self.errors += ["<%s> loads %s" % (tag, link) for link in links
                            if OUTSIDE.match(link)]
        if tag not in VOID:
            self.open.append(tag)

    def handle_data(self, data):
        if self.open and self.open[-1] == "style":
            self.styles.append(data)

    def handle_endtag(self, tag):
        if tag in VOID:
            return
        if not self.open or self.open.pop() != tag:
            self.errors.append("</%s> is unmatched" % tag)


def main():
    paths = [FOLDER / "manual.html", *sorted((FOLDER / "manual").glob("*.html"))]
    pages = {path: Page(path) for path in paths}
    errors = ["%s: %s" % (path.name, error) for path, page in pages.items()
              for error in page.errors]
    links = [(path, link) for path, page in pages.items() for link in page.links]
    index = (FOLDER / "manual/search.js").read_text("utf-8")
    links += [(FOLDER / "manual/index.html", entry["u"])
              for entry in json.loads(index[index.index("["):index.rindex(";")])]
    for path, link in links:
        name, _, anchor = link.partition("#")
        target = (path.parent / name).resolve() if name else path
        if not link.startswith("https://") and (
                not target.is_file() or
                (anchor and anchor not in pages.get(target, pages[paths[0]]).ids)):
            errors.append("%s: %s leads nowhere" % (path.name, link))
    errors += imported((FOLDER / "manual/manual.css").read_text("utf-8"))
    reached = {link for _, link in links}
    errors += ["%s: no link leads here" % path.name for path in paths[1:]
               if path.name not in reached]
    print("\n".join(errors + ["%d pages, %d links, %d errors" % (
        len(pages), len(links), len(errors))]))
    sys.exit(1 if errors or len(pages) < 3 else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Tests the manual's HTML: every link leads somewhere, and every tag is closed.

Usage: manual_test.py FOLDER, which holds manual.html and the chapters in
manual/.
"""

import html.parser
import json
import pathlib
import sys

FOLDER = pathlib.Path(sys.argv[1]).resolve()
VOID = {"meta", "link", "input", "br", "hr", "img", "col", "path", "rect"}


class Page(html.parser.HTMLParser):
    """The identifiers, the links and the faults of a page."""

    def __init__(self, path):
        super().__init__()
        self.ids, self.links, self.faults, self.open = set(), [], [], []
        self.feed(path.read_text("utf-8"))
        self.faults += ["<%s> is not closed" % tag for tag in self.open]

    def handle_starttag(self, tag, attrs):
        found = dict(attrs)
        if found.get("id") in self.ids:
            self.faults.append("id %s is used twice" % found["id"])
        self.ids |= {found["id"]} if "id" in found else set()
        self.links += [found[key] for key in ("href", "src") if found.get(key)]
        if tag not in VOID:
            self.open.append(tag)

    def handle_endtag(self, tag):
        if tag in VOID:
            return
        if not self.open or self.open.pop() != tag:
            self.faults.append("</%s> closes nothing" % tag)


def main():
    paths = [FOLDER / "manual.html", *sorted((FOLDER / "manual").glob("*.html"))]
    pages = {path: Page(path) for path in paths}
    faults = ["%s: %s" % (path.name, fault) for path, page in pages.items()
              for fault in page.faults]
    links = [(path, link) for path, page in pages.items() for link in page.links]
    index = (FOLDER / "manual/search.js").read_text("utf-8")
    links += [(FOLDER / "manual/index.html", entry["u"])
              for entry in json.loads(index[index.index("["):index.rindex(";")])]
    for path, link in links:
        name, _, found = link.partition("#")
        target = (path.parent / name).resolve() if name else path
        if not link.startswith("https://") and (
                not target.is_file() or
                (found and found not in pages.get(target, pages[paths[0]]).ids)):
            faults.append("%s: %s leads nowhere" % (path.name, link))
    reached = {link for _, link in links}
    faults += ["%s: no link leads here" % path.name for path in paths[1:]
               if path.name not in reached]
    print("\n".join(faults + ["%d pages, %d links, %d faults" % (
        len(pages), len(links), len(faults))]))
    sys.exit(1 if faults or len(pages) < 3 else 0)


if __name__ == "__main__":
    main()

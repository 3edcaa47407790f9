#!/usr/bin/env python3
"""A notebook that runs for real: the page of a result, the picture of the searches and
the line of progress are in it.

Usage: notebook_test.py BUILD [HTML], where BUILD has the programs; the notebook is kept
as HTML if it is named.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[1]
CELLS = ["""\
from wcsp import Model, total
m = Model("A week of two")
days = ["Mon", "Tue", "Wed"]
x = {(n, d): m.variable((n, d), ["off", "early", "late"]) for n in ("Zoë", "Bo") for d in days}
for d in days:
    m.add(total(x[n, d] == "early" for n in ("Zoë", "Bo")) == 1, name=("early", d))
m.add(total(v != "off" for v in x.values()) <= 2, weight=2, name="little work")
r = m.solve(time=3, seeds=2, jobs=2)""", 
         "r", "r.plot()", "print('quiet')\nq = m.solve(time=2, seeds=1, progress=False)"]


def outputs(cell):
    """The data that a cell shows, by type; the last of a type counts."""
    data = {}
    for output in cell["outputs"]:
        data |= {kind: "".join(text) for kind, text in output.get("data", {}).items()}
        if output["output_type"] in ("stream", "error"):
            data[output["output_type"]] = json.dumps(output)
    return data


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        notebook = {"nbformat": 4, "nbformat_minor": 5, "metadata": {"kernelspec": {
            "name": "python3", "display_name": "Python 3", "language": "python"}}, "cells": [
                {"cell_type": "code", "id": f"c{i}", "metadata": {}, "outputs": [],
                 "execution_count": None, "source": source} for i, source in enumerate(CELLS)]}
        (folder / "plan.ipynb").write_text(json.dumps(notebook))
        environment = os.environ | {
            "PYTHONPATH": str(SOURCE / "python"), "WCSP": str(build / "wcsp"), "HOME": name,
            "JUPYTER_ALLOW_INSECURE_WRITES": "1", "PATH": f"/usr/bin:{os.environ['PATH']}"}
        for arguments in (["--execute", "--to", "notebook", "--output", "run.ipynb", "plan.ipynb"],
                          ["--to", "html", "run.ipynb"]):
            done = subprocess.run(
                ["/usr/bin/jupyter-nbconvert", *arguments],
                cwd=folder, env=environment, capture_output=True, text=True, check=False,
                timeout=300)
            if done.returncode != 0:
                sys.exit(done.stderr)
        solve, page, picture, quiet = map(
            outputs, json.loads((folder / "run.ipynb").read_text("utf-8"))["cells"])
        html = (folder / "run.html").read_text("utf-8")
        if len(sys.argv) > 2:
            pathlib.Path(sys.argv[2]).write_text(html, "utf-8")
    checks = {
        "one line of progress": list(solve) == ["text/plain"]
        and "best 0/2 (hard/soft), improved" in solve["text/plain"],
        "the page": page.get("text/html", "").startswith("<iframe srcdoc=")
        and "Zoë Mon" in page["text/html"],
        "the picture": picture.get("image/svg+xml", "").startswith("<svg"),
        "no progress": set(quiet) == {"stream"} and "running" not in quiet["stream"],
        "both in HTML": "srcdoc" in html and 'src="data:image/svg+xml;base64,' in html}
    failed = [what for what, is_right in checks.items() if not is_right]
    print("\n".join(failed) or f"{len(checks)} checks")
    if failed:
        print({k: v[:300] for k, v in solve.items()}, picture.keys(), quiet)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()

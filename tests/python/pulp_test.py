"""The manual's programs for users of PuLP: both columns print the same plan."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest

MANUAL = pathlib.Path(__file__).resolve().parents[2] / "docs" / "manual" / "python.adoc"


@pytest.mark.skipif(shutil.which("cbc") is None, reason="cbc is not installed")
def test_both_columns_print_the_same_plan(tmp_path):
    pytest.importorskip("pulp")
    section = MANUAL.read_text("utf-8").split("\n== Coming from PuLP\n")[1].split("\n== ")[0]
    # In a table, a bar in code is escaped.
    data, *cells = re.findall(r"^\[source,python(?:,data)?\]\n----\n(.*?)^----$",
                              section.replace("\\|", "|"),
                              re.M | re.S)
    assert len(cells) > 12 and len(cells) % 2 == 0
    outputs = []
    for column in cells[::2], cells[1::2]:
        done = subprocess.run([sys.executable, "-c", data + "".join(column)], capture_output=True,
                              text=True, check=True, cwd=tmp_path,
                              env=os.environ | {"PYTHONWARNINGS": "ignore"})
        outputs.append([line for line in done.stdout.splitlines() if line])
    assert outputs[0] == outputs[1] and len(outputs[0]) == 5

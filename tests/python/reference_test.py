"""The reference in the manual is what the docstrings say."""

import pathlib
import re
import subprocess
import sys

import wcsp

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"


def test_the_reference_is_that_of_the_docstrings():
    done = subprocess.run([sys.executable, DOCS / "reference"], capture_output=True, check=True)
    text = done.stdout.decode()
    assert text == (DOCS / "manual" / "reference.adoc").read_text("utf-8"), (
        "docs/reference > docs/manual/reference.adoc")
    assert set(re.findall(r"^=== (.*)$", text, re.M)) == set(wcsp.__all__)
    # Each signature is followed by a description.
    assert not re.findall(r"^\[source,python\]\n----\n(\w[^\n]*)\n(?: +[^\n]*\n)*----\n\n"
                          r"(?=\[source,python\]|=|\Z)", text, re.M)

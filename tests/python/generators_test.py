"""The generators of examples, models of this package, against the examples."""

import pathlib
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GENERATORS = sorted(
    path for path in (ROOT / "examples" / "generators").glob("*.py")
    if (ROOT / "examples" / f"{path.stem.replace('_', '-')}.model").exists())


@pytest.mark.parametrize("generator", GENERATORS, ids=lambda path: path.stem)
def test_the_example_is_what_its_generator_writes(generator):
    example = ROOT / "examples" / f"{generator.stem.replace('_', '-')}.model"
    done = subprocess.run([sys.executable, generator], capture_output=True, text=True, check=True)
    assert done.stderr == ""
    # Where a line is broken means nothing.
    assert done.stdout.split() == example.read_text("utf-8").split()


def test_all_generators_are_there():
    assert len(GENERATORS) == 13

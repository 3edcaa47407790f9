"""What is kept of a log."""

from __future__ import annotations

import gzip
from pathlib import Path

import pytest

from wcsp._shared.log import read_log, read_points

PENALTY = "penalty = 0/5 (hard/soft), time = 0.00(s), iteration = 0\n"
KINDS = {
    "current": "{0}, {0}.50(s), 0/9, 0/5\n",
    "runs": "{0}, {0}.50(s), #phases= 0, #runs= 1, length= 3.00, best/ub= 1/2\n",
    "phases": "{0}, {0}.50(s), #phases= 1, #runs= 2, length= 3.00, "
    "best/ub= 1/2, avg./max #iterations= 2/2\n",
    "dead_ends": "{0}: No neighbor\n",
}


@pytest.mark.parametrize("count", [1, 8191, 8192, 30000])
@pytest.mark.parametrize("kind", KINDS)
def test_many_lines_are_thinned_evenly(
    tmp_path: Path, kind: str, count: int
) -> None:
    path = tmp_path / "log"
    lines = [KINDS[kind].format(i) for i in range(1, count + 1)]
    path.write_text(PENALTY + "".join(lines))
    log = read_log(path)
    places = [point[1] for point in getattr(log, kind).points]
    if kind == "current" and places[-1] == count:
        places = places[:-1] or places  # the last one always stays
    step = places[1] - places[0] if count > 1 else 1
    assert len(places) <= 8192
    assert places == list(range(1, count + 1, step))[: len(places)]
    assert places[-1] > count - 2 * step
    assert log.iterations == count


def test_a_kick_stands_where_the_progress_before_it_was(
    tmp_path: Path,
) -> None:
    path = tmp_path / "log"
    lines = [KINDS["current"].format(i) for i in range(1, 9001)]
    lines.insert(8999, "Kick (3 variables)\n")
    path.write_text(PENALTY + "".join(lines) + "9001: No neighbor\n")
    log = read_log(path)
    assert log.kicks.points == [(8999.5, 8999)]
    assert log.dead_ends.points == [(9000.5, 9001)]


def test_points_end_with_the_log_and_come_from_packed_files(
    tmp_path: Path,
) -> None:
    path = tmp_path / "log.gz"
    text = PENALTY + KINDS["current"].format(1) + "[best solution]\n" + PENALTY
    path.write_bytes(gzip.compress(text.encode()))
    assert [kind for kind, _ in read_points(path)] == ["best", "current"]


def test_a_line_without_end_takes_no_memory(tmp_path: Path) -> None:
    path = tmp_path / "log"
    path.write_text(PENALTY + "x" * 100000 + "\n" + KINDS["current"].format(7))
    assert read_log(path).iterations == 7

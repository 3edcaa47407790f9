"""What the tools and the package share."""

import gzip
import json
import os
from pathlib import Path

import pytest

from wcsp._shared.log import read_log
from wcsp._shared.numbers import quantile, share_of_clock
from wcsp._shared.programs import find_program
from wcsp._shared.runs import read_runs
from wcsp._shared.search import Search, penalty_of
from wcsp._shared.text import escaped, readable, spans


@pytest.mark.parametrize("text, shown", [
    ("plain ä €", "plain ä €"), ("\x1b[31m", "\\x1b[31m"), ("a\nb\t", "a\\x0ab\\x09"),
    (os.fsdecode(b"\xff\xc3"), "\\xff\\xc3"), ("\ud800", "\\xed\\xa0\\x80"),
    ("\u202e\x9b", "\\xe2\\x80\\xae\\xc2\\x9b")])
def test_no_control_character_is_shown(text, shown):
    assert escaped(text) == shown
    assert readable("\\xc3\\xa4 \\x1b \\\\ \\xff") == "ä \\x1b \\ \\xff"


@pytest.mark.parametrize("share, position", [(0, 0), (0.25, 0), (0.5, 1), (0.75, 2), (1, 3)])
def test_a_quantile_is_the_least_value_that_so_many_do_not_exceed(share, position):
    values = [3, 5, 8, 13]
    least = next((v for v in values if sum(w <= v for w in values) >= share * 4), None)
    assert quantile(values, share) == values[position] == least


def test_spans_read_as_they_are_written():
    assert spans([3, 1, 2, 7, 9, 8, 3]) == "1-3,7-9"
    assert spans([5, 7], " ") == "5 7"
    assert spans([]) == ""


@pytest.mark.parametrize("runs, jobs, time, busy", [
    (8, 1, 12, 0.0), (8, 2, 12, 0.3), (7, 3, 30, 0.5), (3, 8, 5, 0.1), (100, 2, 60, 0.2)])
def test_every_run_has_its_turn(runs, jobs, time, busy):
    """Runs that never end by themselves, with `busy` seconds lost between two."""
    ends, starts = [0.0] * jobs, []
    for i in range(runs):
        slot = min(range(jobs), key=ends.__getitem__)
        now = ends[slot] + busy
        share = share_of_clock(time - now, jobs, runs - i, busy)
        assert 0 < share <= time - now
        starts.append(now)
        ends[slot] = now + share
    assert max(starts) < time
    assert max(ends) == pytest.approx(time)


def test_a_program_is_the_one_given_or_the_first_of_its_places(tmp_path, monkeypatch):
    for name in ("here/tool", "path/tool", "path/other"):
        (tmp_path / name).parent.mkdir(exist_ok=True)
        (tmp_path / name).write_text("#!/bin/sh\n")
        (tmp_path / name).chmod(0o755)
    (tmp_path / "here/other").write_text("not to be run")
    monkeypatch.setenv("PATH", str(tmp_path / "path"))
    monkeypatch.chdir(tmp_path / "here")
    beside = [tmp_path / "here"]
    assert find_program("tool", beside=beside) == str(tmp_path / "here/tool")
    assert find_program("other", beside=beside) == str(tmp_path / "path/other")
    assert find_program("tool") == str(tmp_path / "path/tool")
    assert find_program("tool", "../path/other") == str(tmp_path / "path/other")
    assert find_program("tool", "other") == str(tmp_path / "path/other")
    assert find_program("tool", "none", beside) is None


def test_a_damaged_packed_log_is_an_error_with_its_name(tmp_path):
    log = tmp_path / "1.log.gz"
    log.write_bytes(gzip.compress(b"1: No neighbor\n" * 1000)[:-20])
    with pytest.raises(OSError, match="damaged") as error:
        read_log(log)
    assert error.value.filename == log


def test_runs_say_why_they_are_not_whole(tmp_path):
    complete = {"status": 0, "host": "h", "ended by": ""}
    texts = {1: complete | {"seed": 1}, 2: [], 3: complete, 4: complete | {"seed": True},
             5: complete | {"seed": 5, "hard": 0}, 6: complete | {"seed": 7},
             8: complete | {"seed": 8, "files": {"../8.report": "0"}}}
    for seed, record in texts.items():
        (tmp_path / f"{seed}.run").write_text(json.dumps(record))
    (tmp_path / "9.run").mkdir()
    records, others = read_runs(tmp_path)
    assert list(records) == [1]
    assert others == {
        2: "2.run is not a JSON object", 3: "3.run has no 'seed'", 4: "4.run has a wrong 'seed'",
        5: "5.run has only one part of the penalty", 6: "6.run is the record of seed 7",
        8: "../8.report is lost", 9: "9.run: Is a directory"}


def test_a_search_that_lost_its_report_is_run_again_to_its_best(tmp_path, monkeypatch):
    """A solver that loses the report unless only iterations limit it."""
    solver = tmp_path / "solver"
    solver.write_text("""#!/bin/sh
echo "$*" >> calls
for log do :; done
echo 'penalty = 0/7 (hard/soft), time = 0.10(s), iteration = 42' > "$log"
case "$*" in *"-iteration 42"*) echo 'penalty: 0/7 (hard/soft)' ;; *) echo Overflow; exit 255 ;; esac
""")
    solver.chmod(0o755)
    monkeypatch.chdir(tmp_path)
    search = Search([str(solver), "-seed", "3"], Path("report"), Path("log"))
    assert search.wait(lambda: False) == 255
    assert penalty_of(search.report()) == (0, 7)
    assert Path("calls").read_text().split("\n")[1].startswith("-seed 3 -iteration 42")

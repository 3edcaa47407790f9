"""Files that the package writes and reads: what stands at a path, damaged
runs, names that are no UTF-8, folders of killed calls."""

import gzip
import os
import pathlib
import signal
import stat
import subprocess
import sys
import tempfile
import threading
import time

import pytest

from solving_test import colouring
from wcsp import Model, ModelError, SolverError, SolverWarning, total

SHORT = {"time": 20, "seeds": 2, "options": ["-iteration", "300"]}


def small():
    m = Model("two")
    x, y = m.variable("x", "ab"), m.variable("y", "ab")
    m.add((x == "a") + (y == "a") <= 1, name="n")
    return m


def through_pipe(path, action):
    """What a reader gets of action(path) on a named pipe."""
    os.mkfifo(path)
    got = []
    reader = threading.Thread(target=lambda: got.append(path.read_text()))
    reader.start()
    action(path)
    reader.join(10)
    assert stat.S_ISFIFO(path.stat().st_mode)
    return got[0]


WRITERS = pytest.mark.parametrize("write, is_right", [
    (lambda m, r, path: m.write(path), lambda m, r, text: text == m.text()),
    (lambda m, r, path: m.solve(log=path, **SHORT), lambda m, r, text: "# iteration" in text),
    (lambda m, r, path: r.show(path), lambda m, r, text: text == r.show().text)],
    ids=["model", "log", "page"])


@WRITERS
def test_what_stands_at_a_path_stays(tmp_path, write, is_right):
    m = small()
    r = m.solve(**SHORT)
    goal, link, dangling = tmp_path / "goal", tmp_path / "link", tmp_path / "dangling"
    goal.write_text("old")
    goal.chmod(0o604)
    link.symlink_to("goal")
    dangling.symlink_to(tmp_path / "new")
    victim = tmp_path / "victim"
    victim.write_text("precious")
    (tmp_path / f".goal.{os.getpid()}").symlink_to(victim)
    write(m, r, link)
    write(m, r, dangling)
    assert link.is_symlink() and dangling.is_symlink()
    for path in goal, tmp_path / "new":
        assert is_right(m, r, path.read_text("utf-8")), path
    assert stat.S_IMODE(goal.stat().st_mode) == 0o604
    assert victim.read_text() == "precious"
    assert is_right(m, r, through_pipe(tmp_path / "pipe", lambda path: write(m, r, path)))
    assert not list(tmp_path.glob(".wcsp-*"))


@pytest.mark.parametrize("path", ["no/such/folder/file", "", ".", "file/file"])
def test_a_log_that_cannot_be_written_shows_before_the_search(tmp_path, monkeypatch, path):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "file").write_text("")
    began = time.monotonic()
    with pytest.raises(OSError) as raised:
        colouring().solve(time=60, seeds=1, log=path)
    assert time.monotonic() - began < 10 and raised.value.filename == path
    assert [p.name for p in tmp_path.iterdir()] == ["file"]


def test_a_log_that_is_lost_in_the_end_costs_no_result():
    with pytest.warns(SolverWarning, match="the log is lost: .*No space left"):
        r = colouring(edges=600).solve(log="/dev/full", **SHORT)
    assert r.soft > 0 and r.log


@pytest.fixture(scope="module")
def runs(tmp_path_factory):
    folder = tmp_path_factory.mktemp("runs")
    colouring(edges=600).write(folder / "m.model")
    many = pathlib.Path(os.environ["WCSP"]).with_name("wcsp-many")
    subprocess.run([many, "m.model", "--seeds", "1-3", "--compress", "--", "-iteration", "500"],
                   cwd=folder, check=True, capture_output=True)
    return {path.name: path.read_bytes() for path in (folder / "m.model.runs").iterdir()
            if path.is_file()}


DAMAGES = {
    "1.run": [b"", b"[]", b"3", b"{}", b"{", b"\xff", b"[" * 100000],
    "1.report": [None, b"", b"[best solution]\n"],
    "1.log.gz": [b"", b"\x1f\x8b broken"],
}


@pytest.mark.parametrize("name, content", [(name, content) for name, contents in DAMAGES.items()
                                           for content in contents])
def test_damaged_runs_are_named(tmp_path, runs, name, content):
    for other, data in runs.items():
        (tmp_path / other).write_bytes(data)
    if content is None:
        (tmp_path / name).unlink()
    else:
        (tmp_path / name).write_bytes(content)
    with pytest.warns(SolverWarning, match="run 1 of .* is damaged: .*wcsp-many repeats it"):
        r = colouring(edges=600).with_runs(tmp_path)
    assert r.seeds == [2, 3]


def test_a_report_that_lies_is_passed_over(tmp_path, runs):
    for name, data in runs.items():
        (tmp_path / name).write_bytes(data)
    m = colouring(edges=600)
    best = m.with_runs(tmp_path).run.seed
    report = tmp_path / f"{best}.report"
    text = report.read_text()
    lines = text.split("[Violated constraints]\n")
    for lie in lines[0] + "[Violated constraints]\n", text + "unknown: 1\n":
        report.write_text(lie)
        with pytest.warns(SolverWarning, match=f"of seed {best}|run {best} of"):
            assert m.with_runs(tmp_path).run.seed != best
    for seed in 1, 2, 3:
        (tmp_path / f"{seed}.run").write_text("")
    with pytest.warns(SolverWarning), pytest.raises(SolverError, match="no search printed a report"):
        m.with_runs(tmp_path)
    (tmp_path / "settings.json").write_text("[]")
    with pytest.raises(SolverError, match="is not a folder of runs"):
        m.with_runs(tmp_path)


def test_names_that_are_no_text(tmp_path):
    m = Model("by \udcff.py\nand \ud800")
    m.section("\udc80")
    x = m.variable(("\udcff", "a\nb"), ["\udc80", "\x1b[1m"])
    m.add((x == "\udc80") >= 1, weight=1, name="\ud800")
    exec(compile("m.add((x == list(x.values)[0]) <= 0, weight=2)", "\udcff.py", "exec"), {"m": m, "x": x})
    m.write(tmp_path / "m")
    assert (tmp_path / "m").read_text("utf-8") == m.text()
    r = m.solve(**SHORT)
    text = repr(r) + "".join(f"{v.explanation}" for v in r.violated) + r.show(tmp_path / "p").text
    assert text.encode("utf-8") and r[x] == "\x1b[1m"
    with pytest.raises(ModelError) as raised:
        m.add((x == "\udc80") >= 2, name="\udcff")
    assert "'\\udcff'" in str(raised.value)


FOREIGN = """
import os, sys
from wcsp import Model
m = Model()
x = m.variable("x", "ab")
m.add(x == "b", weight=1)
m.write(os.fsdecode(b"\\xff.model"))
r = m.solve(time=5, seeds=1, log=os.fsdecode(b"\\xff.log"), options=["-iteration", "9"])
r.show(os.fsdecode(b"\\xff.html"))
print(r[x])
"""


def test_paths_that_are_not_utf8(tmp_path):
    folder = os.path.join(os.fsencode(tmp_path), b"\xfe \xff")
    os.mkdir(folder)
    script = os.path.join(folder, b"\xff.py")
    with open(script, "w", encoding="utf-8") as file:
        file.write(FOREIGN)
    done = subprocess.run([sys.executable, script], cwd=folder, capture_output=True, check=False,
                          env=os.environb | {b"TMPDIR": folder, b"LC_ALL": b"C"})
    assert (done.stdout, done.stderr) == (b"b\n", b"")
    assert sorted(os.listdir(folder)) == [b"\xff.html", b"\xff.log", b"\xff.model",
                                              b"\xff.model.names", b"\xff.py"]


def test_folders_of_the_dead_are_removed_and_others_stay(tmp_path, monkeypatch):
    monkeypatch.setattr(tempfile, "tempdir", str(tmp_path))
    script = ("from wcsp._shared.scratch import scratch\nimport time\n"
              "with scratch('wcsp-python-'): print(flush=True), time.sleep(60)")
    alive, dead = [subprocess.Popen([sys.executable, "-c", script], stdout=subprocess.PIPE,
                                    env=os.environ | {"TMPDIR": str(tmp_path)}) for _ in range(2)]
    for child in alive, dead:
        child.stdout.readline()
    dead.kill()
    dead.wait()
    (tmp_path / "wcsp-python-file").write_text("mine")
    (tmp_path / "wcsp-python-link").symlink_to("/")
    assert len(list(tmp_path.glob("wcsp-python-*"))) == 4
    small().solve(**SHORT)
    assert len(list(tmp_path.glob("wcsp-python-*"))) == 3
    alive.send_signal(signal.SIGINT)
    alive.communicate()
    assert sorted(p.name for p in tmp_path.iterdir()) == ["wcsp-python-file", "wcsp-python-link"]

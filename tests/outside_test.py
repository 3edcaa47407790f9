#!/usr/bin/env python3
"""Tests failures outside wcsp-show and wcsp-plot: closed and full outputs, names
that are not UTF-8 or have control characters, and interrupts at any moment. None may
show a traceback: outside_test.py PROGRAMS.
"""

import concurrent.futures
import functools
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

PROGRAMS = os.path.abspath(sys.argv[1])
SHOW = [f"{PROGRAMS}/wcsp-show", "m", "r"]
PLOT = [f"{PROGRAMS}/wcsp-plot", "log", "-o", "p.svg"]

MODEL = "variable x in {a, b}\nc: weight = 1 type = linear 1(x,a) <= 0\n"
REPORT = "[best solution]\nx: a\n\npenalty: 0/1 (hard/soft)\n\n[Violated constraints]\nc: 1\n"
LOG = "penalty = 0/1 (hard/soft), time = 0.00(s), iteration = 0\n1, 0.01(s), 0/2, 0/1\n"


def expect(what, got, expected):
    if got != expected:
        sys.exit(f"{what}\nexpected {expected!r}\ngot      {got!r}")


def run(command, redirection=""):
    """Status and messages of a command under a shell's redirection."""
    done = subprocess.run(["sh", "-c", f'exec "$@" {redirection}', "sh", *command], check=False,
                          stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
    return done.returncode, done.stderr


# How the standard descriptors are, the status, and what the message holds.
OUTPUTS = [
    (">&-", 2, b": output: Bad file descriptor\n"),
    (">/dev/full", 2, b": output: No space left on device\n"),
    ("2>&-", 0, b""),
    ("<&-", 0, b""),
    (">&- 2>&-", 2, b""),
    ("<&- >&- 2>&-", 2, b""),
]


def check_outputs():
    for command in (SHOW, [*SHOW, "--csv"], [*SHOW, "--json"], PLOT, [*PLOT[:2], "--csv"]):
        name = os.path.basename(command[0])
        for redirection, status, message in OUTPUTS:
            expected = name.encode() + message if message else b""
            expect((command, redirection), run(command, redirection), (status, expected))
        for redirection in ("2>&-", "2>/dev/full", "2>&- >&-"):
            expect((command, redirection), run([*command[:1], "none", "none"], redirection),
                   (2, b""))
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run(command, stdout=writer, stderr=subprocess.PIPE, check=False)
        os.close(writer)
        expect((command, "no reader"), (done.returncode, done.stderr), (-signal.SIGPIPE, b""))
    expect("nothing half written", [n for n in os.listdir() if n.startswith(".")], [])


# Names of files, and how messages show them.
NAMES = [
    (b"\xff\xfe", b"\\xff\\xfe"),
    (b"a\x1b[31m\n\x07", b"a\\x1b[31m\\x0a\\x07"),
    ("é\x9b".encode(), "é\\xc2\\x9b".encode()),
]


def check_names():
    for name, shown in NAMES:
        there, gone = b"there" + name, b"gone" + name
        pathlib.Path(os.fsdecode(there)).write_text("nothing\n", "utf-8")
        for command, status in (
                ([SHOW[0], gone, "r"], 2), ([SHOW[0], there, "r"], 2), ([SHOW[0], "m", gone], 2),
                ([SHOW[0], "m", there], 3), ([*SHOW, "--compare", gone], 2),
                ([*SHOW, "--names", gone], 2), ([*SHOW, "--names", there], 2),
                ([*SHOW, "-o", gone + b"/p"], 2), ([*SHOW, "--rows", gone], 2),
                ([*SHOW, "--split", gone + b"("], 2), ([*SHOW, b"-" + gone], 2),
                ([*SHOW, "--check", gone], 2), ([PLOT[0], gone], 2), ([PLOT[0], there], 1),
                ([*PLOT[:3], gone], 2), ([*PLOT[:3], gone + b"/p.svg"], 2),
                ([PLOT[0], b"-" + gone], 2)):
            got, message = run(command)
            bare = bytes(byte for byte in message if byte >= 32 or byte == 10)
            expect((command, message), (got, b"Traceback" in message, message == bare,
                                        name in message), (status, False, True, False))
        for path, text in ((there, MODEL), (b"r" + there, REPORT), (b"l" + there, LOG)):
            pathlib.Path(os.fsdecode(path)).write_text(text, "utf-8")
        page = subprocess.run([SHOW[0], there, b"r" + there], capture_output=True, check=True)
        expect((name, "title"), b"<title>there" + shown + b"</title>" in page.stdout, True)
        drawn = subprocess.run([PLOT[0], b"l" + there, "-o", there + b".svg"], check=True,
                               capture_output=True)
        expect((name, "table"), (shown in drawn.stdout, name in drawn.stdout), (True, False))
        picture = pathlib.Path(os.fsdecode(there + b".svg")).read_bytes()
        expect((name, "picture"), shown in picture, True)


def check_texts():
    """Files that hold no names, or names that UTF-8 cannot hold."""
    for text in (json.dumps({"variables": {"x": ["\ud800", 0]}, "domains": [["a", "b"]],
                             "constraints": {}}),
                 "[" * 100000, "{}", "[]", "\"", '{"variables": {"x": [1, 0]}}',
                 '{"variables": {"x": ["", 0]}, "domains": [[[], 1]], "constraints": {}}',
                 '{"variables": {"x": ["", 0]}, "domains": [["a"]], "constraints": {"c": []}}'):
        pathlib.Path("names").write_text(text, "utf-8")
        expect(text[:80], run([*SHOW, "--names", "names"]),
               (2, b"wcsp-show: --names: not a file of names\n"))


def interrupted(command, moment):
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        time.sleep(moment * 0.004)
        process.send_signal(signal.SIGINT)
        message = process.communicate(timeout=60)[1]
    return f"interrupted after {moment * 4} ms", process.returncode in (0, -signal.SIGINT), message


def check_interrupts():
    """Ends by SIGINT or finishes; files are complete or do not exist."""
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        for command in ([*SHOW, "-o", "page"], PLOT):
            for when, is_right, message in pool.map(functools.partial(interrupted, command),
                                                    range(60)):
                expect((command, when), (is_right, message), (True, b""))
    expect("nothing half written", [n for n in os.listdir() if n.startswith(".wcsp-")], [])


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for file_name, content in (("m", MODEL), ("r", REPORT), ("log", LOG)):
        pathlib.Path(file_name).write_text(content, "utf-8")
    check_outputs()
    check_names()
    check_texts()
    check_interrupts()

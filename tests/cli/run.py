#!/usr/bin/env python3
"""Runs the cases of the whole program: python3 run.py PROGRAM [NAME ...]

The files *.cases beside this script hold the cases. Each has sections that
begin with a line "@word arguments":
  @case NAME     begins a case
  @file NAME     a file in the case's own folder, which is the working directory
  @limit KB      address space; skipped where the program cannot start with it
  @run COMMAND   for sh, with the program as "wcsp" and these tests as $TESTS
  @status N      exit status (default 0)
  @output        all of standard output, times masked
Standard error must stay empty."""

import difflib
import glob
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def read_cases():
    cases = []
    for path in sorted(glob.glob(os.path.join(HERE, "*.cases"))):
        with open(path, encoding="latin-1", newline="") as stream:
            for part in re.split(r"^@", stream.read(), flags=re.M)[1:]:
                head, body = part.split("\n", 1)
                word, _, argument = head.partition(" ")
                if word == "case":
                    cases.append({"case": argument, "files": {}, "status": "0"})
                elif word == "file":
                    cases[-1]["files"][argument] = body
                else:
                    cases[-1][word] = argument or body
    return cases


def masked(output):
    output = re.sub(r"\d+\.\d\d(?=\(s\))", "T", output)
    return re.sub(r"\d+\.\d\d(?=/T\(s\))", "T", output)


def execute(command, case, folder, environment):
    limit = f"ulimit -c 0; ulimit -v {case['limit']}; " if "limit" in case else ""
    return subprocess.run(["sh", "-c", limit + command], cwd=folder, timeout=120,
                          env=environment, stdin=subprocess.DEVNULL,
                          capture_output=True)


def failures(case, program):
    """The differences between the expected and the actual results of `case`."""
    with tempfile.TemporaryDirectory() as folder:
        os.mkdir(os.path.join(folder, "bin"))
        os.symlink(program, os.path.join(folder, "bin", "wcsp"))
        environment = dict(os.environ, TESTS=os.path.dirname(HERE))
        environment["PATH"] = os.path.join(folder, "bin") + ":" + os.environ["PATH"]
        for name, text in case["files"].items():
            with open(os.path.join(folder, name), "wb") as stream:
                stream.write(text.encode("latin-1"))
        if "limit" in case and execute("wcsp -", case, folder,
                                       environment).returncode != 0:
            return []
        result = execute(case["run"], case, folder, environment)
    wanted = case["output"] + f"(status {case['status']})\n"
    output = masked(result.stdout.decode("latin-1"))
    output += "" if output.endswith("\n") else " (no newline)\n"
    output += result.stderr.decode("latin-1") + f"(status {result.returncode})\n"
    return list(difflib.unified_diff(wanted.splitlines(True),
                                     output.splitlines(True), "wanted", "found"))


def main():
    program = os.path.abspath(sys.argv[1])
    cases = [c for c in read_cases() if c["case"] in (sys.argv[2:] or [c["case"]])]
    num_failed = 0
    for case in cases:
        difference = failures(case, program)
        if difference:
            num_failed += 1
            print(f"FAILED: {case['case']}\n  {case['run']}")
            sys.stdout.writelines(difference)
    print(f"{len(cases) - num_failed} of {len(cases)} cases passed")
    return 1 if num_failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main())

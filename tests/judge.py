"""Runs the examples, the models of fixed bugs and the workloads, and has
wcsp-check recompute each report.

An example must reach the best known penalty that its comment states and end by
itself, but for one that is left to wcsp-polish; a model of a bug runs a few
iterations, or with the options in its comment; a workload runs a few iterations.
"""

import argparse
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORKLOADS = ["colouring", "qap20", "qap30", "latin40", "roster60", "sat1000"]


def run(arguments, text=None):
    return subprocess.run(arguments, input=text, capture_output=True, timeout=300)


def judged(check, model, output):
    """What wcsp-check has against the report at the end of `output`."""
    verdict = run([check, "--quiet", model, "-"], output)
    return (verdict.stdout + verdict.stderr).decode() if verdict.returncode else ""


def judge_example(args, model):
    if "wcsp-polish" in model.read_text():
        return judged(args.check, model, run(
            [args.wcsp, "-inputfile", model, "-iteration", "10000"]).stdout)
    done = run([args.wcsp, "-inputfile", model])
    best = re.search(r"# Best known penalty: (\d+/\d+)", model.read_text())
    if done.returncode != 0 or done.stderr:
        return f"status {done.returncode}"
    if f"penalty: {best[1]} (hard/soft)" not in done.stdout.decode():
        return f"the best known penalty {best[1]} is not reached"
    return judged(args.check, model, done.stdout)


def judge_regress(args, model):
    command = re.search(r'"wcsp ([^"]*)" ends with', model.read_text())
    options = command[1].split() if command else ["-iteration", "1000"]
    done = run([args.wcsp, *options, "-inputfile", model])
    if model.stem == "negative-weight-overflow":
        expected = done.stdout.endswith(b"\nNegative weight; Overflow\n")
        return "" if expected and done.returncode == 255 else "no overflow"
    return judged(args.check, model, done.stdout)


def judge_workload(args, name):
    model = pathlib.Path(args.folder) / f"{name}.model"
    made = run([sys.executable, ROOT / "bench/workloads.py", name])
    model.write_bytes(made.stdout)
    options = ["-iteration", "300", "-time", "1e6"]
    done = run([args.wcsp, "-inputfile", model, *options])
    return judged(args.check, model, done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--wcsp", required=True)
    parser.add_argument("--check", required=True)
    parser.add_argument("--folder", required=True)
    args = parser.parse_args()
    groups = [
        (judge_example, sorted(ROOT.glob("examples/*.model"))),
        (judge_regress, sorted(ROOT.glob("tests/regress/*.model"))),
        (judge_workload, WORKLOADS),
    ]
    failed = 0
    for judge, cases in groups:
        for case in cases:
            complaint = judge(args, case)
            if complaint:
                failed += 1
                print(f"{case}: {complaint}")
    print(f"{sum(len(cases) for _, cases in groups)} models, {failed} failed")
    sys.exit(1 if failed or not groups[0][1] else 0)


if __name__ == "__main__":
    main()

"""The table that summarises the runs of a folder."""

import random

from _shared.numbers import quantile

TRIALS = 2000


def penalty(record):
    return f"{record['hard']}/{record['soft']}"


def estimates(records, best, most):
    """[(parallel runs, seconds)]: the mean time until one of them reaches the best
    penalty, estimated by resampling sequences of the recorded runs."""
    drawn = [(r["time to best"] if (r["hard"], r["soft"]) == best else None,
              max(r.get("cpu", 0), 0.01)) for r in records]
    if all(met is None for met, _ in drawn):
        return []
    rng = random.Random(1)
    rows, at_once = [], 1
    while at_once <= most:
        total = 0.0
        for _ in range(TRIALS):
            ends = [0.0] * at_once
            earliest = None
            while True:
                i = min(range(at_once), key=ends.__getitem__)
                if earliest is not None and ends[i] >= earliest:
                    break
                met, length = rng.choice(drawn)
                if met is not None:
                    end = ends[i] + met
                    earliest = end if earliest is None else min(earliest, end)
                ends[i] += length
            total += earliest
        rows.append((at_once, total / TRIALS))
        at_once *= 2
    return rows


def table(folder, most):
    """The lines of the table. most: the greatest number of parallel runs."""
    records = [r for r in folder.reports() if r["seed"] not in folder.refused]
    failed = [r for r in folder.records.values() if "hard" not in r]
    lines = [f"{len(folder.records)} runs: {len(records)} with a report, {len(failed)} failed"]
    for seed, reason in sorted(folder.refused.items()):
        lines.append(f"seed {seed}: {reason}")
    if records:
        lines.append("penalty (hard/soft): " + ", ".join(
            f"{name} {penalty(quantile(records, share))}" for name, share in (
                ("least", 0), ("first quartile", 0.25), ("median", 0.5),
                ("third quartile", 0.75), ("greatest", 1))))
        best = records[0]["hard"], records[0]["soft"]
        met = sorted(r["time to best"] for r in records
                     if (r["hard"], r["soft"]) == best and "time to best" in r)
        if folder.polished:
            lines.append("polished: %d/%d instead of %d/%d" % (*folder.polished, *best))
        elif folder.is_polished:
            lines.append("polished: nothing better than %d/%d" % best)
        if folder.polished_error:
            lines.append(f"polished.report: {folder.polished_error}")
        lines.append(f"the best, {best[0]}/{best[1]}, was reached by {len(met)} of "
                     f"{len(records)} runs")
        if met:
            lines.append(f"CPU time to it: least {met[0]:.2f} s, median "
                         f"{quantile(met, 0.5):.2f} s, greatest {met[-1]:.2f} s")
        rows = estimates([r for r in records if "time to best" in r], best, most)
        if rows:
            lines.append("estimated mean CPU time to it, from these runs: " + ", ".join(
                f"{t:.2f} s with {k} at once" for k, t in rows))
        hosts = {}
        for record in records:
            hosts[record["host"]] = hosts.get(record["host"], 0) + 1
        if len(hosts) > 1:
            lines.append("runs by host: " + ", ".join(
                f"{name} {count}" for name, count in sorted(hosts.items())))
    return lines

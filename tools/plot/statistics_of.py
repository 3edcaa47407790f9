"""Numbers from several logs: quartiles over time, shares, the rank-sum test."""

import itertools
import math
import statistics

from _shared.numbers import quantile

INFINITY = math.inf


def steps_of(log, axis, penalty):
    """[(place, penalty)] of the incumbent; axis 0 is time, 1 iterations. A soft
    penalty counts as infinite while a hard constraint is violated."""
    steps = []
    for point in log.improved:
        hard, soft = point[2:]
        value = hard if penalty == "hard" else soft if hard == 0 else INFINITY
        if steps and steps[-1][0] == point[axis]:
            steps.pop()
        steps.append((point[axis], value))
    return steps


def bands(curves):
    """[(place, first quartile, median, third quartile)] of step curves, at each step
    of one of them after all have begun."""
    begin = max(curve[0][0] for curve in curves)
    events = sorted((position, i, value) for i, curve in enumerate(curves)
                    for position, value in curve)
    now, rows = [INFINITY] * len(curves), []
    for position, group in itertools.groupby(events, key=lambda event: event[0]):
        for _, i, value in group:
            now[i] = value
        if position >= begin:
            ordered = sorted(now)
            rows.append((position, *(quantile(ordered, share) for share in (0.25, 0.5, 0.75))))
    return rows


def shares(logs, target, axis):
    """[(position, share of the logs that have reached the target by then)]."""
    times = sorted(position for position in (log.reached(target, axis) for log in logs)
                   if position is not None)
    return [(time, (i + 1) / len(logs)) for i, time in enumerate(times)]


def rank_sum(first, second):
    """The two-sided p-value of the Wilcoxon rank-sum (Mann-Whitney) test that
    two samples come from one distribution: exact for up to 20 values without
    ties, else by the normal approximation with corrections for ties and
    continuity."""
    both = sorted((value, i) for i, sample in enumerate((first, second)) for value in sample)
    ranks, ties, position = 0.0, 0, 0
    for _, group in itertools.groupby(both, key=lambda pair: pair[0]):
        group = list(group)
        mean = position + (len(group) + 1) / 2
        ranks += mean * sum(i == 0 for _, i in group)
        ties += len(group) ** 3 - len(group)
        position += len(group)
    m, n = len(first), len(second)
    u = ranks - m * (m + 1) / 2
    if ties == 0 and m + n <= 20:
        return exact_p(m, n, min(u, m * n - u))
    total = m + n
    variance = m * n / 12 * (total + 1 - ties / (total * (total - 1)))
    if variance == 0:
        return 1.0
    z = max(abs(u - m * n / 2) - 0.5, 0) / math.sqrt(variance)
    return 2 * (1 - statistics.NormalDist().cdf(z))


def exact_p(m, n, u):
    """2 P(U <= u) over all orders of m and n values, at most 1."""
    # counts[k][s]: the subsets of k ranks with the sum s, minus their least.
    counts = [[0] * (m * n + 1) for _ in range(m + 1)]
    counts[0][0] = 1
    for rank in range(1, m + n + 1):
        for k in range(min(rank, m), 0, -1):
            shift = rank - k  # what this rank adds to U when it is the k-th
            for s in range(m * n, shift - 1, -1):
                counts[k][s] += counts[k - 1][s - shift]
    below = sum(counts[m][:int(u) + 1])
    return min(2 * below / math.comb(m + n, m), 1.0)

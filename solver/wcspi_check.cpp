// The check of the bookkeeping: the invariants of the store by their
// definitions, for assertions and tests.

#include <algorithm>
#include <cmath>

#include "solver/wcspi.h"

namespace {

/// Checking costs as much as an evaluation from scratch.
constexpr std::size_t maxCheckedLabels = 1000;

}  // namespace

bool RealWcsp::smallBookkeepingHolds() {
  return labels.size() > maxCheckedLabels || bookkeepingHolds();
}

bool RealWcsp::bookkeepingHolds() {
  std::vector<double> scores(labels.size(), 0.0);
  std::vector<double> magnitudes(labels.size(), 0.0);
  std::vector<int> counts(labels.size(), 0);
  Solution sums;
  for (Constraint const& record : constraints) {
    Int128& total = record.isHard() ? sums.hardPenalty : sums.softPenalty;
    total +=
        static_cast<Int128>(record.isHard() ? 1 : record.constraint->weight) *
        record.penalty;
    sums.weightedPenalty += record.penalty * record.weight;
    if (record.list != updated) {
      DiffPenalty const end = diffLists[record.list].back();
      if (end.label != labels.sentinel() || end.diff != 0) {
        return false;  // invariant 2: no end entry
      }
    }
    unsigned next = 0;
    for (DiffPenalty const& entry : diffsOf(record)) {
      const unsigned i = entry.label;
      if (i < next || i >= labels.sentinel() || entry.diff == 0) {
        return false;  // invariant 2
      }
      next = i + 1;
      scores[i] += entry.diff * record.weight;
      magnitudes[i] += std::abs(entry.diff * record.weight);
      counts[i] += entry.diff < 0 ? 1 : 0;
    }
  }
  largestSum = std::max(largestSum, sums.weightedPenalty);
  for (const double magnitude : magnitudes) {
    largestSum = std::max(largestSum, magnitude);
  }
  const double tolerance = 1e-9 * largestSum;  // far above rounding
  if (sums.hardPenalty != current.hardPenalty ||
      sums.softPenalty != current.softPenalty ||
      std::abs(sums.weightedPenalty - current.weightedPenalty) > tolerance) {
    return false;  // invariant 3
  }
  std::size_t numCandidates = 0;
  for (unsigned i = 0; i < scores.size(); ++i) {
    auto const& [improvingCount, position] = labels.candidacies[i];
    if (std::abs(scores[i] - labels.scores[i]) > tolerance ||
        counts[i] != improvingCount) {
      return false;  // invariant 4
    }
    if (counts[i] > 0) {
      ++numCandidates;
      if (position >= candidates.size() || candidates[position] != i) {
        return false;  // invariant 5
      }
    }
  }
  return numCandidates == candidates.size();
}

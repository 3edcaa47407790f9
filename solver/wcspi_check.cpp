// The check of the bookkeeping: the invariants of the store by their
// definitions, for assertions and tests.

#include <algorithm>
#include <cmath>

#include "solver/wcspi.h"

namespace {

/// Checking costs as much as an evaluation from scratch.
constexpr std::size_t maxCheckedLabels = 1000;

constexpr unsigned movesPerCheck = 3;

/// Whether a journal notes all entries that differ.
template <class Differs>
bool notesAll(Journal const& journal, std::size_t numEntries, Differs differs) {
  std::vector<bool> isNoted(numEntries);
  journal.forEach([&](unsigned entry) { isNoted[entry] = true; });
  for (unsigned entry = 0; entry < numEntries; ++entry) {
    if (differs(entry) && !isNoted[entry]) {
      return false;
    }
  }
  return true;
}

}  // namespace

// A check calculates every constraint, which would hide what an update has
// left wrong: so most updates follow others.
bool RealWcsp::smallBookkeepingHolds() {
  return labels.size() > maxCheckedLabels || numChecks++ % movesPerCheck != 0 ||
         bookkeepingHolds();
}

bool RealWcsp::journalsHold() const {
  std::vector<bool> isViolated(constraints.size());
  violated.forEach([&](unsigned c) { isViolated[c] = true; });
  for (unsigned c = 0; c < constraints.size(); ++c) {
    if (isViolated[c] != (constraints[c].penalty > 0)) {
      return false;  // invariant 6
    }
  }
  return notesAll(moved, numVariables,
                  [this](unsigned v) {
                    return current.value[v] != best.value[v];
                  }) &&
         notesAll(remeasured, constraints.size(), [this](unsigned c) {
           return constraints[c].penalty != bestConstraintPenalty[c];
         });
}

bool RealWcsp::runJournalHolds(Run const& run) const {
  return labels.size() > maxCheckedLabels ||
         notesAll(run.moved, numVariables, [&](unsigned v) {
           return current.value[v] != run.best.value[v];
         });
}

bool RealWcsp::bookkeepingHolds() {
  std::vector<double> scores(labels.size(), 0.0);
  std::vector<double> magnitudes(labels.size(), 0.0);
  std::vector<int> counts(labels.size(), 0);
  Solution sums;
  if (previous != current.value) {
    return false;  // invariant 2
  }
  for (Constraint const& record : constraints) {
    Int128& total = record.isHard() ? sums.hardPenalty : sums.softPenalty;
    total +=
        static_cast<Int128>(record.isHard() ? 1 : record.constraint->weight) *
        record.penalty;
    sums.weightedPenalty += record.penalty * record.weight;
    if (measure(*record.constraint, current.value) != record.penalty) {
      return false;  // invariant 1
    }
    unsigned next = 0;
    for (auto const& [i, diff] : listed) {
      if (i < next || i >= labels.size()) {
        return false;  // invariant 2
      }
      next = i + 1;
      scores[i] += diff * record.weight;
      magnitudes[i] += std::abs(diff * record.weight);
      counts[i] += diff < 0 ? 1 : 0;
    }
  }
  largestSum = std::max(largestSum, sums.weightedPenalty);
  for (double const magnitude : magnitudes) {
    largestSum = std::max(largestSum, magnitude);
  }
  double const tolerance = 1e-9 * largestSum;  // far above rounding
  if (sums.hardPenalty != current.hardPenalty ||
      sums.softPenalty != current.softPenalty ||
      std::abs(sums.weightedPenalty - current.weightedPenalty) > tolerance) {
    return false;  // invariant 3
  }
  if (!journalsHold()) {
    return false;
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
  return numCandidates == candidates.size() && blocksHold();
}

bool RealWcsp::blocksHold() const {
  for (std::size_t i = 0; hasBlocks && i < candidates.size(); ++i) {
    double const score = labels.scores[candidates[i]];
    double const least = leastScores[i / blockSize];
    if (least > score || (least != unknownScore && blockScores[i] != score)) {
      return false;  // invariant 8
    }
  }
  return true;
}

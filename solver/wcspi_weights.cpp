// The adjustment of constraint weights, in runs and phases.
//
// A run ends by returning to its best assignment and raising the weights of the
// constraints that this one violates: a subgradient step with Polyak's step
// length, the incumbent's combined penalty serving as the target value. When
// the weighted penalty has caught up with the incumbent's, all weights are
// scaled down, and that closes a phase. Phases without an improvement of the
// incumbent lengthen the runs and, after some in a row, end the search.
//
// Invariant: every weight stays between 0 and its declared weight.

#include <algorithm>
#include <cassert>
#include <stdexcept>

#include "solver/wcspi.h"

namespace {

/// A violated constraint is raised when it is below its declared weight.
bool isRaisable(RealWcsp::Constraint const& record) {
  return record.constraint->weight > record.weight;
}

}  // namespace

bool RealWcsp::adjustWeights(Search& search) {
  Run& run = search.run;
  assert(runJournalHolds(run));
  if (run.best.weightedPenalty > current.weightedPenalty) {
    copyCurrent(run.best, run.moved);
  }
  return isRunOver(search) && endRun(search);
}

bool RealWcsp::isRunOver(Search const& search) const {
  Run const& run = search.run;
  // 64 bits: a nominal length can pass the range of iterations.
  auto const length = static_cast<std::uint64_t>(run.length);
  return search.iteration >= run.start + length &&
         run.best.iteration < search.iteration;
}

bool RealWcsp::endRun(Search& search) {
  Run& run = search.run;
  double const bound = upperBound();
  bool const isShown = (display & displayRuns) != 0;
  if (isShown) {
    logRun(search, bound);
  }
  countRun(run);
  restoreRunBest(search);
  if (current.weightedPenalty >= bound * (1.0 - eps)) {
    scaleWeights();
    if (endPhase(run)) {
      return true;
    }
    if (isShown) {
      logPhase(run);
    }
    startPhase(run);
  }
  if (isShown) {
    logEndOfLine();
  }
  increaseWeights(bound);
  hasBlocks = false;  // scores have changed all over
  assert(smallBookkeepingHolds());
  run.best.iteration = search.iteration;
  run.best.weightedPenalty = current.weightedPenalty;
  search.tabulist.reset();
  run.start = search.iteration;
  return false;
}

/// The incumbent's combined penalty.
double RealWcsp::upperBound() const {
  return static_cast<double>(best.hardPenalty) * 2147483647.0 +
         static_cast<double>(best.softPenalty);
}

void RealWcsp::countRun(Run& run) const {
  const std::uint64_t numIterations = run.best.iteration - run.start;
  run.sumIterations += numIterations;
  run.maxIterations = std::max(run.maxIterations, numIterations);
  ++run.numRuns;
}

// All values first, then every constraint concerned, once and in ascending id.
void RealWcsp::restoreRunBest(Search& search) {
  Run& run = search.run;
  reached.clear();
  run.moved.forEach([&](unsigned v) {
    const unsigned from = current.value[v];
    const unsigned to = run.best.value[v];
    if (from == to) {
      return;
    }
    for (const unsigned value : {from, to}) {
      for (unsigned const* id = constraintIds[labels.number(v, value)];
           *id != uinf; ++id) {
        reached.emplace_back(*id, v);
      }
    }
    current.value[v] = to;
    moved.note(v);
  });
  std::sort(reached.begin(), reached.end());
  reached.erase(std::unique(reached.begin(), reached.end()), reached.end());
  concerned.clear();
  movedVariables.clear();
  for (auto const& [id, variable] : reached) {
    auto const size = static_cast<unsigned>(movedVariables.size());
    if (concerned.empty() || concerned.back().id != id) {
      concerned.push_back({id, size, size});
    }
    movedVariables.push_back(variable);
    concerned.back().last = size + 1;
  }
  evaluateConcerned();
  run.moved.forEach([this](unsigned v) { previous[v] = current.value[v]; });
  run.moved.clear();
  assert(smallBookkeepingHolds());
}

void RealWcsp::scaleWeights() {
  double largest = current.weightedPenalty;
  for (Constraint const& record : constraints) {
    largest = std::max(largest, record.weight);
  }
  if (largest == 0.0) {
    return;
  }
  double const factor = ratioResetWeights * current.weightedPenalty / largest;
  current.weightedPenalty = 0.0;
  for (Constraint& record : constraints) {
    record.weight *= factor;
    current.weightedPenalty += record.penalty * record.weight;
  }
  for (double& score : labels.scores) {
    score *= factor;
  }
}

// Adapts the run length. Returns true when the search has to end.
bool RealWcsp::endPhase(Run& run) const {
  if (best.hardPenalty == run.phaseStartHard &&
      best.softPenalty == run.phaseStartSoft) {
    ++run.numPhases;
    if (run.numPhases >= maxNumPhases) {
      return true;
    }
    run.length = std::max(run.averageIterations(),
                          run.length * multiplierIncreaseRunLength);
  } else {
    run.numPhases = 0;
    run.length =
        std::max(run.length / divisorDecreaseRunLength, minimumRunLength);
  }
  return false;
}

void RealWcsp::startPhase(Run& run) const {
  run.maxIterations = 0;
  run.sumIterations = 0;
  run.numRuns = 0;
  run.phaseStartHard = best.hardPenalty;
  run.phaseStartSoft = best.softPenalty;
}

void RealWcsp::increaseWeights(double bound) {
  double const gap = bound - current.weightedPenalty;
  double sumSquares = 0.0;
  violated.forEach([&](unsigned c) {
    if (isRaisable(constraints[c])) {
      const double penalty = constraints[c].penalty;
      sumSquares += penalty * penalty;
    }
  });
  if (sumSquares <= 0.0) {
    logRecalculate();
    initialize();
    return;
  }
  double const step = gap / sumSquares;
  violated.forEach([&](unsigned c) {
    if (isRaisable(constraints[c])) {
      raiseWeight(constraints[c], step);
    }
  });
}

void RealWcsp::raiseWeight(Constraint& record, double step) {
  double const before = record.weight;
  double const declared = record.constraint->weight;
  record.weight = std::min(before + record.penalty * step, declared);
  if (record.weight <= 0.0) {
    throw std::runtime_error("Negative weight; Overflow");
  }
  double const change = record.weight - before;
  current.weightedPenalty += record.penalty * change;
  noteSum(current.weightedPenalty);
  static_cast<void>(measure(*record.constraint, current.value));
  for (auto const& [label, diff] : listed) {
    labels.scores[label] += diff * change;
    noteSum(labels.scores[label]);
  }
}

// A search that can be made one iteration after the other and never ends.

#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <vector>

#include "solver/wcspi.h"
#include "tests/shared/cases.h"

/// Counts the labels whose diff changes.
class CountingWcsp : public RealWcsp {
 public:
  std::uint64_t numChanges = 0;

  void enter(std::span<Change const> entered) override {
    numChanges += entered.size();
    RealWcsp::enter(entered);
  }
};

class SteppedSearch {
 public:
  CountingWcsp solver;

  SteppedSearch(std::vector<unsigned> numValues, Builder const& build) {
    solver.initialize(static_cast<unsigned>(numValues.size()), numValues);
    solver.log = &silence;
    build(solver);
  }

  /// Prepares the search and leaves the start behind.
  void start(std::vector<unsigned> const& initial) {
    solver.prepare(initial);
    solver.recordBest();
    solver.improveGreedily();
    search = std::make_unique<RealWcsp::Search>(solver);
    for (int i = 0; i < numWarmUp; ++i) {
      step();
    }
  }

  void step() {
    search->run.numPhases = 0;
    solver.concerned.clear();
    benchmark::DoNotOptimize(solver.mustStop(*search));
    solver.scan(*search);
    if (!search->ties.empty() || solver.answersByKick(*search)) {
      solver.moveOnce(*search);
      solver.adjustWeights(*search);
    }
    ++search->iteration;
  }

  /// What an iteration works on, as means of many.
  struct Steps {
    double changes = 0.0;     ///< labels whose diff changes
    double candidates = 0.0;  ///< scanned
    double concerned = 0.0;   ///< constraints evaluated
  };

  Steps countSteps() {
    Steps steps;
    solver.numChanges = 0;
    for (int i = 0; i < numCounted; ++i) {
      steps.candidates += static_cast<double>(solver.candidates.size());
      step();
      steps.concerned += static_cast<double>(solver.concerned.size());
    }
    return {static_cast<double>(solver.numChanges) / numCounted,
            steps.candidates / numCounted, steps.concerned / numCounted};
  }

 private:
  static constexpr int numWarmUp = 5000;
  static constexpr int numCounted = 2000;

  std::ostream silence{nullptr};
  std::unique_ptr<RealWcsp::Search> search;
};

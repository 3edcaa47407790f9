// A search that can be made one iteration after the other and never ends.

#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <ostream>
#include <vector>

#include "bench/cases.h"
#include "solver/wcspi.h"

class SteppedSearch {
 public:
  RealWcsp solver;

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

 private:
  static constexpr int numWarmUp = 5000;

  std::ostream silence{nullptr};
  std::unique_ptr<RealWcsp::Search> search;
};

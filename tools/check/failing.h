// Finds hard constraints that no search satisfies, from the reports of several
// runs.

#pragma once

#include <cstddef>
#include <vector>

#include "tools/check/model.h"

namespace check {

struct Failure {
  std::size_t constraint = 0;
  std::size_t count = 0;  // of the reports that violate it
};

struct Failing {
  std::vector<Failure> all;      // the most frequent first
  std::vector<std::size_t> set;  // of which every report violates one
  bool isSmallest = true;        // else there may be a smaller one
};

// The hard constraints outside the set that share a variable with it.
std::vector<std::size_t> hardNeighbours(Model const& model,
                                        std::vector<std::size_t> const& set);

// For each report its violated hard constraints, none of the lists empty.
Failing findFailing(std::vector<std::vector<std::size_t>> const& reports);

}  // namespace check

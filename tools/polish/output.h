// Reports and progress in the form of the solver.

#pragma once

#include <cstdint>
#include <ostream>

#include "tools/check/model.h"
#include "tools/polish/polisher.h"

namespace polish {

// "penalty = 0/7 (hard/soft), time = 1.25(s), iteration = 3"
void writeProgress(std::ostream& out, Solution const& solution, double seconds,
                   std::uint64_t step);

// From "[best solution]" to the last violated constraint.
void writeReport(std::ostream& out, check::Model const& model,
                 Solution const& solution);

}  // namespace polish

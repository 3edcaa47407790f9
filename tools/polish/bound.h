// Lower bounds on the penalty of a model, as exact engines claim them.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/check/model.h"
#include "tools/engines/engine.h"
#include "tools/polish/polisher.h"

namespace polish {

// Of no penalty, of the hard one alone, or of both.
struct Bound {
  std::string engine;
  std::optional<check::Int128> hard;
  std::optional<check::Int128> soft;
  std::string error;  // why there is no bound, if an engine failed
};

// What the engine claims within this time. If there is a solution without hard
// violations, only the soft penalty is bounded. Otherwise the least hard
// penalty comes first, and the soft one only if that is certain. Throws
// std::runtime_error for a model that no engine can take.
Bound boundOf(check::Model const& model,
              std::optional<Solution> const& solution, engines::Engine& engine,
              double seconds);

// The best bound of several engines that share the time. The first that proves
// the solution optimal ends it.
Bound boundOf(check::Model const& model,
              std::optional<Solution> const& solution,
              std::vector<std::unique_ptr<engines::Engine>> const& engines,
              double seconds);

// One line about the bound and how far the solution may be above it. Throws
// std::runtime_error if the solution refutes the bound.
std::string describe(Bound const& bound,
                     std::optional<Solution> const& solution);

}  // namespace polish

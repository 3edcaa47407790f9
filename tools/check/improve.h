// Looks for better neighbours of an assignment: one variable with another
// value, or two that swap their values. The hard penalty is compared first.

#pragma once

#include <optional>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace check {

struct Move {
  std::vector<Label> labels;  // what one or two variables are set to
  Penalty penalty;            // after it
};

struct Neighbours {
  std::optional<Move> change;  // the best one, better or not; none if no
                               // variable has another value
  std::optional<Move> swap;    // the best one of those that are better
  bool areSwapsAll = true;     // else there were too many to try all
};

Neighbours findBest(Model const& model, Assignment const& assignment,
                    Evaluation const& evaluation);

// The constraint whose penalty the move raises most: a hard one if there is
// one.
std::optional<std::size_t> heldBy(Model const& model,
                                  Assignment const& assignment,
                                  Evaluation const& evaluation,
                                  Move const& move);

}  // namespace check

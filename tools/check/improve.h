// Whether a neighbour of an assignment is better: one variable with another
// value, or two that swap theirs. Fewer hard violations come first.

#ifndef TOOLS_CHECK_IMPROVE_H_
#define TOOLS_CHECK_IMPROVE_H_

#include <optional>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace check {

struct Move {
  std::vector<Label> labels;  // what one or two variables are set to
  Int128 hard = 0;            // the penalties after it
  Int128 soft = 0;
};

struct Neighbours {
  std::optional<Move> change;  // the best one, better or not; none if there is
  std::optional<Move> swap;    // no other value, or no two that can be swapped
  bool areSwapsAll = true;     // else there were too many to try all
};

Neighbours findBest(const Model& model, const Assignment& assignment,
                    const Evaluation& evaluation);

// The constraint whose penalty the move raises most: a hard one if there is.
std::optional<std::size_t> heldBy(const Model& model,
                                  const Assignment& assignment,
                                  const Evaluation& evaluation,
                                  const Move& move);

}  // namespace check

#endif  // TOOLS_CHECK_IMPROVE_H_

// Penalties summed by groups of constraints, which the names give.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/check/pattern.h"

namespace check {

struct Group {
  std::string name;
  Int128 hard = 0;
  Int128 soft = 0;
};

// A rule that gives the name of a constraint the name of its group: what an
// extended regular expression matches, or its first part in parentheses; what
// it does not match is its own group. Without one, the text before the first
// digit, '_', '[' or '@'.
class Grouping {
 public:
  Grouping() = default;
  // Throws std::runtime_error if the text is not a regular expression.
  explicit Grouping(std::string const& expression) {
    pattern.emplace(expression);
  }

  std::string groupOf(std::string const& name) const;

 private:
  std::optional<Pattern> pattern;
};

// The groups with a penalty, the greatest first.
std::vector<Group> sumGroups(Model const& model, Evaluation const& evaluation,
                             Grouping const& grouping);

// The constraints that are violated: hard ones first, then by what they cost.
std::vector<std::size_t> violatedByCost(Model const& model,
                                        Evaluation const& evaluation);

// Weight times violation of a soft constraint; the violation of a hard one.
Int128 costOf(Constraint const& constraint, int violation);

}  // namespace check

// Sums penalties by groups of constraints, which are derived from their names.

#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"
#include "tools/check/pattern.h"

namespace check {

struct Group {
  std::string name;
  Penalty penalty;
};

// Maps the name of a constraint to its group: the match of an extended regular
// expression, or its first part in parentheses. A name without a match is its
// own group. Without an expression, it is the group given for the name, else
// the text before the first digit, '_', '[', '@' or blank.
class Grouping {
 public:
  using Groups = std::unordered_map<std::string, std::string>;

  // Throws std::runtime_error if the expression is not a regular one.
  Grouping(std::optional<std::string> const& expression, Groups itsGroups)
      : groups(std::move(itsGroups)) {
    if (expression) {
      pattern.emplace(*expression);
    }
  }

  std::string groupOf(std::string const& name) const;

 private:
  std::optional<Pattern> pattern;
  Groups groups;  // by name
};

// The groups with a penalty, the greatest first.
std::vector<Group> sumGroups(Model const& model, Evaluation const& evaluation,
                             Grouping const& grouping);

// The violated constraints: hard ones first, then by cost.
std::vector<std::size_t> violatedByCost(Model const& model,
                                        Evaluation const& evaluation);

// Weight times violation of a soft constraint; the violation of a hard one.
Int128 costOf(Constraint const& constraint, int violation);

}  // namespace check

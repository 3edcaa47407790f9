#include "tools/check/groups.h"

#include <algorithm>
#include <map>

namespace check {

std::string Grouping::groupOf(std::string const& name) const {
  if (!pattern) {
    if (auto const given = groups.find(name); given != groups.end()) {
      return given->second;
    }
    const std::size_t size = name.find_first_of("0123456789_[@ ");
    return size == 0 ? name : name.substr(0, size);
  }
  auto const match = pattern->find(name);
  if (!match) {
    return name;
  }
  auto const& [whole, first, second] = *match;
  return std::string(first.data() != nullptr ? first : whole);
}

std::vector<Group> sumGroups(Model const& model, Evaluation const& evaluation,
                             Grouping const& grouping) {
  std::map<std::string, Group> known;
  for (const std::size_t c : violatedByCost(model, evaluation)) {
    Constraint const& constraint = model.constraints[c];
    if (constraint.weight > 0) {
      known[grouping.groupOf(constraint.name)].penalty.add(
          constraint, evaluation.violations[c]);
    }
  }
  std::vector<Group> groups;
  for (auto& [name, group] : known) {
    group.name = name;
    groups.push_back(std::move(group));
  }
  std::stable_sort(
      groups.begin(), groups.end(),
      [](Group const& a, Group const& b) { return a.penalty > b.penalty; });
  return groups;
}

std::vector<std::size_t> violatedByCost(Model const& model,
                                        Evaluation const& evaluation) {
  std::vector<std::size_t> violated;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    if (evaluation.violations[c] > 0) {
      violated.push_back(c);
    }
  }
  auto const key = [&](std::size_t c) {
    const Constraint& constraint = model.constraints[c];
    return std::pair(constraint.weight == inf,
                     costOf(constraint, evaluation.violations[c]));
  };
  std::stable_sort(
      violated.begin(), violated.end(),
      [&](std::size_t a, std::size_t b) { return key(a) > key(b); });
  return violated;
}

Int128 costOf(Constraint const& constraint, int violation) {
  return constraint.weight == inf ? Int128{violation}
                                  : Int128{constraint.weight} * violation;
}

}  // namespace check

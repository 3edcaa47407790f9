#include "tools/check/groups.h"

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <tuple>

namespace check {

Grouping::Grouping(const std::string& expression) {
  const int error = regcomp(&pattern, expression.c_str(), REG_EXTENDED);
  if (error != 0) {
    std::array<char, 200> reason{};
    regerror(error, &pattern, reason.data(), reason.size());
    throw std::runtime_error("no regular expression: '" + expression +
                             "': " + reason.data());
  }
  hasPattern = true;
}

Grouping::~Grouping() {
  if (hasPattern) {
    regfree(&pattern);
  }
}

std::string Grouping::groupOf(const std::string& name) const {
  if (!hasPattern) {
    const std::size_t size = name.find_first_of("0123456789_[@");
    return size == 0 ? name : name.substr(0, size);
  }
  std::array<regmatch_t, 2> parts{};
  if (regexec(&pattern, name.c_str(), parts.size(), parts.data(), 0) != 0) {
    return name;
  }
  const regmatch_t& part = parts[1].rm_so >= 0 ? parts[1] : parts[0];
  return name.substr(static_cast<std::size_t>(part.rm_so),
                     static_cast<std::size_t>(part.rm_eo - part.rm_so));
}

std::vector<Group> sumGroups(const Model& model, const Evaluation& evaluation,
                             const Grouping& grouping) {
  std::map<std::string, Group> known;
  for (const std::size_t c : violatedByCost(model, evaluation)) {
    const Constraint& constraint = model.constraints[c];
    const Int128 cost = costOf(constraint, evaluation.violations[c]);
    if (cost > 0) {
      Group& group = known[grouping.groupOf(constraint.name)];
      (constraint.weight == inf ? group.hard : group.soft) += cost;
    }
  }
  std::vector<Group> groups;
  for (auto& [name, group] : known) {
    group.name = name;
    groups.push_back(std::move(group));
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const Group& a, const Group& b) {
                     return std::tie(a.hard, a.soft) > std::tie(b.hard, b.soft);
                   });
  return groups;
}

std::vector<std::size_t> violatedByCost(const Model& model,
                                        const Evaluation& evaluation) {
  std::vector<std::size_t> violated;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    if (evaluation.violations[c] > 0) {
      violated.push_back(c);
    }
  }
  const auto key = [&](std::size_t c) {
    const Constraint& constraint = model.constraints[c];
    return std::pair(constraint.weight == inf,
                     costOf(constraint, evaluation.violations[c]));
  };
  std::stable_sort(
      violated.begin(), violated.end(),
      [&](std::size_t a, std::size_t b) { return key(a) > key(b); });
  return violated;
}

Int128 costOf(const Constraint& constraint, int violation) {
  return constraint.weight == inf ? Int128{violation}
                                  : Int128{constraint.weight} * violation;
}

}  // namespace check

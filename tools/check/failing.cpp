// Tries sets by size. The set must contain one of the constraints of the first
// report that no chosen constraint covers.

#include "tools/check/failing.h"

#include <algorithm>
#include <map>

#include "tools/check/evaluate.h"

namespace check {

namespace {

class Chooser {
 public:
  Chooser(std::vector<std::vector<std::size_t>> const& reportLists,
          std::map<std::size_t, std::size_t> const& reportCounts)
      : reports(reportLists), counts(reportCounts) {}

  // Whether there is a set of at most this size; `chosen` then holds it.
  bool choose(std::size_t size);
  bool isCutOff() const { return steps >= maxSteps; }

  std::vector<std::size_t> chosen;

 private:
  static constexpr std::size_t maxSteps = 200000;

  std::vector<std::size_t> const* firstMissed() const;

  std::vector<std::vector<std::size_t>> const& reports;
  std::map<std::size_t, std::size_t> const& counts;
  std::size_t steps = 0;
};

std::vector<std::size_t> const* Chooser::firstMissed() const {
  for (auto const& report : reports) {
    bool const isMet =
        std::any_of(chosen.begin(), chosen.end(), [&report](std::size_t c) {
          return std::binary_search(report.begin(), report.end(), c);
        });
    if (!isMet) {
      return &report;
    }
  }
  return nullptr;
}

bool Chooser::choose(std::size_t size) {
  std::vector<std::size_t> const* const missed = firstMissed();
  if (missed == nullptr) {
    return true;
  }
  if (size == 0 || ++steps >= maxSteps) {
    return false;
  }
  std::vector<std::size_t> candidates = *missed;
  std::stable_sort(candidates.begin(), candidates.end(),
                   [this](std::size_t a, std::size_t b) {
                     return counts.at(a) > counts.at(b);
                   });
  for (const std::size_t c : candidates) {
    chosen.push_back(c);
    if (choose(size - 1)) {
      return true;
    }
    chosen.pop_back();
  }
  return false;
}

}  // namespace

std::vector<std::size_t> hardNeighbours(Model const& model,
                                        std::vector<std::size_t> const& set) {
  std::vector<bool> isShared(model.variables.size());
  for (const std::size_t c : set) {
    for (unsigned const v : namedVariables(model.constraints[c])) {
      isShared[v] = true;
    }
  }
  std::vector<std::size_t> neighbours;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    const std::vector<unsigned> named = namedVariables(model.constraints[c]);
    if (model.constraints[c].weight == inf &&
        std::any_of(named.begin(), named.end(),
                    [&](unsigned v) { return isShared[v]; }) &&
        !std::binary_search(set.begin(), set.end(), c)) {
      neighbours.push_back(c);
    }
  }
  return neighbours;
}

Failing findFailing(std::vector<std::vector<std::size_t>> const& reports) {
  std::map<std::size_t, std::size_t> counts;
  for (auto const& report : reports) {
    for (const std::size_t c : report) {
      ++counts[c];
    }
  }
  Failing failing;
  for (auto const& [constraint, count] : counts) {
    failing.all.push_back({constraint, count});
  }
  std::stable_sort(
      failing.all.begin(), failing.all.end(),
      [](Failure const& a, Failure const& b) { return a.count > b.count; });
  Chooser chooser(reports, counts);
  for (std::size_t size = 1; size <= reports.size(); ++size) {
    if (chooser.choose(size)) {
      break;
    }
    if (chooser.isCutOff()) {
      failing.isSmallest = false;
      for (auto const& report : reports) {
        chooser.chosen.push_back(report.front());
      }
      break;
    }
  }
  failing.set = chooser.chosen;
  std::sort(failing.set.begin(), failing.set.end());
  failing.set.erase(std::unique(failing.set.begin(), failing.set.end()),
                    failing.set.end());
  return failing;
}

}  // namespace check

// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>

namespace {

/// How many value numbers there must be for each variable until sorting the
/// values taken is faster than a walk over all numbers.
constexpr unsigned sparseness = 8;

// The scratch of calculate(), shared by all constraints and as long as the
// largest of them needs. Between two calls the counters are all 0.
std::vector<unsigned> counters;
std::vector<unsigned> usedValues;
std::vector<unsigned> freeValues;

/// Sets the counters of the values taken back to 0, also when a report throws.
class CountersCleaner {
 public:
  CountersCleaner(std::vector<unsigned> const& counted,
                  std::vector<unsigned> const& values)
      : variables(counted), assignment(values) {}
  CountersCleaner(CountersCleaner const&) = delete;
  CountersCleaner& operator=(CountersCleaner const&) = delete;
  ~CountersCleaner() {
    for (const unsigned variable : variables) {
      counters[assignment[variable]] = 0;
    }
  }

 private:
  std::vector<unsigned> const& variables;
  std::vector<unsigned> const& assignment;
};

int countRepeats(std::vector<unsigned> const& variables,
                 std::vector<unsigned> const& assignment) {
  int repeats = 0;
  for (const unsigned variable : variables) {
    if (++counters[assignment[variable]] >= 2) {
      ++repeats;
    }
  }
  return repeats;
}

/// Lists the values taken: by a walk over all value numbers or, where few of
/// them can be taken, by sorting.
void listUsedValues(std::vector<unsigned> const& variables,
                    std::vector<unsigned> const& assignment,
                    unsigned maxValue) {
  usedValues.clear();
  if (maxValue / sparseness < variables.size()) {
    for (unsigned value = 0; value <= maxValue; ++value) {
      if (counters[value] > 0) {
        usedValues.push_back(value);
      }
    }
    return;
  }
  for (const unsigned variable : variables) {
    usedValues.push_back(assignment[variable]);
  }
  std::sort(usedValues.begin(), usedValues.end());
  usedValues.erase(std::unique(usedValues.begin(), usedValues.end()),
                   usedValues.end());
}

void listFreeValues(unsigned maxValue) {
  freeValues.clear();
  for (unsigned value = 0; value <= maxValue; ++value) {
    if (counters[value] == 0) {
      freeValues.push_back(value);
    }
  }
}

}  // namespace

void WcspAlldiff::preprocess() {
  if (variables.empty()) {
    return;
  }
  variables.quicksort(0, static_cast<unsigned>(variables.size() - 1));
  variables.mergeEqual([](unsigned, unsigned) {});
  for (const unsigned variable : variables) {
    wcsp->involve(id, variable);
  }
  if (counters.size() <= maxValue) {
    counters.resize(maxValue + std::size_t{1});
  }
  usedValues.reserve(std::max(counters.size(), variables.size()));
  freeValues.reserve(counters.size());
}

int WcspAlldiff::calculate(std::vector<unsigned> const& assignment) {
  if (variables.empty()) {
    return 0;
  }
  const CountersCleaner cleaner(variables, assignment);
  const int repeats = countRepeats(variables, assignment);
  listUsedValues(variables, assignment, maxValue);
  if (repeats > 0) {
    listFreeValues(maxValue);
  }
  for (const unsigned variable : variables) {
    const unsigned current = assignment[variable];
    if (counters[current] <= 1) {
      report(variable, usedValues, current, 1);
    } else {
      report(variable, freeValues, current, -1);
    }
  }
  return repeats;
}

// The values ascend, and those below the domain size of the variable are
// reported, all but the current one.
void WcspAlldiff::report(unsigned variable, std::vector<unsigned> const& values,
                         unsigned current, int diff) {
  const auto end = std::lower_bound(values.begin(), values.end(),
                                    wcsp->getNumValues(variable));
  const auto own = std::lower_bound(values.begin(), end, current);
  const auto behindOwn = own != end && *own == current ? own + 1 : own;
  for (auto value = values.begin(); value != own; ++value) {
    wcsp->setDiffPenalty(id, variable, *value, diff);
  }
  for (auto value = behindOwn; value != end; ++value) {
    wcsp->setDiffPenalty(id, variable, *value, diff);
  }
}

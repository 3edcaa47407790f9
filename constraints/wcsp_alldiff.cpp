// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>
#include <span>

namespace {

/// How many value numbers there must be for each variable until sorting the
/// values taken is faster than a walk over all numbers.
constexpr unsigned sparseness = 8;

// The scratch of calculate(), shared by all constraints and as long as the
// largest of them needs. Between two calls the counters are all 0.
std::vector<unsigned> counters;
std::vector<unsigned> usedValues;
std::vector<unsigned> ranks;  // by value taken, its index in usedValues
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
  } else {
    for (const unsigned variable : variables) {
      usedValues.push_back(assignment[variable]);
    }
    std::sort(usedValues.begin(), usedValues.end());
    usedValues.erase(std::unique(usedValues.begin(), usedValues.end()),
                     usedValues.end());
  }
  for (unsigned rank = 0; rank < usedValues.size(); ++rank) {
    ranks[usedValues[rank]] = rank;
  }
}

void listFreeValues(unsigned maxValue) {
  freeValues.clear();
  for (unsigned value = 0; value <= maxValue; ++value) {
    if (counters[value] == 0) {
      freeValues.push_back(value);
    }
  }
}

/// The first of `values`, which ascend: those below `bound`.
std::span<unsigned const> valuesBelow(unsigned bound,
                                      std::span<unsigned const> values) {
  if (values.empty() || values.back() < bound) {
    return values;
  }
  const auto end = std::lower_bound(values.begin(), values.end(), bound);
  return {values.begin(), end};
}

}  // namespace

void WcspAlldiff::preprocess() {
  if (variables.empty()) {
    return;
  }
  variables.quicksort(0, static_cast<unsigned>(variables.size() - 1));
  variables.mergeEqual([](unsigned, unsigned) {});
  for (const unsigned variable : variables) {
    maxValue = std::max(maxValue, wcsp->getNumValues(variable) - 1);
    wcsp->involve(id, variable);
  }
  if (counters.size() <= maxValue) {
    ranks.resize(maxValue + std::size_t{1});
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
    const unsigned numValues = wcsp->getNumValues(variable);
    if (counters[current] > 1) {
      wcsp->setDiffPenalties(id, variable, valuesBelow(numValues, freeValues),
                             -1);
    } else {
      const auto values = valuesBelow(numValues, usedValues);
      const unsigned rank = ranks[current];
      wcsp->setDiffPenalties(id, variable, values.first(rank), 1);
      wcsp->setDiffPenalties(id, variable, values.subspan(rank + 1), 1);
    }
  }
  return repeats;
}

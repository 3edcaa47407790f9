// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>

namespace {

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

void listValues(unsigned maxValue) {
  usedValues.clear();
  freeValues.clear();
  for (unsigned value = 0; value <= maxValue; ++value) {
    (counters[value] > 0 ? usedValues : freeValues).push_back(value);
  }
}

}  // namespace

void WcspAlldiff::preprocess() {
  if (variables.empty()) {
    return;
  }
  variables.quicksort(0, static_cast<unsigned>(variables.size() - 1));
  variables.erase(std::unique(variables.begin(), variables.end()),
                  variables.end());
  for (const unsigned variable : variables) {
    wcsp->involve(id, variable);
  }
  if (counters.size() <= maxValue) {
    counters.resize(maxValue + std::size_t{1});
  }
  usedValues.reserve(counters.size());
  freeValues.reserve(counters.size());
}

int WcspAlldiff::calculate(std::vector<unsigned> const& assignment) {
  if (variables.empty()) {
    return 0;
  }
  const CountersCleaner cleaner(variables, assignment);
  const int repeats = countRepeats(variables, assignment);
  listValues(maxValue);
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

void WcspAlldiff::report(unsigned variable, std::vector<unsigned> const& values,
                         unsigned current, int diff) {
  const unsigned numValues = wcsp->getNumValues(variable);
  for (const unsigned value : values) {
    if (value >= numValues) {
      return;
    }
    if (value != current) {
      wcsp->setDiffPenalty(id, variable, value, diff);
    }
  }
}

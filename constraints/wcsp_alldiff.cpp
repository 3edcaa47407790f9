// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

#include "constraints/changes.h"

namespace {

/// How many value numbers there must be for each variable until sorting the
/// values taken is faster than a walk over all numbers.
constexpr unsigned sparseness = 8;

}  // namespace

/// As long as the largest constraint needs. Between two calls of calculate()
/// the counters are all 0.
struct WcspAlldiff::Scratch {
  std::vector<unsigned> counters;
  std::vector<unsigned> usedValues;
  std::vector<unsigned> ranks;  ///< by value taken, its index in usedValues
  std::vector<unsigned> freeValues;
  std::vector<unsigned> switchedValues;  ///< by an update, from or to no use
  std::vector<unsigned> switchedOrOwn;

  void reserve(std::size_t numValues, std::size_t numVariables) {
    numValues = std::max(numValues, counters.size());
    ranks.resize(numValues);
    counters.resize(numValues);
    usedValues.reserve(std::max(numValues, numVariables));
    freeValues.reserve(numValues);
    switchedValues.reserve(numValues);
    switchedOrOwn.reserve(numValues);
  }

  int countRepeats(std::vector<unsigned> const& counted,
                   std::vector<unsigned> const& assignment);
  void listUsedValues(std::vector<unsigned> const& counted,
                      std::vector<unsigned> const& assignment,
                      unsigned greatest);
  void listFreeValues(unsigned greatest);
  std::vector<unsigned> const& switchedOr(unsigned own, unsigned other);
};

namespace {

/// Sets the counters of the values taken back to 0, also when a report throws.
class CountersCleaner {
 public:
  CountersCleaner(std::vector<unsigned>& itsCounters,
                  std::vector<unsigned> const& counted,
                  std::vector<unsigned> const& values)
      : counters(itsCounters), variables(counted), assignment(values) {}
  CountersCleaner(CountersCleaner const&) = delete;
  CountersCleaner& operator=(CountersCleaner const&) = delete;
  ~CountersCleaner() {
    for (const unsigned variable : variables) {
      counters[assignment[variable]] = 0;
    }
  }

 private:
  std::vector<unsigned>& counters;
  std::vector<unsigned> const& variables;
  std::vector<unsigned> const& assignment;
};

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

int WcspAlldiff::Scratch::countRepeats(
    std::vector<unsigned> const& counted,
    std::vector<unsigned> const& assignment) {
  int repeats = 0;
  for (const unsigned variable : counted) {
    if (++counters[assignment[variable]] >= 2) {
      ++repeats;
    }
  }
  return repeats;
}

/// Lists the values taken: by a walk over all value numbers or, where few of
/// them can be taken, by sorting.
void WcspAlldiff::Scratch::listUsedValues(
    std::vector<unsigned> const& counted,
    std::vector<unsigned> const& assignment, unsigned greatest) {
  usedValues.clear();
  if (greatest / sparseness < counted.size()) {
    for (unsigned value = 0; value <= greatest; ++value) {
      if (counters[value] > 0) {
        usedValues.push_back(value);
      }
    }
  } else {
    for (const unsigned variable : counted) {
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

void WcspAlldiff::Scratch::listFreeValues(unsigned greatest) {
  freeValues.clear();
  for (unsigned value = 0; value <= greatest; ++value) {
    if (counters[value] == 0) {
      freeValues.push_back(value);
    }
  }
}

/// The values switched and two of a variable's own, in ascending order.
std::vector<unsigned> const& WcspAlldiff::Scratch::switchedOr(unsigned own,
                                                              unsigned other) {
  const std::array values = {std::min(own, other), std::max(own, other)};
  switchedOrOwn.clear();
  std::set_union(switchedValues.begin(), switchedValues.end(), values.begin(),
                 values.end(), std::back_inserter(switchedOrOwn));
  return switchedOrOwn;
}

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
  const std::size_t numValues = maxValue + std::size_t{1};
  scratch = &wcsp->shared<Scratch>();
  scratch->reserve(numValues, variables.size());
  counts.resize(numValues);
  countsBefore.resize(numValues);
}

int WcspAlldiff::calculate(std::vector<unsigned> const& assignment) {
  if (variables.empty()) {
    return 0;
  }
  const CountersCleaner cleaner(scratch->counters, variables, assignment);
  const int repeats = scratch->countRepeats(variables, assignment);
  scratch->listUsedValues(variables, assignment, maxValue);
  if (repeats > 0) {
    scratch->listFreeValues(maxValue);
  }
  for (const unsigned variable : variables) {
    const unsigned current = assignment[variable];
    const unsigned numValues = wcsp->getNumValues(variable);
    if (scratch->counters[current] > 1) {
      wcsp->setDiffPenalties(id, variable,
                             valuesBelow(numValues, scratch->freeValues), -1);
    } else {
      const auto values = valuesBelow(numValues, scratch->usedValues);
      const unsigned rank = scratch->ranks[current];
      wcsp->setDiffPenalties(id, variable, values.first(rank), 1);
      wcsp->setDiffPenalties(id, variable, values.subspan(rank + 1), 1);
    }
  }
  return repeats;
}

void WcspAlldiff::track(std::vector<unsigned> const& assignment) {
  std::fill(counts.begin(), counts.end(), 0);
  numRepeats = 0;
  for (const unsigned variable : variables) {
    if (++counts[assignment[variable]] >= 2) {
      ++numRepeats;
    }
  }
  countsBefore = counts;
}

int WcspAlldiff::update(std::vector<unsigned> const& before,
                        std::vector<unsigned> const& assignment,
                        unsigned variable) {
  const auto step = [&](unsigned moved) {
    if (counts[before[moved]]-- >= 2) {
      --numRepeats;
    }
    if (++counts[assignment[moved]] >= 2) {
      ++numRepeats;
    }
  };
  std::vector<unsigned>& switched = scratch->switchedValues;
  const auto note = [&](unsigned value) {
    if ((counts[value] > 0) != (countsBefore[value] > 0)) {
      switched.push_back(value);
    }
  };
  switched.clear();
  if (variable == several) {
    for (const unsigned moved : variables) {
      step(moved);
    }
    for (unsigned value = 0; value <= maxValue; ++value) {
      note(value);
    }
    report(before, assignment);
    countsBefore = counts;
    return numRepeats;
  }
  const unsigned left = before[variable];
  const unsigned taken = assignment[variable];
  if (left != taken) {  // a kick may draw the value that a variable has
    step(variable);
    note(std::min(left, taken));
    note(std::max(left, taken));
    report(before, assignment);
    countsBefore[left] = counts[left];
    countsBefore[taken] = counts[taken];
  }
  return numRepeats;
}

// The row of a variable that has come to share its value, or shares it no more,
// changes as a whole. In any other row a value changes if it has come into use
// or out of it, or if the variable has left or taken it.
void WcspAlldiff::report(std::vector<unsigned> const& before,
                         std::vector<unsigned> const& assignment) {
  Changes changes(*this);
  for (const unsigned variable : variables) {
    const unsigned ownBefore = before[variable];
    const unsigned own = assignment[variable];
    const int sharedBefore = countsBefore[ownBefore] > 1 ? 1 : 0;
    const int shared = counts[own] > 1 ? 1 : 0;
    const unsigned first = wcsp->labelNumber(variable);
    const unsigned end = wcsp->labelNumber(variable + 1);
    const auto diffs = [&](unsigned label) {
      const unsigned value = label - first;
      const int usedBefore = countsBefore[value] > 0 ? 1 : 0;
      const int used = counts[value] > 0 ? 1 : 0;
      return std::pair(value == ownBefore ? 0 : usedBefore - sharedBefore,
                       value == own ? 0 : used - shared);
    };
    if (sharedBefore != shared) {
      changes.addRange(first, end, diffs);
      continue;
    }
    for (const unsigned value : ownBefore == own
                                    ? scratch->switchedValues
                                    : scratch->switchedOr(ownBefore, own)) {
      if (const unsigned label = first + value; label < end) {
        const auto [diffBefore, diffAfter] = diffs(label);
        changes.add(label, diffBefore, diffAfter);
      }
    }
  }
  changes.flush();
}

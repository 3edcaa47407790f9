// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>
#include <span>

#include "constraints/changes.h"

namespace {

/// How many value numbers there must be for each variable until sorting the
/// values taken is faster than a walk over all numbers.
constexpr unsigned sparseness = 8;

}  // namespace

/// The scratch of calculate(), as long as the largest constraint needs. Between
/// two calls the counters are all 0.
struct WcspAlldiff::Scratch {
  std::vector<unsigned> counters;
  std::vector<unsigned> usedValues;
  std::vector<unsigned> ranks;  ///< by value taken, its index in usedValues
  std::vector<unsigned> freeValues;

  void reserve(std::size_t numValues, std::size_t numVariables) {
    numValues = std::max(numValues, counters.size());
    ranks.resize(numValues);
    counters.resize(numValues);
    usedValues.reserve(std::max(numValues, numVariables));
    freeValues.reserve(numValues);
  }

  int countRepeats(std::vector<unsigned> const& counted,
                   std::vector<unsigned> const& assignment);
  void listUsedValues(std::vector<unsigned> const& counted,
                      std::vector<unsigned> const& assignment,
                      unsigned greatest);
  void listFreeValues(unsigned greatest);
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

/// The diff of a variable's other value: 1 if that is used already, less 1 if
/// the variable shares its own.
int diffOf(unsigned count, unsigned ownCount) {
  return (count > 0 ? 1 : 0) - (ownCount > 1 ? 1 : 0);
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
  if (variable != several) {
    if (before[variable] == assignment[variable]) {
      return numRepeats;  // a kick may draw the value that a variable has
    }
    step(variable);
    reportMove(assignment, variable, before[variable]);
    return numRepeats;
  }
  countsBefore = counts;
  for (const unsigned moved : variables) {
    step(moved);
  }
  reportMoves(before, assignment);
  return numRepeats;
}

// The column of the value left changes when nobody takes it any more, that of
// the value taken when nobody took it before. Whole rows change: that of the
// variable, that of the one left alone on the value left, and that of the one
// that was alone on the value taken.
void WcspAlldiff::reportMove(std::vector<unsigned> const& assignment,
                             unsigned variable, unsigned left) {
  const unsigned taken = assignment[variable];
  const bool isFreed = counts[left] == 0;
  const bool isNew = counts[taken] == 1;
  const unsigned alone = counts[left] == 1 ? left : maxValue + 1;
  const unsigned joined = counts[taken] == 2 ? taken : maxValue + 1;
  const unsigned low = std::min(left, taken);
  const unsigned high = std::max(left, taken);
  const auto countBefore = [&](unsigned value) {
    return counts[value] + (value == left ? 1 : 0) - (value == taken ? 1 : 0);
  };
  Changes changes(*this);
  for (const unsigned other : variables) {
    const unsigned own = assignment[other];
    const unsigned first = wcsp->labelNumber(other);
    const unsigned end = wcsp->labelNumber(other + 1);
    if (other == variable || own == alone || own == joined) {
      const unsigned ownBefore = other == variable ? left : own;
      const unsigned numBefore = countBefore(ownBefore);
      for (unsigned value = 0; value < end - first; ++value) {
        changes.add(
            first + value,
            value == ownBefore ? 0 : diffOf(countBefore(value), numBefore),
            value == own ? 0 : diffOf(counts[value], counts[own]));
      }
      continue;
    }
    const int shared = counts[own] > 1 ? 1 : 0;
    const auto addColumn = [&](unsigned value) {
      if (first + value >= end) {
        return;
      }
      if (value == left && isFreed) {
        changes.add(first + value, 1 - shared, -shared);
      } else if (value == taken && isNew) {
        changes.add(first + value, -shared, 1 - shared);
      }
    };
    addColumn(low);
    addColumn(high);
  }
  changes.flush();
}

void WcspAlldiff::reportMoves(std::vector<unsigned> const& before,
                              std::vector<unsigned> const& assignment) {
  Changes changes(*this);
  for (const unsigned variable : variables) {
    const unsigned ownBefore = before[variable];
    const unsigned own = assignment[variable];
    const unsigned first = wcsp->labelNumber(variable);
    const unsigned numValues = wcsp->getNumValues(variable);
    for (unsigned value = 0; value < numValues; ++value) {
      changes.add(first + value,
                  value == ownBefore
                      ? 0
                      : diffOf(countsBefore[value], countsBefore[ownBefore]),
                  value == own ? 0 : diffOf(counts[value], counts[own]));
    }
  }
  changes.flush();
}

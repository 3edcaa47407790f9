// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>
#include <array>
#include <span>

void WcspAlldiff::preprocess() {
  if (variables.empty()) {
    return;
  }
  variables.quicksort(0, static_cast<unsigned>(variables.size() - 1));
  variables.mergeEqual([](unsigned, unsigned) {});
  for (unsigned const variable : variables) {
    maxValue = std::max(maxValue, wcsp->getNumValues(variable) - 1);
    wcsp->involve(id, variable);
  }
  const std::size_t numValues = maxValue + std::size_t{1};
  counts.resize(numValues);
  countsBefore.resize(numValues);
  values.resize(numValues);
}

int WcspAlldiff::calculate(std::vector<unsigned> const& assignment) {
  std::ranges::fill(counts, 0);
  numRepeats = 0;
  for (unsigned const variable : variables) {
    numRepeats += counts[assignment[variable]]++ > 0 ? 1 : 0;
  }
  countsBefore = counts;
  // The values used, then the free ones, both ascending.
  auto const numUsed = variables.size() - static_cast<std::size_t>(numRepeats);
  const std::span used = std::span(values).first(numUsed);
  const std::span free = std::span(values).subspan(numUsed);
  auto nextUsed = used.begin();
  auto nextFree = free.begin();
  for (unsigned value = 0; value < counts.size(); ++value) {
    *(counts[value] > 0 ? nextUsed : nextFree)++ = value;
  }
  for (unsigned const variable : variables) {
    unsigned const own = assignment[variable];
    unsigned const numValues = wcsp->getNumValues(variable);
    auto const report = [&](auto begin, auto end, int diff) {
      if (numValues <= maxValue) {
        end = std::lower_bound(begin, end, numValues);
      }
      wcsp->setDiffPenalties(id, variable, {begin, end}, diff);
    };
    if (counts[own] > 1) {
      report(free.begin(), free.end(), -1);
    } else {
      auto const self = std::lower_bound(used.begin(), used.end(), own);
      report(used.begin(), self, 1);
      report(self + 1, used.end(), 1);
    }
  }
  return numRepeats;
}

void WcspAlldiff::replace(unsigned left, unsigned taken) {
  numRepeats -= counts[left]-- > 1 ? 1 : 0;
  numRepeats += counts[taken]++ > 0 ? 1 : 0;
}

/// The diffs of one variable's labels, before a move and after it.
struct WcspAlldiff::Row {
  unsigned const* countsBefore;
  unsigned const* counts;
  unsigned first;  ///< the number of its first label
  unsigned ownBefore;
  unsigned own;
  int sharedBefore;
  int shared;

  Row(WcspAlldiff const& all, unsigned firstLabel, unsigned valueBefore,
      unsigned value)
      : countsBefore(all.countsBefore.data()),
        counts(all.counts.data()),
        first(firstLabel),
        ownBefore(valueBefore),
        own(value),
        sharedBefore(countsBefore[ownBefore] > 1 ? 1 : 0),
        shared(counts[own] > 1 ? 1 : 0) {}

  WcspChanges::Diffs operator()(unsigned label) const {
    unsigned const value = label - first;
    int const usedBefore = countsBefore[value] > 0 ? 1 : 0;
    int const used = counts[value] > 0 ? 1 : 0;
    return {value == ownBefore ? 0 : usedBefore - sharedBefore,
            value == own ? 0 : used - shared};
  }
};

// The row of a variable that has come to share its value, or shares it no more,
// changes as a whole. In any other row a value changes if it has come into use
// or out of it, or if the variable has left or taken it.
int WcspAlldiff::update(std::vector<unsigned> const& now, unsigned moved,
                        unsigned left, WcspChanges& changes) {
  unsigned const taken = now[moved];
  replace(left, taken);
  std::array const concerned = {std::min(left, taken), std::max(left, taken)};
  std::array<unsigned, 2> switched = {};
  auto const switchedEnd =
      std::ranges::copy_if(concerned, switched.begin(), [this](unsigned value) {
        return (counts[value] > 0) != (countsBefore[value] > 0);
      }).out;
  std::span const switchedValues(switched.begin(), switchedEnd);
  for (unsigned const variable : variables) {
    unsigned const first = changes.label(variable);
    unsigned const end = changes.label(variable + 1);
    unsigned const own = now[variable];
    Row const row(*this, first, variable == moved ? left : own, own);
    if (row.sharedBefore != row.shared) {
      changes.addRange(first, end, row);
      continue;
    }
    for (unsigned const value :
         variable == moved ? std::span<unsigned const>(concerned)
                           : std::span<unsigned const>(switchedValues)) {
      if (unsigned const label = first + value; label < end) {
        changes.add(label, row(label));
      }
    }
  }
  countsBefore[left] = counts[left];
  countsBefore[taken] = counts[taken];
  return numRepeats;
}

int WcspAlldiff::updateSeveral(std::vector<unsigned> const& before,
                               std::vector<unsigned> const& now,
                               WcspChanges& changes) {
  for (unsigned const variable : variables) {
    replace(before[variable], now[variable]);
  }
  for (unsigned const variable : variables) {
    unsigned const first = changes.label(variable);
    changes.addRange(first, changes.label(variable + 1),
                     Row(*this, first, before[variable], now[variable]));
  }
  countsBefore = counts;
  return numRepeats;
}

// The all-different constraint. Counting how often each value number is taken
// tells a variable that shares its value from one that is alone on it: the
// first gains by moving to a free value, the second loses by moving to a used
// one.

#include "constraints/wcsp_alldiff.h"

#include <algorithm>
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
  touched.reserve(2 * variables.size());
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
    auto const list = [&](auto begin, auto end, int diff) {
      if (numValues <= maxValue) {
        end = std::lower_bound(begin, end, numValues);
      }
      wcsp->setDiffPenalties(id, variable, {begin, end}, diff);
    };
    if (counts[own] > 1) {
      list(free.begin(), free.end(), -1);
    } else {
      auto const self = std::lower_bound(used.begin(), used.end(), own);
      list(used.begin(), self, 1);
      list(self + 1, used.end(), 1);
    }
  }
  return numRepeats;
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
int WcspAlldiff::update(std::vector<unsigned> const& before,
                        std::vector<unsigned> const& now,
                        std::span<unsigned const> moved, WcspChanges& changes) {
  touched.clear();
  for (unsigned const variable : moved) {
    for (unsigned const value : {before[variable], now[variable]}) {
      touched.push_back(value);
    }
    numRepeats -= counts[before[variable]]-- > 1 ? 1 : 0;
    numRepeats += counts[now[variable]]++ > 0 ? 1 : 0;
  }
  std::ranges::sort(touched);
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  auto const switchedEnd =
      std::ranges::copy_if(touched, values.begin(), [this](unsigned value) {
        return (counts[value] > 0) != (countsBefore[value] > 0);
      }).out;
  std::span<unsigned const> const switched(values.begin(), switchedEnd);
  for (unsigned const variable : variables) {
    unsigned const first = changes.label(variable);
    unsigned const end = changes.label(variable + 1);
    Row const row(*this, first, before[variable], now[variable]);
    if (row.sharedBefore != row.shared) {
      changes.addRange(first, end, row);
      continue;
    }
    bool const isMoved = row.ownBefore != row.own;
    for (unsigned const value :
         isMoved ? std::span<unsigned const>(touched) : switched) {
      if (unsigned const label = first + value; label < end) {
        changes.add(label, row(label));
      }
    }
  }
  for (unsigned const value : touched) {
    countsBefore[value] = counts[value];
  }
  return numRepeats;
}

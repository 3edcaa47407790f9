// What the linear and the quadratic constraint share: their violation is the
// distance of a sum from two bounds, and a move of a variable takes the gain of
// its current label out of the sum and puts the gain of the new one in.

#pragma once

#include <algorithm>
#include <cstdint>

#include "constraints/label_index.h"
#include "solver/wcsp.h"

/// One measurement of a constraint on a sum of labels. Sums and gains stay
/// within plus and minus 2^61.
class BoundedSum {
 public:
  /// A bound that equals its default, -Wcsp::inf or Wcsp::inf, is no bound.
  BoundedSum(WcspConstraint const& measured, int lowerBound, int upperBound,
             std::int64_t currentSum)
      : constraint(measured),
        lower(lowerBound == -Wcsp::inf ? -unbounded : lowerBound),
        upper(upperBound == Wcsp::inf ? unbounded : upperBound),
        sum(currentSum),
        before(violationOf(currentSum)) {}

  /// The distance of the sum from the bounds, at most Wcsp::inf.
  int violation() const { return before; }

  /// Whether the bounds hold and no change of at most `change` leaves them.
  bool admits(std::int64_t change) const {
    return sum + change <= upper && sum - change >= lower;
  }

  /// What changing the sum by `change` does to the violation.
  int diff(std::int64_t change) const {
    return violationOf(sum + change) - before;
  }

  void report(unsigned variable, unsigned value, int diff) const {
    if (diff != 0) {
      constraint.wcsp->setDiffPenalty(constraint.id, variable, value, diff);
    }
  }

  /// Reports the diffs of one block. `gains` holds what each label adds to the
  /// sum when it is on, and `labels`, an ascending range, the labels of the
  /// block whose gain may differ from 0. `current` is the label that is on now,
  /// or block.end.
  template <class Labels, class Gain>
  void report(LabelIndex const& index, LabelIndex::Block const& block,
              unsigned current, Labels const& labels, Gain const* gains) const {
    const std::int64_t loss = current == block.end ? 0 : gains[current];
    const int leaving = diff(-loss);
    auto label = labels.begin();
    const auto end = labels.end();
    if (leaving == 0) {
      for (; label != end; ++label) {
        report(block.variable, index.value(block, *label),
               diff(gains[*label] - loss));
      }
      return;
    }
    // Leaving alone changes the violation, so every value has to be reported.
    const unsigned numValues = constraint.wcsp->getNumValues(block.variable);
    for (unsigned value = 0; value < numValues; ++value) {
      if (label != end && index.value(block, *label) == value) {
        report(block.variable, value, diff(gains[*label] - loss));
        ++label;
      } else {
        report(block.variable, value, leaving);
      }
    }
  }

 private:
  static constexpr std::int64_t unbounded = std::int64_t{1} << 62;

  WcspConstraint const& constraint;
  std::int64_t lower;
  std::int64_t upper;
  std::int64_t sum;
  int before;

  int violationOf(std::int64_t s) const {
    const std::int64_t distance = std::max<std::int64_t>(s - upper, 0) +
                                  std::max<std::int64_t>(lower - s, 0);
    return static_cast<int>(std::min<std::int64_t>(distance, Wcsp::inf));
  }
};

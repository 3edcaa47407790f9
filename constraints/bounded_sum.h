// What the linear and the quadratic constraint share: their violation is the
// distance of a sum from two bounds, and a move of a variable takes the gain of
// its current label out of the sum and puts the gain of the new one in.

#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include "constraints/changes.h"
#include "constraints/label_index.h"
#include "solver/wcsp.h"

/// The bounds of a sum. A bound that equals its default, -Wcsp::inf or
/// Wcsp::inf, is no bound.
class Bounds {
 public:
  Bounds(int lowerBound, int upperBound)
      : lower(lowerBound == -Wcsp::inf ? -unbounded : lowerBound),
        upper(upperBound == Wcsp::inf ? unbounded : upperBound) {}

  /// The distance of a sum from the bounds, at most Wcsp::inf.
  [[gnu::always_inline]] int violation(std::int64_t sum) const {
    const std::int64_t distance = std::max<std::int64_t>(sum - upper, 0) +
                                  std::max<std::int64_t>(lower - sum, 0);
    return static_cast<int>(std::min<std::int64_t>(distance, Wcsp::inf));
  }

  /// Stands for no slope.
  static constexpr int bent = 2;

  /// By how much the violation grows with the sum, -1, 0 or 1, if that is the
  /// same from `least` to `greatest`, or else `bent`.
  int slope(std::int64_t least, std::int64_t greatest) const {
    if (least >= lower && greatest <= upper) {
      return 0;
    }
    if (least >= std::max(lower, upper) && greatest - upper <= Wcsp::inf) {
      return 1;
    }
    return greatest <= std::min(lower, upper) && lower - least <= Wcsp::inf
               ? -1
               : bent;
  }

 private:
  static constexpr std::int64_t unbounded = std::int64_t{1} << 62;

  std::int64_t lower;
  std::int64_t upper;
};

/// One measurement of a constraint on a sum of labels. Sums and gains stay
/// within plus and minus 2^61.
class BoundedSum {
 public:
  BoundedSum(WcspConstraint const& measured, int lowerBound, int upperBound,
             std::int64_t currentSum)
      : constraint(measured),
        bounds(lowerBound, upperBound),
        sum(currentSum),
        before(bounds.violation(currentSum)) {}

  /// The distance of the sum from the bounds, at most Wcsp::inf.
  int violation() const { return before; }

  /// Whether the bounds hold and no change of at most `change` leaves them.
  bool admits(std::int64_t change) const {
    return bounds.slope(sum - change, sum + change) == 0;
  }

  /// What changing the sum by `change` does to the violation.
  int diff(std::int64_t change) const {
    return bounds.violation(sum + change) - before;
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
  WcspConstraint const& constraint;
  Bounds bounds;
  std::int64_t sum;
  int before;
};

/// An update of such a constraint: its sum before and after.
class SumStep {
 public:
  [[gnu::always_inline]] SumStep(Bounds const& itsBounds,
                                 std::int64_t sumBefore, std::int64_t sumAfter)
      : bounds(itsBounds),
        before(sumBefore),
        after(sumAfter),
        violationBefore(bounds.violation(sumBefore)),
        violationAfter(bounds.violation(sumAfter)) {}

  int violation() const { return violationAfter; }

  /// The slope of the violation, see Bounds, where moves before and after can
  /// lead if they change the sum by `maxChange` at most. If it is 0, all diffs
  /// are 0.
  int slope(std::int64_t maxChange) const {
    return bounds.slope(std::min(before, after) - maxChange,
                        std::max(before, after) + maxChange);
  }

  /// Whether diffs of a variable that has not moved, and whose gains have not
  /// changed, may change.
  bool reachesAll(int slope) const {
    return slope == Bounds::bent && before != after;
  }

  /// What a change of the sum would do to the violation before and after.
  [[gnu::always_inline]] int diffBefore(std::int64_t change) const {
    return bounds.violation(before + change) - violationBefore;
  }
  [[gnu::always_inline]] int diffAfter(std::int64_t change) const {
    return bounds.violation(after + change) - violationAfter;
  }

 private:
  Bounds bounds;
  std::int64_t before;
  std::int64_t after;
  int violationBefore;
  int violationAfter;
};

/// The gains of a block's labels at one of the two assignments.
template <class Gain>
struct BlockGains {
  std::int64_t loss;  ///< the gain of the label that is on; 0 if none is
  Gain const* gains;  ///< by label of the constraint
};

/// Reports the labels of one block whose diff changes in `step`.
template <class Gain>
void reportBlock(Changes& changes, SumStep const& step, LabelIndex const& index,
                 LabelIndex::Block const& block, unsigned firstLabel,
                 unsigned numValues, BlockGains<Gain> const& before,
                 BlockGains<Gain> const& after) {
  const auto diffs = [&](unsigned label) {
    return std::pair(step.diffBefore(before.gains[label] - before.loss),
                     step.diffAfter(after.gains[label] - after.loss));
  };
  const auto add = [&](unsigned value, unsigned label) {
    const auto [diffBefore, diffAfter] = diffs(label);
    changes.add(firstLabel + value, diffBefore, diffAfter);
  };
  const int leavingBefore = step.diffBefore(-before.loss);
  const int leavingAfter = step.diffAfter(-after.loss);
  if (leavingBefore == leavingAfter) {
    for (unsigned label = block.begin; label < block.end; ++label) {
      add(index.value(block, label), label);
    }
    return;
  }
  unsigned label = block.begin;
  for (unsigned value = 0; value < numValues; ++value) {
    if (label != block.end && index.value(block, label) == value) {
      add(value, label++);
    } else {
      changes.add(firstLabel + value, leavingBefore, leavingAfter);
    }
  }
}

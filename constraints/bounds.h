// What the linear and the quadratic constraint share: their violation is the
// distance of a sum from two bounds, and a move of a variable takes the gain of
// its current label out of the sum and puts the gain of the new one in.

#pragma once

#include <algorithm>
#include <cstdint>

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

/// An update of a constraint with bounds: its sum before and after.
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

  /// What a change of the sum would do to the violation, before and after.
  [[gnu::always_inline]] WcspChanges::Diffs diffs(
      std::int64_t changeBefore, std::int64_t changeAfter) const {
    return {bounds.violation(before + changeBefore) - violationBefore,
            bounds.violation(after + changeAfter) - violationAfter};
  }

 private:
  Bounds bounds;
  std::int64_t before;
  std::int64_t after;
  int violationBefore;
  int violationAfter;
};

/// Calls act(value, item) in ascending order for the items from `item` to
/// `end`, which have ascending values; if `isAll`, also for each other value
/// below `numValues`, with `end` as its item.
template <class Item, class ValueOf, class Act>
void forEachValue(Item item, Item end, unsigned numValues, bool isAll,
                  ValueOf valueOf, Act act) {
  if (!isAll) {
    for (; item != end; ++item) {
      act(valueOf(item), item);
    }
    return;
  }
  for (unsigned value = 0; value < numValues; ++value) {
    act(value, item != end && valueOf(item) == value ? item++ : end);
  }
}

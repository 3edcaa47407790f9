// Constraints in which all terms have one coefficient depend on nothing but the
// number of terms that are on: their violations and diffs stand in a table by
// that number, which equal constraints share.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"

/// What holds while so many terms are on.
struct CountState {
  int violation;
  int taking;   ///< the diff of a label that is off; 0 if there is none
  int leaving;  ///< of the values beside a label that is on; 0 if there is none
};

/// The diffs in an update.
struct CountStep {
  Diffs taking;
  Diffs leaving;

  CountStep(CountState const& before, CountState const& after)
      : taking{before.taking, after.taking},
        leaving{before.leaving, after.leaving} {}

  /// Of a term: of its label, where it is off, or of the other values.
  Diffs diffs(bool wasOn, bool isOn) const {
    return {wasOn ? leaving.before : taking.before,
            isOn ? leaving.after : taking.after};
  }

  /// Whether all diffs are 0, before and after.
  bool isFlat() const {
    return (taking.before | taking.after | leaving.before | leaving.after) == 0;
  }
};

/// The tables of one solver.
class CountTables {
 public:
  /// The states of a constraint by the number of terms that are on, 0 to
  /// `numTerms`; they live as long as this. Terms and bounds as in WcspLinear.
  CountState const* find(std::size_t numTerms, std::int64_t coefficient,
                         int lower, int upper) {
    auto& table = tables[{numTerms, coefficient, lower, upper}];
    if (table.empty()) {
      table = make(numTerms, coefficient, Bounds(lower, upper));
    }
    return table.data();
  }

 private:
  std::map<std::tuple<std::size_t, std::int64_t, int, int>,
           std::vector<CountState>>
      tables;

  static std::vector<CountState> make(std::size_t numTerms,
                                      std::int64_t coefficient,
                                      Bounds const& bounds) {
    std::vector<CountState> states(numTerms + 1);
    for (std::size_t count = 0; count <= numTerms; ++count) {
      const auto sum = static_cast<std::int64_t>(count) * coefficient;
      const int violation = bounds.violation(sum);
      states[count].violation = violation;
      states[count].taking =
          count == numTerms ? 0
                            : bounds.violation(sum + coefficient) - violation;
      states[count].leaving =
          count == 0 ? 0 : bounds.violation(sum - coefficient) - violation;
    }
    return states;
  }
};

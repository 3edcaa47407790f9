// The all-different constraint: a list of variables takes pairwise different
// value numbers.

#pragma once

#include <functional>
#include <span>
#include <vector>

#include "constraints/array.h"
#include "solver/wcsp.h"

/// The violation is the number of variables minus the number of distinct value
/// numbers that they take. Value numbers are compared, not value names.
class WCSP_EXPORT WcspAlldiff : public WcspConstraint {
 public:
  /// Filled by the caller in any order; sorted and freed of repeats by
  /// preprocess().
  detail::Array<unsigned, std::less_equal<unsigned>> variables;

  /// At most the largest value number that any of the variables can take, to
  /// which preprocess() raises it.
  unsigned maxValue = 0;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& now, std::span<unsigned const> moved,
             WcspChanges& changes) override;

 private:
  struct Row;

  int numRepeats = 0;                  ///< the violation at the last call
  std::vector<unsigned> counts;        ///< how often it was taken, by value
  std::vector<unsigned> countsBefore;  ///< the same but during an update
  std::vector<unsigned> values;        ///< scratch
  std::vector<unsigned> touched;       ///< scratch
};

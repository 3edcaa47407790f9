// The all-different constraint: a list of variables takes pairwise different
// value numbers.

#pragma once

#include <functional>
#include <vector>

#include "constraints/array.h"
#include "solver/wcsp.h"

/// The violation is the number of variables minus the number of distinct value
/// numbers that they take. Value numbers are compared, not value names.
class WCSP_EXPORT WcspAlldiff : public WcspConstraint {
 public:
  /// Filled by the caller in any order; sorted and freed of repeats by
  /// preprocess().
  Array<unsigned, std::less_equal<unsigned>> variables;

  /// At most the largest value number that any of the variables can take, to
  /// which preprocess() raises it.
  unsigned maxValue = 0;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
  bool isUpdatable() const override { return true; }
  void track(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& assignment,
             unsigned variable) override;

 private:
  struct Scratch;

  Scratch* scratch = nullptr;          ///< shared; owned by the solver
  std::vector<unsigned> counts;        ///< of the assignment tracked, by value
  std::vector<unsigned> countsBefore;  ///< the same before an update
  int numRepeats = 0;                  ///< the violation tracked

  void report(std::vector<unsigned> const& before,
              std::vector<unsigned> const& assignment);
};

// The linear constraint: the summed coefficients of the labels that are on lie
// between two bounds.

#pragma once

#include <cstdint>
#include <vector>

#include "constraints/array.h"
#include "constraints/label_index.h"
#include "solver/wcsp.h"

/// lower <= sum of the coefficients of the terms that are on <= upper. The
/// violation is the distance of the sum from that interval, at most Wcsp::inf.
class WcspLinear : public WcspConstraint {
 public:
  struct Term {
    std::int64_t coefficient;  ///< any sign
    unsigned variable;
    unsigned value;
  };

  /// Orders terms by (variable, value); the coefficient takes no part.
  struct Lt {
    bool operator()(Term const& a, Term const& b) const {
      return a.variable < b.variable ||
             (a.variable == b.variable && a.value <= b.value);
    }
  };

  int lower = -Wcsp::inf;  ///< -Wcsp::inf: no bound
  int upper = Wcsp::inf;   ///< Wcsp::inf: no bound

  /// Filled by the caller in any order before the search starts; sorted and
  /// freed of repeated labels by preprocess().
  Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;

 private:
  LabelIndex index;  ///< of `terms`: label i is terms[i]

  void mergeRepeats();
  std::int64_t sum(std::vector<unsigned> const& assignment) const;
  void reportWithoutCurrent(LabelIndex::Block const& block, std::int64_t sum);
  void reportWithCurrent(LabelIndex::Block const& block, unsigned current,
                         std::int64_t sum);
  void report(unsigned variable, unsigned value, std::int64_t sum, int before);
};

// A quadratic constraint of any shape: the gain of every label is kept, the sum
// of the coefficients that join it with a label that is on, and its own. From
// the gains follow the violation and, block by block, all diffs.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "constraints/quadratic_terms.h"

namespace detail {

class QuadraticSum {
 public:
  /// Lays out the terms of a constraint, which ascend and hold their lesser
  /// label first; `keys` are their labels, ascending. Sums are kept in 32 bits
  /// where they fit.
  static std::unique_ptr<QuadraticSum> make(WcspQuadratic const& constraint,
                                            std::vector<LabelKey> const& keys);

  QuadraticSum() = default;
  QuadraticSum(QuadraticSum const&) = delete;
  QuadraticSum& operator=(QuadraticSum const&) = delete;
  virtual ~QuadraticSum() = default;

  // As in WcspConstraint.
  virtual int calculate(std::vector<unsigned> const& assignment) = 0;
  virtual void prepare(WcspChanges& changes) = 0;
  virtual int update(std::vector<unsigned> const& before,
                     std::vector<unsigned> const& now,
                     std::span<unsigned const> moved, WcspChanges& changes) = 0;
};

}  // namespace detail

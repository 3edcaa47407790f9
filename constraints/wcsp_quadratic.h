// The quadratic constraint: the summed coefficients of the pairs of labels that
// are both on lie between two bounds.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "constraints/array.h"
#include "solver/wcsp.h"

class PairTable;
class QuadraticSum;

/// lower <= sum of the coefficients of the terms whose labels are both on
/// <= upper. The violation is the distance of the sum from that interval, at
/// most Wcsp::inf.
class WCSP_EXPORT WcspQuadratic : public WcspConstraint {
 public:
  struct Term {
    std::int64_t coefficient;  ///< any sign; magnitudes sum below 2^61
    unsigned variable1;        ///< one label
    unsigned value1;
    unsigned variable2;  ///< the other, or the same again
    unsigned value2;
  };

  /// Orders terms by (variable1, value1, variable2, value2).
  struct Lt {
    bool operator()(Term const& a, Term const& b) const;
  };

  int lower = -Wcsp::inf;  ///< -Wcsp::inf: no bound
  int upper = Wcsp::inf;   ///< Wcsp::inf: no bound

  /// Filled by the caller before the search starts, in any order and with the
  /// two labels of a term in any order; taken over, and emptied, by
  /// preprocess(), which adds repeats into one.
  Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
  bool isUpdatable() const override { return !isSmall; }
  void track(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& assignment,
             unsigned variable) override;

 private:
  PairTable const* table = nullptr;        ///< where it suits; shared
  std::array<unsigned, 2> variables = {};  ///< of the table
  std::shared_ptr<QuadraticSum> sum;       ///< otherwise, unless without terms
  bool isSmall = false;                    ///< the sum, so that it is listed

  /// Returns whether a table suits the terms.
  bool makePair();
  int calculatePair(std::vector<unsigned> const& assignment) const;
  int updatePair(std::vector<unsigned> const& before,
                 std::vector<unsigned> const& assignment) const;
};

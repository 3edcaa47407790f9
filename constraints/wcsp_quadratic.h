// The quadratic constraint: the summed coefficients of the pairs of labels that
// are both on lie between two bounds.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "constraints/array.h"
#include "solver/wcsp.h"

namespace detail {
class PairTable;
class QuadraticSum;
}  // namespace detail

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
  detail::Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  void prepare(WcspChanges& changes) override;
  int calculate(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& now, std::span<unsigned const> moved,
             WcspChanges& changes) override;

 private:
  /// Terms of two variables.
  struct Pair {
    std::shared_ptr<detail::PairTable const> table;
    std::array<unsigned, 2> variables;
  };

  /// Nothing: there are no terms.
  std::variant<std::monostate, Pair, std::shared_ptr<detail::QuadraticSum>>
      form;

  /// Returns whether a table suits the terms.
  bool makePair();
  int calculatePair(Pair const& pair,
                    std::vector<unsigned> const& assignment) const;
  static int updatePair(Pair const& pair, std::vector<unsigned> const& before,
                        std::vector<unsigned> const& now, WcspChanges& changes);
};

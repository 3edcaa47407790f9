// The quadratic constraint: the summed coefficients of the pairs of labels that
// are both on lie between two bounds.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "constraints/array.h"
#include "constraints/label_index.h"
#include "solver/wcsp.h"

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

 private:
  LabelIndex index;  ///< of all labels in the terms
  /// Where the run of each label begins in the runs, and one more, the end.
  std::vector<unsigned> offsets;
  /// The runs: for each label the terms that join it with another one, in
  /// pieces of partners with consecutive numbers. A piece is the number of its
  /// first partner, its length and its coefficients side by side; a coefficient
  /// of 0 bridges a short gap.
  std::vector<std::int32_t> narrowRuns;  ///< if any sum of coefficients fits
  std::vector<std::int64_t> wideRuns;    ///< otherwise
  bool isWide = false;                   ///< which of the two is in use
  std::vector<std::int64_t> selfCoefficients;  ///< by label; empty: all are 0

  template <class Sum>
  void layOut(std::vector<std::uint64_t> const& keys, std::vector<Sum>& runs);
  template <class Sum>
  int evaluate(Sum const* runs, std::vector<unsigned> const& assignment) const;
  template <class Sum>
  int evaluateDense(Sum const* runs) const;
  template <class Sum>
  int evaluateSparse(Sum const* runs) const;
  std::size_t numLabels() const;
  template <class Sum>
  void addRun(Sum const* runs, unsigned label, Sum* gains) const;
  void forEachPiece(auto const* runs, unsigned label, auto act) const;
  void forEachCurrent(auto act) const;
  void forEachCurrentBackwards(auto act) const;
  template <class Sum>
  std::int64_t sumOf(Sum const* gains, std::int64_t selfSum) const;
};

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
class WcspQuadratic : public WcspConstraint {
 public:
  struct Term;

  /// One label of the terms with its run: the terms whose own label it is,
  /// consecutive after sorting and ordered by partner. Positions are indexes
  /// into `terms`.
  struct Label {
    unsigned variable;
    unsigned value;
    unsigned index;                ///< its position in `labels`
    std::size_t begin;             ///< first term of the run
    std::size_t end;               ///< one past the last term of the run
    std::size_t selfTerm;          ///< first term with a partner at or after it
    std::size_t sameVariableTerm;  ///< first term with its variable or after
    std::int64_t selfCoefficient;  ///< of the term with itself; 0: none
  };

  /// One side of a term. A term with two different labels is two of these, each
  /// the other's `pair`; a term that names one label twice is its own pair.
  struct Term {
    std::int64_t coefficient = 0;  ///< any sign
    unsigned variable1 = 0;        ///< the own label
    unsigned value1 = 0;
    unsigned variable2 = 0;  ///< the partner label
    unsigned value2 = 0;
    Label* label = nullptr;  ///< the record of the own label; by preprocess()
    Term* pair = nullptr;    ///< the same term seen from the partner's side
  };

  /// Orders terms by (variable1, value1, variable2, value2).
  struct Lt {
    bool operator()(Term const* a, Term const* b) const;
  };

  int lower = -Wcsp::inf;  ///< -Wcsp::inf: no bound
  int upper = Wcsp::inf;   ///< Wcsp::inf: no bound

  /// Owned. Filled by the caller before the search starts, mirror terms
  /// included; sorted and freed of repeats by preprocess().
  Array<Term*, Lt> terms;

  /// Owned. Built by preprocess(), one per label in the terms, in ascending
  /// order.
  std::vector<Label*> labels;

  using WcspConstraint::WcspConstraint;
  ~WcspQuadratic() override;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;

 private:
  LabelIndex index;  ///< of `labels`

  void mergeRepeats();
  void deleteLabels();
  void makeLabels();
  void locate(Label& label) const;
  std::int64_t accumulate(std::vector<unsigned> const& assignment) const;
  void reportWithoutCurrent(LabelIndex::Block const& block, std::int64_t sum);
  void reportWithCurrent(LabelIndex::Block const& block, Label const& current,
                         std::int64_t sum);
  void report(unsigned variable, unsigned value, std::int64_t sum, int before);
};

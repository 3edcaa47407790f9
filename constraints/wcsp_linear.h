// The linear constraint: the summed coefficients of the labels that are on lie
// between two bounds.

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "constraints/array.h"
#include "constraints/label_index.h"
#include "solver/wcsp.h"

class Changes;
class SumStep;

/// lower <= sum of the coefficients of the terms that are on <= upper. The
/// violation is the distance of the sum from that interval, at most Wcsp::inf.
class WCSP_EXPORT WcspLinear : public WcspConstraint {
 public:
  struct Term {
    std::int64_t coefficient;  ///< any sign; magnitudes sum below 2^61
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
  /// freed of repeats by preprocess().
  Array<Term, Lt> terms;

  using WcspConstraint::WcspConstraint;

  void preprocess() override;
  int calculate(std::vector<unsigned> const& assignment) override;
  bool isUpdatable() const override { return true; }
  void track(std::vector<unsigned> const& assignment) override;
  int update(std::vector<unsigned> const& before,
             std::vector<unsigned> const& assignment,
             unsigned variable) override;

 private:
  /// The terms by variable. Few constraints need it, so that all the others
  /// stay small.
  struct Blocks {
    LabelIndex index;
    std::vector<std::int64_t> coefficients;  ///< by label
  };

  /// Of a label, in an update.
  struct Diffs {
    int before;
    int after;
  };

  std::int64_t trackedSum = 0;  ///< of the assignment tracked
  std::int64_t maxChange = 0;   ///< by which one move can change the sum
  bool isUniform = false;       ///< all coefficients are the same
  bool isBinary = false;        ///< few terms, whose variables have two values
  std::unique_ptr<Blocks> blocks;  ///< where a variable has several terms

  /// Returns whether a variable has several terms.
  bool findMaxChange();
  void makeBlocks();
  std::int64_t sumOfTerms(std::vector<unsigned> const& assignment) const;
  std::int64_t sumOf(std::vector<unsigned> const& assignment) const;
  /// By how much a move of `variable`, or of several, has changed the sum.
  std::int64_t changeOf(std::vector<unsigned> const& before,
                        std::vector<unsigned> const& assignment,
                        unsigned variable) const;
  /// Reports a term's label and the other values of its variable.
  void reportTerm(Changes& changes, Term const& term, Diffs self,
                  Diffs others) const;
  void reportMoved(Changes& changes, SumStep const& step, Term const& term,
                   std::vector<unsigned> const& before,
                   std::vector<unsigned> const& assignment) const;
  void reportEach(Changes& changes, SumStep const& step,
                  std::vector<unsigned> const& before,
                  std::vector<unsigned> const& assignment,
                  unsigned variable) const;
  void reportBinary(Changes& changes, SumStep const& step,
                    std::vector<unsigned> const& before,
                    std::vector<unsigned> const& assignment) const;
  void reportUniform(Changes& changes, SumStep const& step,
                     std::vector<unsigned> const& before,
                     std::vector<unsigned> const& assignment,
                     unsigned variable) const;
  int updateBlocks(std::vector<unsigned> const& before,
                   std::vector<unsigned> const& assignment, unsigned variable);
  int calculateSingle(std::vector<unsigned> const& assignment) const;
  int calculateBlocks(std::vector<unsigned> const& assignment) const;
};

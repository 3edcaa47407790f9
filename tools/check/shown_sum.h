// Sums as their author wrote them: with a constant, and with terms that count
// if a label is off.

#pragma once

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace check {

class ShownSum {
 public:
  explicit ShownSum(Constraint const& itsConstraint);

  // The sum and a bound with the constant.
  Int128 value(Int128 sum) const { return sum + constraint.constant; }
  // Whether the author wrote the term as one that counts if the label is off.
  bool isTurned(Term const& term) const {
    return areTurned && term.coefficient < 0;
  }
  bool counts(Term const& term, Assignment const& assignment) const;
  // The term in the author's form; if it counts, with the label that is on.
  Term shown(Term const& term, Assignment const& assignment) const;

 private:
  Constraint const& constraint;
  bool areTurned;  // the negative terms
};

}  // namespace check

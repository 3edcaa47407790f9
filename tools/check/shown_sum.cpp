#include "tools/check/shown_sum.h"

namespace check {

namespace {

// A constant that covers all negative terms is made of theirs: of c terms that
// count if a label is off, each is 1 less the label.
bool areNegativesTurned(Constraint const& constraint) {
  Int128 below = 0;
  for (Term const& term : constraint.terms) {
    below -= term.coefficient < 0 ? term.coefficient : 0;
  }
  return constraint.kind == Constraint::linear && below <= inf &&
         constraint.constant >= below;
}

}  // namespace

ShownSum::ShownSum(Constraint const& itsConstraint)
    : constraint(itsConstraint), areTurned(areNegativesTurned(itsConstraint)) {}

bool ShownSum::counts(Term const& term, Assignment const& assignment) const {
  return isTurned(term) ? assignment[term.label1.variable] != term.label1.value
                        : isOn(term, assignment);
}

Term ShownSum::shown(Term const& term, Assignment const& assignment) const {
  if (!isTurned(term)) {
    return term;
  }
  unsigned const v = term.label1.variable;
  Label const on{v, assignment[v]};
  return {-term.coefficient, on, on};
}

}  // namespace check

// The violation of a constraint under an assignment, and its range over all
// assignments.
//
// Everything is summed from the terms of the model in exact arithmetic. A
// violation is capped at `inf`; totals are exact.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/check/model.h"

namespace check {

// One value number for each variable.
using Assignment = std::vector<unsigned>;

// Fewer hard violations come first.
struct Penalty {
  Int128 hard = 0;  // violations of the hard constraints
  Int128 soft = 0;  // weight times violation of the others

  void add(Constraint const& constraint, Int128 violation);
  auto operator<=>(Penalty const&) const = default;
};

struct Evaluation : Penalty {
  std::vector<int> violations;  // one for each constraint, 0 to inf
};

// The assignment has a valid value number for every variable of the model.
Evaluation evaluate(Model const& model, Assignment const& assignment);

// Whether the term counts in the sum; one with coefficient 0 never does.
bool isOn(Term const& term, Assignment const& assignment);

// The sum that the bounds of a linear or quadratic constraint apply to.
Int128 sumOf(Constraint const& constraint, Assignment const& assignment);

// The distance of a sum from the bounds, before its cap.
Int128 violationOf(Constraint const& constraint, Int128 sum);

// Whether the bound applies: its default value means no bound.
bool hasLower(Constraint const& constraint);
bool hasUpper(Constraint const& constraint);

// The variables of an all-different constraint that share a value, each set
// sorted, the sets in the order of their value numbers.
std::vector<std::vector<unsigned>> sharedValues(Constraint const& constraint,
                                                Assignment const& assignment);

// The variables in a constraint, with repeats.
std::vector<unsigned> namedVariables(Constraint const& constraint);

// The same sorted, each once: in an all-different a repeat counts once.
std::vector<unsigned> scopeOf(Constraint const& constraint);

// The terms with the smaller label first, sorted by their variables, then by
// their values.
std::vector<Term> sortedTerms(Constraint const& constraint);

// Whether two terms of `sortedTerms` have the same labels.
bool hasSameLabels(Term const& a, Term const& b);

// The contribution of terms with these labels to a sum. For linear terms, both
// variables are the same.
struct LabelSum {
  Label label1;
  Label label2;
  std::int64_t sum = 0;
};

// Calls act for each pair of variables of a linear or quadratic constraint with
// its labels in terms that can count, each pair of labels once.
void forPairs(Constraint const& constraint,
              std::function<void(std::vector<LabelSum> const&)> const& act);

struct Range {
  Int128 least = 0;
  Int128 greatest = 0;

  // Adds the contribution of a pair of variables with so many pairs of labels.
  void add(std::vector<LabelSum> const& pair, std::size_t numLabels);
};

// Bounds on the sum of a linear or quadratic constraint over all assignments;
// both are reached for linear ones.
Range sumRange(Model const& model, Constraint const& constraint);

// Bounds on the violation over all assignments, before its cap. Both ends are
// reached for linear and all-different constraints; for quadratic ones they
// may lie outside what is reached.
Range violationRange(Model const& model, Constraint const& constraint);

}  // namespace check

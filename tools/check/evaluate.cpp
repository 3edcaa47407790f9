// The bounds of a sum are the sums of the minimal and maximal contributions of
// all pairs of variables. Exactly one value pair of each is on, so at most one
// of its terms counts. A variable paired with itself represents its single
// labels.

#include "tools/check/evaluate.h"

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <utility>

namespace check {

namespace {

bool isSame(Label const& a, Label const& b) {
  return a.variable == b.variable && a.value == b.value;
}

// Variables first: the terms of a pair of variables then stand together.
auto sortKey(Term const& term) {
  return std::tuple(term.label1.variable, term.label2.variable,
                    term.label1.value, term.label2.value);
}

bool isNever(Term const& term) {
  return term.label1.variable == term.label2.variable &&
         term.label1.value != term.label2.value;
}

bool hasSameVariables(Term const& a, Term const& b) {
  return a.label1.variable == b.label1.variable &&
         a.label2.variable == b.label2.variable;
}

// The value numbers of a variable are a prefix of those of any variable with
// more values. So assigning the smaller ones first separates the most
// variables.
Range alldiffRange(Model const& model, Constraint const& constraint) {
  std::vector<unsigned> sizes;
  for (unsigned const variable : scopeOf(constraint)) {
    sizes.push_back(model.values[variable].size());
  }
  std::sort(sizes.begin(), sizes.end());
  unsigned numApart = 0;
  for (unsigned const size : sizes) {
    numApart += numApart < size ? 1 : 0;
  }
  auto const count = static_cast<Int128>(sizes.size());
  return {count - numApart, std::max<Int128>(count - 1, 0)};
}

Int128 violation(Constraint const& constraint, Assignment const& assignment) {
  if (constraint.kind != Constraint::alldiff) {
    return violationOf(constraint, sumOf(constraint, assignment));
  }
  Int128 repeats = 0;
  for (auto const& variables : sharedValues(constraint, assignment)) {
    repeats += static_cast<Int128>(variables.size()) - 1;
  }
  return repeats;
}

}  // namespace

void Penalty::add(Constraint const& constraint, Int128 violation) {
  if (constraint.weight == inf) {
    hard += violation;
  } else {
    soft += constraint.weight * violation;
  }
}

bool isOn(Term const& term, Assignment const& assignment) {
  return term.coefficient != 0 &&
         assignment[term.label1.variable] == term.label1.value &&
         assignment[term.label2.variable] == term.label2.value;
}

Int128 sumOf(Constraint const& constraint, Assignment const& assignment) {
  Int128 sum = 0;
  for (Term const& term : constraint.terms) {
    sum += isOn(term, assignment) ? term.coefficient : 0;
  }
  return sum;
}

Int128 violationOf(Constraint const& constraint, Int128 sum) {
  if (hasUpper(constraint) && sum > constraint.upper) {
    return sum - constraint.upper;
  }
  if (hasLower(constraint) && sum < constraint.lower) {
    return constraint.lower - sum;
  }
  return 0;
}

bool hasLower(Constraint const& constraint) {
  return constraint.lower != -inf;
}

bool hasUpper(Constraint const& constraint) {
  return constraint.upper != inf;
}

std::vector<std::vector<unsigned>> sharedValues(Constraint const& constraint,
                                                Assignment const& assignment) {
  std::vector<unsigned> variables = scopeOf(constraint);
  std::stable_sort(
      variables.begin(), variables.end(),
      [&](unsigned x, unsigned y) { return assignment[x] < assignment[y]; });
  std::vector<std::vector<unsigned>> shared;
  for (auto first = variables.begin(); first != variables.end();) {
    auto const last =
        std::find_if(first, variables.end(), [&](unsigned variable) {
          return assignment[variable] != assignment[*first];
        });
    if (last - first > 1) {
      shared.emplace_back(first, last);
    }
    first = last;
  }
  return shared;
}

std::vector<unsigned> namedVariables(Constraint const& constraint) {
  std::vector<unsigned> variables = constraint.variables;
  for (Term const& term : constraint.terms) {
    variables.push_back(term.label1.variable);
    variables.push_back(term.label2.variable);
  }
  return variables;
}

std::vector<unsigned> scopeOf(Constraint const& constraint) {
  std::vector<unsigned> scope = namedVariables(constraint);
  std::sort(scope.begin(), scope.end());
  scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
  return scope;
}

std::vector<Term> sortedTerms(Constraint const& constraint) {
  std::vector<Term> terms = constraint.terms;
  for (Term& term : terms) {
    auto const key1 = std::pair(term.label1.variable, term.label1.value);
    auto const key2 = std::pair(term.label2.variable, term.label2.value);
    if (key2 < key1) {
      std::swap(term.label1, term.label2);
    }
  }
  std::sort(terms.begin(), terms.end(), [](Term const& a, Term const& b) {
    return sortKey(a) < sortKey(b);
  });
  return terms;
}

bool hasSameLabels(Term const& a, Term const& b) {
  return isSame(a.label1, b.label1) && isSame(a.label2, b.label2);
}

void forPairs(Constraint const& constraint,
              std::function<void(std::vector<LabelSum> const&)> const& act) {
  std::vector<Term> terms = sortedTerms(constraint);
  terms.erase(std::remove_if(terms.begin(), terms.end(), isNever), terms.end());
  std::vector<LabelSum> pair;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    auto const& [coefficient, label1, label2] = terms[i];
    if (pair.empty() || !hasSameLabels(terms[i - 1], terms[i])) {
      pair.push_back({label1, label2});
    }
    pair.back().sum += coefficient;
    if (i + 1 == terms.size() || !hasSameVariables(terms[i], terms[i + 1])) {
      act(pair);
      pair.clear();
    }
  }
}

void Range::add(std::vector<LabelSum> const& pair, std::size_t numLabels) {
  auto const [low, high] = std::minmax_element(
      pair.begin(), pair.end(),
      [](LabelSum const& a, LabelSum const& b) { return a.sum < b.sum; });
  bool const canBeOff = pair.size() < numLabels;
  least += canBeOff ? std::min<Int128>(low->sum, 0) : low->sum;
  greatest += canBeOff ? std::max<Int128>(high->sum, 0) : high->sum;
}

Range sumRange(Model const& model, Constraint const& constraint) {
  Range total;
  forPairs(constraint, [&](std::vector<LabelSum> const& pair) {
    unsigned const x = pair[0].label1.variable;
    unsigned const y = pair[0].label2.variable;
    total.add(pair, std::size_t{model.values[x].size()} *
                        (x == y ? 1 : model.values[y].size()));
  });
  return total;
}

Range violationRange(Model const& model, Constraint const& constraint) {
  if (constraint.kind == Constraint::alldiff) {
    return alldiffRange(model, constraint);
  }
  const Range sum = sumRange(model, constraint);
  const Int128 atLeast = violationOf(constraint, sum.least);
  const Int128 atGreatest = violationOf(constraint, sum.greatest);
  // The constraint is unsatisfiable only if all sums lie beyond the same bound.
  bool const isAbove = hasUpper(constraint) && sum.least > constraint.upper;
  bool const isBelow = hasLower(constraint) && sum.greatest < constraint.lower;
  return {isAbove || isBelow ? std::min(atLeast, atGreatest) : 0,
          std::max(atLeast, atGreatest)};
}

Evaluation evaluate(Model const& model, Assignment const& assignment) {
  Evaluation result;
  for (Constraint const& constraint : model.constraints) {
    const Int128 exact = violation(constraint, assignment);
    int const capped = static_cast<int>(std::min<Int128>(exact, inf));
    result.violations.push_back(capped);
    result.add(constraint, capped);
  }
  return result;
}

}  // namespace check

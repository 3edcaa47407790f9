// The bounds of a sum add up the least and the greatest contribution of each
// pair of variables: one value pair of each is on, so at most one of its terms
// counts. A variable paired with itself stands for its single labels.

#include "tools/check/evaluate.h"

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <utility>

namespace check {

namespace {

bool isSame(const Label& a, const Label& b) {
  return a.variable == b.variable && a.value == b.value;
}

// Variables first: the terms of a pair of variables then stand together.
auto sortKey(const Term& term) {
  return std::tuple(term.label1.variable, term.label2.variable,
                    term.label1.value, term.label2.value);
}

Int128 numCombinations(const Model& model, const Term& term) {
  const Int128 size = model.values[term.label1.variable].size();
  return term.label1.variable == term.label2.variable
             ? size
             : size * model.values[term.label2.variable].size();
}

bool isNever(const Term& term) {
  return term.label1.variable == term.label2.variable &&
         term.label1.value != term.label2.value;
}

bool hasSameVariables(const Term& a, const Term& b) {
  return a.label1.variable == b.label1.variable &&
         a.label2.variable == b.label2.variable;
}

// Every variable can take value 0, and the value numbers that it can take are
// a prefix of those of any larger variable: serving the smaller ones first
// keeps most variables apart.
Range alldiffRange(const Model& model, const Constraint& constraint) {
  std::vector<unsigned> sizes;
  for (const unsigned variable : distinctVariables(constraint)) {
    sizes.push_back(model.values[variable].size());
  }
  std::sort(sizes.begin(), sizes.end());
  unsigned numApart = 0;
  for (const unsigned size : sizes) {
    numApart += numApart < size ? 1 : 0;
  }
  const auto count = static_cast<Int128>(sizes.size());
  return {count - numApart, std::max<Int128>(count - 1, 0)};
}

Int128 violation(const Constraint& constraint, const Assignment& assignment) {
  if (constraint.kind != Constraint::alldiff) {
    return violationOf(constraint, sumOf(constraint, assignment));
  }
  Int128 repeats = 0;
  for (const auto& variables : sharedValues(constraint, assignment)) {
    repeats += static_cast<Int128>(variables.size()) - 1;
  }
  return repeats;
}

}  // namespace

bool isOn(const Term& term, const Assignment& assignment) {
  return term.coefficient != 0 &&
         assignment[term.label1.variable] == term.label1.value &&
         assignment[term.label2.variable] == term.label2.value;
}

Int128 sumOf(const Constraint& constraint, const Assignment& assignment) {
  Int128 sum = 0;
  for (const Term& term : constraint.terms) {
    sum += isOn(term, assignment) ? term.coefficient : 0;
  }
  return sum;
}

Int128 violationOf(const Constraint& constraint, Int128 sum) {
  if (hasUpper(constraint) && sum > constraint.upper) {
    return sum - constraint.upper;
  }
  if (hasLower(constraint) && sum < constraint.lower) {
    return constraint.lower - sum;
  }
  return 0;
}

bool hasLower(const Constraint& constraint) {
  return constraint.lower != -inf;
}

bool hasUpper(const Constraint& constraint) {
  return constraint.upper != inf;
}

std::vector<std::vector<unsigned>> sharedValues(const Constraint& constraint,
                                                const Assignment& assignment) {
  std::vector<unsigned> variables = distinctVariables(constraint);
  std::stable_sort(
      variables.begin(), variables.end(),
      [&](unsigned x, unsigned y) { return assignment[x] < assignment[y]; });
  std::vector<std::vector<unsigned>> shared;
  for (auto first = variables.begin(); first != variables.end();) {
    const auto last =
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

std::vector<unsigned> distinctVariables(const Constraint& constraint) {
  std::vector<unsigned> variables = constraint.variables;
  std::sort(variables.begin(), variables.end());
  variables.erase(std::unique(variables.begin(), variables.end()),
                  variables.end());
  return variables;
}

std::vector<Term> sortedTerms(const Constraint& constraint) {
  std::vector<Term> terms = constraint.terms;
  for (Term& term : terms) {
    const auto key1 = std::pair(term.label1.variable, term.label1.value);
    const auto key2 = std::pair(term.label2.variable, term.label2.value);
    if (key2 < key1) {
      std::swap(term.label1, term.label2);
    }
  }
  std::sort(terms.begin(), terms.end(), [](const Term& a, const Term& b) {
    return sortKey(a) < sortKey(b);
  });
  return terms;
}

bool hasSameLabels(const Term& a, const Term& b) {
  return isSame(a.label1, b.label1) && isSame(a.label2, b.label2);
}

Range sumRange(const Model& model, const Constraint& constraint) {
  std::vector<Term> terms = sortedTerms(constraint);
  terms.erase(std::remove_if(terms.begin(), terms.end(), isNever), terms.end());
  Range total;
  for (std::size_t i = 0; i < terms.size();) {
    const Term& first = terms[i];
    Range group;
    Int128 numSums = 0;
    while (i < terms.size() && hasSameVariables(first, terms[i])) {
      const Term& term = terms[i];
      Int128 sum = 0;
      for (; i < terms.size() && hasSameLabels(term, terms[i]); ++i) {
        sum += terms[i].coefficient;
      }
      group.least = numSums == 0 ? sum : std::min(group.least, sum);
      group.greatest = numSums == 0 ? sum : std::max(group.greatest, sum);
      ++numSums;
    }
    const bool canBeOff = numSums < numCombinations(model, first);
    total.least += canBeOff ? std::min<Int128>(group.least, 0) : group.least;
    total.greatest +=
        canBeOff ? std::max<Int128>(group.greatest, 0) : group.greatest;
  }
  return total;
}

Range violationRange(const Model& model, const Constraint& constraint) {
  if (constraint.kind == Constraint::alldiff) {
    return alldiffRange(model, constraint);
  }
  const Range sum = sumRange(model, constraint);
  const Int128 atLeast = violationOf(constraint, sum.least);
  const Int128 atGreatest = violationOf(constraint, sum.greatest);
  // Only sums that all lie beyond the same bound leave no way to satisfy it.
  const bool isAbove = hasUpper(constraint) && sum.least > constraint.upper;
  const bool isBelow = hasLower(constraint) && sum.greatest < constraint.lower;
  return {isAbove || isBelow ? std::min(atLeast, atGreatest) : 0,
          std::max(atLeast, atGreatest)};
}

Evaluation evaluate(const Model& model, const Assignment& assignment) {
  Evaluation result;
  for (const Constraint& constraint : model.constraints) {
    const Int128 exact = violation(constraint, assignment);
    const int capped = static_cast<int>(std::min<Int128>(exact, inf));
    result.violations.push_back(capped);
    if (constraint.weight == inf) {
      result.hard += capped;
    } else {
      result.soft += Int128{constraint.weight} * capped;
    }
  }
  return result;
}

}  // namespace check

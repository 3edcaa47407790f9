// The quadratic constraint: puts its terms in order and hands them to the form
// that suits them.

#include "constraints/wcsp_quadratic.h"

#include <algorithm>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"
#include "constraints/pair_table.h"
#include "constraints/quadratic_sum.h"
#include "constraints/quadratic_terms.h"

namespace {

/// Up to this many terms listing all diffs is faster than an update.
constexpr std::size_t fewTerms = 6;

void orient(WcspQuadratic::Term& term) {
  if (secondKey(term) < firstKey(term)) {
    std::swap(term.variable1, term.variable2);
    std::swap(term.value1, term.value2);
  }
}

}  // namespace

/// The labels in the terms, ascending.
std::vector<LabelKey> labelKeys(std::vector<WcspQuadratic::Term> const& terms) {
  std::vector<LabelKey> keys;
  for (WcspQuadratic::Term const& term : terms) {
    if (keys.empty() || keys.back() != firstKey(term)) {
      keys.push_back(firstKey(term));
    }
  }
  for (WcspQuadratic::Term const& term : terms) {
    keys.push_back(secondKey(term));
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  return keys;
}

bool WcspQuadratic::Lt::operator()(Term const& a, Term const& b) const {
  return firstKey(a) < firstKey(b) ||
         (firstKey(a) == firstKey(b) && secondKey(a) <= secondKey(b));
}

void WcspQuadratic::preprocess() {
  if (terms.empty()) {
    return;
  }
  for (Term& term : terms) {
    orient(term);
  }
  terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
  terms.mergeEqual([](Term& first, Term const& other) {
    first.coefficient += other.coefficient;
  });
  terms.shrink_to_fit();
  for (const LabelKey key : labelKeys(terms)) {
    wcsp->involve(id, static_cast<unsigned>(key >> 32U),
                  static_cast<unsigned>(key));
  }
  if (!makePair()) {
    isSmall = terms.size() <= fewTerms;
    sum = QuadraticSum::make(*this);
  }
  terms = {};
}

bool WcspQuadratic::makePair() {
  std::vector<PairTable::Term> pairTerms;
  pairTerms.reserve(terms.size());
  for (Term const& term : terms) {
    if (term.variable1 != terms.front().variable1 ||
        term.variable2 != terms.front().variable2 ||
        term.variable1 == term.variable2) {
      return false;
    }
    pairTerms.push_back({term.value1, term.value2, term.coefficient});
  }
  if (!PairTable::suits(pairTerms)) {
    return false;
  }
  table = &*wcsp->shared<PairTables>()
                .emplace(pairTerms, Bounds(lower, upper))
                .first;
  variables[0] = terms.front().variable1;
  variables[1] = terms.front().variable2;
  return true;
}

int WcspQuadratic::calculate(std::vector<unsigned> const& assignment) {
  if (table != nullptr) {
    return calculatePair(assignment);
  }
  return sum == nullptr ? Bounds(lower, upper).violation(0)
                        : sum->calculate(assignment);
}

void WcspQuadratic::track(std::vector<unsigned> const& assignment) {
  if (sum != nullptr) {
    sum->track(assignment);
  }
}

int WcspQuadratic::update(std::vector<unsigned> const& before,
                          std::vector<unsigned> const& assignment,
                          unsigned variable) {
  if (table != nullptr) {
    return updatePair(before, assignment);
  }
  return sum == nullptr ? Bounds(lower, upper).violation(0)
                        : sum->update(before, assignment, variable);
}

int WcspQuadratic::calculatePair(
    std::vector<unsigned> const& assignment) const {
  const unsigned on[2] = {assignment[variables[0]], assignment[variables[1]]};
  const int violation = table->violation(on[0], on[1]);
  for (const unsigned side : {0U, 1U}) {
    const unsigned variable = variables[side];
    const unsigned other = on[1 - side];
    table->forEachValue(side, wcsp->getNumValues(variable), other, other, true,
                        [&](unsigned value, int, int there) {
                          if (there != violation) {
                            wcsp->setDiffPenalty(id, variable, value,
                                                 there - violation);
                          }
                        });
  }
  return violation;
}

// The diffs of one variable are its violations while the other one stays, less
// the violation now.
int WcspQuadratic::updatePair(std::vector<unsigned> const& before,
                              std::vector<unsigned> const& assignment) const {
  const unsigned left[2] = {before[variables[0]], before[variables[1]]};
  const unsigned taken[2] = {assignment[variables[0]],
                             assignment[variables[1]]};
  const int violationBefore = table->violation(left[0], left[1]);
  const int violation = table->violation(taken[0], taken[1]);
  const bool isShifted = violation != violationBefore;
  Changes changes(*this);
  for (const unsigned side : {0U, 1U}) {
    const unsigned other = 1 - side;
    if (!isShifted && left[other] == taken[other]) {
      continue;
    }
    const unsigned variable = variables[side];
    const unsigned first = wcsp->labelNumber(variable);
    table->forEachValue(side, wcsp->labelNumber(variable + 1) - first,
                        left[other], taken[other], isShifted,
                        [&](unsigned value, int there, int thereAfter) {
                          changes.add(first + value, there - violationBefore,
                                      thereAfter - violation);
                        });
  }
  changes.flush();
  return violation;
}

// The quadratic constraint: puts its terms in order and hands them to the form
// that suits them.

#include "constraints/wcsp_quadratic.h"

#include <algorithm>
#include <utility>

#include "constraints/bounds.h"
#include "constraints/pair_table.h"
#include "constraints/quadratic_sum.h"
#include "constraints/quadratic_terms.h"

using detail::PairTable;
using detail::PairTables;
using detail::QuadraticSum;

namespace {

void orient(WcspQuadratic::Term& term) {
  if (secondKey(term) < firstKey(term)) {
    std::swap(term.variable1, term.variable2);
    std::swap(term.value1, term.value2);
  }
}

/// The labels in the terms, ascending, each once.
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

}  // namespace

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
  std::vector<LabelKey> const keys = labelKeys(terms);
  for (const LabelKey key : keys) {
    wcsp->involve(id, static_cast<unsigned>(key >> 32U),
                  static_cast<unsigned>(key));
  }
  if (!makePair()) {
    form = std::shared_ptr<QuadraticSum>(QuadraticSum::make(*this, keys));
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
  form =
      Pair{std::make_shared<PairTable const>(pairTerms, Bounds(lower, upper)),
           {terms.front().variable1, terms.front().variable2}};
  return true;
}

void WcspQuadratic::prepare(WcspChanges& changes) {
  if (auto* const pair = std::get_if<Pair>(&form)) {
    pair->table = *changes.shared<PairTables>().insert(pair->table).first;
  } else if (auto const* const sum =
                 std::get_if<std::shared_ptr<QuadraticSum>>(&form)) {
    (*sum)->prepare(changes);
  }
}

int WcspQuadratic::calculate(std::vector<unsigned> const& assignment) {
  if (auto const* const pair = std::get_if<Pair>(&form)) {
    return calculatePair(*pair, assignment);
  }
  auto const* const sum = std::get_if<std::shared_ptr<QuadraticSum>>(&form);
  return sum == nullptr ? Bounds(lower, upper).violation(0)
                        : (*sum)->calculate(assignment);
}

int WcspQuadratic::calculatePair(
    Pair const& pair, std::vector<unsigned> const& assignment) const {
  auto const& [table, variables] = pair;
  unsigned const on[2] = {assignment[variables[0]], assignment[variables[1]]};
  int const violation = table->violation(on[0], on[1]);
  for (unsigned const side : {0U, 1U}) {
    unsigned const variable = variables[side];
    unsigned const other = on[1 - side];
    table->forEachValue(side, wcsp->getNumValues(variable), other, other, true,
                        [&](unsigned value, int, int there) {
                          wcsp->setDiffPenalty(id, variable, value,
                                               there - violation);
                        });
  }
  return violation;
}

int WcspQuadratic::update(std::vector<unsigned> const& before,
                          std::vector<unsigned> const& now,
                          std::span<unsigned const> moved,
                          WcspChanges& changes) {
  if (auto const* const pair = std::get_if<Pair>(&form)) {
    return updatePair(*pair, before, now, changes);
  }
  return std::get<std::shared_ptr<QuadraticSum>>(form)->update(before, now,
                                                               moved, changes);
}

// The diffs of one variable are its violations while the other one stays, less
// the violation now.
inline int WcspQuadratic::updatePair(Pair const& pair,
                                     std::vector<unsigned> const& before,
                                     std::vector<unsigned> const& now,
                                     WcspChanges& changes) {
  auto const& [table, variables] = pair;
  auto const [one, two] = variables;
  int const violationBefore = table->violation(before[one], before[two]);
  int const violation = table->violation(now[one], now[two]);
  bool const isShifted = violation != violationBefore;
  for (unsigned const side : {0U, 1U}) {
    unsigned const other = variables[1 - side];
    if (!isShifted && before[other] == now[other]) {
      continue;
    }
    unsigned const variable = variables[side];
    unsigned const first = changes.label(variable);
    table->forEachValue(
        side, changes.label(variable + 1) - first, before[other], now[other],
        isShifted, [&](unsigned value, int there, int thereAfter) {
          changes.add(first + value,
                      {there - violationBefore, thereAfter - violation});
        });
  }
  return violation;
}

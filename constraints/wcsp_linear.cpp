// The linear constraint. One pass over the terms forms the sum, a second one
// reports; it is left out when no single move can leave the bounds. Where each
// variable has one term, as in most constraints, the terms themselves are all
// that is needed.

#include "constraints/wcsp_linear.h"

#include <algorithm>
#include <utility>

#include "constraints/bounded_sum.h"

namespace {

/// The label that is on in each block: one buffer for all constraints, as long
/// as the largest of them needs. Every call writes it before it reads it.
std::vector<unsigned> currentLabels;

}  // namespace

void WcspLinear::preprocess() {
  if (terms.empty()) {
    return;
  }
  terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
  terms.mergeEqual([](Term& first, Term const& other) {
    first.coefficient += other.coefficient;
  });
  terms.shrink_to_fit();
  for (Term const& term : terms) {
    wcsp->involve(id, term.variable, term.value);
  }
  if (findMaxChange()) {
    makeBlocks();
  }
}

// A value without a term counts with 0.
bool WcspLinear::findMaxChange() {
  maxChange = 0;
  bool hasBlocks = false;
  for (auto first = terms.begin(); first != terms.end();) {
    std::int64_t least = 0;
    std::int64_t greatest = 0;
    auto term = first;
    for (; term != terms.end() && term->variable == first->variable; ++term) {
      least = std::min(least, term->coefficient);
      greatest = std::max(greatest, term->coefficient);
    }
    maxChange = std::max(maxChange, greatest - least);
    hasBlocks = hasBlocks || term - first > 1;
    first = term;
  }
  return hasBlocks;
}

void WcspLinear::makeBlocks() {
  auto made = std::make_unique<Blocks>();
  made->coefficients.reserve(terms.size());
  for (Term const& term : terms) {
    made->index.add(term.variable, term.value);
    made->coefficients.push_back(term.coefficient);
  }
  made->index.finish();
  if (currentLabels.size() < made->index.blocks.size()) {
    currentLabels.resize(made->index.blocks.size());
  }
  blocks = std::move(made);
  terms = {};
}

int WcspLinear::calculate(std::vector<unsigned> const& assignment) {
  return blocks == nullptr ? calculateSingle(assignment)
                           : calculateBlocks(assignment);
}

int WcspLinear::calculateSingle(std::vector<unsigned> const& assignment) const {
  std::int64_t sum = 0;
  for (Term const& term : terms) {
    // A mask and not a choice, which would be a branch and hard to foresee.
    const auto isOn = std::int64_t{assignment[term.variable] == term.value};
    sum += term.coefficient & -isOn;
  }
  const BoundedSum bounded(*this, lower, upper, sum);
  if (bounded.admits(maxChange)) {
    return bounded.violation();
  }
  // Mostly all coefficients are the same, and so are the diffs.
  std::int64_t coefficient = 0;
  int taking = 0;
  int leaving = 0;
  for (Term const& term : terms) {
    if (term.coefficient != coefficient) {
      coefficient = term.coefficient;
      taking = bounded.diff(coefficient);
      leaving = bounded.diff(-coefficient);
    }
    if (assignment[term.variable] != term.value) {
      bounded.report(term.variable, term.value, taking);
    } else if (leaving != 0) {
      const unsigned numValues = wcsp->getNumValues(term.variable);
      for (unsigned value = 0; value < numValues; ++value) {
        if (value != term.value) {
          bounded.report(term.variable, value, leaving);
        }
      }
    }
  }
  return bounded.violation();
}

int WcspLinear::calculateBlocks(std::vector<unsigned> const& assignment) const {
  std::int64_t sum = 0;
  auto const& [index, coefficients] = *blocks;
  unsigned* current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    *current = index.find(block, assignment[block.variable]);
    sum += *current == block.end ? 0 : coefficients[*current];
    ++current;
  }
  const BoundedSum bounded(*this, lower, upper, sum);
  if (bounded.admits(maxChange)) {
    return bounded.violation();
  }
  current = currentLabels.data();
  for (LabelIndex::Block const& block : index.blocks) {
    bounded.report(index, block, *current++, LabelRange{block.begin, block.end},
                   coefficients.data());
  }
  return bounded.violation();
}

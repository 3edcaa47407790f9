// The linear constraint. One pass over the terms forms the sum, a second one
// reports; it is left out when no single move can leave the bounds. An update
// keeps the sum and looks at the other variables only near a bound. Where each
// variable has one term, as in most constraints, the terms themselves are all
// that is needed.

#include "constraints/wcsp_linear.h"

#include <algorithm>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"

namespace {

/// The label of a block that is on, or block.end.
unsigned onIn(LabelIndex const& index, LabelIndex::Block const& block,
              std::vector<unsigned> const& assignment) {
  return index.find(block, assignment[block.variable]);
}

/// The diffs of the labels of a variable with one term, before or after.
struct TermDiffs {
  int self;    ///< of the term's label
  int others;  ///< of every other value
};

/// The terms or blocks of `variable`, or all of them.
template <class Range>
auto ofVariable(Range const& range, unsigned variable) {
  if (variable == WcspConstraint::several) {
    return std::pair(range.begin(), range.end());
  }
  const auto found = std::lower_bound(
      range.begin(), range.end(), variable,
      [](auto const& item, unsigned v) { return item.variable < v; });
  return std::pair(found, found + 1);
}

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
  blocks = std::move(made);
  terms = {};
}

int WcspLinear::calculate(std::vector<unsigned> const& assignment) {
  return blocks == nullptr ? calculateSingle(assignment)
                           : calculateBlocks(assignment);
}

std::int64_t WcspLinear::sumOf(std::vector<unsigned> const& assignment) const {
  std::int64_t sum = 0;
  for (Term const& term : terms) {
    // A mask and not a choice, which would be a branch and hard to foresee.
    const auto isOn = std::int64_t{assignment[term.variable] == term.value};
    sum += term.coefficient & -isOn;
  }
  if (blocks != nullptr) {
    auto const& [index, coefficients] = *blocks;
    for (LabelIndex::Block const& block : index.blocks) {
      const unsigned on = onIn(index, block, assignment);
      sum += on == block.end ? 0 : coefficients[on];
    }
  }
  return sum;
}

void WcspLinear::track(std::vector<unsigned> const& assignment) {
  trackedSum = sumOf(assignment);
}

int WcspLinear::update(std::vector<unsigned> const& before,
                       std::vector<unsigned> const& assignment,
                       unsigned variable) {
  return blocks == nullptr ? updateSingle(before, assignment, variable)
                           : updateBlocks(before, assignment, variable);
}

// While the violation has one slope wherever a move may lead, only the diffs of
// the variable that has moved change.
int WcspLinear::updateSingle(std::vector<unsigned> const& before,
                             std::vector<unsigned> const& assignment,
                             unsigned variable) {
  auto [term, end] = ofVariable(terms, variable);
  std::int64_t sum = trackedSum;
  for (auto moved = term; moved != end; ++moved) {
    const auto wasOn = std::int64_t{before[moved->variable] == moved->value};
    const auto isOn = std::int64_t{assignment[moved->variable] == moved->value};
    sum += moved->coefficient * (isOn - wasOn);
  }
  const SumStep step(Bounds(lower, upper), trackedSum, sum);
  trackedSum = sum;
  if (!step.isStraight(maxChange)) {
    term = terms.begin();
    end = terms.end();
  }
  Changes changes(*this);
  // Mostly all coefficients are the same, and so are the diffs.
  std::int64_t coefficient = 0;
  TermDiffs off[2] = {{0, 0}, {0, 0}};  // before and after, while it is off
  TermDiffs on[2] = {{0, 0}, {0, 0}};   // and while it is on
  for (; term != end; ++term) {
    if (term->coefficient != coefficient) {
      coefficient = term->coefficient;
      off[0].self = step.diffBefore(coefficient);
      off[1].self = step.diffAfter(coefficient);
      on[0].others = step.diffBefore(-coefficient);
      on[1].others = step.diffAfter(-coefficient);
    }
    const bool wasOn = before[term->variable] == term->value;
    const bool isOn = assignment[term->variable] == term->value;
    auto const& [selfBefore, othersBefore] = (wasOn ? on : off)[0];
    auto const& [selfAfter, othersAfter] = (isOn ? on : off)[1];
    const unsigned first = wcsp->labelNumber(term->variable);
    if (othersBefore == othersAfter) {
      changes.add(first + term->value, selfBefore, selfAfter);
      continue;
    }
    const unsigned numValues = wcsp->getNumValues(term->variable);
    for (unsigned value = 0; value < numValues; ++value) {
      if (value == term->value) {
        changes.add(first + value, selfBefore, selfAfter);
      } else {
        changes.add(first + value, othersBefore, othersAfter);
      }
    }
  }
  changes.flush();
  return step.violation();
}

int WcspLinear::updateBlocks(std::vector<unsigned> const& before,
                             std::vector<unsigned> const& assignment,
                             unsigned variable) {
  LabelIndex const& index = blocks->index;
  std::vector<std::int64_t> const& coefficients = blocks->coefficients;
  const auto gain = [&](LabelIndex::Block const& block, unsigned label) {
    return label == block.end ? 0 : coefficients[label];
  };
  auto [block, end] = ofVariable(index.blocks, variable);
  std::int64_t sum = trackedSum;
  for (auto moved = block; moved != end; ++moved) {
    sum += gain(*moved, onIn(index, *moved, assignment)) -
           gain(*moved, onIn(index, *moved, before));
  }
  const SumStep step(Bounds(lower, upper), trackedSum, sum);
  trackedSum = sum;
  if (!step.isStraight(maxChange)) {
    block = index.blocks.begin();
    end = index.blocks.end();
  }
  Changes changes(*this);
  for (; block != end; ++block) {
    reportBlock<std::int64_t>(
        changes, step, index, *block, wcsp->labelNumber(block->variable),
        wcsp->getNumValues(block->variable),
        {gain(*block, onIn(index, *block, before)), coefficients.data()},
        {gain(*block, onIn(index, *block, assignment)), coefficients.data()});
  }
  changes.flush();
  return step.violation();
}

int WcspLinear::calculateSingle(std::vector<unsigned> const& assignment) const {
  const BoundedSum bounded(*this, lower, upper, sumOf(assignment));
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
  auto const& [index, coefficients] = *blocks;
  const BoundedSum bounded(*this, lower, upper, sumOf(assignment));
  if (bounded.admits(maxChange)) {
    return bounded.violation();
  }
  for (LabelIndex::Block const& block : index.blocks) {
    bounded.report(index, block, onIn(index, block, assignment),
                   LabelRange{block.begin, block.end}, coefficients.data());
  }
  return bounded.violation();
}

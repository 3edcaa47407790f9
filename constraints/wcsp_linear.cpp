// The linear constraint. One pass over the terms forms the sum, a second one
// reports; it is left out when no single move can leave the bounds. An update
// keeps the sum and looks at the other variables only near a bound. Where each
// variable has one term, as in most constraints, the terms themselves are all
// that is needed.

#include "constraints/wcsp_linear.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"

namespace {

/// Up to this many terms summing all is faster than finding the one that moved.
constexpr std::size_t fewTerms = 8;

/// The label of a block that is on, or block.end.
unsigned onIn(LabelIndex const& index, LabelIndex::Block const& block,
              std::vector<unsigned> const& assignment) {
  return index.find(block, assignment[block.variable]);
}

/// The terms or blocks of `variable`, or all of them.
template <class Range>
auto ofVariable(Range const& range, unsigned variable) {
  if (variable == WcspConstraint::several) {
    return std::pair(range.cbegin(), range.cend());
  }
  const auto found = std::lower_bound(
      range.cbegin(), range.cend(), variable,
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
  isUniform = true;
  isBinary = terms.size() <= fewTerms;
  for (Term const& term : terms) {
    isUniform = isUniform && term.coefficient == terms.front().coefficient;
    isBinary = isBinary && wcsp->getNumValues(term.variable) == 2;
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

inline std::int64_t WcspLinear::sumOfTerms(
    std::vector<unsigned> const& assignment) const {
  std::int64_t sum = 0;
  for (Term const& term : terms) {
    // A mask and not a choice, which would be a branch and hard to foresee.
    const auto isOn = std::int64_t{assignment[term.variable] == term.value};
    sum += term.coefficient & -isOn;
  }
  return sum;
}

std::int64_t WcspLinear::sumOf(std::vector<unsigned> const& assignment) const {
  if (blocks == nullptr) {
    return sumOfTerms(assignment);
  }
  std::int64_t sum = 0;
  auto const& [index, coefficients] = *blocks;
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned on = onIn(index, block, assignment);
    sum += on == block.end ? 0 : coefficients[on];
  }
  return sum;
}

void WcspLinear::track(std::vector<unsigned> const& assignment) {
  trackedSum = sumOf(assignment);
}

std::int64_t WcspLinear::changeOf(std::vector<unsigned> const& before,
                                  std::vector<unsigned> const& assignment,
                                  unsigned variable) const {
  std::int64_t change = 0;
  const auto [first, last] = ofVariable(terms, variable);
  for (auto term = first; term != last; ++term) {
    const auto wasOn = std::int64_t{before[term->variable] == term->value};
    const auto isOn = std::int64_t{assignment[term->variable] == term->value};
    change += term->coefficient * (isOn - wasOn);
  }
  return change;
}

void WcspLinear::reportTerm(Changes& changes, Term const& term, Diffs self,
                            Diffs others) const {
  const unsigned first = wcsp->labelNumber(term.variable);
  const unsigned own = first + term.value;
  if (others.before == others.after) {
    changes.add(own, self.before, self.after);
    return;
  }
  const unsigned end = wcsp->labelNumber(term.variable + 1);
  for (unsigned label = first; label < end; ++label) {
    Diffs const& diffs = label == own ? self : others;
    changes.add(label, diffs.before, diffs.after);
  }
}

int WcspLinear::update(std::vector<unsigned> const& before,
                       std::vector<unsigned> const& assignment,
                       unsigned variable) {
  if (blocks != nullptr) {
    return updateBlocks(before, assignment, variable);
  }
  const std::int64_t sum =
      terms.size() <= fewTerms
          ? sumOfTerms(assignment)
          : trackedSum + changeOf(before, assignment, variable);
  const SumStep step(Bounds(lower, upper), trackedSum, sum);
  trackedSum = sum;
  const int slope = step.slope(maxChange);
  if (slope == 0) {
    return 0;
  }
  Changes changes(*this);
  if (isBinary) {
    reportBinary(changes, step, before, assignment);
  } else if (variable == several || !step.reachesAll(slope)) {
    const auto [first, last] = ofVariable(terms, variable);
    for (auto term = first; term != last; ++term) {
      reportMoved(changes, step, *term, before, assignment);
    }
  } else if (isUniform) {
    reportUniform(changes, step, before, assignment, variable);
  } else {
    reportEach(changes, step, before, assignment, variable);
  }
  changes.flush();
  return step.violation();
}

void WcspLinear::reportMoved(Changes& changes, SumStep const& step,
                             Term const& term,
                             std::vector<unsigned> const& before,
                             std::vector<unsigned> const& assignment) const {
  const std::int64_t gain = term.coefficient;
  Diffs self = {step.diffBefore(gain), step.diffAfter(gain)};
  Diffs others = {0, 0};
  if (before[term.variable] == term.value) {
    self.before = 0;
    others.before = step.diffBefore(-gain);
  }
  if (assignment[term.variable] == term.value) {
    self.after = 0;
    others.after = step.diffAfter(-gain);
  }
  reportTerm(changes, term, self, others);
}

void WcspLinear::reportEach(Changes& changes, SumStep const& step,
                            std::vector<unsigned> const& before,
                            std::vector<unsigned> const& assignment,
                            unsigned variable) const {
  for (Term const& term : terms) {
    if (term.variable == variable) {
      reportMoved(changes, step, term, before, assignment);
      continue;
    }
    const bool isOn = assignment[term.variable] == term.value;
    const std::int64_t change = isOn ? -term.coefficient : term.coefficient;
    const Diffs diffs = {step.diffBefore(change), step.diffAfter(change)};
    if (!isOn) {
      changes.add(wcsp->labelNumber(term.variable) + term.value, diffs.before,
                  diffs.after);
    } else if (diffs.before != diffs.after) {
      reportTerm(changes, term, {0, 0}, diffs);
    }
  }
}

// Where each variable has two values, a term says something of one label only,
// the one that is not taken: hardly a branch then depends on the assignment.
void WcspLinear::reportBinary(Changes& changes, SumStep const& step,
                              std::vector<unsigned> const& before,
                              std::vector<unsigned> const& assignment) const {
  for (Term const& term : terms) {
    const unsigned left = before[term.variable];
    const unsigned taken = assignment[term.variable];
    const auto changeFrom = [&](unsigned value) {
      return value == term.value ? -term.coefficient : term.coefficient;
    };
    const int diffBefore = step.diffBefore(changeFrom(left));
    const int diffAfter = step.diffAfter(changeFrom(taken));
    const unsigned first = wcsp->labelNumber(term.variable);
    if (left == taken) {
      changes.add(first + 1 - taken, diffBefore, diffAfter);
    } else {
      changes.add(first, left == 1 ? diffBefore : 0, left == 1 ? 0 : diffAfter);
      changes.add(first + 1, left == 1 ? 0 : diffBefore,
                  left == 1 ? diffAfter : 0);
    }
  }
}

// All coefficients are the same, and so are the diffs of the labels that are
// off, and of the values beside those that are on: mostly one of the two does
// not change. The terms are sorted out by bits, without a branch for each.
void WcspLinear::reportUniform(Changes& changes, SumStep const& step,
                               std::vector<unsigned> const& before,
                               std::vector<unsigned> const& assignment,
                               unsigned variable) const {
  constexpr std::size_t numBits = 64;
  const std::int64_t gain = terms.front().coefficient;
  const Diffs off = {step.diffBefore(gain), step.diffAfter(gain)};
  const Diffs on = {step.diffBefore(-gain), step.diffAfter(-gain)};
  const std::uint64_t takesOff =
      off.before != off.after ? ~std::uint64_t{0} : 0;
  const std::uint64_t takesOn = on.before != on.after ? ~std::uint64_t{0} : 0;
  for (std::size_t begin = 0; begin < terms.size(); begin += numBits) {
    Term const* const part = terms.data() + begin;
    const std::size_t size = std::min(terms.size() - begin, numBits);
    std::uint64_t areOn = 0;
    std::uint64_t areMoved = 0;
    std::uint64_t all = 0;
    for (std::size_t k = 0; k < size; ++k) {
      const auto isOn =
          std::uint64_t{assignment[part[k].variable] == part[k].value};
      all |= std::uint64_t{1} << k;
      areOn |= isOn << k;
      areMoved |= std::uint64_t{part[k].variable == variable} << k;
    }
    std::uint64_t reported =
        (areMoved | (areOn & takesOn) | (~areOn & takesOff)) & all;
    for (; reported != 0; reported &= reported - 1) {
      const int k = std::countr_zero(reported);
      Term const& term = part[k];
      if ((areMoved >> k & 1U) != 0) {
        reportMoved(changes, step, term, before, assignment);
      } else if ((areOn >> k & 1U) != 0) {
        reportTerm(changes, term, {0, 0}, on);
      } else {
        changes.add(wcsp->labelNumber(term.variable) + term.value, off.before,
                    off.after);
      }
    }
  }
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
  const int slope = step.slope(maxChange);
  if (slope == 0) {
    return 0;
  }
  if (step.reachesAll(slope)) {
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

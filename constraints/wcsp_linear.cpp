// The linear constraint. One pass over the terms forms the sum, a second one
// reports; it is left out when no single move can leave the bounds. An update
// keeps the sum and looks at the other variables only near a bound. In most
// constraints all coefficients are the same and each variable has one term:
// there the number of terms that are on tells everything.

#include "constraints/wcsp_linear.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "constraints/bounded_sum.h"
#include "constraints/changes.h"
#include "constraints/count_table.h"

namespace {

/// Up to this many terms summing all is faster than finding the one that moved.
constexpr std::size_t fewTerms = 8;

/// In a word of `areOn`.
constexpr std::size_t numBits = 64;
constexpr std::uint64_t allBits = ~std::uint64_t{0};

/// The label of a block that is on, or block.end.
unsigned onIn(LabelIndex const& index, LabelIndex::Block const& block,
              std::vector<unsigned> const& assignment) {
  return index.find(block, assignment[block.variable]);
}

/// Of a sorted range, the first element that is not below `variable`.
template <class Range>
auto lowerBound(Range const& range, unsigned variable) {
  return std::lower_bound(
      range.begin(), range.end(), variable,
      [](auto const& item, unsigned v) { return item.variable < v; });
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
  } else {
    chooseForm();
  }
}

WcspLinear::Blocks const* WcspLinear::blocks() const {
  auto const* const blocks = std::get_if<std::unique_ptr<Blocks>>(&form);
  return blocks == nullptr ? nullptr : blocks->get();
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
  form = std::move(made);
  terms = {};
}

void WcspLinear::chooseForm() {
  const std::int64_t coefficient = terms.front().coefficient;
  if (!std::ranges::all_of(terms, [&](Term const& term) {
        return term.coefficient == coefficient;
      })) {
    return;
  }
  CountState const* const states =
      wcsp->shared<CountTables>().find(terms.size(), coefficient, lower, upper);
  if (terms.size() > fewTerms) {
    auto many = std::make_unique<Many>();
    many->states = states;
    many->areOn.resize((terms.size() - 1) / numBits + 1);
    many->labels.reserve(terms.size());
    for (Term const& term : terms) {
      many->labels.push_back(wcsp->labelNumber(term.variable) + term.value);
    }
    form = std::move(many);
  } else if (std::ranges::all_of(terms, [this](Term const& term) {
               return wcsp->getNumValues(term.variable) == 2;
             })) {
    form = Clause{states};
  } else {
    form = Few{states};
  }
}

int WcspLinear::calculate(Assignment const& assignment) {
  return blocks() == nullptr ? calculateSingle(assignment)
                             : calculateBlocks(assignment);
}

inline std::int64_t WcspLinear::countOn(Assignment const& assignment) const {
  std::int64_t count = 0;
  for (Term const& term : terms) {
    count += assignment[term.variable] == term.value ? 1 : 0;
  }
  return count;
}

std::int64_t WcspLinear::sumOf(Assignment const& assignment) const {
  std::int64_t sum = 0;
  if (blocks() == nullptr) {
    for (Term const& term : terms) {
      // A mask and not a choice, which would be a branch and hard to foresee.
      const auto isOn = std::int64_t{assignment[term.variable] == term.value};
      sum += term.coefficient & -isOn;
    }
    return sum;
  }
  auto const& [index, coefficients] = *blocks();
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned on = onIn(index, block, assignment);
    sum += on == block.end ? 0 : coefficients[on];
  }
  return sum;
}

void WcspLinear::track(Assignment const& assignment) {
  if (blocks() != nullptr || std::holds_alternative<std::monostate>(form)) {
    tracked = sumOf(assignment);
    return;
  }
  tracked = countOn(assignment);
  if (auto* const many = std::get_if<std::unique_ptr<Many>>(&form)) {
    auto& areOn = (*many)->areOn;
    std::fill(areOn.begin(), areOn.end(), 0);
    for (std::size_t k = 0; k < terms.size(); ++k) {
      const auto isOn =
          std::uint64_t{assignment[terms[k].variable] == terms[k].value};
      areOn[k / numBits] |= isOn << (k % numBits);
    }
  }
}

WcspLinear::Terms WcspLinear::termsOf(unsigned variable) const {
  if (variable == several) {
    return terms;
  }
  return {lowerBound(terms, variable), 1};
}

void WcspLinear::reportValues(Changes& changes, Term const& term, Diffs self,
                              Diffs others) const {
  const unsigned first = wcsp->labelNumber(term.variable);
  const unsigned own = first + term.value;
  if (!others.differ()) {
    changes.add(own, self.before, self.after);
    return;
  }
  const unsigned end = wcsp->labelNumber(term.variable + 1);
  for (unsigned label = first; label < end; ++label) {
    Diffs const& diffs = label == own ? self : others;
    changes.add(label, diffs.before, diffs.after);
  }
}

void WcspLinear::reportTerm(Changes& changes, Term const& term, bool wasOn,
                            bool isOn, Diffs diffs) const {
  reportValues(changes, term,
               {wasOn ? 0 : diffs.before, isOn ? 0 : diffs.after},
               {wasOn ? diffs.before : 0, isOn ? diffs.after : 0});
}

template <class Report>
int WcspLinear::updateFew(CountState const* states,
                          Assignment const& assignment, Report report) {
  const std::int64_t count = countOn(assignment);
  const CountStep step(states[tracked], states[count]);
  tracked = count;
  if (!step.isFlat()) {
    report(step);
  }
  return states[count].violation;
}

int WcspLinear::update(Assignment const& before, Assignment const& assignment,
                       unsigned variable) {
  if (auto const* const clause = std::get_if<Clause>(&form)) {
    return updateFew(clause->states, assignment, [&](CountStep const& step) {
      reportClause(step, before, assignment);
    });
  }
  if (auto const* const few = std::get_if<Few>(&form)) {
    return updateFew(few->states, assignment, [&](CountStep const& step) {
      reportAll(step, before, assignment);
    });
  }
  if (auto const* const many = std::get_if<std::unique_ptr<Many>>(&form)) {
    return updateMany(**many, before, assignment, variable);
  }
  return blocks() == nullptr ? updateTerms(before, assignment, variable)
                             : updateBlocks(before, assignment, variable);
}

// Without a branch that depends on the assignment. Values are 0 and 1, and so
// serve as masks: the diff of a label that is on is 0.
inline void WcspLinear::reportClause(CountStep const& step,
                                     Assignment const& before,
                                     Assignment const& assignment) const {
  // Written before it is read.
  std::array<WcspChange, 2 * fewTerms> changes;  // NOLINT(*-member-init)
  std::size_t size = 0;
  const auto add = [&](unsigned label, int diffBefore, int diffAfter) {
    changes[size] = {label, diffBefore, diffAfter};
    size += diffBefore != diffAfter ? 1 : 0;
  };
  for (Term const& term : terms) {
    const int left = static_cast<int>(before[term.variable]);
    const int taken = static_cast<int>(assignment[term.variable]);
    const int value = static_cast<int>(term.value);
    const Diffs diffs = step.diffs(left == value, taken == value);
    const unsigned first = wcsp->labelNumber(term.variable);
    add(first, diffs.before & -left, diffs.after & -taken);
    add(first + 1, diffs.before & (left - 1), diffs.after & (taken - 1));
  }
  if (size > 0) {
    wcsp->changeDiffPenalties(id, std::span(changes).first(size));
  }
}

void WcspLinear::reportAll(CountStep const& step, Assignment const& before,
                           Assignment const& assignment) const {
  Changes changes(*this);
  for (Term const& term : terms) {
    const bool wasOn = before[term.variable] == term.value;
    const bool isOn = assignment[term.variable] == term.value;
    reportTerm(changes, term, wasOn, isOn, step.diffs(wasOn, isOn));
  }
  changes.flush();
}

int WcspLinear::updateMany(Many& many, Assignment const& before,
                           Assignment const& assignment, unsigned variable) {
  const Terms moved = termsOf(variable);
  std::int64_t count = tracked;
  for (Term const& term : moved) {
    const bool wasOn = before[term.variable] == term.value;
    const bool isOn = assignment[term.variable] == term.value;
    const auto k = static_cast<std::size_t>(&term - terms.data());
    many.areOn[k / numBits] ^= std::uint64_t{wasOn != isOn} << (k % numBits);
    count += (isOn ? 1 : 0) - (wasOn ? 1 : 0);
  }
  const CountStep step(many.states[tracked], many.states[count]);
  tracked = count;
  if (step.isFlat()) {
    return many.states[count].violation;
  }
  if (variable == several) {
    reportAll(step, before, assignment);
  } else {
    reportMany(step, many, moved.front(), before, assignment);
  }
  return many.states[count].violation;
}

// The diffs of all labels that are off are the same, and so are those of the
// values beside labels that are on: mostly one of the two does not change.
void WcspLinear::reportMany(CountStep const& step, Many const& many,
                            Term const& moved, Assignment const& before,
                            Assignment const& assignment) const {
  Changes changes(*this);
  const auto movedTerm = static_cast<std::size_t>(&moved - terms.data());
  for (std::size_t begin = 0; begin < terms.size(); begin += numBits) {
    std::uint64_t others = allBits;
    if (movedTerm - begin < numBits) {
      const std::uint64_t movedBit = std::uint64_t{1} << (movedTerm - begin);
      reportOthers(changes, step, many, begin, movedBit - 1);
      const bool wasOn = before[moved.variable] == moved.value;
      const bool isOn = assignment[moved.variable] == moved.value;
      reportTerm(changes, moved, wasOn, isOn, step.diffs(wasOn, isOn));
      others = ~(movedBit | (movedBit - 1));
    }
    reportOthers(changes, step, many, begin, others);
  }
  changes.flush();
}

void WcspLinear::reportOthers(Changes& changes, CountStep const& step,
                              Many const& many, std::size_t begin,
                              std::uint64_t others) const {
  others &= allBits >> (numBits - std::min(terms.size() - begin, numBits));
  const std::uint64_t on = others & many.areOn[begin / numBits];
  const std::uint64_t off = step.taking.differ() ? others & ~on : 0;
  if (!step.leaving.differ()) {
    changes.addEach(many.labels.data() + begin, off, step.taking);
    return;
  }
  for (std::uint64_t bits = on | off; bits != 0; bits &= bits - 1) {
    const auto bit = static_cast<std::size_t>(std::countr_zero(bits));
    const std::size_t k = begin + bit;
    if ((on >> bit & 1U) != 0) {
      reportValues(changes, terms[k], {0, 0}, step.leaving);
    } else {
      changes.add(many.labels[k], step.taking.before, step.taking.after);
    }
  }
}

int WcspLinear::updateTerms(Assignment const& before,
                            Assignment const& assignment, unsigned variable) {
  const Terms moved = termsOf(variable);
  std::int64_t sum = tracked;
  for (Term const& term : moved) {
    const auto wasOn = std::int64_t{before[term.variable] == term.value};
    const auto isOn = std::int64_t{assignment[term.variable] == term.value};
    sum += term.coefficient * (isOn - wasOn);
  }
  const SumStep step(Bounds(lower, upper), tracked, sum);
  tracked = sum;
  const int slope = step.slope(maxChange);
  if (slope == 0) {
    return 0;
  }
  Changes changes(*this);
  for (Term const& term : step.reachesAll(slope) ? Terms(terms) : moved) {
    const bool wasOn = before[term.variable] == term.value;
    const bool isOn = assignment[term.variable] == term.value;
    const std::int64_t gain = term.coefficient;
    reportTerm(changes, term, wasOn, isOn,
               {step.diffBefore(wasOn ? -gain : gain),
                step.diffAfter(isOn ? -gain : gain)});
  }
  changes.flush();
  return step.violation();
}

int WcspLinear::updateBlocks(Assignment const& before,
                             Assignment const& assignment, unsigned variable) {
  LabelIndex const& index = blocks()->index;
  std::vector<std::int64_t> const& coefficients = blocks()->coefficients;
  const auto gain = [&](LabelIndex::Block const& block, unsigned label) {
    return label == block.end ? 0 : coefficients[label];
  };
  auto block = index.blocks.begin();
  auto end = index.blocks.end();
  if (variable != several) {
    block = lowerBound(index.blocks, variable);
    end = block + 1;
  }
  std::int64_t sum = tracked;
  for (auto moved = block; moved != end; ++moved) {
    sum += gain(*moved, onIn(index, *moved, assignment)) -
           gain(*moved, onIn(index, *moved, before));
  }
  const SumStep step(Bounds(lower, upper), tracked, sum);
  tracked = sum;
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

int WcspLinear::calculateSingle(Assignment const& assignment) const {
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

int WcspLinear::calculateBlocks(Assignment const& assignment) const {
  auto const& [index, coefficients] = *blocks();
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

// The quadratic constraint. The runs of the labels that are on give every label
// the sum of the coefficients that join it with a label that is on; from these
// sums follow the violation and, block by block, all reports.

#include "constraints/wcsp_quadratic.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <tuple>

#include "constraints/bounds.h"

namespace {

/// The sums of calculate(), by label: one buffer for all constraints, as long
/// as the largest of them needs and all 0 between two calls.
std::vector<std::int64_t> sums;

/// Leaves the first `size` sums at 0, also when a report throws.
class SumsCleaner {
 public:
  explicit SumsCleaner(std::size_t numLabels) : size(numLabels) {}
  SumsCleaner(SumsCleaner const&) = delete;
  SumsCleaner& operator=(SumsCleaner const&) = delete;
  ~SumsCleaner() { std::fill_n(sums.begin(), size, 0); }

 private:
  std::size_t size;
};

auto key(WcspQuadratic::Term const& term) {
  return std::tie(term.variable1, term.value1, term.variable2, term.value2);
}

bool isOn(unsigned variable, unsigned value,
          std::vector<unsigned> const& assignment) {
  return assignment[variable] == value;
}

}  // namespace

bool WcspQuadratic::Lt::operator()(Term const* a, Term const* b) const {
  return key(*a) <= key(*b);
}

WcspQuadratic::~WcspQuadratic() {
  deleteLabels();
  for (Term const* term : terms) {
    delete term;
  }
}

void WcspQuadratic::deleteLabels() {
  for (Label const* label : labels) {
    delete label;
  }
  labels.clear();
  index.clear();
}

void WcspQuadratic::preprocess() {
  if (!terms.empty()) {
    terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
    mergeRepeats();
  }
  deleteLabels();
  makeLabels();
  for (Label* label : labels) {
    locate(*label);
  }
  if (sums.size() < labels.size()) {
    sums.resize(labels.size());
  }
}

// The first term of a group of equal keys takes the coefficients of the others.
// Every member of the mirror group is made its pair, so that whichever of them
// survives is the right one.
void WcspQuadratic::mergeRepeats() {
  std::size_t last = 0;
  terms[0]->pair->pair = terms[0];
  for (std::size_t i = 1; i < terms.size(); ++i) {
    Term* const term = terms[i];
    terms[i] = nullptr;
    if (key(*term) == key(*terms[last])) {
      terms[last]->coefficient += term->coefficient;
      term->pair->pair = terms[last];
      delete term;
    } else {
      terms[++last] = term;
      term->pair->pair = term;
    }
  }
  terms.resize(last + 1);
}

void WcspQuadratic::makeLabels() {
  for (std::size_t i = 0; i < terms.size(); ++i) {
    Term& term = *terms[i];
    if (labels.empty() || labels.back()->variable != term.variable1 ||
        labels.back()->value != term.value1) {
      const auto number = static_cast<unsigned>(labels.size());
      auto label = std::make_unique<Label>(
          Label{term.variable1, term.value1, number, i, i, i, i, 0});
      labels.push_back(label.get());
      label.release();
      index.add(term.variable1, term.value1);
      wcsp->involve(id, term.variable1, term.value1);
    }
    labels.back()->end = i + 1;
    term.label = labels.back();
  }
  index.finish();
}

void WcspQuadratic::locate(Label& label) const {
  std::size_t i = label.begin;
  while (i < label.end && terms[i]->variable2 < label.variable) {
    ++i;
  }
  label.sameVariableTerm = i;
  while (i < label.end && terms[i]->variable2 == label.variable &&
         terms[i]->value2 < label.value) {
    ++i;
  }
  label.selfTerm = i;
  if (i < label.end && terms[i]->pair == terms[i]) {
    label.selfCoefficient = terms[i]->coefficient;
  }
}

int WcspQuadratic::calculate(std::vector<unsigned> const& assignment) {
  const SumsCleaner cleaner(labels.size());
  const std::int64_t sum = accumulate(assignment);
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned current = index.find(block, assignment[block.variable]);
    if (current == block.end) {
      reportWithoutCurrent(block, sum);
    } else {
      reportWithCurrent(block, *labels[current], sum);
    }
  }
  return distanceFromBounds(sum, lower, upper);
}

// Returns the sum over the terms that are on, each counted from the side of the
// smaller of its two labels.
std::int64_t WcspQuadratic::accumulate(
    std::vector<unsigned> const& assignment) const {
  std::int64_t sum = 0;
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned current = index.find(block, assignment[block.variable]);
    if (current == block.end) {
      continue;
    }
    Label const& label = *labels[current];
    for (std::size_t i = label.begin; i < label.end; ++i) {
      Term const& term = *terms[i];
      sums[term.pair->label->index] += term.coefficient;
      if (i >= label.selfTerm &&
          isOn(term.variable2, term.value2, assignment)) {
        sum += term.coefficient;
      }
    }
  }
  return sum;
}

void WcspQuadratic::reportWithoutCurrent(LabelIndex::Block const& block,
                                         std::int64_t sum) {
  const int before = distanceFromBounds(sum, lower, upper);
  for (unsigned i = block.begin; i < block.end; ++i) {
    report(block.variable, labels[i]->value,
           sum + sums[i] + labels[i]->selfCoefficient, before);
  }
}

// Moving away loses the sum of the current label, which has been counted into
// the sum of every label of the block that a term joins with it.
void WcspQuadratic::reportWithCurrent(LabelIndex::Block const& block,
                                      Label const& current, std::int64_t sum) {
  const int before = distanceFromBounds(sum, lower, upper);
  const std::int64_t left = sum - sums[current.index];
  const unsigned numValues = wcsp->getNumValues(block.variable);
  unsigned i = block.begin;
  std::size_t joining = current.sameVariableTerm;
  for (unsigned value = 0; value < numValues; ++value) {
    std::int64_t after = left;
    if (i < block.end && labels[i]->value == value) {
      after += sums[i] + labels[i]->selfCoefficient;
      if (joining < current.end &&
          terms[joining]->variable2 == block.variable &&
          terms[joining]->value2 == value) {
        if (terms[joining]->pair->label != labels[i]) {
          throw std::runtime_error("!");
        }
        after -= terms[joining]->coefficient;
        ++joining;
      }
      ++i;
    }
    report(block.variable, value, after, before);
  }
}

void WcspQuadratic::report(unsigned variable, unsigned value, std::int64_t sum,
                           int before) {
  const int diff = distanceFromBounds(sum, lower, upper) - before;
  if (diff != 0) {
    wcsp->setDiffPenalty(id, variable, value, diff);
  }
}

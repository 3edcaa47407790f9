// The linear constraint. One pass over the blocks of terms forms the sum, a
// second one reports; only a block whose variable is on one of its labels walks
// that variable's whole domain.

#include "constraints/wcsp_linear.h"

#include "constraints/bounds.h"

void WcspLinear::preprocess() {
  if (terms.empty()) {
    return;
  }
  terms.quicksort(0, static_cast<unsigned>(terms.size() - 1));
  mergeRepeats();
  index.clear();
  for (Term const& term : terms) {
    index.add(term.variable, term.value);
    wcsp->involve(id, term.variable, term.value);
  }
  index.finish();
}

void WcspLinear::mergeRepeats() {
  std::size_t last = 0;
  for (std::size_t i = 1; i < terms.size(); ++i) {
    if (terms[i].variable == terms[last].variable &&
        terms[i].value == terms[last].value) {
      terms[last].coefficient += terms[i].coefficient;
    } else {
      terms[++last] = terms[i];
    }
  }
  terms.resize(last + 1);
}

int WcspLinear::calculate(std::vector<unsigned> const& assignment) {
  const std::int64_t total = sum(assignment);
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned current = index.find(block, assignment[block.variable]);
    if (current == block.end) {
      reportWithoutCurrent(block, total);
    } else {
      reportWithCurrent(block, current, total);
    }
  }
  return distanceFromBounds(total, lower, upper);
}

std::int64_t WcspLinear::sum(std::vector<unsigned> const& assignment) const {
  std::int64_t total = 0;
  for (LabelIndex::Block const& block : index.blocks) {
    const unsigned current = index.find(block, assignment[block.variable]);
    if (current != block.end) {
      total += terms[current].coefficient;
    }
  }
  return total;
}

void WcspLinear::reportWithoutCurrent(LabelIndex::Block const& block,
                                      std::int64_t sum) {
  const int before = distanceFromBounds(sum, lower, upper);
  for (unsigned i = block.begin; i < block.end; ++i) {
    report(block.variable, terms[i].value, sum + terms[i].coefficient, before);
  }
}

void WcspLinear::reportWithCurrent(LabelIndex::Block const& block,
                                   unsigned current, std::int64_t sum) {
  const int before = distanceFromBounds(sum, lower, upper);
  const std::int64_t left = sum - terms[current].coefficient;
  const unsigned numValues = wcsp->getNumValues(block.variable);
  unsigned i = block.begin;
  for (unsigned value = 0; value < numValues; ++value) {
    std::int64_t after = left;
    if (i < block.end && terms[i].value == value) {
      after += terms[i].coefficient;
      ++i;
    }
    report(block.variable, value, after, before);
  }
}

void WcspLinear::report(unsigned variable, unsigned value, std::int64_t sum,
                        int before) {
  const int diff = distanceFromBounds(sum, lower, upper) - before;
  if (diff != 0) {
    wcsp->setDiffPenalty(id, variable, value, diff);
  }
}

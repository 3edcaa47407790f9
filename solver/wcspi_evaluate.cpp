// The incremental evaluation. A constraint that a move concerns is measured
// again; the merge of its old and its new diff list then touches only the
// labels whose diff has changed. The check of the bookkeeping stands here too.

#include <algorithm>
#include <cassert>
#include <cmath>

#include "solver/wcspi.h"

namespace {

using Label = RealWcsp::Label;

/// Checking costs as much as an evaluation from scratch.
constexpr std::size_t maxCheckedLabels = 1000;

/// Swap with the last and drop.
void removeCandidate(std::vector<Label*>& candidates, Label& label) {
  Label* const last = candidates.back();
  candidates[label.position] = last;
  last->position = label.position;
  candidates.pop_back();
}

void appendCandidate(std::vector<Label*>& candidates, Label& label) {
  candidates.push_back(&label);
  label.position = static_cast<unsigned>(candidates.size() - 1);
}

/// Brings a label from its diff `before` for one constraint to `after`.
void changeDiff(std::vector<Label*>& candidates, Label& label, int before,
                int after, double weight) {
  if (before < 0 && after >= 0) {
    if (--label.improvingCount == 0) {
      removeCandidate(candidates, label);
    }
  } else if (before >= 0 && after < 0) {
    if (label.improvingCount == 0) {
      appendCandidate(candidates, label);
    }
    ++label.improvingCount;
  }
  const std::int64_t change = static_cast<std::int64_t>(after) - before;
  label.score += static_cast<double>(change) * weight;
}

}  // namespace

void RealWcsp::initialize() {
  current.hardPenalty = 0;
  current.softPenalty = 0;
  current.weightedPenalty = 0.0;
  candidates.clear();
  for (Label& label : labels.all()) {
    label.score = 0.0;
    label.improvingCount = 0;
  }
  for (unsigned c = 0; c < constraints.size(); ++c) {
    Constraint& record = *constraints[c];
    record.penalty = 0;
    record.next->assign(1, {labels.sentinel(), 0});
    calculate(c);
  }
  assert(smallBookkeepingHolds());
}

void RealWcsp::calculate(unsigned constraint) {
  Constraint& record = *constraints[constraint];
  std::swap(record.previous, record.next);
  record.next->clear();
  const int penalty = record.constraint->calculate(current.value);
  const std::int64_t delta =
      static_cast<std::int64_t>(penalty) - record.penalty;
  if (record.isHard()) {
    current.hardPenalty += delta;
  } else {
    current.softPenalty += record.constraint->weight * delta;
  }
  current.weightedPenalty += static_cast<double>(delta) * record.weight;
  record.next->push_back({labels.sentinel(), 0});
  mergeDiffs(record);
  record.penalty = penalty;
}

// Both lists ascend in the block of labels and end in its sentinel.
void RealWcsp::mergeDiffs(Constraint const& record) {
  Label const* const sentinel = labels.sentinel();
  DiffPenalty const* before = record.previous->data();
  DiffPenalty const* after = record.next->data();
  for (;;) {
    if (before->label < after->label) {
      changeDiff(candidates, *before->label, before->diff, 0, record.weight);
      ++before;
    } else if (after->label < before->label) {
      changeDiff(candidates, *after->label, 0, after->diff, record.weight);
      ++after;
    } else if (before->label == sentinel) {
      return;
    } else {
      if (before->diff != after->diff) {
        changeDiff(candidates, *before->label, before->diff, after->diff,
                   record.weight);
      }
      ++before;
      ++after;
    }
  }
}

// Ascending ids: the order of `candidates` and of the sums follows from it. The
// end mark is above every id. The same list twice advances together.
void RealWcsp::applyMove(Label const& label) {
  Label const& old = labels[label.variable][current.value[label.variable]];
  current.value[label.variable] = label.value;
  unsigned const* left = old.constraintIds.data();
  unsigned const* taken = label.constraintIds.data();
  for (;;) {
    const unsigned c = std::min(*left, *taken);
    if (c >= constraints.size()) {
      break;
    }
    calculate(c);
    left += *left == c ? 1 : 0;
    taken += *taken == c ? 1 : 0;
  }
  assert(smallBookkeepingHolds());
}

bool RealWcsp::smallBookkeepingHolds() {
  return labels.all().size() > maxCheckedLabels || bookkeepingHolds();
}

bool RealWcsp::bookkeepingHolds() {
  std::vector<double> scores(labels.all().size(), 0.0);
  std::vector<double> magnitudes(labels.all().size(), 0.0);
  std::vector<int> counts(labels.all().size(), 0);
  Solution sums;
  for (Constraint const* record : constraints) {
    Int128& total = record->isHard() ? sums.hardPenalty : sums.softPenalty;
    total +=
        static_cast<Int128>(record->isHard() ? 1 : record->constraint->weight) *
        record->penalty;
    sums.weightedPenalty += record->penalty * record->weight;
    Label const* last = nullptr;
    for (DiffPenalty const& entry : *record->next) {
      if (entry.label == labels.sentinel()) {
        last = nullptr;
        break;
      }
      if (entry.diff == 0 || (last != nullptr && entry.label <= last)) {
        return false;  // invariant 2
      }
      last = entry.label;
      const auto i = static_cast<std::size_t>(last - labels.all().data());
      scores[i] += entry.diff * record->weight;
      magnitudes[i] += std::abs(entry.diff * record->weight);
      counts[i] += entry.diff < 0 ? 1 : 0;
    }
    if (last != nullptr) {
      return false;  // invariant 2: no end entry
    }
  }
  largestSum = std::max(largestSum, sums.weightedPenalty);
  for (const double magnitude : magnitudes) {
    largestSum = std::max(largestSum, magnitude);
  }
  const double tolerance = 1e-9 * largestSum;  // far above rounding
  if (sums.hardPenalty != current.hardPenalty ||
      sums.softPenalty != current.softPenalty ||
      std::abs(sums.weightedPenalty - current.weightedPenalty) > tolerance) {
    return false;  // invariant 3
  }
  std::size_t numCandidates = 0;
  for (std::size_t i = 0; i < scores.size(); ++i) {
    Label const& label = labels.all()[i];
    if (std::abs(scores[i] - label.score) > tolerance ||
        counts[i] != label.improvingCount) {
      return false;  // invariant 4
    }
    if (counts[i] > 0) {
      ++numCandidates;
      if (label.position >= candidates.size() ||
          candidates[label.position] != &label) {
        return false;  // invariant 5
      }
    }
  }
  return numCandidates == candidates.size();
}

// The incremental evaluation. A constraint that a move concerns is measured
// again; the merge of its old and its new diff list then touches only the
// labels whose diff has changed.

#include <algorithm>
#include <cassert>

#include "solver/wcspi.h"

namespace {

using Label = RealWcsp::Label;

/// The diff of the sentinel behind reports; behind the diffs kept it is 0.
constexpr int reportsEnd = 1;

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
    constraints[c].penalty = 0;
    constraints[c].diffs.assign(1, {labels.sentinel(), 0});
    calculate(c);
  }
  assert(smallBookkeepingHolds());
}

int RealWcsp::measure(Constraint const& record) {
#ifndef NDEBUG
  const struct Scope {
    bool& flag;
    explicit Scope(bool& itsFlag) : flag(itsFlag) { flag = true; }
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;
    ~Scope() { flag = false; }
  } scope(isCalculating);
#endif
  return record.constraint->calculate(current.value);
}

void RealWcsp::calculate(unsigned constraint) {
  Constraint& record = constraints[constraint];
  reports.clear();
  const int penalty = measure(record);
  const std::int64_t delta =
      static_cast<std::int64_t>(penalty) - record.penalty;
  if (record.isHard()) {
    current.hardPenalty += delta;
  } else {
    current.softPenalty += Int128{record.constraint->weight} * delta;
  }
  current.weightedPenalty += static_cast<double>(delta) * record.weight;
  reports.append({labels.sentinel(), reportsEnd});
  record.penalty = penalty;
  mergeReports(record);
}

// Both lists ascend by label and end in the sentinel, whose diffs differ: so
// the entries before the first change are passed over by comparing alone.
void RealWcsp::mergeReports(Constraint& record) {
  const unsigned sentinel = labels.sentinel();
  DiffPenalty const* before = record.diffs.data();
  DiffPenalty const* after = reports.data();
  while (*before == *after) {
    ++before;
    ++after;
  }
  const auto firstChange = after - reports.data();
  for (;;) {
    const unsigned label = std::min(before->label, after->label);
    if (label == sentinel) {
      break;
    }
    int oldDiff = 0;
    int newDiff = 0;
    if (before->label == label) {
      oldDiff = before->diff;
      ++before;
    }
    if (after->label == label) {
      newDiff = after->diff;
      ++after;
    }
    changeDiff(candidates, labels.at(label), oldDiff, newDiff, record.weight);
    while (*before == *after) {
      ++before;
      ++after;
    }
  }
  // Only what has changed is copied.
  record.diffs.resize(reports.size());
  std::copy(reports.data() + firstChange, after,
            record.diffs.begin() + firstChange);
  record.diffs.back() = {sentinel, 0};
}

// Ascending ids: the order of `candidates` and of the sums follows from it. The
// end mark is above every id. The same list twice advances together.
void RealWcsp::applyMove(Label const& label) {
  unsigned& value = current.value[label.variable];
  unsigned const* left = constraintIds[labels.number(label.variable, value)];
  unsigned const* taken =
      constraintIds[labels.number(label.variable, label.value)];
  value = label.value;
  concerned.clear();
  for (;;) {
    const unsigned c = std::min(*left, *taken);
    if (c == uinf) {
      break;
    }
    concerned.push_back(c);
    left += *left == c ? 1 : 0;
    taken += *taken == c ? 1 : 0;
  }
  calculateConcerned();
}

// Most of the time would go into waiting for records and constraints, which lie
// scattered, if they were not asked for a little ahead.
void RealWcsp::calculateConcerned() {
  const std::size_t size = concerned.size();
  for (std::size_t i = 0; i < size; ++i) {
    if (i + 4 < size) {
      __builtin_prefetch(&constraints[concerned[i + 4]]);
    }
    if (i + 2 < size) {
      Constraint const& next = constraints[concerned[i + 2]];
      __builtin_prefetch(next.diffs.data());
      __builtin_prefetch(next.constraint);
    }
    calculate(concerned[i]);
  }
  assert(smallBookkeepingHolds());
}

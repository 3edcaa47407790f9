// The incremental evaluation. A constraint that a move concerns reports the
// labels whose diff has changed; for one that can only list all its diffs, the
// merge of its old and its new list finds them.

#include <algorithm>
#include <cassert>

#include "solver/wcspi.h"

namespace {

/// The diff of the sentinel behind reports; behind the diffs kept it is 0.
constexpr int reportsEnd = 1;

}  // namespace

void RealWcsp::appendCandidate(unsigned label) {
  labels.candidacies[label].position = static_cast<unsigned>(candidates.size());
  candidates.push_back(label);
}

/// Swap with the last and drop.
void RealWcsp::removeCandidate(unsigned label) {
  const unsigned last = candidates.back();
  const unsigned position = labels.candidacies[label].position;
  candidates[position] = last;
  labels.candidacies[last].position = position;
  candidates.pop_back();
}

inline void RealWcsp::changeDiff(unsigned label, int before, int after,
                                 double weight) {
  if ((before < 0) != (after < 0)) {
    int& improvingCount = labels.candidacies[label].improvingCount;
    if (after < 0) {
      if (improvingCount == 0) {
        appendCandidate(label);
      }
      ++improvingCount;
    } else if (--improvingCount == 0) {
      removeCandidate(label);
    }
  }
  const std::int64_t change = static_cast<std::int64_t>(after) - before;
  labels.scores[label] += static_cast<double>(change) * weight;
}

void RealWcsp::initialize() {
  current.hardPenalty = 0;
  current.softPenalty = 0;
  current.weightedPenalty = 0.0;
  candidates.clear();
  std::fill(labels.scores.begin(), labels.scores.end(), 0.0);
  std::fill(labels.candidacies.begin(), labels.candidacies.end(),
            LabelTable::Candidacy{});
  previous = current.value;
  for (Constraint& record : constraints) {
    evaluateFirst(record);
  }
  assert(smallBookkeepingHolds());
}

void RealWcsp::evaluateFirst(Constraint& record) {
  record.penalty = 0;
  if (record.constraint->isUpdatable()) {
    setPenalty(record, measure(record));
    for (DiffPenalty const& entry : std::span(reports.data(), reports.size())) {
      changeDiff(entry.label, 0, entry.diff, record.weight);
    }
    record.constraint->track(current.value);
    return;
  }
  if (record.list == updated) {
    diffLists.emplace_back();
    record.list = static_cast<unsigned>(diffLists.size() - 1);
  }
  diffLists[record.list].assign(1, {labels.sentinel(), 0});
  evaluate(record, WcspConstraint::several);
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
  reports.clear();
  return record.constraint->calculate(current.value);
}

// Mostly nothing changes, and adding 0 would not change the sums: weights are
// finite, and a sum is never the negative 0.
void RealWcsp::setPenalty(Constraint& record, int penalty) {
  if (penalty == record.penalty) {
    return;
  }
  const std::int64_t delta =
      static_cast<std::int64_t>(penalty) - record.penalty;
  if (record.isHard()) {
    current.hardPenalty += delta;
  } else {
    current.softPenalty += Int128{record.constraint->weight} * delta;
  }
  current.weightedPenalty += static_cast<double>(delta) * record.weight;
  record.penalty = penalty;
}

void RealWcsp::evaluate(Constraint& record, unsigned variable) {
  if (record.list == updated) {
    setPenalty(record,
               record.constraint->update(previous, current.value, variable));
    return;
  }
  setPenalty(record, measure(record));
  reports.append({labels.sentinel(), reportsEnd});
  mergeReports(record);
}

void RealWcsp::changeDiffPenalties(unsigned constraint,
                                   std::span<WcspChange const> changes) {
  const double weight = constraints[constraint].weight;
  for (auto const& [label, before, after] : changes) {
    changeDiff(label, before, after, weight);
  }
}

std::span<RealWcsp::DiffPenalty const> RealWcsp::diffsOf(
    Constraint const& record) {
  if (record.list == updated) {
    static_cast<void>(measure(record));
    return {reports.data(), reports.size()};
  }
  auto const& diffs = diffLists[record.list];
  return std::span(diffs).first(diffs.size() - 1);
}

// Both lists ascend by label and end in the sentinel, whose diffs differ: so
// the entries before the first change are passed over by comparing alone.
void RealWcsp::mergeReports(Constraint& record) {
  const unsigned sentinel = labels.sentinel();
  std::vector<DiffPenalty>& diffs = diffLists[record.list];
  DiffPenalty const* before = diffs.data();
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
    changeDiff(label, oldDiff, newDiff, record.weight);
    while (*before == *after) {
      ++before;
      ++after;
    }
  }
  // Only what has changed is copied.
  diffs.resize(reports.size());
  std::copy(reports.data() + firstChange, after, diffs.begin() + firstChange);
  diffs.back() = {sentinel, 0};
}

// Ascending ids: the order of `candidates` and of the sums follows from it. The
// end mark is above every id. The same list twice advances together.
void RealWcsp::applyMove(unsigned label) {
  const unsigned variable = labels.variable(label);
  unsigned& value = current.value[variable];
  unsigned const* left = constraintIds[labels.number(variable, value)];
  unsigned const* taken = constraintIds[label];
  value = labels.value(label);
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
  evaluateConcerned(variable);
  previous[variable] = value;
  assert(smallBookkeepingHolds());
}

// Most of the time would go into waiting for records and constraints, which lie
// scattered, if they were not asked for a little ahead.
void RealWcsp::evaluateConcerned(unsigned variable) {
  const std::size_t size = concerned.size();
  for (std::size_t i = 0; i < size; ++i) {
    if (i + 4 < size) {
      __builtin_prefetch(&constraints[concerned[i + 4]]);
    }
    if (i + 2 < size) {
      Constraint const& next = constraints[concerned[i + 2]];
      __builtin_prefetch(next.constraint);
      __builtin_prefetch(reinterpret_cast<char const*>(next.constraint) + 64);
    }
    evaluate(constraints[concerned[i]], variable);
  }
}

// The incremental evaluation. A constraint that a move concerns lists the
// labels whose diff has changed; for one that can only list all its diffs, two
// lists are compared.

#include <algorithm>
#include <cassert>

#include "solver/wcspi.h"

namespace {

/// Marks, in builds with assertions, that a constraint is being evaluated.
class EvaluationScope {
 public:
#ifndef NDEBUG
  explicit EvaluationScope(bool& isCalculating)
      : flag(isCalculating), outer(isCalculating) {
    flag = true;
  }
  EvaluationScope(EvaluationScope const&) = delete;
  EvaluationScope& operator=(EvaluationScope const&) = delete;
  ~EvaluationScope() {
    flag = outer;
  }

 private:
  bool& flag;
  bool outer;
#else
  explicit EvaluationScope(bool const&) {}
#endif
};

}  // namespace

void RealWcsp::appendCandidate(unsigned label) {
  auto const position = static_cast<unsigned>(candidates.size());
  labels.candidacies[label].position = position;
  leastScores[position / blockSize] = unknownScore;
  candidates.push_back(label);
}

/// Swap with the last and drop.
void RealWcsp::removeCandidate(unsigned label) {
  unsigned const last = candidates.back();
  unsigned const position = labels.candidacies[label].position;
  candidates[position] = last;
  leastScores[position / blockSize] = unknownScore;
  labels.candidacies[last].position = position;
  candidates.pop_back();
}

inline void RealWcsp::changeDiff(unsigned label, Diffs diffs, double weight) {
  auto const [before, after] = diffs;
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
  noteSum(labels.scores[label]);
}

void RealWcsp::initialize() {
  current.hardPenalty = 0;
  current.softPenalty = 0;
  current.weightedPenalty = 0.0;
  drop();  // an exception may have left some
  candidates.clear();
  candidates.reserve(labels.size());
  blockScores.resize(labels.size());
  leastScores.resize(labels.size() / blockSize + 1);
  hasBlocks = false;
  std::fill(labels.scores.begin(), labels.scores.end(), 0.0);
  std::fill(labels.candidacies.begin(), labels.candidacies.end(),
            LabelTable::Candidacy{});
  previous = current.value;
  remeasured.noteAll();
  violated.reset(constraints.size());
  for (Constraint& record : constraints) {
    evaluateFirst(record);
  }
  assert(smallBookkeepingHolds());
}

void RealWcsp::evaluateFirst(Constraint& record) {
  record.penalty = 0;
  setPenalty(record, measure(*record.constraint, current.value));
  for (auto const& [label, diff] : listed) {
    changeDiff(label, {0, diff}, record.weight);
  }
}

int RealWcsp::measure(WcspConstraint& constraint,
                      std::vector<unsigned> const& values) {
  const EvaluationScope scope(isCalculating);
  listed.clear();
  return constraint.calculate(values);
}

// Mostly nothing changes, and adding 0 would not change the sums: weights are
// finite, and a sum is never the negative 0.
void RealWcsp::setPenalty(Constraint& record, int penalty) {
  if (penalty == record.penalty) {
    return;
  }
  auto const id = static_cast<unsigned>(&record - constraints.data());
  remeasured.note(id);
  if ((penalty > 0) != (record.penalty > 0)) {
    violated.flip(id);
  }
  const std::int64_t delta =
      static_cast<std::int64_t>(penalty) - record.penalty;
  if (record.isHard()) {
    current.hardPenalty += delta;
  } else {
    current.softPenalty += Int128{record.constraint->weight} * delta;
  }
  current.weightedPenalty += static_cast<double>(delta) * record.weight;
  noteSum(current.weightedPenalty);
  record.penalty = penalty;
}

void RealWcsp::evaluate(Constraint& record, std::span<unsigned const> changed) {
  const EvaluationScope scope(isCalculating);
  changeWeight = record.weight;
  int const penalty =
      record.constraint->update(previous, current.value, changed, *this);
  flush();
  setPenalty(record, penalty);
}

void RealWcsp::enter(std::span<Change const> entered) {
  double const weight = changeWeight;
  for (auto const& [label, diffs] : entered) {
    changeDiff(label, diffs, weight);
  }
  if (hasBlocks) {
    for (auto const& [label, diffs] : entered) {
      auto const& [improvingCount, position] = labels.candidacies[label];
      if (improvingCount > 0) {
        leastScores[position / blockSize] = unknownScore;
      }
    }
  }
}

// Both lists ascend by label.
int RealWcsp::compare(WcspConstraint& constraint) {
  static_cast<void>(measure(constraint, previous));
  listedBefore.swap(listed);
  int const violation = measure(constraint, current.value);
  auto before = listedBefore.begin();
  auto after = listed.begin();
  auto const take = [](auto& pair, auto end, unsigned label) {
    return pair != end && pair->label == label ? (pair++)->diff : 0;
  };
  while (before != listedBefore.end() || after != listed.end()) {
    unsigned const label =
        after == listed.end() ||
                (before != listedBefore.end() && before->label < after->label)
            ? before->label
            : after->label;
    int const diffBefore = take(before, listedBefore.end(), label);
    add(label, {diffBefore, take(after, listed.end(), label)});
  }
  return violation;
}

// Ascending ids: the order of `candidates` and of the sums follows from it. The
// end mark is above every id.
void RealWcsp::applyMove(unsigned label) {
  unsigned const variable = labels.variable(label);
  unsigned& value = current.value[variable];
  if (labels.value(label) == value) {
    return;  // a kick may draw the value that a variable has
  }
  unsigned const* left = constraintIds[labels.number(variable, value)];
  unsigned const* taken = constraintIds[label];
  value = labels.value(label);
  moved.note(variable);
  concerned.clear();
  movedVariables.assign(1, variable);
  for (;;) {
    unsigned const c = std::min(*left, *taken);
    if (c == uinf) {
      break;
    }
    concerned.push_back({c, 0, 1});
    left += *left == c ? 1 : 0;
    taken += *taken == c ? 1 : 0;
  }
  evaluateConcerned();
  previous[variable] = value;
  assert(smallBookkeepingHolds());
}

// Most of the time would go into waiting for records and constraints, which lie
// scattered, if they were not asked for a little ahead.
void RealWcsp::evaluateConcerned() {
  const std::size_t size = concerned.size();
  for (std::size_t i = 0; i < size; ++i) {
    if (i + 4 < size) {
      __builtin_prefetch(&constraints[concerned[i + 4].id]);
    }
    if (i + 2 < size) {
      Constraint const& next = constraints[concerned[i + 2].id];
      __builtin_prefetch(next.constraint);
      __builtin_prefetch(reinterpret_cast<char const*>(next.constraint) + 64);
    }
    auto const& [id, first, last] = concerned[i];
    evaluate(constraints[id],
             std::span(movedVariables).subspan(first, last - first));
  }
}

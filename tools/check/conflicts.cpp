// A trail records each removed value with the constraint that excludes it.
// Walking the trail back from the constraint that cannot be satisfied gives the
// constraints involved. Unnecessary ones are then removed one by one.

#include "tools/check/conflicts.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>

#include "tools/check/evaluate.h"

namespace check {

namespace {

constexpr std::size_t maxConflicts = 10;
constexpr std::size_t maxReduced = 200;  // constraints of a conflict
constexpr std::size_t maxPairs = 4096;   // of values of two variables
constexpr std::size_t maxSteps = 8;      // of a chain that are shown

struct Strike {
  Label label;
  std::size_t constraint = 0;
};

// The minimum and the maximum of a contribution to a sum.
struct Bounds {
  std::int64_t least = 0;
  std::int64_t greatest = 0;
  bool isSet = false;

  void add(std::int64_t sum) {
    least = isSet ? std::min(least, sum) : sum;
    greatest = isSet ? std::max(greatest, sum) : sum;
    isSet = true;
  }
  Bounds& operator+=(Bounds const& more) {
    least += more.least;
    greatest += more.greatest;
    return *this;
  }
};

// The sums of a pair of variables by the values of one of them.
class Side {
 public:
  Side(unsigned itsVariable, unsigned numValues)
      : variable(itsVariable), bounds(numValues), numMet(numValues) {}

  void add(unsigned value, std::int64_t sum) {
    bounds[value].add(sum);
    ++numMet[value];
  }
  // The same for 0, where not all values of the other variable have met it.
  void complete(unsigned value, unsigned numOthers) {
    if (numMet[value] < numOthers) {
      bounds[value].add(0);
    }
  }

  unsigned variable;
  std::vector<Bounds> bounds;  // of each value

 private:
  std::vector<unsigned> numMet;
};

// The contribution to a sum of the pairs that contain a variable.
struct Share {
  Bounds whole;
  std::vector<Bounds> ofValues;
};

class Striker {
 public:
  explicit Striker(Model const& subject);

  // Whether propagation finds a conflict between these constraints; false once
  // the work limit is reached.
  bool isConflict(std::vector<std::size_t> const& constraints);
  // The constraints involved in the conflict, ascending.
  std::vector<std::size_t> involved() const;
  std::size_t lastConstraint() const { return last; }
  std::string chain() const;

 private:
  using Index = std::size_t;

  void reset();
  bool isAlive(Label const& label) const {
    return alive[first[label.variable] + label.value];
  }
  bool strike(Label const& label, Index c);
  void fail(Index c) {
    hasFailed = true;
    last = c;
  }
  bool isBarred(Constraint const& constraint, std::int64_t least,
                std::int64_t greatest) const;
  void revise(Index c);
  std::vector<Side> sidesOf(std::vector<LabelSum> const& pair) const;
  Bounds complete(std::vector<Side>& sides) const;
  void reviseSum(Index c);
  void reviseAlldiff(Index c);
  void comparePairs(std::vector<Index> const& constraints);
  void comparePair(unsigned x, unsigned y, std::vector<Index> const& group);
  std::vector<bool> markInvolved(std::vector<bool>& isStep) const;

  Model const& model;
  std::vector<std::vector<unsigned>> scopes;  // of the hard constraints
  std::vector<std::vector<Index>> watchers;   // hard ones of each variable
  std::vector<std::size_t> first;             // of each variable's labels
  std::vector<bool> alive;                    // of each label
  std::vector<unsigned> numAlive;             // of each variable
  std::vector<Strike> trail;
  std::vector<bool> isActive;
  std::vector<bool> isQueued;
  std::deque<Index> queue;
  std::vector<Index> lastGroup;  // what stands against `last`, if a pair does
  Index last = 0;
  bool hasFailed = false;
  std::int64_t budget = 0;  // steps left
};

Striker::Striker(Model const& subject)
    : model(subject),
      scopes(model.constraints.size()),
      watchers(model.variables.size()),
      isActive(model.constraints.size()),
      isQueued(model.constraints.size()) {
  constexpr std::int64_t leastBudget = 10000000;
  constexpr std::int64_t perLabel = 8;
  std::size_t numLabels = 0;
  for (Names const& values : model.values) {
    first.push_back(numLabels);
    numLabels += values.size();
    numAlive.push_back(values.size());
  }
  alive.assign(numLabels, true);
  budget = leastBudget;
  for (Index c = 0; c < model.constraints.size(); ++c) {
    Constraint const& constraint = model.constraints[c];
    if (constraint.weight == inf) {
      scopes[c] = scopeOf(constraint);
      budget += perLabel * static_cast<std::int64_t>(constraint.terms.size() +
                                                     scopes[c].size());
      for (unsigned const v : scopes[c]) {
        watchers[v].push_back(c);
      }
    }
  }
}

void Striker::reset() {
  for (Strike const& step : trail) {
    alive[first[step.label.variable] + step.label.value] = true;
    ++numAlive[step.label.variable];
  }
  trail.clear();
  for (const Index c : queue) {
    isQueued[c] = false;
  }
  queue.clear();
  lastGroup.clear();
  hasFailed = false;
}

// Whether the variable still has a value.
bool Striker::strike(Label const& label, Index c) {
  alive[first[label.variable] + label.value] = false;
  trail.push_back({label, c});
  for (const Index watcher : watchers[label.variable]) {
    if (isActive[watcher] && !isQueued[watcher]) {
      isQueued[watcher] = true;
      queue.push_back(watcher);
    }
  }
  if (--numAlive[label.variable] == 0) {
    fail(c);
  }
  return !hasFailed;
}

bool Striker::isBarred(Constraint const& constraint, std::int64_t least,
                       std::int64_t greatest) const {
  return (hasUpper(constraint) && least > constraint.upper) ||
         (hasLower(constraint) && greatest < constraint.lower);
}

// One for each variable of the pair; only labels that are alive count.
std::vector<Side> Striker::sidesOf(std::vector<LabelSum> const& pair) const {
  unsigned const x = pair[0].label1.variable;
  unsigned const y = pair[0].label2.variable;
  std::vector<Side> sides;
  sides.emplace_back(x, model.values[x].size());
  if (x != y) {
    sides.emplace_back(y, model.values[y].size());
  }
  for (auto const& [label1, label2, sum] : pair) {
    if (isAlive(label1) && isAlive(label2)) {
      sides.front().add(label1.value, sum);
      if (x != y) {
        sides.back().add(label2.value, sum);
      }
    }
  }
  return sides;
}

// Takes in that no term may be on; the bounds of the whole pair.
Bounds Striker::complete(std::vector<Side>& sides) const {
  Bounds whole;
  for (Side& side : sides) {
    Side const& other = &side == &sides.front() ? sides.back() : sides.front();
    unsigned const numOthers = sides.size() == 1 ? 1 : numAlive[other.variable];
    for (unsigned a = 0; a < side.bounds.size(); ++a) {
      if (isAlive({side.variable, a})) {
        side.complete(a, numOthers);
        whole.add(side.bounds[a].least);
        whole.add(side.bounds[a].greatest);
      }
    }
  }
  return whole;
}

// Excludes the values for which the sum cannot lie between its bounds.
void Striker::reviseSum(Index c) {
  Constraint const& constraint = model.constraints[c];
  std::map<unsigned, Share> shares;  // of variables
  Bounds total;
  forPairs(constraint, [&](std::vector<LabelSum> const& pair) {
    std::vector<Side> sides = sidesOf(pair);
    const Bounds whole = complete(sides);
    total += whole;
    for (Side const& side : sides) {
      budget -= static_cast<std::int64_t>(side.bounds.size());
      Share& share = shares[side.variable];
      share.whole += whole;
      share.ofValues.resize(side.bounds.size());
      for (std::size_t a = 0; a < side.bounds.size(); ++a) {
        share.ofValues[a] += side.bounds[a];
      }
    }
  });
  if (isBarred(constraint, total.least, total.greatest)) {
    fail(c);
    return;
  }
  for (auto const& [v, share] : shares) {
    auto const& [whole, ofValues] = share;
    for (unsigned a = 0; a < ofValues.size(); ++a) {
      if (isAlive({v, a}) &&
          isBarred(constraint, total.least - whole.least + ofValues[a].least,
                   total.greatest - whole.greatest + ofValues[a].greatest) &&
          !strike({v, a}, c)) {
        return;
      }
    }
  }
}

// A variable with one value left excludes it for the others. Together, the
// variables need as many value numbers as there are variables.
void Striker::reviseAlldiff(Index c) {
  std::map<unsigned, unsigned> owners;  // of value numbers
  std::vector<bool> isMet;
  std::size_t numMet = 0;
  for (unsigned const v : scopes[c]) {
    unsigned const size = model.values[v].size();
    budget -= size;
    isMet.resize(std::max<std::size_t>(isMet.size(), size));
    for (unsigned a = 0; a < size; ++a) {
      if (isAlive({v, a})) {
        numMet += isMet[a] ? 0U : 1U;
        isMet[a] = true;
        if (numAlive[v] == 1 && !owners.try_emplace(a, v).second) {
          fail(c);
          return;
        }
      }
    }
  }
  if (numMet < scopes[c].size()) {
    fail(c);
    return;
  }
  for (unsigned const v : scopes[c]) {
    for (auto const& [a, owner] : owners) {
      if (owner != v && a < model.values[v].size() && isAlive({v, a}) &&
          !strike({v, a}, c)) {
        return;
      }
    }
    budget -= static_cast<std::int64_t>(owners.size());
  }
}

void Striker::revise(Index c) {
  Constraint const& constraint = model.constraints[c];
  budget -= static_cast<std::int64_t>(constraint.terms.size());
  if (constraint.kind == Constraint::alldiff) {
    reviseAlldiff(c);
  } else {
    reviseSum(c);
  }
}

void Striker::comparePair(unsigned x, unsigned y,
                          std::vector<Index> const& group) {
  const std::size_t width = model.values[y].size();
  const std::size_t size = model.values[x].size() * width;
  std::vector<bool> isAllowed(size);
  std::vector<std::int64_t> sums(size);
  for (std::size_t i = 0; i < size; ++i) {
    isAllowed[i] = isAlive({x, static_cast<unsigned>(i / width)}) &&
                   isAlive({y, static_cast<unsigned>(i % width)});
  }
  for (const Index c : group) {
    Constraint const& constraint = model.constraints[c];
    budget -= static_cast<std::int64_t>(size * (1 + constraint.terms.size()));
    if (budget < 0) {
      return;
    }
    std::fill(sums.begin(), sums.end(), 0);
    for (Term const& term : constraint.terms) {
      for (std::size_t i = 0; i < size; ++i) {
        auto const holds = [&](Label const& label) {
          return label.value == (label.variable == x ? i / width : i % width);
        };
        sums[i] +=
            holds(term.label1) && holds(term.label2) ? term.coefficient : 0;
      }
    }
    bool const isAlldiff = constraint.kind == Constraint::alldiff;
    for (std::size_t i = 0; i < size; ++i) {
      if (isAlldiff ? i / width == i % width
                    : isBarred(constraint, sums[i], sums[i])) {
        isAllowed[i] = false;
      }
    }
  }
  if (std::find(isAllowed.begin(), isAllowed.end(), true) == isAllowed.end()) {
    lastGroup = group;
    fail(group.back());
  }
}

void Striker::comparePairs(std::vector<Index> const& constraints) {
  std::map<std::pair<unsigned, unsigned>, std::vector<Index>> groups;
  for (const Index c : constraints) {
    if (scopes[c].size() == 2) {
      groups[{scopes[c][0], scopes[c][1]}].push_back(c);
    }
  }
  for (auto const& [pair, group] : groups) {
    auto const [x, y] = pair;
    if (hasFailed || budget < 0) {
      return;
    }
    if (group.size() > 1 &&
        std::size_t{model.values[x].size()} * model.values[y].size() <=
            maxPairs) {
      comparePair(x, y, group);
    }
  }
}

bool Striker::isConflict(std::vector<Index> const& constraints) {
  reset();
  for (const Index c : constraints) {
    isActive[c] = isQueued[c] = true;
    queue.push_back(c);
  }
  while (!queue.empty() && !hasFailed && budget >= 0) {
    const Index c = queue.front();
    queue.pop_front();
    isQueued[c] = false;
    revise(c);
  }
  if (!hasFailed && budget >= 0) {
    comparePairs(constraints);
  }
  for (const Index c : constraints) {
    isActive[c] = false;
  }
  return hasFailed;
}

// Going backwards, a removal is involved if a later step depends on its
// variable.
std::vector<bool> Striker::markInvolved(std::vector<bool>& isStep) const {
  std::vector<bool> isInvolved(model.constraints.size());
  std::vector<bool> isNeeded(model.variables.size());
  auto const involve = [&](Index c) {
    if (!isInvolved[c]) {
      isInvolved[c] = true;
      for (const unsigned v : scopes[c]) {
        isNeeded[v] = true;
      }
    }
  };
  involve(last);
  std::for_each(lastGroup.begin(), lastGroup.end(), involve);
  isStep.assign(trail.size(), false);
  for (std::size_t i = trail.size(); i > 0; --i) {
    Strike const& step = trail[i - 1];
    if (isNeeded[step.label.variable]) {
      isStep[i - 1] = true;
      involve(step.constraint);
    }
  }
  return isInvolved;
}

std::vector<std::size_t> Striker::involved() const {
  std::vector<bool> isStep;
  const std::vector<bool> isInvolved = markInvolved(isStep);
  std::vector<Index> constraints;
  for (Index c = 0; c < isInvolved.size(); ++c) {
    if (isInvolved[c]) {
      constraints.push_back(c);
    }
  }
  return constraints;
}

// "'a' excludes x = b, x = c; 'd' excludes y = a; no value is left for 'e'"
std::string Striker::chain() const {
  std::vector<bool> isStep;
  markInvolved(isStep);
  std::string text;
  std::size_t numShown = 0;
  Index before = model.constraints.size();
  for (std::size_t i = 0; i < trail.size(); ++i) {
    if (!isStep[i]) {
      continue;
    }
    auto const& [label, c] = trail[i];
    if (++numShown > maxSteps) {
      text += ", ...";
      break;
    }
    text += (text.empty()  ? ""
             : c == before ? ", "
                           : "; ") +
            (c == before ? std::string()
                         : "'" + model.constraints[c].name + "' excludes ") +
            model.variables[label.variable] + " = " +
            model.values[label.variable][label.value];
    before = c;
  }
  return text + (text.empty() ? "" : "; ") + "no value is left for '" +
         model.constraints[last].name + "'";
}

// Removes each constraint that the conflict does not need.
void reduce(Striker& striker, std::vector<std::size_t>& constraints) {
  for (std::size_t i = constraints.size(); i > 0; --i) {
    std::vector<std::size_t> rest = constraints;
    rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i - 1));
    if (striker.isConflict(rest)) {
      constraints = std::move(rest);
    }
  }
}

}  // namespace

std::vector<Conflict> findConflicts(Model const& model) {
  Striker striker(model);
  std::vector<std::size_t> hard;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    if (model.constraints[c].weight == inf) {
      hard.push_back(c);
    }
  }
  std::vector<Conflict> conflicts;
  while (conflicts.size() < maxConflicts && striker.isConflict(hard)) {
    Conflict conflict;
    conflict.constraints = striker.involved();
    conflict.last = striker.lastConstraint();
    conflict.chain = striker.chain();
    if (conflict.constraints.size() <= maxReduced) {
      reduce(striker, conflict.constraints);
      if (striker.isConflict(conflict.constraints)) {
        conflict.last = striker.lastConstraint();
        conflict.chain = striker.chain();
      }
    }
    std::vector<std::size_t> rest;
    std::set_difference(hard.begin(), hard.end(), conflict.constraints.begin(),
                        conflict.constraints.end(), std::back_inserter(rest));
    hard = std::move(rest);
    conflicts.push_back(std::move(conflict));
  }
  return conflicts;
}

}  // namespace check

// The change by a move is summed over the terms of the variables that it sets.
// All values of a variable are computed together, each swap separately.

#include "tools/check/improve.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "tools/check/groups.h"

namespace check {

namespace {

// Limit of the cost of a move, so that swaps take seconds.
constexpr std::int64_t maxSteps = 300000000;

// A constraint of a variable and its terms that name the variable.
struct Use {
  std::size_t constraint = 0;
  std::vector<std::uint32_t> terms;  // empty for an all-different
};

Int128 capped(Int128 violation) {
  return std::min<Int128>(violation, inf);
}

class Finder {
 public:
  Finder(Model const& subject, Assignment const& current,
         Evaluation const& currentEvaluation);

  void tryChanges(unsigned v, std::optional<Move>& best) const;
  // Whether all swaps were tried.
  bool trySwaps(std::optional<Move>& best);

 private:
  int turn(std::size_t c, unsigned from, unsigned to);
  Int128 alldiffRise(std::size_t c, std::span<Label const> labels);
  Int128 addedBy(Constraint const& constraint, Use const& ofX, Use const& ofY,
                 unsigned x) const;
  Int128 sumRise(std::size_t c, Use const& ofX, Use const& ofY, Label const& x,
                 Label const& y);
  void consider(std::vector<Label> labels, Penalty const& penalty,
                std::optional<Move>& best) const;
  Penalty swapped(Label const& x, Label const& y);

  Model const& model;
  Assignment assignment;  // moved for a while and set back
  Evaluation const& evaluation;
  std::vector<std::vector<Use>> uses;  // of each variable, ascending
  std::vector<Int128> sums;            // of each constraint
  // How many variables of each all-different have each value number.
  std::vector<std::vector<unsigned>> counts;
  std::int64_t steps = 0;
};

Finder::Finder(Model const& subject, Assignment const& current,
               Evaluation const& currentEvaluation)
    : model(subject),
      assignment(current),
      evaluation(currentEvaluation),
      uses(subject.variables.size()),
      counts(subject.constraints.size()) {
  auto const useOf = [this](unsigned v, std::size_t c) -> Use& {
    if (uses[v].empty() || uses[v].back().constraint != c) {
      uses[v].push_back({c, {}});
    }
    return uses[v].back();
  };
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    Constraint const& constraint = model.constraints[c];
    for (std::uint32_t i = 0; i < constraint.terms.size(); ++i) {
      Term const& term = constraint.terms[i];
      useOf(term.label1.variable, c).terms.push_back(i);
      if (term.label2.variable != term.label1.variable) {
        useOf(term.label2.variable, c).terms.push_back(i);
      }
    }
    for (unsigned const v : scopeOf(constraint)) {
      if (constraint.kind == Constraint::alldiff) {
        useOf(v, c);
        counts[c].resize(
            std::max<std::size_t>(counts[c].size(), model.values[v].size()));
        ++counts[c][assignment[v]];
      }
    }
    sums.push_back(sumOf(constraint, assignment));
  }
}

void Finder::consider(std::vector<Label> labels, Penalty const& penalty,
                      std::optional<Move>& best) const {
  if (!best || penalty < best->penalty) {
    best = Move{std::move(labels), penalty};
  }
}

// The terms of a use are summed for all values of the variable in one pass.
void Finder::tryChanges(unsigned v, std::optional<Move>& best) const {
  unsigned const size = model.values[v].size();
  unsigned const now = assignment[v];
  std::vector<Penalty> penalties(size, evaluation);
  std::vector<Int128> gains(size);
  for (Use const& use : uses[v]) {
    Constraint const& constraint = model.constraints[use.constraint];
    const Int128 before = evaluation.violations[use.constraint];
    std::fill(gains.begin(), gains.end(), 0);
    if (constraint.kind == Constraint::alldiff) {
      for (unsigned a = 0; a < size; ++a) {
        gains[a] = counts[use.constraint][a] > (a == now ? 1U : 0U) ? 1 : 0;
      }
    }
    for (const std::uint32_t i : use.terms) {
      Term const& term = constraint.terms[i];
      bool const isFirst = term.label1.variable == v;
      Label const& own = isFirst ? term.label1 : term.label2;
      Label const& other = isFirst ? term.label2 : term.label1;
      bool const isOtherOn = other.variable == v
                                 ? other.value == own.value
                                 : assignment[other.variable] == other.value;
      gains[own.value] += isOtherOn ? term.coefficient : 0;
    }
    const Int128 rest = sums[use.constraint] - gains[now];
    for (unsigned a = 0; a < size; ++a) {
      const Int128 after =
          constraint.kind == Constraint::alldiff
              ? before - gains[now] + gains[a]
              : capped(violationOf(constraint, rest + gains[a]));
      penalties[a].add(constraint, after - before);
    }
  }
  for (unsigned a = 0; a < size; ++a) {
    if (a != now) {
      consider({{v, a}}, penalties[a], best);
    }
  }
}

// Moves one variable of an all-different; returns the change of its violation.
int Finder::turn(std::size_t c, unsigned from, unsigned to) {
  int const lost = --counts[c][from] > 0 ? 1 : 0;
  int const gained = counts[c][to]++ > 0 ? 1 : 0;
  return gained - lost;
}

// What these labels add to its violation.
Int128 Finder::alldiffRise(std::size_t c, std::span<Label const> labels) {
  Int128 rise = 0;
  for (auto const& [v, value] : labels) {
    rise += turn(c, assignment[v], value);
  }
  for (auto const& [v, value] : labels) {
    turn(c, value, assignment[v]);
  }
  return rise;
}

// What the terms of x and another variable add; one of both counts once.
Int128 Finder::addedBy(Constraint const& constraint, Use const& ofX,
                       Use const& ofY, unsigned x) const {
  Int128 sum = 0;
  for (const std::uint32_t i : ofX.terms) {
    Term const& term = constraint.terms[i];
    sum += isOn(term, assignment) ? term.coefficient : 0;
  }
  for (const std::uint32_t i : ofY.terms) {
    Term const& term = constraint.terms[i];
    bool const isOfX = term.label1.variable == x || term.label2.variable == x;
    sum += !isOfX && isOn(term, assignment) ? term.coefficient : 0;
  }
  return sum;
}

// What both labels add to the violation of a linear or quadratic constraint.
Int128 Finder::sumRise(std::size_t c, Use const& ofX, Use const& ofY,
                       Label const& x, Label const& y) {
  Constraint const& constraint = model.constraints[c];
  unsigned const xNow = std::exchange(assignment[x.variable], x.value);
  unsigned const yNow = std::exchange(assignment[y.variable], y.value);
  Int128 sum = sums[c] + addedBy(constraint, ofX, ofY, x.variable);
  assignment[x.variable] = xNow;
  assignment[y.variable] = yNow;
  sum -= addedBy(constraint, ofX, ofY, x.variable);
  return capped(violationOf(constraint, sum)) - evaluation.violations[c];
}

// The penalties with both labels, constraint by constraint of either variable.
Penalty Finder::swapped(Label const& x, Label const& y) {
  Penalty penalty = evaluation;
  Label const labels[] = {x, y};
  Use const nothing;
  auto i = uses[x.variable].begin();
  auto k = uses[y.variable].begin();
  auto const iEnd = uses[x.variable].end();
  auto const kEnd = uses[y.variable].end();
  while (i != iEnd || k != kEnd) {
    bool const isX = i != iEnd && (k == kEnd || i->constraint <= k->constraint);
    bool const isY = k != kEnd && (i == iEnd || k->constraint <= i->constraint);
    const std::size_t c = isX ? i->constraint : k->constraint;
    Use const& ofX = isX ? *i++ : nothing;
    Use const& ofY = isY ? *k++ : nothing;
    Constraint const& constraint = model.constraints[c];
    penalty.add(constraint,
                constraint.kind == Constraint::alldiff
                    ? alldiffRise(c, std::span(labels).subspan(
                                         isX ? 0 : 1, isX && isY ? 2 : 1))
                    : sumRise(c, ofX, ofY, x, y));
    steps += static_cast<std::int64_t>(1 + ofX.terms.size() + ofY.terms.size());
  }
  return penalty;
}

bool Finder::trySwaps(std::optional<Move>& best) {
  for (unsigned x = 0; x < model.variables.size(); ++x) {
    for (unsigned y = x + 1; y < model.variables.size(); ++y) {
      std::string const& ofX = model.values[x][assignment[x]];
      std::string const& ofY = model.values[y][assignment[y]];
      unsigned const xValue = model.values[x].find(ofY);
      unsigned const yValue = model.values[y].find(ofX);
      if (++steps > maxSteps) {
        return false;
      }
      if (ofX != ofY && xValue < model.values[x].size() &&
          yValue < model.values[y].size()) {
        consider({{x, xValue}, {y, yValue}}, swapped({x, xValue}, {y, yValue}),
                 best);
      }
    }
  }
  return true;
}

}  // namespace

Neighbours findBest(Model const& model, Assignment const& assignment,
                    Evaluation const& evaluation) {
  Finder finder(model, assignment, evaluation);
  Neighbours neighbours;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    finder.tryChanges(v, neighbours.change);
  }
  // A swap without effect is never the best one.
  neighbours.areSwapsAll = finder.trySwaps(neighbours.swap);
  if (neighbours.swap && neighbours.swap->penalty >= evaluation) {
    neighbours.swap.reset();
  }
  return neighbours;
}

std::optional<std::size_t> heldBy(Model const& model,
                                  Assignment const& assignment,
                                  Evaluation const& evaluation,
                                  Move const& move) {
  Assignment moved = assignment;
  for (Label const& label : move.labels) {
    moved[label.variable] = label.value;
  }
  const Evaluation after = evaluate(model, moved);
  std::optional<std::size_t> holder;
  std::pair<bool, Int128> most;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    Constraint const& constraint = model.constraints[c];
    const std::pair rise(constraint.weight == inf,
                         costOf(constraint, after.violations[c]) -
                             costOf(constraint, evaluation.violations[c]));
    if (rise.second > 0 && (!holder || rise > most)) {
      holder = c;
      most = rise;
    }
  }
  return holder;
}

}  // namespace check

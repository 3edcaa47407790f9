// Evaluates a model naively: each kind of constraint by its definition, over a whole assignment.
// It keeps nothing between evaluations and shares no code with the solver, so it can check reports,
// totals and printed penalties. Terms count as often as they are listed; sums have 64 bits.

#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
#include <set>
#include <vector>

namespace naive {

__extension__ typedef __int128 Int128;
using Assignment = std::vector<unsigned>;
constexpr int inf = 2147483647;

enum class Kind { linear, quadratic, alldiff };

struct Label {
  unsigned variable, value;
};

struct Term {  // counts while both labels are on; a linear term repeats its one
  int coefficient;
  Label first, second;
};

struct Constraint {
  Kind kind;
  int weight;                            // 0 to inf; inf means hard
  int lower = -inf, upper = inf;         // these defaults mean no bound
  std::vector<Term> terms = {};          // linear and quadratic
  std::vector<unsigned> variables = {};  // all-different; repeats count once
};

struct Model {
  std::vector<unsigned> sizes;  // of the domains, one per variable
  std::vector<Constraint> constraints;
};

struct Totals {  // ordered as solutions are: the lesser is the better
  Int128 hard = 0, soft = 0;
  auto operator<=>(Totals const &) const = default;
};

inline bool isOn(Label label, Assignment const &at) { return at[label.variable] == label.value; }

// 0 when the constraint holds, at most inf.
inline int violation(Constraint const &c, Assignment const &at) {
  const std::set<unsigned> variables(c.variables.begin(), c.variables.end());
  std::set<unsigned> values;
  for (unsigned v : variables) values.insert(at[v]);
  std::int64_t sum = 0, amount = 0;
  for (Term const &t : c.terms)
    if (isOn(t.first, at) && isOn(t.second, at)) sum += t.coefficient;
  if (c.kind == Kind::alldiff) return static_cast<int>(variables.size() - values.size());
  if (c.lower != -inf && sum < c.lower) amount += c.lower - sum;
  if (c.upper != inf && sum > c.upper) amount += sum - c.upper;
  return static_cast<int>(std::min<std::int64_t>(amount, inf));
}

inline Totals totalsOf(Model const &model, Assignment const &at) {
  Totals totals;
  for (Constraint const &c : model.constraints)
    (c.weight == inf ? totals.hard : totals.soft) +=
        Int128{violation(c, at)} * (c.weight == inf ? 1 : c.weight);
  return totals;
}

}  // namespace naive

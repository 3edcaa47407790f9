// The meaning of a model, evaluated naively: what each kind of constraint
// asks, by its definition, over a whole assignment. Nothing is kept between
// two evaluations and nothing is shared with the solver, so this header can
// judge reports, totals and printed penalties. Terms count as often as they
// are listed; sums are 64 bits wide.

#ifndef TESTS_PLAIN_NAIVE_H_
#define TESTS_PLAIN_NAIVE_H_

#include <algorithm>
#include <compare>
#include <cstdint>
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
  auto operator<=>(const Totals&) const = default;
};

inline std::vector<unsigned> distinct(std::vector<unsigned> list) {
  std::sort(list.begin(), list.end());
  list.erase(std::unique(list.begin(), list.end()), list.end());
  return list;
}

inline bool isOn(Label label, const Assignment& assignment) {
  return assignment[label.variable] == label.value;
}

// 0 when the constraint holds, at most inf.
inline int violation(const Constraint& c, const Assignment& assignment) {
  std::vector<unsigned> values = distinct(c.variables);
  const std::size_t numVariables = values.size();
  for (unsigned& v : values) v = assignment[v];
  const std::size_t repeats = numVariables - distinct(values).size();
  if (c.kind == Kind::alldiff) return static_cast<int>(repeats);
  std::int64_t sum = 0;
  for (const Term& t : c.terms)
    if (isOn(t.first, assignment) && isOn(t.second, assignment))
      sum += t.coefficient;
  const std::int64_t above = c.upper == inf ? 0 : sum - c.upper;
  const std::int64_t below = c.lower == -inf ? 0 : c.lower - sum;
  const std::int64_t none = 0, most = inf;
  return static_cast<int>(
      std::min(std::max(above, none) + std::max(below, none), most));
}

// Adds `change` of the constraint's violation to the total it belongs to.
inline void add(const Constraint& c, std::int64_t change, Totals& totals) {
  (c.weight == inf ? totals.hard : totals.soft) +=
      Int128{change} * (c.weight == inf ? 1 : c.weight);
}

inline Totals totalsOf(const Model& model, const Assignment& assignment) {
  Totals totals;
  for (const Constraint& c : model.constraints)
    add(c, violation(c, assignment), totals);
  return totals;
}

}  // namespace naive

#endif  // TESTS_PLAIN_NAIVE_H_

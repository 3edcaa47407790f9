// Small random models of every kind of constraint, with repeated terms, equal
// constraints, unequal domains, and numbers at the ends of their range.

#pragma once

#include <random>
#include <string>

#include "tools/check/evaluate.h"
#include "tools/check/model.h"

namespace random_models {

class Chance {
 public:
  explicit Chance(unsigned seed) : engine(seed) {}

  int most = check::inf - 1;  // of a coefficient, a bound or a soft weight

  int between(int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(engine);
  }
  unsigned below(unsigned n) {
    return static_cast<unsigned>(between(0, static_cast<int>(n) - 1));
  }

 private:
  std::mt19937 engine;
};

/// Sometimes at the ends of the range, where sums and bounds saturate.
inline int number(Chance& chance) {
  return chance.below(12) == 0 ? chance.between(chance.most - 2, chance.most) *
                                     (chance.below(2) == 0 ? 1 : -1)
                               : chance.between(-4, 4);
}

inline check::Constraint randomConstraint(check::Model const& model,
                                          Chance& chance) {
  auto const label = [&] {
    const unsigned v = chance.below(model.variables.size());
    return check::Label{v, chance.below(model.values[v].size())};
  };
  check::Constraint constraint;
  constraint.kind = static_cast<check::Constraint::Kind>(chance.below(3));
  constraint.weight = chance.below(3) == 0   ? check::inf
                      : chance.below(8) == 0 ? chance.most
                                             : chance.between(0, 9);
  if (constraint.kind == check::Constraint::alldiff) {
    for (unsigned i = chance.below(7); i > 0; --i) {
      constraint.variables.push_back(chance.below(model.variables.size()));
    }
    return constraint;
  }
  for (unsigned i = chance.below(9); i > 0; --i) {
    const check::Label first = label();
    bool const isLinear = constraint.kind == check::Constraint::linear;
    constraint.terms.push_back(
        {number(chance), first, isLinear ? first : label()});
  }
  int const bound = number(chance);
  unsigned const relation = chance.below(3);
  constraint.lower = relation == 0 ? -check::inf : bound;
  constraint.upper = relation == 1 ? check::inf : bound;
  return constraint;
}

inline check::Model randomModel(Chance& chance) {
  check::Model model;
  for (unsigned v = 2 + chance.below(5); v > 0; --v) {
    model.variables.add("x" + std::to_string(v));
    model.values.emplace_back();
    for (unsigned a = 1 + chance.below(4); a > 0; --a) {
      model.values.back().add("a" + std::to_string(a));
    }
  }
  for (unsigned c = 1 + chance.below(8); c > 0; --c) {
    model.constraints.push_back(randomConstraint(model, chance));
    // Equal ones are merged.
    if (chance.below(4) == 0) {
      model.constraints.push_back(model.constraints.back());
    }
  }
  return model;
}

inline check::Assignment randomAssignment(check::Model const& model,
                                          Chance& chance) {
  check::Assignment assignment;
  for (auto const& values : model.values) {
    assignment.push_back(chance.below(values.size()));
  }
  return assignment;
}

}  // namespace random_models

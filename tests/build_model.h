// Shared by the unit tests: models small enough to enumerate, as records that
// tests/plain/naive.h evaluates, and a solver with such a model that logs to a
// string.

#pragma once

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"
#include "solver/wcspi.h"
#include "tests/plain/naive.h"

using naive::Kind;

/// amount * (variable, value) >= amount: violated by `amount` while it is off.
inline naive::Constraint wish(int weight, unsigned variable, unsigned value,
                              int amount = 1) {
  const naive::Label label{variable, value};
  return {
      Kind::linear, weight, amount, naive::inf, {{amount, label, label}}, {}};
}

inline unsigned below(std::mt19937& random, std::size_t k) {
  return static_cast<unsigned>(random() % k);
}

/// A constraint of up to 8 terms or 4 variables, repeats included; `numbers`
/// serve as coefficients and bounds.
inline naive::Constraint randomConstraint(std::mt19937& random, Kind kind,
                                          std::vector<unsigned> const& sizes,
                                          std::vector<int> const& numbers,
                                          unsigned maxTerms = 8) {
  constexpr int weights[] = {naive::inf, 0, 1, 7};
  auto const number = [&] { return numbers[below(random, numbers.size())]; };
  naive::Constraint c = wish(weights[below(random, 4)], 0, 0);
  c.kind = kind;
  c.terms.clear();
  auto const label = [&] {
    const unsigned v = below(random, sizes.size());
    return naive::Label{v, below(random, sizes[v])};
  };
  for (unsigned i = below(random, maxTerms + 1); i > 0 && kind != Kind::alldiff;
       --i) {
    const naive::Label first = label();
    c.terms.push_back(
        {number(), first, kind == Kind::linear ? first : label()});
  }
  for (unsigned i = below(random, 5); i > 0 && kind == Kind::alldiff; --i) {
    c.variables.push_back(label().variable);
  }
  unsigned const relation = below(random, 3);  // <=, >=, =
  c.lower = relation == 0 ? -naive::inf : number();
  c.upper = relation == 2 ? c.lower : relation == 0 ? number() : naive::inf;
  return c;
}

inline const std::vector<int> smallNumbers{-3, -2, -1, 0, 1, 2, 3};

inline naive::Model randomModel(std::mt19937& random, unsigned numVariables,
                                unsigned numConstraints) {
  naive::Model model;
  for (unsigned v = 0; v < numVariables; ++v) {
    model.sizes.push_back(1 + below(random, 4));
  }
  for (unsigned c = 0; c < numConstraints; ++c) {
    model.constraints.push_back(randomConstraint(
        random, Kind{static_cast<int>(c % 3)}, model.sizes, smallNumbers));
  }
  return model;
}

template <class Act>
void forEachAssignment(std::vector<unsigned> const& sizes, Act act) {
  naive::Assignment assignment(sizes.size(), 0);
  for (std::size_t v = 0; v < sizes.size();) {
    act(assignment);
    for (v = 0; v < sizes.size() && ++assignment[v] == sizes[v]; ++v) {
      assignment[v] = 0;
    }
  }
}

/// Makes the constraint in `solver`, as the reader of models would.
inline WcspConstraint* addConstraint(Wcsp& solver, naive::Constraint const& c) {
  if (c.kind == Kind::alldiff) {
    auto* alldiff = new WcspAlldiff(&solver, c.weight);
    for (unsigned const v : c.variables) {
      alldiff->variables.push_back(v);  // preprocess() finds the largest value
    }
    return alldiff;
  }
  if (c.kind == Kind::linear) {
    auto* linear = new WcspLinear(&solver, c.weight);
    linear->lower = c.lower;
    linear->upper = c.upper;
    for (auto const& [coefficient, label, same] : c.terms) {
      linear->terms.push_back({coefficient, label.variable, label.value});
    }
    return linear;
  }
  auto* quadratic = new WcspQuadratic(&solver, c.weight);
  quadratic->lower = c.lower;
  quadratic->upper = c.upper;
  for (auto const& [coefficient, a, b] : c.terms) {
    quadratic->terms.push_back(
        {coefficient, a.variable, a.value, b.variable, b.value});
  }
  return quadratic;
}

struct TestSolver : RealWcsp {
  std::ostringstream text;  ///< the log

  explicit TestSolver(naive::Model model) {
    log = &text;
    initialize(static_cast<unsigned>(model.sizes.size()), model.sizes);
    for (naive::Constraint const& c : model.constraints) {
      ::addConstraint(*this, c);
    }
  }

  /// The log with its times masked.
  std::string maskedText() const {
    std::string masked;
    for (char const c : text.str()) {
      masked += c;
      if (masked.ends_with("(s)")) {
        masked.resize(
            masked.find_last_not_of("0123456789./", masked.size() - 4) + 1);
        masked += "T(s)";
      }
    }
    return masked;
  }
};

// Takes steps of polishing on small random models, and judges each of them.
//
// Usage: wcsp_polish_steps COUNT [SEED]. Status 0 if all are right.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <set>

#include "tests/random_models.h"
#include "tools/check/evaluate.h"
#include "tools/check/layout.h"
#include "tools/polish/polisher.h"

namespace {

using check::Assignment;
using check::Constraint;
using check::Int128;
using check::Model;

struct Penalty {
  Int128 hard = 0;
  Int128 soft = 0;

  auto operator<=>(Penalty const&) const = default;
};

// By the definition of the kinds, one term after the other.
Int128 violationOf(Constraint const& constraint, Assignment const& values) {
  if (constraint.kind == Constraint::alldiff) {
    std::map<unsigned, std::set<unsigned>> takers;  // by value number
    for (unsigned const v : constraint.variables) {
      takers[values[v]].insert(v);
    }
    Int128 violation = 0;
    for (auto const& [value, variables] : takers) {
      violation += static_cast<Int128>(variables.size()) - 1;
    }
    return violation;
  }
  Int128 sum = 0;
  for (auto const& [coefficient, label1, label2] : constraint.terms) {
    if (values[label1.variable] == label1.value &&
        values[label2.variable] == label2.value) {
      sum += coefficient;
    }
  }
  Int128 violation = 0;
  if (constraint.lower != -check::inf) {
    violation = std::max<Int128>(violation, constraint.lower - sum);
  }
  if (constraint.upper != check::inf) {
    violation = std::max<Int128>(violation, sum - constraint.upper);
  }
  return std::min<Int128>(violation, check::inf);
}

Penalty penaltyOf(Model const& model, Assignment const& values) {
  Penalty penalty;
  for (Constraint const& constraint : model.constraints) {
    const Int128 violation = violationOf(constraint, values);
    if (constraint.weight == check::inf) {
      penalty.hard += violation;
    } else {
      penalty.soft += constraint.weight * violation;
    }
  }
  return penalty;
}

// What is wrong after a step, or nullptr.
char const* judge(Model const& model, Penalty const& before,
                  polish::Solution const& after, bool isBetter) {
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (after.assignment[v] >= model.values[v].size()) {
      return "a value out of range";
    }
  }
  const Penalty now = penaltyOf(model, after.assignment);
  if (now != Penalty{after.evaluation.hard, after.evaluation.soft}) {
    return "a wrong penalty";
  }
  if (before < now) {
    return "a worse assignment";
  }
  return isBetter == (now < before) ? nullptr : "a wrong answer";
}

}  // namespace

int main(int argc, char** argv) {
  auto const count =
      argc > 1 ? std::strtoull(argv[1], nullptr, 10) : std::uint64_t{1000};
  auto const first = static_cast<unsigned>(
      argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1UL);
  constexpr int stepsEach = 25;
  constexpr unsigned iterationsEach = 60;
  std::uint64_t numSteps = 0;
  std::uint64_t numBetter = 0;
  std::uint64_t numSkipped = 0;
  for (unsigned seed = first; numSteps < count; ++seed) {
    random_models::Chance chance(seed);
    const Model model = random_models::randomModel(chance);
    const check::Grids grids = layOut(model, {}, {}).variables;
    polish::Polisher polisher(model, grids, seed);
    polisher.limitIterations(iterationsEach);
    if (!polisher.canStep()) {
      continue;
    }
    Assignment start = randomAssignment(model, chance);
    polisher.setSolution({start, evaluate(model, start)});
    for (int step = 0; step < stepsEach && numSteps < count; ++step) {
      const Penalty before = penaltyOf(model, polisher.solution().assignment);
      bool const isBetter = polisher.step();
      ++numSteps;
      numBetter += isBetter ? 1U : 0U;
      if (char const* error =
              judge(model, before, polisher.solution(), isBetter)) {
        std::cout << "seed " << seed << ", step " << step << ": " << error
                  << "\n";
        return EXIT_FAILURE;
      }
    }
    numSkipped += polisher.numSkipped();
  }
  std::cout << numSteps << " steps right, " << numBetter << " better, "
            << numSkipped << " skipped\n";
  return EXIT_SUCCESS;
}

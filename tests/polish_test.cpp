// Reduced models against the whole, and steps of polishing, each judged.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tests/random_models.h"
#include "tools/check/evaluate.h"
#include "tools/check/layout.h"
#include "tools/check/model.h"
#include "tools/polish/choice.h"
#include "tools/polish/parts.h"
#include "tools/polish/polisher.h"
#include "tools/polish/reduce.h"

namespace {

using check::Assignment;
using check::Constraint;
using check::Int128;
using check::Model;
using check::Penalty;
using polish::ReducedModel;
using polish::Reducer;
using random_models::Chance;
using random_models::randomAssignment;
using random_models::randomModel;

/// The next assignment of the free variables in the order of an odometer.
bool advance(Model const& model, polish::Part const& free,
             Assignment& assignment) {
  for (unsigned const v : free) {
    if (++assignment[v] < model.values[v].size()) {
      return true;
    }
    assignment[v] = 0;
  }
  return false;
}

/// By the definitions of a sum between two bounds and of an all-different.
Penalty penaltyOf(ReducedModel const& reduced, Assignment const& values) {
  Penalty penalty;
  for (auto const& constraint : reduced.constraints) {
    Int128 sum = 0;
    for (auto const& term : constraint.terms) {
      sum += values[term.label1.variable] == term.label1.value &&
                     values[term.label2.variable] == term.label2.value
                 ? term.coefficient
                 : 0;
    }
    Int128 violation = 0;
    if (constraint.upper != check::inf) {
      violation = std::max<Int128>(violation, sum - constraint.upper);
    }
    if (constraint.lower != -check::inf) {
      violation = std::max<Int128>(violation, constraint.lower - sum);
    }
    violation = std::min<Int128>(violation, check::inf);
    std::set<unsigned> taken;
    for (unsigned const v : constraint.different) {
      violation += taken.insert(values[v]).second ? 0 : 1;
    }
    if (constraint.weight == check::inf) {
      penalty.hard += violation;
    } else {
      penalty.soft += constraint.weight * violation;
    }
  }
  return penalty;
}

TEST(Polish, AReducedModelIsTheWholeLessAConstant) {
  unsigned numReduced = 0;
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Chance chance(seed);
    const Model model = randomModel(chance);
    const Reducer reducer(model);
    Assignment assignment = randomAssignment(model, chance);
    polish::Part free;
    for (unsigned v = 0; v < model.variables.size(); ++v) {
      if (chance.below(2) == 0) {
        free.push_back(v);
      }
    }
    auto const reduced = reducer.reduce(assignment, free);
    if (!reduced) {
      continue;
    }
    ++numReduced;
    for (unsigned const v : free) {
      assignment[v] = 0;
    }
    bool isFirst = true;
    Penalty constant;
    do {
      const check::Evaluation whole = evaluate(model, assignment);
      Assignment values;
      for (unsigned const v : free) {
        values.push_back(assignment[v]);
      }
      const Penalty part = penaltyOf(*reduced, values);
      const Penalty rest{whole.hard - part.hard, whole.soft - part.soft};
      constant = isFirst ? rest : constant;
      isFirst = false;
      ASSERT_TRUE(rest == constant) << "seed " << seed;
    } while (advance(model, free, assignment));
  }
  EXPECT_GT(numReduced, 1500U);
}

/// The solver of a reduced model means the same as its list of constraints.
TEST(Polish, TheSolverOfAReducedModelFindsItsLeastPenalty) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    Chance chance(seed);
    const Model model = randomModel(chance);
    const Reducer reducer(model);
    Assignment assignment = randomAssignment(model, chance);
    polish::Part free(model.variables.size());
    std::iota(free.begin(), free.end(), 0U);
    auto const reduced = reducer.reduce(assignment, free);
    if (!reduced || reduced->constraints.empty()) {
      continue;
    }
    const std::unique_ptr<Wcsp> solver = reduced->makeSolver();
    solver->setMaxIteration(2000);
    solver->setTarget(-1, 0);
    try {
      solver->solve();
    } catch (std::runtime_error const&) {
      continue;  // weights that overflow
    }
    Assignment values;
    for (unsigned const v : free) {
      values.push_back(solver->getValue(v));
    }
    const Penalty found = penaltyOf(*reduced, values);
    constexpr Int128 most = check::inf;
    EXPECT_EQ(solver->getHardPenalty(),
              static_cast<int>(std::min(found.hard, most)))
        << "seed " << seed;
    EXPECT_EQ(solver->getSoftPenalty(),
              static_cast<int>(std::min(found.soft, most)))
        << "seed " << seed;
  }
}

TEST(Polish, WeightsOfEqualConstraintsAddUpBelowThatOfHardOnes) {
  Model model;
  for (char const* name : {"x", "y"}) {
    model.variables.add(name);
    model.values.emplace_back();
    model.values.back().add("a");
    model.values.back().add("b");
  }
  Constraint constraint;
  constraint.upper = 1;
  constraint.terms = {{1, {0, 0}, {0, 0}}, {1, {1, 0}, {1, 0}}};
  auto const weights = [&](std::vector<int> const& declared) {
    model.constraints.clear();
    for (const int weight : declared) {
      constraint.weight = weight;
      model.constraints.push_back(constraint);
    }
    std::vector<int> result;
    const auto reduced = Reducer(model).reduce({0, 0}, {0, 1});
    for (auto const& merged : reduced->constraints) {
      result.push_back(merged.weight);
    }
    return result;
  };
  constexpr int inf = check::inf;
  EXPECT_EQ(weights({2, 3}), (std::vector{5}));
  EXPECT_EQ(weights({inf, inf}), (std::vector{inf, inf}));
  EXPECT_EQ(weights({inf - 3, 2}), (std::vector{inf - 1}));
  EXPECT_EQ(weights({inf - 2, 2, 1}), (std::vector{inf - 2, 3}));
  EXPECT_EQ(weights({0, 4}), (std::vector{4}));
}

TEST(Polish, AStepIsNeverWorseAndRepeats) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    Chance chance(seed);
    const Model model = randomModel(chance);
    const check::Grids grids = layOut(model, {}, {}).variables;
    const Assignment start = randomAssignment(model, chance);
    polish::Polisher first(model, grids, seed);
    polish::Polisher second(model, grids, seed);
    first.setSolution({start, evaluate(model, start)});
    second.setSolution({start, evaluate(model, start)});
    for (int step = 0; first.canStep() && step < 6; ++step) {
      const check::Evaluation before = first.solution().evaluation;
      bool const isBetter = first.step();
      second.step();
      check::Evaluation const& now = first.solution().evaluation;
      ASSERT_FALSE(before < now) << "seed " << seed;
      ASSERT_EQ(isBetter, now < before);
      ASSERT_EQ(now.violations,
                evaluate(model, first.solution().assignment).violations);
      ASSERT_EQ(first.solution().assignment, second.solution().assignment);
    }
  }
}

/// Sizes stay between 4, or all variables if there are fewer, and all.
TEST(Polish, PartsGrowWhenEqualAndShrinkWhenWorse) {
  using polish::Choice;
  struct Case {
    std::size_t least;
    std::size_t numVariables;
    Choice::Outcome outcome;
    std::vector<std::size_t> sizes;
  };
  for (auto const& [least, numVariables, outcome, sizes] :
       std::vector<Case>{{50, 90, Choice::equal, {50, 66, 86, 90, 90}},
                         {50, 90, Choice::better, {50, 50}},
                         {50, 90, Choice::worse, {50, 45, 40}},
                         {5, 90, Choice::worse, {5, 4, 4}},
                         {1, 2, Choice::worse, {1, 2}},
                         {1, 2, Choice::equal, {1, 2, 2}}}) {
    Choice choice({polish::PartKind::random}, {least, least}, numVariables);
    for (const std::size_t size : sizes) {
      EXPECT_EQ(choice[0].size, size) << least << " of " << numVariables;
      choice.note(0, outcome, 1, 1000);
    }
  }
}

TEST(Polish, ALongSearchIsNeverWorse) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    Chance chance(seed);
    const Model model = randomModel(chance);
    const check::Grids grids = layOut(model, {}, {}).variables;
    polish::Polisher polisher(model, grids, seed);
    polisher.setSolution(polisher.begin());
    for (int i = 0; polisher.canStep() && i < 2; ++i) {
      const check::Evaluation before = polisher.solution().evaluation;
      bool const isBetter = polisher.search();
      check::Evaluation const& now = polisher.solution().evaluation;
      ASSERT_FALSE(before < now) << "seed " << seed;
      ASSERT_EQ(isBetter, now < before) << "seed " << seed;
    }
  }
}

TEST(Polish, PartsAreSetsOfVariablesThatCanMove) {
  Model model;
  for (char const* row : {"Ann", "Bob", "Cy", "Di"}) {
    for (char const* day : {"Mon", "Tue", "Wed"}) {
      model.variables.add(std::string(row) + "_" + day);
      model.values.emplace_back();
      model.values.back().add("on");
      if (std::string(day) != "Wed" || row[0] != 'A') {
        model.values.back().add("off");
      }
    }
  }
  Constraint atLeastOne;
  atLeastOne.weight = 1;
  atLeastOne.lower = 3;
  atLeastOne.terms = {{1, {3, 0}, {3, 0}}, {1, {4, 0}, {4, 0}}};
  model.constraints.push_back(atLeastOne);
  const Reducer reducer(model);
  const check::Grids grids = layOut(model, {}, {}).variables;
  const polish::Parts parts(model, reducer, grids);
  EXPECT_EQ(parts.numVariables(), 11U);
  const Assignment assignment(12, 0);
  const check::Evaluation evaluation = evaluate(model, assignment);
  polish::Draw draw(7);
  using Kind = polish::PartKind;
  ASSERT_EQ(parts.kinds().size(), 5U);
  for (int i = 0; i < 50; ++i) {
    for (const Kind kind : parts.kinds()) {
      const polish::Part part =
          parts.choose(kind, 5, assignment, evaluation, draw);
      ASSERT_FALSE(part.empty());
      ASSERT_TRUE(std::is_sorted(part.begin(), part.end()));
      ASSERT_EQ(std::adjacent_find(part.begin(), part.end()), part.end());
      ASSERT_EQ(std::count(part.begin(), part.end(), 2U), 0);  // one value
      for (unsigned const v : part) {
        // Whole rows of three, whole columns of four.
        auto const inRow =
            std::count_if(part.begin(), part.end(),
                          [&](unsigned w) { return w / 3 == v / 3; });
        auto const inColumn =
            std::count_if(part.begin(), part.end(),
                          [&](unsigned w) { return w % 3 == v % 3; });
        ASSERT_TRUE(kind != Kind::rows || inRow == (v < 3 ? 2 : 3));
        ASSERT_TRUE(kind != Kind::columns || inColumn == (v % 3 == 2 ? 3 : 4));
      }
      if (kind == Kind::violated) {
        ASSERT_EQ(part, (polish::Part{3, 4}));
      }
    }
  }
}

}  // namespace

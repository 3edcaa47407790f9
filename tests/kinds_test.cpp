// Tests constraint kinds of library users: the search depends on what they
// report, not on how they report it, and after one of their exceptions the
// solver can search again.

#include <gtest/gtest.h>

#include <new>

#include "tests/build_model.h"
#include "tests/naive_kinds.h"

namespace {

using naive::Assignment;

naive::Model modelOf(unsigned seed) {
  std::mt19937 random(seed);
  return randomModel(random, 5 + seed % 4, 18);
}

std::string search(TestSolver& solver) {
  solver.text.str("");
  solver.setDisplay(3);
  solver.setInterval(1);
  solver.setTarget(-1, 0);
  solver.setMaxIteration(200);
  solver.setRandomSeed(7);
  solver.solve(Assignment(solver.getNumVariables(), 0));
  EXPECT_TRUE(solver.bookkeepingHolds());
  return solver.maskedText();
}

/// The log of a search in the model of which every `step`th constraint, from
/// the `first`, is made by `make(solver, c)`, and the others are built in.
template <class Make>
std::string logWith(naive::Model const& model, unsigned first, unsigned step,
                    Make make) {
  TestSolver solver({model.sizes, {}});
  for (unsigned i = 0; i < model.constraints.size(); ++i) {
    if (i % step == first) {
      make(solver, model.constraints[i]);
    } else {
      ::addConstraint(solver, model.constraints[i]);
    }
  }
  return search(solver);
}

TEST(Kinds, SearchLineForLineAsTheBuiltInOnesTheyCopy) {
  for (unsigned seed = 1; seed <= 12 && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const naive::Model model = modelOf(seed);
    TestSolver builtIn(model);
    const std::string expected = search(builtIn);
    for (unsigned const step : {1U, 2U}) {
      EXPECT_EQ(expected, logWith(model, 0, step, [](Wcsp& solver, auto& c) {
                  new NaiveKind(solver, c);
                }));
      EXPECT_EQ(expected, logWith(model, 0, step, [](Wcsp& solver, auto& c) {
                  new NaiveUpdated(solver, c);
                }));
      EXPECT_EQ(expected, logWith(model, 0, step, [](Wcsp& solver, auto& c) {
                  (new NaiveUpdated(solver, c))->numInvolved = 2;
                }));
    }
  }
}

TEST(Kinds, AnExceptionLeavesASolverThatSearchesAgain) {
  int numThrown = 0;
  for (unsigned seed = 1; seed <= 9 && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    naive::Model model = modelOf(seed);
    TestSolver solver(model);
    auto* const throwing = new Throwing(solver, model.constraints[seed % 3]);
    model.constraints.push_back(model.constraints[seed % 3]);
    TestSolver fresh(model);
    const std::string expected = search(fresh);
    for (int numCalls = 0; numCalls < 200; numCalls += 1 + numCalls / 3) {
      throwing->numCallsLeft = numCalls;
      try {
        search(solver);
      } catch (std::bad_alloc const&) {
        ++numThrown;
      }
      throwing->numCallsLeft = -1;
      EXPECT_EQ(search(solver), expected) << numCalls;
    }
  }
  EXPECT_GT(numThrown, 50);
}

}  // namespace

// Tests constraint kinds of library users: the search depends on what they
// report, not on how they report it, and after one of their exceptions the
// solver can search again.

#include <gtest/gtest.h>

#include <new>
#include <utility>

#include "tests/build_model.h"

namespace {

using naive::Assignment;

/// A constraint by its definition, with the minimal operations of a kind and
/// without an update.
class Naive : public WcspConstraint {
 public:
  unsigned numInvolved = 1;  ///< how often each label is registered

  Naive(Wcsp& solver, naive::Constraint constraint)
      : WcspConstraint(&solver, constraint.weight), c(std::move(constraint)) {}

  void preprocess() override {
    for (unsigned i = 0; i < numInvolved; ++i) {
      for (auto const& [coefficient, first, second] : c.terms) {
        wcsp->involve(id, first.variable, first.value);
        wcsp->involve(id, second.variable, second.value);
      }
      for (unsigned const v : c.variables) {
        wcsp->involve(id, v);
      }
    }
  }

  int calculate(Assignment const& assignment) override {
    forEachDiff(assignment, [&](unsigned v, unsigned a, int diff) {
      wcsp->setDiffPenalty(id, v, a, diff);
    });
    return naive::violation(c, assignment);
  }

 protected:
  template <class Act>
  void forEachDiff(Assignment const& assignment, Act act) const {
    int const now = naive::violation(c, assignment);
    for (unsigned v = 0; v < assignment.size(); ++v) {
      Assignment moved = assignment;
      for (moved[v] = 0; moved[v] < wcsp->getNumValues(v); ++moved[v]) {
        act(v, moved[v], naive::violation(c, moved) - now);
      }
    }
  }

  naive::Constraint c;
};

/// The same with an update, which keeps the diffs.
class NaiveUpdated : public Naive {
 public:
  using Naive::Naive;

  int calculate(Assignment const& assignment) override {
    diffs.clear();
    forEachDiff(assignment,
                [&](unsigned, unsigned, int diff) { diffs.push_back(diff); });
    return Naive::calculate(assignment);
  }

  int update(Assignment const& now, unsigned moved, unsigned left,
             WcspChanges& changes) override {
    EXPECT_NE(now[moved], left);
    std::size_t i = 0;
    forEachDiff(now, [&](unsigned v, unsigned a, int diff) {
      changes.add(changes.label(v) + a, {diffs[i], diff});
      diffs[i++] = diff;
    });
    return naive::violation(c, now);
  }

 private:
  std::vector<int> diffs;  ///< by label
};

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
                  new Naive(solver, c);
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

/// Runs out of memory at one of its calls, half way through its reports.
class Throwing : public NaiveUpdated {
 public:
  int numCallsLeft = -1;

  using NaiveUpdated::NaiveUpdated;

  int calculate(Assignment const& assignment) override {
    if (numCallsLeft-- == 0) {
      wcsp->setDiffPenalty(id, 0, 0, -1);
      throw std::bad_alloc();
    }
    return NaiveUpdated::calculate(assignment);
  }

  int update(Assignment const& now, unsigned moved, unsigned left,
             WcspChanges& changes) override {
    if (numCallsLeft-- == 0) {
      changes.add(0, {0, -1});
      throw std::bad_alloc();
    }
    return id % 2 == 0 ? NaiveUpdated::update(now, moved, left, changes)
                       : changes.compare(*this);
  }
};

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

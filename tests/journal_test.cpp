// Tests the journals and the copies that they update: the incumbent, its
// penalties and the best of the run, after any sequence of events between two
// copies.

#include "solver/journal.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/build_model.h"

namespace {

using naive::Assignment;

std::vector<unsigned> entriesOf(Journal const& journal) {
  std::vector<unsigned> entries;
  journal.forEach([&](unsigned entry) { entries.push_back(entry); });
  return entries;
}

TEST(Journal, NotesAnEighthAndThenAll) {
  const std::vector<unsigned> all{0, 1,  2,  3,  4,  5,  6,  7, 8,
                                  9, 10, 11, 12, 13, 14, 15, 16};
  Journal journal;
  EXPECT_EQ(entriesOf(journal), std::vector<unsigned>{});
  journal.reset(17);
  EXPECT_EQ(entriesOf(journal), all);
  journal.clear();
  EXPECT_EQ(entriesOf(journal), std::vector<unsigned>{});
  journal.note(16);
  EXPECT_EQ(entriesOf(journal), std::vector{16U});
  for (int i = 0; i < 2; ++i) {
    journal.note(3);
    EXPECT_EQ(entriesOf(journal), all);
  }
  journal.clear();
  journal.note(5);
  journal.noteAll();
  EXPECT_EQ(entriesOf(journal), all);
  journal.reset(7);  // has no room
  journal.clear();
  EXPECT_EQ(entriesOf(journal).size(), 7U);
}

TEST(IdSet, GoesOverItsIdsInOrder) {
  IdSet set;
  const std::vector<unsigned> ids{0, 1, 62, 63, 64, 191, 192};
  auto const idsOf = [&] {
    std::vector<unsigned> found;
    set.forEach([&](unsigned id) { found.push_back(id); });
    return found;
  };
  for (int i = 0; i < 2; ++i) {  // empty each time
    set.reset(193);
    EXPECT_TRUE(idsOf().empty());
    std::for_each(ids.rbegin(), ids.rend(), [&](unsigned id) { set.flip(id); });
    EXPECT_EQ(idsOf(), ids);
  }
  set.flip(63);
  set.flip(192);
  EXPECT_EQ(idsOf(), (std::vector<unsigned>{0, 1, 62, 64, 191}));
}

/// What the getters must say of an assignment.
void expectRecorded(TestSolver const& solver, naive::Model const& model,
                    Assignment const& at) {
  for (unsigned v = 0; v < at.size(); ++v) {
    ASSERT_EQ(solver.getValue(v), at[v]) << v;
  }
  const naive::Totals totals = naive::totalsOf(model, at);
  EXPECT_EQ(solver.getHardPenalty(), saturated(totals.hard));
  EXPECT_EQ(solver.getSoftPenalty(), saturated(totals.soft));
  for (unsigned c = 0; c < model.constraints.size(); ++c) {
    ASSERT_EQ(solver.getPenalty(c), naive::violation(model.constraints[c], at))
        << c;
  }
}

Assignment randomStart(std::mt19937& random, naive::Model const& model) {
  Assignment start;
  for (unsigned const size : model.sizes) {
    start.push_back(below(random, size));
  }
  return start;
}

TEST(Journals, KeepTheCopiesWhateverComesBetween) {
  for (unsigned seed = 1; seed <= 30 && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const naive::Model model = randomModel(random, 120, 100);  // room for 15
    TestSolver solver(model);
    solver.markSearched();
    solver.prepare(randomStart(random, model));
    solver.recordBest();
    Assignment recorded = solver.current.value;
    RealWcsp::Search search(solver);
    solver.copyCurrent(search.run.best, search.run.moved);
    Assignment runBest = solver.current.value;
    for (int round = 0; round < 60; ++round) {
      // Mostly a few moves, sometimes more than there is room for.
      for (unsigned i = below(random, round % 5 == 0 ? 60 : 4); i > 0; --i) {
        unsigned const v = below(random, model.sizes.size());
        search.ties = {solver.labels.number(v, below(random, model.sizes[v]))};
        solver.best.hardPenalty = -1;  // none is better
        solver.moveOnce(search);
        EXPECT_TRUE(solver.runJournalHolds(search.run));
      }
      unsigned const act = below(random, 5);
      if (act == 0) {
        solver.restoreRunBest(search);
        EXPECT_EQ(solver.current.value, runBest);
        EXPECT_EQ(solver.previous, runBest);
      } else if (act == 1) {
        solver.copyCurrent(search.run.best, search.run.moved);
        runBest = solver.current.value;
      } else if (act == 2) {
        solver.initialize();
      }
      EXPECT_TRUE(solver.bookkeepingHolds());
      if (below(random, 2) == 0) {
        solver.recordBest();
        recorded = solver.current.value;
        expectRecorded(solver, model, recorded);
      } else {
        EXPECT_EQ(solver.best.value, recorded);
      }
    }
  }
}

TEST(Blocks, ChangeNoLineOfASearch) {
  for (unsigned seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const naive::Model model = randomModel(random, 200, 900);
    const Assignment start = randomStart(random, model);
    auto const search = [&](std::size_t minNumBlocked) {
      TestSolver solver(model);
      solver.minNumBlocked = minNumBlocked;
      solver.setDisplay(3);
      solver.setInterval(1);
      solver.setMaxIteration(400);
      solver.solve(start);
      EXPECT_EQ(solver.hasBlocks, minNumBlocked <= solver.candidates.size());
      EXPECT_GT(solver.candidates.size(), 2 * RealWcsp::blockSize);
      EXPECT_TRUE(solver.bookkeepingHolds());
      return solver.maskedText();
    };
    const std::string text = search(100000);
    EXPECT_EQ(search(0), text);
    EXPECT_EQ(search(200), text);  // on and off
  }
}

TEST(Blocks, NoteWhatAMoveChanges) {
  std::mt19937 random(4);
  const naive::Model model = randomModel(random, 120, 200);
  TestSolver solver(model);
  solver.minNumBlocked = 0;
  solver.prepare(randomStart(random, model));
  RealWcsp::Search search(solver);
  for (int move = 0; move < 500; ++move) {
    solver.scan(search);
    ASSERT_TRUE(solver.hasBlocks && solver.bookkeepingHolds());
    for (int i = 0; i < move % 3; ++i) {
      unsigned const v = below(random, model.sizes.size());
      solver.applyMove(solver.labels.number(v, below(random, model.sizes[v])));
      ASSERT_TRUE(solver.bookkeepingHolds());
    }
  }
}

/// Throws where it is asked to.
struct Thrower : WcspConstraint {
  enum { nowhere, inPreparing, inEvaluating } where = inPreparing;
  using WcspConstraint::WcspConstraint;
  void preprocess() override {
    if (where == inPreparing) {
      throw std::runtime_error("in preparing");
    }
  }
  int calculate(Assignment const&) override {
    if (where == inEvaluating) {
      throw std::runtime_error("in evaluating");
    }
    return 0;
  }
};

TEST(Journals, LeaveTheOldIncumbentUntilANewSearchRecordsOne) {
  std::mt19937 random(1);
  naive::Model model = randomModel(random, 40, 60);
  TestSolver solver(model);
  solver.setMaxIteration(30);
  solver.solve(randomStart(random, model));
  const Assignment found = solver.best.value;
  expectRecorded(solver, model, found);
  solver.setMaxIteration(0);
  auto* thrower = new Thrower(&solver, 1);
  for (auto const where : {Thrower::inPreparing, Thrower::inEvaluating}) {
    thrower->where = where;
    EXPECT_THROW(solver.solve(randomStart(random, model)), std::runtime_error);
    expectRecorded(solver, model, found);
  }
  thrower->where = Thrower::nowhere;
  // A start that differs anywhere, and constraints added since.
  model.constraints.push_back(wish(1, 0, 0, 0));  // for the one that throws
  for (unsigned v = 0; v < 2; ++v) {
    const Assignment start = randomStart(random, model);
    solver.solve(start);
    expectRecorded(solver, model, start);
    model.constraints.push_back(wish(7, v, 0, 3));
    ::addConstraint(solver, model.constraints.back());
  }
}

}  // namespace

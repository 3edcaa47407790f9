// Tests the incremental evaluation: after every move, the bookkeeping must
// agree with its definitions and with an evaluation from scratch.

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <utility>

#include "tests/build_model.h"

namespace {

using naive::Assignment;
using Labels = std::vector<std::pair<unsigned, unsigned>>;
constexpr int inf = naive::inf;

Labels candidatesOf(RealWcsp const& solver) {
  Labels list;
  for (unsigned const label : solver.candidates) {
    list.emplace_back(solver.labels.variable(label),
                      solver.labels.value(label));
  }
  return list;
}

void expectAsFromScratch(naive::Model const& model, RealWcsp& solver) {
  TestSolver twin(model);
  twin.prepare(solver.current.value);
  const naive::Totals totals = naive::totalsOf(model, solver.current.value);
  EXPECT_TRUE(solver.current.hardPenalty == totals.hard);
  EXPECT_TRUE(solver.current.softPenalty == totals.soft);
  // Sums of integers below 2^53: doubles compare exactly.
  EXPECT_EQ(solver.current.weightedPenalty, twin.current.weightedPenalty);
  EXPECT_EQ(solver.candidates.size(), twin.candidates.size());
  for (std::size_t i = 0; i < twin.labels.size(); ++i) {
    EXPECT_EQ(solver.labels.scores[i], twin.labels.scores[i]);
    EXPECT_EQ(solver.labels.candidacies[i].improvingCount,
              twin.labels.candidacies[i].improvingCount);
  }
}

TEST(Evaluation, AgreesWithScratchAfterEveryMove) {
  for (unsigned seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const naive::Model model = randomModel(random, 4 + seed % 4, 9);
    TestSolver solver(model);
    solver.prepare(Assignment(model.sizes.size(), 0));
    for (int move = 0; move < 60; ++move) {
      unsigned const v = below(random, model.sizes.size());
      solver.applyMove(solver.labels.number(v, below(random, model.sizes[v])));
      EXPECT_TRUE(solver.bookkeepingHolds());
      expectAsFromScratch(model, solver);
    }
  }
}

TEST(Evaluation, OrdersCandidatesByIdThenLabel) {
  // x = 0, and c0: x1 <= p1, c1: x0 + q1 >= 1, c2: x1 <= r1. All hold.
  auto const atMost = [](naive::Label a, naive::Label b) {
    return naive::Constraint{
        Kind::linear, 1, -inf, 0, {{1, a, a}, {-1, b, b}}, {}};
  };
  naive::Constraint either = wish(1, 0, 0);
  either.terms.push_back({1, {2, 1}, {2, 1}});
  TestSolver solver(
      {{2, 2, 2, 2}, {atMost({0, 1}, {1, 1}), either, atMost({0, 1}, {3, 1})}});
  solver.prepare({0, 0, 0, 0});
  EXPECT_EQ(candidatesOf(solver), Labels{});
  // x to 1 breaks all: c0 appends x0 and p1, c1 q1 (x0 again), c2 r1.
  solver.applyMove(solver.labels.number(0, 1));
  EXPECT_EQ(candidatesOf(solver), (Labels{{0, 0}, {1, 1}, {2, 1}, {3, 1}}));
  EXPECT_EQ(solver.labels.candidacies[0].improvingCount, 3);
  // p to 1 mends c0: p1 leaves and the last one, r1, takes its place.
  solver.applyMove(solver.labels.number(1, 1));
  EXPECT_EQ(candidatesOf(solver), (Labels{{0, 0}, {3, 1}, {2, 1}}));
  solver.initialize();  // anew: c1 appends x0 and q1, c2 r1
  EXPECT_EQ(candidatesOf(solver), (Labels{{0, 0}, {2, 1}, {3, 1}}));
}

TEST(Evaluation, TakesThousandsOfDiffs) {
  TestSolver solver({{5000, 2}, {wish(1, 0, 0), wish(1, 1, 1)}});
  solver.prepare({0, 1});
  EXPECT_EQ(solver.labels.scores[4999], 1);
  solver.applyMove(solver.labels.number(0, 4999));
  EXPECT_TRUE(solver.bookkeepingHolds());
}

/// Not on value 0: one entry for all other values, or one for each.
struct Away : WcspConstraint {
  bool isGrouped = false;

  using WcspConstraint::WcspConstraint;

  void preprocess() override { wcsp->involve(id, 0); }
  int calculate(Assignment const& assignment) override {
    std::vector<unsigned> others(wcsp->getNumValues(0) - 1);
    std::iota(others.begin(), others.end(), 1U);
    int const now = assignment[0] == 0 ? 3 : 0;
    wcsp->setDiffPenalty(id, 0, 0, 3 - now);
    if (isGrouped) {
      wcsp->setDiffPenalties(id, 0, others, -now);
    } else {
      wcsp->Wcsp::setDiffPenalties(id, 0, others, -now);
    }
    return now;
  }
};

TEST(Evaluation, TakesDiffsInGroupsAsOneByOne) {
  for (unsigned const size : {1U, 2U, 5000U}) {
    TestSolver solver({{size}, {}});
    for (bool const isGrouped : {false, true}) {
      (new Away(&solver, 2))->isGrouped = isGrouped;
    }
    solver.prepare({0});
    for (unsigned const value : {size - 1, 0U}) {
      solver.applyMove(solver.labels.number(0, value));
      EXPECT_TRUE(solver.bookkeepingHolds());
      auto const score = solver.labels.scores;
      EXPECT_EQ(score[0], value == 0 ? 0 : 12);
      EXPECT_EQ(score[size - 1], value == 0 && size > 1 ? -12 : 0);
    }
  }
}

TEST(Evaluation, TotalsPassTheirReturnTypeAndSaturate) {
  const naive::Constraint hard = wish(inf, 0, 1, inf);
  TestSolver solver({{2}, {hard, hard, wish(inf - 1, 0, 1, inf)}});
  solver.prepare({0});
  solver.recordBest();
  EXPECT_EQ(solver.getHardPenalty(), inf);
  EXPECT_EQ(solver.getSoftPenalty(), inf);
  EXPECT_TRUE(solver.best.hardPenalty == Int128{2} * inf);
  EXPECT_TRUE(solver.best.softPenalty == Int128{inf} * (inf - 1));
  RealWcsp::Solution other = solver.best;
  ++other.softPenalty;
  EXPECT_TRUE(solver.best.isBetterThan(other));
  --other.hardPenalty;
  EXPECT_FALSE(solver.best.isBetterThan(other));
}

TEST(Evaluation, CheckNoticesWhatIsSpoilt) {
  TestSolver solver({{3, 2}, {wish(inf, 0, 1), wish(3, 0, 2), wish(2, 1, 1)}});
  solver.prepare({0, 0});
  auto& candidacy = solver.labels.candidacies[2];
  auto const expectNoticed = [&](char const* what, auto& field, auto spoilt) {
    const auto kept = field;
    field = static_cast<std::decay_t<decltype(field)>>(spoilt);
    EXPECT_FALSE(solver.bookkeepingHolds()) << what;
    field = kept;
    EXPECT_TRUE(solver.bookkeepingHolds()) << what;
  };
  auto& sums = solver.current;
  expectNoticed("score", solver.labels.scores[2], 2147483644.0 + 3);
  expectNoticed("count", candidacy.improvingCount, 2);
  expectNoticed("position", candidacy.position, 0);
  expectNoticed("hard", sums.hardPenalty, 2);
  expectNoticed("soft", sums.softPenalty, 4);
  expectNoticed("weighted", sums.weightedPenalty, 2147483646.0);
  expectNoticed("penalty", solver.constraints[0].penalty, 2);
  expectNoticed("candidate", solver.candidates[0], solver.candidates[1]);
  expectNoticed("previous", solver.previous[0], 1);
  solver.candidates.push_back(solver.labels.number(1, 0));
  EXPECT_FALSE(solver.bookkeepingHolds());
}

/// Its diffs are what a test makes them.
struct Lister : WcspConstraint {
  std::vector<std::pair<unsigned, int>> listed;  ///< value of variable 0, diff
  using WcspConstraint::WcspConstraint;
  void preprocess() override { wcsp->involve(id, 0); }
  int calculate(Assignment const&) override {
    for (auto const& [value, diff] : listed) {
      wcsp->setDiffPenalty(id, 0, value, diff);
    }
    return 0;
  }
};

TEST(Evaluation, CheckNoticesDiffsOutOfOrder) {
  TestSolver solver({{3}, {}});
  auto* const lister = new Lister(&solver, 3);
  lister->listed = {{1, 4}, {2, 4}};
  solver.prepare({0});
  EXPECT_TRUE(solver.bookkeepingHolds());
  lister->listed = {{2, 4}, {1, 4}};
  EXPECT_FALSE(solver.bookkeepingHolds());
  lister->listed = {{1, 3}, {1, 1}, {2, 4}};
  EXPECT_FALSE(solver.bookkeepingHolds());
}

TEST(Store, RefusesWhatItCannotHold) {
  TestSolver solver({});
  EXPECT_EQ(solver.getValue(0), unsigned{inf});
  std::vector<unsigned> sizes{3, 1};
  // Declared already, although without variables.
  EXPECT_THROW(solver.RealWcsp::initialize(2, sizes), std::runtime_error);
  EXPECT_THROW(WcspAlldiff(&solver, 1), std::runtime_error);
  EXPECT_EQ(solver.getNumConstraints(), 0U);
  EXPECT_TRUE(solver.setLogFileName("/none/log", false));
  EXPECT_EQ(solver.log, &solver.text);
  RealWcsp other;
  std::vector<unsigned> bad{2, 0};
  EXPECT_THROW(other.initialize(2, bad), std::runtime_error);
  EXPECT_EQ(other.getNumVariables(), 0U);
  other.initialize(2, sizes);
  EXPECT_EQ(other.getValue(1), 0U);
  for (unsigned id = 0; id < 2; ++id) {
    EXPECT_EQ(::addConstraint(other, wish(1, 0, 0))->id, id);
  }
  EXPECT_EQ(other.getPenalty(1), inf);
  EXPECT_EQ(other.getHardPenalty(), 0);
  EXPECT_FALSE(other.setLogFileName("/dev/null", true));
  EXPECT_TRUE(other.setLogFileName("/dev/null", false));
  other.involve(0, 0);
  other.involve(0, 0, 0);  // a second time
  other.involve(1, 0, 2);
  other.involve(1, 0, 2);
  using Ids = std::vector<unsigned>;
  other.constraintIds.merge();
  other.involve(2, 0, 2);
  other.constraintIds.merge();
  const Ids expected[] = {{0}, {0}, {0, 1, 2}, {}};  // labels in order
  for (unsigned label = 0; label < 4; ++label) {
    unsigned const* end = other.constraintIds[label];
    while (*end != RealWcsp::uinf) {
      ++end;
    }
    EXPECT_EQ(Ids(other.constraintIds[label], end), expected[label]) << label;
  }
}

#ifndef NDEBUG
TEST(Evaluation, CheckAllowsForSumsThatWereLargeBetween) {
  // Not both on 1: while one is, the score of the other is large, and what is
  // left of the wish in it has lost digits.
  constexpr int many = 1000000000;
  const naive::Constraint notBoth{
      Kind::linear,
      1,
      -inf,
      many,
      {{many, {0, 1}, {0, 1}}, {many, {1, 1}, {1, 1}}},
      {}};
  TestSolver solver({{2, 2}, {notBoth, wish(1, 1, 0)}});
  solver.prepare({0, 0});
  for (RealWcsp::Constraint& record : solver.constraints) {
    record.weight = 0.3;
  }
  solver.initialize();
  solver.applyMove(solver.labels.number(0, 1));
  solver.applyMove(solver.labels.number(0, 0));
  EXPECT_NE(solver.labels.scores[3], 0.3);
  EXPECT_TRUE(solver.bookkeepingHolds());
}

struct AddsAnother : WcspConstraint {
  using WcspConstraint::WcspConstraint;
  void preprocess() override {}
  int calculate(Assignment const&) override {
    new AddsAnother(wcsp, 1);
    return 0;
  }
};

TEST(Evaluation, TakesNoConstraintWhileOneIsMeasured) {
  TestSolver solver({{2}, {}});
  new AddsAnother(&solver, 1);
  EXPECT_DEATH(solver.solve({0}), "isCalculating");
}
#endif

}  // namespace
